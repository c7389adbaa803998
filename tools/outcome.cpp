#include "outcome.h"

#include "wbx.h"

namespace wbx::tool {

Outcome Outcome::library(const std::string& subject, int32_t code) {
  const bool ofCommandLine = code == WBX_ERROR_OPTION || code == WBX_ERROR_TILE ||
                             code == WBX_ERROR_RESOLUTION || code == WBX_ERROR_BPP;
  std::string text =
      subject + ": " + WBX_getErrorStr(code) + " (error " + std::to_string(code) + ")";
  return ofCommandLine ? usage(std::move(text)) : image(std::move(text));
}

}  // namespace wbx::tool
