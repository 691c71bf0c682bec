#!/usr/bin/env bash
# Installs what building and testing vrn needs on a Debian machine.
# Extra package names may be passed as arguments.
set -euo pipefail
need=(cmake ninja-build g++ pkg-config libgtest-dev libgmock-dev libbenchmark-dev libhwy-dev "$@")
missing=()
for p in "${need[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  SUDO=""
  [ "$(id -u)" -ne 0 ] && SUDO=sudo
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq "${missing[@]}" >/dev/null
fi
