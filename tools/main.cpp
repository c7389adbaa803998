// wbx-decode: decodes JPEG 2000 images, and shows what they are made of.

#include "wbx.h"

#include "arguments.h"
#include "convert_file.h"
#include "messages.h"
#include "platform.h"
#include "temporary_files.h"

int main(int argc, char** argv) {
  using namespace wbx::tool;
  platform::prepareProcess();
  Arguments arguments;
  if (const auto status = parseArguments(argc, argv, arguments)) return *status;
  platform::cleanUpOnTermination(removeTemporariesForGood);
  if (arguments.log && WBX_StartLogging(0, 0) != WBX_OK) {
    report("wbx-codec.log: cannot be written");
    return kStatusImage;
  }
  return convertFiles(arguments);
}
