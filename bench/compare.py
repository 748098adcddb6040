#!/usr/bin/env python3
"""Records the same raw file with xvrecord, ffmpeg and GStreamer, in turn, and prints medians.

usage: compare.py XVRECORD FOLDER [SECONDS] [RUNS] [ROW...]
FOLDER should lie in memory: the rows are about the encoders, not about the disk; only the raw row
is worth a run on a disk, beside its limit. ROW picks rows whose name contains it. Frames a second (higher is better), CPU seconds and peak memory in MB
(lower is better) stand as ours/ffmpeg/GStreamer; "ratio" is our speed against the faster peer."""
import os
import socket
import statistics
import subprocess
import sys
import time

from peers import HAS_GSTREAMER, make_raw, median, run

xvrecord, folder = sys.argv[1], sys.argv[2]
seconds = int(sys.argv[3]) if len(sys.argv) > 3 else 4
runs = int(sys.argv[4]) if len(sys.argv) > 4 else 3
wanted = sys.argv[5:]
frames = seconds * 25

X264 = "-c:v libx264 -preset veryfast -pix_fmt yuv420p"
GST_X264 = "videoconvert ! video/x-raw,format=I420 ! x264enc speed-preset=veryfast pass=qual quantizer=23 !"
MPEG2 = "-c:v mpeg2video -b:v 50M -maxrate 50M -bufsize 25M -pix_fmt yuv420p"
# Name, extension, raster of the input, our attributes, ffmpeg's options, GStreamer's elements
# between demuxer and file (None where it has no such way).
ROWS = [
    ("libx264 veryfast mp4", "mp4", "hd", "video::codec=libx264 video::preset=veryfast", X264,
     GST_X264 + " h264parse ! mp4mux"),
    ("libx264 veryfast mpegts", "ts", "hd", "video::codec=libx264 video::preset=veryfast", X264,
     GST_X264 + " h264parse ! mpegtsmux"),
    ("mpeg2video 50M mov", "mov", "hd", "video::codec=mpeg2video video::b=50M", MPEG2, None),
    ("mpeg2video 50M mxf", "mxf", "hd", "video::codec=mpeg2video video::b=50M", MPEG2, None),
    ("prores mov", "mov", "hd", "video::codec=prores", "-c:v prores -pix_fmt yuv422p10le",
     "videoconvert ! avenc_prores ! qtmux"),
    ("dnxhd 120M mov", "mov", "hd", "video::codec=dnxhd video::b=120M",
     "-c:v dnxhd -b:v 120M -pix_fmt yuv422p",
     "videoconvert ! avenc_dnxhd bitrate=120000000 ! mxfmux"),
    ("mjpeg avi", "avi", "hd", "video::codec=mjpeg", "-c:v mjpeg -pix_fmt yuvj420p",
     "videoconvert ! avenc_mjpeg ! avimux"),
    ("dv avi", "avi", "sd", "video::codec=dvvideo video::dv_format=dvsd", "-c:v dvvideo -pix_fmt yuv420p",
     "capssetter caps=video/x-raw,pixel-aspect-ratio=(fraction)16/15 ! videoconvert !"
     " avenc_dvvideo ! avimux"),
    ("v210 mov", "mov", "hd", "video::codec=v210", "-c:v v210",
     "videoconvert ! video/x-raw,format=v210 ! qtmux"),
    ("raw UYVY mov", "mov", "hd", "video::codec=rawvideo", "-c:v rawvideo -pix_fmt uyvy422",
     "video/x-raw,format=UYVY ! qtmux"),
]


def commands(row, raw, target):
    """The command lines of ours, ffmpeg's and, where there is one, GStreamer's."""
    _, _, _, ours, theirs, elements = row
    lines = [[xvrecord, "-y", "--quiet", "-a", ours, raw, target],
             ["ffmpeg", "-v", "error", "-y", "-i", raw, *theirs.split(), target]]
    if elements and HAS_GSTREAMER:
        lines.append(["gst-launch-1.0", "-q", "filesrc", "location=" + raw, "!", "qtdemux", "!",
                      "queue", "!", *elements.split(), "!", "filesink", "location=" + target])
    return lines


def joined(peers, form, figure):
    return "/".join(form.format(figure(samples)) for samples in peers)


def compare(row, raw):
    target = os.path.join(folder, "bench_out." + row[1])
    lines = commands(row, raw, target)
    samples = [[] for _ in lines]
    for _ in range(runs):
        for line, into in zip(lines, samples):
            into.append(run(line))
            os.unlink(target)
    fps = [frames / median(s, "wall") for s in samples]
    print(f"{row[0]:24}{joined(samples, '{:.1f}', lambda s: frames / median(s, 'wall')):>20}"
          f"{fps[0] / max(fps[1:]):7.2f}"
          f"{joined(samples, '{:.2f}', lambda s: median(s, 'cpu')):>18}"
          f"{joined(samples, '{:.0f}', lambda s: median(s, 'megabytes')):>16}", flush=True)


def first_packet(line):
    """Milliseconds from the start of the command to the first datagram at its target."""
    receiver = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    receiver.bind(("127.0.0.1", 0))
    receiver.settimeout(30)
    url = f"udp://127.0.0.1:{receiver.getsockname()[1]}?pkt_size=1316"
    begin = time.monotonic()
    process = subprocess.Popen(line(url), stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    receiver.recv(2048)
    elapsed = time.monotonic() - begin
    process.kill()
    process.wait()
    return elapsed * 1000


def compare_first_packets(raw):
    ours = lambda url: [xvrecord, "--quiet", "-a",
                        "format=mpegts video::codec=libx264 video::preset=veryfast", raw, url]
    theirs = lambda url: ["ffmpeg", "-v", "error", "-i", raw, *X264.split(), "-f", "mpegts", url]
    times = [[first_packet(line) for _ in range(runs)] for line in (ours, theirs)]
    print(f"first packet of libx264 over UDP: {statistics.median(times[0]):.0f} ms, "
          f"ffmpeg {statistics.median(times[1]):.0f} ms")


def compare_with_copy(raw):
    copy = os.path.join(folder, "bench_dd")
    wall = [run(["dd", "if=" + raw, "of=" + copy, "bs=4M"]).wall for _ in range(runs)]
    print(f"dd of the raw file: {frames / statistics.median(wall):.1f} frames/s")
    os.unlink(copy)


inputs = {"hd": os.path.join(folder, "hd.mov"), "sd": os.path.join(folder, "sd.mov")}
make_raw(inputs["hd"], "1920x1080", seconds)
make_raw(inputs["sd"], "720x576", seconds)
print(f"{'row':24}{'fps':>20}{'ratio':>7}{'CPU s':>18}{'MB':>16}")
for row in ROWS:
    if not wanted or any(part in row[0] for part in wanted):
        compare(row, inputs[row[2]])
if not wanted or any(part in ROWS[-1][0] for part in wanted):
    compare_with_copy(inputs["hd"])
if not wanted:
    compare_first_packets(inputs["hd"])
for path in inputs.values():
    os.unlink(path)
