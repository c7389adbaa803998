#define WIN32_LEAN_AND_MEAN
#define NOMINMAX
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <io.h>
#include <limits>
#include <windows.h>

#include "platform.h"

namespace wbx::tool::platform {

namespace {

void (*cleanUpAtEnd)() = nullptr;

// On a thread that the system starts; FALSE lets the process end as it would have.
BOOL WINAPI onEnding(DWORD /*reason*/) {
  cleanUpAtEnd();
  return FALSE;
}

int errorNumber(DWORD error) {
  switch (error) {
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS:
      return EEXIST;
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_NAME:
      return ENOENT;
    case ERROR_DISK_FULL:
      return ENOSPC;
    default:
      return EACCES;
  }
}

}  // namespace

void prepareProcess() {
  for (std::FILE* stream : {stdin, stdout, stderr}) {
    if (_fileno(stream) >= 0) {
      _setmode(_fileno(stream), _O_BINARY);
    } else if (std::freopen("NUL", stream == stdin ? "wb" : "rb", stream) == nullptr) {
      _exit(2);  // the wrong direction, so that using a stream that was closed stays an error
    }
  }
}

// A console alone: the system's empty device calls itself a terminal too.
bool isTerminal(std::FILE* stream) {
  DWORD mode = 0;
  return GetConsoleMode(reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream))), &mode) != 0;
}

void cleanUpOnTermination(void (*cleanUp)()) {
  cleanUpAtEnd = cleanUp;
  SetConsoleCtrlHandler(onEnding, TRUE);
}

// One that can be removed while it is open, since that is how it goes when the process is ended.
std::FILE* createFile(const std::string& path) {
  const HANDLE handle = CreateFileW(std::filesystem::path(path).c_str(), GENERIC_WRITE,
                                    FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr, CREATE_NEW,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) {
    errno = errorNumber(GetLastError());
    return nullptr;
  }
  return _fdopen(_open_osfhandle(reinterpret_cast<intptr_t>(handle), 0), "wb");
}

// A new file has those of its folder, as the old one had.
void copyPermissions(const std::string& /*from*/, const std::string& /*to*/) {}

bool seekTo(std::FILE* file, uint64_t offset) {
  return offset <= static_cast<uint64_t>(std::numeric_limits<int64_t>::max()) &&
         _fseeki64(file, static_cast<int64_t>(offset), SEEK_SET) == 0;
}

uint64_t processNumber() {
  return GetCurrentProcessId();
}

}  // namespace wbx::tool::platform
