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
for t in "${targets[@]}"; do
  name=$(basename "$t")
  corpus=$dir/corpus/$name
  mkdir -p "$corpus"
  echo "fuzz: $name for ${seconds}s"
  "$t" -max_total_time="$seconds" -print_final_stats=0 "$corpus" >"$dir/$name.log" 2>&1 || {
    tail -n 60 "$dir/$name.log"
    echo "fuzz: $name FAILED"
    exit 1
  }
  grep -E '^#[0-9]+ *DONE' "$dir/$name.log" | tail -n 1 || true
done
