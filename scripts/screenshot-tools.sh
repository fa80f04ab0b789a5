#!/usr/bin/env bash
# Runs the main window on the simulated colour camera under a virtual X server, opens the histogram
# window over a rectangle drawn on the live image and the session log window, and keeps pictures
# of both and of the whole window at 1366 x 700 for a person to look at.
#
#   scripts/screenshot-tools.sh [build-folder]
#
# Default build folder "build". The pictures go to screenshots/histogram.png,
# screenshots/sessionlog.png and screenshots/window_1366x700.png. Nothing is built here: build
# the test_imagetools target first.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/xvfb.sh

build="${1:-build}"
start_xvfb screenshot-tools ":97"
run_window_test screenshot-tools "$build/bin/test_imagetools" toolWindowsOnTheLiveColourImage "$build/bin/liblsxsim.so"
echo "screenshot-tools: saved screenshots/histogram.png, screenshots/sessionlog.png and screenshots/window_1366x700.png"
