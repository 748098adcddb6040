#!/usr/bin/env python3
"""Measures the library beside its peers and writes docs/performance.md with its plots.

usage: report.py PROGRAMS SCRATCH DOCS [--runs N] [--seconds N] [--sections A,B...] [--codecs A,B...]
                 [--data FILE]
PROGRAMS is the folder of the benchmarks, SCRATCH one in memory with some 6 GB, DOCS the folder of
performance.md and performance/*.svg. --sections measures some of them (sessions, rasters, live,
sound, copies, kernels), --codecs some rows of the first two; the others are taken from FILE
(build/performance.json), where all that was measured is kept."""
import argparse
import datetime
import json
import os
import platform
import subprocess
import sys

import plots
from peers import make_raw, run

CODECS = {
    "libx264": ("mp4", "video::codec=libx264 video::preset=veryfast",
                "-c:v libx264 -preset veryfast -pix_fmt yuv420p"),
    "mpeg2video": ("mov", "video::codec=mpeg2video video::b=50M",
                   "-c:v mpeg2video -b:v 50M -maxrate 50M -bufsize 25M -pix_fmt yuv420p"),
    "prores": ("mov", "video::codec=prores", "-c:v prores -pix_fmt yuv422p10le"),
    "dnxhd": ("mov", "video::codec=dnxhd video::profile=dnxhr_sq",
              "-c:v dnxhd -profile:v dnxhr_sq -pix_fmt yuv422p"),
    "raw": ("mov", "video::codec=rawvideo", "-c:v rawvideo -pix_fmt uyvy422"),
}
SESSIONS = (1, 2, 4, 8, 16)
RASTERS = [("720p25", 1280, 720, 25), ("1080p25", 1920, 1080, 25), ("1080p50", 1920, 1080, 50),
           ("2160p25", 3840, 2160, 25), ("2160p60", 3840, 2160, 60)]
# Why we are behind a peer, by section, codec and the number or raster; "*" stands for any. A row
# that is behind and has no reason ends the report with a failure.
REASONS = json.load(open(os.path.join(os.path.dirname(__file__), "reasons.json"), encoding="utf-8"))
BEHIND = 0.97  # of a peer's speed, or above 1/0.97 of its memory: nearer than two runs are


