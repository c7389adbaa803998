/* A program that trusts the library to have started itself: its guard takes a wild handle, and the
 * end of the process finishes the log. */
#include <stdio.h>
#include <wbx.h>

int main(int argc, char** argv) {
  uint32_t width = 0;
  uint32_t height = 0;
  WBX_Handle image;
  if (WBX_GetInfo((WBX_Handle)256, &width, &height, NULL) != WBX_ERROR_ARGUMENT) return 1;
  if (WBX_StartLogging(0, 0) != WBX_OK) return 1;
  image = argc == 2 ? WBX_OpenFile(argv[1]) : NULL;
  if (image == NULL || WBX_GetInfo(image, &width, &height, NULL) != WBX_OK) return 1;
  printf("version %u: %u x %u\n", (unsigned)WBX_getVersion(), (unsigned)width, (unsigned)height);
  return WBX_Close(image) == WBX_OK && width == 600 && height == 400 ? 0 : 1;
}
