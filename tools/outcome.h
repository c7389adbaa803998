#ifndef WBX_TOOLS_OUTCOME_H
#define WBX_TOOLS_OUTCOME_H

#include <cstdint>
#include <string>
#include <utility>

namespace wbx::tool {

// The exit statuses of the program.
inline constexpr int kStatusDone = 0;
inline constexpr int kStatusImage = 1;
inline constexpr int kStatusUsage = 2;

// How a step ended: well, or with an exit status and a message for the user.
struct [[nodiscard]] Outcome {
  int status = kStatusDone;
  std::string message;
  int32_t code = 0;    // of the library, if it is its failure
  std::string reason;  // of the system, if it has one

  bool failed() const { return status != kStatusDone; }

  static Outcome image(std::string message) { return {kStatusImage, std::move(message), 0, {}}; }
  static Outcome usage(std::string message) { return {kStatusUsage, std::move(message), 0, {}}; }

  // For a code of the library: its text behind the name of what it is about. Codes that only the
  // command line can cause give the status for that.
  static Outcome library(const std::string& subject, int32_t code);

  // For a file that cannot be opened: the library's text for that, and the system's reason.
  static Outcome cannotOpen(const std::string& path, const std::string& reason);
};

}  // namespace wbx::tool

#endif
