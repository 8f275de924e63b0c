#!/usr/bin/env bash
# Installs the Debian packages velar needs to build, test, demo and benchmark. Only what is missing
# is installed. Runs apt-get as root (directly when root, else through sudo).
#   install-deps.sh         what the build, the tests (clang and its libFuzzer for the fuzz targets)
#                           and the demo need
#   install-deps.sh bench   the same plus the benchmark peers (GStreamer's command-line tools and
#                           the plug-ins with qtdemux, h264parse, mpegpsmux and dashdemux)
set -euo pipefail

packages=(
  cmake g++ make pkg-config git
  ffmpeg libavformat-dev libavcodec-dev libavutil-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  libcurl4-openssl-dev libxml2-dev libtinyxml-dev
  nginx-light python3 python3-matplotlib procps curl util-linux bsdutils
  clang libclang-rt-14-dev
)
if [ "${1:-}" = bench ]; then
  packages+=(gstreamer1.0-tools gstreamer1.0-plugins-base gstreamer1.0-plugins-good
             gstreamer1.0-plugins-bad gstreamer1.0-libav)
fi

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

echo "Installing: ${missing[*]}"
as_root=()
if [ "$(id -u)" -ne 0 ]; then
  as_root=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
