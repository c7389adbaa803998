#!/usr/bin/env bash
# cases.sh CASE WBX-DECODE PNG-TO-PAM DATA: runs one case in a scratch folder.
set -euo pipefail

case_name=$1
tool=$2
png_to_pam=$3
data=$(cd "$4" && pwd)
expected=$(cd "$(dirname "${BASH_SOURCE[0]}")/expected" && pwd)
samples="rgb_transform rgba_plain two_components bits_4 bits_12 bits_16_rgba"

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch"

fail() {
  echo "$case_name: $*" >&2
  exit 1
}

# ends STATUS TEXT COMMAND...: the command ends with this status and this text in its messages.
ends() {
  local wanted=$1 text=$2 status=0
  shift 2
  "$@" >out 2>err || status=$?
  [ "$status" -eq "$wanted" ] || fail "$*: status $status, not $wanted: $(cat err)"
  [ -z "$text" ] || grep -qF -- "$text" err || fail "$*: no '$text' in: $(cat err)"
}

# Nothing in the folder but these files, named in alphabetical order.
only() {
  local found
  found=$(ls -A | sed -E '/^(out|err)$/d' | tr '\n' ' ')
  [ "$found" = "${*:+$* }" ] || fail "files: $found"
}

# The samples behind the header of a PAM file.
body() {
  sed '1,/^ENDHDR$/d' "$1"
}

# The expected pictures were decoded by another decoder.
case_pixels() {
  for name in $samples; do
    "$tool" "$data/$name.j2k" "$name.pam"
    cmp "$name.pam" "$expected/$name.pam"
  done
}

case_png() {
  for name in $samples; do
    "$tool" "$data/$name.j2k" "$name.png"
    "$png_to_pam" "$name.png" | cmp - "$expected/$name.pam"
  done
}

# Raw is the library's buffer: words of this machine, and no level shift of its own below 8 bits.
case_raw_samples() {
  "$tool" "$data/rgb_transform.j2k" a.raw
  body "$expected/rgb_transform.pam" | cmp - a.raw
  "$tool" "$data/bits_12.j2k" b.raw
  if [ "$(printf '\1\0' | od -An -tu2 | tr -d ' ')" = 1 ]; then
    body "$expected/bits_12.pam" | dd conv=swab status=none | cmp - b.raw
  fi
  "$tool" "$data/bits_4.j2k" c.raw
  [ "$(od -An -v -tu1 -w1 c.raw | sort -n | tail -n 1)" -gt 127 ] || fail "level shift"
  "$tool" "$data/rgb_transform.j2k" d.raw -o bpp=4,co=BGR
  [ "$(wc -c <d.raw)" -eq $((53 * 37 * 4)) ] || fail "bpp"
  [ "$(od -An -v -tu1 -w4 d.raw | awk '{ print $3, $2, $1 }' | head -n 1)" = \
    "$(od -An -v -tu1 -w3 a.raw | awk '{ print $1, $2, $3 }' | head -n 1)" ] || fail "order"
}

case_byte_formats() {
  "$tool" "$data/rgb_transform.j2k" a.ppm
  { printf 'P6\n53 37\n255\n'; body "$expected/rgb_transform.pam"; } | cmp - a.ppm
  "$tool" "$data/bits_12.j2k" b.PNM
  { printf 'P6\n37 29\n4095\n'; body "$expected/bits_12.pam"; } | cmp - b.PNM
  "$tool" "$data/bits_4.j2k" c.pgm
  { printf 'P5\n29 23\n15\n'; body "$expected/bits_4.pam"; } | cmp - c.pgm
  "$tool" "$data/bits_4.j2k" d.png -f pnm
  cmp c.pgm d.png
}

case_unfit_formats() {
  ends 2 "the image has 4, and PPM holds 3 components" "$tool" "$data/rgba_plain.j2k" a.ppm
  ends 2 "PGM holds 1 component" "$tool" "$data/rgb_transform.j2k" a.pgm
  ends 2 "PNM holds 1 or 3 components" "$tool" "$data/two_components.j2k" a.pnm
  only
}

case_reduce() {
  "$tool" "$data/rgb_transform.j2k" a.pam --reduce 2
  head -n 3 a.pam | tr '\n' ' ' | grep -qx 'P7 WIDTH 14 HEIGHT 10 ' || fail "size"
  "$tool" "$data/rgb_transform.j2k" b.pam -o rl=2
  cmp a.pam b.pam
  ends 2 "its levels are 0 to 3" "$tool" "$data/rgb_transform.j2k" c.pam --reduce 4
  ends 2 "its levels are 0 to 3" "$tool" "$data/rgb_transform.j2k" c.pam -o rl=4
  only a.pam b.pam
}