def summary(values):
    """Median, least and most."""
    ordered = sorted(values)
    return [ordered[len(ordered) // 2], ordered[0], ordered[-1]]


def spread(figure, form="{:.1f}"):
    middle, least, most = figure
    return f"{form.format(middle)} ({form.format(least)}–{form.format(most)})"


class Measurements:
    """Runs of ours and of ffmpeg in turn, over raw UYVY files of one raster at a time."""

    def __init__(self, options):
        self.options = options
        self.programs, self.scratch = options.programs, options.scratch
        self.raw, self.raster = os.path.join(options.scratch, "input.raw"), None

    def take(self, raster, frames):
        if self.raster == (raster, frames):
            return
        _, width, height, _ = raster
        make_raw(self.raw, f"{width}x{height}", frames / 25, ("-f", "rawvideo"))
        self.raster = (raster, frames)

    def ours(self, codec, raster, sessions):
        extension, attributes, _ = CODECS[codec]
        _, width, height, rate = raster
        return [[f"{self.programs}/record_sessions", self.raw, str(width), str(height), str(rate),
                 f"{self.scratch}/ours", "." + extension, attributes, str(sessions)]]

    def theirs(self, codec, raster, sessions):
        extension, _, options = CODECS[codec]
        _, width, height, rate = raster
        return [["ffmpeg", "-v", "error", "-y", "-f", "rawvideo", "-pix_fmt", "uyvy422", "-s",
                 f"{width}x{height}", "-r", str(rate), "-i", self.raw, *options.split(),
                 f"{self.scratch}/theirs{i}.{extension}"] for i in range(sessions)]

    def once(self, commands, frames, cores):
        prefix = ["taskset", "-c", "0"] if cores == 1 else []
        sample = run(*[prefix + c for c in commands])
        for name in os.listdir(self.scratch):
            if name.startswith(("ours", "theirs")):
                os.unlink(os.path.join(self.scratch, name))
        return frames / sample.wall, sample.megabytes, sample.cpu

    def pair(self, codec, raster, sessions, frames, cores=0):
        """Frames a second, megabytes and processor seconds of ours and of ffmpeg."""
        self.take(raster, frames)
        runs = {"ours": [], "ffmpeg": []}
        for _ in range(self.options.runs):
            for who, commands in (("ours", self.ours), ("ffmpeg", self.theirs)):
                runs[who].append(
                    self.once(commands(codec, raster, sessions), frames * sessions, cores))
        row = {"codec": codec, "raster": raster[0], "sessions": sessions, "cores": cores}
        for who, samples in runs.items():
            row[who] = {figure: summary([s[i] for s in samples])
                        for i, figure in enumerate(("fps", "MB", "cpu"))}
        print(f"{codec} {raster[0]} x{sessions} on {'one core' if cores else 'all cores'}: "
              f"{row['ours']['fps'][0]:.1f} / {row['ffmpeg']['fps'][0]:.1f} frames a second, "
              f"{row['ours']['MB'][0]:.0f} / {row['ffmpeg']['MB'][0]:.0f} MB", flush=True)
        return row

    def program(self, name, *arguments):
        return subprocess.run([f"{self.programs}/{name}", *arguments], check=True,
                              capture_output=True, text=True).stdout


def measure_sessions(m):
    raster = RASTERS[1]
    frames = m.options.seconds * 25
    return [m.pair(codec, raster, n, frames) for codec in m.options.codecs for n in SESSIONS]


def measure_rasters(m):
    rows = []
    for raster in RASTERS:
        frames = max(10, m.options.seconds * 25 * 1280 * 720 // (raster[1] * raster[2]))
        for codec in m.options.codecs:
            rows += [m.pair(codec, raster, 1, frames, cores) for cores in (1, 0)]
    return rows


def measure_live(m):
    return (m.program("bench_fairness", m.scratch) + m.program("bench_isolation", m.scratch) +
            m.program("bench_put_latency", f"{m.scratch}/put.mp4"))


def measure_sound(m):
    return m.program("bench_audio_cost", m.scratch)


def measure_copies(m):
    script = os.path.join(os.path.dirname(__file__), "copy_passes.py")
    return subprocess.run([sys.executable, script, f"{m.programs}/bench_copy_passes", m.scratch],
                          check=True, capture_output=True, text=True).stdout


def measure_kernels(m):
    """Cold milliseconds of ours and of memcpy by row, 1920x1080."""
    rows, title = [], ""
    for line in m.program("bench_kernels", "1920x1080").splitlines():
        if not line.startswith(" "):
            title = line.strip()
        elif "cold" in line:
            name = line[:26].strip()
            cold = line.split("cold")[1].replace("(", " ").replace(")", " ").split()
            rows.append({"row": title, "who": name, "ms": [float(v) for v in cold[:2]]})
    return rows


SECTIONS = {"sessions": measure_sessions, "rasters": measure_rasters, "live": measure_live,
            "sound": measure_sound, "copies": measure_copies, "kernels": measure_kernels}


def merged(old, new):
    """The old rows, those that were measured anew in their places."""
    def key(row):
        return row["codec"], row["raster"], row["sessions"], row["cores"]
    fresh = {key(row): row for row in new}
    kept = [fresh.pop(key(row), row) for row in old]
    return kept + list(fresh.values())


def reason(row, section, figure, unexplained):
    ours, theirs = row["ours"][figure][0], row["ffmpeg"][figure][0]
    behind = ours < BEHIND * theirs if figure == "fps" else ours * BEHIND > theirs
    if not behind:
        return ""
    for known in REASONS:
        keys = (("section", section), ("figure", figure), ("codec", row["codec"]),
                ("raster", row["raster"]), ("sessions", row["sessions"]), ("cores", row["cores"]))
        if all(known.get(key, value) == value for key, value in keys):
            return known["why"]
    unexplained.append(f"{section}: {row['codec']} {row['raster']} x{row['sessions']} "
                       f"cores {row['cores']}: {figure} {ours:.1f} against {theirs:.1f}")
    return "?"


def table(rows, section, first, unexplained):
    lines = ["| " + " | ".join(first) + " | frames/s | ffmpeg | ratio | MB | ffmpeg | ratio | |",
             "|---" * (len(first) + 7) + "|"]
    for row in rows:
        why = [reason(row, section, f, unexplained) for f in ("fps", "MB")]
        cells = [str(row[key] or "all") for key in first]
        for figure, form in (("fps", "{:.1f}"), ("MB", "{:.0f}")):
            ours, theirs = row["ours"][figure], row["ffmpeg"][figure]
            cells += [spread(ours, form), spread(theirs, form), f"{ours[0] / theirs[0]:.2f}"]
        lines.append("| " + " | ".join(cells) + " | " + "; ".join(w for w in why if w) + " |")
    return "\n".join(lines)


def kernel_table(rows):
    copies = {r["row"]: r["ms"][0] for r in rows if r["who"] == "memcpy"}
    lines = ["| row | milliseconds, median (least) | of memcpy's time |", "|---|---|---|"]
    for row in rows:
        if row["who"] == "xv" and row["row"] in copies:
            lines.append(f"| {row['row']} | {row['ms'][0]:.3f} ({row['ms'][1]:.3f}) | "
                         f"{row['ms'][0] / copies[row['row']]:.2f} |")
    return "\n".join(lines)


def machine():
    model = next((line.split(":")[1].strip() for line in open("/proc/cpuinfo", encoding="utf-8")
                  if line.startswith("model name")), platform.machine())
    ffmpeg = subprocess.run(["ffmpeg", "-version"], capture_output=True, text=True,
                            check=True).stdout.split("\n")[0].split(" Copyright")[0]
    return (f"{model}, {len(os.sched_getaffinity(0))} cores; Linux {platform.release()}; {ffmpeg}; "
            f"{datetime.date.today():%d %B %Y}")


def write(data, options):
    unexplained = []
    text = open(os.path.join(os.path.dirname(__file__), "report.md.in"), encoding="utf-8").read()
    values = {
        "machine": data["machine"], "runs": str(data["runs"]),
        "sessions": table(data["sessions"], "sessions", ["codec", "sessions"], unexplained),
        "rasters": table(data["rasters"], "rasters", ["codec", "raster", "cores"], unexplained),
        "live": "```\n" + data["live"] + "```", "sound": "```\n" + data["sound"] + "```",
        "copies": data["copies"].strip(), "kernels": kernel_table(data["kernels"]),
    }
    for name, value in values.items():
        text = text.replace("@" + name + "@", value)
    folder = os.path.join(options.docs, "performance")
    os.makedirs(folder, exist_ok=True)
    plots.draw(data, folder)
    with open(os.path.join(options.docs, "performance.md"), "w", encoding="utf-8") as file:
        file.write(text)
    return unexplained


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("programs")
    parser.add_argument("scratch")
    parser.add_argument("docs")
    parser.add_argument("--runs", type=int, default=5)
    parser.add_argument("--seconds", type=int, default=2)
    parser.add_argument("--sections", default=",".join(SECTIONS))
    parser.add_argument("--codecs", type=lambda text: text.split(","), default=list(CODECS))
    parser.add_argument("--data", default="build/performance.json")
    options = parser.parse_args()
    data = {}
    if os.path.exists(options.data):
        with open(options.data, encoding="utf-8") as file:
            data = json.load(file)
    measurements = Measurements(options)
    for section in options.sections.split(","):
        measured = SECTIONS[section](measurements)
        by_codec = section in ("sessions", "rasters")
        data[section] = merged(data.get(section, []), measured) if by_codec else measured
        data["machine"], data["runs"] = machine(), options.runs
        with open(options.data, "w", encoding="utf-8") as file:
            json.dump(data, file, indent=1)
    missing = [section for section in SECTIONS if section not in data]
    if missing:
        sys.exit("not measured yet: " + ", ".join(missing))
    unexplained = write(data, options)
    if unexplained:
        sys.exit("behind a peer, and nothing says why (bench/reasons.json):\n  " +
                 "\n  ".join(unexplained))


if __name__ == "__main__":
    main()
