#!/usr/bin/env bash
# ABI stage: for each build given, dumps the ABI of the library it built
# (libOrvKit.so.1 of a Qt 5 build, libOrvKitQt6.so.1 of a Qt 6 one;
# abi-dumper, from its debug info, limited to what the installed public
# headers declare) and compares it with the committed baseline
# tools/abi/<SONAME>.dump.gz (abi-compliance-checker -strict). Any removed or
# changed exported symbol, any changed layout of an exported class or struct
# fails the stage; added symbols pass.
#   bash tools/ci/abi.sh            compare
#   bash tools/ci/abi.sh --update   write the baselines from the current libraries
# ORVKIT_ABI_BUILD_DIRS names the build directories (default "build/default
# build/qt6", the presets' RelWithDebInfo builds, which carry the debug info
# the dump is made from); a preset's directory is configured when missing,
# and only the library is built.
source "$(dirname "$0")/preamble.sh"

update=0
[ "${1:-}" = --update ] && update=1

ci_install abi-dumper abi-compliance-checker

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0

# check BUILD: dumps the library of BUILD and compares it with its baseline
# (or, with --update, writes the baseline).
check() {
  local build=$1 lib soname name version baseline report dump
  if [ ! -f "$build/CMakeCache.txt" ]; then
    cmake --preset "$(basename "$build")" >/dev/null || return 1
  fi
  cmake --build "$build" -j2 --target OrvKit >/dev/null || return 1
  lib=$(find "$build" -maxdepth 1 -name 'libOrvKit*.so' -print)
  [ "$(echo "$lib" | wc -w)" = 1 ] || { echo "abi: no single libOrvKit*.so in $build: ${lib:-none}" >&2; return 1; }
  lib=$(realpath "$lib")
  soname=$(readelf -d "$lib" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
  version=$(sed -n 's/^CMAKE_PROJECT_VERSION:[A-Z]*=//p' "$build/CMakeCache.txt")
  readelf -S "$lib" | grep -q '\.debug_info' || { echo "abi: $lib has no debug info; build it RelWithDebInfo" >&2; return 1; }
  name=${soname#lib}
  name=${name%%.so*}
  baseline=tools/abi/$soname.dump.gz
  # abi-compliance-checker tells a dump from a descriptor by its name: *.dump.
  dump=$work/$soname

  # The header set an installation carries: the public headers, the generated
  # export macros and the framework archive that the records serialise into.
  rm -rf "$work/headers"
  mkdir "$work/headers"
  cp include/*.h "$build/include/OrvKitExport.h" vxframework/include/VxSerialization.h vxframework/include/VxApi.h \
    "$work/headers/"

  echo "== dumping $soname ($version) from $lib"
  abi-dumper "$lib" -o "$dump-current.dump" -lver "$version" -public-headers "$work/headers" >"$dump.log" 2>&1 \
    || { cat "$dump.log" >&2; return 1; }

  if [ "$update" = 1 ]; then
    gzip -9 -n -c "$dump-current.dump" > "$baseline"
    echo "abi: wrote $baseline; commit it with the reason for the change"
    return 0
  fi

  [ -f "$baseline" ] || { echo "abi: no baseline $baseline for SONAME $soname (a new SONAME needs one: bash tools/ci/abi.sh --update)" >&2; return 1; }
  gunzip -c "$baseline" > "$dump-baseline.dump"
  report=$PWD/$build/abi/compat_report.html
  mkdir -p "$(dirname "$report")"
  echo "== comparing with $baseline (abi-compliance-checker -strict)"
  if abi-compliance-checker -l "$name" -old "$dump-baseline.dump" -new "$dump-current.dump" -strict \
       -report-path "$report" >"$dump.acc" 2>&1; then
    grep -E '^(Binary|Source) compatibility|^Total' "$dump.acc"
    echo "abi: $soname matches its baseline"
  else
    cat "$dump.acc" >&2
    echo "abi: $soname differs from $baseline; report: $report" >&2
    echo "abi: an intended change takes a new SONAME or an updated baseline with its reason (README, \"ABI\")" >&2
    return 1
  fi
}

for build in ${ORVKIT_ABI_BUILD_DIRS:-build/default build/qt6}; do
  check "${build%/}" || failed=1
done
exit "$failed"
