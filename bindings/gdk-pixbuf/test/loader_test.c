/* What a program sees that loads JPEG 2000 through GdkPixbuf. The first argument is the folder of
 * the sources. */
#include <gdk-pixbuf/gdk-pixbuf.h>
#include <string.h>
#include <wbx.h>

static const char* source;

static char* path_of(const char* name) {
  return g_build_filename(source, name, NULL);
}

static char* data_path(const char* name) {
  return g_build_filename(source, "tests", "data", name, NULL);
}

static GdkPixbuf* load(const char* name) {
  GError* error = NULL;
  char* path = data_path(name);
  GdkPixbuf* pixbuf = gdk_pixbuf_new_from_file(path, &error);
  g_assert_no_error(error);
  g_free(path);
  return pixbuf;
}

static WBX_Handle open_image(const char* name) {
  char* path = data_path(name);
  WBX_Handle image = WBX_OpenFile(path);
  g_free(path);
  return image;
}

static const guint8* pixel_at(const GdkPixbuf* pixbuf, gint x, gint y) {
  return gdk_pixbuf_read_pixels(pixbuf) + (gsize)y * (gsize)gdk_pixbuf_get_rowstride(pixbuf) +
         (gsize)x * (gsize)gdk_pixbuf_get_n_channels(pixbuf);
}

/* What the library opens is a pixbuf of its size, and nothing else is one. */
static void same_files_open(void) {
  char* folder = path_of("tests/data");
  GDir* files = g_dir_open(folder, 0, NULL);
  const char* name;
  guint opened = 0;
  g_assert_nonnull(files);
  while ((name = g_dir_read_name(files)) != NULL) {
    if (!g_str_has_suffix(name, ".jp2") && !g_str_has_suffix(name, ".j2k")) continue;
    GError* error = NULL;
    char* path = data_path(name);
    GdkPixbuf* pixbuf = gdk_pixbuf_new_from_file(path, &error);
    char* contents = NULL;
    gsize size = 0;
    guint32 width = 0, height = 0;
    g_assert_true(g_file_get_contents(path, &contents, &size, NULL));
    WBX_Handle image = WBX_OpenMemory(contents, (gint32)size);
    if (image != NULL) {
      g_assert_no_error(error);
      WBX_GetInfo(image, &width, &height, NULL);
      g_assert_cmpuint(width, ==, (guint)gdk_pixbuf_get_width(pixbuf));
      g_assert_cmpuint(height, ==, (guint)gdk_pixbuf_get_height(pixbuf));
      g_object_unref(pixbuf);
      WBX_Close(image);
      ++opened;
    } else {
      g_assert_null(pixbuf);
      g_assert_true(error->domain == GDK_PIXBUF_ERROR);
      g_clear_error(&error);
    }
    g_free(contents);
    g_free(path);
  }
  g_assert_cmpuint(opened, >, 100);
  g_dir_close(files);
  g_free(folder);
}

/* The pixels against the library's own samples: red, green, blue and opacity are these samples,
 * scaled to bytes. */
static void pixels_are_samples(void) {
  static const struct Case {
    const char* name;
    guint samples[4]; /* of the library's pixel, red first */
    gboolean opacity;
  } cases[] = {{"grey_photo.j2k", {0, 0, 0, 0}, FALSE},
               {"rgb_transform.j2k", {0, 1, 2, 0}, FALSE},
               {"rgba_plain.j2k", {0, 1, 2, 0}, FALSE},
               {"two_components.j2k", {0, 0, 0, 0}, FALSE},
               {"channels_opacity.jp2", {0, 1, 2, 3}, TRUE},
               {"channels_grey_opacity.jp2", {0, 0, 0, 1}, TRUE},
               {"channels_blue_first.jp2", {0, 1, 2, 0}, FALSE},
               {"bits_12.j2k", {0, 1, 2, 0}, FALSE},
               {"bits_16_rgba.j2k", {0, 1, 2, 0}, FALSE}};
  gsize i;
  for (i = 0; i < G_N_ELEMENTS(cases); ++i) {
    GdkPixbuf* pixbuf = load(cases[i].name);
    WBX_Handle image = open_image(cases[i].name);
    WBX_ImageInfoEx info;
    WBX_GetInfoEx(image, &info);
    const guint step = info.components * (info.precision > 8 ? 2 : 1);
    const guint most = (1u << info.precision) - 1;
    guint8* raw = g_malloc0((gsize)info.width * info.height * step);
    void* buffer = raw;
    guint32 size = info.width * info.height * step;
    guint x, y, channel;
    g_assert_cmpint(WBX_Decode(image, &buffer, &size, "co=RGB,video=0", NULL), ==, WBX_OK);
    g_assert_true(gdk_pixbuf_get_has_alpha(pixbuf) == cases[i].opacity);
    for (y = 0; y < info.height; ++y) {
      for (x = 0; x < info.width; ++x) {
        const guint8* pixel = pixel_at(pixbuf, (gint)x, (gint)y);
        const guint8* sample = raw + ((gsize)y * info.width + x) * step;
        for (channel = 0; channel < (cases[i].opacity ? 4u : 3u); ++channel) {
          const guint place = cases[i].samples[channel];
          guint16 word = sample[place];
          if (info.precision > 8) memcpy(&word, sample + 2 * place, 2);
          g_assert_cmpuint(pixel[channel], ==, (word * 255u + most / 2) / most);
        }
      }
    }
    g_free(raw);
    WBX_Close(image);
    g_object_unref(pixbuf);
  }
}

