#!/usr/bin/env bash
# Fuzzes with coverage under the sanitizers: ./fuzz.sh [TARGET] [SECONDS]
#
# TARGET is one of fuzz/TARGET_target.cpp, or all (each SECONDS long); "coverage" tells how much of
# tags/ the inputs found so far reach. Inputs are kept in build/fuzz/corpus, findings in
# build/fuzz/findings.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
targets=(fuzz/*_target.cpp)
targets=("${targets[@]#fuzz/}")
targets=("${targets[@]%_target.cpp}")
declare -A longest=([file]=60000 [picture]=4000 [texts]=1000 [faults]=6000)
target=${1:-all}
seconds=${2:-60}
build=build/fuzz
mkdir -p "$build/findings" "$build/profiles"

scripts/setup.sh fuzz
scripts/build.sh fuzz fuzz_targets

run() {
  local corpus=$build/corpus/$1
  export LLVM_PROFILE_FILE=$build/profiles/$1.profraw TAGSMITH_FUZZ_TARGET=$1
  mkdir -p "$corpus"
  "$build/bin/fuzz_targets" --write-seeds "$corpus"
  "$build/bin/fuzz_targets" "$corpus" fuzz/inputs "${@:2}" -dict=fuzz/tracks.dict \
    -max_len="${longest[$1]:-20000}" -timeout=10 -rss_limit_mb=1024 -malloc_limit_mb=64 \
    -artifact_prefix="$build/findings/$1-" -print_final_stats=1
}

if [[ $target == coverage ]]; then
  for each in "${targets[@]}"; do
    run "$each" -runs=0 2>/dev/null
  done
  llvm-profdata merge -sparse "$build"/profiles/*.profraw -o "$build/tags.profdata"
  llvm-cov report "$build/bin/fuzz_targets" -instr-profile="$build/tags.profdata" tags
  exit
fi
[[ $target == all ]] || targets=("$target")
for each in "${targets[@]}"; do
  run "$each" -max_total_time="$seconds"
done
