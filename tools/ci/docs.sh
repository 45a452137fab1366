#!/usr/bin/env bash
# Docs stage: builds the API reference (HTML and the Qt help file OrvKit.qch)
# with the `docs` target; any Doxygen warning, an undocumented public name
# included, fails it. ORVKIT_DOCS_BUILD_DIR picks the build directory
# (default build/default, configured when missing).
source "$(dirname "$0")/preamble.sh"

ci_install doxygen qhelpgenerator-qt5

build=${ORVKIT_DOCS_BUILD_DIR:-build/default}
if [ -f "$build/CMakeCache.txt" ]; then
  cmake "$build" >/dev/null          # finds doxygen if it came after the first configure
else
  cmake --preset default >/dev/null
  build=build/default
fi
log=$(mktemp)
trap 'rm -f "$log"' EXIT
rm -rf "$build/docs/html" "$build/docs/OrvKit.qch"
cmake --build "$build" --target docs >"$log" 2>&1 || { cat "$log" >&2; echo "docs: the reference has warnings" >&2; exit 1; }
if grep -iE '(warning|error):' "$log"; then echo "docs: the reference has warnings" >&2; exit 1; fi
[ -f "$build/docs/html/index.html" ] || { echo "docs: no HTML" >&2; exit 1; }
[ -s "$build/docs/OrvKit.qch" ] || { echo "docs: no OrvKit.qch" >&2; exit 1; }
echo "docs: $build/docs/html/index.html and $build/docs/OrvKit.qch, no warnings"
