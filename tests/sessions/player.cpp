// Replays recorded sessions: commands to the library, each with the answers that it must give.
// docs/testing.md tells the language.
//
//   wbx-sessions DATA FILE...            tells the first difference of each session
//   wbx-sessions DATA --record FILE...   writes what the library answers now into the files
#include <algorithm>
#include <bit>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "wbx.h"

namespace {

using Bytes = std::vector<uint8_t>;
using Lines = std::vector<std::string>;
namespace fs = std::filesystem;

Bytes readFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("no file " + path.string());
  return {std::istreambuf_iterator<char>(file), {}};
}

Lines linesOf(const fs::path& path) {
  const Bytes bytes = readFile(path);
  std::istringstream in(std::string(bytes.begin(), bytes.end()));
  Lines lines;
  for (std::string line; std::getline(in, line); lines.push_back(line))
    if (line.ends_with('\r')) line.pop_back();
  return lines;
}

Bytes fromHex(std::string digits) {
  std::erase(digits, ' ');
  Bytes bytes;
  for (size_t i = 0; i + 1 < digits.size(); i += 2)
    bytes.push_back(static_cast<uint8_t>(std::stoul(digits.substr(i, 2), nullptr, 16)));
  return bytes;
}

// As zlib and PNG have it.
uint32_t crc32(const uint8_t* bytes, size_t size) {
  uint32_t crc = 0xFFFFFFFFu;
  for (size_t i = 0; i < size; ++i) {
    crc ^= bytes[i];
    for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ ((crc & 1u) != 0 ? 0xEDB88320u : 0u);
  }
  return ~crc;
}

// Whether a stream decodes to words: by the low six bits of the first Ssiz, 38 bytes behind the SIZ
// marker.
bool decodesToWords(const Bytes& stream) {
  static const uint8_t start[] = {0xFF, 0x4F, 0xFF, 0x51};
  const auto at = std::search(stream.begin(), stream.end(), std::begin(start), std::end(start));
  return stream.end() - at > 42 && (at[42] & 0x3F) > 7;
}

// A source of callbacks. At a call of a given number it can do what a source should not.
struct Source {
  Bytes bytes;
  bool refuses = false;
  size_t position = 0;
  WBX_Handle handle = nullptr;
  std::string mishap;
  long calls = 0, at = -1;
  bool lasting = false;
  int closes = 0, afterClose = 0;

  bool strikes() {
    afterClose += closes;
    const long call = calls++;
    if (at < 0 || call < at || (call > at && !lasting)) return false;
    if (mishap == "cancel") WBX_Cancel(handle);
    return mishap != "cancel";
  }
  int32_t seek(uint32_t offset) {
    if (refuses || strikes()) return -1;
    position = offset;
    return 0;
  }
  int32_t read(void* buffer, uint32_t count) {
    size_t part = std::min<size_t>(count, bytes.size() - std::min(position, bytes.size()));
    if (strikes()) {
      if (mishap == "error") return -1;
      part = mishap == "end" ? 0 : std::min<size_t>(part, count / 2);
    }
    if (part != 0) std::memcpy(buffer, bytes.data() + position, part);
    position += part;
    return static_cast<int32_t>(part);
  }
};

constexpr const char* kLogFile = "wbx-codec.log";

// Plays one session in the current directory.
class Player {
 public:
  explicit Player(fs::path data) : data_(std::move(data)) {
    fs::remove(kLogFile);
    addStreamCommands();
    addQueries();
    addDecodes();
    addTexts();
  }
  ~Player() {
    WBX_Close(handle_);
    WBX_StopLogging();
  }
  Player(const Player&) = delete;
  Player& operator=(const Player&) = delete;

  // The session with the answers of now in place of those that it holds.
  Lines play(const Lines& session) {
    readAhead(session);
    for (const std::string& line : session) {
      const bool hex = line.starts_with("  "), command = line.starts_with("> ");
      if (hex || command || line.empty() || line[0] == '#' || line[0] == '=') out_.push_back(line);
      if (hex) append(fromHex(line));
      if (command) run(line.substr(2));
    }
    return out_;
  }

