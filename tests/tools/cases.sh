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

# hex DIGITS...: bytes from their digits, with spaces anywhere.
hex() {
  local digits=$*
  digits=${digits// /}
  printf "$(sed 's/../\\x&/g' <<<"$digits")"
}

# box TYPE: a box with what comes from standard input.
box() {
  cat >box.in
  hex "$(printf %08x $(($(wc -c <box.in) + 8)))"
  printf %s "$1"
  cat box.in
  rm box.in
}

# wrap CODESTREAM [BOX]...: a JP2 file with these boxes, as "colr 01 00 00", in its header.
wrap() {
  local codestream=$1 part
  shift
  hex 0D0A870A | box 'jP  '
  { printf 'jp2 \0\0\0\0jp2 '; } | box ftyp
  for part in "$@"; do hex "${part#* }" | box "${part%% *}"; done >header.in
  box jp2h <header.in
  rm header.in
  box jp2c <"$codestream"
}

# numbers FILE COUNT: the samples of a PAM or raw file of bytes, so many to a line.
numbers() {
  if head -c 3 "$1" | grep -qx P7; then body "$1"; else cat "$1"; fi |
    od -An -v -tu1 -w"$2" | awk '{ $1 = $1; print }'
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

# The picture is put together from bands of tiles; the option "bitmap" makes it one piece.
case_bands() {
  for name in tiles_16 tiles_offset tiles_one_high bits_16_tiles_odd chroma_420_tiles; do
    for level in 0 1; do
      "$tool" "$data/$name.j2k" bands.raw -q -r $level
      "$tool" "$data/$name.j2k" turned.raw -o bitmap -r $level
      "$tool" "$data/$name.j2k" size.pam -q -r $level
      local row=$(($(wc -c <bands.raw) / $(sed -n '3s/HEIGHT //p' size.pam)))
      cmp <(split -b $row --filter='od -An -v -tx1 -w65536' bands.raw | tac) \
        <(split -b $row --filter='od -An -v -tx1 -w65536' turned.raw)
    done
  done
  "$tool" "$data/tiles_16.j2k" a.pam --progress 2>err
  grep -q 'tile 12 of 12 (100 %)' err || fail "no progress line"
  ends 0 "" "$tool" "$data/tiles_16.j2k" a.pam
  [ ! -s err ] || fail "a progress line where no terminal is"
}

# cut_out FILE X Y W H: a rectangle out of the samples of a PAM file of bytes.
cut_out() {
  local y width depth
  width=$(sed -n '2s/WIDTH //p' "$1")
  depth=$(sed -n '4s/DEPTH //p' "$1")
  body "$1" >cut.in
  for ((y = $3; y < $3 + $5; ++y)); do
    dd if=cut.in bs="$depth" skip=$((width * y + $2)) count="$4" status=none
  done
  rm cut.in
}

# A region is the same cut out of the whole, at every resolution, and decodes only its tiles.
case_region() {
  "$tool" "$data/tiles_offset.j2k" whole.pam
  "$tool" "$data/tiles_offset.j2k" a.pam --region 5,7,20,15
  cmp <(body a.pam) <(cut_out whole.pam 5 7 20 15)
  "$tool" "$data/tiles_offset.j2k" b.pam --region 44,37,100,100
  cmp <(body b.pam) <(cut_out whole.pam 44 37 3 2)
  "$tool" "$data/tiles_16.j2k" small.pam -r 1
  "$tool" "$data/tiles_16.j2k" c.pam -r 1 --region 10,20,31,9
  cmp <(body c.pam) <(cut_out small.pam 5 10 16 5)
  ends 1 "256 pixels to decode" "$tool" "$data/tiles_16.j2k" d.pam --region 17,17,2,2 --max-pixels 255
  "$tool" "$data/tiles_16.j2k" d.pam --region 17,17,2,2 --max-pixels 256
  ends 2 "outside the image, which has 50 x 35" "$tool" "$data/tiles_16.j2k" e.pam --region 50,0,1,1
  for region in 1,2,3 1,2,0,4 1,2,3,4,5 a,b,c,d -1,0,1,1; do
    ends 2 "not a rectangle" "$tool" "$data/tiles_16.j2k" e.pam "--region=$region"
  done
  [ ! -e e.pam ] || fail "a picture"
}

# The smallest resolution that is large enough.
case_fit() {
  while read -r wanted width; do
    "$tool" "$data/rgb_transform.j2k" a.pam --fit "$wanted"
    [ "$(sed -n '2s/WIDTH //p' a.pam)" -eq "$width" ] || fail "$wanted: $(sed -n 2p a.pam)"
  done <<<$'1 7\n7 7\n8 14\n27 27\n28 53\n999 53'
  ends 2 "exclude each other" "$tool" "$data/rgb_transform.j2k" a.pam --fit 9 -o rl=1
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
  grep -qF '"file": "a\"b\\c\u001b[31m' text.json || fail "quotes"
  ! "$tool" "$name" x.png -t 99 2>text || fail "tiles"
  ! grep -q $'\e' text || fail "escape character in a message"
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

# What a box claims and the file does not hold is not made up.
case_claimed_metadata() {
  wrap "$data/bits_2.j2k" "colr 010000 00000011" >a.jp2
  { hex 7FFFFFF0 786D6C20; printf '<a>there'; } >>a.jp2
  ends 1 "the file holds 8 of 2147483624 bytes" "$tool" a.jp2 -m folder
  [ "$(cat folder/000-xml.xml)" = '<a>there' ] || fail "$(ls -s folder)"
}

# A profile that libpng does not take is left out, and the picture written all the same.
case_profile() {
  ends 0 "the ICC profile is not in a.png" "$tool" "$data/icc.jp2" a.png -m folder
  ends 0 "the ICC profile is not in a.pam" "$tool" "$data/icc.jp2" a.pam
  "$png_to_pam" a.png | cmp - a.pam
  [ "$(ls folder)" = 000-profile.icc ] || fail "$(ls folder)"
}

# Chroma of half width is shown at full resolution unless the user asks for less, and is chroma
# whatever the boxes say.
case_half_chroma() {
  wrap "$data/chroma_422.j2k" "colr 010000 00000012" >ycc.jp2
  "$tool" ycc.jp2 ycc.pam
  "$tool" "$data/chroma_422.j2k" bare.pam 2>err
  grep -q "taken for the chroma" err || fail "$(cat err)"
  cmp bare.pam ycc.pam
  "$tool" ycc.jp2 coded.pam -o nomct,video=0
  paste -d' ' <(numbers ycc.pam 3) <(numbers coded.pam 3) | awk '
    function near(got, x) { x = x < 0 ? 0 : x > 255 ? 255 : x; return (got - x) ^ 2 < 2 }
    { b = $5 - 128; r = $6 - 128
      if (!near($1, $4 + 1.402 * r) || !near($2, $4 - 0.344 * b - 0.714 * r) ||
          !near($3, $4 + 1.772 * b)) { print; exit 1 } }' || fail "colours"
  "$tool" "$data/chroma_422.j2k" a.pam
  "$tool" "$data/chroma_422.j2k" b.pam -o video=0
  cmp a.pam b.pam
  "$tool" "$data/chroma_422.j2k" c.pam -o VIDEO=2
  ! cmp -s a.pam c.pam || fail "the user's option does not count"
}

palette="pclr 0004 03 070707 000000 FF0000 00FF00 0000FF"
mapping="cmap 0000 01 00 0000 01 01 0000 01 02"
case_palette() {
  "$tool" "$data/palette.jp2" a.png
  "$png_to_pam" a.png >a.pam
  "$tool" "$data/palette.jp2" indices.pgm --indices
  tail -n +4 indices.pgm >indices.raw
  cmp <(numbers a.pam 3) <(numbers indices.raw 1 | awk 'BEGIN { c[0] = "0 0 0"; c[1] = "255 0 0";
    c[2] = "0 255 0"; c[3] = "0 0 255" } { print c[$1] }')
  # Columns of unlike depth and order; an index without an entry is the last one.
  wrap "$data/bits_2.j2k" "colr 010000 00000010" "pclr 0003 03 070B03 FF000F 000FFF 00FFF0 000000" \
    "cmap 0000 01 02 0000 01 00 0000 01 01" >b.jp2
  "$tool" b.jp2 b.pam 2>err || fail "$(cat err)"
  grep -q "MAXVAL 4095" b.pam || fail "depth"
  ends 2 "--indices" "$tool" "$data/palette.jp2" c.png -r 1
  "$tool" "$data/palette.jp2" c.png -r 1 --indices
  wrap "$data/bits_2.j2k" "colr 010000 00000010" "pclr 0004 03 070707 000000" "$mapping" >d.jp2
  ends 1 "the palette is damaged" "$tool" d.jp2 d.png
  wrap "$data/bits_2.j2k" "colr 010000 00000010" "$palette" "cmap 0001 01 00" >e.jp2
  ends 1 "the palette is damaged" "$tool" e.jp2 e.png
  "$tool" e.jp2 e.pgm --indices
  cmp e.pgm indices.pgm
}

# Four components are what the file says of them.
case_four_components() {
  "$tool" "$data/rgba_plain.j2k" raw.raw
  wrap "$data/rgba_plain.j2k" "colr 010000 0000000C" >cmyk.jp2
  ends 0 "converted plainly to RGB" "$tool" cmyk.jp2 cmyk.pam
  cmp <(numbers cmyk.pam 3) <(numbers raw.raw 4 | awk '{ k = 255 - $4
    print int(((255 - $1) * k + 127) / 255), int(((255 - $2) * k + 127) / 255), \
      int(((255 - $3) * k + 127) / 255) }')
  "$tool" cmyk.jp2 a.raw
  cmp a.raw raw.raw
  wrap "$data/rgba_plain.j2k" "colr 010000 00000010" >unsaid.jp2
  ends 0 "1 of the channels" "$tool" unsaid.jp2 unsaid.ppm
  cmp <(tail -n +4 unsaid.ppm | od -An -v -tu1 -w3) <(numbers raw.raw 4 | cut -d' ' -f1-3 |
    awk '{ printf " %3d %3d %3d\n", $1, $2, $3 }')
  # Green, opacity, red and blue.
  wrap "$data/rgba_plain.j2k" "colr 010000 00000010" \
    "cdef 0004 0000 0000 0002 0001 0002 0000 0002 0000 0001 0003 0000 0003" >order.jp2
  ends 0 "multiplied by the opacity already" "$tool" order.jp2 order.pam
  cmp <(numbers order.pam 4) <(numbers raw.raw 4 | awk '{ print $3, $1, $4, $2 }')
  ends 0 "CIELab" "$tool" <(wrap "$data/rgb_plain.j2k" "colr 010000 0000000E") lab.png
}

# Under the brand of JPX the library leaves sYCC as it is.
case_ycc() {
  "$tool" "$data/ycc.jp2" a.pam
  sed 's/ftypjp2 /ftypjpx /' "$data/ycc.jp2" >b.jp2
  "$tool" b.jp2 b.pam
  paste -d' ' <(numbers a.pam 1) <(numbers b.pam 1) |
    awk '{ d = $1 - $2; if (d * d > 1) exit 1 }' || fail "colours"
}

# An older file stays when its successor fails; nothing else is left behind.
case_whole_or_nothing() {
  echo old >a.png
  ends 1 "bad_cut_in_packet.j2k: " "$tool" "$data/bad_cut_in_packet.j2k" a.png
  [ "$(cat a.png)" = old ] || fail "overwritten"
  only a.png
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
  ln -s link.pam second.pam
  ln -s folder/new.pam dangling.pam
  for name in second dangling; do
    "$tool" "$data/rgb_transform.j2k" $name.pam
    [ -L $name.pam ] || fail "the link was replaced"
    cmp $name.pam "$expected/rgb_transform.pam"
  done
  cmp folder/real.pam folder/new.pam
  [ -L link.pam ] || fail "the link between was replaced"
}

# A successor has the permissions of what it replaces; names may be as long as they can be.
case_replaced() {
  echo old >a.pam
  chmod 640 a.pam
  "$tool" "$data/rgb_transform.j2k" a.pam
  [ "$(stat -c %a a.pam)" = 640 ] || fail "$(stat -c %a a.pam)"
  local long
  long=$(printf 'n%.0s' {1..250}).pam
  "$tool" "$data/rgb_transform.j2k" "$long"
  only a.pam "$long"
}

# A picture that is being written when the process is told to end leaves nothing behind.
case_signals() {
  local signal
  for signal in INT TERM HUP; do
    set -m # in a job of its own no signal is ignored
    "$tool" "$data/../../docs/demo.jp2" a.png --png-level 9 &
    set +m
    for _ in {1..400}; do
      compgen -G '.wbx-decode-*' >/dev/null && break
      sleep 0.002
    done
    kill -$signal $! 2>/dev/null || true
    wait $! || true
    rm -f a.png # on a machine that was faster
    only
  done
}

# Standard streams that are closed stay so; no file of ours takes their place.
case_closed_streams() {
  "$tool" "$data/palette.jp2" a.png
  "$tool" - b.png <"$data/palette.jp2" 2>&-
  cmp a.png b.png
  ends 1 "standard input" "$tool" - c.png <&-
  ! "$tool" "$data/palette.jp2" - -f png 2>err >&- || fail "wrote to nowhere"
  grep -q "standard output: Bad file" err || fail "$(cat err)"
}

case_many_files() {
  cp "$data/rgb_transform.j2k" "$data/bits_12.j2k" "$data/bad_bypass.j2k" .
  for jobs in 1 3; do
    ends 1 "bad_bypass.j2k: " "$tool" -d out.d --jobs $jobs bad_bypass.j2k rgb_transform.j2k missing.jp2 \
      bits_12.j2k -f pam
    grep -qF "2 of 4 files decoded, 2 failed" err || fail "$(cat err)"
    [ "$(ls out.d | tr '\n' ' ')" = "bits_12.pam rgb_transform.pam " ] || fail "$(ls out.d)"
    cmp out.d/bits_12.pam "$expected/bits_12.pam"
    rm -r out.d
  done
  ends 0 "2 of 2 files decoded" "$tool" rgb_transform.j2k bits_12.j2k --directory deep/out.d
  mkdir other
  cp bits_12.j2k other
  ends 2 "both would become" "$tool" -d out.d bits_12.j2k other/bits_12.j2k
  ends 2 "--jobs needs" "$tool" bits_12.j2k a.png --jobs 2
  ends 2 "many files need --directory" "$tool" bits_12.j2k a.png b.png
}

# A message for each kind of failure, with the name of the file, the library's text and number.
case_image_errors() {
  ends 1 "nowhere.jp2: Cannot open the WBX image file (error 7): No such file" "$tool" nowhere.jp2 a.png
  ends 1 "$PWD: Cannot open the WBX image file (error 7): Is a directory" "$tool" "$PWD" a.png
  while read -r name code; do
    ends 1 "$name: " "$tool" "$data/$name" a.png
    grep -qF "(error $code)" err || fail "$name: $(cat err)"
    ends 1 "(error $code)" "$tool" "$data/$name" --json
    grep -qE "^  \"error\": \{\"code\": $code, " out || fail "$name: $(cat out)"
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
  ends 2 "--nonsense" "$tool" --nonsense
  ends 0 "" "$tool" --help
  ends 0 "" "$tool" --version
  grep -qx 'wbx-decode [0-9]*\.[0-9]*\.[0-9]*' out || fail "$(cat out)"
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
