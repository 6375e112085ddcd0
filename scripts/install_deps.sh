#!/usr/bin/env bash
# Installs what building and testing need on a Debian machine, skipping what is already there.
set -euo pipefail

packages=(cmake ninja-build g++ googletest g++-arm-linux-gnueabihf qemu-user libwebm-dev ffmpeg
          python3 clang libclang-rt-14-dev lld ccache zlib1g-dev dpkg-dev
          nlohmann-json3-dev)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "installing: ${missing[*]}"
  sudo_cmd=""
  [ "$(id -u)" -ne 0 ] && sudo_cmd="sudo"
  $sudo_cmd apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo_cmd apt-get install -y -qq "${missing[@]}" >/dev/null
fi
