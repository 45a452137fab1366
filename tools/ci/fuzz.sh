#!/usr/bin/env bash
# Builds the libFuzzer targets with clang (ASan+UBSan) and runs each one
# briefly from its committed seeds. A crash, leak, hang or violated property
# fails the stage; the input that caused it is kept in the artifact
# directory and printed in base64. The hours-long run is in docs/fuzzing.md.
#   ORVKIT_FUZZ_BUILD_DIR  build directory (default build-fuzz, reused)
#   ORVKIT_FUZZ_SECONDS    seconds per target (default 8)
#   ORVKIT_FUZZ_ARTIFACTS  where failing inputs go (default <build>/fuzz-artifacts)
source "$(dirname "$0")/preamble.sh"
# clang 14 with its sanitizer and libFuzzer runtimes, and llvm-symbolizer
# for readable stack traces.
ci_install clang libclang-rt-14-dev llvm-14
export ASAN_SYMBOLIZER_PATH=/usr/lib/llvm-14/bin/llvm-symbolizer

build=${ORVKIT_FUZZ_BUILD_DIR:-build-fuzz}
case "$build" in /*) ;; *) build="$PWD/$build" ;; esac
seconds=${ORVKIT_FUZZ_SECONDS:-8}
artifacts=${ORVKIT_FUZZ_ARTIFACTS:-$build/fuzz-artifacts}
seeds="$PWD/fuzz/corpus"
targets=(fuzz_record_json fuzz_record_archive fuzz_command_codec fuzz_recv_command fuzz_url_helpers)

echo "== build"
cmake -S . -B "$build" -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DORVKIT_BUILD_FUZZERS=ON -DORVKIT_BUILD_TESTS=OFF -DORVKIT_BUILD_TOOLS=OFF -DORVKIT_WERROR=ON >/dev/null
cmake --build "$build" -j2 --target "${targets[@]}"

rm -rf "$artifacts"
mkdir -p "$artifacts"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=()
for target in "${targets[@]}"; do
  echo "== $target (${seconds}s)"
  # New inputs go to a scratch corpus; the committed seeds stay as they are.
  mkdir -p "$work/$target"
  if ! (cd "$work" && VX_SAVEFILE_DIR="$work/save" VX_LOCK_DIR="$work/locks" http_proxy= \
        "$build/fuzz/$target" -max_total_time="$seconds" -timeout=25 -rss_limit_mb=2560 -print_final_stats=1 \
        -artifact_prefix="$artifacts/$target-" "$work/$target" "$seeds/$target" >"$work/$target.log" 2>&1); then
    tail -n 60 "$work/$target.log"
    failed+=("$target")
  else
    grep -E '^(Done|stat::number_of_executed_units|stat::average_exec_per_sec|stat::new_units_added|stat::peak_rss_mb)' \
      "$work/$target.log" || true
  fi
done

if [ ${#failed[@]} -gt 0 ]; then
  echo "fuzz: failed: ${failed[*]}; inputs in $artifacts:" >&2
  for input in "$artifacts"/*; do
    [ -f "$input" ] && { echo "$input" >&2; base64 -w0 "$input" >&2; echo >&2; }
  done
  exit 1
fi
echo "fuzz: ${#targets[@]} targets ran ${seconds}s each without a finding"
