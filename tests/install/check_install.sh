#!/usr/bin/env bash
# Installs the build into a scratch prefix and builds a C program against it twice, as users do:
# through the CMake package (find_package) and through pkg-config. Both programs must run.
# usage: check_install.sh BUILD_DIR SOURCE_DIR
set -eu
build=$1 src=$2
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
cmake --install "$build" --prefix "$prefix" >/dev/null

for f in include/kepjx1.h include/kepcore.h include/keptypes.h; do
  [ -f "$prefix/$f" ] || { echo "FAIL: $f not installed"; exit 1; }
done
libdir=$(dirname "$(find "$prefix" -name libkepjx1.so.8.2 | head -n 1)")
[ -f "$libdir/libkepcore.so.8.2" ] || { echo "FAIL: libkepcore.so.8.2 not installed"; exit 1; }

cmake -S "$src/tests/install/consumer" -B "$prefix/cmake-consumer" -DCMAKE_PREFIX_PATH="$prefix" \
  -DCAPI_SOURCE="$src/tests/capi/capi_test.c" >/dev/null
cmake --build "$prefix/cmake-consumer" >/dev/null
"$prefix/cmake-consumer/consumer"

pc=$(find "$prefix" -name kepjx1.pc | head -n 1)
flags=$(PKG_CONFIG_PATH=$(dirname "$pc") pkg-config --cflags --libs kepjx1)
cc -std=c99 -o "$prefix/pc-consumer" "$src/tests/capi/capi_test.c" $flags
LD_LIBRARY_PATH=$libdir "$prefix/pc-consumer"
echo "install: CMake package and pkg-config consumers built and ran"
