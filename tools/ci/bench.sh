#!/usr/bin/env bash
# Benchmark stage: builds the benchmarks and runs every one of them once,
# briefly, so that they keep building and running; the numbers of such a
# short run mean nothing. The full run and its table are in
# docs/performance.md.
#   ORVKIT_BENCH_BUILD_DIR  build directory (default build-bench, reused)
set -euo pipefail
cd "$(dirname "$0")/../.."

bash tools/install-deps.sh
packages=(libbenchmark-dev libcurl4-openssl-dev binutils)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  SUDO=""; [ "$(id -u)" -ne 0 ] && SUDO=sudo
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

build=${ORVKIT_BENCH_BUILD_DIR:-build-bench}
echo "== build"
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DORVKIT_BUILD_BENCHMARKS=ON \
  -DORVKIT_BUILD_TESTS=OFF -DORVKIT_BUILD_TOOLS=OFF -DORVKIT_WERROR=ON >/dev/null
cmake --build "$build" -j2 --target orvkit_bench

echo "== run"
# Each benchmark once: a few iterations, 20 requests per client, two open/close cycles, three POSTs per client.
"$build/bench/orvkit_bench" --benchmark_min_time=0.01 --requests=20 --lifecycles=2 --posts=3