# Four columns of tiles, 16 by 16 pixels each.
case_tiles() {
  "$tool" "$data/tiles_16.j2k" whole.pam
  "$tool" "$data/tiles_16.j2k" a.pam --tiles 0-3
  cmp <(body a.pam) <(body whole.pam | head -c $((50 * 16 * 3)))
  "$tool" "$data/tiles_16.j2k" b.pam -t 11
  head -n 3 b.pam | tr '\n' ' ' | grep -qx 'P7 WIDTH 2 HEIGHT 3 ' || fail "size"
  ends 2 "its tiles are 0 to 11" "$tool" "$data/tiles_16.j2k" c.pam -t 12
  ends 2 "its tiles are 0 to 11" "$tool" "$data/tiles_16.j2k" c.pam -t 3-12
  for range in 3-1 -1 1- 1-2-3 x 99999999999 1-9x; do
    ends 2 "" "$tool" "$data/tiles_16.j2k" c.pam "--tiles=$range"
  done
  only a.pam b.pam whole.pam
}

case_options() {
  "$tool" "$data/rgb_transform.j2k" a.pam -o bitmap
  cmp <(body a.pam | head -c $((53 * 3))) <(tail -c $((53 * 3)) "$expected/rgb_transform.pam")
  # The format decides on the pixel, whatever the options say.
  "$tool" "$data/rgb_transform.j2k" b.pam -o bpp=4,co=BGR
  cmp b.pam "$expected/rgb_transform.pam"
  ends 2 "(error 8)" "$tool" "$data/rgb_transform.j2k" c.pam -o nonsense
  ends 2 "(error 11)" "$tool" "$data/rgb_transform.j2k" c.raw -o bpp=2
  only a.pam b.pam
}

case_streams() {
  "$tool" - - --format pam <"$data/rgb_transform.j2k" | cmp - "$expected/rgb_transform.pam"
  cat "$data/rgb_transform.j2k" | "$tool" - a.pam
  cmp a.pam "$expected/rgb_transform.pam"
  ends 2 "use --format" "$tool" "$data/rgb_transform.j2k" -
  ends 1 "standard input: empty" "$tool" - b.pam </dev/null
  ends 1 "standard input: WBX image file is corrupted" "$tool" - b.pam <"$expected/bits_4.pam"
  only a.pam
}

# With a progress line the picture is put together from bands of tiles.
case_progress() {
  for name in tiles_16 tiles_offset tiles_one_high bits_16_tiles_odd chroma_420_tiles; do
    for level in 0 1; do
      "$tool" "$data/$name.j2k" whole.pam -q -r $level
      "$tool" "$data/$name.j2k" bands.pam --progress -r $level 2>err
      cmp whole.pam bands.pam
      grep -q '100 %' err || fail "$name: no progress line"
    done
  done
  ends 0 "" "$tool" "$data/tiles_16.j2k" a.pam
  [ ! -s err ] || fail "a progress line where no terminal is"
}

case_info() {
  cp "$data/tiles_16.j2k" "$data/metadata.jp2" .
  "$tool" tiles_16.j2k --info | diff - "$expected/tiles_16.info"
  "$tool" metadata.jp2 -i | diff - "$expected/metadata.info"
}

case_json() {
  cp "$data/tiles_16.j2k" "$data/metadata.jp2" .
  "$tool" tiles_16.j2k --json | diff - "$expected/tiles_16.json"
  "$tool" metadata.jp2 -j | diff - "$expected/metadata.json"
}

# Names and comments cannot steer a terminal nor break out of a JSON string.
case_hostile_text() {
  local name=$'a"b\\c\e[31m\xc2\x9b\xff.j2k'
  cp "$data/tiles_16.j2k" "$name"
  "$tool" "$name" --json >text.json
  grep -qF '"file": "a\"b\\c?[31m' text.json || fail "quotes"
  "$tool" "$name" --info >text
  ! grep -q $'\e' text.json text || fail "escape character"
  ! LC_ALL=C grep -q $'\xc2\x9b' text.json text || fail "control sequence introducer"
}

case_metadata() {
  "$tool" "$data/metadata.jp2" --metadata deep/folder
  cd deep/folder
  only 000-xml.xml 001-url.txt 002-geotiff.tif 003-uuid.bin 004-comment.txt 005-comment.bin \
    006-xml.xml 007-uuid.bin
  [ "$(cat 004-comment.txt)" = "made for a test" ] || fail "comment"
  [ "$(wc -c <001-url.txt)" -eq 80 ] || fail "length"
  cd ../..
  "$tool" "$data/grey_1x1.j2k" -m none
  ends 1 "text: " "$tool" "$data/metadata.jp2" -m "$expected/bits_4.pam/text"
}

