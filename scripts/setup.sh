#!/usr/bin/env bash
# Installs every Debian package the project needs (when missing), then
# configures and builds the given CMake preset (default: "default").
#   scripts/setup.sh [preset]
set -euo pipefail
cd "$(dirname "$0")/.."

preset="${1:-default}"

packages=(
  build-essential cmake pkg-config git
  libicu-dev libssl-dev nlohmann-json3-dev libspdlog-dev libfmt-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  libboost-dev libtbb-dev
  clang libclang-rt-14-dev
)
# Extra packages declared by subsystems, one per line.
if [ -f scripts/packages.txt ]; then
  while read -r p; do [ -n "$p" ] && [ "${p#\#}" = "$p" ] && packages+=("$p"); done < scripts/packages.txt
fi

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  sudo_cmd=""
  if [ "$(id -u)" -ne 0 ]; then sudo_cmd="sudo"; fi
  $sudo_cmd apt-get update
  DEBIAN_FRONTEND=noninteractive $sudo_cmd apt-get install -y --no-install-recommends "${missing[@]}"
fi

jobs="$(nproc 2>/dev/null || echo 2)"
cmake --preset "$preset"
cmake --build --preset "$preset" -j "$jobs"
