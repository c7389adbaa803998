#include "metadata.h"

#include <string.h>

/* The UUID of a box that holds Exif data: "JpgTiffExif->JP2". */
static const char kExifUuid[] = "JpgTiffExif->JP2";
enum { kUuidSize = 16, kOrientationTag = 0x0112, kShort = 3, kEntrySize = 12 };

/* A TIFF structure, in which places are counted from its start. */
typedef struct Tiff {
  const guint8* bytes;
  gsize size;
  gboolean little;
} Tiff;

static guint tiff_read(const Tiff* tiff, gsize at, guint count) {
  guint value = 0;
  guint i;
  if (count > tiff->size || at > tiff->size - count) return 0;
  for (i = 0; i < count; ++i) {
    value = value << 8 | tiff->bytes[at + (tiff->little ? count - 1 - i : i)];
  }
  return value;
}

/* The orientation in the first directory, 1 to 8; 0 if it is not told. */
static guint tiff_orientation(const guint8* bytes, gsize size) {
  const Tiff tiff = {bytes, size, size > 0 && bytes[0] == 'I'};
  const gsize directory = tiff_read(&tiff, 4, 4);
  const guint entries = tiff_read(&tiff, directory, 2);
  guint i;
  if (tiff_read(&tiff, 2, 2) != 42) return 0;
  for (i = 0; i < entries; ++i) {
    const gsize entry = directory + 2 + (gsize)i * kEntrySize;
    if (tiff_read(&tiff, entry, 2) != kOrientationTag) continue;
    const guint value =
        tiff_read(&tiff, entry + 2, 2) == kShort ? tiff_read(&tiff, entry + 8, 2) : 0;
    return value <= 8 ? value : 0;
  }
  return 0;
}

static void set_profile(GdkPixbuf* pixbuf, const guint8* data, gsize length) {
  char* text = g_base64_encode(data, length);
  gdk_pixbuf_set_option(pixbuf, "icc-profile", text);
  g_free(text);
}

static void set_orientation(GdkPixbuf* pixbuf, const guint8* data, gsize length) {
  if (length < kUuidSize || memcmp(data, kExifUuid, kUuidSize) != 0) return;
  const guint orientation = tiff_orientation(data + kUuidSize, length - kUuidSize);
  char text[2] = {(char)('0' + orientation), 0};
  if (orientation != 0) gdk_pixbuf_set_option(pixbuf, "orientation", text);
}

void set_pixbuf_options(GdkPixbuf* pixbuf, WBX_Handle image, gsize size) {
  int32_t index = 0;
  uint32_t kind = 0;
  uint32_t length = 0;
  const void* data = NULL;
  while (WBX_GetMetaData(image, &index, &kind, &data, &length) == WBX_OK && data != NULL) {
    if (length > size) continue; /* of a box that the file does not hold */
    if (kind == WBX_META_ICC) set_profile(pixbuf, data, length);
    if (kind == WBX_META_UUID) set_orientation(pixbuf, data, length);
  }
}
