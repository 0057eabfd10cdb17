#!/usr/bin/env bash
# The binary interface of the two shared libraries: sonames, dependencies, and exactly the
# intended dynamic symbols (every name of the export list, nothing else, nothing of C++).
# usage: check_abi.sh LIBDIR EXPORT_LIST
set -u
libdir=$1 list=$2
jx1=$libdir/libkepjx1.so.8.2 core=$libdir/libkepcore.so.8.2
fail=0
bad() { echo "FAIL: $*"; fail=1; }

soname() { readelf -d "$1" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p'; }
needed() { readelf -d "$1" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p'; }

[ "$(soname "$jx1")" = libkepjx1.so.8.2 ] || bad "libkepjx1 soname is '$(soname "$jx1")'"
[ "$(soname "$core")" = libkepcore.so.8.2 ] || bad "libkepcore soname is '$(soname "$core")'"
needed "$jx1" | grep -qx libkepcore.so.8.2 || bad "libkepjx1 does not need libkepcore.so.8.2"
for lib in "$jx1" "$core"; do
  needed "$lib" | grep -q 'libstdc++' && bad "$(basename "$lib") needs libstdc++"
done
[ "$(readlink "$libdir/libkepjx1.so")" = libkepjx1.so.8.2 ] || bad "development symlink libkepjx1.so"

# Defined dynamic symbols: libkepjx1 exports exactly the list, libkepcore exactly its five.
exported=$(nm -D --defined-only "$jx1" | awk '{print $3}' | sort)
listed=$(sed -n 's/^KEP_EXPORT\(_PER_SLOT\)\?(\([A-Za-z0-9_]*\)).*/\2/p' "$list" | sort)
[ -n "$listed" ] || bad "no names read from $list"
if [ "$exported" != "$listed" ]; then
  bad "libkepjx1 exports differ from the export list:"
  diff <(echo "$listed") <(echo "$exported") | sed 's/^/    /'
fi
core_expected=$(printf '%s\n' kepFree kepGetCpuFeatures kepGetEnabledCpuFeatures kepGetMaxCacheSizeB kepMalloc)
[ "$(nm -D --defined-only "$core" | awk '{print $3}' | sort)" = "$core_expected" ] || bad "libkepcore exports: $(nm -D --defined-only "$core" | awk '{print $3}' | tr '\n' ' ')"

# Nothing of the C++ runtime is imported (no exceptions, RTTI, operator new or libstdc++ names).
for lib in "$jx1" "$core"; do
  # (__cxa_finalize is glibc's, referenced by every shared object's start files.)
  cxx=$(nm -D --undefined-only "$lib" | awk '{print $2}' | grep -v '^__cxa_finalize' | grep -E '^_Z|^__cxa|^__gxx|GLIBCXX' || true)
  [ -z "$cxx" ] || bad "$(basename "$lib") imports C++ runtime symbols: $cxx"
done

n=$(echo "$exported" | wc -l)
[ $fail = 0 ] && echo "ABI: $n exports, sonames and dependencies as intended"
exit $fail
