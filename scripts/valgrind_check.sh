#!/usr/bin/env bash
# valgrind memcheck over the plug-in: the unit tests that drive it through its C tables (death
# tests left out: they abort on purpose), then qmkvprobe over every real and damaged file.
# Any invalid access or definite/indirect leak fails. Needs a native build (build/native by
# default) and valgrind.
set -uo pipefail
cd "$(dirname "$0")/.."
build=${1:-build/native}
vg=(valgrind -q --error-exitcode=99 --leak-check=full --errors-for-leak-kinds=definite,indirect
    --show-leak-kinds=definite,indirect)
status=0
echo "=== unit tests of the plug-in"
if ! "${vg[@]}" "$build/tests/qmkv_tests" \
    --gtest_filter='Plugin*:*Conformance*:Concurrency*:Cues/LargeFile*:-*DeathTest*' \
    >/tmp/valgrind_tests.log 2>&1; then
  grep -E "==[0-9]+==|FAILED" /tmp/valgrind_tests.log | head -40
  status=1
fi
grep -E "tests ran|PASSED" /tmp/valgrind_tests.log
echo "=== qmkvprobe --json over the real and damaged files"
files=0
for f in tests/data/conformance/*.mk? tests/data/conformance/*.webm \
         tests/data/conformance/damaged/* tests/data/corpus/*.mk? samples/sample.mkv; do
  files=$((files + 1))
  "${vg[@]}" "$build/qmkvprobe" --json "$f" >/dev/null 2>/tmp/valgrind_probe.log
  if [ $? -eq 99 ]; then
    echo "memcheck errors: $f"
    grep "==[0-9]*==" /tmp/valgrind_probe.log | head -20
    status=1
  fi
done
echo "$files files"
[ $status -eq 0 ] && echo "valgrind: clean"
exit $status
