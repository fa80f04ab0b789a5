#!/usr/bin/env bash
# Sets up the machine, builds, and runs the whole test suite (exit code non-zero on any failure).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake --preset default >/dev/null
cmake --build --preset default
ctest --preset default "$@"
