#!/usr/bin/env bash
# Configures and builds a preset, quietly unless something fails: build.sh PRESET [TARGET...]
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
preset=$1
shift
log=$(mktemp)
trap 'rm -f "$log"' EXIT
targets=()
[[ $# -eq 0 ]] || targets=(--target "$@")
if [[ ! -f build/$preset/build.ninja ]]; then
  echo "Building ($preset)" >&2
  cmake --preset "$preset" >"$log" 2>&1 || { cat "$log" >&2; exit 1; }
fi
cmake --build --preset "$preset" "${targets[@]}" >"$log" 2>&1 || { cat "$log" >&2; exit 1; }
