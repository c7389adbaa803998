#!/usr/bin/env bash
# run.sh FOLDER SOURCE: compares the driver in a folder with the one for JPEG 2000 that GDAL has of
# its own, over what both can read: facts, pixels, windows and overviews.
set -euo pipefail
source=$2
place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
export GDAL_DRIVER_PATH=$1 GDAL_PAM_ENABLED=NO
data=$source/tests/data
cd "$place"

facts() { # DRIVER FILE
  gdalinfo -if "$1" "$2" 2>&1 | sed -E '/^Driver|^ *Overviews/d; s/Block=[0-9x]+ //'
}

# same FILE [OPTION]...: both drivers give the same pixels.
same() {
  gdal_translate -q -if JP2WBX -of ENVI "$@" ours 2>messages
  gdal_translate -q -if JP2OpenJPEG -of ENVI "$@" theirs 2>messages
  cmp ours theirs || { echo "differs: $*"; exit 1; }
}

# Pictures on a map, by a GeoTIFF box and by GML, in one tile and in many.
gdal_translate -q "$data/photo.ppm" map.tif -a_srs EPSG:32633 -a_ullr 500000 5300000 500450 5299640 \
  -outsize 1500 1200 -r bilinear -mo TIFFTAG_XRESOLUTION=300
lossless=(-of JP2OpenJPEG -co REVERSIBLE=YES -co QUALITY=100 -co RESOLUTIONS=4)
gdal_translate -q map.tif geotiff.jp2 "${lossless[@]}" -co GMLJP2=NO
gdal_translate -q map.tif gml.jp2 "${lossless[@]}" -co GeoJP2=NO -co BLOCKXSIZE=304 -co BLOCKYSIZE=280
gdal_translate -q map.tif words.jp2 "${lossless[@]}" -co BLOCKXSIZE=256 -co BLOCKYSIZE=256 -ot UInt16 \
  -scale 0 255 0 65535 -b 1
for file in geotiff.jp2 gml.jp2 words.jp2; do
  diff <(facts JP2WBX $file) <(facts JP2OpenJPEG $file)
  gdalinfo $file | grep >/dev/null 'Driver: JP2WBX'
  gdalinfo $file | grep >/dev/null 'Overviews: 750x600, 375x300, 188x150'
  gdalinfo $file | grep >/dev/null 'WGS 84 / UTM zone 33N'
  same $file
  same $file -srcwin 700 300 333 222
  same $file -outsize 25% 25%
  same $file -outsize 10% 10%
done
gdalinfo gml.jp2 | grep >/dev/null 'Block=304x280'

# Tiles whose edges fall between the pixels of a level, where GDAL's own driver errs.
gdal_translate -q map.tif odd.jp2 "${lossless[@]}" -co BLOCKXSIZE=300 -co BLOCKYSIZE=150
gdal_translate -q -if JP2WBX -of ENVI odd.jp2 -outsize 188 150 -co INTERLEAVE=BIP ours
opj_decompress -quiet -r 3 -i odd.jp2 -o theirs.ppm >/dev/null
tail -c $((188 * 150 * 3)) theirs.ppm | cmp ours -

# Grids that begin elsewhere, few and many bits, palettes and channels in another order.
for name in {offset_rgb,tiles_offset,tiles_odd_column_rgb,tiles_one_wide_odd,bits_4,bits_12_tiles}.j2k \
  {palette,channels_blue_first,channels_grey_opacity,channels_opacity}.jp2; do
  same "$data/$name"
  diff <(facts JP2WBX "$data/$name") <(facts JP2OpenJPEG "$data/$name" | grep -v '^  *Overviews')
done

# Chroma of half size, which the two round in their own ways.
gdal_translate -q -if JP2WBX -of ENVI "$data/chroma_420.j2k" ours
gdal_translate -q -if JP2OpenJPEG -of ENVI "$data/chroma_420.j2k" theirs
python3 -c 'assert all(abs(a - b) <= 1 for a, b in zip(*(open(f, "rb").read() for f in ("ours", "theirs"))))'

# Files inside of others, and what the library refuses, which the next driver takes.
python3 -m zipfile -c maps.zip gml.jp2
same /vsizip/maps.zip/gml.jp2 -srcwin 0 0 10 10
[ "$(gdalmanage identify gml.jp2)" = 'gml.jp2: JP2WBX' ]
[ "$(cd "$data" && gdalmanage identify bad_bypass.j2k)" = 'bad_bypass.j2k: JP2OpenJPEG' ]
gdalinfo "$data/bad_bypass.j2k" | grep >/dev/null 'Driver: JP2OpenJPEG'
if gdalinfo -if JP2WBX "$data/bad_cut_in_packet.j2k" >messages 2>&1; then exit 1; fi
echo "the two drivers agree"
