#ifndef WBX_TOOLS_TEMPORARY_FILES_H
#define WBX_TOOLS_TEMPORARY_FILES_H

#include <cstdio>
#include <filesystem>

namespace wbx::tool {

// A file that was not there before, open for writing, in the folder of a file that it is to
// replace. `file` is null if it could not be made, with the reason in errno.
struct TemporaryFile {
  std::FILE* file = nullptr;
  std::filesystem::path path;
};

// The tool's unfinished files. They are in a list of the process, which is emptied when the process
// is told to end.
TemporaryFile createTemporary(const std::filesystem::path& target);

// Gives a finished and closed file its name. On failure, with the reason in errno, it is still
// there.
bool renameTemporary(const std::filesystem::path& temporary, const std::filesystem::path& target);

void removeTemporary(const std::filesystem::path& temporary);

// Removes all of them, and lets no other come: for the end of the process.
void removeTemporariesForGood();

}  // namespace wbx::tool

#endif
