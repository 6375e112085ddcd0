#!/bin/bash
# Runs the test suite against deliberate faults, to see whether a change to the tests keeps
# catching what it caught before.
#
# Usage: tools/mutation_check.sh PATCH_DIR SOURCE_DIR BUILD_DIR RESULT_FILE
#
# PATCH_DIR holds NN.patch files (diffs against SOURCE_DIR, applied with patch -p1; a first line
# "# what the fault is" names it). SOURCE_DIR is a copy of the tree (not the working tree you
# edit), BUILD_DIR a configured build of it. For each patch: apply, rebuild, run ctest, record
# KILLED with the failing tests (or SURVIVED, or BUILD-FAILED), revert. Compare the result files
# of two runs, before and after a change to the tests: every fault killed before must still be.
# NINJA_JOBS, when set, limits the build jobs.
set -u
if [ $# -ne 4 ]; then
  sed -n '5p' "$0" | sed 's/^# //' >&2
  exit 2
fi
patches=$1 src=$2 build=$3 out=$4
: > "$out"
for p in "$patches"/[0-9]*.patch; do
  n=$(basename "$p" .patch)
  note=$(head -1 "$p" | sed 's/^# //')
  if ! patch -s -p1 -d "$src" < "$p"; then
    echo "$n APPLY-FAILED | $note" >> "$out"
    continue
  fi
  if ! ninja -C "$build" ${NINJA_JOBS:+-j"$NINJA_JOBS"} > "$build/mut_$n.build.log" 2>&1; then
    echo "$n BUILD-FAILED | $note" >> "$out"
  else
    (cd "$build" && ctest -j2 --timeout 120 > "mut_$n.ctest.log" 2>&1)
    failed=$(sed -n '/The following tests FAILED/,$p' "$build/mut_$n.ctest.log" |
             grep -E '^\s+[0-9]+ - ' | sed -E 's/^\s+[0-9]+ - ([^ ]+).*/\1/' | tr '\n' ' ')
    if [ -n "$failed" ]; then
      echo "$n KILLED | $note | $failed" >> "$out"
    else
      echo "$n SURVIVED | $note" >> "$out"
    fi
  fi
  patch -s -R -p1 -d "$src" < "$p"
done
ninja -C "$build" ${NINJA_JOBS:+-j"$NINJA_JOBS"} > /dev/null 2>&1