/* Every pixel is one of the palette's colours. */
static void palette_is_applied(void) {
  GdkPixbuf* pixbuf = load("palette.jp2");
  WBX_Handle image = open_image("palette.jp2");
  int32_t index = 0;
  uint32_t kind = 0, length = 0;
  const void* data = NULL;
  gint x, y;
  g_assert_cmpint(WBX_GetMetaData(image, &index, &kind, &data, &length), ==, WBX_OK);
  g_assert_cmpuint(kind, ==, WBX_META_PALETTE);
  const guint8* colours = (const guint8*)data + 6;
  const guint entries = ((const guint8*)data)[1];
  for (y = 0; y < gdk_pixbuf_get_height(pixbuf); ++y) {
    for (x = 0; x < gdk_pixbuf_get_width(pixbuf); ++x) {
      guint entry = 0;
      while (entry < entries && memcmp(pixel_at(pixbuf, x, y), colours + 3 * entry, 3) != 0)
        ++entry;
      g_assert_cmpuint(entry, <, entries);
    }
  }
  WBX_Close(image);
  g_object_unref(pixbuf);
}

static void small_sizes_and_options(void) {
  GError* error = NULL;
  char* path = path_of("docs/demo.jp2");
  GdkPixbuf* pixbuf = gdk_pixbuf_new_from_file_at_size(path, 100, 100, &error);
  g_assert_no_error(error);
  g_assert_cmpint(gdk_pixbuf_get_width(pixbuf), ==, 100);
  g_assert_cmpint(gdk_pixbuf_get_height(pixbuf), ==, 67);
  g_object_unref(pixbuf);
  g_free(path);

  pixbuf = load("icc.jp2");
  gsize length = 0;
  guchar* profile = g_base64_decode(gdk_pixbuf_get_option(pixbuf, "icc-profile"), &length);
  g_assert_cmpuint(length, >, 0);
  g_free(profile);
  g_object_unref(pixbuf);
}

/* A file with an Exif box behind the codestream that says: turned by 90 degrees. */
static void orientation_is_told(void) {
  static const guint8 box[] =
      "\0\0\0\x32uuidJpgTiffExif->JP2"
      "MM\0\x2A\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01\0\x06\0\0\0\0\0\0";
  GError* error = NULL;
  char* path = data_path("jp2_rgb.jp2");
  char* contents = NULL;
  gsize size = 0;
  g_assert_true(g_file_get_contents(path, &contents, &size, NULL));
  GdkPixbufLoader* loader = gdk_pixbuf_loader_new();
  gsize i;
  for (i = 0; i < size; ++i) {
    gdk_pixbuf_loader_write(loader, (const guchar*)contents + i, 1, &error);
    g_assert_no_error(error);
  }
  gdk_pixbuf_loader_write(loader, box, sizeof box - 1, &error);
  g_assert_no_error(error);
  gdk_pixbuf_loader_close(loader, &error);
  g_assert_no_error(error);
  GdkPixbuf* pixbuf = gdk_pixbuf_loader_get_pixbuf(loader);
  g_assert_cmpstr(gdk_pixbuf_get_option(pixbuf, "orientation"), ==, "6");
  g_object_unref(loader);
  g_free(contents);
  g_free(path);
}

/* Each byte of the boxes changed: a pixbuf or an error, whatever it says. */
static void hostile_boxes(void) {
  static const char* const names[] = {"palette.jp2", "channels_opacity.jp2", "icc.jp2"};
  gsize i, at;
  for (i = 0; i < G_N_ELEMENTS(names); ++i) {
    char* path = data_path(names[i]);
    char* contents = NULL;
    gsize size = 0;
    g_assert_true(g_file_get_contents(path, &contents, &size, NULL));
    for (at = 12; at < MIN(size, 300); ++at) {
      const char kept = contents[at];
      contents[at] = (char)(kept + 1 + (gint)(at % 3) * 126);
      GdkPixbufLoader* loader = gdk_pixbuf_loader_new();
      gdk_pixbuf_loader_write(loader, (const guchar*)contents, size, NULL);
      gdk_pixbuf_loader_close(loader, NULL);
      g_object_unref(loader);
      contents[at] = kept;
    }
    g_free(contents);
    g_free(path);
  }
}

int main(int argc, char** argv) {
  g_test_init(&argc, &argv, NULL);
  source = argv[1];
  g_test_add_func("/loader/same-files-open", same_files_open);
  g_test_add_func("/loader/pixels-are-samples", pixels_are_samples);
  g_test_add_func("/loader/palette-is-applied", palette_is_applied);
  g_test_add_func("/loader/small-sizes-and-options", small_sizes_and_options);
  g_test_add_func("/loader/orientation-is-told", orientation_is_told);
  g_test_add_func("/loader/hostile-boxes", hostile_boxes);
  return g_test_run();
}
