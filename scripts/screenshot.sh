#!/usr/bin/env bash
# Starts the tool under a virtual X server on the simulated camera, waits for the window and
# the first frames, and saves a picture of the screen for a person to look at.
#
#   scripts/screenshot.sh [build-folder] [camera] [extra tool options...]
#
# Defaults: build folder "build", camera "SIM-LS4096-M". The picture goes to
# screenshots/window.png, or screenshots/window-en.png when the options hold "--lang en" (the
# English window). Nothing is built here: build the lsxcalib target first.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/xvfb.sh

build="${1:-build}"
camera="${2:-SIM-LS4096-M}"
shift $(( $# > 2 ? 2 : $# )) || true

exe="$build/bin/lsxcalib"
out="screenshots/window.png"
for a in "$@"; do [ "$a" = "--lang=en" ] && out="screenshots/window-en.png"; done
prev=""
for a in "$@"; do [ "$prev" = "--lang" ] && [ "$a" = "en" ] && out="screenshots/window-en.png"; prev="$a"; done
display=":99"
settle="${SCREENSHOT_SETTLE:-5}"

[ -x "$exe" ] || { echo "screenshot: $exe not found; build the lsxcalib target first" >&2; exit 1; }
mkdir -p screenshots

# Settings and snapshots of this run stay in the work folder of the X server's run.
start_xvfb screenshot "$display" import

HOME="$work" TELORINE_DOCUMENT_PATH="$work" TELORINE_PICTURE_PATH="$work" QT_QPA_PLATFORM=xcb \
  "$exe" -d "$camera" "$@" >"$work/tool.log" 2>&1 &
app_pid=$!

# The window is up when X knows a top-level window of the tool's class, whatever the language of
# its title.
mapped=0
for _ in $(seq 1 100); do
  if xwininfo -root -tree 2>/dev/null | grep -q '("lsxcalib" '; then mapped=1; break; fi
  kill -0 "$app_pid" 2>/dev/null || break
  sleep 0.1
done
if [ "$mapped" -ne 1 ]; then
  echo "screenshot: the window did not appear; the tool said:" >&2
  cat "$work/tool.log" >&2
  exit 1
fi

# The camera opens one second after start and capture half a second later; give the first
# frames time to arrive.
sleep "$settle"

import -window root "$out"
echo "screenshot: saved $out"
echo "--- tool log (last lines) ---"
tail -n 20 "$work/tool.log" || true
