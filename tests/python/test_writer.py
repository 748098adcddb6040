"""The writer's life: buffers, threads, failures, exits."""

import errno
import os
import pickle
import subprocess
import sys
import threading
import warnings
import weakref

import numpy as np
import pytest
import xvwriter
from conftest import probe, run

RAW = "format=nut video::codec=rawvideo video.buffers=4 io_timeout=30"
BIG = (1080, 1920, 2)  # more than a connection holds


def grey(shape=(32, 48, 2), level=128):
    return np.full(shape, level, np.uint8)


def frames_of(path):
    read = run("ffprobe", "-v", "error", "-count_packets", "-show_entries",
               "stream=nb_read_packets", "-of", "csv=p=0", path).stdout
    return int(read.split(b",")[0])


def test_other_threads_run_while_a_put_waits(receiver):
    counted = []

    def count():
        receiver.begun.wait()
        counted.extend(range(10_000))
        receiver.release.set()  # nobody reads before

    counter = threading.Thread(target=count)
    counter.start()
    with xvwriter.Writer(receiver.url, RAW, layout="UYVY", rate=25) as writer:
        for number in range(12):  # five fit in queue and connection
            assert writer.put(grey(BIG), time=number / 25)
        assert len(counted) == 10_000
    counter.join()
    receiver.thread.join()
    assert receiver.bytes > 12 * grey(BIG).size


def test_a_buffer_is_held_as_long_as_it_is_read(receiver):
    pictures = [grey(BIG) for _ in range(3)]
    copied = grey(BIG)[:, ::-1]
    locked = bytearray(grey(BIG))
    references = [weakref.ref(picture) for picture in pictures]
    of_copy = weakref.ref(copied)
    count = sys.getrefcount(pictures[0])
    with xvwriter.Writer(receiver.url, RAW, layout="UYVY", rate=25) as writer:
        for picture in pictures:
            writer.put(picture)
        writer.put(copied)
        writer.put(locked, size=(1920, 1080))
        del pictures, picture, copied
        assert references[2]() is not None and of_copy() is None
        with pytest.raises(BufferError):
            locked.clear()
        receiver.release.set()
    assert [reference() for reference in references] == [None] * 3 and count == 2
    locked.clear()


def test_buffers_are_let_go_after_a_failure():
    data, sound = bytearray(32 * 48 * 2), bytearray(8)
    picture = grey()
    writer = xvwriter.Writer("no/such/folder.mov", layout="UYVY")
    frames = (
        dict(video=picture, audio=sound, channels=2, sample_bits=16, extras={"C608": data}),
        dict(video=data, size=(48, 32), audio=object()),
        dict(video=data, size=(48, 33)),
        dict(video=data, size=(48, 32), extras={"C608": sound, "": data}),
        dict(video=data, size=(48, 32), mask=picture),
        dict(video=data, size=(48, 32), attributes={"x": "'\" "}),
    )
    before = sys.getrefcount(picture)
    for arguments in frames:
        with pytest.raises((xvwriter.Error, ValueError, TypeError)):
            writer.put(**arguments)
        assert sys.getrefcount(picture) == before
    data.clear(), sound.clear()  # a BufferError where one is still held
    with pytest.raises(xvwriter.Error):
        writer.stop()


def test_failures_have_status_and_words():
    writer = xvwriter.Writer("no/such/folder.mov", layout="UYVY")
    with pytest.raises(FileNotFoundError) as missing:
        writer.put(grey())
    assert missing.value.status in (0x80070002, 0x80070003) and missing.value.errno == errno.ENOENT
    assert "no/such/folder.mov" in missing.value.words and missing.value.words in str(missing.value)
    with pytest.raises(xvwriter.Error):
        writer.stop()
    writer.start("a.mov", "diskspace.min=900000T")
    with pytest.raises(OSError) as full:  # the watch looks once in a while
        while True:
            writer.put(grey())
    assert full.value.errno == errno.ENOSPC and full.value.name == "XV_E_DISK_FULL"
    with pytest.raises(xvwriter.Error):
        writer.stop()
    with pytest.raises(ValueError) as invalid:
        writer.start("a\0b")
    assert invalid.value.status == 0x80070057
    again = pickle.loads(pickle.dumps(full.value))
    assert (type(again), str(again), again.errno) == (type(full.value), str(full.value), 28)
    assert isinstance(xvwriter._errors.make_error(0x8007000E), MemoryError)


def test_use_out_of_turn_is_refused_and_harms_nothing():
    writer = xvwriter.Writer(layout="UYVY", rate=25)
    for state in range(2):  # before a start, after a stop
        with pytest.raises(xvwriter.Error) as early:
            writer.put(grey())
        assert early.value.name == "E_UNEXPECTED" and not writer.stop()
        if state == 0:
            writer.start("a.mkv", "video::codec=ffv1")
            writer.put(grey())
            with pytest.raises(xvwriter.Error) as twice:
                writer.start("b.mkv")
            assert twice.value.name == "XV_E_IN_USE" and writer.recording
            assert writer.put(grey()) and writer.stop() and not writer.recording
    assert frames_of("a.mkv") == 2 and writer.statistics.streams[0].packets == 2
    with pytest.raises(KeyError):
        with writer as same:
            same.start("c.mkv", "video::codec=ffv1")
            same.put(grey())
            raise KeyError("of the program")
    assert frames_of("c.mkv") == 1


