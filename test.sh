#!/usr/bin/env bash
# Builds everything and runs all tests: native, native under the sanitizers, and under Wine.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")" || exit 1

passed=0
failed=0

step() { printf '\n== %s\n' "$1"; }

# run_tests PRESET JOBS
run_tests() {
  local output=build/$1/ctest-output.txt line
  step "Tests: $1"
  ctest --preset "$1" -j "$2" 2>&1 | tee "$output"
  line=$(grep -E 'tests? failed out of' "$output" | tail -n 1)
  if [[ $line =~ ([0-9]+)\ tests?\ failed\ out\ of\ ([0-9]+) ]]; then
    failed=$((failed + BASH_REMATCH[1]))
    passed=$((passed + BASH_REMATCH[2] - BASH_REMATCH[1]))
  else
    failed=$((failed + 1))
  fi
}

scripts/setup.sh test || exit 1
mkdir -p build
scripts/run-wine.sh cmd /c exit </dev/null &>/dev/null &  # makes the prefix, which takes a while
# Linting needs nothing that is built, and takes what the builds and the tests under Wine leave idle.
nice scripts/lint.sh </dev/null &>build/lint-output.txt &
lint=$!
for preset in native native-sanitize windows; do
  step "Build: $preset"
  scripts/build.sh "$preset" || exit 1
done
scripts/register-module.sh build/windows/bin/tsshell.dll || exit 1

run_tests native "$(nproc)"
run_tests native-sanitize "$(nproc)"
# Starts Wine's services with an output that nobody waits for: they would hold a test's own.
scripts/run-wine.sh build/windows/bin/tsprobe.exe none.mp3 >/dev/null 2>&1 </dev/null
run_tests windows $((2 * $(nproc)))

step "Format and lint"
if wait $lint; then
  passed=$((passed + 1))
else
  failed=$((failed + 1))
  cat build/lint-output.txt
fi

printf '\n%d passed, %d failed\n' "$passed" "$failed"
[[ $failed -eq 0 ]]
