#!/usr/bin/env bash
# Checks format and lint of all sources; needs the native build's compile_commands.json.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
git ls-files -co --exclude-standard '*.cpp' '*.h' | xargs clang-format --dry-run --Werror
git ls-files -co --exclude-standard '*.cpp' ':!*_windows.cpp' ':!shellext/*' ':!handlers/*' \
    ':!tests/bench/*' ':!tests/shell/*' |
  xargs -n 1 -P "$(nproc)" clang-tidy --quiet -p build/native --extra-arg=-Wno-unknown-warning-option 2>/dev/null