 private:
  // The files of a session: between the library's calls no other may change the last error.
  void readAhead(const Lines& session) {
    for (const std::string& line : session) {
      const std::string name = line.substr(line.rfind(' ') + 1);
      std::error_code none;
      if (line.starts_with("> open ") && fs::is_regular_file(data_ / name, none)) bytesOf(name);
    }
  }
  void run(const std::string& command) {
    static const std::regex form("\"([^\"]*)\"|(\\S+)");
    words_.clear();
    for (std::sregex_iterator it(command.begin(), command.end(), form), end; it != end; ++it)
      words_.push_back((*it)[2].matched ? (*it)[2] : (*it)[1]);
    commands_.at(words_.at(0))();
  }
  // The words of the command; null is a null pointer.
  const char* text(size_t i) const { return words_.at(i) == "null" ? nullptr : words_[i].c_str(); }
  int32_t number(size_t i) const {
    return static_cast<int32_t>(std::stoll(words_.at(i), nullptr, 0));
  }

  [[gnu::format(printf, 2, 3)]] void tell(const char* format, ...) {
    char line[1024];
    va_list values;
    va_start(values, format);
    std::vsnprintf(line, sizeof line, format, values);
    va_end(values);
    out_.emplace_back(line);
  }
  // What no recording holds.
  void demand(bool kept, const char* rule) {
    if (!kept) tell("BROKEN: %s", rule);
  }

  void addStreamCommands() {
    commands_["stream"] = [this] {  // NAME [like OTHER]
      newest_ = words_.at(1);
      streams_[newest_] = words_.size() > 3 ? bytesOf(words_[3]) : Bytes();
    };
    commands_["patch"] = [this] {  // AT HEX
      const Bytes bytes = fromHex(words_.at(2));
      std::copy(bytes.begin(), bytes.end(), streams_[newest_].begin() + number(1));
    };
    commands_["insert"] = [this] {  // AT HEX
      const Bytes bytes = fromHex(words_.at(2));
      Bytes& stream = streams_[newest_];
      stream.insert(stream.begin() + number(1), bytes.begin(), bytes.end());
    };
    commands_["cut"] = [this] { streams_[newest_].resize(static_cast<size_t>(number(1))); };
    commands_["mishap"] = [this] {  // KIND CALL [lasting]
      source_.mishap = words_.at(1);
      source_.at = number(2);
      source_.lasting = words_.size() > 3;
      source_.calls = 0;
    };
    commands_["open"] = [this] { open(words_.at(1)); };
    commands_["cancel"] = [this] { WBX_Cancel(handle_); };
    commands_["close"] = [this] {
      tell("close rc=%d", WBX_Close(handle_));
      if (handle_ != nullptr && source_.handle == handle_)
        demand(source_.closes == 1 && source_.afterClose == 0, "a source is closed once, at last");
      handle_ = source_.handle = nullptr;
    };
  }

  void append(const Bytes& more) {
    Bytes& stream = streams_[newest_];
    stream.insert(stream.end(), more.begin(), more.end());
  }
  const Bytes& bytesOf(const std::string& name) {
    const auto found = streams_.find(name);
    return found != streams_.end() ? found->second : streams_[name] = readFile(data_ / name);
  }
  // Writes a stream to a file of its name in the current directory.
  void writeFile(const char* name) {
    if (name == nullptr || *name == '\0' || std::string(name).starts_with("missing")) return;
    const Bytes& bytes = bytesOf(name);
    std::ofstream(name, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<long>(bytes.size()));
  }

