#!/usr/bin/env bash
# One task: records one line of a list. usage: record_one.sh LIST FOLDER INDEX
#
# LIST has a recording a line, from index 0 on: input, output and attributes, with tabs between them.
# FOLDER gets INDEX.json, what came of it. The output has its name only when it is whole, so whoever
# sees the name may read the file, and a task that was killed leaves nothing that looks done.
set -uo pipefail
list=$1 folder=$2 index=$3
IFS=$'\t' read -r input output attributes < <(sed -n "$((index + 1))p" "$list")
[ -n "${output:-}" ] || { echo "$list has no recording $index" >&2; exit 2; }

partial=$(dirname "$output")/.partial-$index-$(basename "$output")
stats=$folder/.$index.json
attempts=$folder/$index.attempts
mkdir -p "$(dirname "$output")" "$folder"
echo "${HOSTNAME:-$(uname -n)}" >>"$attempts"
rm -f "$stats"

recorder=
trap '[ -z "$recorder" ] || kill -INT "$recorder" 2>/dev/null' TERM INT
"${XVRECORD:-xvrecord}" --quiet -y --stats "$stats" --attributes "${attributes:-}" \
  -- "$input" "$partial" 2>"$folder/$index.log" &
recorder=$!
while kill -0 "$recorder" 2>/dev/null; do wait "$recorder"; done # a signal ends a wait early
wait "$recorder"
status=$?

# A recording that a signal has stopped is playable, and not what was asked for.
"${PYTHON:-python3}" - "$stats" "$index" "$input" "$output" "$status" "$attempts" \
  "$folder/$index.log" >"$folder/.$index.line" <<'END'
import json
import sys

stats, index, source, output, status, attempts, log = sys.argv[1:]
try:
    with open(stats) as file:
        counts = json.load(file)
except (OSError, ValueError):
    counts = {}
hosts = open(attempts).read().split()
done = status == "0" and counts.get("stopped") is False
row = {"index": int(index), "input": source, "output": output, "done": done, "status": int(status),
       "host": hosts[-1], "attempts": len(hosts)}
row |= {key: counts[key] for key in ("pictures", "media_seconds", "wall_seconds", "cpu_seconds")
        if key in counts}
if not done:
    row["words"] = open(log).read().strip() or "the task was stopped"
print(json.dumps(row))
sys.exit(not done)
END
done=$?
[ $done -ne 0 ] || mv -f "$partial" "$output" || done=1
[ $done -eq 0 ] || rm -f "$partial"
mv -f "$folder/.$index.line" "$folder/$index.json"
rm -f "$stats"
exit $done
