/* What a picture's metadata means to GdkPixbuf. */
#ifndef WBX_METADATA_H
#define WBX_METADATA_H

#include <gdk-pixbuf/gdk-pixbuf.h>
#include <wbx.h>

/* Sets the options "icc-profile" and "orientation" of a pixbuf from an image of `size` bytes. */
void set_pixbuf_options(GdkPixbuf* pixbuf, WBX_Handle image, gsize size);

#endif
