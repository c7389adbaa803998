#include "colour_plan.h"

#include <string.h>

enum { kOpacity = 1, kPremultiplied = 2 };
enum { kColour = 0, kBlue = 3 };
enum { kMostChannels = 255, kMostEntries = 1024, kNone = -1 };

typedef struct Span {
  const guint8* bytes;
  gsize size;
} Span;

typedef struct Definition {
  guint channel;
  guint type;
  guint association;
} Definition;

typedef struct Boxes {
  Span palette;
  Span mapping;
  Span definitions;
  Span codestream;
} Boxes;

/* Big-endian; past the end there are zeros. */
static guint take(Span* span, guint count) {
  guint value = 0;
  while (count-- > 0) {
    value <<= 8;
    if (span->size == 0) continue;
    value |= *span->bytes++;
    --span->size;
  }
  return value;
}

static gboolean is_type(const guint8* bytes, const char* type) {
  return memcmp(bytes, type, 4) == 0;
}

static void note_box(Boxes* boxes, const guint8* type, Span payload) {
  if (is_type(type, "pclr") && boxes->palette.bytes == NULL) boxes->palette = payload;
  if (is_type(type, "cmap") && boxes->mapping.bytes == NULL) boxes->mapping = payload;
  if (is_type(type, "cdef")) boxes->definitions = payload;
}

/* The boxes in front of the codestream. A header box is opened: its children come as if they stood
 * beside it, which is how the library reads them. */
static void find_boxes(Boxes* boxes, Span file) {
  memset(boxes, 0, sizeof *boxes);
  boxes->codestream = file;
  if (file.size < 2 || file.bytes[0] != 0 || file.bytes[1] != 0) return;
  while (file.size >= 8) {
    const guint8* type = file.bytes + 4;
    Span header = {file.bytes, 8};
    gsize length = take(&header, 4);
    boxes->codestream = (Span){file.bytes + 8, file.size - 8};
    if (is_type(type, "jp2c") || length < 8) return;
    length = is_type(type, "jp2h") ? 8 : MIN(length, file.size);
    note_box(boxes, type, (Span){file.bytes + 8, length - 8});
    file.bytes += length;
    file.size -= length;
  }
}

/* A palette with signed or wider samples is not used. */
static void read_palette(Palette* palette, Span box) {
  guint i;
  memset(palette, 0, sizeof *palette);
  const guint entries = take(&box, 2);
  const guint columns = take(&box, 1);
  for (i = 0; i < columns; ++i) {
    const guint depth = take(&box, 1) + 1;
    if (depth > 16) return;
    palette->bits[i] = (guint8)depth;
  }
  if (entries < 1 || entries > kMostEntries) return;
  palette->entries = entries;
  palette->columns = columns;
  palette->samples = box.bytes;
  palette->size = box.size;
}

static guint palette_sample(const Palette* palette, guint entry, guint column) {
  gsize row_size = 0;
  gsize offset = 0;
  guint i;
  for (i = 0; i < palette->columns; ++i) {
    if (i == column) offset = row_size;
    row_size += palette->bits[i] > 8 ? 2 : 1;
  }
  offset += row_size * entry;
  if (offset >= palette->size) return 0;
  Span rest = {palette->samples + offset, palette->size - offset};
  return take(&rest, palette->bits[column] > 8 ? 2 : 1);
}

/* The channels as components and columns; their number, or 0 if the mapping does not fit. */
static guint read_mapping(const Palette* palette, Span box, guint components, Channel* channels) {
  guint count = 0;
  while (box.size >= 4 && count < kMostChannels) {
    const guint component = take(&box, 2);
    const gboolean mapped = take(&box, 1) == 1;
    const guint column = take(&box, 1);
    if (component >= components || (mapped && column >= palette->columns)) return 0;
    channels[count++] = (Channel){component, mapped ? (gint)column : kNone};
  }
  return count;
}

static guint all_columns(const Palette* palette, Channel* channels) {
  guint i;
  for (i = 0; i < palette->columns; ++i) channels[i] = (Channel){0, (gint)i};
  return palette->columns;
}

