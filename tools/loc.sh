#!/usr/bin/env bash
# Lines of C++ per top folder, and the size of the tests against the code
# they test (library plus tools); the test support in tools/testkit counts
# with the tests. Usage: tools/loc.sh [max-ratio]
# With a max-ratio, exits 1 when tests/(library+tools) exceeds it.
set -euo pipefail
cd "$(dirname "$0")/.."

library=(include kit service http data util sysdata vxframework)
others=(tools tests bench fuzz examples)

count() {
  find "$@" \( -name build -prune -o -path "$skip" -prune \) -o -type f \( -name '*.cpp' -o -name '*.h' -o -name '*.h.in' -o -name '*.cpp.in' \) -print0 |
    xargs -0 -r cat | wc -l
}

declare -A lines
for dir in "${library[@]}" "${others[@]}"; do
  skip=tools/testkit
  if [ "$dir" = tests ]; then
    lines[$dir]=$(skip=none; count tests tools/testkit)
  else
    lines[$dir]=$( [ -d "$dir" ] && count "$dir" || echo 0 )
  fi
  printf '%-12s %6d\n' "$dir" "${lines[$dir]}"
done

code=${lines[tools]}
for dir in "${library[@]}"; do code=$((code + lines[$dir])); done
tests=${lines[tests]}
ratio=$(awk -v t="$tests" -v c="$code" 'BEGIN { printf "%.2f", t / c }')
share=$(awk -v t="$tests" -v c="$code" 'BEGIN { printf "%.0f", 100 * t / (t + c) }')
echo "library+tools $code, tests $tests: tests/(library+tools) = $ratio (tests are $share% of the three)"

if [ $# -gt 0 ]; then
  awk -v r="$ratio" -v m="$1" 'BEGIN { exit !(r <= m) }' || { echo "ratio $ratio exceeds $1" >&2; exit 1; }
fi
