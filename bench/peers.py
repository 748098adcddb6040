"""Runs commands and measures them: what the comparisons share."""
import os
import shutil
import statistics
import subprocess
import sys
import time

HAS_GSTREAMER = shutil.which("gst-launch-1.0") is not None


class Sample:
    """Wall and CPU seconds of some commands run side by side, and the sum of their peak MB."""

    def __init__(self, wall, cpu, megabytes):
        self.wall, self.cpu, self.megabytes = wall, cpu, megabytes


def run(*commands):
    begin = time.monotonic()
    processes = [
        subprocess.Popen(c, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) for c in commands
    ]
    cpu = megabytes = 0.0
    for process, command in zip(processes, commands):
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        if status != 0:
            sys.exit("failed: " + " ".join(command))
        cpu += usage.ru_utime + usage.ru_stime
        megabytes += usage.ru_maxrss / 1024
    return Sample(time.monotonic() - begin, cpu, megabytes)


def median(samples, field):
    return statistics.median(getattr(s, field) for s in samples)


def make_raw(path, size, seconds, extra=()):
    """A UYVY test picture that moves, uncompressed, 25 frames a second."""
    subprocess.check_call(
        ["ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i",
         f"testsrc2=size={size}:rate=25:duration={seconds}", "-c:v", "rawvideo", "-pix_fmt",
         "uyvy422", "-threads", "1", *extra, path])
