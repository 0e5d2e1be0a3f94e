#!/usr/bin/env bash
# Measures the opening of tracks beside other libraries and the bare reads, then the handlers under
# Wine and the page of a folder of 2,000 tracks: ./bench.sh [--json FILE] [ROUNDS]
# FILE gets one JSON object a row: name, value, unit, floor, ratio, calls, allocations, bytes.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
json=()
if [[ ${1:-} == --json ]]; then
  : >"$2"
  json=("$(realpath "$2")")
  shift 2
fi
rounds=${1:-30}
"$here/scripts/setup.sh" bench
"$here/scripts/build.sh" native-bench bench_opening
"$here/scripts/build.sh" windows bench_handlers tsshell tsprobe propsys_double
corpus=$here/build/bench-corpus
[[ -e $corpus/long-32k.mp3 ]] || "$here/bench/make-corpus.sh" "$corpus" >&2
"$here/build/native-bench/bin/bench_opening" "$corpus" "$rounds" "${json[@]}"
"$here/scripts/run-wine.sh" "$here/build/windows/bin/bench_handlers.exe" "$corpus/cover.mp3" "$rounds" "${json[@]}"
folder=$here/build/bench-folder
[[ -d $folder ]] || "$here/bench/make-folder.sh" "$folder" 2000 >&2
"$here/scripts/register-module.sh" "$here/build/windows/bin/tsshell.dll"
exec /usr/bin/python3 "$here/bench/measure_page.py" "$here/scripts/run-wine.sh" "$here/build/windows/bin/tsprobe.exe" "$folder" "${json[@]}"
