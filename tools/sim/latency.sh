#!/usr/bin/env bash
# Per-request latency of orvkit-sim as orvkit-cli sees it: one run of login and
# 40 chained summaries, less one run of the login alone, over 40 (median of
# REPEAT pairs). Measured without the console, with it idle, and with it
# polled ten times as often as an open page polls; each ratio is against the
# first.
# usage: tools/sim/latency.sh [BUILD_DIR]   (default build/default)
# ORVKIT_SIM_BASELINE=/path/to/another/orvkit-sim adds that binary as a row.
set -euo pipefail
shopt -s inherit_errexit
cd "$(dirname "$0")/../.."

build=${1:-build/default}
sim="$build/tools/sim/orvkit-sim"
cli="$build/tools/cli/orvkit-cli"
summaries=40
repeat=${REPEAT:-5}
[ -x "$sim" ] && [ -x "$cli" ] || { echo "latency: build orvkit-sim and orvkit-cli in $build first" >&2; exit 2; }
command -v curl >/dev/null || { echo "latency: needs curl" >&2; exit 2; }

work=$(mktemp -d)
sim_pid=""
poller_pid=""
stop_all() {
  if [ -n "$poller_pid" ]; then kill "$poller_pid" 2>/dev/null || true; wait "$poller_pid" 2>/dev/null || true; fi
  if [ -n "$sim_pid" ]; then kill "$sim_pid" 2>/dev/null || true; wait "$sim_pid" 2>/dev/null || true; fi
  poller_pid="" sim_pid=""
}
trap 'stop_all; rm -rf "$work"' EXIT
unset http_proxy https_proxy

now_ms() { echo $(( $(date +%s%N) / 1000000 )); }

# run_cli COMMAND...: the wall time in ms of one orvkit-cli run.
run_cli() {
  local start
  start=$(now_ms)
  "$cli" --origins-from-sim "$work/origins" --save-dir "$work/save" \
    login --model ORV-NAV20 --device 0012345 --loginid driver01 --password orv-pass-01 "$@" >/dev/null
  echo $(( $(now_ms) - start ))
}

median() { sort -n | awk '{ v[NR] = $1 } END { print (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'; }

# measure BINARY [console|polled]: prints the median ms per summary.
measure() {
  local binary=$1 mode=${2:-}
  # A token kept from another simulator would be refused.
  rm -rf "$work/origins" "$work/save"
  local args=(--quiet --origins-file "$work/origins" --ca-file "$work/ca.pem")
  [ -n "$mode" ] && args+=(--console-port 0)
  "$binary" "${args[@]}" &
  sim_pid=$!
  for _ in $(seq 100); do
    grep -qs '^caCertificateFile=' "$work/origins" && break
    sleep 0.1
  done
  if [ "$mode" = polled ]; then
    local console
    console=$(sed -n 's/^consoleOrigin=//p' "$work/origins")
    # The page's five reads on one connection, ten times as often as the page.
    (
      while :; do
        curl -sf -o /dev/null -o /dev/null -o /dev/null -o /dev/null -o /dev/null \
          "$console/console/api/"{requests,devices,faults,accounts,data} || true
        sleep 0.06
      done
    ) &
    poller_pid=$!
  fi
  local chain=()
  for _ in $(seq "$summaries"); do chain+=(-- summary); done
  run_cli >/dev/null # warm-up
  local per=()
  for _ in $(seq "$repeat"); do
    local alone long
    alone=$(run_cli)
    long=$(run_cli "${chain[@]}")
    per+=("$(awk -v a="$alone" -v l="$long" -v n="$summaries" 'BEGIN { printf "%.2f", (l - a) / n }')")
  done
  stop_all
  printf '%s\n' "${per[@]}" | median
}

base=$(measure "$sim")
printf '%-40s %8s ms per summary\n' "orvkit-sim" "$base"
for mode in console polled; do
  value=$(measure "$sim" "$mode")
  label="orvkit-sim --console-port 0"
  [ "$mode" = polled ] && label="$label, console polled"
  printf '%-40s %8s ms per summary, ratio %s\n' "$label" "$value" "$(awk -v v="$value" -v b="$base" 'BEGIN { printf "%.2f", v / b }')"
done
if [ -n "${ORVKIT_SIM_BASELINE:-}" ]; then
  value=$(measure "$ORVKIT_SIM_BASELINE")
  printf '%-40s %8s ms per summary, ratio %s\n' "$ORVKIT_SIM_BASELINE" "$value" "$(awk -v v="$value" -v b="$base" 'BEGIN { printf "%.2f", v / b }')"
fi
