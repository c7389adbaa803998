// ErrorTable: the texts of the error codes.
#pragma once

#include "base/types.h"

namespace wbx {

struct ErrorText {
  i32 code;
  const char* text;
};

// By ascending code; a row with a negative code ends it.
extern const ErrorText ErrorTable[];

// "<unknown>" for a number that is no code.
[[nodiscard]] const char* errorText(i32 code);

}  // namespace wbx
