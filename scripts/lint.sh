#!/usr/bin/env bash
# Checks the format of all sources and lints those of the product (with --all: of the tests too);
# needs compile_commands.json of the native and the Windows build.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

git ls-files -co --exclude-standard '*.cpp' '*.h' | xargs clang-format --dry-run --Werror || exit 1

# tidy BUILD-FOLDER [ARGUMENT...]: reads file names
tidy() {
  xargs -n 1 -P "$(nproc)" clang-tidy --quiet -p "$@" --extra-arg=-Wno-unknown-warning-option \
    2>/dev/null
}

windows_only=('*_windows.cpp' 'shellext/*.cpp' 'handlers/*.cpp' 'tests/shell/*.cpp'
              'tools/propsys_double/*.cpp' 'tools/property_report.cpp' 'tools/shell_host.cpp'
              'tools/tsprobe.cpp')
headers=$(echo '#include <cstddef>' | x86_64-w64-mingw32-g++-posix -xc++ -E -v - 2>&1 |
          sed -n '/^#include </,/^End/s/^ //p')
include=()
for folder in $headers; do
  [[ $folder == */include/c++* ]] && include+=("--extra-arg=-isystem$folder")
done

skipped=(':!tests/*')
[[ ${1:-} != --all ]] || skipped=(':!tests/bench/*')

git ls-files -co --exclude-standard '*.cpp' "${skipped[@]}" "${windows_only[@]/#/:!}" |
  tidy build/native
native=$?
git ls-files -co --exclude-standard "${windows_only[@]}" "${skipped[@]}" |
  tidy build/windows --extra-arg=--target=x86_64-w64-mingw32 --extra-arg=-Wno-c++11-narrowing \
    "${include[@]}"
windows=$?
exit $((native | windows))
