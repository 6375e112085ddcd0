#!/usr/bin/env bash
# Runs the tests against deliberate faults, one at a time, to show what they catch and to check
# that a change to the tests still catches what it caught before.
#
#   bash scripts/mutation_run.sh [LIST] [RESULT]
#     LIST    rows "basename | old text | new text | what the fault is" (default
#             scripts/mutations.txt; see its head)
#     RESULT  one line per row (default build/mutation/result.txt):
#             NN KILLED | basename | fault | first failing tests
#             NN SURVIVED | BUILD-FAILED | NOT-APPLICABLE | basename | fault
#
# The tree is copied to a scratch tree (MUT_DIR, default build/mutation/src) with its build dir
# beside it; the copy is refreshed at each run and the build dir reused, so a run rebuilds only
# what a fault touches. The tree being edited is never changed. Each fault is applied there,
# rebuilt (native flavour, Release, ninja -j NINJA_JOBS, default 2), tested, and reverted. The
# tests stop at the first failure: the GoogleTest programs run whole first (a second or two);
# only when they pass do the other CTest tests run (ctest -E '\.', the names without a dot).
# ROWS=3,7 runs only those rows.
set -uo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
list=$(realpath "${1:-$root/scripts/mutations.txt}")
out=${2:-$root/build/mutation/result.txt}
work=${MUT_DIR:-$root/build/mutation}
jobs=${NINJA_JOBS:-2}
src=$work/src
build=$work/build
logs=$work/logs
mkdir -p "$src" "$logs" "$(dirname "$out")"
out=$(realpath "$out")

# The scratch copy: the files of the work tree as they are (committed or not, not ignored).
# Only files that differ are copied (and get a new time), so that ninja rebuilds only what
# changed. A fault left behind by a run that was stopped is reverted first.
(cd "$root" && git ls-files -co --exclude-standard) | python3 -c '
import filecmp, os, shutil, sys
root, src = sys.argv[1], sys.argv[2]
for d, _, files in os.walk(src):
    for f in files:
        if f.endswith(".orig"):
            p = os.path.join(d, f)
            open(p[:-5], "wb").write(open(p, "rb").read())
            os.remove(p)
keep = set()
for rel in sys.stdin.read().split("\n"):
    a = os.path.join(root, rel)
    if not rel or not os.path.isfile(a): continue
    keep.add(rel)
    b = os.path.join(src, rel)
    if not os.path.isfile(b) or not filecmp.cmp(a, b, shallow=False):
        os.makedirs(os.path.dirname(b), exist_ok=True)
        shutil.copyfile(a, b)
    shutil.copymode(a, b)  # scripts the tests run must stay executable
for d, _, files in os.walk(src):
    for f in files:
        if os.path.relpath(os.path.join(d, f), src) not in keep: os.remove(os.path.join(d, f))
' "$root" "$src"

if [ ! -f "$build/build.ninja" ]; then
  launcher=()
  command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache
                                            -DCMAKE_C_COMPILER_LAUNCHER=ccache)
  cmake -S "$src" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release "${launcher[@]}" \
    > "$logs/configure.log" 2>&1 || { cat "$logs/configure.log"; exit 1; }
fi

# Prints the failing tests (at most five), nothing when every test passed. With ALL_FAILURES=1
# every GoogleTest program runs whole and every failing test is printed (the other CTest tests
# are then left out): the table of which test catches which fault.
run_tests() {
  local log=$1 failed="" bin names
  : > "$log"
  for bin in $(find "$build/tests" -maxdepth 2 -type f -executable -name 'qmkv_*tests' | sort); do
    if ! timeout 300 "$bin" --gtest_brief=1 >> "$log" 2>&1; then
      names=$(grep -E '^\[  FAILED  \] [A-Za-z0-9_/]+\.[A-Za-z0-9_/]+' "$log" |
              sed -E 's/^\[  FAILED  \] ([^ ,]+).*/\1/' | awk '!seen[$0]++')
      [ -n "$names" ] || names="$(basename "$bin")(crashed)"
      failed="$failed $names"
      [ -n "${ALL_FAILURES:-}" ] || break
    fi
  done
  if [ -n "$failed" ]; then
    if [ -n "${ALL_FAILURES:-}" ]; then echo $failed | tr ' ' '\n' | awk '!seen[$0]++' | tr '\n' ' '
    else echo $failed | tr ' ' '\n' | head -5 | tr '\n' ' '; fi
    return
  fi
  [ -z "${ALL_FAILURES:-}" ] || return 0
  (cd "$build" && ctest -j "$jobs" -E '\.' --timeout 120 --stop-on-failure) >> "$log" 2>&1
  sed -n '/The following tests FAILED/,$p' "$log" | grep -E '^\s+[0-9]+ - ' |
    sed -E 's/^\s+[0-9]+ - ([^ ]+).*/\1/' | head -5 | tr '\n' ' '
}

