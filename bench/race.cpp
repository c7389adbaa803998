// wbx-race: decodes files turn by turn with this library and with OpenJPEG, in one process and on
// one thread, and prints medians, ratios and peak memory.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <openjpeg.h>
#include <span>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "wbx.h"

#include "engine/kernels.h"
#include "race_programs.h"

namespace {

using Bytes = std::vector<unsigned char>;

struct Options {
  int rounds = 7;
  unsigned reduce = 0;
  bool cpuTime = false;
  bool memory = true;
  bool least = false;
  std::string tiny;  // with it, other programs run too and its time is their start-up
  std::vector<std::string> files;
};

// Takes no memory but that of the bytes, for the sake of the peaks below.
Bytes readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary | std::ios::ate);
  const std::streamoff size = in.tellg();
  Bytes bytes(size > 0 ? static_cast<size_t>(size) : 0);
  in.seekg(0);
  in.read(reinterpret_cast<char*>(bytes.data()), size);
  return bytes;
}

// Milliseconds since some moment: of the wall clock, or those that this thread ran.
double now(bool cpuTime) {
  timespec at{};
  clock_gettime(cpuTime ? CLOCK_THREAD_CPUTIME_ID : CLOCK_MONOTONIC, &at);
  return static_cast<double>(at.tv_sec) * 1e3 + static_cast<double>(at.tv_nsec) / 1e6;
}

double median(std::vector<double> values) {
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  const size_t half = values.size() / 2;
  return values.size() % 2 != 0 ? values[half] : (values[half - 1] + values[half]) / 2;
}

// ---- this library -------------------------------------------------------------------------------

class OwnPicture {
 public:
  explicit OwnPicture(const Bytes& file)
      : handle_(WBX_OpenMemory(file.data(), static_cast<int32_t>(file.size()))) {}
  ~OwnPicture() {
    if (handle_ != nullptr) WBX_Close(handle_);
  }
  OwnPicture(const OwnPicture&) = delete;
  OwnPicture& operator=(const OwnPicture&) = delete;

  bool isOpen() const { return handle_ != nullptr; }

  bool decode(unsigned reduce) {
    const std::string options = "video=0 res_level=" + std::to_string(reduce);
    return WBX_Decode(handle_, &pixels, &size, options.c_str(), &pitch) == WBX_OK;
  }

  WBX_ImageInfoEx info() const {
    WBX_ImageInfoEx info{};
    WBX_GetInfoEx(handle_, &info);
    return info;
  }

  void* pixels = nullptr;
  uint32_t size = 0, pitch = 0;

 private:
  WBX_Handle handle_;
};

// ---- OpenJPEG -----------------------------------------------------------------------------------

struct MemorySource {
  const Bytes* bytes;
  size_t at;
};

OPJ_SIZE_T readSource(void* buffer, OPJ_SIZE_T count, void* user) {
  auto& source = *static_cast<MemorySource*>(user);
  const size_t left = source.bytes->size() - source.at;
  if (left == 0) return static_cast<OPJ_SIZE_T>(-1);
  const size_t taken = std::min<size_t>(count, left);
  std::memcpy(buffer, source.bytes->data() + source.at, taken);
  source.at += taken;
  return taken;
}

OPJ_OFF_T skipSource(OPJ_OFF_T count, void* user) {
  auto& source = *static_cast<MemorySource*>(user);
  source.at = std::min(source.at + static_cast<size_t>(count), source.bytes->size());
  return count;
}

OPJ_BOOL seekSource(OPJ_OFF_T to, void* user) {
  auto& source = *static_cast<MemorySource*>(user);
  if (to < 0 || static_cast<size_t>(to) > source.bytes->size()) return OPJ_FALSE;
  source.at = static_cast<size_t>(to);
  return OPJ_TRUE;
}

// Decodes a whole file from memory to planes.
class OtherPicture {
 public:
  OtherPicture(const Bytes& file, unsigned reduce) : source_{&file, 0} {
    static constexpr unsigned char kCodestream[] = {0xFF, 0x4F};
    const bool raw = file.size() > 2 && std::memcmp(file.data(), kCodestream, 2) == 0;
    codec_ = opj_create_decompress(raw ? OPJ_CODEC_J2K : OPJ_CODEC_JP2);
    stream_ = opj_stream_create(size_t{1} << 20, OPJ_TRUE);
    opj_stream_set_read_function(stream_, readSource);
    opj_stream_set_skip_function(stream_, skipSource);
    opj_stream_set_seek_function(stream_, seekSource);
    opj_stream_set_user_data(stream_, &source_, nullptr);
    opj_stream_set_user_data_length(stream_, file.size());
    opj_dparameters_t parameters;
    opj_set_default_decoder_parameters(&parameters);
    parameters.cp_reduce = reduce;
    good = opj_setup_decoder(codec_, &parameters) != OPJ_FALSE &&
           opj_codec_set_threads(codec_, 0) != OPJ_FALSE &&
           opj_read_header(stream_, codec_, &image) != OPJ_FALSE &&
           opj_decode(codec_, stream_, image) != OPJ_FALSE &&
           opj_end_decompress(codec_, stream_) != OPJ_FALSE;
  }
  ~OtherPicture() {
    if (image != nullptr) opj_image_destroy(image);
    opj_destroy_codec(codec_);
    opj_stream_destroy(stream_);
  }
  OtherPicture(const OtherPicture&) = delete;
  OtherPicture& operator=(const OtherPicture&) = delete;