  void open(const std::string& way) {
    const char* name = text(2);
    if (handle_ != nullptr) WBX_Close(handle_);
    if (way == "file") {
      writeFile(name);
      handle_ = WBX_OpenFile(name);
    } else if (way == "memory") {
      const Bytes& bytes = bytesOf(name);
      memory_ = std::make_unique<uint8_t[]>(bytes.size());  // no byte more, for a sanitizer
      std::copy(bytes.begin(), bytes.end(), memory_.get());
      handle_ = WBX_OpenMemory(memory_.get(), static_cast<int32_t>(bytes.size()));
    } else {
      openSource(way, bytesOf(name));
    }
    if (handle_ == nullptr) {
      tell("open null err=%d", WBX_getLastError());
      return;
    }
    decodesToWords_ = decodesToWords(bytesOf(name));
    tell("open ok");
  }
  void openSource(const std::string& way, const Bytes& bytes) {
    source_.bytes = bytes;
    source_.refuses = way == "refuse";
    source_.position = 0;
    source_.closes = source_.afterClose = 0;
    CustomCallbacks callbacks = {[](void* user, uint32_t offset)
                                     WBX_CALL { return static_cast<Source*>(user)->seek(offset); },
                                 [](void* buffer, uint32_t count, void* user) WBX_CALL {
                                   return static_cast<Source*>(user)->read(buffer, count);
                                 },
                                 [](void* user) WBX_CALL { ++static_cast<Source*>(user)->closes; }};
    if (way == "noseek") callbacks.seek = nullptr;
    source_.handle = handle_ = WBX_OpenCustom(&source_, &callbacks);
    callbacks = {};  // was copied
    demand(source_.closes == (handle_ == nullptr ? 1 : 0), "a failed open closes its source once");
  }

  void addQueries() {
    commands_["info"] = [this] {
      uint32_t w = 0, h = 0, c = 0;
      const int32_t code = WBX_GetInfo(handle_, &w, &h, &c);
      tell("info rc=%d w=%u h=%u c=%u", code, w, h, c);
    };
    commands_["infoex"] = [this] {
      WBX_ImageInfoEx i = {};
      const int32_t code = WBX_GetInfoEx(handle_, &i);
      tell("infoex rc=%d version=%u w=%u h=%u c=%u flags=%u across=%u down=%u prec=%u", code,
           i.version, i.width, i.height, i.components, i.flags, i.tilesAcross, i.tilesDown,
           i.precision);
    };
    commands_["meta"] = [this] { tellMetadata(); };
    commands_["entry"] = [this] {  // INDEX
      int32_t index = number(1);
      uint32_t kind = 77, length = 77;
      const void* data = nullptr;
      const int32_t code = WBX_GetMetaData(handle_, &index, &kind, &data, &length);
      tell("entry rc=%d index=%d kind=%u len=%u %s", code, index, kind, length,
           data == nullptr ? "(none)" : static_cast<const char*>(data));
    };
    commands_["resolutions"] = [this] {
      int32_t count = 0;
      const int32_t code = WBX_GetResolutions(handle_, &count);
      tell("resolutions rc=%d n=%d", code, count);
    };
    commands_["resdim"] = [this] {  // LEVEL
      uint32_t w = 0, h = 0;
      const int32_t code = WBX_GetResolutionDimensions(handle_, number(1), &w, &h);
      tell("resdim %d rc=%d w=%u h=%u", number(1), code, w, h);
    };
    commands_["resdimstr"] = [this] {  // OPTIONS
      uint32_t w = 0, h = 0;
      const int32_t code = WBX_GetResolutionDimensionsByStr(handle_, text(1), &w, &h);
      tell("resdimstr rc=%d w=%u h=%u", code, w, h);
    };
    commands_["select"] = [this] {  // FIRST LAST STATE
      tell("select rc=%d", WBX_SelectTiles(handle_, number(1), number(2), number(3)));
    };
  }
  void tellMetadata() {
    int32_t index = 0, code = 0;
    for (int entry = 0;; ++entry) {
      uint32_t kind = 0, length = 0;
      const void* data = nullptr;
      code = WBX_GetMetaData(handle_, &index, &kind, &data, &length);
      if (code != WBX_OK || data == nullptr) break;
      const auto* bytes = static_cast<const uint8_t*>(data);
      tell("meta %d kind=%u len=%u crc=%08x", entry, kind, length, crc32(bytes, length));
      demand(kind == WBX_META_UUID || bytes[length] == 0, "a zero byte ends an entry");
    }
    tell("meta end rc=%d index=%d", code, index);
  }

