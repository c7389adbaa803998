#!/bin/sh
# installed.sh CMAKE BUILD SCRATCH CC CXX: installs into the scratch folder and builds programs
# against it as users do: through CMake and pkg-config, shared and static, in C alone, and as a
# folder of a project that installs its own targets. Everything must run without further ado.
set -eu
cmake=$1 build=$2 scratch=$3 cc=$4 cxx=$5
here=$(cd "$(dirname "$0")" && pwd)
source=$(cd "$here/../.." && pwd)

# try PROGRAM: it decodes, and its log has an end.
try() {
  rm -f wbx-codec.log
  "$1" "$source/docs/demo.jp2"
  grep -q '== FINISHED' wbx-codec.log
}

rm -rf "$scratch"
"$cmake" --install "$build" --prefix "$scratch/prefix" >/dev/null
cd "$scratch"
find prefix -name LICENSE | grep .

"$cmake" -S "$here/consumer" -B consumer -DCMAKE_PREFIX_PATH="$scratch/prefix" \
  -DCMAKE_C_COMPILER="$cc" -DCMAKE_BUILD_TYPE=Release
"$cmake" --build consumer
try consumer/with-shared
try consumer/with-static

"$cmake" -S "$here/parent" -B parent -DWBX_SOURCE="$source" \
  -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx"

if command -v pkg-config >/dev/null; then
  PKG_CONFIG_PATH=$(dirname "$(find "$scratch/prefix" -name wbx-codec.pc)")
  export PKG_CONFIG_PATH
  flags=$(pkg-config --cflags --libs wbx-codec)
  # Built for /usr, the library needs no help to be found there, and gets none.
  case $flags in *-rpath*) ;; *) export LD_LIBRARY_PATH="${PKG_CONFIG_PATH%/*}" ;; esac
  # shellcheck disable=SC2086
  "$cc" -o with-pkg-config "$here/consumer/main.c" $flags
  try ./with-pkg-config
  flags=$(pkg-config --static --cflags --libs wbx-codec)
  # shellcheck disable=SC2086
  "$cc" -static -o all-static "$here/consumer/main.c" $flags
  try ./all-static
fi
