/* The module that GdkPixbuf loads for JPEG 2000. It gathers the file, since an image opens whole or
 * not at all, and decodes straight into the pixbuf where the samples allow. */
#include <gdk-pixbuf/gdk-pixbuf.h>
#include <gmodule.h>

#include "colour_plan.h"
#include "metadata.h"

typedef struct Load {
  GdkPixbufModuleSizeFunc size_func;
  GdkPixbufModulePreparedFunc prepared_func;
  GdkPixbufModuleUpdatedFunc updated_func;
  gpointer user_data;
  GByteArray* bytes;
} Load;

/* A picture on its way into a pixbuf. */
typedef struct Picture {
  WBX_Handle image;
  WBX_ImageInfoEx info;
  ColourPlan plan;
  gint level;
  guint width;
  guint height;
} Picture;

static gboolean fail(GError** error, GdkPixbufError kind, const char* text) {
  g_set_error(error, GDK_PIXBUF_ERROR, kind, "JPEG 2000: %s", text);
  return FALSE;
}

static gboolean fail_with_code(GError** error, gint32 code) {
  GdkPixbufError kind = GDK_PIXBUF_ERROR_FAILED;
  if (code == WBX_ERROR_CORRUPT || code == WBX_ERROR_READ) kind = GDK_PIXBUF_ERROR_CORRUPT_IMAGE;
  if (code == WBX_ERROR_MEMORY) kind = GDK_PIXBUF_ERROR_INSUFFICIENT_MEMORY;
  return fail(error, kind, WBX_getErrorStr(code));
}

/* The smallest resolution that is no smaller than what the caller wants; the loader of GdkPixbuf
 * scales the rest of the way. */
static void choose_level(Picture* picture, gint wanted_width, gint wanted_height) {
  gint32 count = 1;
  gint32 level;
  WBX_GetResolutions(picture->image, &count);
  for (level = 1; level < count; ++level) {
    guint32 width = 0;
    guint32 height = 0;
    if (WBX_GetResolutionDimensions(picture->image, level, &width, &height) != WBX_OK) return;
    if (width < (guint)wanted_width || height < (guint)wanted_height) return;
    picture->level = level;
    picture->width = width;
    picture->height = height;
  }
}

static gboolean ask_for_size(Picture* picture, const Load* load, GError** error) {
  gint width = (gint)picture->info.width;
  gint height = (gint)picture->info.height;
  picture->width = picture->info.width;
  picture->height = picture->info.height;
  if (load->size_func == NULL) return TRUE;
  load->size_func(&width, &height, load->user_data);
  if (width <= 0 || height <= 0) {
    return fail(error, GDK_PIXBUF_ERROR_FAILED, "The wanted size is empty");
  }
  choose_level(picture, width, height);
  return TRUE;
}

/* Decodes to rows of pixels of `pixel_size` bytes, red first. */
static gboolean decode_to(const Picture* picture, guint8* pixels, guint pitch, guint pixel_size,
                          GError** error) {
  void* buffer = pixels;
  uint32_t row_size = pitch;
  uint32_t size = pitch * picture->height;
  char options[64];
  g_snprintf(options, sizeof options, "rl=%d,bpp=%u,co=RGB0,video=0%s", picture->level, pixel_size,
             picture->plan.ycc ? ",nomct" : "");
  const gint32 code = WBX_Decode(picture->image, &buffer, &size, options, &row_size);
  return code == WBX_OK ? TRUE : fail_with_code(error, code);
}

/* The inverse irreversible component transform (T.800 G.3.2), in place. */
static void convert_ycc(const Picture* picture, guint8* raw) {
  const guint64 count = (guint64)picture->width * picture->height;
  const gint middle = 1 << (MAX(picture->info.precision, 8u) - 1);
  guint16* words = (guint16*)(void*)raw;
  guint64 i;
  guint k;
  for (i = 0; i < 3 * count; i += 3) {
    const gboolean wide = picture->info.precision > 8;
    const float y = wide ? words[i] : raw[i];
    const float blue = (float)((wide ? words[i + 1] : raw[i + 1]) - middle);
    const float red = (float)((wide ? words[i + 2] : raw[i + 2]) - middle);
    const float colours[] = {y + 1.402F * red, y - 0.344136F * blue - 0.714136F * red,
                             y + 1.772F * blue};
    for (k = 0; k < 3; ++k) {
      const gint value = CLAMP((gint)(colours[k] + 0.5F), 0, 2 * middle - 1);
      if (wide) {
        words[i + k] = (guint16)value;
      } else {
        raw[i + k] = (guint8)value;
      }
    }
  }
}