def test_attributes_that_nobody_took_are_told():
    with pytest.warns(xvwriter.AttributeWarning, match="vidoe::b .*video::b") as told:
        with xvwriter.Writer("a.mkv", {"video::codec": "ffv1", "vidoe::b": "5M"}) as writer:
            writer.put(grey(), layout="UYVY")
    assert told[0].filename == __file__
    assert "vidoe::b" in writer.statistics.unused_options[0]


def test_stop_at_once_gives_up_what_waits():
    ahead = "video::rc-lookahead=20 video::x264opts=threads=1:sync-lookahead=0 video.buffers=0"
    writer = xvwriter.Writer("a.mp4", f"video::codec=libx264 {ahead}", layout="UYVY", rate=25)
    for _ in range(30):
        writer.put(grey())
    with pytest.raises(xvwriter.Error) as aborted:
        writer.stop_at_once()
    assert aborted.value.name == "XV_E_ABORTED" and not writer.recording


def test_properties_are_a_mapping():
    properties = xvwriter.Writer().properties
    properties["video::b"], properties["embed_cc"] = "5M", True
    assert properties["VIDEO::B"] == "5M" and properties.at("video") == {"b": "5M"}
    assert set(properties) >= {"video::b", "embed_cc", "diskspace.min"}
    assert len(properties) == len(list(properties)) and all(properties[k] for k in properties)
    properties.at("audio").merge("codec=aac b='128 k'")
    assert properties["audio::b"] == "128 k" and properties.get("audio::c") is None
    del properties["video::b"]
    for use in (lambda: properties["video::b"], lambda: properties.pop("video::b")):
        with pytest.raises(KeyError):
            use()
    with pytest.raises(ValueError):
        properties["x"] = ""
    assert properties.at("quality")["frames_in"] == "0"


def test_catalogue_leads_to_a_recording():
    catalogue = xvwriter.Catalogue()
    mp4 = catalogue.format("MP4")
    codec = mp4.codec("libx264")
    assert "mp4" in mp4.extensions and codec.kind == "video"
    preset = next(row for row in codec.attributes if row.name == "video::preset")
    assert "ultrafast" in preset.values and preset.type.startswith("option") and preset.help
    bounded = [row for row in codec.attributes if row.type == "int" and row.minimum and row.maximum]
    assert bounded and all(float(row.minimum) < float(row.maximum) for row in bounded)
    with pytest.raises(KeyError):
        mp4.codec("no codec")
    chosen = catalogue.attributes_for(mp4, codec, mp4.codec("aac"))
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        with xvwriter.Writer("a.mp4", chosen, layout="UYVY", rate=25) as writer:
            writer.put(grey(), np.zeros((1920, 2), np.int16))
    assert probe("a.mp4", "stream=codec_name") == ["h264", "aac"]


SCRIPT = """
import os, sys, numpy, xvwriter
writer = xvwriter.Writer(sys.argv[1], "video::codec=libx264", layout="UYVY", rate=25)
for i in range(20):
    try:
        writer.put(numpy.zeros((64, 64, 2), numpy.uint8))
    except xvwriter.Error:
        pass
if len(sys.argv) > 2:
    child = os.fork()
    if child == 0:
        try:
            writer.put(None)
        except RuntimeError:
            sys.exit(7)  # through the interpreter's end
    assert os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]) == 7
    writer.put(numpy.zeros((64, 64, 2), numpy.uint8))
"""


def leave(*arguments):
    return subprocess.run([sys.executable, "-c", SCRIPT, *arguments], capture_output=True,
                          timeout=60, env=os.environ, text=True)


def test_an_exit_leaves_a_playable_file_or_says_why_not():
    done = leave("a.mp4")
    assert (done.returncode, done.stderr) == (0, "") and frames_of("a.mp4") == 20
    failed = leave("no/such/folder.mp4")
    assert "folder.mp4" in failed.stderr and "not found" in failed.stderr


def test_a_child_leaves_the_parents_recording_alone():
    done = leave("a.mp4", "fork")
    assert (done.returncode, done.stderr) == (0, "") and frames_of("a.mp4") == 21


def test_a_writer_that_is_dropped_stops_and_says_so():
    writer = xvwriter.Writer("a.mkv", "video::codec=ffv1", layout="UYVY")
    writer.put(grey())
    with pytest.warns(ResourceWarning, match="a.mkv"):
        del writer
    assert frames_of("a.mkv") == 1
