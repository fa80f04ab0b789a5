# Sourced by the screenshot scripts: a virtual X server for the script's run.
#
#   start_xvfb NAME DISPLAY [TOOL...]
#
# checks that Xvfb, xwininfo and the further TOOLs are installed, makes a work folder $work,
# starts Xvfb on DISPLAY and waits until it answers. At exit the program whose pid the caller put
# in $app_pid, then Xvfb, are stopped and $work is removed. NAME prefixes the messages.
start_xvfb() {
  local name="$1" display="$2" tool
  shift 2
  for tool in Xvfb xwininfo "$@"; do
    command -v "$tool" >/dev/null || { echo "$name: $tool missing; run scripts/setup.sh" >&2; exit 1; }
  done
  work="$(mktemp -d)"
  xvfb_pid=""
  app_pid=""
  trap stop_xvfb EXIT
  Xvfb "$display" -screen 0 1600x1000x24 -nolisten tcp >"$work/xvfb.log" 2>&1 &
  xvfb_pid=$!
  export DISPLAY="$display"
  for _ in $(seq 1 50); do
    xwininfo -root >/dev/null 2>&1 && break
    sleep 0.1
  done
  xwininfo -root >/dev/null 2>&1 || { echo "$name: Xvfb did not come up" >&2; cat "$work/xvfb.log" >&2; exit 1; }
}

stop_xvfb() {
  [ -n "${app_pid:-}" ] && kill "$app_pid" 2>/dev/null || true
  [ -n "${xvfb_pid:-}" ] && kill "$xvfb_pid" 2>/dev/null || true
  wait 2>/dev/null || true
  [ -n "${work:-}" ] && rm -rf "$work"
}

# run_window_test NAME TEST-EXE TEST-FUNCTION SIM-LIBRARY: one test function of a window test on
# the X server, on the simulated camera, its pictures saved into screenshots/ by the test itself.
run_window_test() {
  local name="$1" exe="$2" fn="$3" sim="$4"
  [ -x "$exe" ] || { echo "$name: $exe not found; build $(basename "$exe") first" >&2; exit 1; }
  [ -f "$sim" ] || { echo "$name: $sim not found" >&2; exit 1; }
  mkdir -p screenshots "$work/doc" "$work/pic"
  HOME="$work" TELORINE_DOCUMENT_PATH="$work/doc" TELORINE_PICTURE_PATH="$work/pic" QT_QPA_PLATFORM=xcb \
    LSX_LIBRARY="$sim" LSX_SCREENSHOT_DIR="$PWD/screenshots" \
    "$exe" "$fn" >"$work/test.log" 2>&1 || { cat "$work/test.log" >&2; exit 1; }
  grep -E "^(PASS|FAIL|QINFO)" "$work/test.log" || true
}
