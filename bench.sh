#!/usr/bin/env bash
# Measures the opening of tracks beside other libraries and the bare reads, then the handlers under
# Wine: ./bench.sh [ROUNDS]
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
"$here/scripts/setup.sh" bench
"$here/scripts/build.sh" native-bench bench_opening
"$here/scripts/build.sh" windows bench_handlers
corpus=$here/build/bench-corpus
[[ -e $corpus/cover.mp3 ]] || "$here/bench/make-corpus.sh" "$corpus" >&2
"$here/build/native-bench/bin/bench_opening" "$corpus" "${1:-400}"
exec "$here/scripts/run-wine.sh" "$here/build/windows/bin/bench_handlers.exe" "$corpus/cover.mp3" 100
