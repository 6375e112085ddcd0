#!/usr/bin/env bash
# Builds the fuzz flavour (clang, libFuzzer, AddressSanitizer, UndefinedBehaviorSanitizer, and
# the device's integer-overflow traps on the plug-in library) in
# build/fuzz and runs each fuzz target for a while, one after the other on one core, from its
# seeds and regression inputs. Any crash, leak, sanitizer report or input slower than a second
# fails the run; the input is left in build/fuzz/artifacts/.
#
#   bash scripts/fuzz_smoke.sh [SECONDS_PER_TARGET]     (default 60)
set -uo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
jobs=${JOBS:-2}
root=$PWD
dir=build/fuzz

echo "=== fuzz: configure and build"
mkdir -p build
if ! CC=clang CXX=clang++ cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=Release \
     -DQMKV_FUZZ=ON -DQMKV_DEVICE=TRAP -DQMKV_BUILD_TESTS=OFF >"$dir.configure.log" 2>&1; then
  cat "$dir.configure.log"; exit 1
fi
targets=(plugin demux codec_config nal)
ninja -C "$dir" -j "$jobs" "${targets[@]/#/fuzz_}" || exit 1

# Seeds of the two file-level targets: every committed real file, and fuzz/seeds/files (files
# made only to reach paths the corpus does not, such as zlib-compressed AVC).
file_seeds=$dir/seeds_files
rm -rf "$file_seeds"; mkdir -p "$file_seeds"
while IFS= read -r f; do
  cp "$f" "$file_seeds/$(echo "${f#./}" | tr / _)"
done < <(find ./tests/data ./samples -type f \( -name '*.mkv' -o -name '*.mka' -o -name '*.webm' \))

mkdir -p "$dir/artifacts"
status=0
summary=()
for t in "${targets[@]}"; do
  corpus=$dir/corpus/$t
  rm -rf "$corpus"; mkdir -p "$corpus"
  seeds=("$root/fuzz/regressions/$t")
  case $t in
    plugin|demux) seeds+=("$file_seeds" "$root/fuzz/seeds/files") ;;
    *) seeds+=("$root/fuzz/seeds/$t") ;;
  esac
  echo "=== fuzz_$t: ${seconds} s"
  log=$dir/fuzz_$t.log
  "$dir/fuzz/fuzz_$t" -max_total_time="$seconds" -timeout=1 -rss_limit_mb=2048 \
      -max_len=150000 -dict="$root/fuzz/matroska.dict" -print_final_stats=1 \
      -artifact_prefix="$dir/artifacts/${t}-" "$corpus" "${seeds[@]}" >"$log" 2>&1
  rc=$?
  line=$(grep -E '^#[0-9]+.*(DONE|pulse|NEW|REDUCE|INITED)' "$log" | tail -1)
  if [ $rc -ne 0 ]; then
    status=1
    summary+=("fuzz_$t: FAILED (exit $rc), see $log")
    grep -E 'ERROR|SUMMARY|runtime error|Test unit written' "$log" | head -20
  else
    summary+=("fuzz_$t: ok ${line}")
  fi
done

echo "=== fuzz summary"
printf '%s\n' "${summary[@]}"
exit $status
