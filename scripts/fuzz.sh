#!/usr/bin/env bash
# Runs the fuzz programs of a folder for FUZZ_SECONDS each (60), JOBS at a time: each first reads
# what is kept for it in tests/fuzz/corpus, then tries inputs made from that. Inputs that fail
# stay in FOLDER/findings. With FUZZ_SEED each run tries the same inputs, as far as it comes.
#   usage: fuzz.sh FOLDER
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
folder=$(cd "$1" && pwd)
export root folder
export LSAN_OPTIONS=suppressions=$root/tests/support/lsan.supp:print_suppressions=0
export UBSAN_OPTIONS=print_stacktrace=1
mkdir -p "$folder/findings"

run_one() {
  local name=${1##*/fuzz_} scratch log
  scratch=$(mktemp -d)
  log=$scratch/log
  mkdir "$scratch/new"
  local kept=("$root/tests/fuzz/corpus/$name")
  [ -d "${kept[0]}" ] || kept=()
  if ! (cd "$scratch" && TMPDIR=$scratch "$1" "$scratch/new" "${kept[@]}" -max_total_time="${FUZZ_SECONDS:-60}" \
          -max_len=65536 ${FUZZ_SEED:+-seed=$FUZZ_SEED} -timeout=25 -rss_limit_mb=3000 -artifact_prefix="$folder/findings/$name-" \
          -print_final_stats=1 >"$log" 2>&1); then
    tail -n 60 "$log"
    echo "fuzz_$name: FAILED"
    return 1
  fi
  echo "fuzz_$name: $(sed -n 's/^stat::number_of_executed_units: *//p' "$log") inputs tried, no finding"
  rm -rf "$scratch"
}
export -f run_one
find "$folder" -maxdepth 1 -name 'fuzz_*' -type f -perm -u+x -print0 | sort -z |
  xargs -0 -n 1 -P "${JOBS:-$(nproc)}" bash -c 'run_one "$0"'