# A profile that libpng does not take is left out, and the picture written all the same.
case_profile() {
  "$tool" "$data/icc.jp2" a.png -m folder
  "$tool" "$data/icc.jp2" a.pam
  "$png_to_pam" a.png | cmp - a.pam
  [ "$(ls folder)" = 000-profile.icc ] || fail "$(ls folder)"
}

case_palette() {
  ends 0 "palette.jp2: note: the palette" "$tool" "$data/palette.jp2" a.png
  "$tool" "$data/palette.jp2" --info | grep -q ' palette, 18 bytes' || fail "not listed"
}

# An older file stays when its successor fails; nothing else is left behind.
case_whole_or_nothing() {
  echo old >a.png
  ends 1 "bad_cut_in_packet.j2k: " "$tool" "$data/bad_cut_in_packet.j2k" a.png
  [ "$(cat a.png)" = old ] || fail "overwritten"
  echo mine >b.pam.part0
  "$tool" "$data/rgb_transform.j2k" b.pam
  cmp b.pam "$expected/rgb_transform.pam"
  [ "$(cat b.pam.part0)" = mine ] || fail "took a file that was there"
  only a.png b.pam b.pam.part0
}

case_direct_outputs() {
  "$tool" "$data/rgb_transform.j2k" /dev/null -f png
  [ -c /dev/null ] || fail "/dev/null is gone"
  mkfifo pipe
  cat pipe >a.pam &
  "$tool" "$data/rgb_transform.j2k" pipe -f pam
  wait
  cmp a.pam "$expected/rgb_transform.pam"
}

case_links() {
  mkdir folder
  echo old >folder/real.pam
  ln -s folder/real.pam link.pam
  "$tool" "$data/rgb_transform.j2k" link.pam
  [ -L link.pam ] || fail "the link was replaced"
  cmp folder/real.pam "$expected/rgb_transform.pam"
}

# A message for each kind of failure, with the name of the file, the library's text and number.
case_image_errors() {
  ends 1 "nowhere.jp2: Cannot open the WBX image file (error 7)" "$tool" nowhere.jp2 a.png
  while read -r name code; do
    ends 1 "$name: " "$tool" "$data/$name" a.png
    grep -qF "(error $code)" err || fail "$name: $(cat err)"
    ends 1 "(error $code)" "$tool" "$data/$name" --info
    ends 1 "(error $code)" "$tool" - a.png <"$data/$name"
  done < <(grep -v '^#' "$data/refused.txt" | awk 'NF >= 2 { print $1, $2 }')
  only
}

case_usage_errors() {
  local image=$data/rgb_transform.j2k
  ends 2 "INPUT is required" "$tool"
  ends 2 "nothing to do" "$tool" "$image"
  ends 2 "use --format" "$tool" "$image" a.jpg
  ends 2 "use --format" "$tool" "$image" a.b/c
  ends 2 "exclude each other" "$tool" "$image" --info --json
  ends 2 "need the standard output" "$tool" "$image" - -f png --info
  ends 2 "" "$tool" "$image" a.png --reduce -1
  ends 2 "" "$tool" "$image" a.png --reduce x
  ends 2 "" "$tool" "$image" a.png -f gif
  ends 2 "" "$tool" "$image" a.png --nonsense
  ends 2 "" "$tool" "$image" a.png b.png
  ends 0 "" "$tool" --help
  ends 0 "" "$tool" --version
  only
}

case_output_errors() {
  ends 1 "folder/a.png: No such file" "$tool" "$data/rgb_transform.j2k" folder/a.png
  ends 1 "$PWD: " "$tool" "$data/rgb_transform.j2k" "$PWD" -f png
  if [ -c /dev/full ]; then
    for format in png pam ppm raw; do
      ends 1 "/dev/full: No space" "$tool" "$data/rgb_transform.j2k" /dev/full -f $format
    done
    "$tool" "$data/rgb_transform.j2k" - -f raw >/dev/full 2>err && fail "status"
    grep -q "standard output: No space" err || fail "$(cat err)"
  fi
  only
}

# The picture that the read-me shows.
case_demo() {
  "$tool" "$data/../../docs/demo.jp2" a.png
  cmp <("$png_to_pam" a.png) <("$png_to_pam" "$data/../../docs/demo.png")
}

case_log() {
  "$tool" "$data/rgb_transform.j2k" a.png --log
  grep -q 'WBX_Decode' wbx-codec.log || fail "no log"
}

"case_$case_name"
