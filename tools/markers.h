#ifndef WBX_TOOLS_MARKERS_H
#define WBX_TOOLS_MARKERS_H

#include <cstdint>

namespace wbx::tool {

// The markers of a codestream (T.800 table A.2) that the tool looks for.
inline constexpr uint16_t kSOC = 0xFF4F;
inline constexpr uint16_t kSIZ = 0xFF51;
inline constexpr uint16_t kCOD = 0xFF52;
inline constexpr uint16_t kCOC = 0xFF53;
inline constexpr uint16_t kQCD = 0xFF5C;
inline constexpr uint16_t kSOT = 0xFF90;
inline constexpr uint16_t kSOD = 0xFF93;
inline constexpr uint16_t kEOC = 0xFFD9;

}  // namespace wbx::tool

#endif
