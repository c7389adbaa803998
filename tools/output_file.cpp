#include "output_file.h"

#include <cerrno>
#include <system_error>

#include "platform.h"
#include "temporary_files.h"

namespace wbx::tool {

namespace fs = std::filesystem;

namespace {

// Where a chain of symbolic links leads, also if nothing is there yet.
fs::path followLinks(fs::path path) {
  constexpr int kLongestChain = 40;
  std::error_code error;
  for (int i = 0; i < kLongestChain && fs::is_symlink(path, error); ++i) {
    const fs::path next = fs::read_symlink(path, error);
    if (error) break;
    path = path.parent_path() / next;  // an absolute one stands alone
  }
  return path;
}

}  // namespace

OutputFile::~OutputFile() {
  if (file_ != nullptr && file_ != stdout) std::fclose(file_);
  if (!temporary_.empty()) removeTemporary(temporary_);
}

Outcome OutputFile::failure(int error) const {
  return Outcome::image(name_ + ": " + std::generic_category().message(error));
}

Outcome OutputFile::open(const std::string& path) {
  name_ = path == "-" ? "standard output" : path;
  if (path == "-") {
    file_ = stdout;
    return {};
  }
  target_ = followLinks(path);
  std::error_code error;
  const fs::file_status status = fs::status(target_, error);
  replaces_ = fs::is_regular_file(status);
  if (fs::exists(status) && !replaces_) {
    file_ = std::fopen(path.c_str(), "wb");
    return file_ != nullptr ? Outcome{} : failure(errno);
  }
  const TemporaryFile made = createTemporary(target_);
  if (made.file == nullptr) return failure(errno);
  file_ = made.file;
  temporary_ = made.path;
  return {};
}

bool OutputFile::write(const void* data, size_t size) {
  if (error_ != 0) return false;
  if (size > 0 && std::fwrite(data, 1, size, file_) != size) error_ = errno != 0 ? errno : EIO;
  return error_ == 0;
}

Outcome OutputFile::commit() {
  const bool closed = file_ == stdout ? std::fflush(file_) == 0 : std::fclose(file_) == 0;
  if (!closed && error_ == 0) error_ = errno != 0 ? errno : EIO;
  file_ = nullptr;
  if (error_ != 0) return failure(error_);
  if (temporary_.empty()) return {};
  if (replaces_) platform::copyPermissions(target_.string(), temporary_.string());
  if (!renameTemporary(temporary_, target_)) return failure(errno);
  temporary_.clear();
  return {};
}

}  // namespace wbx::tool
