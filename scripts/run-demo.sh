#!/usr/bin/env bash
# Sets the project up (packages, configure, build) and runs the ovutil demo
# on the sample data that ships in data/.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh default
exec build/default/ovutil demo "$@"
