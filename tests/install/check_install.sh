#!/usr/bin/env bash
# Installs the built tree into a fresh staging prefix, then builds and runs
# examples/add_images.c against that installation twice: once with the flags
# of `pkg-config --cflags --libs vrn`, once through find_package(vrn) in the
# small CMake project examples/consumer.
# Usage: check_install.sh BUILD_DIR SOURCE_DIR WORK_DIR C_COMPILER [EXTRA_FLAGS]
set -euo pipefail
build=$1 src=$2 work=$3 cc=$4 extra=${5:-}
rm -rf "$work"
mkdir -p "$work"
stage=$work/stage

cmake --install "$build" --prefix "$stage" > "$work/install.log"
for f in include/vrn.h bin/vrn; do
  test -e "$stage/$f" || { echo "not installed: $f"; exit 1; }
done
ls "$stage"/lib*/libvrn.so.2 > /dev/null
ls "$stage"/lib*/cmake/vrn/vrnConfig.cmake "$stage"/lib*/cmake/vrn/vrnConfigVersion.cmake > /dev/null
"$stage/bin/vrn" --help > /dev/null

libdir=$(dirname "$(ls "$stage"/lib*/libvrn.so)")
export LD_LIBRARY_PATH=$libdir${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}

echo "== pkg-config"
export PKG_CONFIG_PATH=$libdir/pkgconfig
flags=$(pkg-config --cflags --libs vrn)
echo "pkg-config --cflags --libs vrn: $flags"
# shellcheck disable=SC2086
"$cc" -std=c99 -Wall -Wextra -Werror $extra -o "$work/add_images_pc" "$src/examples/add_images.c" $flags
"$work/add_images_pc"

echo "== find_package"
cmake -S "$src/examples/consumer" -B "$work/consumer" -G Ninja -DCMAKE_BUILD_TYPE=Release \
  -DCMAKE_C_COMPILER="$cc" -DCMAKE_PREFIX_PATH="$stage" -DCMAKE_C_FLAGS="$extra" \
  -DCMAKE_EXE_LINKER_FLAGS="$extra" > "$work/consumer.log"
cmake --build "$work/consumer" >> "$work/consumer.log"
"$work/consumer/add_images"
echo "installed package works both ways"
