#!/usr/bin/env bash
# Runs the calibration verification from the main window on a calibrated simulated camera under a
# virtual X server, saves the report, and keeps two pictures for a person to look at: the result
# window and the first page of the report's PDF (rendered with pdftoppm).
#
#   scripts/screenshot-verify.sh [build-folder]
#
# Default build folder "build". The pictures go to screenshots/verify_window.png and
# screenshots/verify_report.png. Nothing is built here: build the test_verify_window target first.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/xvfb.sh

build="${1:-build}"
start_xvfb screenshot-verify ":98" pdftoppm
run_window_test screenshot-verify "$build/bin/test_verify_window" verifyAndSaveTheReport "$build/bin/liblsxsim.so"
echo "screenshot-verify: saved screenshots/verify_window.png and screenshots/verify_report.png"
