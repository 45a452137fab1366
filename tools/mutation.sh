#!/usr/bin/env bash
# Injected-fault testing: applies classic mutation operators to named library
# sources one at a time, rebuilds, runs the suite and reports which changes
# the suite noticed. Slow (a rebuild and a suite run per mutant), so not in CI.
#
#   tools/mutation.sh [--seed N] [--per-file N] [--build DIR] SOURCE...
#
# A mutant whose object code (debug sections stripped) equals the original's
# is counted as equivalent, one that does not compile as uncompilable; every
# other mutant is killed (some test failed) or survived. Sources are restored
# after each mutant and on exit.
set -euo pipefail
cd "$(dirname "$0")/.."

seed=1 per_file=8 build=build/mutation
while [ $# -gt 0 ]; do
  case "$1" in
    --seed) seed=$2; shift 2 ;;
    --per-file) per_file=$2; shift 2 ;;
    --build) build=$2; shift 2 ;;
    -h|--help) sed -n '2,11p' "$0"; exit 0 ;;
    *) break ;;
  esac
done
[ $# -gt 0 ] || { echo "name at least one source, e.g. service/OrvServerService.cpp" >&2; exit 2; }

if [ ! -f "$build/CMakeCache.txt" ]; then
  cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DORVKIT_BUILD_TOOLS=ON >/dev/null
fi
cmake --build "$build" -j2 >/dev/null
ctest --test-dir "$build" -j2 --timeout 120 >/dev/null || { echo "the suite fails without mutants" >&2; exit 2; }

work=$(mktemp -d)
current=""
restore() { [ -n "$current" ] && cp "$work/original" "$current"; current=""; }
trap 'restore; rm -rf "$work"' EXIT

objectOf() { find "$build/CMakeFiles" -path "*/$1.o" | head -n1; }
stripped() { objcopy --strip-debug "$1" "$2"; }

# Lists the mutation sites of a file as "line<TAB>column<TAB>old<TAB>new",
# one per line, skipping comments, preprocessor lines and string literals.
sites() {
  perl -ne '
    next if m{^\s*(//|\*|/\*|#)};
    my $line = $_; my $n = $.;
    (my $code = $line) =~ s/"(?:[^"\\]|\\.)*"/" " x length($&)/ge;
    $code =~ s{//.*$}{" " x length($&)}e;
    my @ops = (["==","!="],["!=","=="],["<=","<"],[">=",">"],["&&","||"],["||","&&"],
               ["true","false"],["false","true"],["+ 1","- 1"],["- 1","+ 1"],["++","--"]);
    for my $op (@ops) {
      my ($from, $to) = @$op; my $pos = 0;
      while (($pos = index($code, $from, $pos)) >= 0) {
        my $before = $pos > 0 ? substr($code, $pos - 1, 1) : " ";
        my $after = substr($code, $pos + length($from), 1);
        my $word = $from =~ /^\w/;
        my $ok = $word ? ($before !~ /\w/ && $after !~ /\w/) : ($before !~ /[<>=!&|+-]/ && $after !~ /[<>=!&|+-]/);
        $ok = 0 if $from eq "++" && $code =~ /operator/;
        print "$n\t$pos\t$from\t$to\n" if $ok;
        $pos += length($from);
      }
    }
    # Relational < and > alone (not templates, shifts, arrows or includes).
    while ($code =~ /(?<=\s)([<>])(?=\s)/g) {
      my $from = $1; my $to = $from eq "<" ? "<=" : ">=";
      print "$n\t" . (pos($code) - 1) . "\t$from\t$to\n";
    }
    # Statement deletion: a whole line that is one call or assignment.
    if ($code =~ /^\s*[A-Za-z_][\w:.>-]*(\(|\s*=[^=]).*;\s*$/ && $code !~ /^\s*(return|case|default|break|continue|const|auto|unsigned|int|bool|char|std::|Q[A-Z]\w*\s+\w)/) {
      print "$n\t0\tSTATEMENT\tdelete\n";
    }
  ' "$1"
}

apply() { # file line column old new
  perl -s -i -pe '
    if ($. == $line) {
      if ($old eq "STATEMENT") { s/\S.*;/"" . ";"/e; }
      else { substr($_, $col, length($old)) = $new; }
    }
  ' -- -line="$2" -col="$3" -old="$4" -new="$5" "$1"
}

total_killed=0 total_survived=0 total_equivalent=0 total_broken=0
survivors=()
for file in "$@"; do
  [ -f "$file" ] || { echo "no such source: $file" >&2; continue; }
  object=$(objectOf "$file")
  [ -n "$object" ] || { echo "no object for $file in $build" >&2; continue; }
  stripped "$object" "$work/original.o"
  cp "$file" "$work/original"
  mapfile -t chosen < <(sites "$file" | awk -v s="$seed" -v f="$file" 'BEGIN { srand(s + length(f)) } { print rand() "\t" $0 }' |
                        sort -n | head -n "$per_file" | cut -f2- | sort -n)
  killed=0 survived=0 equivalent=0 broken=0
  for site in "${chosen[@]}"; do
    IFS=$'\t' read -r line col old new <<<"$site"
    current=$file
    apply "$file" "$line" "$col" "$old" "$new"
    label="$file:$line $old -> $new"
    if ! cmake --build "$build" -j2 >/dev/null 2>&1; then
      broken=$((broken + 1)); echo "  uncompilable  $label"
    else
      stripped "$object" "$work/mutant.o"
      if cmp -s "$work/original.o" "$work/mutant.o"; then
        equivalent=$((equivalent + 1)); echo "  equivalent    $label"
      elif ctest --test-dir "$build" -j2 --timeout 60 --stop-on-failure >/dev/null 2>&1; then
        survived=$((survived + 1)); survivors+=("$label"); echo "  SURVIVED      $label"
      else
        killed=$((killed + 1)); echo "  killed        $label"
      fi
    fi
    restore
  done
  echo "$file: killed $killed, survived $survived, equivalent $equivalent, uncompilable $broken"
  total_killed=$((total_killed + killed)); total_survived=$((total_survived + survived))
  total_equivalent=$((total_equivalent + equivalent)); total_broken=$((total_broken + broken))
done
cmake --build "$build" -j2 >/dev/null 2>&1 || true

scored=$((total_killed + total_survived))
echo
echo "seed $seed, $per_file per file: killed $total_killed of $scored ($(awk -v k=$total_killed -v s=$scored 'BEGIN { printf "%.0f", s ? 100 * k / s : 0 }')%)," \
     "equivalent $total_equivalent, uncompilable $total_broken"
for s in "${survivors[@]}"; do echo "  survivor: $s"; done
