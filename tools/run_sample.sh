#!/usr/bin/env bash
# The main job: builds the native flavour and runs the bundled sample through the extractor.
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/install_deps.sh
cmake -S . -B build/native -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
ninja -C build/native qmkvprobe >/dev/null
exec build/native/qmkvprobe "${1:-tests/data/sample.mkv}"
