#!/usr/bin/env bash
# Installs the Debian 12 packages that building and testing OrvKit need,
# against Qt 5 (the default) and against Qt 6 (the qt6 preset).
source "$(dirname "$0")/ci/preamble.sh"
