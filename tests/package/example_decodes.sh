#!/bin/sh
# example_decodes.sh PROGRAM INPUT OUTPUT: the example writes a PPM file of 600 x 400 pixels, and
# says what is wrong with a file that is no image.
set -eu
rm -f "$3"
"$1" "$2" "$3"
[ "$(head -n 2 "$3" | tr '\n' ' ')" = "P6 600 400 " ]
[ "$(wc -c <"$3")" -eq $((15 + 600 * 400 * 3)) ]
if "$1" "$0" "$3" 2>example_decodes.messages; then
  exit 1
fi
grep -q "$0: ." example_decodes.messages
