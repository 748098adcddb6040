#!/usr/bin/env python3
"""Kills recordings at random moments, rescues them with xvfollow and counts what is left.

Each kill is a SIGKILL of an xvrecord at work, at a random picture or at a random moment of its
close. The rescued copy must decode without an error, and may lack no more pictures than its row
of CELLS allows. Equal seeds give equal cells and moments; what the machine does at such a moment
differs all the same.
"""

import argparse
import functools
import random
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
from dataclasses import dataclass
from pathlib import Path

RATE = 25  # pictures a second
SECOND_OR_50 = 50  # pictures: the more of one second and 50 packets
MPEG = "video::codec=mpeg2video"
H264 = "video::codec=libx264 video::preset=ultrafast audio::codec=aac"
LOOKAHEAD = "video::codec=libx264 audio::codec=aac"
LARGE = "video::codec=rawvideo audio::codec=pcm_s16le"  # so that a move takes a while
LONG = "size=320x240,seconds=20"
GROWING = "play_while_rec=true "


@dataclass(frozen=True)
class Cell:
    name: str
    file: str
    attributes: str
    most_lost: int = SECOND_OR_50  # pictures
    source: str = "size=320x240,seconds=6"
    realtime: bool = False
    moves: bool = False  # its close moves the data; it dies about then


CELLS = [
    Cell("mov mpeg2", "a.mov", GROWING + MPEG + " audio::codec=pcm_s16le"),
    Cell("mov h264", "a.mov", GROWING + H264),
    Cell("mp4 h264", "a.mp4", GROWING + H264),
    Cell("mp4 h264 lookahead", "a.mp4", GROWING + LOOKAHEAD, most_lost=60),
    Cell("mxf mpeg2", "a.mxf", GROWING + MPEG + " audio::codec=pcm_s16le"),
    Cell("avi mpeg2", "a.avi", GROWING + MPEG + " audio::codec=mp2"),
    Cell("avi h264", "a.avi", GROWING + H264.replace("aac", "mp2")),
    Cell("mkv h264", "a.mkv", GROWING + H264),
    Cell("mkv mpeg2", "a.mkv", GROWING + MPEG + " audio::codec=pcm_s16le"),
    Cell("ts mpeg2", "a.ts", GROWING + MPEG + " audio::codec=mp2"),
    Cell("ts h264", "a.ts", GROWING + H264),
    Cell("mov faststart", "a.mov", GROWING + "movflags=faststart " + LARGE, source=LONG,
         moves=True),
    Cell("mp4 faststart", "a.mp4", GROWING + "movflags=faststart " + H264, source=LONG, moves=True),
    Cell("mkv cues_to_front", "a.mkv", GROWING + "cues_to_front=true " + LARGE, source=LONG,
         moves=True),
    Cell("mov noted", "a.mov", MPEG + " audio::codec=pcm_s16le", realtime=True),
    Cell("mp4 noted", "a.mp4", H264, realtime=True),
    Cell("mov noted faststart", "a.mov", "movflags=faststart " + LARGE, source=LONG, moves=True),
]
# Nothing beside them: what FFmpeg alone reads of the file is told, not judged.
BARE_CELLS = [
    Cell(f"{name} bare", f"a.{name}", f"recovery=false {attributes}", most_lost=1 << 30,
         realtime=True)
    for name, attributes in (
        ("mov", MPEG), ("mp4", H264), ("mxf", MPEG), ("avi", MPEG), ("mkv", H264), ("ts", H264))
]


@dataclass
class Outcome:
    accepted: int
    rescued: int
    complaint: str  # "" for none
    moving: bool  # the writer died while its data moved

    @property
    def lost(self):
        return self.accepted - self.rescued


def accepted_frames(progress: Path) -> int:
    """The last whole line of the file that xvrecord writes."""
    try:
        lines = progress.read_bytes().split(b"\n")[:-1]
    except FileNotFoundError:
        return 0
    return int(lines[-1]) if lines else 0


def is_moving(recording: Path) -> bool:
    try:
        note = recording.with_name(recording.name + ".recovery").read_bytes().split(b"\n")
    except FileNotFoundError:
        return False
    begin, end, distance, moved = (int(number) for number in note[1].split()[1:])
    return distance > 0 and begin < moved < end


def wait_until(happened, recorder: subprocess.Popen):
    while not happened() and recorder.poll() is None:
        time.sleep(0.0005)


def command_for(programs: Path, folder: Path, cell: Cell) -> list:
    return [programs / "xvrecord", "-y", "--quiet", *(["--realtime"] if cell.realtime else []),
            "--progress", folder / "progress", "-a", cell.attributes,
            f"test:rate={RATE},{cell.source}", folder / cell.file]


