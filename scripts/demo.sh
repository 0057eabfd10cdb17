#!/usr/bin/env bash
# Builds the library and runs the main job, kepjpeg, on its built-in default. Arguments go to it.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/deps.sh"
cmake -S "$root" -B "$root/build" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$root/build" -j "$(nproc)" --target kepjpeg >/dev/null
exec "$root/build/tools/kepjpeg/kepjpeg" "${@:-demo}"
