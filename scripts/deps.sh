#!/usr/bin/env bash
# Installs the Debian packages that the build, the tests and the benchmarks need, when some are
# missing and this user may install them. Prints what it does; changes nothing when all is there.
set -u
packages=(cmake make g++ clang libclang-rt-14-dev pkg-config binutils libgtest-dev libbenchmark-dev
  libjpeg62-turbo-dev libturbojpeg0-dev libtiff-dev libpng-dev libopenjp2-7-dev libopenjp2-tools dcmtk)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'ok installed' || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0
echo "deps: installing ${missing[*]}"
if [ "$(id -u)" = 0 ]; then
  sudo=()
elif command -v sudo >/dev/null && sudo -n true 2>/dev/null; then
  sudo=(sudo -n)
else
  echo "deps: cannot install as $(id -un); install these packages: ${missing[*]}" >&2
  exit 1
fi
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -qq && "${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
