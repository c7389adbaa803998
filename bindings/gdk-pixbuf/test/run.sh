#!/usr/bin/env bash
# run.sh MODULE TESTS SOURCE: makes the module known to GdkPixbuf, runs the tests, and has the
# system's thumbnailer make thumbnails of all kinds of files.
set -euo pipefail
module=$1 tests=$2 source=$3
place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT

query=$(pkg-config --variable=gdk_pixbuf_query_loaders gdk-pixbuf-2.0)
"$query" "$module" >"$place/loaders.cache"
grep -q '"jpeg2000"' "$place/loaders.cache"
export GDK_PIXBUF_MODULE_FILE=$place/loaders.cache
"$tests" "$source"

# The formats of the thumbnails themselves are built in.
for name in docs/demo.jp2 tests/data/{icc.jp2,palette.jp2,bits_12.j2k,channels_opacity.jp2,tiles_16.j2k}; do
  gdk-pixbuf-thumbnailer -s 128 "$source/$name" "$place/thumbnail.png"
  [ "$(head -c 4 "$place/thumbnail.png" | tail -c 3)" = PNG ]
done
if gdk-pixbuf-thumbnailer "$source/tests/data/bad_cut_in_packet.j2k" "$place/none.png" 2>/dev/null; then
  echo "a thumbnail of a broken file"
  exit 1
fi
