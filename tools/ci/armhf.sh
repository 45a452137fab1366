#!/usr/bin/env bash
# armhf stage: assembles the 32-bit ARM sysroot from the distribution's
# packages, cross-builds the library, the tools and the whole test suite, and
# runs the suite under qemu-arm (tools/armhf/build-and-test.sh).
source "$(dirname "$0")/preamble.sh"
bash tools/armhf/build-and-test.sh
