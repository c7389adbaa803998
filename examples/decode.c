/* Decodes an image of 8 bits to a PPM or PGM file: decode INPUT OUTPUT */
#include <stdio.h>
#include <wbx.h>

int main(int argc, char** argv) {
  WBX_Handle image;
  WBX_ImageInfoEx info;
  void* pixels = NULL; /* null: the library allocates the picture */
  uint32_t size = 0;
  uint32_t pitch = 0;
  uint32_t row;
  int32_t code;
  FILE* out;
  int written;

  if (argc != 3) {
    fprintf(stderr, "usage: decode INPUT OUTPUT\n");
    return 2;
  }
  image = WBX_OpenFile(argv[1]);
  if (image == NULL) {
    fprintf(stderr, "%s: %s\n", argv[1], WBX_getLastErrorStr());
    return 1;
  }

  /* Three components to red, green and blue without a gap; one component as it is. */
  code = WBX_GetInfoEx(image, &info);
  if (code == WBX_OK && (info.precision != 8 || (info.components != 1 && info.components != 3))) {
    fprintf(stderr, "%s: a picture of %u components of %u bits\n", argv[1],
            (unsigned)info.components, (unsigned)info.precision);
    WBX_Close(image);
    return 1;
  }
  if (code == WBX_OK) {
    code = WBX_Decode(image, &pixels, &size, info.components == 3 ? "bpp=3,comp_order=RGB" : NULL,
                      &pitch);
  }
  if (code != WBX_OK) {
    fprintf(stderr, "%s: %s\n", argv[1], WBX_getErrorStr(code));
    WBX_Close(image);
    return 1;
  }

  out = fopen(argv[2], "wb");
  if (out == NULL) {
    perror(argv[2]);
    WBX_Close(image);
    return 1;
  }
  fprintf(out, "P%c\n%u %u\n255\n", info.components == 3 ? '6' : '5', (unsigned)info.width,
          (unsigned)info.height);
  for (row = 0; row < info.height; ++row) {
    fwrite((const unsigned char*)pixels + (size_t)row * pitch, info.components, info.width, out);
  }
  written = !ferror(out);
  if (fclose(out) != 0 || !written) {
    perror(argv[2]);
    WBX_Close(image);
    return 1;
  }
  WBX_Close(image); /* frees the picture too */
  return 0;
}
