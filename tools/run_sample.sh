#!/usr/bin/env bash
# The main job: builds the native flavour and runs the bundled sample through the extractor.
# Arguments, when given, go to qmkvprobe instead: [--seek MICROSECONDS MODE] FILE.
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/install_deps.sh
cmake -S . -B build/native -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
ninja -C build/native qmkvprobe >/dev/null
if [ $# -eq 0 ]; then set -- tests/data/sample.mkv; fi
exec build/native/qmkvprobe "$@"
