// Entries of the MetadataStore, read from where boxes and comments hold them.
#pragma once

#include "base/types.h"
#include "image/metadata.h"
#include "stream/stream.h"

namespace wbx {

// Room for an entry of `size` bytes, `left` of which the source still has to deliver. 2 when there
// is no memory for it, and for a size that no entry has; but 4 when the source does not hold the
// bytes, so that the code tells of the file and not of the address space.
[[nodiscard]] i32 makeRoom(Stream& stream, MetadataStore& store, i64 size, i64 left, u8** data);

// Stores the next `length` bytes, what the source doesn't deliver as zeros, with a zero byte behind
// them, and tells their place. Returns 0 or an error code.
[[nodiscard]] i32 storeEntry(Stream& stream, MetadataStore& store, MetadataKind kind, i64 length,
                             u8** data);

// The COM marker segment (T.800 A.9.2). Returns 0 or an error code.
[[nodiscard]] i32 parseCOM(Stream& stream, MetadataStore& store, i32 payloadLength);

// What the log shows of a text that a zero byte ends: its first 55 characters ("%.55s"), and a mark
// if there are more.
[[nodiscard]] const char* previewText(const u8* text);
[[nodiscard]] const char* previewMark(const u8* text);

}  // namespace wbx
