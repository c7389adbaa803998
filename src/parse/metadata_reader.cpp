#include "parse/metadata_reader.h"

#include <cstring>

#include "wbx.h"

#include "base/logger.h"
#include "parse/fields.h"

namespace wbx {

const u8* storeEntry(Stream& stream, MetadataStore& store, MetadataKind kind, i64 length) {
  u8* data = store.allocateData(length + 1);
  if (data == nullptr) return nullptr;
  stream.readBytes(data, static_cast<u32>(length));
  return store.append(kind, data, static_cast<i32>(length)) ? data : nullptr;
}

i32 parseCOM(Stream& stream, MetadataStore& store, i32 payloadLength) {
  const u16 rcom = takeU16(stream);
  const MetadataKind kind = rcom == 0 ? kMetaBinary : kMetaText;
  const u8* text = storeEntry(stream, store, kind, i64{payloadLength} - 2);
  if (text == nullptr) return WBX_ERROR_MEMORY;
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
