#include "parse/metadata_reader.h"

#include <cstring>

#include "wbx.h"

#include "base/logger.h"
#include "parse/fields.h"

namespace wbx {

i32 makeRoom(Stream& stream, MetadataStore& store, i64 size, i64 left, u8** data) {
  *data = store.allocateData(size);
  if (*data != nullptr) return WBX_OK;
  if (left <= 0 || size > MetadataStore::kMaxData) return WBX_ERROR_MEMORY;
  readAndDrop(stream, static_cast<u32>(left));
  return stream.isGood() ? WBX_ERROR_MEMORY : WBX_ERROR_READ;
}

i32 storeEntry(Stream& stream, MetadataStore& store, MetadataKind kind, i64 length, u8** data) {
  const i32 code = makeRoom(stream, store, length + 1, length, data);
  if (code != 0) return code;
  stream.readBytes(*data, static_cast<u32>(length));
  return store.append(kind, *data, static_cast<i32>(length)) ? WBX_OK : WBX_ERROR_MEMORY;
}

i32 parseCOM(Stream& stream, MetadataStore& store, i32 payloadLength) {
  const u16 rcom = takeU16(stream);
  const MetadataKind kind = rcom == 0 ? kMetaBinary : kMetaText;
  u8* text = nullptr;
  const i32 code = storeEntry(stream, store, kind, i64{payloadLength} - 2, &text);
  if (code != 0) return code;
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
