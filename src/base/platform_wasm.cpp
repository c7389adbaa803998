// WebAssembly: one thread, no files, no signals. A fault ends the instance, and its host sees it.
#include "base/platform.h"

namespace wbx {

namespace {

constinit u32 errorWord = 0;

}  // namespace

u32 lastErrorWord() {
  return errorWord;
}

void setLastErrorWord(u32 word) {
  errorWord = word;
}

u32 currentThreadId() {
  return 1;
}

u32 millisecondsSince(std::clock_t start) {
  return static_cast<u32>(static_cast<i64>(std::clock() - start) * 1000 / CLOCKS_PER_SEC);
}

std::tm localTimeNow() {
  const std::time_t now = std::time(nullptr);
  std::tm result = {};
  localtime_r(&now, &result);
  return result;
}

std::FILE* openForReading(const char* path) {
  return std::fopen(path, "rb");
}

bool seekInFile(std::FILE* file, u32 offset) {
  return fseeko(file, static_cast<off_t>(offset), SEEK_SET) == 0;
}

int readByte(std::FILE* file) {
  return std::getc(file);
}

void acquireLock(LockWord& /*word*/) {}
void releaseLock(LockWord& /*word*/) {}

u32 trapFaults(void (*call)(void*), void* argument) {
  call(argument);
  return 0;
}

void installFaultTraps() {}
void removeFaultTraps() {}

void callAroundForks(void (* /*before*/)(), void (* /*after*/)()) {}

}  // namespace wbx
