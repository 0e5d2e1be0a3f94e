#!/usr/bin/env bash
# Installs the Debian packages that building, testing and inspecting need; says nothing and is
# quick when they are there. "setup.sh bench" adds those of the benchmarks, "setup.sh fuzz" those of
# the fuzz targets, "setup.sh test" the browser.
set -euo pipefail

packages=(
  # building
  cmake ninja-build zlib1g-dev libz-mingw-w64-dev g++ g++-mingw-w64-x86-64-posix wine wine64
  # testing
  libgtest-dev googletest clang-format clang-tidy
  # making tracks and pictures with real encoders and taggers, and playing them
  lame twolame mpg123 sox python3 python3-mutagen eyed3 imagemagick
  # packaging; trying the signed package, and a silent one with a display
  wixl msitools
  osslsigncode openssl xvfb
)
case ${1:-} in
  bench) packages+=(libtag1-dev libid3tag0-dev libavformat-dev libmediainfo-dev libmpg123-dev pkg-config) ;;
  fuzz) packages+=(clang libclang-rt-14-dev llvm) ;;
  test)
    packages+=(chromium chromium-driver python3-selenium)
    command -v npm >/dev/null || packages+=(npm)
    ;;
esac

missing=()
installed=$(dpkg-query -W -f='${db:Status-Status} ${Package}\n' "${packages[@]}" 2>/dev/null || true)
for package in "${packages[@]}"; do
  grep -qx "installed $package" <<<"$installed" || missing+=("$package")
done
[[ ${#missing[@]} -eq 0 ]] && exit 0

echo "Installing: ${missing[*]}" >&2
as_root=()
[[ $EUID -eq 0 ]] || as_root=(sudo)
export DEBIAN_FRONTEND=noninteractive
{
  "${as_root[@]}" apt-get -qq update
  "${as_root[@]}" apt-get -qq install -y --no-install-recommends "${missing[@]}"
} >&2