echo "=== baseline build and tests"
if ! ninja -C "$build" -j "$jobs" > "$logs/baseline.build.log" 2>&1; then
  tail -30 "$logs/baseline.build.log"; echo "the unmutated tree does not build" >&2; exit 1
fi
base=$(run_tests "$logs/baseline.test.log")
if [ -n "$base" ]; then
  echo "the unmutated tree fails: $base" >&2; exit 1
fi

# Applies row N of the list to the scratch tree: prints the changed file, or NOT-APPLICABLE.
apply() {
  python3 - "$list" "$1" "$src" <<'EOF'
import os, sys
list_path, want, src = sys.argv[1], int(sys.argv[2]), sys.argv[3]
def unescape(s):
    return s.replace('\\n', '\n').replace('\\|', '|')
rows = [l.rstrip('\n') for l in open(list_path) if l.strip() and not l.startswith('#')]
fields = [f.strip() for f in rows[want - 1].split(' | ')]
name, old, new = fields[0], unescape(fields[1]), unescape(fields[2])
paths = []
for top in ('libextractor', 'platform'):
    for d, _, files in os.walk(os.path.join(src, top)):
        paths += [os.path.join(d, f) for f in files if f == name]
if len(paths) != 1:
    print('NOT-APPLICABLE'); sys.exit(0)
text = open(paths[0]).read()
if text.count(old) != 1:
    print('NOT-APPLICABLE'); sys.exit(0)
open(paths[0] + '.orig', 'w').write(text)
open(paths[0], 'w').write(text.replace(old, new))
print(paths[0])
EOF
}

mapfile -t rows < <(grep -vE '^\s*(#|$)' "$list")
: > "$out"
count=${#rows[@]}
for ((n = 1; n <= count; ++n)); do
  if [ -n "${ROWS:-}" ] && [[ ",$ROWS," != *",$n,"* ]]; then continue; fi
  id=$(printf '%02d' "$n")
  IFS='|' read -r name _ <<< "${rows[$((n - 1))]}"
  name=$(echo "$name" | xargs)
  fault=$(echo "${rows[$((n - 1))]}" | awk -F' [|] ' '{print $NF}')
  file=$(apply "$n")
  if [ "$file" = NOT-APPLICABLE ]; then
    line="$id NOT-APPLICABLE | $name | $fault"
  elif ! ninja -C "$build" -j "$jobs" > "$logs/$id.build.log" 2>&1; then
    line="$id BUILD-FAILED | $name | $fault"
  else
    failed=$(run_tests "$logs/$id.test.log")
    if [ -n "$failed" ]; then
      line="$id KILLED | $name | $fault | ${failed% }"
    else
      line="$id SURVIVED | $name | $fault"
    fi
  fi
  # Written back, not moved: the file must look newer than the objects built from the fault.
  if [ "$file" != NOT-APPLICABLE ]; then cat "$file.orig" > "$file" && rm "$file.orig"; fi
  echo "$line" | tee -a "$out"
done
# Leave the scratch build matching the tree again.
ninja -C "$build" -j "$jobs" > "$logs/final.build.log" 2>&1
echo "=== $(grep -c ' KILLED ' "$out") killed, $(grep -c ' SURVIVED ' "$out") survived," \
     "$(grep -cE ' (BUILD-FAILED|NOT-APPLICABLE) ' "$out") not run, of $(wc -l < "$out")"
