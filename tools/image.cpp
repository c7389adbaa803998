#include "image.h"

namespace wbx::tool {

Image::~Image() {
  if (handle_ != nullptr) WBX_Close(handle_);
}

Outcome Image::open(const std::string& input, const std::string& name, Depth depth) {
  name_ = name;
  if (Outcome outcome = source_.open(input); outcome.failed()) return outcome;
  facts_ = readFacts(source_, depth);
  const auto& bytes = source_.memory();
  handle_ = source_.isInMemory() ? WBX_OpenMemory(bytes.data(), static_cast<int32_t>(bytes.size()))
                                 : WBX_OpenFile(input.c_str());
  if (handle_ == nullptr) return Outcome::library(name_, WBX_getLastError());
  const int32_t code = WBX_GetInfoEx(handle_, &info_);
  return code == WBX_OK ? Outcome{} : Outcome::library(name_, code);
}

}  // namespace wbx::tool