  void addDecodes() {
    commands_["decode"] = [this] {  // PITCH FILL OPTIONS: asks for the size, then decodes
      const bool hasPitch = words_.at(1) != "-";
      const auto wanted = hasPitch ? static_cast<uint32_t>(number(1)) : 0;
      uint32_t size = 1, pitch = wanted;
      if (decodeInto("probe", 16, &size, hasPitch ? &pitch : nullptr) != WBX_ERROR_BUFFER_SIZE)
        return;
      pitch = wanted;
      decodeInto("decode", size_t{size} + 4096, &size, hasPitch ? &pitch : nullptr);
    };
    commands_["into"] = [this] {  // PITCH FILL OPTIONS SIZE ROOM: one call, into ROOM bytes
      auto pitch = static_cast<uint32_t>(number(1)), size = static_cast<uint32_t>(number(4));
      decodeInto("into", static_cast<size_t>(number(5)), &size, &pitch);
    };
    commands_["int"] = [this] {  // OPTIONS: into a buffer of the library
      void* buffer = nullptr;
      uint32_t size = 0, pitch = 0;
      const int32_t code = WBX_Decode(handle_, &buffer, &size, text(1), &pitch);
      const bool whole = code == WBX_OK && buffer != nullptr;
      tell("int rc=%d size=%u pitch=%u crc=%08x", code, size, pitch,
           whole ? checksum(static_cast<uint8_t*>(buffer), size) : 0);
    };
    commands_["easy"] = [this] {  // NAME OPTIONS
      void* buffer = nullptr;
      uint32_t w = 0, h = 0, c = 0;
      writeFile(text(1));
      const WBX_Handle handle = WBX_EasyDecode(text(1), &buffer, &w, &h, &c, text(2));
      if (handle == nullptr) {
        tell("easy null err=%d", WBX_getLastError());
        return;
      }
      tell("easy ok w=%u h=%u c=%u", w, h, c);
      demand(buffer != nullptr && WBX_Close(handle) == WBX_OK, "an easy decode can be closed");
    };
  }
  // Words as a little-endian machine has them.
  uint32_t checksum(const uint8_t* bytes, size_t size) const {
    Bytes ordered(bytes, bytes + size);
    if (std::endian::native == std::endian::big && decodesToWords_)
      for (size_t i = 0; i + 1 < size; i += 2) std::swap(ordered[i], ordered[i + 1]);
    return crc32(ordered.data(), size);
  }
  // Words 2 and 3 of the command are the byte that fills the buffer before, and the options.
  int32_t decodeInto(const char* what, size_t room, uint32_t* size, uint32_t* pitch) {
    constexpr std::ptrdiff_t kFront = 64;
    const auto fill = static_cast<uint8_t>(number(2));
    Bytes memory(kFront + room, fill);
    uint8_t* const picture = memory.data() + kFront;
    void* buffer = picture;
    const int32_t code = WBX_Decode(handle_, &buffer, size, text(3), pitch);
    demand(buffer == picture, "a caller's buffer stays");
    demand(std::count(memory.begin(), memory.begin() + kFront, fill) == kFront,
           "nothing is written in front of a buffer");
    std::string line = what + (" rc=" + std::to_string(code)) + " size=" + std::to_string(*size);
    if (pitch != nullptr) line += " pitch=" + std::to_string(*pitch);
    if (std::string(what) == "probe") {
      out_.push_back(line);
    } else {
      tell("%s crc=%08x", line.c_str(), checksum(picture, room));
    }
    return code;
  }

