#ifndef WBX_TOOLS_CONVERT_FILE_H
#define WBX_TOOLS_CONVERT_FILE_H

#include "arguments.h"
#include "outcome.h"

namespace wbx::tool {

// Does with one file all that the arguments ask for. Notes go to standard error at once; a failure
// is for the caller to report.
Outcome convertFile(const Task& task, const Arguments& arguments);

// Does it for all files, reports what fails, and gives the exit status of the program.
int convertFiles(const Arguments& arguments);

}  // namespace wbx::tool

#endif
