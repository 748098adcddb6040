#!/usr/bin/env python3
"""Records the same raw file with xvrecord and with ffmpeg, in turn, and prints ratios of medians.

usage: compare.py XVRECORD FOLDER [SECONDS] [RUNS]
FOLDER should lie in memory: the rows are about the encoders, not about the disk."""
import os
import resource
import statistics
import subprocess
import sys
import time

xvrecord, folder = sys.argv[1], sys.argv[2]
seconds = int(sys.argv[3]) if len(sys.argv) > 3 else 4
runs = int(sys.argv[4]) if len(sys.argv) > 4 else 3
raw = os.path.join(folder, "bench_input.mov")
frames = seconds * 25

ROWS = [
    ("libx264 veryfast mp4", "mp4", "video::codec=libx264 video::preset=veryfast",
     "-c:v libx264 -preset veryfast -pix_fmt yuv420p"),
    ("mpeg2video 50M mov", "mov", "video::codec=mpeg2video video::b=50M",
     "-c:v mpeg2video -b:v 50M -maxrate 50M -bufsize 25M -pix_fmt yuv420p"),
    ("prores mov", "mov", "video::codec=prores", "-c:v prores -pix_fmt yuv422p10le"),
    ("dnxhd 120M mov", "mov", "video::codec=dnxhd video::b=120M",
     "-c:v dnxhd -b:v 120M -pix_fmt yuv422p"),
    ("mjpeg avi", "avi", "video::codec=mjpeg", "-c:v mjpeg -pix_fmt yuvj420p"),
    ("raw UYVY mov", "mov", "video::codec=rawvideo", "-c:v rawvideo -pix_fmt uyvy422"),
    ("libx264 veryfast mpegts", "ts", "video::codec=libx264 video::preset=veryfast",
     "-c:v libx264 -preset veryfast -pix_fmt yuv420p"),
]


def measure(command):
    """Wall and CPU seconds and peak memory in MB of one run."""
    begin = time.monotonic()
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    _, status, usage = os.wait4(process.pid, 0)
    if status != 0:
        sys.exit("failed: " + " ".join(command))
    return time.monotonic() - begin, usage.ru_utime + usage.ru_stime, usage.ru_maxrss / 1024


def median(rows, column):
    return statistics.median(row[column] for row in rows)


if not os.path.exists(raw):
    subprocess.check_call(
        ["ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i",
         f"testsrc2=size=1920x1080:rate=25:duration={seconds}", "-c:v", "rawvideo",
         "-pix_fmt", "uyvy422", "-threads", "1", raw])

print(f"{'row':26}{'ours fps':>9}{'ffmpeg':>8}{'speed':>7}{'cpu':>6}{'memory MB':>12}")
for name, extension, ours, theirs in ROWS:
    a = os.path.join(folder, "bench_a." + extension)
    b = os.path.join(folder, "bench_b." + extension)
    mine, peer = [], []
    for _ in range(runs):
        mine.append(measure([xvrecord, "--quiet", "-a", ours, raw, a]))
        peer.append(measure(["ffmpeg", "-v", "error", "-y", "-i", raw, *theirs.split(), b]))
    print(f"{name:26}{frames / median(mine, 0):9.1f}{frames / median(peer, 0):8.1f}"
          f"{median(peer, 0) / median(mine, 0):7.2f}{median(mine, 1) / median(peer, 1):6.2f}"
          f"{median(mine, 2):6.0f}/{median(peer, 2):.0f}", flush=True)
    for path in (a, b):
        os.path.exists(path) and os.unlink(path)
print("dd of the raw file:", end=" ")
copy = os.path.join(folder, "bench_dd")
wall = [measure(["dd", "if=" + raw, "of=" + copy, "bs=4M"])[0] for _ in range(runs)]
print(f"{frames / statistics.median(wall):.1f} frames/s")
os.unlink(copy)
os.unlink(raw)
