#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <limits>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "platform.h"

namespace wbx::tool::platform {

namespace {

// The signals that end the process, but for those that it was told to ignore, as nohup does.
sigset_t endings() {
  sigset_t set;
  sigemptyset(&set);
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction action {};
    const bool known = sigaction(number, nullptr, &action) == 0;
    if (known && action.sa_handler != SIG_IGN) sigaddset(&set, number);
  }
  return set;
}

// Ends the process by the signal as if nobody had waited for it.
void endBy(int number) {
  std::signal(number, SIG_DFL);
  sigset_t one;
  sigemptyset(&one);
  sigaddset(&one, number);
  pthread_sigmask(SIG_UNBLOCK, &one, nullptr);
  std::raise(number);
}

}  // namespace

void prepareProcess() {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) != -1 || errno != EBADF) continue;
    // The lowest free descriptor is this one. Its direction is the wrong one, so that using a
    // stream that was closed stays an error.
    const int direction = descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY;
    if (open("/dev/null", direction) != descriptor) _exit(2);
  }
  std::signal(SIGPIPE, SIG_IGN);
}

bool isTerminal(std::FILE* stream) {
  return isatty(fileno(stream)) != 0;
}

void cleanUpOnTermination(void (*cleanUp)()) {
  const sigset_t set = endings();
  if (pthread_sigmask(SIG_BLOCK, &set, nullptr) != 0) return;
  std::thread([set, cleanUp] {
    int number = 0;
    if (sigwait(&set, &number) != 0) return;
    cleanUp();
    endBy(number);
  }).detach();
}

std::FILE* createFile(const std::string& path) {
  return std::fopen(path.c_str(), "wbx");
}

void copyPermissions(const std::string& from, const std::string& to) {
  struct stat status {};
  if (stat(from.c_str(), &status) != 0) return;
  // Only a privileged user gives files away; for all others the file stays their own.
  if (chown(to.c_str(), status.st_uid, status.st_gid) != 0) errno = 0;
  if (chmod(to.c_str(), status.st_mode & 07777) != 0) errno = 0;
}

bool seekTo(std::FILE* file, uint64_t offset) {
  return offset <= static_cast<uint64_t>(std::numeric_limits<off_t>::max()) &&
         fseeko(file, static_cast<off_t>(offset), SEEK_SET) == 0;
}

uint64_t processNumber() {
  return static_cast<uint64_t>(getpid());
}

}  // namespace wbx::tool::platform
