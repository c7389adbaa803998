/* How the pixels of a picture are made of the samples that the library decodes: what the boxes of
 * a JP2 file say about palette and channels (T.800 I.5.3), which the library leaves to its caller.
 */
#ifndef WBX_COLOUR_PLAN_H
#define WBX_COLOUR_PLAN_H

#include <glib.h>
#include <wbx.h>

typedef struct Palette {
  guint entries;
  guint columns; /* 0: no palette */
  guint8 bits[255];
  const guint8* samples; /* row by row, in the file's bytes */
  gsize size;
} Palette;

/* Where a channel comes from: a sample of a decoded pixel, red first, and a column of the palette,
 * or -1 for none. */
typedef struct Channel {
  guint sample;
  gint column;
} Channel;

typedef struct ColourPlan {
  Channel channels[4]; /* red, green, blue, opacity */
  gboolean opacity;
  gboolean premultiplied;
  gboolean ycc; /* the components are luminance and chroma */
  Palette palette;
} ColourPlan;

/* Reads the plan from the bytes of an open image; they must outlive the plan. */
void colour_plan_read(ColourPlan* plan, const guint8* bytes, gsize size, guint components);

/* Whether each channel is the sample of its own number. */
gboolean colour_plan_is_direct(const ColourPlan* plan, guint components);

/* Fills the 256 or, above 8 bits, 65536 entries of a table with the byte that each value of a
 * channel's sample becomes. */
void colour_plan_fill_table(const ColourPlan* plan, guint channel, guint bits, guint8* table);

#endif