/* Straight colours out of colours that were multiplied by opacity. */
static void divide_by_opacity(guint8* pixel) {
  const guint opacity = pixel[3];
  guint i;
  if (opacity == 0) return;
  for (i = 0; i < 3; ++i) pixel[i] = (guint8)MIN((pixel[i] * 255u + opacity / 2) / opacity, 255u);
}

static void fill_channel(const Picture* picture, guint channel, const guint8* raw,
                         const guint8* table, GdkPixbuf* pixbuf) {
  const guint components = picture->info.components;
  const guint step = (guint)gdk_pixbuf_get_n_channels(pixbuf);
  const gsize pitch = (gsize)gdk_pixbuf_get_rowstride(pixbuf);
  const guint16* words = (const guint16*)(const void*)raw;
  gsize from = picture->plan.channels[channel].sample;
  guint x, y;
  for (y = 0; y < picture->height; ++y) {
    guint8* to = gdk_pixbuf_get_pixels(pixbuf) + y * pitch + channel;
    for (x = 0; x < picture->width; ++x, to += step, from += components) {
      *to = table[picture->info.precision > 8 ? words[from] : raw[from]];
    }
  }
}

static void convert(const Picture* picture, const guint8* raw, GdkPixbuf* pixbuf) {
  const guint channels = (guint)gdk_pixbuf_get_n_channels(pixbuf);
  guint8* table = g_malloc(65536);
  guint channel, x, y;
  for (channel = 0; channel < channels; ++channel) {
    colour_plan_fill_table(&picture->plan, channel, picture->info.precision, table);
    fill_channel(picture, channel, raw, table, pixbuf);
  }
  g_free(table);
  if (!picture->plan.premultiplied) return;
  for (y = 0; y < picture->height; ++y) {
    guint8* row = gdk_pixbuf_get_pixels(pixbuf) + y * (gsize)gdk_pixbuf_get_rowstride(pixbuf);
    for (x = 0; x < picture->width; ++x) divide_by_opacity(row + (gsize)x * 4);
  }
}

/* For samples that are no bytes of a pixbuf: depths other than 8, palettes, luminance and chroma,
 * channels in another order or number. */
static gboolean decode_and_convert(const Picture* picture, GdkPixbuf* pixbuf, GError** error) {
  const guint pixel_size = picture->info.components * (picture->info.precision > 8 ? 2 : 1);
  const guint64 size = (guint64)picture->width * picture->height * pixel_size;
  guint8* raw = size <= G_MAXUINT32 ? g_try_malloc0((gsize)size) : NULL;
  if (raw == NULL) return fail_with_code(error, WBX_ERROR_MEMORY);
  const gboolean done = decode_to(picture, raw, picture->width * pixel_size, pixel_size, error);
  if (done && picture->plan.ycc) convert_ycc(picture, raw);
  if (done) convert(picture, raw, pixbuf);
  g_free(raw);
  return done;
}

static gboolean decode_into(const Picture* picture, GdkPixbuf* pixbuf, GError** error) {
  const guint channels = (guint)gdk_pixbuf_get_n_channels(pixbuf);
  const gboolean direct = picture->info.precision == 8 &&
                          colour_plan_is_direct(&picture->plan, picture->info.components);
  if (!direct) return decode_and_convert(picture, pixbuf, error);
  return decode_to(picture, gdk_pixbuf_get_pixels(pixbuf), (guint)gdk_pixbuf_get_rowstride(pixbuf),
                   channels, error);
}

