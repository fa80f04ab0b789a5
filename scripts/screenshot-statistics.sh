#!/usr/bin/env bash
# Runs the exposure test from the main window on the simulated colour camera under a virtual X
# server and saves a picture of the statistics window that comes up, for a person to look at.
#
#   scripts/screenshot-statistics.sh [build-folder]
#
# Default build folder "build". The picture goes to screenshots/statistics.png. Nothing is built
# here: build the test_exptest_window target first.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/xvfb.sh

build="${1:-build}"
start_xvfb screenshot-statistics ":98"
run_window_test screenshot-statistics "$build/bin/test_exptest_window" runShowsTheStatistics "$build/bin/liblsxsim.so"
echo "screenshot-statistics: saved screenshots/statistics.png"
