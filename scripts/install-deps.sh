#!/usr/bin/env bash
# Installs the Debian packages velar needs to build, test, demo and benchmark. Only what is missing
# is installed. Runs apt-get as root (directly when root, else through sudo).
set -euo pipefail

packages=(
  cmake g++ make pkg-config git
  ffmpeg libavformat-dev libavcodec-dev libavutil-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  libcurl4-openssl-dev libxml2-dev libtinyxml-dev
  nginx-light python3 python3-matplotlib procps curl util-linux bsdutils
)

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
