/* uninitialised FILE...: opens and decodes each file from memory, through callbacks, and through
 * callbacks that boast of bytes which they never wrote. Looks at all that comes out, so that
 * MemorySanitizer tells of memory that nobody filled; in C alone, as C++ libraries would need to be
 * built for it too. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wbx.h>

enum { kMemory, kCallbacks, kBoast, kWays };

static struct {
  unsigned char* bytes;
  uint32_t size, position, written; /* behind `written` the source boasts */
} source;

static int32_t seek_source(void* user, uint32_t offset) {
  (void)user;
  source.position = offset;
  return 0;
}

static int32_t read_source(void* buffer, uint32_t count, void* user) {
  const uint32_t start = source.position < source.size ? source.position : source.size;
  const uint32_t there = count < source.size - start ? count : source.size - start;
  (void)user;
  if (start < source.written) memcpy(buffer, source.bytes + start, there);
  source.position += count;
  return (int32_t)there;
}

static unsigned sum_of(const void* data, uint32_t size) {
  unsigned sum = 0;
  uint32_t i;
  for (i = 0; i < size; ++i) sum = sum * 31 + ((const unsigned char*)data)[i];
  return sum;
}

static unsigned decode(WBX_Handle image, const char* options) {
  void* pixels = NULL;
  const void* data = NULL;
  uint32_t size = 0, kind = 0, length = 0;
  int32_t index = 0;
  unsigned sum = 0;
  if (WBX_Decode(image, &pixels, &size, options, NULL) == WBX_OK) sum = sum_of(pixels, size);
  while (WBX_GetMetaData(image, &index, &kind, &data, &length) == WBX_OK && data != NULL)
    sum += kind + sum_of(data, length);
  return sum;
}

static unsigned try_all(void) {
  static const CustomCallbacks callbacks = {seek_source, read_source, NULL};
  unsigned sum = 0;
  int way;
  for (way = 0; way < kWays; ++way) {
    WBX_Handle image;
    source.position = 0;
    source.written = source.size;
    image = way == kMemory ? WBX_OpenMemory(source.bytes, (int32_t)source.size)
                           : WBX_OpenCustom(NULL, &callbacks);
    if (image == NULL) continue;
    source.written = way == kBoast ? 0 : source.size;
    sum += decode(image, NULL) + decode(image, "rl=1,video=1,nomct");
    WBX_Close(image);
  }
  return sum;
}

int main(int argc, char** argv) {
  int i;
  for (i = 1; i < argc; ++i) {
    FILE* file = fopen(argv[i], "rb");
    if (file == NULL) return 2;
    fseek(file, 0, SEEK_END);
    source.size = (uint32_t)ftell(file);
    rewind(file);
    source.bytes = malloc(source.size + 1);
    if (source.bytes == NULL || fread(source.bytes, 1, source.size, file) != source.size) return 2;
    fclose(file);
    if (try_all() == 0) printf("%s: nothing\n", argv[i]); /* a branch, which is looked at */
    free(source.bytes);
  }
  return 0;
}
