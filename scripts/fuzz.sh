#!/usr/bin/env bash
# Builds the fuzz targets and lets them search for inputs that break what they check.
#   scripts/fuzz.sh SECONDS [TARGET...]        each target so long
#   scripts/fuzz.sh --runs N [TARGET...]       each target N executions
#   scripts/fuzz.sh --minimise [TARGET...]     brings fuzz/corpus/ down to what is needed, with what was found
# Without targets it runs all. FUZZ_JOBS (1 or 2, by default 1) targets run at a time. What a run adds is kept in
# build/fuzz/found/TARGET/, inputs that broke a rule in build/fuzz/findings/TARGET/. The table at the end is also
# written to build/fuzz/summary.txt. Fails when there is a finding.
set -euo pipefail
cd "$(dirname "$0")/.."

all=(interpreter utext framing bitmap_font shape bmp glyph_cache font_names damaged_face string dict devices)
# Longer inputs only cost time. Sessions, and fonts, which are as long as they are, need more.
declare -A longest=([interpreter]=192 [damaged_face]=1600)
work=$PWD/build/fuzz

usage() {
  sed -n '2,9s/^# \{0,1\}//p' "$0" >&2
  exit 2
}

minimise=0
case ${1:-} in
  --runs)
    [[ ${2:-} =~ ^[0-9]+$ ]] || usage
    limit=(-runs="$2")
    shift 2
    ;;
  --minimise)
    minimise=1
    shift
    ;;
  *)
    [[ ${1:-} =~ ^[0-9]+$ ]] || usage
    limit=(-max_total_time="$1")
    shift
    ;;
esac
targets=("${@:-${all[@]}}")
for target in "${targets[@]}"; do
  [[ -f fuzz/fuzz_$target.cpp ]] || usage
done
jobs=${FUZZ_JOBS:-1}
[[ $jobs == [12] ]] || usage

scripts/setup.sh test
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz

# Files that a target makes stand in memory and are gone afterwards, also after a finding; the inputs that it keeps stand
# there until the end.
memory=/dev/shm
[[ -w $memory ]] || memory=/tmp
TMPDIR=$(mktemp -d "$memory/beltpack-fuzz-XXXXXX")
export TMPDIR
mkdir "$TMPDIR/found"
trap 'cp -rn "$TMPDIR/found/." "$work/found"; rm -rf "$TMPDIR"' EXIT
trap 'kill $(jobs -p) 2>/dev/null || true; exit 130' INT TERM
# A quarantine that stays in the processor's cache and no histories of allocations: more than twice as fast. A replay
# tells the whole story of a finding.
export ASAN_OPTIONS=quarantine_size_mb=1:thread_local_quarantine_size_kb=64:malloc_context_size=0:${ASAN_OPTIONS:-}
export UBSAN_OPTIONS=print_stacktrace=1:${UBSAN_OPTIONS:-}

# Also the processor's seconds, of which a busy machine gives fewer than the clock's.
run() {
  local target=$1 found=$TMPDIR/found/$1 findings=$work/findings/$1 log=$work/$1.log dictionary=()
  mkdir -p "$found" "$findings" "$work/found/$1"
  [[ ! -f fuzz/dict/$target.dict ]] || dictionary=(-dict="$PWD/fuzz/dict/$target.dict")
  local TIMEFORMAT='cpu %U %S' child
  trap 'kill "$child"' TERM
  {
    time {
      nice -n 5 "$work/fuzz/fuzz_$target" "${limit[@]}" -max_len="${longest[$target]:-256}" \
        "${dictionary[@]}" -timeout=20 -rss_limit_mb=1024 -print_final_stats=1 -print_funcs=0 -entropic=0 \
        -artifact_prefix="$findings/" "$found" "$work/found/$target" "$PWD/fuzz/corpus/$target" &
      child=$!
      wait "$child" || true
    }
  } >"$log" 2>&1
}

# One line of the table: from the statistics, and from the last status line when a finding ended the run.
row() {
  local target=$1 log=$work/$1.log
  awk -v target="$target" -v findings="$(find "$work/findings/$target" -type f | wc -l)" '
    /^stat::number_of_executed_units:/ { runs = $2 }
    /^#[0-9]+/ { last = substr($1, 2); for (i = 1; i < NF; ++i) if ($i == "corp:") corpus = $(i + 1) }
    /^cpu / { seconds = $2 + $3 }
    END {
      if (runs == "") runs = last
      split(corpus, size, "/")
      printf "%-14s %12d %10d %8d %9d\n", target, runs, (seconds > 0) ? runs / seconds : 0, size[1], findings
    }' "$log"
}

summary() {
  printf '%s, %s, commit %s, %s\n' "$(date -u +%F)" "$(uname -m)" "$(git rev-parse --short HEAD)" "${limit[*]}"
  printf '%-14s %12s %10s %8s %9s\n' target executions '/s a core' corpus findings
  for target in "${targets[@]}"; do
    row "$target"
  done
}

# The hand-made inputs, which fuzz/make_seeds.py writes, and the smallest ones of the present corpus and of what was found
# that reach more.
minimised() {
  local target=$1 from=("$PWD/fuzz/corpus/$1") to=$work/minimised/$1
  rm -rf "$to"
  mkdir -p "$to"
  cp "fuzz/corpus/$target"/seed_* "$to"
  [[ ! -d $work/found/$target ]] || from+=("$work/found/$target")
  "$work/fuzz/fuzz_$target" -set_cover_merge=1 -use_counters=0 -max_len="${longest[$target]:-256}" \
    "$to" "${from[@]}" >"$work/$target.merge.log" 2>&1
  rm -rf "fuzz/corpus/$target"
  cp -r "$to" "fuzz/corpus/$target"
  printf '%-14s %d inputs, %d bytes\n' "$target" "$(find "$to" -type f | wc -l)" \
    "$(find "$to" -type f -printf '%s\n' | awk '{ n += $1 } END { print n + 0 }')"
}

if ((minimise)); then
  for target in "${targets[@]}"; do
    minimised "$target"
  done
  exit
fi

for target in "${targets[@]}"; do
  while (($(jobs -rp | wc -l) >= jobs)); do
    wait -n
  done
  run "$target" &
done
wait
summary | tee "$work/summary.txt"
for target in "${targets[@]}"; do
  [[ -z $(find "$work/findings/$target" -type f -print -quit) ]] || exit 1
done
