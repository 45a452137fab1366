#!/usr/bin/env bash
# One command on a fresh Debian 12 machine: installs what is missing, builds
# the simulator and runs its guided demo: the kit's commands, as orvkit-cli
# sends them, against a simulator of its own. Arguments go to the demo
# (--keep, --timeout MS).
# ORVKIT_DEMO_BUILD_DIR picks another build directory than the preset's.
set -euo pipefail
cd "$(dirname "$0")/.."

bash tools/install-deps.sh
build=${ORVKIT_DEMO_BUILD_DIR:-build/default}
cmake --preset default -B "$build" >/dev/null
cmake --build "$build" -j2 --target orvkit-sim

# The kit sends everything through http_proxy when set; the simulator is local.
start=$(date +%s%N)
status=0
env -u http_proxy -u https_proxy "$build/tools/sim/orvkit-sim" --demo "$@" || status=$?
elapsed_ms=$(( ($(date +%s%N) - start) / 1000000 ))
echo "demo: exit status $status after $((elapsed_ms / 1000)).$(printf '%03d' $((elapsed_ms % 1000))) s"
exit "$status"