  void addTexts() {
    commands_["errstr"] = [this] { tell("errstr %d %s", number(1), WBX_getErrorStr(number(1))); };
    commands_["errstrvb"] = [this] {
      std::string room(WBX_ERROR_TEXT_SIZE, '?');
      WBX_getErrorStrVB(number(1), room.data());
      tell("errstrvb %s", room.c_str());
    };
    commands_["lasterror"] = [this] {
      const int32_t code = WBX_getLastError();
      tell("lasterror %d %s", code, WBX_getLastErrorStr());
    };
    commands_["version"] = [this] { tell("version %u", WBX_getVersion()); };
    commands_["log"] = [this] {  // start APPEND | stop | show
      if (words_.at(1) == "show") return tellLog();
      if (words_[1] == "start") return tell("log start rc=%d", WBX_StartLogging(0, number(2)));
      WBX_StopLogging();
      tell("log stop");
    };
  }
  // The log without what differs from run to run and from machine to machine.
  void tellLog() {
    static const std::regex stamp(R"(^\[\d\d:\d\d\.\d{3} [0-9A-F]{4,}\])");
    static const std::regex date(R"(STARTED on \[[0-9/: ]+\])");
    static const std::regex pointer(R"(0x[0-9a-f]{6,}|\(nil\)|\b([0-9a-fA-F]{8}){1,2}\b)");
    if (!fs::exists(kLogFile)) return;
    for (std::string line : linesOf(kLogFile)) {
      line = std::regex_replace(line, stamp, "[]");
      line = std::regex_replace(line, date, "STARTED on [DATE]");
      out_.push_back((line.empty() ? "log:" : "log: ") + std::regex_replace(line, pointer, "PTR"));
    }
  }

  fs::path data_;
  std::map<std::string, std::function<void()>> commands_;
  Lines words_, out_;
  std::map<std::string, Bytes> streams_;
  std::string newest_;
  WBX_Handle handle_ = nullptr;
  bool decodesToWords_ = false;
  std::unique_ptr<uint8_t[]> memory_;
  Source source_;
};

// The sessions of a file: each starts with a line "== NAME".
std::vector<Lines> sessionsOf(const fs::path& path) {
  std::vector<Lines> sessions(1);
  for (const std::string& line : linesOf(path)) {
    if (line.starts_with("== ")) sessions.emplace_back();
    sessions.back().push_back(line);
  }
  return sessions;
}

void tellDifference(const Lines& recorded, const Lines& now) {
  const auto [r, n] = std::mismatch(recorded.begin(), recorded.end(), now.begin(), now.end());
  const auto isCommand = [](const std::string& line) { return line.starts_with("> "); };
  const auto command = std::find_if(std::make_reverse_iterator(r), recorded.rend(), isCommand);
  std::printf("%s\n  %s\n  recorded: %s\n  now:      %s\n", recorded.front().c_str(),
              command != recorded.rend() ? command->c_str() : "",
              r != recorded.end() ? r->c_str() : "(end)", n != now.end() ? n->c_str() : "(end)");
}

// Plays the sessions of a file in a folder of its own, which is gone afterwards; returns how many
// differ.
int play(const fs::path& data, const fs::path& file, bool record) {
  const fs::path before = fs::current_path(), place = before / ("played-" + file.stem().string());
  fs::create_directories(place);
  fs::current_path(place);
  int differences = 0;
  std::string now;
  for (const Lines& session : sessionsOf(file)) {
    const Lines played = Player(data).play(session);
    if (played != session && !record) tellDifference(session, played);
    differences += played != session ? 1 : 0;
    for (const std::string& line : played) now += line + '\n';
  }
  fs::current_path(before);
  fs::remove_all(place);
  if (record) std::ofstream(file, std::ios::binary) << now;
  std::printf("%s: %d sessions differ\n", file.filename().string().c_str(), differences);
  return record ? 0 : differences;
}

}  // namespace

int main(int count, char** arguments) {
  const bool record = count > 2 && std::string(arguments[2]) == "--record";
  const int first = record ? 3 : 2;
  if (count <= first) {
    std::fprintf(stderr, "usage: wbx-sessions DATA [--record] FILE...\n");
    return 2;
  }
  int differences = 0;
  for (int i = first; i < count; ++i)
    differences += play(fs::absolute(arguments[1]), fs::absolute(arguments[i]), record);
  return differences == 0 ? 0 : 1;
}
