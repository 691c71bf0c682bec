#!/usr/bin/env bash
# Builds everything (library, tool, examples) in build/ and runs the demo.
# Usage: scripts/demo.sh [OUTPUT_DIR]
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build -j"$(nproc)"
out="${1:-demo-out}"
if [ -x build/tools/vrn ]; then
  build/tools/vrn demo "$out"
else
  build/examples/demo
fi
