#!/usr/bin/env bash
# Builds and runs every test: the libFuzzer targets briefly (build-fuzz/), the optimised build
# (build/), then the whole suite again built with AddressSanitizer and UndefinedBehaviorSanitizer
# (build-asan/). Extra arguments go to ctest.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/deps.sh"
jobs=$(nproc)

configure_and_build() {
  local dir=$1
  shift
  cmake -S "$root" -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@" >/dev/null
  cmake --build "$dir" -j "$jobs"
}

"$root/scripts/fuzz.sh" "${KEP_FUZZ_SECONDS:-10}"

configure_and_build "$root/build"
ctest --test-dir "$root/build" --output-on-failure -j "$jobs" "$@"

configure_and_build "$root/build-asan" -DKEP_SANITIZE=ON -DKEP_BUILD_BENCH=OFF
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1 \
  ctest --test-dir "$root/build-asan" --output-on-failure -j "$jobs" "$@"
