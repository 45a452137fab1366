#!/usr/bin/env bash
# Runs the fault soak under AddressSanitizer, LeakSanitizer and UBSan: many
# commands through OrvKit against a server that fails at random, every
# answer checked, and no leak allowed at exit. The default suite runs a
# shorter soak without sanitizers; docs/fuzzing.md has the long run.
#   ORVKIT_SOAK_BUILD_DIR  build directory (default build-soak, reused)
#   ORVKIT_SOAK_COMMANDS   commands to send (default 1500)
#   ORVKIT_SOAK_SEED       random sequence (default: the test's own)
source "$(dirname "$0")/preamble.sh"

build=${ORVKIT_SOAK_BUILD_DIR:-build-soak}
sanitize="-fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer"
echo "== build (ASan+UBSan)"
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Debug -DORVKIT_WERROR=ON -DORVKIT_BUILD_TOOLS=OFF \
  -DCMAKE_CXX_FLAGS="$sanitize" -DCMAKE_EXE_LINKER_FLAGS="-fsanitize=address,undefined" \
  -DCMAKE_SHARED_LINKER_FLAGS="-fsanitize=address,undefined" >/dev/null
cmake --build "$build" -j2 --target soak_test

echo "== soak"
export ORVKIT_SOAK_COMMANDS=${ORVKIT_SOAK_COMMANDS:-1500}
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# Run directly rather than through ctest, whose time limit suits the short default.
if VX_SAVEFILE_DIR="$work/save" VX_LOCK_DIR="$work/locks" http_proxy= \
   "$build/tests/soak/soak_test" >"$work/log" 2>&1; then
  grep '^soak:' "$work/log"
  echo "soak: passed without findings"
else
  cat "$work/log"
  exit 1
fi
