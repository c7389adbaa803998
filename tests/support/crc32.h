#ifndef WBX_TESTS_SUPPORT_CRC32_H
#define WBX_TESTS_SUPPORT_CRC32_H

#include <cstdint>
#include <span>

namespace wbx::test {

// CRC-32 as zlib and PNG have it.
inline uint32_t crc32(std::span<const uint8_t> bytes) {
  uint32_t crc = 0xFFFFFFFFu;
  for (const uint8_t byte : bytes) {
    crc ^= byte;
    for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ ((crc & 1u) != 0 ? 0xEDB88320u : 0u);
  }
  return ~crc;
}

}  // namespace wbx::test

#endif
