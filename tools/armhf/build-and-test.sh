#!/usr/bin/env bash
# Cross-builds the library and the whole test suite for 32-bit ARM (armhf),
# runs the suite under qemu-arm and prints the stripped size of libOrvKit.so.
#
# The armhf sysroot is assembled from the distribution's own armhf packages
# with a private apt state, so the build machine's dpkg database is never
# touched and a lagging armhf index cannot block the host's packages.
# A second run reuses the sysroot, the downloaded packages and the build.
#
# Environment:
#   ORVKIT_ARMHF_SYSROOT    sysroot directory   (default <repo>/build-armhf-sysroot)
#   ORVKIT_ARMHF_BUILD_DIR  build directory     (default <repo>/build-armhf)
#   ORVKIT_ARMHF_REFRESH=1  download and unpack the sysroot again
#   ORVKIT_ARMHF_SYSROOT_ONLY=1  stop once the sysroot is there (tools/ci/yocto.sh)
#   ORVKIT_ARMHF_JOBS       parallel jobs       (default 2)
#   ORVKIT_ARMHF_CTEST_ARGS extra ctest arguments, e.g. "-R Http"
set -euo pipefail

root=$(cd "$(dirname "$0")/../.." && pwd)
sysroot=${ORVKIT_ARMHF_SYSROOT:-$root/build-armhf-sysroot}
build=${ORVKIT_ARMHF_BUILD_DIR:-$root/build-armhf}
jobs=${ORVKIT_ARMHF_JOBS:-2}
aptdir=$sysroot.apt
triple=arm-linux-gnueabihf

host_packages=(cmake make pkg-config qtbase5-dev-tools g++-$triple binutils-$triple qemu-user dpkg-dev)
target_packages=(libc6-dev qtbase5-dev libgtest-dev libcpp-httplib-dev libssl-dev libcli11-dev)

stage() { echo "=== $* ($(date +%T))"; }
seconds() { date +%s; }

install_host_packages() {
  local missing=() p
  for p in "${host_packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  local sudo=""
  [ "$(id -u)" -ne 0 ] && sudo=sudo
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
}

# apt with its own state: armhf only, empty status file, own lists and cache,
# the build machine's package sources.
target_apt() {
  apt-get -q \
    -o APT::Architecture=armhf \
    -o APT::Architectures::=armhf \
    -o APT::Install-Recommends=false \
    -o APT::Install-Suggests=false \
    -o Dir::State="$aptdir/state" \
    -o Dir::State::status="$aptdir/state/status" \
    -o Dir::Cache="$aptdir/cache" \
    -o Dir::Cache::archives="$aptdir/archives" \
    -o Dir::Etc::SourceList=/etc/apt/sources.list \
    -o Dir::Etc::SourceParts=/etc/apt/sources.list.d \
    "$@"
}

build_sysroot() {
  local stamp="$sysroot/.orvkit-sysroot"
  local want="${target_packages[*]}"
  if [ "${ORVKIT_ARMHF_REFRESH:-0}" != 1 ] && [ -f "$stamp" ] && [ "$(cat "$stamp")" = "$want" ]; then
    echo "reusing $sysroot"
    return 0
  fi
  mkdir -p "$aptdir/state/lists/partial" "$aptdir/cache" "$aptdir/archives/partial"
  : > "$aptdir/state/status"
  if [ "${ORVKIT_ARMHF_REFRESH:-0}" = 1 ] || ! compgen -G "$aptdir/state/lists/*_Packages*" >/dev/null; then
    # A source without armhf packages only warns; a missing index fails below.
    target_apt update -qq || echo "warning: the armhf package index update reported errors"
  fi
  target_apt install -y -qq --download-only "${target_packages[@]}"

  # Only the versions chosen now: the cache may hold older ones.
  local debs=()
  mapfile -t debs < <(target_apt install -s "${target_packages[@]}" |
    sed -n 's/^Inst \([^ ]*\) (\([^ ]*\) .*\[\([a-z0-9]\+\)\].*/\1_\2_\3.deb/p' | sed 's/:/%3a/g')
  [ ${#debs[@]} -gt 0 ] || { echo "no armhf packages selected" >&2; exit 1; }

  local tmp="$sysroot.tmp"
  rm -rf "$tmp"
  mkdir -p "$tmp/usr/bin" "$tmp/usr/sbin" "$tmp/usr/lib"
  ln -s usr/bin "$tmp/bin"
  ln -s usr/sbin "$tmp/sbin"
  ln -s usr/lib "$tmp/lib"
  local deb
  for deb in "${debs[@]}"; do
    dpkg-deb --fsys-tarfile "$aptdir/archives/$deb" | tar -x --keep-directory-symlink -C "$tmp"
  done
  # Absolute links would escape the sysroot; make them relative.
  local link target
  while IFS= read -r -d '' link; do
    target=$(readlink "$link")
    ln -sfn "$(realpath -ms --relative-to="$(dirname "$link")" "$tmp$target")" "$link"
  done < <(find "$tmp" -type l -lname '/*' -print0)
  echo "$want" > "$tmp/.orvkit-sysroot"
  rm -rf "$sysroot"
  mv "$tmp" "$sysroot"
  echo "sysroot: ${#debs[@]} packages, $(du -sh "$sysroot" | cut -f1)"
}

t0=$(seconds)
stage "host packages"
install_host_packages
stage "armhf sysroot"
build_sysroot
t1=$(seconds)
[ "${ORVKIT_ARMHF_SYSROOT_ONLY:-0}" = 1 ] && exit 0

stage "configure"
export ORVKIT_ARMHF_SYSROOT="$sysroot"
cmake -S "$root" -B "$build" \
  -DCMAKE_TOOLCHAIN_FILE="$root/cmake/toolchains/armhf.cmake" \
  -DORVKIT_ARMHF_SYSROOT="$sysroot" \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DORVKIT_BUILD_TOOLS=ON \
  -DORVKIT_BUILD_TESTS=ON
stage "build"
cmake --build "$build" -j"$jobs"
t2=$(seconds)

stage "test under qemu-arm"
# shellcheck disable=SC2086
ctest --test-dir "$build" -j"$jobs" --output-on-failure --timeout 600 ${ORVKIT_ARMHF_CTEST_ARGS:-} && test_rc=0 || test_rc=$?
t3=$(seconds)

stage "size"
lib=$(readlink -f "$build/libOrvKit.so")
stripped="$build/libOrvKit.stripped.so"
cp "$lib" "$stripped"
$triple-strip "$stripped"
echo "stripped armhf libOrvKit.so: $(stat -c %s "$stripped") bytes ($(du -k "$stripped" | cut -f1) KiB)"
echo "times: sysroot $((t1 - t0)) s, build $((t2 - t1)) s, tests $((t3 - t2)) s"
exit "$test_rc"
