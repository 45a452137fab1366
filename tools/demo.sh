#!/usr/bin/env bash
# One command on a fresh Debian 12 machine: installs what is missing, builds
# the command-line client and runs its demo tour against the simulator, which
# it starts in-process. Arguments go to the demo (e.g. --keep).
# ORVKIT_DEMO_BUILD_DIR picks another build directory than the preset's.
set -euo pipefail
cd "$(dirname "$0")/.."

bash tools/install-deps.sh
build=${ORVKIT_DEMO_BUILD_DIR:-build/default}
cmake --preset default -B "$build" >/dev/null
cmake --build "$build" -j2 --target orvkit-cli

# The kit sends everything through http_proxy when set; the simulator is local.
start=$(date +%s%N)
status=0
env -u http_proxy -u https_proxy "$build/tools/cli/orvkit-cli" demo "$@" || status=$?
elapsed_ms=$(( ($(date +%s%N) - start) / 1000000 ))
echo "demo: exit status $status after $((elapsed_ms / 1000)).$(printf '%03d' $((elapsed_ms % 1000))) s"
exit "$status"
