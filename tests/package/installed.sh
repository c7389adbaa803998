#!/bin/sh
# installed.sh CMAKE BUILD CONSUMER SCRATCH CC CXX IMAGE: installs into the scratch folder, builds a
# program that finds the library through CMake (shared and static) and one through pkg-config, and
# runs them.
set -eu
cmake=$1 build=$2 consumer=$3 scratch=$4 cc=$5 cxx=$6 image=$7

rm -rf "$scratch"
"$cmake" --install "$build" --prefix "$scratch/prefix" >/dev/null

"$cmake" -S "$consumer" -B "$scratch/consumer" -DCMAKE_PREFIX_PATH="$scratch/prefix" \
  -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_BUILD_TYPE=Release
"$cmake" --build "$scratch/consumer"
"$scratch/consumer/with-shared" "$image"
"$scratch/consumer/with-static" "$image"

if command -v pkg-config >/dev/null; then
  PKG_CONFIG_PATH=$(dirname "$(find "$scratch/prefix" -name wbx-codec.pc)")
  export PKG_CONFIG_PATH
  # The file names the prefix of the configuration; this install lies elsewhere.
  flags=$(pkg-config --define-variable=prefix="$scratch/prefix" --cflags --libs wbx-codec)
  # shellcheck disable=SC2086
  "$cc" -o "$scratch/with-pkg-config" "$consumer/main.c" $flags
  LD_LIBRARY_PATH=$(dirname "$PKG_CONFIG_PATH") "$scratch/with-pkg-config" "$image"
fi
