#!/usr/bin/env bash
# Sets the project up (packages, configure, build) and runs the whole test
# suite of the default developer build.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh default
ctest --preset default -j "$(nproc 2>/dev/null || echo 2)"
