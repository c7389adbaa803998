#include "outcome.h"

#include "wbx.h"

namespace wbx::tool {

Outcome Outcome::library(const std::string& subject, int32_t code) {
  const bool ofCommandLine = code == WBX_ERROR_OPTION || code == WBX_ERROR_TILE ||
                             code == WBX_ERROR_RESOLUTION || code == WBX_ERROR_BPP;
  std::string text =
      subject + ": " + WBX_getErrorStr(code) + " (error " + std::to_string(code) + ")";
  Outcome outcome = (ofCommandLine ? &usage : &image)(std::move(text));
  outcome.code = code;
  return outcome;
}

Outcome Outcome::cannotOpen(const std::string& path, const std::string& reason) {
  Outcome outcome = library(path, WBX_ERROR_OPEN);
  outcome.message += ": " + reason;
  outcome.reason = reason;
  return outcome;
}

}  // namespace wbx::tool
