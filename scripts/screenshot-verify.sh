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

build="${1:-build}"
exe="$build/bin/test_verify_window"
sim="$build/bin/liblsxsim.so"
display=":98"

[ -x "$exe" ] || { echo "screenshot-verify: $exe not found; build test_verify_window first" >&2; exit 1; }
[ -f "$sim" ] || { echo "screenshot-verify: $sim not found" >&2; exit 1; }
for tool in Xvfb xwininfo pdftoppm; do
  command -v "$tool" >/dev/null || { echo "screenshot-verify: $tool missing; run scripts/setup.sh" >&2; exit 1; }
done
mkdir -p screenshots

work="$(mktemp -d)"
xvfb_pid=""
cleanup() {
  [ -n "$xvfb_pid" ] && kill "$xvfb_pid" 2>/dev/null || true
  wait 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT

Xvfb "$display" -screen 0 1600x1000x24 -nolisten tcp >"$work/xvfb.log" 2>&1 &
xvfb_pid=$!
export DISPLAY="$display"
for _ in $(seq 1 50); do
  xwininfo -root >/dev/null 2>&1 && break
  sleep 0.1
done
xwininfo -root >/dev/null 2>&1 || { echo "screenshot-verify: Xvfb did not come up" >&2; cat "$work/xvfb.log" >&2; exit 1; }

HOME="$work" TELORINE_DOCUMENT_PATH="$work/doc" TELORINE_PICTURE_PATH="$work/pic" QT_QPA_PLATFORM=xcb \
  LSX_LIBRARY="$sim" LSX_SCREENSHOT_DIR="$PWD/screenshots" \
  "$exe" verifyAndSaveTheReport >"$work/test.log" 2>&1 || { cat "$work/test.log" >&2; exit 1; }
grep -E "^(PASS|FAIL|QINFO)" "$work/test.log" || true
echo "screenshot-verify: saved screenshots/verify_window.png and screenshots/verify_report.png"
