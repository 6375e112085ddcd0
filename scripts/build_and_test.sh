#!/usr/bin/env bash
# Builds and tests every flavour: native (-O2), native with AddressSanitizer and
# UndefinedBehaviorSanitizer, native with ThreadSanitizer, the device flavour (clang with the
# device's integer-overflow traps and CFI on the plug-in; then the same checks again with
# reports), and 32-bit ARM run under qemu. Fails if any flavour fails.
set -uo pipefail
cd "$(dirname "$0")/.."
bash scripts/install_deps.sh || exit 1

jobs=$(nproc)
launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache
                                          -DCMAKE_C_COMPILER_LAUNCHER=ccache)
clang=(-DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++)
status=0
summary=()

run_flavour() {
  local name=$1; shift
  local dir=build/$name
  echo "=== $name: configure and build"
  if ! cmake -S . -B "$dir" -G Ninja "${launcher[@]}" "$@" >"$dir.configure.log" 2>&1; then
    cat "$dir.configure.log"; summary+=("$name: configure FAILED"); status=1; return
  fi
  if ! ninja -C "$dir" -j "$jobs"; then
    summary+=("$name: build FAILED"); status=1; return
  fi
  echo "=== $name: test"
  if (cd "$dir" && ctest -j "$jobs" --output-on-failure --timeout 300) | tee "$dir.ctest.log"; then
    summary+=("$name: $(grep -E 'tests passed|tests failed' "$dir.ctest.log" | tail -1)")
  else
    summary+=("$name: $(grep -E 'tests passed|tests failed' "$dir.ctest.log" | tail -1) FAILED")
    status=1
  fi
}

mkdir -p build
run_flavour native -DCMAKE_BUILD_TYPE=Release
run_flavour asan -DCMAKE_BUILD_TYPE=Release -DQMKV_SANITIZE=ON
TSAN_OPTIONS=halt_on_error=1 run_flavour tsan -DCMAKE_BUILD_TYPE=Release -DQMKV_TSAN=ON
run_flavour device -DCMAKE_BUILD_TYPE=Release "${clang[@]}" -DQMKV_DEVICE=TRAP
UBSAN_OPTIONS=print_stacktrace=1 run_flavour device-diag -DCMAKE_BUILD_TYPE=Release "${clang[@]}" \
  -DQMKV_DEVICE=DIAG
if bash scripts/build_arm_zlib.sh build/arm-zlib; then
  run_flavour arm -DCMAKE_BUILD_TYPE=Release -DCMAKE_TOOLCHAIN_FILE=cmake/arm-linux-gnueabihf.cmake \
    -DZLIB_INCLUDE_DIR="$PWD/build/arm-zlib/include" -DZLIB_LIBRARY="$PWD/build/arm-zlib/lib/libz.a"
else
  summary+=("arm: zlib FAILED"); status=1
fi

echo "=== summary"
printf '%s\n' "${summary[@]}"
exit $status
