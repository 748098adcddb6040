#!/usr/bin/env python3
"""How often a picture is read and written between the host's memory and the encoder's, or the file:
bytes that the library loads and stores, counted by valgrind's dhat, over the bytes of the host's
picture.

usage: copy_passes.py BENCH_COPY_PASSES FOLDER
Prints a table in Markdown: a row each layout, a column each encoder. The figures of a cell are read
from the host's picture, written into the encoder's, and written in between (which is left out where
it is nothing). Steady state: what six pictures need beyond two, by four."""
import json
import os
import subprocess
import sys

program, folder = sys.argv[1], sys.argv[2]
LAYOUTS = ["UYVY", "YUY2", "v210", "I420", "YV12", "NV12", "RGB24", "RGB32", "r210"]
# Name, extension, attributes, raster.
ENCODERS = [
    ("libx264", "mp4", "video::codec=libx264 video::preset=ultrafast", (640, 480)),
    ("mpeg2video", "mov", "video::codec=mpeg2video", (640, 480)),
    ("prores", "mov", "video::codec=prores", (640, 480)),
    ("dnxhd", "mov", "video::codec=dnxhd video::profile=dnxhr_sq", (640, 480)),
    ("mjpeg", "avi", "video::codec=mjpeg", (640, 480)),
    ("dvvideo", "avi", "video::codec=dvvideo video::dv_format=dvsd", (720, 576)),
    ("v210", "mov", "video::codec=v210", (640, 480)),
    ("rawvideo", "nut", "video::codec=rawvideo", (640, 480)),
]
BYTES_OF_PIXEL = {"v210": 8 / 3, "I420": 1.5, "YV12": 1.5, "NV12": 1.5, "RGB24": 3, "RGB32": 4,
                  "r210": 4}
ALLOCATORS = ("operator new", "alloc", "memalign")


def caller(stack):
    """The function that asked for a block."""
    names = [frame.split(": ", 1)[-1] for frame in stack]
    named = [n for n in names if not any(a in n.split("(")[0] for a in ALLOCATORS)]
    return named[0] if named else ""


def counts(layout, encoder, frames):
    """Bytes read from the host's pictures, written into the encoder's, and written elsewhere."""
    _, extension, attributes, (width, height) = encoder
    report, target = os.path.join(folder, "dhat.json"), os.path.join(folder, "passes." + extension)
    subprocess.run(["valgrind", "--tool=dhat", "--dhat-out-file=" + report, program, layout,
                    str(width), str(height), str(frames), target,
                    attributes + " video.buffers=0"], check=True, capture_output=True)
    with open(report, encoding="utf-8") as file:
        data = json.load(file)
    os.unlink(target)
    smallest = width * height / 8  # a buffer of some rows stays in the processor's cache
    read = made = between = 0
    for point in data["pps"]:
        stack = [data["ftbl"][i] for i in point["fs"]]
        if any("MakeHostPicture" in f for f in stack):
            read += point["rb"]
        elif any("PicturePool::Get" in f for f in stack):
            made += point["wb"]
        elif caller(stack).startswith("xv::") and point["tb"] / point["tbk"] > smallest:
            between += point["wb"]
    return read, made, between


def cell(layout, encoder):
    few, many = counts(layout, encoder, 2), counts(layout, encoder, 6)
    width, height = encoder[3]
    size = width * height * BYTES_OF_PIXEL.get(layout, 2)
    read, made, between = ((b - a) / 4 / size for a, b in zip(few, many))
    text = f"{read:.2f} / {made:.2f}"
    return text + (f" + {between:.2f}" if between >= 0.02 else "")


print("| layout | " + " | ".join(e[0] for e in ENCODERS) + " |")
print("|---" * (len(ENCODERS) + 1) + "|")
for one in LAYOUTS:
    print(f"| {one} | " + " | ".join(cell(one, e) for e in ENCODERS) + " |", flush=True)
