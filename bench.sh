#!/usr/bin/env bash
# Measures the opening of tracks beside other libraries and the bare reads: ./bench.sh [ROUNDS]
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
"$here/scripts/setup.sh" bench
"$here/scripts/build.sh" native-bench bench_opening
corpus=$here/build/bench-corpus
[[ -e $corpus/no-tag.mp3 ]] || "$here/tests/bench/make-corpus.sh" "$corpus" >&2
exec "$here/build/native-bench/bin/bench_opening" "$corpus" "${1:-400}"
