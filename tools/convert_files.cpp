#include <algorithm>
#include <atomic>
#include <filesystem>
#include <system_error>
#include <thread>
#include <vector>

#include "convert_file.h"
#include "messages.h"

namespace wbx::tool {

namespace {

int finish(const Outcome& outcome) {
  if (outcome.failed()) report(outcome.message);
  return outcome.status;
}

// Threads take the next file until there is none. Gives the number of files that failed.
size_t runAll(const Arguments& arguments) {
  std::atomic<size_t> next{0};
  std::atomic<size_t> failures{0};
  const auto run = [&] {
    for (size_t i = next++; i < arguments.tasks.size(); i = next++) {
      if (finish(convertFile(arguments.tasks[i], arguments)) != kStatusDone) ++failures;
    }
  };
  std::vector<std::thread> threads;
  const size_t count = std::min<size_t>(arguments.jobs, arguments.tasks.size());
  try {
    for (size_t i = 1; i < count; ++i) threads.emplace_back(run);
  } catch (const std::system_error&) {
    // With fewer threads it takes longer.
  }
  run();
  for (std::thread& thread : threads) thread.join();
  return failures;
}

int convertBatch(const Arguments& arguments) {
  const std::filesystem::path folder =
      std::filesystem::path(arguments.tasks.front().output).parent_path();
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error) return finish(Outcome::image(folder.string() + ": " + error.message()));
  const size_t failures = runAll(arguments);
  const size_t done = arguments.tasks.size() - failures;
  if (!arguments.quiet || failures > 0) {
    report(std::to_string(done) + " of " + std::to_string(arguments.tasks.size()) +
           " files decoded, " + std::to_string(failures) + " failed");
  }
  return failures > 0 ? kStatusImage : kStatusDone;
}

}  // namespace

int convertFiles(const Arguments& arguments) {
  return arguments.batch ? convertBatch(arguments)
                         : finish(convertFile(arguments.tasks.front(), arguments));
}

}  // namespace wbx::tool
