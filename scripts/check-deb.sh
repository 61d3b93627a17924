#!/usr/bin/env bash
# Builds the Debian package from a configured and built tree, installs it with
# apt-get, checks what an application team would touch first (the CMake
# package, the pkg-config file, ovutil with its installed sample data), then
# removes it again.
#   scripts/check-deb.sh [build-dir]      (default: build/default)
set -euo pipefail
cd "$(dirname "$0")/.."
build="${1:-build/default}"
sudo_cmd=""
if [ "$(id -u)" -ne 0 ]; then sudo_cmd="sudo"; fi

(cd "$build" && cpack -G DEB >/dev/null)
deb="$(ls -t "$build"/ovutility_*.deb | head -n1)"
echo "built $deb ($(du -h "$deb" | cut -f1))"
DEBIAN_FRONTEND=noninteractive $sudo_cmd apt-get install -y --no-install-recommends "./$deb" >/dev/null
trap 'DEBIAN_FRONTEND=noninteractive $sudo_cmd apt-get remove -y ovutility >/dev/null' EXIT

# ovutil from /usr/bin finds its data under /usr/share/ovutil, not in this tree.
(cd / && env -u OVUTIL_DATA ovutil features | grep "6 features" >/dev/null)
env -u OVUTIL_DATA ovutil help | grep "now: /usr/share/ovutil" >/dev/null
for verb in demo features strings; do ovutil "$verb" --help | grep "^usage: ovutil $verb" >/dev/null; done
# The consumer builds against the system install, through CMake and pkg-config.
scratch="$(mktemp -d)"
cmake -S examples/consumer -B "$scratch/cmake" -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$scratch/cmake" >/dev/null
"$scratch/cmake/consumer" | grep "^55" >/dev/null
c++ -std=c++20 examples/consumer/main.cpp $(pkg-config --cflags --libs ovutility) -o "$scratch/consumer"
"$scratch/consumer" | grep "^55" >/dev/null
rm -rf "$scratch"
echo "Debian package installs and works: $deb"
