#include "tier2/packet_bit_reader.h"

namespace wbx {

void PacketBitReader::attach(Stream& stream) {
  stream_ = &stream;
  memory_ = stream.type() == Stream::kMemory ? static_cast<MemoryStream*>(&stream) : nullptr;
  cursor_ = end_ = nullptr;
  current_ = 0;
  bitIndex_ = 0;
  good_ = stream.isGood();
  atEnd_ = stream.isEof();
}

void PacketBitReader::beginHeader() {
  current_ = 0;
  bitIndex_ = -1;
  cursor_ = end_ = nullptr;
  if (memory_ != nullptr && memory_->isGood() && memory_->tell() <= memory_->size()) {
    good_ = true;
    cursor_ = memory_->data() + memory_->tell();
    end_ = memory_->data() + memory_->size();
  }
}

void PacketBitReader::endHeader() {
  if (cursor_ != nullptr) memory_->moveTo(static_cast<u32>(cursor_ - memory_->data()));
}

i32 PacketBitReader::readFirstBit() {
  if (atEnd_) {
    current_ = 0x7F;
    bitIndex_ = 7;
    return 1;
  }
  return cursor_ != end_ ? use(*cursor_++) : readFirstBitFromStream();
}

i32 PacketBitReader::readFirstBitFromStream() {
  endHeader();
  good_ = stream_->isGood();
  if (!good_) {
    bitIndex_ = 0;
    return -1;
  }
  // A source that fails without being at its end delivers nothing. Ones end the header soon.
  u8 byte = 0xFF;
  stream_->readU8(&byte);
  if (stream_->isEof()) {
    atEnd_ = true;
    return 1;
  }
  return use(byte);
}

i32 PacketBitReader::use(u8 byte) {
  const bool stuffed = current_ == 0xFF;
  current_ = stuffed ? byte & 0x7F : byte;
  bitIndex_ = stuffed ? 6 : 7;
  return (current_ >> bitIndex_) & 1;
}

bool PacketBitReader::readBits(i32 count, u32& value) {
  value = 0;
  while (count > 0) {
    if (bitIndex_ <= 0) {
      const i32 bit = readBit();
      if (bit < 0) return false;
      value = value << 1 | static_cast<u32>(bit);
      --count;
      continue;
    }
    const i32 taken = std::min(count, bitIndex_);
    bitIndex_ -= taken;
    const u32 bits = static_cast<u32>(current_ >> bitIndex_) & ((1u << taken) - 1);
    value = value << taken | bits;
    count -= taken;
  }
  return true;
}

i32 PacketBitReader::readPassCount() {
  for (i32 passes = 1; passes <= 2; ++passes) {
    const i32 bit = readBit();
    if (bit < 0) return -1;
    if (bit == 0) return passes;
  }
  u32 value;
  if (!readBits(2, value)) return -1;
  if (value < 3) return static_cast<i32>(3 + value);
  if (!readBits(5, value)) return -1;
  if (value < 31) return static_cast<i32>(6 + value);
  if (!readBits(7, value)) return -1;
  return static_cast<i32>(37 + value);
}

bool PacketBitReader::readAligning(i32 count, u32& value, i32& total) {
  u32 bits;
  if (!readBits(count, bits)) return false;
  value = value << count | bits;
  total += count;
  return true;
}

bool PacketBitReader::align(u32 mask, u32 expected) {
  u32 value = 0;
  i32 total = 0;
  const i32 rest = bitIndex_ == 0 && current_ == 0xFF ? 7 : std::max(bitIndex_, 0);
  bool ok = readAligning(rest, value, total);
  // The byte behind a final 0xFF belongs to the header.
  if (ok && current_ == 0xFF) ok = readAligning(7, value, total);
  endHeader();
  if (!ok) return false;
  if (total > 7) return (((value >> (total - 7)) ^ expected) & mask) == 0;
  return ((value ^ (expected >> (7 - total))) & (mask >> (7 - total))) == 0;
}

}  // namespace wbx
