// Entries of the MetadataStore, read from where boxes and comments hold them.
#pragma once

#include "base/types.h"
#include "image/metadata.h"
#include "stream/stream.h"

namespace wbx {

// Stores the next `length` bytes, what the source doesn't deliver as zeros, with a zero byte behind
// them. Returns their place; null when memory runs out, and for a length below 0.
[[nodiscard]] const u8* storeEntry(Stream& stream, MetadataStore& store, MetadataKind kind,
                                   i64 length);

// The COM marker segment (T.800 A.9.2). Returns 0 or an error code.
[[nodiscard]] i32 parseCOM(Stream& stream, MetadataStore& store, i32 payloadLength);

// What the log shows of a text that a zero byte ends: its first 55 characters ("%.55s"), and a mark
// if there are more.
[[nodiscard]] const char* previewText(const u8* text);
[[nodiscard]] const char* previewMark(const u8* text);

}  // namespace wbx
