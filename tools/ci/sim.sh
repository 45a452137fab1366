# Sourced by the stages that run an application against orvkit-sim: a scratch
# directory $work removed on exit, fail, start_sim, build_minimal and run_minimal.
# Set stage_name before sourcing it.
work=$(mktemp -d)
sim_pid=""
cleanup() {
  if [ -n "$sim_pid" ]; then kill "$sim_pid" 2>/dev/null || true; wait "$sim_pid" 2>/dev/null || true; fi
  rm -rf "$work"
}
trap cleanup EXIT
fail() { echo "$stage_name: $*" >&2; exit 1; }

# start_sim SIM [ENV=VALUE...]: starts the simulator on loopback and waits
# until it has written its origins and CA to $work/origins and $work/ca.pem;
# its token key lives in $work/state.
start_sim() {
  # The kit sends everything through http_proxy when set; the simulator is local.
  unset http_proxy https_proxy
  env "${@:2}" "$1" --quiet --state-dir "$work/state" --origins-file "$work/origins" --ca-file "$work/ca.pem" &
  sim_pid=$!
  for _ in $(seq 100); do
    # The file is renamed into place whole once the ports listen.
    [ -s "$work/origins" ] && return 0
    kill -0 "$sim_pid" 2>/dev/null || fail "orvkit-sim ended early"
    sleep 0.1
  done
  fail "orvkit-sim wrote no origins"
}

# build_minimal PREFIX DIR [CMAKE_ARG...]: builds examples/minimal into DIR
# through find_package against the installation under PREFIX.
build_minimal() {
  cmake -S examples/minimal -B "$2" -DCMAKE_PREFIX_PATH="$1" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DCMAKE_CXX_FLAGS=-Werror "${@:3}" >/dev/null
  cmake --build "$2" -j2 >/dev/null
}

# run_minimal APP: runs a build of examples/minimal against the simulator
# (sign-in, folders, certificate, one position report) with a fresh save directory.
run_minimal() {
  rm -rf "$work/save"; mkdir -p "$work/save"
  VX_SAVEFILE_DIR="$work/save" "$1" "$work/origins" driver01 orv-pass-01 > "$work/app.out" \
    || { cat "$work/app.out"; fail "$1 failed"; }
  cat "$work/app.out"
  grep -q '^  folder ' "$work/app.out" || fail "$1 listed no folder"
  grep -q '^done$' "$work/app.out" || fail "$1 did not finish"
}
