// Other decoders, as programs.
#pragma once

#include <limits>
#include <string>

namespace wbx::race {

inline constexpr double kNoProgram = std::numeric_limits<double>::infinity();

// Runs each known program that is installed on the file, on one thread, and prints the median of
// its time less that of its start-up, which is what it needs for the file `tiny`. The time
// includes the writing of the picture where the program cannot leave it out. Returns the least
// ratio to our own time, or kNoProgram.
double runPrograms(const std::string& path, const std::string& tiny, unsigned reduce, int rounds,
                   double ownMilliseconds);

}  // namespace wbx::race
