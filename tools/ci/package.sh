#!/usr/bin/env bash
# Package stage: builds the Debian packages from debian/ (tests skipped: CI
# runs the suite in its own stage), runs lintian on them, checks that no file
# is in two packages (the Qt 5 and Qt 6 ones install together), unpacks them
# into a private root (the machine's package database is left alone) and
# builds examples/minimal against each library's -dev tree through
# find_package and through pkg-config, then runs them against the packaged
# orvkit-sim.
# ORVKIT_PACKAGE_DIR picks the output directory (default build/package);
# ORVKIT_PACKAGE_REUSE=1 checks the packages of the previous run again.
source "$(dirname "$0")/preamble.sh"
stage_name=package
source tools/ci/sim.sh
root=$PWD

ci_install debhelper lintian devscripts equivs dpkg-dev
SUDO=""; [ "$(id -u)" -ne 0 ] && SUDO=sudo
# The build dependencies, as README says; only when some are missing.
if ! dpkg-checkbuilddeps 2>/dev/null; then
  $SUDO mk-build-deps -i -r -t "env DEBIAN_FRONTEND=noninteractive apt-get -y -qq --no-install-recommends" debian/control
  rm -f orvkit-build-deps_*
fi

out=${ORVKIT_PACKAGE_DIR:-build/package}
case "$out" in /*) ;; *) out="$root/$out" ;; esac

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

# Each build of the library: CMake package, pkg-config module, library, Qt major.
builds=("OrvKit orvkit libOrvKit.so 5" "OrvKitQt6 orvkit-qt6 libOrvKitQt6.so 6")

echo "== no file in two packages"
dups=$(for deb in "$out"/*.deb; do dpkg-deb -c "$deb" | awk '$1 !~ /^d/ {print $6}'; done | sort | uniq -d)
[ -z "$dups" ] || fail "shipped by more than one package: $dups"
echo "ok: the Qt 5 and Qt 6 packages install side by side"

echo "== packaged tree"
pkgroot=$work/root
for deb in "$out"/*.deb; do
  case "$deb" in *-dbgsym_*) continue ;; esac
  dpkg-deb -x "$deb" "$pkgroot"
done
multiarch=$(dpkg-architecture -qDEB_HOST_MULTIARCH)
libdir=$pkgroot/usr/lib/$multiarch
binaries=()
for build in "${builds[@]}"; do
  read -r package module lib _ <<<"$build"
  for f in "$libdir/$lib.1" "$libdir/$lib" "$libdir/cmake/$package/${package}Config.cmake" "$libdir/pkgconfig/$module.pc"; do
    [ -e "$f" ] || fail "${f#"$pkgroot"} is not in the packages"
  done
  binaries+=("$libdir/$lib.1")
done
[ -e "$pkgroot/usr/include/OrvKit/OrvKit.h" ] || fail "the headers are not in the packages"
for f in "${binaries[@]}" "$pkgroot/usr/bin/orvkit-sim" "$pkgroot/usr/bin/orvkit-cli"; do
  [ -e "$f" ] || fail "${f#"$pkgroot"} is not in the packages"
  ! readelf -d "$f" | grep -qE 'RPATH|RUNPATH' || fail "${f#"$pkgroot"} carries a library search path"
done
echo "ok: both libraries with their -dev files, headers, tools; no RPATH"

start_sim "$pkgroot/usr/bin/orvkit-sim" LD_LIBRARY_PATH="$libdir"
export PKG_CONFIG_PATH=$libdir/pkgconfig
for build in "${builds[@]}"; do
  read -r package module lib qt <<<"$build"
  echo "== examples/minimal through find_package($package) and pkg-config $module, against the packaged orvkit-sim"
  build_minimal "$pkgroot/usr" "$work/$package" -DORVKIT_QT_MAJOR_VERSION="$qt"
  grep -q "$pkgroot/usr/include/OrvKit" "$work/$package/CMakeFiles/orvkit-minimal.dir/flags.make" \
    || fail "find_package($package) did not take the headers from the packaged tree"
  # shellcheck disable=SC2046
  c++ -std=c++17 -fPIC -Wall -Wextra -Wpedantic -Werror examples/minimal/main.cpp \
    $(pkg-config --cflags --libs "$module" "Qt${qt}Core") -Wl,-rpath,"$(realpath "$(pkg-config --variable=libdir "$module")")" \
    -o "$work/$module-minimal"
  for app in "$work/$package/orvkit-minimal" "$work/$module-minimal"; do
    loaded=$(ldd "$app" | awk -v lib="$lib.1" '$1 == lib {print $3}')
    [ -n "$loaded" ] && [ "$(realpath "$loaded")" = "$(realpath "$libdir/$lib.1")" ] \
      || fail "$app loads ${loaded:-no $lib.1}, not the packaged library"
    run_minimal "$app" >/dev/null
    echo "ok: ${app#"$work/"}"
  done
done
echo "package: all ok"
