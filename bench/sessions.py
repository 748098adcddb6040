#!/usr/bin/env python3
"""Recordings side by side: N sessions in one process against N processes of one session each, and
against N processes of ffmpeg.

usage: sessions.py RECORD_SESSIONS FOLDER [SECONDS] [RUNS]
Prints frames a second of all sessions together, and CPU seconds and peak MB of all of them."""
import glob
import os
import sys

from peers import make_raw, median, run

recorder, folder = sys.argv[1], sys.argv[2]
seconds = int(sys.argv[3]) if len(sys.argv) > 3 else 4
runs = int(sys.argv[4]) if len(sys.argv) > 4 else 3
raw = os.path.join(folder, "sessions.raw")
prefix = os.path.join(folder, "session_")
ROWS = [
    ("libx264 veryfast", ".mp4", "video::codec=libx264 video::preset=veryfast",
     "-c:v libx264 -preset veryfast -pix_fmt yuv420p"),
    ("mpeg2video 50M", ".mov", "video::codec=mpeg2video video::b=50M",
     "-c:v mpeg2video -b:v 50M -maxrate 50M -bufsize 25M -pix_fmt yuv420p"),
]


def ours(row, name, sessions):
    return [recorder, raw, prefix + name, row[1], row[2], str(sessions)]


def theirs(row, name):
    return ["ffmpeg", "-v", "error", "-y", "-f", "rawvideo", "-pix_fmt", "uyvy422", "-s",
            "1920x1080", "-r", "25", "-i", raw, *row[3].split(), prefix + name + row[1]]


def measured(commands):
    samples = []
    for _ in range(runs):
        samples.append(run(*commands))
        for path in glob.glob(prefix + "*"):
            os.unlink(path)
    return samples


make_raw(raw, "1920x1080", seconds, ("-f", "rawvideo"))
print(f"{'row':20}{'n':>2}  {'one process':>22}{'n processes':>22}{'ffmpeg':>22}   fps, CPU s, MB")
for row in ROWS:
    for n in (1, 2, 4):
        cells = [measured([ours(row, "a", n)]),
                 measured([ours(row, f"p{i}", 1) for i in range(n)]),
                 measured([theirs(row, f"f{i}") for i in range(n)])]
        text = "".join(f"{n * seconds * 25 / median(c, 'wall'):10.1f}{median(c, 'cpu'):6.1f}"
                       f"{median(c, 'megabytes'):6.0f}" for c in cells)
        print(f"{row[0]:20}{n:>2}  {text}", flush=True)
os.unlink(raw)
