#!/usr/bin/env python3
"""What came of a list: FOLDER/results.jsonl, a line for each recording, and a summary for people.

usage: summary.py [--pending] LIST FOLDER; --pending prints the indices that are not done instead.
Exit status 0 when all are done.
"""
import json
import pathlib
import sys


def row(folder, index, line):
    """The task's own words, or those for a task that left none."""
    source, output = line.split("\t")[:2]
    try:
        result = json.loads((folder / f"{index}.json").read_text())
    except (OSError, ValueError):
        return {"index": index, "input": source, "output": output, "done": False,
                "words": "the task has left no result"}
    same = (result["input"], result["output"]) == (source, output)
    if result["done"] and not (same and pathlib.Path(output).exists()):
        result |= {"done": False, "words": "the recording is not there, or the list has changed"}
    return result


def main():
    pending = sys.argv[1] == "--pending"
    path, folder = (pathlib.Path(word) for word in sys.argv[1 + pending : 3 + pending])
    lines = [line for line in path.read_text().splitlines()]
    rows = [row(folder, index, line) for index, line in enumerate(lines) if line.strip()]
    failed = [one for one in rows if not one["done"]]
    if pending:
        print("".join(f"{one['index']}\n" for one in failed), end="")
        return 0
    (folder / "results.jsonl").write_text("".join(json.dumps(one) + "\n" for one in rows))
    done = [one for one in rows if one["done"]]
    total = {key: sum(one.get(key, 0) for one in done) for key in
             ("pictures", "media_seconds", "wall_seconds", "cpu_seconds")}
    print(f"{len(done)} of {len(rows)} recordings, {total['pictures']} pictures, "
          f"{total['media_seconds'] / 3600:.2f} hours of media, "
          f"{total['cpu_seconds'] / 3600:.2f} hours of CPU, "
          f"{sum(one.get('attempts', 1) > 1 for one in rows)} tried again")
    for one in failed:
        print(f"{one['index']}: {one['input']}: {one.get('words', '')}")
    return 1 if failed else 0


sys.exit(main())
