#include "tier2/data_chunk.h"

#include <algorithm>
#include <cstring>

namespace wbx {

namespace {

i32 sizeHighBytesOf(u32 length) {
  return length < 32 ? 0 : length < 8192 ? 1 : 2;
}

}  // namespace

i64 DataChunk::recordSize(u32 length, Storage storage) {
  i64 size = i64{kFixedSize};
  switch (storage) {
    case Storage::kInline:
      size += sizeHighBytesOf(length) + i64{length};
      break;
    case Storage::kReference:
      size += sizeHighBytesOf(length) + i64{sizeof(u32)};
      break;
    case Storage::kDetached:
      size += 2 + i64{sizeof(u8*)};
      break;
  }
  return std::max(size, i64{sizeof(DataChunk)});
}

void DataChunk::initialise(u32 length, Storage storage, u8 passesByte) {
  next_ = nullptr;
  passes_ = passesByte;
  const i32 code = storage == Storage::kDetached ? kDetachedCode : sizeHighBytesOf(length);
  sizeLow_ = static_cast<u8>((code << kSizeBytesShift) |
                             (storage == Storage::kReference ? kByReference : 0));
  setLength(length);
  if (storage == Storage::kDetached) setData(nullptr);
}

DataChunk::Storage DataChunk::storage() const {
  if (isReference()) return Storage::kReference;
  return sizeCode() == kDetachedCode ? Storage::kDetached : Storage::kInline;
}

u32 DataChunk::length() const {
  const u32 low = sizeLow_ & 31u;
  switch (sizeHighBytes()) {
    case 0:
      return low;
    case 1:
      return low | u32{tail()[0]} << 5;
    default: {
      u16 high;
      std::memcpy(&high, tail(), sizeof high);
      return low | u32{high} << 5;
    }
  }
}

void DataChunk::setLength(u32 length) {
  sizeLow_ = static_cast<u8>((sizeLow_ & ~31u) | (length & 31u));
  const u16 high = static_cast<u16>(length >> 5);
  if (sizeHighBytes() == 1) {
    tail()[0] = wrapTo<u8>(high);
  } else if (sizeHighBytes() == 2) {
    std::memcpy(tail(), &high, sizeof high);
  }
}

bool DataChunk::absorb(u8 passesByte) {
  const bool ends = (passesByte & kEndsSegment) != 0;
  const i32 sum = passes() + (passesByte & ~kEndsSegment);
  if (ends != endsSegment() || (ends && length() != 0) || sum > kMaxPasses) return false;
  passes_ = static_cast<u8>(sum | (ends ? kEndsSegment : 0));
  return true;
}

void DataChunk::cutTo(u32 length) {
  setLength(std::min(length, this->length()));
}

u32 DataChunk::position() const {
  u32 position;
  std::memcpy(&position, tail() + sizeHighBytes(), sizeof position);
  return position;
}

void DataChunk::setPosition(u32 position) {
  std::memcpy(tail() + sizeHighBytes(), &position, sizeof position);
}

u8* DataChunk::data() {
  u8* payload = tail() + sizeHighBytes();
  if (storage() != Storage::kDetached) return payload;
  u8* bytes;
  std::memcpy(&bytes, payload, sizeof bytes);
  return bytes;
}

const u8* DataChunk::data() const {
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): nothing is written
  return const_cast<DataChunk*>(this)->data();
}

void DataChunk::setData(u8* data) {
  std::memcpy(tail() + sizeHighBytes(), &data, sizeof data);
}

}  // namespace wbx
