#include "temporary_files.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <mutex>
#include <set>
#include <string>

#include "platform.h"

namespace wbx::tool {

namespace {

namespace fs = std::filesystem;

// Never destroyed: the process may be told to end while it is ending.
struct List {
  std::mutex lock;
  std::set<fs::path> paths;
};

List& list() {
  static List& theList = *new List;
  return theList;
}

// A short name, whatever that of the target is: names have a longest length. The clock tells apart
// what processes of the same number on different machines write to one folder.
std::string newName() {
  static std::atomic<unsigned> counter{0};
  const auto ticks = std::chrono::system_clock::now().time_since_epoch().count();
  return ".wbx-decode-" + std::to_string(platform::processNumber()) + "-" +
         std::to_string(static_cast<unsigned long long>(ticks)) + "-" + std::to_string(counter++) +
         ".part";
}

}  // namespace

TemporaryFile createTemporary(const fs::path& target) {
  const std::lock_guard<std::mutex> guard(list().lock);
  TemporaryFile made;
  do {
    made.path = target.parent_path() / newName();
    made.file = platform::createFile(made.path.string());
  } while (made.file == nullptr && errno == EEXIST);
  if (made.file != nullptr) list().paths.insert(made.path);
  return made;
}

bool renameTemporary(const fs::path& temporary, const fs::path& target) {
  const std::lock_guard<std::mutex> guard(list().lock);
  std::error_code error;
  fs::rename(temporary, target, error);
  if (error) {
    errno = error.default_error_condition().value();
    return false;
  }
  list().paths.erase(temporary);
  return true;
}

void removeTemporary(const fs::path& temporary) {
  const std::lock_guard<std::mutex> guard(list().lock);
  std::error_code ignored;
  fs::remove(temporary, ignored);
  list().paths.erase(temporary);
}

void removeTemporariesForGood() {
  list().lock.lock();
  for (const fs::path& path : list().paths) {
    std::error_code ignored;
    fs::remove(path, ignored);
  }
}

}  // namespace wbx::tool
