#!/usr/bin/env bash
# ABI stage: dumps the ABI of the built libOrvKit.so.<major> (abi-dumper, from
# its debug info, limited to what the installed public headers declare) and
# compares it with the committed baseline tools/abi/<SONAME>.dump.gz
# (abi-compliance-checker -strict). Any removed or changed exported symbol,
# any changed layout of an exported class or struct fails the stage; added
# symbols pass.
#   bash tools/ci/abi.sh            compare
#   bash tools/ci/abi.sh --update   write the baseline from the current library
# ORVKIT_ABI_BUILD_DIR picks the build directory (default build/default, which
# is RelWithDebInfo and so carries the debug info the dump is made from); the
# library is built there when missing.
source "$(dirname "$0")/preamble.sh"

update=0
[ "${1:-}" = --update ] && update=1

ci_install abi-dumper abi-compliance-checker

build=${ORVKIT_ABI_BUILD_DIR:-build/default}
if [ ! -e "$build/libOrvKit.so" ]; then
  cmake --preset default >/dev/null
  build=build/default
fi
cmake --build "$build" -j2 --target OrvKit >/dev/null
lib=$(realpath "$build/libOrvKit.so")
soname=$(readelf -d "$lib" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
version=$(sed -n 's/^CMAKE_PROJECT_VERSION:[A-Z]*=//p' "$build/CMakeCache.txt")
readelf -S "$lib" | grep -q '\.debug_info' || { echo "abi: $lib has no debug info; build it RelWithDebInfo" >&2; exit 1; }
baseline=tools/abi/$soname.dump.gz

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# The header set an installation carries: the public headers, the generated
# export macros and the framework archive that the records serialise into.
mkdir "$work/headers"
cp include/*.h "$build/include/OrvKitExport.h" vxframework/include/VxSerialization.h vxframework/include/VxApi.h \
  "$work/headers/"

echo "== dumping $soname ($version) from $lib"
abi-dumper "$lib" -o "$work/current.dump" -lver "$version" -public-headers "$work/headers" >"$work/dumper.log" 2>&1 \
  || { cat "$work/dumper.log" >&2; exit 1; }

if [ "$update" = 1 ]; then
  gzip -9 -n -c "$work/current.dump" > "$baseline"
  echo "abi: wrote $baseline; commit it with the reason for the change"
  exit 0
fi

[ -f "$baseline" ] || { echo "abi: no baseline $baseline for SONAME $soname (a new SONAME needs one: bash tools/ci/abi.sh --update)" >&2; exit 1; }
gunzip -c "$baseline" > "$work/baseline.dump"
report=$PWD/$build/abi/compat_report.html
mkdir -p "$(dirname "$report")"
echo "== comparing with $baseline (abi-compliance-checker -strict)"
if abi-compliance-checker -l OrvKit -old "$work/baseline.dump" -new "$work/current.dump" -strict \
     -report-path "$report" >"$work/acc.log" 2>&1; then
  grep -E '^(Binary|Source) compatibility|^Total' "$work/acc.log"
  echo "abi: $soname matches its baseline"
else
  cat "$work/acc.log" >&2
  echo "abi: $soname differs from $baseline; report: $report" >&2
  echo "abi: an intended change takes a new SONAME or an updated baseline with its reason (README, \"ABI\")" >&2
  exit 1
fi
