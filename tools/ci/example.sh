#!/usr/bin/env bash
# Installs OrvKit into a staging prefix, builds the examples against that
# installation only (CMake package and pkg-config) and runs them, the minimal
# application against the installed orvkit-sim. The pkg-config example is
# built from a second prefix given only at install time, which the
# relocatable orvkit.pc must follow.
# ORVKIT_EXAMPLE_BUILD_DIR picks the build directory (reused when present).
source "$(dirname "$0")/preamble.sh"

build=${ORVKIT_EXAMPLE_BUILD_DIR:-build-pkg}
case "$build" in /*) ;; *) build="$PWD/$build" ;; esac
prefix="$build/stage"
moved="$build/stage-moved"
stage_name=example
source tools/ci/sim.sh

echo "== library and tools -> $prefix"
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DORVKIT_BUILD_TESTS=OFF -DORVKIT_BUILD_TOOLS=ON \
  -DORVKIT_WERROR=ON -DCMAKE_INSTALL_PREFIX="$prefix" >/dev/null
cmake --build "$build" -j2
rm -rf "$prefix"
cmake --install "$build" >/dev/null

echo "== installed layout"
lib=$(find "$prefix" -name 'libOrvKit.so.1.1.0' -print -quit)
[ -n "$lib" ] || fail "libOrvKit.so.1.1.0 not installed"
libdir=$(dirname "$lib")
[ "$(readlink "$libdir/libOrvKit.so.1")" = libOrvKit.so.1.1.0 ] || fail "libOrvKit.so.1 does not point at the library"
[ "$(readlink "$libdir/libOrvKit.so")" = libOrvKit.so.1 ] || fail "libOrvKit.so does not point at libOrvKit.so.1"
readelf -d "$lib" | grep -q 'SONAME.*\[libOrvKit\.so\.1\]' || fail "SONAME is not libOrvKit.so.1"
for h in OrvKit.h OrvKitDef.h OrvKitDat.h OrvKitCommands.h OrvKitInbox.h OrvKitOrigins.h OrvKitExport.h VxSerialization.h VxApi.h; do
  [ -f "$prefix/include/OrvKit/$h" ] || fail "header $h not installed"
done
for t in orvkit-sim orvkit-cli; do
  [ -x "$prefix/bin/$t" ] || fail "$t not installed"
done
echo "ok: $(basename "$lib"), SONAME libOrvKit.so.1, headers, tools"

echo "== examples/minimal through find_package(OrvKit)"
build_minimal "$prefix" "$work/minimal"

echo "== examples/records through pkg-config, installed with --prefix $moved"
rm -rf "$moved"
cmake --install "$build" --prefix "$moved" >/dev/null
pcfile=$(find "$moved" -name orvkit.pc -print -quit)
[ -n "$pcfile" ] || fail "orvkit.pc not installed"
! grep -q "$build" "$pcfile" || fail "orvkit.pc names a path under $build"
PKG_CONFIG_PATH=$(dirname "$pcfile")
export PKG_CONFIG_PATH
[ "$(realpath "$(pkg-config --variable=prefix orvkit)")" = "$(realpath "$moved")" ] \
  || fail "orvkit.pc resolves its prefix to $(pkg-config --variable=prefix orvkit), not $moved"
# shellcheck disable=SC2046
c++ -std=c++17 -Wall -Wextra -Wpedantic -Werror examples/records/main.cpp $(pkg-config --cflags --libs orvkit) \
  -Wl,-rpath,"$(pkg-config --variable=libdir orvkit)" -o "$work/orvkit-records"
out=$(printf '%s' '{"spot":{"count":7,"updatedAt":"2024-06-08T07:10:00+09:00"},"folder":{"count":2,"updatedAt":"x"},"agreement":{"updatedAt":"2024-04-01T00:00:00+09:00"}}' \
  | "$work/orvkit-records")
echo "$out"
[ "$out" = "spots 7, folders 2, destinations 0, plans 0, agreement 2024-04-01T00:00:00+09:00; archive 87 bytes" ] \
  || fail "unexpected records output"

echo "== minimal application against orvkit-sim"
start_sim "$prefix/bin/orvkit-sim"
run_minimal "$work/minimal/orvkit-minimal"

echo "== installed orvkit-cli against orvkit-sim"
mkdir -p "$work/save-cli"
"$prefix/bin/orvkit-cli" --origins-from-sim "$work/origins" --save-dir "$work/save-cli" \
  login --model ORV-NAV20 --device 0012345 --loginid driver01 --password orv-pass-01 -- summary >/dev/null \
  || fail "the installed orvkit-cli did not get a summary"
echo "example: all ok"
