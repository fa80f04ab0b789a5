#!/usr/bin/env bash
# Installs the Debian 12 packages that building, testing and a screenshot under Xvfb need, and
# Aravis for real GigE Vision and USB3 Vision cameras (the GenICam camera library, its tests and
# the camera tools arv-tool-0.8, arv-viewer-0.8), GStreamer (the lsxcorrect element, its tests,
# gst-launch-1.0 and gst-inspect-1.0; Aravis' own aravissrc comes with libaravis-0.8-0),
# poppler-utils (the verification's test renders and reads back the report's PDF), the
# calibration records: Qt SQL's SQLite and PostgreSQL drivers, PostgreSQL itself (the records'
# tests start a private cluster of it) and Python (a test reads the CSV export with its csv module),
# and Qt's translation tools (lrelease, lupdate, and the CMake package LinguistTools that comes with
# qt6-tools-dev) and its own translations (the English interface; Qt's dialogs in Chinese).
# Idempotent: packages that are already installed are skipped, and apt is not touched at all
# when nothing is missing.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config
  qt6-base-dev qt6-base-dev-tools qt6-charts-dev libqt6opengl6-dev libqt6svg6
  qt6-l10n-tools qt6-tools-dev qt6-translations-l10n
  libgl-dev libxkbcommon-dev
  libgtest-dev libbenchmark-dev
  xvfb xauth x11-utils imagemagick
  poppler-utils
  libqt6sql6-sqlite libqt6sql6-psql postgresql python3
  fonts-wqy-microhei
  libaravis-dev aravis-tools aravis-tools-cli libusb-1.0-0-dev
  libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev gstreamer1.0-tools gstreamer1.0-plugins-base
)
# OpenCV's CMake package file is only in libopencv-dev; its recommends pull half a desktop.
opencv=(libopencv-dev)

missing=()
for p in "${packages[@]}" "${opencv[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "setup: all packages present"
  exit 0
fi

echo "setup: installing ${missing[*]}"
SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -q
$SUDO apt-get install -y -q --no-install-recommends "${missing[@]}"
