#!/usr/bin/env bash
# Browser stage: builds orvkit-sim and orvkit-cli, installs Debian's Chromium
# and the test's npm packages, and drives the simulator's console page in
# headless Chromium (tests/sim/console). The page's screenshot is left in the
# build directory as console.png.
# ORVKIT_CONSOLE_BUILD_DIR picks the build directory (reused when present).
source "$(dirname "$0")/preamble.sh"
ci_install chromium
node_major=$(node -p 'process.versions.node.split(".")[0]' 2>/dev/null || echo 0)
if [ "$node_major" -lt 20 ] || ! command -v npm >/dev/null; then
  echo "console: needs Node.js 20 or later with npm" >&2
  exit 1
fi

build=${ORVKIT_CONSOLE_BUILD_DIR:-build/console}
case "$build" in /*) ;; *) build="$PWD/$build" ;; esac
if [ ! -f "$build/CMakeCache.txt" ]; then
  cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DORVKIT_BUILD_TESTS=OFF -DORVKIT_BUILD_TOOLS=ON \
    -DORVKIT_WERROR=ON >/dev/null
fi
cmake --build "$build" -j2 --target orvkit-sim orvkit-cli

(cd tests/sim/console && npm ci --no-audit --no-fund --loglevel=error)
ORVKIT_SIM="$build/tools/sim/orvkit-sim" ORVKIT_CLI="$build/tools/cli/orvkit-cli" \
  ORVKIT_CONSOLE_SCREENSHOT="$build/console.png" node tests/sim/console/console.test.mjs
