#!/usr/bin/env bash
# zlib for the 32-bit ARM flavour, built from Debian's own source package with the cross
# compiler: Debian's :armhf packages cannot be installed here, its sources can. Installs a
# static, position-independent libz.a and its headers under PREFIX (default build/arm-zlib);
# does nothing when they are there already.
#
#   bash scripts/build_arm_zlib.sh [PREFIX]
set -euo pipefail
cd "$(dirname "$0")/.."
prefix=$(realpath -m "${1:-build/arm-zlib}")
[ -f "$prefix/lib/libz.a" ] && [ -f "$prefix/include/zlib.h" ] && exit 0

sudo_cmd=""
[ "$(id -u)" -ne 0 ] && sudo_cmd="sudo"
# A deb-src entry for the registry the machine already installs from (its first deb entry).
if ! grep -rqsE '^(Types:.*deb-src|deb-src )' /etc/apt/sources.list /etc/apt/sources.list.d/; then
  src=$(ls /etc/apt/sources.list.d/*.sources 2>/dev/null | head -1 || true)
  uri=http://deb.debian.org/debian
  suite=$(. /etc/os-release && echo "$VERSION_CODENAME")
  if [ -n "$src" ]; then
    uri=$(awk '/^URIs:/ {print $2; exit}' "$src")
    suite=$(awk '/^Suites:/ {print $2; exit}' "$src")
  fi
  printf 'Types: deb-src\nURIs: %s\nSuites: %s\nComponents: main\nSigned-By: %s\n' \
    "$uri" "$suite" /usr/share/keyrings/debian-archive-keyring.gpg |
    $sudo_cmd tee /etc/apt/sources.list.d/qmkv-deb-src.sources >/dev/null
  $sudo_cmd apt-get update -qq
fi

work=$prefix.src
rm -rf "$work"; mkdir -p "$work"
(cd "$work" && apt-get source -qq zlib >/dev/null 2>&1) || { echo "apt-get source zlib failed"; exit 1; }
dir=$(find "$work" -mindepth 1 -maxdepth 1 -type d -name 'zlib-*' | head -1)
(cd "$dir" && CC=arm-linux-gnueabihf-gcc AR=arm-linux-gnueabihf-ar RANLIB=arm-linux-gnueabihf-ranlib \
   CFLAGS="-O2 -fPIC" ./configure --static --prefix="$prefix" >/dev/null &&
 make -s -j"$(nproc)" libz.a >/dev/null && make -s install >/dev/null)
echo "zlib for ARM: $prefix/lib/libz.a"