  size_t outputBytes() const {
    size_t samples = 0;
    for (const opj_image_comp_t& each : std::span(image->comps, image->numcomps))
      samples += size_t{each.w} * each.h;
    return samples * sizeof *image->comps->data;
  }

  opj_image_t* image = nullptr;
  bool good = false;

 private:
  MemorySource source_;
  opj_codec_t* codec_;
  opj_stream_t* stream_;
};

// ---- one file -----------------------------------------------------------------------------------

struct Times {
  std::vector<double> open, own, other;
};

bool raceOnce(const Bytes& file, const Options& options, Times& times) {
  double start = now(options.cpuTime);
  {
    OwnPicture picture(file);
    times.open.push_back(now(options.cpuTime) - start);
    if (!picture.isOpen() || !picture.decode(options.reduce)) return false;
  }
  times.own.push_back(now(options.cpuTime) - start);

  start = now(options.cpuTime);
  {
    if (!OtherPicture(file, options.reduce).good) return false;
  }
  times.other.push_back(now(options.cpuTime) - start);
  return true;
}

// The largest difference of two samples, or -1 where the two outputs do not correspond.
int largestDifference(const Bytes& file, unsigned reduce) {
  OwnPicture own(file);
  const OtherPicture other(file, reduce);
  if (!own.isOpen() || !own.decode(reduce) || !other.good) return -1;
  const WBX_ImageInfoEx info = own.info();
  if (info.precision < 8 || other.image->numcomps != info.components) return -1;
  const size_t sampleBytes = info.precision > 8 ? 2 : 1;
  const size_t pixelBytes = info.components == 1 ? sampleBytes : 4 * sampleBytes;
  int largest = 0;
  for (unsigned c = 0; c < info.components; ++c) {
    const opj_image_comp_t& plane = other.image->comps[c];
    if (plane.dx != 1 || plane.dy != 1) return -1;
    const unsigned channel = info.components >= 3 && c < 3 ? 2 - c : c;
    for (size_t y = 0; y < plane.h; ++y) {
      const unsigned char* sample =
          static_cast<const unsigned char*>(own.pixels) + y * own.pitch + channel * sampleBytes;
      for (size_t x = 0; x < plane.w; ++x, sample += pixelBytes) {
        const int value = sampleBytes == 1 ? sample[0] : sample[0] | (sample[1] << 8);
        largest = std::max(largest, std::abs(value - plane.data[y * plane.w + x]));
      }
    }
  }
  return largest;
}

// ---- peak memory --------------------------------------------------------------------------------

// The largest resident size so far. What getrusage tells would include the parent's, from before
// the exec.
long peakBytes() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmHWM:")) return std::atol(line.c_str() + 6) * 1024;
  }
  return 0;
}

// What a child process prints: the growth of its peak by one decode, and the bytes of the output.
int measureMemory(const std::string& side, const std::string& path, unsigned reduce) {
  const Bytes file = readFile(path);
  const long before = peakBytes();
  size_t output = 0;
  if (side == "own") {
    OwnPicture picture(file);
    if (!picture.isOpen() || !picture.decode(reduce)) return 1;
    output = picture.size;
  } else {
    const OtherPicture picture(file, reduce);
    if (!picture.good) return 1;
    output = picture.outputBytes();
  }
  std::printf("%ld %zu\n", peakBytes() - before, output);
  return 0;
}

struct Memory {
  long growth = 0, output = 0;
};

// What a decode takes in a fresh process.
Memory memoryOf(const char* side, const std::string& path, unsigned reduce) {
  int ends[2];
  if (pipe(ends) != 0) return {};
  const pid_t child = fork();
  if (child == 0) {
    dup2(ends[1], STDOUT_FILENO);
    execl("/proc/self/exe", "wbx-race", "--memory-of", side, path.c_str(),
          std::to_string(reduce).c_str(), nullptr);
    _exit(127);
  }
  close(ends[1]);
  FILE* in = fdopen(ends[0], "r");
  Memory memory;
  if (std::fscanf(in, "%ld %ld", &memory.growth, &memory.output) != 2) memory = {};
  std::fclose(in);
  waitpid(child, nullptr, 0);
  return memory;
}

// OpenJPEG works in its output planes of 32 bits a sample, so what it takes is shown twice: beyond
// those planes, and beyond a buffer like that of this library.
void printMemory(const std::string& path, unsigned reduce) {
  const Memory own = memoryOf("own", path, reduce);
  const Memory other = memoryOf("other", path, reduce);
  std::printf(" %8ld %8ld %8ld", (own.growth - own.output) / 1024,
              (other.growth - other.output) / 1024, (other.growth - own.output) / 1024);
}

// -------------------------------------------------------------------------------------------------

