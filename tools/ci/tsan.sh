#!/usr/bin/env bash
# ThreadSanitizer stage: builds the tsan preset and runs the tests labelled
# "concurrency" under it.
source "$(dirname "$0")/preamble.sh"

run=()
# The compiler's ThreadSanitizer cannot place its shadow memory when the
# kernel randomises more than 28 bits of the address space; run without
# randomisation there if the machine allows it.
if [ "$(cat /proc/sys/vm/mmap_rnd_bits 2>/dev/null || echo 0)" -gt 28 ] &&
  setarch "$(uname -m)" -R true 2>/dev/null; then
  run=(setarch "$(uname -m)" -R)
fi
"${run[@]}" cmake --workflow --preset tsan
