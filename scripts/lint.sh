#!/usr/bin/env bash
# Checks the format of all sources, which folders they include, and lints them; needs
# compile_commands.json of the native and the Windows build. What the native build does not compile is
# linted as the Windows build sees it.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

git ls-files -co --exclude-standard '*.cpp' '*.h' | xargs clang-format --dry-run --Werror || exit 1

# Each folder may include itself and those before it; tests may include anything.
layers="format platform diag tags shellext/base handlers shellext tools"
git ls-files -co --exclude-standard '*.cpp' '*.h' '*.h.in' '*.rc' | xargs grep -Hn '^#include "' |
  awk -F '[:"]' -v layers="$layers" '
    function rank(path,   i, found) {
      for (i = 1; i <= count; ++i)
        if (index(path, layer[i] "/") == 1 && length(layer[i]) > length(layer[found])) found = i
      return found
    }
    BEGIN { count = split(layers, layer, " ") }
    rank($1) && (!rank($4) || rank($4) > rank($1)) {
      print $1 ":" $2 ": " layer[rank($1)] "/ may not include \"" $4 "\""
      wrong = 1
    }
    END { exit wrong }' || exit 1

# compiled PRESET: the sources that the build compiles
compiled() {
  grep -oP '"file": "\K[^"]+' "build/$1/compile_commands.json" | sed "s|^$PWD/||" | sort -u |
    grep -Fxf <(git ls-files -co --exclude-standard '*.cpp')
}

# tidy BUILD-FOLDER [ARGUMENT...]: reads file names
tidy() {
  xargs -n 1 -P "$(nproc)" clang-tidy --quiet -p "$@" --extra-arg=-Wno-unknown-warning-option \
    2>/dev/null
}

include=()
while read -r folder; do
  [[ $folder == */include/c++* ]] && include+=("--extra-arg=-isystem$folder")
done < <(x86_64-w64-mingw32-g++-posix -xc++ -E -v - 2>&1 </dev/null)

if [[ ${1:-} != --all ]]; then
  compiled native | grep -vE '^(tests|bench|fuzz)/' | tidy build/native
  exit
fi
compiled native | tidy build/native
native_result=$?
comm -13 <(compiled native) <(compiled windows) |
  tidy build/windows --extra-arg=--target=x86_64-w64-mingw32 --extra-arg=-Wno-c++11-narrowing \
    --extra-arg=-Wno-unknown-attributes "${include[@]}"
windows_result=$?
exit $((native_result | windows_result))
