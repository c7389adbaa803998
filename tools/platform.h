#ifndef WBX_TOOLS_PLATFORM_H
#define WBX_TOOLS_PLATFORM_H

#include <cstdint>
#include <cstdio>
#include <string>

// All that the tool asks of the operating system beyond the standard library.
namespace wbx::tool::platform {

// Puts the process in order before anything else runs: the three standard streams are open, so that
// no file of ours takes their place; they carry bytes; and a reader that goes away makes a write
// fail instead of ending the process.
void prepareProcess();

bool isTerminal(std::FILE* stream);

// Calls `cleanUp` on a thread of its own when the user or the system ends the process (Ctrl-C, a
// closed terminal, a polite kill), and then lets it end as it would have. To be called once, before
// other threads start.
void cleanUpOnTermination(void (*cleanUp)());

// Makes a file that was not there before and opens it for writing. Null if it cannot be, with the
// reason in errno: EEXIST if the name is taken.
std::FILE* createFile(const std::string& path);

// Gives `to` the permissions of `from`, and its owner as far as that is allowed.
void copyPermissions(const std::string& from, const std::string& to);

// Moves within a file that may be larger than 4 GiB.
bool seekTo(std::FILE* file, uint64_t offset);

// Different for every process that runs.
uint64_t processNumber();

}  // namespace wbx::tool::platform

#endif
