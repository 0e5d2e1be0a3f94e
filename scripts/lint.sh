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
windows=(--extra-arg=--target=x86_64-w64-mingw32 --extra-arg=-Wno-c++11-narrowing
  --extra-arg=-Wno-unknown-attributes)
while read -r folder; do
  [[ $folder == */include/c++* ]] && windows+=("--extra-arg=-isystem$folder")
done < <(x86_64-w64-mingw32-g++-posix -xc++ -E -v - 2>&1 </dev/null)

for preset in native windows; do
  cmake --preset "$preset" -B "build/lint-$preset" -DCMAKE_UNITY_BUILD=ON \
    -DCMAKE_UNITY_BUILD_BATCH_SIZE=0 >/dev/null || exit 1
done

# What the builds compile, the sources of a target as one; each only where it comes first.
units=$(grep -ohP '"file": "\K[^"]+\.c(pp|xx)(?=")' build/lint-{native,windows}/compile_commands.json |
  grep -v /_deps/ | xargs md5sum | awk '!seen[$1]++ { print $2 }')

# tidy PRESET [ARGUMENT...]: reads file names
tidy() {
  xargs -n 1 -P "$(nproc)" clang-tidy --quiet -p "build/lint-$1" "${@:2}" "${deep[@]}" \
    --checks=-bugprone-suspicious-include --extra-arg=-Wno-unknown-warning-option 2>/dev/null
}

grep /lint-native/ <<<"$units" | tidy native
native_result=$?
grep -v /lint-native/ <<<"$units" | tidy windows "${windows[@]}"
windows_result=$?
exit $((native_result | windows_result))
