#!/usr/bin/env bash
# The main job: builds the native flavour (qmkvprobe and the plug-in library it loads) and runs
# the bundled sample through the plug-in as the media framework would.
# Arguments, when given, go to qmkvprobe instead: bash scripts/run_sample.sh --json FILE
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install_deps.sh
cmake -S . -B build/native -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
targets=(qmkvprobe qmkvextractor)
ninja -C build/native "${targets[@]}" >/dev/null
if [ $# -eq 0 ]; then set -- samples/sample.mkv; fi
exec build/native/qmkvprobe "$@"
