#!/usr/bin/env bash
# Measures the opening of tracks beside other libraries and the bare reads, then the handlers under
# Wine and the page of a folder of 2,000 tracks: ./bench.sh [ROUNDS]
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
"$here/scripts/setup.sh" bench
"$here/scripts/build.sh" native-bench bench_opening
"$here/scripts/build.sh" windows bench_handlers tsshell tsprobe propsys_double
corpus=$here/build/bench-corpus
[[ -e $corpus/cover.mp3 ]] || "$here/bench/make-corpus.sh" "$corpus" >&2
"$here/build/native-bench/bin/bench_opening" "$corpus" "${1:-400}"
"$here/scripts/run-wine.sh" "$here/build/windows/bin/bench_handlers.exe" "$corpus/cover.mp3" 100
folder=$here/build/bench-folder
[[ -d $folder ]] || "$here/bench/make-folder.sh" "$folder" 2000 >&2
"$here/scripts/register-module.sh" "$here/build/windows/bin/tsshell.dll"
exec /usr/bin/python3 "$here/bench/measure_page.py" "$here/scripts/run-wine.sh" "$here/build/windows/bin/tsprobe.exe" "$folder"
