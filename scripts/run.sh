#!/usr/bin/env bash
# Sets up the machine, builds, and starts the tool on the simulated camera.
# Extra arguments go to the tool, e.g.: scripts/run.sh -d "SIM-LS4096-M" -t FFC
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake --preset default >/dev/null
cmake --build --preset default
exec ./build/bin/lsxcalib "$@"
