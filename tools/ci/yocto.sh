#!/usr/bin/env bash
# Yocto check: what packaging/yocto/ relies on, without bitbake. Cross-builds
# the library and the tools for armhf the way the Qt 5 recipe does (a clean
# environment, the toolchain file and cache variables only, file prefixes
# mapped as Yocto maps them), then checks that
#   - every cache variable the recipes set exists in the project,
#   - the builds used no try_run,
#   - the installed tree (CMake package, orvkit.pc, library, tools) holds no
#     path of the source, build or sysroot directory.
# The Qt 6 build is checked from the qt6 stage's native build when present
# (ORVKIT_QT6_BUILD_DIR, default build/qt6): no try_run, and its installed
# tree, stripped as an image's is, names no path of the build machine.
# Reuses the armhf stage's sysroot (ORVKIT_ARMHF_SYSROOT, default
# build-armhf-sysroot); ORVKIT_YOCTO_BUILD_DIR picks the build directory.
source "$(dirname "$0")/preamble.sh"
root=$PWD
recipes=packaging/yocto/recipes-connectivity/orvkit
fail() { echo "yocto: $*" >&2; exit 1; }

echo "== recipe cache variables exist in the project"
for var in $(cat "$recipes"/*.bb "$recipes"/*.inc | grep -o -- '-D[A-Z_0-9]*=' | sed 's/^-D//; s/=$//' | sort -u); do
  case "$var" in CMAKE_*) continue ;; esac
  grep -rqs --include=CMakeLists.txt --include='*.cmake' -- "$var" CMakeLists.txt cmake kit service http data util sysdata vxframework tools \
    || fail "a recipe sets $var, which no CMake file reads"
done
echo "ok"

echo "== no try_run in the CMake files"
! grep -rn --include=CMakeLists.txt --include='*.cmake' -i 'try_run' . --exclude-dir='build*' \
  || fail "try_run cannot run in a cross build"
echo "ok"

sysroot=${ORVKIT_ARMHF_SYSROOT:-$root/build-armhf-sysroot}
if [ ! -f "$sysroot/.orvkit-sysroot" ]; then
  ORVKIT_ARMHF_SYSROOT="$sysroot" ORVKIT_ARMHF_SYSROOT_ONLY=1 bash tools/armhf/build-and-test.sh
fi
build=${ORVKIT_YOCTO_BUILD_DIR:-$root/build/yocto}
case "$build" in /*) ;; *) build="$root/$build" ;; esac
image=$build/image
flags="-ffile-prefix-map=$root=/usr/src/debug/orvkit -ffile-prefix-map=$build=/usr/src/debug/orvkit/build -Wno-psabi"

echo "== armhf cross build through the toolchain file only"
rm -f "$build/CMakeCache.txt"
env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME="$HOME" \
  cmake -S "$root" -B "$build" \
    -DCMAKE_TOOLCHAIN_FILE="$root/cmake/toolchains/armhf.cmake" \
    -DORVKIT_ARMHF_SYSROOT="$sysroot" \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_INSTALL_LIBDIR=lib \
    -DCMAKE_CXX_FLAGS="$flags" \
    -DORVKIT_BUILD_TESTS=OFF -DORVKIT_BUILD_TOOLS=ON -DCMAKE_INSTALL_RPATH= >/dev/null
env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME="$HOME" cmake --build "$build" -j2 >/dev/null
grep -qs 'set(CMAKE_CXX_COMPILER ".*arm-linux-gnueabihf-g++")' "$build"/CMakeFiles/*/CMakeCXXCompiler.cmake \
  || fail "the compiler did not come from the toolchain"
! grep -qE '_EXITCODE|RUN_RESULT' "$build/CMakeCache.txt" || fail "the configure step ran a try_run"
rm -rf "$image"
DESTDIR=$image cmake --install "$build" >/dev/null
readelf -h "$image/usr/lib/libOrvKit.so.1" | grep -q 'Machine:.*ARM' || fail "the installed library is not ARM code"
echo "ok: $(cd "$image" && find . -type f | wc -l) files installed for armhf"

# no_build_paths IMAGE PATH...: fails when an installed file under IMAGE
# names one of the PATHs.
no_build_paths() {
  local image=$1 patterns=() f
  shift
  for f in "$@"; do patterns+=(-e "$f"); done
  local leaks
  leaks=$(grep -rl --binary-files=text -F "${patterns[@]}" "$image" || true)
  [ -z "$leaks" ] && return 0
  for f in $leaks; do echo "${f#"$image"}: $(grep -ao -F "${patterns[@]}" "$f" | sort | uniq -c | head -3)"; done
  fail "the installed files above name the source, build or sysroot directory"
}

echo "== installed tree names no build machine path"
no_build_paths "$image" "$root" "$build" "$sysroot"
for f in "$image/usr/lib/libOrvKit.so.1" "$image/usr/bin/orvkit-sim" "$image/usr/bin/orvkit-cli"; do
  ! readelf -d "$f" | grep -qE 'RPATH|RUNPATH' || fail "${f#"$image"} carries a library search path"
done
echo "ok"

qt6=${ORVKIT_QT6_BUILD_DIR:-$root/build/qt6}
case "$qt6" in /*) ;; *) qt6="$root/$qt6" ;; esac
if [ -f "$qt6/CMakeCache.txt" ]; then
  echo "== Qt 6 build: no try_run, and its installed tree names no build machine path"
  ! grep -qE '_EXITCODE|RUN_RESULT' "$qt6/CMakeCache.txt" || fail "the Qt 6 configure step ran a try_run"
  # An image's binaries are stripped (their debug info goes to -dbg
  # packages, with the file prefixes mapped), so strip these too.
  image6=$build/image-qt6
  rm -rf "$image6"
  DESTDIR=$image6 cmake --install "$qt6" --prefix /usr --strip >/dev/null
  lib6=$(find "$image6" -name 'libOrvKitQt6.so.1' -print -quit)
  [ -n "$lib6" ] || fail "the Qt 6 build installs no libOrvKitQt6.so.1"
  no_build_paths "$image6" "$root" "$qt6"
  ! readelf -d "$lib6" | grep -qE 'RPATH|RUNPATH' || fail "libOrvKitQt6.so.1 carries a library search path"
  echo "ok: $(cd "$image6" && find . -type f | wc -l) files installed"
else
  echo "== no Qt 6 build in $qt6: its installed tree is not checked"
fi
echo "yocto: all ok"
