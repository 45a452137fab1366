#!/usr/bin/env bash
# Benchmark stage: builds the benchmarks and runs every one of them once,
# briefly, so that they keep building and running; the numbers of such a
# short run mean nothing. The full run and its table are in
# docs/performance.md.
#   ORVKIT_BENCH_BUILD_DIR  build directory (default build-bench, reused)
source "$(dirname "$0")/preamble.sh"
ci_install libbenchmark-dev libcurl4-openssl-dev binutils

build=${ORVKIT_BENCH_BUILD_DIR:-build-bench}
echo "== build"
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DORVKIT_BUILD_BENCHMARKS=ON \
  -DORVKIT_BUILD_TESTS=OFF -DORVKIT_BUILD_TOOLS=OFF -DORVKIT_WERROR=ON >/dev/null
cmake --build "$build" -j2 --target orvkit_bench

echo "== run"
# Each benchmark once: a few iterations, 20 requests per client, two open/close cycles, three POSTs per client.
"$build/bench/orvkit_bench" --benchmark_min_time=0.01 --requests=20 --lifecycles=2 --posts=3
