#!/usr/bin/env bash
# Yocto check: what packaging/yocto/ relies on, without bitbake. Cross-builds
# the library and the tools for armhf the way a recipe does (a clean
# environment, the toolchain file and cache variables only, file prefixes
# mapped as Yocto maps them), then checks that
#   - every cache variable the recipe sets exists in the project,
#   - the build used no try_run,
#   - the installed tree (CMake package, orvkit.pc, library, tools) holds no
#     path of the source, build or sysroot directory.
# Reuses the armhf stage's sysroot (ORVKIT_ARMHF_SYSROOT, default
# build-armhf-sysroot); ORVKIT_YOCTO_BUILD_DIR picks the build directory.
source "$(dirname "$0")/preamble.sh"
root=$PWD
recipe=packaging/yocto/recipes-connectivity/orvkit/orvkit_git.bb
fail() { echo "yocto: $*" >&2; exit 1; }

echo "== recipe cache variables exist in the project"
for var in $(grep -o -- '-D[A-Z_]*=' "$recipe" | sed 's/^-D//; s/=$//' | sort -u); do
  case "$var" in CMAKE_*) continue ;; esac
  grep -rqs --include=CMakeLists.txt --include='*.cmake' -- "$var" CMakeLists.txt cmake kit service http data util sysdata vxframework tools \
    || fail "the recipe sets $var, which no CMake file reads"
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

echo "== installed tree names no build machine path"
leaks=$(grep -rl --binary-files=text -F -e "$root" -e "$build" -e "$sysroot" "$image" || true)
if [ -n "$leaks" ]; then
  for f in $leaks; do echo "${f#"$image"}: $(grep -ao -F -e "$root" -e "$sysroot" "$f" | sort | uniq -c | head -3)"; done
  fail "the installed files above name the source, build or sysroot directory"
fi
for f in "$image/usr/lib/libOrvKit.so.1" "$image/usr/bin/orvkit-sim" "$image/usr/bin/orvkit-cli"; do
  ! readelf -d "$f" | grep -qE 'RPATH|RUNPATH' || fail "${f#"$image"} carries a library search path"
done
echo "yocto: all ok"
