#!/usr/bin/env bash
# Records a list by a job array of Slurm and waits: each line is a task of its own, tasks that failed
# run again, and nothing else does. A second call goes on where the first one ended.
# usage: record_all.sh LIST FOLDER [SBATCH-OPTION...], such as --cpus-per-task=4 --mem=1500M
#
# LIST is described in record_one.sh. It, FOLDER and this folder lie where all nodes see them.
# ROUNDS (3) is how often a task is tried. Exit status 0 when all recordings are done.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
list=$(realpath "$1") folder=$2
shift 2
mkdir -p "$folder"
folder=$(realpath "$folder")
most=1000 # tasks of one array: Slurm takes 1001 unless its MaxArraySize says otherwise

for round in $(seq "${ROUNDS:-3}"); do
  rm -f "$folder"/pending.*
  "$here/summary.py" --pending "$list" "$folder" |
    split --lines=$most --numeric-suffixes --suffix-length=4 - "$folder/pending."
  chunks=("$folder"/pending.*)
  [ -e "${chunks[0]}" ] || break
  echo "round $round: $(cat "${chunks[@]}" | wc -l) recordings"
  waits=()
  for chunk in "${chunks[@]}"; do
    sbatch --wait --quiet --job-name=xvrecord --array="1-$(wc -l <"$chunk")" \
      --cpus-per-task=2 --mem=1G --output=/dev/null --requeue "$@" \
      --wrap="exec '$here/record_one.sh' '$list' '$folder' \
        \"\$(sed -n \"\${SLURM_ARRAY_TASK_ID}p\" '$chunk')\"" &
    waits+=($!)
  done
  for job in "${waits[@]}"; do wait "$job" || true; done # what failed is pending
done
"$here/summary.py" "$list" "$folder"