def kill_one(programs: Path, folder: Path, cell: Cell, rng: random.Random) -> int:
    """Gives the number of frames that the dead recorder had accepted."""
    recording, progress = folder / cell.file, folder / "progress"
    seconds = int(re.search(r"seconds=(\d+)", cell.source)[1])
    every = seconds * RATE
    closing = cell.moves or rng.random() < 0.2
    wanted = every if closing else rng.randint(1, every)
    pause = rng.uniform(0, 0.02)
    with subprocess.Popen(command_for(programs, folder, cell), stdin=subprocess.DEVNULL) as recorder:
        wait_until(lambda: accepted_frames(progress) >= wanted, recorder)
        if cell.moves and rng.random() < 0.8:
            wait_until(lambda: is_moving(recording), recorder)
        time.sleep(pause)
        recorder.send_signal(signal.SIGKILL)
    return accepted_frames(progress)


def decode(path: Path) -> tuple[list[str], str]:
    """The checksum of each picture, and FFmpeg's complaints."""
    done = subprocess.run(
        ["ffmpeg", "-nostdin", "-v", "error", "-i", path, "-map", "0:v:0", "-map", "0:a?",
         "-vsync", "passthrough", "-f", "framecrc", "-"],
        stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False)
    return re.findall(r"^0,.*(0x\w+)$", done.stdout, re.M), done.stderr.strip()


@functools.cache
def whole_pictures(programs: Path, cell: Cell) -> list[str]:
    """What a recording that nobody kills holds."""
    with tempfile.TemporaryDirectory() as name:
        subprocess.run(command_for(programs, Path(name), cell), stdin=subprocess.DEVNULL, check=True)
        return decode(Path(name) / cell.file)[0]


def rescue(programs: Path, folder: Path, cell: Cell, accepted: int) -> Outcome:
    recording = folder / cell.file
    moving = is_moving(recording)
    copy = recording.with_stem("copy")
    done = subprocess.run([programs / "xvfollow", "--copy", copy, recording],
                          capture_output=True, text=True, check=False)
    if done.returncode != 0:
        # Nothing has been written where so few pictures were taken.
        few = accepted <= cell.most_lost and done.returncode == 1
        return Outcome(accepted, 0, "" if few else done.stderr.strip(), moving)
    pictures, complaint = decode(copy)
    lost = accepted - len(pictures)
    if lost > cell.most_lost:
        complaint = f"{complaint} lost {lost} of {accepted}".strip()
    if cell.moves and pictures != whole_pictures(programs, cell)[:len(pictures)]:
        complaint = f"{complaint} other pictures".strip()
    return Outcome(accepted, len(pictures), complaint, moving)


def run_one(programs: Path, cell: Cell, seed: str, keep: Path | None) -> Outcome:
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        outcome = rescue(programs, folder, cell, kill_one(programs, folder, cell,
                                                          random.Random(seed)))
        if outcome.complaint and keep:
            shutil.copytree(folder, keep / seed.replace(" ", "_"), dirs_exist_ok=True)
    return outcome


def report(outcomes: dict[str, list[Outcome]]):
    print("| recording | kills | in a move | clean | mean loss | most lost |\n"
          "|---|---|---|---|---|---|")
    for name, of_cell in outcomes.items():
        lost = [max(one.lost, 0) for one in of_cell]
        clean = sum(not one.complaint for one in of_cell)
        moving = sum(one.moving for one in of_cell)
        print(f"| {name} | {len(of_cell)} | {moving} | {clean} | {sum(lost) / len(lost):.1f} | "
              f"{max(lost)} |")


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("programs", type=Path, help="folder of xvrecord and xvfollow")
    parser.add_argument("--kills", type=int, default=1000)
    parser.add_argument("--seconds", type=float, default=float("inf"), help="stop after so long")
    parser.add_argument("--seed", default=str(time.time_ns()))
    parser.add_argument("--only", default="", help="cells whose name has this in it")
    parser.add_argument("--bare", action="store_true", help="recordings without side files")
    parser.add_argument("--keep", type=Path, help="folder for what was not rescued")
    options = parser.parse_args()
    cells = [one for one in (BARE_CELLS if options.bare else CELLS) if options.only in one.name]
    print(f"seed {options.seed}", flush=True)
    order = random.Random(options.seed)
    end = time.monotonic() + options.seconds
    outcomes: dict[str, list[Outcome]] = {}
    round_of_cells: list[Cell] = []
    for number in range(options.kills):
        if time.monotonic() > end:
            break
        round_of_cells = round_of_cells or order.sample(cells, len(cells))
        cell = round_of_cells.pop()
        outcome = run_one(options.programs, cell, f"{options.seed} {number}", options.keep)
        outcomes.setdefault(cell.name, []).append(outcome)
        if outcome.complaint:
            print(f"{number} {cell.name}: {outcome.complaint}", flush=True)
    report(outcomes)
    every = [one for of_cell in outcomes.values() for one in of_cell]
    failed = sum(bool(one.complaint) for one in every)
    print(f"{len(every)} kills, {failed} not as promised")
    return 1 if not every or (failed and not options.bare) else 0


if __name__ == "__main__":
    sys.exit(main())
