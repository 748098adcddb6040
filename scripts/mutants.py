#!/usr/bin/env python3
"""Puts small faults into the code, one at a time, and sees whether the tests notice.

Each record of tests/mutants/faults.txt is applied to a scratch copy of the last commit, its test program
is built and run there, and the file is put back. Prints "killed", "survived" or "does not apply" for
each ("does not compile", "fails without" it); the exit status is 0 when all ran and at least nine of
ten were noticed.

usage: mutants.py [--room ROOM] [--every K] [--jobs N] [--scratch FOLDER] [NUMBER ...]
"""
import argparse
import contextlib
import os
import pathlib
import resource
import signal
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
RECORDS = ROOT / "tests/mutants/faults.txt"
NOTICED = 0.9  # of the faults that ran
TIME_LIMIT = 300  # seconds; a test that hangs has noticed
MOST_MEMORY = 4 << 30  # bytes; so has one that fills the machine


class Fault:
    """A header line "file: program [first cases]", lines "-old" and lines "+new", blank line."""

    def __init__(self, number, name, record):
        self.number, self.name = number, name
        place, _, test = record[0].partition(": ")
        self.file = place
        self.room = place.split("/")[1]
        self.program, _, self.first = test.partition(" ")
        self.old = [line[1:].strip() for line in record[1:] if line[0] == "-"]
        self.new = [line[1:].strip() for line in record[1:] if line[0] == "+"]
        if not self.program or not self.old or len(record) != 1 + len(self.old) + len(self.new):
            raise SystemExit(f"{RECORDS}: {name}: no record of a fault")

    def applied(self, text):
        """The file's text with the fault, or None where its place is not found exactly once."""
        lines = text.splitlines()
        bare = [line.strip() for line in lines]
        size = len(self.old)
        places = [i for i in range(len(lines)) if bare[i : i + size] == self.old]
        if len(places) != 1:
            return None
        lines[places[0] : places[0] + size] = self.new
        return "\n".join(lines) + "\n"


def read_faults():
    faults, name, record = [], "", []
    for line in [*RECORDS.read_text().splitlines(), ""]:
        if line.startswith("#"):
            name = line[1:].strip()
        elif line:
            record.append(line)
        elif record:
            faults.append(Fault(len(faults) + 1, name, record))
            record = []
    return faults


@contextlib.contextmanager
def scratch_tree(folder):
    """A worktree of the last commit; one that is given stays, for its build."""
    if folder is None:
        with tempfile.TemporaryDirectory(prefix="mutants-") as parent, scratch_tree(
            pathlib.Path(parent) / "tree"
        ) as tree:
            yield tree
            subprocess.run(
                ["git", "-C", ROOT, "worktree", "remove", "--force", tree], check=True
            )
        return
    tree = pathlib.Path(folder).resolve()
    if tree.exists():
        head = subprocess.check_output(["git", "-C", ROOT, "rev-parse", "HEAD"], text=True).strip()
        subprocess.run(["git", "-C", tree, "checkout", "-q", "-f", "--detach", head], check=True)
    else:
        subprocess.run(["git", "-C", ROOT, "worktree", "add", "-q", "--detach", tree], check=True)
    subprocess.run(
        ["cmake", "--preset", "release", "-DXVWRITER_BUILD_TESTS=ON",
         "-DXVWRITER_BUILD_BENCHMARKS=OFF", "-DXV_WERROR=OFF"],
        cwd=tree, check=True, stdout=subprocess.DEVNULL)
    yield tree


def build(tree, program, jobs):
    return subprocess.run(
        ["ninja", "-C", tree / "build/release", f"-j{jobs}", program],
        stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, errors="replace")


def bound_memory():
    resource.setrlimit(resource.RLIMIT_DATA, (MOST_MEMORY, MOST_MEMORY))


def notices(tree, program, cases, jobs):
    """True if a run of the program, in `jobs` parts side by side, fails."""
    runs = []
    for part in range(jobs):
        env = dict(os.environ, GTEST_TOTAL_SHARDS=str(jobs), GTEST_SHARD_INDEX=str(part),
                   XVWRITER_SETTINGS=str(tree / "build/release/test-settings.toml"))
        command = [tree / "build/release/bin" / program, "--gtest_brief=1", "--gtest_fail_fast"]
        if cases:
            command.append(f"--gtest_filter={cases}")
        runs.append(subprocess.Popen(command, env=env, cwd=tree / "build/release",
                                     preexec_fn=bound_memory, start_new_session=True,
                                     stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL))
    failed = False
    for run in runs:
        try:
            failed |= run.wait(TIME_LIMIT) != 0
        except subprocess.TimeoutExpired:
            os.killpg(run.pid, signal.SIGKILL)  # with its children, which may hold a lock
            run.wait()
            failed = True
    return failed


def is_sound(tree, program, jobs):
    """Whether the program passes without a fault; under load a test may miss its time once."""
    if build(tree, program, jobs).returncode != 0:
        return False
    return not notices(tree, program, "", jobs) or not notices(tree, program, "", 1)


def verdict(tree, fault, jobs):
    path = tree / fault.file
    before = path.read_text() if path.exists() else ""
    text = fault.applied(before)
    if text is None:
        return "does not apply"
    path.write_text(text)
    try:
        if build(tree, fault.program, jobs).returncode != 0:
            return "does not compile"
        for cases in [fault.first, ""] if fault.first else [""]:
            if notices(tree, fault.program, cases, jobs):
                return "killed"
        return "survived"
    finally:
        path.write_text(before)


def chosen(faults, options):
    picked = [f for f in faults if not options.room or f.room in options.room]
    if options.numbers:
        picked = [f for f in picked if f.number in options.numbers]
    return picked[:: options.every]


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--room", action="append", help="folder of src/ or tools/; may be repeated")
    parser.add_argument("--every", type=int, default=1, help="each K-th of those that are left")
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--scratch", help="folder of the copy, which is kept with its build")
    parser.add_argument("numbers", nargs="*", type=int)
    options = parser.parse_args()
    faults = chosen(read_faults(), options)
    if not faults:
        raise SystemExit("no fault of that choice")
    results = []
    with scratch_tree(options.scratch) as tree:
        sound = {}
        for fault in faults:
            if fault.program not in sound:
                sound[fault.program] = is_sound(tree, fault.program, options.jobs)
            works = sound[fault.program]
            results.append(verdict(tree, fault, options.jobs) if works else "fails without")
            print(f"{results[-1]:16} {fault.number:3} {fault.file}: {fault.name}", flush=True)
    killed = results.count("killed")
    ran = killed + results.count("survived")
    print(f"{killed} of {ran} faults noticed")
    if ran != len(results):
        raise SystemExit(f"{len(results) - ran} faults did not run")
    return killed < NOTICED * ran


if __name__ == "__main__":
    sys.exit(main())
