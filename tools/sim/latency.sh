#!/usr/bin/env bash
# Per-request latency of orvkit-sim in a chain of orvkit-cli commands: a run of
# login and 40 chained summaries, timed from one summary's arrival to the next
# in the simulator's log (the round trip and the client's turn-around; median of
# REPEAT runs), and as the run's wall time less that of a run of the login alone,
# over 40 (fastest of REPEAT runs each; coarse, but needs no log times); and the
# simulator's own time per summary, from its log (median). Simulators without
# the console, with it idle, and with it polled ten times as often as an open
# page polls run side by side and take turns, so that the machine's load falls
# on each alike; each ratio is against the first row, and a second simulator
# without the console shows the noise.
# usage: tools/sim/latency.sh [BUILD_DIR]   (default build/default)
# SUMMARIES=N chains N summaries instead of 40; REPEAT=N runs (default 10).
# ORVKIT_SIM_BASELINE=/path/to/another/orvkit-sim adds that binary as a row.
set -euo pipefail
shopt -s inherit_errexit
cd "$(dirname "$0")/../.."

build=${1:-build/default}
sim="$build/tools/sim/orvkit-sim"
cli="$build/tools/cli/orvkit-cli"
summaries=${SUMMARIES:-40}
repeat=${REPEAT:-10}
[ -x "$sim" ] && [ -x "$cli" ] || { echo "latency: build orvkit-sim and orvkit-cli in $build first" >&2; exit 2; }
command -v curl >/dev/null || { echo "latency: needs curl" >&2; exit 2; }

work=$(mktemp -d)
pids=()
poller_pid=""
stop_poller() {
  if [ -n "$poller_pid" ]; then kill "$poller_pid" 2>/dev/null || true; wait "$poller_pid" 2>/dev/null || true; fi
  poller_pid=""
}
cleanup() {
  stop_poller
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; wait "$pid" 2>/dev/null || true; done
  rm -rf "$work"
}
trap cleanup EXIT
unset http_proxy https_proxy

# The second plain simulator shows how far two alike ones differ: the noise.
names=(plain again console polled)
binaries=("$sim" "$sim" "$sim" "$sim")
labels=("orvkit-sim" "orvkit-sim (again)" "orvkit-sim --console-port 0" "orvkit-sim --console-port 0, console polled")
if [ -n "${ORVKIT_SIM_BASELINE:-}" ]; then
  names+=(baseline) binaries+=("$ORVKIT_SIM_BASELINE") labels+=("$ORVKIT_SIM_BASELINE")
fi

for i in "${!names[@]}"; do
  dir="$work/${names[$i]}"
  mkdir -p "$dir"
  args=(--origins-file "$dir/origins" --ca-file "$dir/ca.pem")
  [ "${names[$i]}" = console ] || [ "${names[$i]}" = polled ] && args+=(--console-port 0)
  "${binaries[$i]}" "${args[@]}" 2>"$dir/log" &
  pids+=($!)
done
for name in "${names[@]}"; do
  for _ in $(seq 100); do
    grep -qs '^caCertificateFile=' "$work/$name/origins" && break
    sleep 0.1
  done
done

# The page's five reads on one connection, ten times as often as the page.
start_poller() {
  local console
  console=$(sed -n 's/^consoleOrigin=//p' "$work/$1/origins")
  (
    while :; do
      curl -sf -o /dev/null -o /dev/null -o /dev/null -o /dev/null -o /dev/null \
        "$console/console/api/"{requests,devices,faults,accounts,data} || true
      sleep 0.06
    done
  ) &
  poller_pid=$!
}

# run NAME [COMMAND...]: one orvkit-cli run of login and COMMAND against
# simulator NAME; prints its wall time in ms.
run() {
  local dir="$work/$1" start
  shift
  start=$(date +%s%N)
  "$cli" --origins-from-sim "$dir/origins" --save-dir "$dir/save" \
    login --model ORV-NAV20 --device 0012345 --loginid driver01 --password orv-pass-01 "$@" >/dev/null
  echo $(( ($(date +%s%N) - start) / 1000000 ))
}

# period NAME FROM: the mean time from one summary's arrival to the next in
# the log lines after line FROM ("-" for a log without times).
period() {
  tail -n +"$(($2 + 1))" "$work/$1/log" | awk '/ GET \/api\/navi\/info\/v1\/summary/ && $1 ~ /^[0-9:.]+$/ {
      split($1, t, ":"); at = t[1] * 3600 + t[2] * 60 + t[3]
      if (n == 0) first = at; last = at; n++
    }
    END { if (n < 2) print "-"; else printf "%.3f\n", (last - first) * 1000 / (n - 1) }'
}

# server NAME: the simulator's own times for the summaries in its whole log.
server() {
  awk '/ GET \/api\/navi\/info\/v1\/summary/ { for (i = 2; i <= NF; i++) if ($i == "ms") print $(i - 1) }' "$work/$1/log"
}

median() { sort -n | awk '{ v[NR] = $1 } END { if (NR) print (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'; }
ratio() { awk -v v="$1" -v b="$2" 'BEGIN { printf "%.2f", v / b }'; }

chain=()
for _ in $(seq "$summaries"); do chain+=(-- summary); done
for name in "${names[@]}"; do run "$name" "${chain[@]}" >/dev/null; done # warm-up

declare -A periods alone long
for r in $(seq "$repeat"); do
  # Each repeat starts with another simulator, so that none always runs first.
  for k in "${!names[@]}"; do
    name=${names[$(( (k + r) % ${#names[@]} ))]}
    [ "$name" = polled ] && start_poller "$name"
    alone[$name]+="$(run "$name") "
    from=$(wc -l <"$work/$name/log")
    long[$name]+="$(run "$name" "${chain[@]}") "
    periods[$name]+="$(period "$name" "$from") "
    stop_poller
  done
done

printf '%-46s %18s %26s %16s\n' "" "arrival to arrival" "run time less the login's" "in the simulator"
for i in "${!names[@]}"; do
  name=${names[$i]}
  # Fastest runs: on a shared machine the slower ones measure the neighbours.
  a=$(printf '%s\n' ${alone[$name]} | sort -n | head -1)
  l=$(printf '%s\n' ${long[$name]} | sort -n | head -1)
  per_run=$(awk -v a="$a" -v l="$l" -v n="$summaries" 'BEGIN { printf "%.2f", (l - a) / n }')
  per_arrival=$(printf '%s\n' ${periods[$name]} | grep -v '^-$' | median || true)
  if [ "$i" -eq 0 ]; then base_arrival=$per_arrival base_run=$per_run; fi
  arrival_text="-"
  [ -n "$per_arrival" ] && arrival_text=$(printf '%.2f ms (%s)' "$per_arrival" "$(ratio "$per_arrival" "$base_arrival")")
  own=$(server "$name" | median)
  own_text="-"
  [ -n "$own" ] && own_text=$(printf '%.3f ms' "$own")
  printf '%-46s %18s %26s %16s\n' "${labels[$i]}" "$arrival_text" "$(printf '%.2f ms (%s)' "$per_run" "$(ratio "$per_run" "$base_run")")" "$own_text"
done
echo "(per summary, ratio to the first row; chains of login and $summaries summaries; arrival to arrival:"
echo " median of $repeat chains, from the simulator's log; run time: fastest of $repeat runs each;"
echo " in the simulator: median over every summary, from its log)"