static guint list_channels(const Palette* palette, Span mapping, guint components,
                           Channel* channels) {
  guint count = 0;
  if (palette->columns > 0) {
    count = mapping.bytes != NULL ? read_mapping(palette, mapping, components, channels)
                                  : all_columns(palette, channels);
  }
  if (count > 0) return count;
  for (count = 0; count < components; ++count) channels[count] = (Channel){count, kNone};
  return count;
}

static gboolean next_definition(Span* box, Definition* definition) {
  if (box->size < 6) return FALSE;
  definition->channel = take(box, 2);
  definition->type = take(box, 2);
  definition->association = take(box, 2);
  return TRUE;
}

/* Applies the channel definitions. The library puts component 2 in front of component 0 when the
 * first channel is blue, so that its pixels are red first all the same. */
static void define_channels(ColourPlan* plan, Span box, const Channel* channels, guint count,
                            guint components) {
  Definition definition;
  gboolean exchanged = FALSE;
  guint i;
  take(&box, 2);
  while (next_definition(&box, &definition)) {
    if (definition.channel == 0) exchanged = components >= 3 && definition.association == kBlue;
    if (definition.channel >= count) continue;
    const Channel channel = channels[definition.channel];
    if (definition.type == kOpacity || definition.type == kPremultiplied) {
      plan->channels[3] = channel;
      plan->opacity = TRUE;
      plan->premultiplied = definition.type == kPremultiplied;
    } else if (definition.type == kColour && definition.association >= 1 &&
               definition.association <= 3) {
      plan->channels[definition.association - 1] = channel;
    }
  }
  for (i = 0; i < 4 && exchanged; ++i) {
    if (plan->channels[i].sample < 3) plan->channels[i].sample = 2 - plan->channels[i].sample;
  }
}

/* By all custom small components are chroma, whatever else the file says. SIZ comes first in a
 * codestream (T.800 A.5.1). */
static gboolean has_small_chroma(Span codestream, guint components) {
  guint whole = 0;
  guint i;
  if (components != 3 || codestream.size < 51) return FALSE;
  for (i = 0; i < 3; ++i) {
    const guint8* steps = codestream.bytes + 43 + 3 * i;
    if (steps[0] == 1 && steps[1] == 1) whole |= 1u << i;
  }
  return whole == 1;
}

void colour_plan_read(ColourPlan* plan, const guint8* bytes, gsize size, guint components) {
  Channel channels[kMostChannels];
  Boxes boxes;
  guint i;
  memset(plan, 0, sizeof *plan);
  find_boxes(&boxes, (Span){bytes, size});
  plan->ycc = has_small_chroma(boxes.codestream, components);
  if (boxes.palette.bytes != NULL) read_palette(&plan->palette, boxes.palette);
  const guint count = list_channels(&plan->palette, boxes.mapping, components, channels);
  for (i = 0; i < 3; ++i) plan->channels[i] = channels[i < count ? i : 0];
  define_channels(plan, boxes.definitions, channels, count, components);
  if (count >= (plan->opacity ? 4 : 3)) return;
  plan->channels[1] = plan->channels[0];
  plan->channels[2] = plan->channels[0];
}

gboolean colour_plan_is_direct(const ColourPlan* plan, guint components) {
  const guint used = plan->opacity ? 4 : 3;
  guint i;
  for (i = 0; i < used; ++i) {
    const guint own = components == 1 ? 0 : i;
    if (plan->channels[i].column != kNone || plan->channels[i].sample != own) return FALSE;
  }
  return !plan->premultiplied && !plan->ycc &&
         (components == used || (components == 1 && !plan->opacity));
}

void colour_plan_fill_table(const ColourPlan* plan, guint channel, guint bits, guint8* table) {
  const gint column = plan->channels[channel].column;
  const guint most = (1u << (column < 0 ? bits : plan->palette.bits[column])) - 1;
  const guint last = column < 0 ? most : plan->palette.entries - 1;
  /* Samples of fewer than 8 bits keep the level shift of 8 bits when the library writes them. */
  const guint shift = bits < 8 ? 128 - (1u << (bits - 1)) : 0;
  const guint count = bits > 8 ? 65536 : 256;
  guint value;
  for (value = 0; value < count; ++value) {
    const guint index = MIN(value < shift ? 0 : value - shift, last);
    const guint sample =
        column < 0 ? index : MIN(palette_sample(&plan->palette, index, (guint)column), most);
    table[value] = (guint8)((sample * 255 + most / 2) / most);
  }
}
