#include "output_file.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

namespace wbx::tool {

namespace fs = std::filesystem;

OutputFile::~OutputFile() {
  if (file_ != nullptr && file_ != stdout) std::fclose(file_);
  if (!temporary_.empty()) std::remove(temporary_.c_str());
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
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  if (fs::exists(status) && !fs::is_regular_file(status)) {
    file_ = std::fopen(path.c_str(), "wb");
    return file_ != nullptr ? Outcome{} : failure(errno);
  }
  // Behind a symbolic link the file itself is replaced, and the link stays.
  const fs::path real = fs::weakly_canonical(path, error);
  target_ = error ? path : real.string();
  return openTemporary();
}

Outcome OutputFile::openTemporary() {
  for (int attempt = 0; attempt < 100; ++attempt) {
    temporary_ = target_ + ".part" + std::to_string(attempt);
    file_ = std::fopen(temporary_.c_str(), "wbx");
    if (file_ != nullptr) return {};
    if (errno != EEXIST) break;
  }
  temporary_.clear();
  return failure(errno);
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
  if (std::rename(temporary_.c_str(), target_.c_str()) != 0) return failure(errno);
  temporary_.clear();
  return {};
}

}  // namespace wbx::tool
