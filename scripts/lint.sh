#!/usr/bin/env bash
# Checks the format of all sources, which folders they include, and lints them, all sources of a
# target at once: most of the time goes into the headers that they share. "lint.sh --deep" follows
# the paths through the code, too, which takes several times as long.
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

deep=()
[[ ${1:-} != --deep ]] || deep=(--extra-arg=-Xclang --extra-arg=-analyzer-opt-analyze-headers)

sources=$(git ls-files -co --exclude-standard '*.cpp' '*.h' '*.h.in' '*.rc' '*CMakeLists.txt' '*.cmake' \
  '*.clang-tidy' CMakePresets.json scripts/lint.sh | sort -u | xargs md5sum 2>/dev/null)
if [[ -z ${deep[*]} && -f build/lint/clean && $(<build/lint/clean) == "$sources" ]]; then
  echo "Nothing has changed since it was linted"
  exit
fi

# clang for the cross compiler: its target, and the headers of its library.
clang="clang++ --target=x86_64-w64-mingw32 -Wno-c++11-narrowing -Wno-unknown-attributes"
while read -r folder; do
  [[ $folder != */include/c++* ]] || clang+=" -isystem $folder"
done < <(x86_64-w64-mingw32-g++-posix -xc++ -E -v - 2>&1 </dev/null)

# What both builds compile, the sources of a target as one unit; each source where it comes first.
mkdir -p build/lint
for preset in native windows; do
  configure=(cmake --preset "$preset" -B "build/lint/$preset" -DCMAKE_UNITY_BUILD=ON)
  # Without the libraries that they need, the benchmarks are left out.
  "${configure[@]}" -DTAGSMITH_BENCHMARKS=ON &>/dev/null ||
    "${configure[@]}" -DTAGSMITH_BENCHMARKS=OFF >/dev/null || exit 1
  # Units stand in the build's folders, whose rules are those of the sources.
  for folder in tests fuzz; do
    cp "$folder/.clang-tidy" "build/lint/$preset/$folder/"
  done
done
{
  sed '$d' build/lint/native/compile_commands.json
  echo ,
  sed "1d; s|/[^ ]*/x86_64-w64-mingw32-g++-posix |$clang |" build/lint/windows/compile_commands.json
} >build/lint/compile_commands.json
: >build/lint/seen
units=$(grep -oP '"file": "\K[^"]+\.c(pp|xx)(?=")' build/lint/compile_commands.json | grep -v /_deps/ |
  while read -r unit; do
    if [[ $unit == */Unity/* ]]; then
      grep -h '^#include' "$unit" | grep -vxFf build/lint/seen >build/lint/unit
      cat build/lint/unit >>build/lint/seen
      cp build/lint/unit "$unit"
      [[ -s $unit ]] || continue
    fi
    echo "$unit"
  done)

# The last ones take the longest.
tac <<<"$units" | xargs -n 1 -P "$(nproc)" clang-tidy --quiet -p build/lint "${deep[@]}" \
  --checks=-bugprone-suspicious-include --extra-arg=-Wno-unknown-warning-option 2>/dev/null || exit 1
[[ -n ${deep[*]} ]] || echo "$sources" >build/lint/clean
