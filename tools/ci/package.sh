#!/usr/bin/env bash
# Package stage: builds the Debian packages from debian/ (tests skipped: CI
# runs the suite in its own stage), runs lintian on them, unpacks them into a
# private root (the machine's package database is left alone) and builds
# examples/minimal against that -dev tree through find_package and through
# pkg-config, then runs both against the packaged orvkit-sim.
# ORVKIT_PACKAGE_DIR picks the output directory (default build/package);
# ORVKIT_PACKAGE_REUSE=1 checks the packages of the previous run again.
set -euo pipefail
cd "$(dirname "$0")/../.."
root=$PWD

need=()
for p in debhelper lintian devscripts equivs dpkg-dev; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || need+=("$p")
done
SUDO=""; [ "$(id -u)" -ne 0 ] && SUDO=sudo
if [ ${#need[@]} -gt 0 ]; then
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${need[@]}"
fi
# The build dependencies, as README says; only when some are missing.
if ! dpkg-checkbuilddeps 2>/dev/null; then
  $SUDO mk-build-deps -i -r -t "env DEBIAN_FRONTEND=noninteractive apt-get -y -qq --no-install-recommends" debian/control
  rm -f orvkit-build-deps_*
fi

out=${ORVKIT_PACKAGE_DIR:-build/package}
case "$out" in /*) ;; *) out="$root/$out" ;; esac
work=$(mktemp -d)
sim_pid=""
cleanup() {
  if [ -n "$sim_pid" ]; then kill "$sim_pid" 2>/dev/null || true; wait "$sim_pid" 2>/dev/null || true; fi
  rm -rf "$work"
}
trap cleanup EXIT
fail() { echo "package: $*" >&2; exit 1; }

if [ "${ORVKIT_PACKAGE_REUSE:-0}" != 1 ]; then
  echo "== dpkg-buildpackage (nocheck) in $out/src"
  # The tracked and new files, as a fresh clone holds them.
  rm -rf "$out/src"
  mkdir -p "$out/src"
  rm -f "$out"/*.deb "$out"/*.changes "$out"/*.buildinfo
  git ls-files -z --cached --others --exclude-standard | tar --null -T - -cf - | tar -xf - -C "$out/src"
  start=$(date +%s)
  (cd "$out/src" && DEB_BUILD_OPTIONS="nocheck parallel=2" dpkg-buildpackage -us -uc -b) >"$out/build.log" 2>&1 \
    || { tail -40 "$out/build.log" >&2; fail "dpkg-buildpackage failed (log: $out/build.log)"; }
  echo "built in $(( $(date +%s) - start )) s:"
  (cd "$out" && ls -1 ./*.deb)
fi

echo "== lintian"
changes=$(ls "$out"/orvkit_*.changes)
lintian --fail-on error,warning "$changes" || fail "lintian reports errors or warnings"
echo "lintian: no errors, no warnings"

echo "== packaged tree"
pkgroot=$work/root
for deb in "$out"/*.deb; do
  case "$deb" in *-dbgsym_*) continue ;; esac
  dpkg-deb -x "$deb" "$pkgroot"
done
multiarch=$(dpkg-architecture -qDEB_HOST_MULTIARCH)
libdir=$pkgroot/usr/lib/$multiarch
for f in "$libdir/libOrvKit.so.1" "$libdir/libOrvKit.so" "$libdir/cmake/OrvKit/OrvKitConfig.cmake" \
         "$libdir/pkgconfig/orvkit.pc" "$pkgroot/usr/include/OrvKit/OrvKit.h" \
         "$pkgroot/usr/bin/orvkit-sim" "$pkgroot/usr/bin/orvkit-cli"; do
  [ -e "$f" ] || fail "${f#"$pkgroot"} is not in the packages"
done
for f in "$libdir/libOrvKit.so.1" "$pkgroot/usr/bin/orvkit-sim" "$pkgroot/usr/bin/orvkit-cli"; do
  ! readelf -d "$f" | grep -qE 'RPATH|RUNPATH' || fail "${f#"$pkgroot"} carries a library search path"
done
echo "ok: library, -dev files, headers, tools; no RPATH"

echo "== examples/minimal through find_package(OrvKit)"
cmake -S examples/minimal -B "$work/cmake" -DCMAKE_PREFIX_PATH="$pkgroot/usr" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_CXX_FLAGS=-Werror >/dev/null
cmake --build "$work/cmake" -j2 >/dev/null
grep -q "$pkgroot/usr/include/OrvKit" "$work/cmake/CMakeFiles/orvkit-minimal.dir/flags.make" \
  || fail "find_package did not take the headers from the packaged tree"

echo "== examples/minimal through pkg-config"
export PKG_CONFIG_PATH=$libdir/pkgconfig
# shellcheck disable=SC2046
c++ -std=c++17 -fPIC -Wall -Wextra -Wpedantic -Werror examples/minimal/main.cpp \
  $(pkg-config --cflags --libs orvkit Qt5Core) -Wl,-rpath,"$(realpath "$(pkg-config --variable=libdir orvkit)")" -o "$work/pc-minimal"

echo "== both against the packaged orvkit-sim"
unset http_proxy https_proxy
LD_LIBRARY_PATH=$libdir "$pkgroot/usr/bin/orvkit-sim" --quiet --state-dir "$work/state" --origins-file "$work/origins" --ca-file "$work/ca.pem" &
sim_pid=$!
for _ in $(seq 100); do
  # The file is renamed into place whole once the ports listen.
  [ -s "$work/origins" ] && break
  kill -0 "$sim_pid" 2>/dev/null || fail "orvkit-sim ended early"
  sleep 0.1
done
[ -s "$work/origins" ] || fail "orvkit-sim wrote no origins"
for app in "$work/cmake/orvkit-minimal" "$work/pc-minimal"; do
  mkdir -p "$work/save"; rm -f "$work/save"/*
  loaded=$(ldd "$app" | sed -n 's/.*libOrvKit\.so\.1 => \([^ ]*\).*/\1/p')
  [ -n "$loaded" ] && [ "$(realpath "$loaded")" = "$(realpath "$libdir/libOrvKit.so.1")" ] \
    || fail "$app loads ${loaded:-no libOrvKit.so.1}, not the packaged library"
  VX_SAVEFILE_DIR="$work/save" "$app" "$work/origins" driver01 orv-pass-01 > "$work/app.out" \
    || { cat "$work/app.out"; fail "$app failed"; }
  grep -q '^  folder ' "$work/app.out" || { cat "$work/app.out"; fail "$app listed no folder"; }
  echo "ok: $(basename "$app")"
done
echo "package: all ok"
