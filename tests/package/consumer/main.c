#include <stdio.h>
#include <wbx.h>

int main(int argc, char** argv) {
  uint32_t width = 0;
  uint32_t height = 0;
  WBX_Handle image = argc == 2 ? WBX_OpenFile(argv[1]) : NULL;
  if (image == NULL || WBX_GetInfo(image, &width, &height, NULL) != WBX_OK) {
    return 1;
  }
  printf("version %u: %u x %u\n", (unsigned)WBX_getVersion(), (unsigned)width, (unsigned)height);
  return WBX_Close(image) == WBX_OK && width == 600 && height == 400 ? 0 : 1;
}