/* Null for want of memory. Empty, because tiles that the file lacks are not written. */
static GdkPixbuf* new_pixbuf(const Picture* picture) {
  const guint64 most = (guint64)picture->width * picture->height * 4 + picture->height * 4u;
  GdkPixbuf* pixbuf;
  if (most > G_MAXINT32) return NULL;
  pixbuf = gdk_pixbuf_new(GDK_COLORSPACE_RGB, picture->plan.opacity, 8, (gint)picture->width,
                          (gint)picture->height);
  if (pixbuf != NULL) gdk_pixbuf_fill(pixbuf, 0);
  return pixbuf;
}

static gboolean load_picture(Picture* picture, const Load* load, GError** error) {
  const gsize size = load->bytes->len;
  WBX_GetInfoEx(picture->image, &picture->info);
  colour_plan_read(&picture->plan, load->bytes->data, size, picture->info.components);
  if (!ask_for_size(picture, load, error)) return FALSE;
  GdkPixbuf* pixbuf = new_pixbuf(picture);
  if (pixbuf == NULL) return fail_with_code(error, WBX_ERROR_MEMORY);
  set_pixbuf_options(pixbuf, picture->image, size);
  if (load->prepared_func != NULL) load->prepared_func(pixbuf, NULL, load->user_data);
  const gboolean done = decode_into(picture, pixbuf, error);
  if (done && load->updated_func != NULL) {
    load->updated_func(pixbuf, 0, 0, (gint)picture->width, (gint)picture->height, load->user_data);
  }
  g_object_unref(pixbuf);
  return done;
}

static gboolean open_and_load(const Load* load, GError** error) {
  Picture picture = {0};
  picture.image = WBX_OpenMemory(load->bytes->data, (gint32)load->bytes->len);
  if (picture.image == NULL) return fail_with_code(error, WBX_getLastError());
  const gboolean done = load_picture(&picture, load, error);
  WBX_Close(picture.image);
  return done;
}

static gpointer begin_load(GdkPixbufModuleSizeFunc size_func,
                           GdkPixbufModulePreparedFunc prepared_func,
                           GdkPixbufModuleUpdatedFunc updated_func, gpointer user_data,
                           GError** error) {
  Load* load = g_new0(Load, 1);
  (void)error;
  load->size_func = size_func;
  load->prepared_func = prepared_func;
  load->updated_func = updated_func;
  load->user_data = user_data;
  load->bytes = g_byte_array_new();
  return load;
}

static gboolean load_increment(gpointer context, const guchar* bytes, guint size, GError** error) {
  Load* load = context;
  if (size > (guint)G_MAXINT32 - load->bytes->len) {
    return fail(error, GDK_PIXBUF_ERROR_FAILED, "The file has 2 GB or more");
  }
  g_byte_array_append(load->bytes, bytes, size);
  return TRUE;
}

static gboolean stop_load(gpointer context, GError** error) {
  Load* load = context;
  const gboolean done = open_and_load(load, error);
  g_byte_array_unref(load->bytes);
  g_free(load);
  return done;
}

G_MODULE_EXPORT void fill_vtable(GdkPixbufModule* module);
G_MODULE_EXPORT void fill_info(GdkPixbufFormat* format);

void fill_vtable(GdkPixbufModule* module) {
  module->begin_load = begin_load;
  module->load_increment = load_increment;
  module->stop_load = stop_load;
}

void fill_info(GdkPixbufFormat* format) {
  static const GdkPixbufModulePattern signature[] = {
      {(char*)"   \x0CjP  \r\n\x87\n", (char*)"zzz         ", 100},
      {(char*)"\xFF\x4F\xFF\x51", (char*)"    ", 100},
      {NULL, NULL, 0}};
  static const char* mime_types[] = {"image/jp2", "image/jpx", "image/x-jp2-codestream", NULL};
  static const char* extensions[] = {"jp2", "jpx", "jpf", "jpg2", "j2k", "j2c", "jpc", NULL};
  format->name = (char*)"jpeg2000";
  format->signature = (GdkPixbufModulePattern*)signature;
  format->description = (char*)"JPEG 2000";
  format->mime_types = (char**)mime_types;
  format->extensions = (char**)extensions;
  format->flags = GDK_PIXBUF_FORMAT_THREADSAFE;
  format->license = (char*)"BSD";
}
