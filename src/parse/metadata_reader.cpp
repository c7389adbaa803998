#include "parse/metadata_reader.h"

#include <cstring>

#include "wbx.h"

#include "base/logger.h"
#include "parse/fields.h"

namespace wbx {

i32 storeEntry(Stream& stream, MetadataStore& store, MetadataKind kind, i64 length,
               const u8*& data) {
  u8* bytes = store.allocateData(length + 1);
  if (bytes == nullptr) return WBX_ERROR_MEMORY;
  data = bytes;
  stream.readBytes(bytes, static_cast<u32>(length));
  return store.append(kind, bytes, static_cast<i32>(length)) ? WBX_OK : WBX_ERROR_MEMORY;
}

i32 parseCOM(Stream& stream, MetadataStore& store, i32 payloadLength) {
  const u16 rcom = takeU16(stream);
  const u8* text = nullptr;
  const MetadataKind kind = rcom == 0 ? kMetaBinary : kMetaText;
  if (const i32 code = storeEntry(stream, store, kind, i64{payloadLength} - 2, text)) return code;
  logger.writeStamped(" Type=\"%s\", data=\"%.55s%s\"",
                      rcom == 0 ? "Binary" : "Text, ISO 8859-1 (latin-1)", previewText(text),
                      previewMark(text));
  return 0;
}

const char* previewText(const u8* text) {
  return reinterpret_cast<const char*>(text);
}

const char* previewMark(const u8* text) {
  // No more of the text is looked at than is shown.
  constexpr size_t kShown = 55;
  return std::memchr(text, 0, kShown + 1) == nullptr ? "..." : "";
}

}  // namespace wbx
