#!/usr/bin/env bash
# Installs the Debian 12 packages that building and testing OrvKit need.
source "$(dirname "$0")/ci/preamble.sh"
