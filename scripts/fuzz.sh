#!/usr/bin/env bash
# Builds the libFuzzer targets with clang (ASan+UBSan) in build-fuzz/ and runs each for a while.
# usage: scripts/fuzz.sh [SECONDS_PER_TARGET]   (default 20; the test command runs it briefly)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
seconds=${1:-20}
dir=$root/build-fuzz
CC=clang CXX=clang++ cmake -S "$root" -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKEP_BUILD_FUZZ=ON \
  -DKEP_BUILD_TESTS=OFF -DKEP_BUILD_BENCH=OFF -DKEP_BUILD_TOOLS=OFF >/dev/null
cmake --build "$dir" -j "$(nproc)"
shopt -s nullglob
targets=("$dir"/fuzz/*_fuzz)
if [ ${#targets[@]} -eq 0 ]; then
  echo "fuzz: no targets"
  exit 0
fi
# One target: its log in build-fuzz/, the tail of it and a non-zero status when it fails.
run_one() {
  local t=$1 seconds=$2 dir=$3
  local name
  name=$(basename "$t")
  mkdir -p "$dir/corpus/$name"
  if ! "$t" -max_total_time="$seconds" -print_final_stats=0 "$dir/corpus/$name" >"$dir/$name.log" 2>&1; then
    tail -n 60 "$dir/$name.log"
    echo "fuzz: $name FAILED"
    return 1
  fi
  echo "fuzz: $name for ${seconds}s: $(grep -E '^Done' "$dir/$name.log" | tail -n 1)"
}
export -f run_one
# As many targets at once as there are processors.
printf '%s\n' "${targets[@]}" | xargs -P "$(nproc)" -I{} bash -c 'run_one "$@"' _ {} "$seconds" "$dir" || {
  echo "fuzz: a target failed"
  exit 1
}
