#include "race_programs.h"

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace wbx::race {
namespace {

using Command = std::vector<std::string>;

const std::string& outputFile() {
  static const std::string file = [] {
    const bool hasMemory = access("/dev/shm", W_OK) == 0;
    return std::string(hasMemory ? "/dev/shm" : "/tmp") + "/wbx-race-" + std::to_string(getpid());
  }();
  return file;
}

Command grok(const std::string& path, unsigned reduce) {
  return {"grk_decompress",     "-H", "1", "-r", std::to_string(reduce), "-i", path, "-o",
          outputFile() + ".pnm"};
}

Command ffmpeg(const std::string& path, unsigned reduce) {
  return {"ffmpeg",   "-v",      "error",
          "-threads", "1",       "-c:v",
          "jpeg2000", "-lowres", std::to_string(reduce),
          "-i",       path,      "-f",
          "null",     "-"};
}

void becomeQuietly(const Command& command) {
  const int null = open("/dev/null", O_RDWR);
  for (int stream = 0; stream < 3; ++stream) dup2(null, stream);
  std::vector<char*> words;
  for (const std::string& word : command) words.push_back(const_cast<char*>(word.c_str()));
  words.push_back(nullptr);
  execvp(words[0], words.data());
  _exit(127);
}

// Milliseconds of processor time, or -1 when the program is not there or fails.
double runTime(const Command& command) {
  const pid_t child = fork();
  if (child == 0) becomeQuietly(command);
  int status = 0;
  rusage usage{};
  wait4(child, &status, 0, &usage);
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) return -1;
  const auto milliseconds = [](const timeval& t) {
    return static_cast<double>(t.tv_sec) * 1e3 + static_cast<double>(t.tv_usec) / 1e3;
  };
  return milliseconds(usage.ru_utime) + milliseconds(usage.ru_stime);
}

double medianTime(const Command& command, int rounds) {
  std::vector<double> times;
  for (int i = 0; i < rounds; ++i) {
    const double time = runTime(command);
    if (time < 0) return -1;
    times.push_back(time);
  }
  std::sort(times.begin(), times.end());
  return times[times.size() / 2];
}

void removeOutputs() {
  namespace fs = std::filesystem;
  const fs::path stem = outputFile();
  std::error_code ignored;
  for (const fs::directory_entry& entry : fs::directory_iterator(stem.parent_path(), ignored)) {
    if (entry.path().filename().string().starts_with(stem.filename().string()))
      fs::remove(entry.path(), ignored);
  }
}

}  // namespace

double runPrograms(const std::string& path, const std::string& tiny, unsigned reduce, int rounds,
                   double ownMilliseconds) {
  double least = kNoProgram;
  for (const auto make : {grok, ffmpeg}) {
    const Command command = make(path, reduce);
    const double startUp = medianTime(make(tiny, 0), rounds);
    const double time = medianTime(command, rounds);
    if (startUp < 0 || time < 0) continue;
    const double ratio = (time - startUp) / ownMilliseconds;
    std::printf("  %-35s %8.1f %6.2f   (and %.1f to start)\n", command[0].c_str(), time - startUp,
                ratio, startUp);
    least = std::min(least, ratio);
  }
  removeOutputs();
  return least;
}

}  // namespace wbx::race
