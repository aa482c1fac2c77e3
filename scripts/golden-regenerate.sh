#!/usr/bin/env bash
# Re-records the output digests of the golden renders (tests/golden/impronte.txt)
# from the current build. Only for a change of the plug-in's output that is meant:
# review `git diff tests/golden/impronte.txt`, which names every scenario that moved.
# Usage: scripts/golden-regenerate.sh [build dir]   (default: build)
set -euo pipefail
cd "$(dirname "$0")/.."
dir=${1:-build}
cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$dir" -j"$(nproc 2>/dev/null || echo 2)" --target test_golden
VARNO_GOLDEN_RIGENERA=1 "$dir/test_golden"
git --no-pager diff --stat -- tests/golden/impronte.txt || true
