#!/usr/bin/env bash
# Qt 6 stage: the whole suite built against Qt 6 (the qt6 preset); the
# request bytes of the whole command chain from the Qt 5 and the Qt 6 build
# compared byte for byte; both builds installed into one prefix; and the
# examples built against the Qt 6 installation and run against the simulator.
# ORVKIT_QT5_BUILD_DIR names the Qt 5 build to compare with (reused when it
# holds the wire test, default build/default).
source "$(dirname "$0")/preamble.sh"

cmake --workflow --preset qt6
qt6=build/qt6
qt5=${ORVKIT_QT5_BUILD_DIR:-build/default}
if [ ! -x "$qt5/tests/wire/wire_test" ]; then
  cmake -S . -B "$qt5" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DORVKIT_WERROR=ON >/dev/null
  cmake --build "$qt5" -j2 --target wire_test OrvKit orvkit-sim orvkit-cli
fi

stage_name=qt6
source tools/ci/sim.sh

echo "== request bytes of the whole chain: Qt 5 build against Qt 6 build"
for build in "$qt5" "$qt6"; do
  name=$(basename "$build")
  mkdir -p "$work/$name.save" "$work/$name.locks"
  VX_SAVEFILE_DIR="$work/$name.save" VX_LOCK_DIR="$work/$name.locks" http_proxy= https_proxy= \
    ORVKIT_WIRE_TRANSCRIPT="$work/$name.http" "$build/tests/wire/wire_test" --gtest_filter='WireChainTest.*' >/dev/null \
    || fail "the wire chain did not run on $build"
done
cmp "$work/$(basename "$qt5").http" "$work/$(basename "$qt6").http" || fail "Qt 5 and Qt 6 send different bytes"
echo "identical: $(grep -c '^== ' "$work/$(basename "$qt6").http") requests, $(wc -c < "$work/$(basename "$qt6").http") bytes"

echo "== both builds installed into one prefix"
cmake --install "$qt5" --prefix "$work/qt5" >/dev/null
cmake --install "$qt6" --prefix "$work/qt6" >/dev/null
(cd "$work/qt5" && find . -type f | sort) > "$work/qt5.files"
(cd "$work/qt6" && find . -type f | sort) > "$work/qt6.files"
while read -r f; do
  cmp -s "$work/qt5/$f" "$work/qt6/$f" || fail "both builds install $f, with different contents"
done < <(comm -12 "$work/qt5.files" "$work/qt6.files")
echo "shared and identical: $(comm -12 "$work/qt5.files" "$work/qt6.files" | tr '\n' ' ')"
prefix="$work/both"
cmake --install "$qt5" --prefix "$prefix" >/dev/null
cmake --install "$qt6" --prefix "$prefix" >/dev/null
lib6=$(find "$prefix" -name 'libOrvKitQt6.so.1.*.*' -print -quit)
[ -n "$lib6" ] || fail "libOrvKitQt6.so.1 not installed"
libdir=$(dirname "$lib6")
readelf -d "$lib6" | grep -q 'SONAME.*\[libOrvKitQt6\.so\.1\]' || fail "SONAME is not libOrvKitQt6.so.1"
readelf -d "$libdir/libOrvKit.so.1" | grep -q 'SONAME.*\[libOrvKit\.so\.1\]' || fail "libOrvKit.so.1 is gone"
for f in cmake/OrvKit/OrvKitConfig.cmake cmake/OrvKitQt6/OrvKitQt6Config.cmake pkgconfig/orvkit.pc pkgconfig/orvkit-qt6.pc; do
  [ -f "$libdir/$f" ] || fail "$f not installed"
done
# The kit's own symbols: besides them each library exports weak template
# instantiations that the compiler happened to emit (std::vector's, and on
# Qt 6 those of Qt's meta-type templates), which are no part of its API.
exports() {
  nm -D --defined-only "$1" | awk '{print $3}' | c++filt |
    grep -E '^((typeinfo|typeinfo name|vtable|VTT|guard variable) for )?(OrvKit|Vx)' | sort
}
diff <(exports "$libdir/libOrvKit.so.1") <(exports "$lib6") >/dev/null \
  || fail "libOrvKit.so.1 and libOrvKitQt6.so.1 export different symbols"
echo "ok: libOrvKit.so.1 and libOrvKitQt6.so.1 side by side, $(exports "$lib6" | wc -l) exported symbols each"

echo "== examples against OrvKitQt6"
build_minimal "$prefix" "$work/minimal" -DORVKIT_QT_MAJOR_VERSION=6
ldd "$work/minimal/orvkit-minimal" | grep -q libOrvKitQt6.so.1 || fail "the minimal example does not link OrvKitQt6"
PKG_CONFIG_PATH="$libdir/pkgconfig"
export PKG_CONFIG_PATH
# shellcheck disable=SC2046
c++ -std=c++17 -Wall -Wextra -Wpedantic -Werror examples/records/main.cpp $(pkg-config --cflags --libs orvkit-qt6) \
  -Wl,-rpath,"$libdir" -o "$work/orvkit-records"
printf '%s' '{"spot":{"count":7,"updatedAt":"x"},"folder":{"count":2,"updatedAt":"x"}}' | "$work/orvkit-records" >/dev/null \
  || fail "the records example failed against orvkit-qt6"

# The tools come with the Qt 5 build.
start_sim "$prefix/bin/orvkit-sim"
LD_LIBRARY_PATH="$libdir" run_minimal "$work/minimal/orvkit-minimal"
echo "qt6: all ok"