std::string baseName(const std::string& path) {
  return path.substr(path.find_last_of('/') + 1);
}

// The least ratio of a race and the file that has it. What is done before the clock has ticked a
// few times tells nothing.
struct Least {
  static constexpr double kShortest = 2;  // ms of OpenJPEG

  double ratio = wbx::race::kNoProgram;
  std::string file;

  void consider(double ofFile, double other, const std::string& path) {
    if (other < kShortest || ofFile >= ratio) return;
    ratio = ofFile;
    file = baseName(path);
  }
};

bool race(const std::string& path, const Options& options, Least& least) {
  const Bytes file = readFile(path);
  Times times;
  for (int round = 0; round < options.rounds; ++round) {
    if (!raceOnce(file, options, times)) {
      std::printf("%-28s cannot be decoded by both\n", baseName(path).c_str());
      return false;
    }
  }
  const double open = median(times.open), own = median(times.own), other = median(times.other);
  std::printf("%-28s %8.1f %8.1f %6.2f %6.2f %%", baseName(path).c_str(), own, other, other / own,
              100 * open / own);
  if (options.memory) printMemory(path, options.reduce);
  std::printf(" %5d\n", largestDifference(file, options.reduce));
  double ratio = other / own;
  if (!options.tiny.empty())
    ratio = std::min(ratio, wbx::race::runPrograms(path, options.tiny, options.reduce, 3, own));
  least.consider(ratio, other, path);
  std::fflush(stdout);
  return true;
}

int usage() {
  std::fputs(
      "usage: wbx-race [options] FILES|FOLDERS...\n"
      "  --rounds N     turns of each decoder on each file (7)\n"
      "  --reduce N     leave out the N finest resolutions\n"
      "  --cpu-time     time that the thread ran instead of time that passed\n"
      "  --no-memory    leave out the peak memory\n"
      "  --least        end with the least ratio, of the files that take OpenJPEG 2 ms or more\n"
      "  --set NAME     use no better instructions than those of baseline, avx2 or avx512\n"
      "  --tiny FILE    also run grk_decompress and ffmpeg, if there, as programs, and take off\n"
      "                 the time they need for this file\n",
      stderr);
  return 2;
}

bool chooseInstructions(const std::string& name) {
  for (const wbx::Kernels* const* set = wbx::availableKernels(); *set != nullptr; ++set) {
    if (name != (*set)->name) continue;
    wbx::forceKernels(*set);
    return true;
  }
  std::fprintf(stderr, "%s: not on this processor\n", name.c_str());
  return false;
}

// A file, or the files of a folder by name.
void addFiles(const std::string& path, std::vector<std::string>& files) {
  namespace fs = std::filesystem;
  if (!fs::is_directory(path)) return files.push_back(path);
  const size_t before = files.size();
  for (const fs::directory_entry& entry : fs::directory_iterator(path)) {
    const std::string kind = entry.path().extension().string();
    if (kind == ".j2k" || kind == ".jp2" || kind == ".j2c") files.push_back(entry.path().string());
  }
  std::sort(files.begin() + static_cast<std::ptrdiff_t>(before), files.end());
}

bool parse(int count, char** words, Options& options) {
  for (int i = 1; i < count; ++i) {
    const std::string word = words[i];
    const bool hasValue = i + 1 < count;
    if (word == "--rounds" && hasValue) {
      options.rounds = std::max(1, std::atoi(words[++i]));
    } else if (word == "--reduce" && hasValue) {
      options.reduce = static_cast<unsigned>(std::max(0, std::atoi(words[++i])));
    } else if (word == "--tiny" && hasValue) {
      options.tiny = words[++i];
    } else if (word == "--set" && hasValue) {
      if (!chooseInstructions(words[++i])) return false;
    } else if (word == "--cpu-time") {
      options.cpuTime = true;
    } else if (word == "--no-memory") {
      options.memory = false;
    } else if (word == "--least") {
      options.least = true;
    } else if (word[0] == '-') {
      return false;
    } else {
      addFiles(word, options.files);
    }
  }
  return !options.files.empty();
}

}  // namespace

int main(int count, char** words) {
  if (count == 5 && std::strcmp(words[1], "--memory-of") == 0)
    return measureMemory(words[2], words[3], static_cast<unsigned>(std::atoi(words[4])));
  Options options;
  if (!parse(count, words, options)) return usage();
  std::printf("OpenJPEG %s; %s, median of %d; memory in KiB beyond file and output\n",
              opj_version(), options.cpuTime ? "CPU time in ms" : "time in ms", options.rounds);
  std::printf("%-28s %8s %8s %6s %8s", "", "own", "OpenJPEG", "ratio", "open");
  if (options.memory) std::printf(" %8s %8s %8s", "own", "OpenJPEG", "packed");
  std::printf(" %5s\n", "diff");
  bool good = true;
  Least least;
  for (const std::string& path : options.files) good = race(path, options, least) && good;
  if (options.least && !least.file.empty())
    std::printf("least: %.2f, %s\n", least.ratio, least.file.c_str());
  return good ? 0 : 1;
}
