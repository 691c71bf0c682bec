#!/usr/bin/env bash
# Builds the bitmap fuzz target with clang (libFuzzer, AddressSanitizer,
# UndefinedBehaviorSanitizer) in its own build directory and runs it for the
# given number of seconds, starting from the seed corpus.
set -euo pipefail
seconds=${1:-60}
root=$(cd "$(dirname "$0")/.." && pwd)
build=$root/build-fuzz
CC=clang CXX=clang++ cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DVRN_BUILD_FUZZ=ON -DVRN_BUILD_TESTS=OFF -DVRN_BUILD_BENCH=OFF >/dev/null
ninja -C "$build" -j2 dib_fuzz
work=$build/corpus
mkdir -p "$work"
cp -n "$root"/fuzz/corpus/* "$work"/ 2>/dev/null || true
exec "$build"/fuzz/dib_fuzz "$work" -max_total_time="$seconds" -max_len=4096 -timeout=10 \
  -artifact_prefix="$build"/ -print_final_stats=1
