"""Pixels and samples of every form come back from the file as they were pushed."""

import array
import pathlib
import sys

import numpy as np
import pytest
import xvwriter
from conftest import decode, probe, run

noise = np.random.default_rng(7).integers(16, 236, (64, 96, 4), np.uint8)
bgr = np.ascontiguousarray(noise[:32, :48, :3])
uyvy = np.ascontiguousarray(noise[:32, :48, :2])
i420 = np.ascontiguousarray(noise[:48, :48, 0])  # 48 x 32 and its chroma


def planes(block):
    return block[:32], block[32:40].reshape(16, 24), block[40:].reshape(16, 24)


PICTURES = {
    "packed": ("BGR24", "bgr24", bgr, {}, bgr),
    "three bytes of four": ("BGR24", "bgr24", noise[5:37, :, :3], {}, noise[5:37, :, :3]),
    "columns of a larger one": ("BGR0", "bgr0", noise[4:20, 8:40], {}, noise[4:20, 8:40]),
    "lines upwards": ("BGR24", "bgr24", bgr[::-1], {}, bgr[::-1]),
    "red first": ("BGR24", "bgr24", bgr[..., ::-1], {}, bgr[..., ::-1]),
    "every second column": ("BGR24", "bgr24", bgr[:, ::2], {}, bgr[:, ::2]),
    "one line for all": ("BGR24", "bgr24", np.broadcast_to(bgr[0], bgr.shape), {},
                         np.broadcast_to(bgr[0], bgr.shape)),
    "a width whose lines are padded": ("BGR24", "bgr24", bgr[:, :5].copy(), {}, bgr[:, :5]),
    "lines x bytes": ("BGR24", "bgr24", bgr.reshape(32, -1), {}, bgr),
    "words": ("BGR0", "bgr0", noise.view(np.uint32)[..., 0], {}, noise),
    "plain bytes": ("BGR24", "bgr24", bytes(bgr), {"size": (48, 32)}, bgr),
    "array.array": ("BGR24", "bgr24", array.array("B", bytes(bgr)), {"size": (48, 32)}, bgr),
    "4:2:2": ("UYVY", "uyvy422", uyvy, {}, uyvy),
    "4:2:2 upwards": ("UYVY", "uyvy422", uyvy[::-1], {}, uyvy[::-1]),
    "4:2:0 in one": ("I420", "yuv420p", i420, {}, i420),
    "planes of one block": ("I420", "yuv420p", planes(i420), {}, i420),
    "planes apart": ("I420", "yuv420p", [plane.copy() for plane in planes(i420)], {}, i420),
    "planes with gaps": ("I420", "yuv420p", [plane.repeat(2, 1)[:, ::2] for plane in planes(i420)],
                         {}, i420),
    "V ahead of U": ("YV12", "yuv420p", [planes(i420)[k] for k in (0, 2, 1)], {}, i420),
    "4:2:0 bytes": ("I420", "yuv420p", bytes(i420), {"size": (48, 32)}, i420),
    "chroma in pairs": ("NV12", "nv12", [i420[:32], i420[32:].reshape(16, 24, 2).copy()], {}, i420),
}


@pytest.mark.parametrize("case", PICTURES)
def test_pixels_are_those_of_the_array(case):
    layout, pixel_format, picture, more, expected = PICTURES[case]
    with xvwriter.Writer("a.nut", "video::codec=rawvideo", layout=layout, rate=25) as writer:
        for _ in range(2):
            assert writer.put(picture, **more)
    assert probe("a.nut", "stream=pix_fmt")[0] in (pixel_format, "yuv420p", "bgra")
    read = decode("a.nut", "-pix_fmt", pixel_format, "-f", "rawvideo")
    step = 4 if pixel_format == "bgr0" else 1
    wanted = np.tile(np.ascontiguousarray(expected).reshape(-1), 2)
    for byte in range(min(step, 3)):
        np.testing.assert_array_equal(read[byte::step], wanted[byte::step])


def test_ten_bits_and_their_lines():
    width, lines = 50, 4  # two groups of 48 pixels
    words = np.random.default_rng(3).integers(64, 940, (lines, 64, 3)).astype(np.uint32)
    rows = words[..., 0] | words[..., 1] << 10 | words[..., 2] << 20
    used = (width + 5) // 6 * 4
    read = []
    for name, picture in {"whole.mov": rows, "short.mov": rows[:, :used]}.items():
        with xvwriter.Writer(name, "video::codec=v210", layout="v210", rate=25) as writer:
            writer.put(picture, size=(width, lines))
        read.append(decode(name, "-pix_fmt", "yuv422p10le", "-f", "rawvideo").view(np.uint16))
    np.testing.assert_array_equal(read[0], read[1])
    luma = read[0][: width * lines].reshape(lines, width)
    np.testing.assert_array_equal(luma[:, 0], words[:, 0, 1])
    np.testing.assert_array_equal(luma[:, 49], words[:, 33, 0])  # Y of the ninth group's second


def test_alpha_of_a_mask_follows_its_picture():
    alpha = np.arange(32 * 48, dtype=np.uint8).reshape(32, 48)
    white = np.full((32, 48, 4), 255, np.uint8)
    with xvwriter.Writer("a.mov", "video::codec=png", layout="BGR0", rate=25) as writer:
        writer.put(white[::-1], mask=alpha)
    read = decode("a.mov", "-pix_fmt", "bgra", "-f", "rawvideo").reshape(32, 48, 4)
    np.testing.assert_array_equal(read[..., 3], alpha)


sound16 = np.random.default_rng(5).integers(-30000, 30000, (4800, 2)).astype(np.int16)
sound32 = sound16.astype(np.int32) << 15
floats = (sound16 / 40000).astype(np.float32)
threes = np.ascontiguousarray(sound32.view(np.uint8).reshape(4800, 2, 4)[..., 1:])
SOUNDS = {
    "interleaved": ("s16le", sound16, {}, sound16),
    "plain bytes": ("s16le", bytes(sound16), {"channels": 2, "sample_bits": 16}, sound16),
    "planar": ("s16le", sound16.T, {"planar": True}, sound16),
    "planar in order": ("s16le", sound16.T.copy(), {"planar": True}, sound16),
    "a sequence of channels": ("s16le", [sound16[:, 0].copy(), sound16[:, 1]], {"planar": True},
                               sound16),
    "backwards": ("s16le", sound16[::-1], {}, sound16[::-1]),
    "one channel": ("s16le", sound16[:, 1].copy(), {}, sound16[:, 1]),
    "32 bits": ("s32le", sound32, {}, sound32),
    "floats": ("f32le", floats, {}, floats),
    "24 bits": ("s24le", threes, {}, threes),
    "24 bits planar": ("s24le", threes.transpose(1, 0, 2), {"planar": True}, threes),
}


@pytest.mark.parametrize("case", SOUNDS)
def test_samples_are_those_of_the_array(case):
    codec, samples, more, expected = SOUNDS[case]
    with xvwriter.Writer("a.mkv", {"audio::codec": f"pcm_{codec}"}, sample_rate=44100) as writer:
        writer.put(audio=samples, **more)
    assert probe("a.mkv", "stream=codec_name,sample_rate") == [f"pcm_{codec}", "44100"]
    np.testing.assert_array_equal(decode("a.mkv", "-c", "copy", "-f", codec),
                                  np.frombuffer(np.ascontiguousarray(expected), np.uint8))


REFUSED = {
    "no layout": dict(video=bgr),
    "an unknown layout": dict(video=bgr, layout="RGB"),
    "other bytes a pixel": dict(video=noise, layout="BGR24"),
    "another size": dict(video=bgr, layout="BGR24", size=(49, 32)),
    "bytes without a size": dict(video=bytes(bgr), layout="BGR24"),
    "a plane too few": dict(video=planes(i420)[:2], layout="I420"),
    "lines that are not 3/2": dict(video=i420[:47], layout="I420"),
    "no picture": dict(video=np.zeros((0, 4, 3), np.uint8), layout="BGR24"),
    "doubles": dict(audio=floats.astype(np.float64)),
    "big-endian samples": dict(audio=sound16.astype(">i2")),
    "channels first": dict(audio=sound16.T),
    "channels of two lengths": dict(audio=[sound16[:, 0], sound16[1:, 1]], planar=True),
    "bytes without a type": dict(audio=bytes(sound16)),
    "half a sample": dict(audio=bytes(7), channels=2, sample_bits=16),
    "a time code of three": dict(video=bgr, layout="BGR24", timecode="10:00:00"),
    "no number of seconds": dict(video=bgr, layout="BGR24", time=float("nan")),
    "another order": dict(video=bgr, layout="BGR24", interlace="upper"),
}


@pytest.mark.parametrize("case", REFUSED)
def test_what_is_no_media_is_refused(case):
    writer = xvwriter.Writer("a.mkv", "video::codec=ffv1")
    with pytest.raises(ValueError):
        writer.put(**REFUSED[case])
    assert not writer.stop()  # nothing was recorded, and a refused frame opened nothing
    assert not pathlib.Path("a.mkv").exists()


def test_what_a_frame_carries_beside_its_media():
    pair = bytes([0x94, 0x20, 0, 0])
    with xvwriter.Writer("a.mov", "video::codec=mpeg2video", layout="UYVY", rate=25) as writer:
        for number in range(25):
            writer.put(uyvy, time=number / 25, duration=1 / 25, timecode="10:00:00:05",
                       interlace="top", aspect=(16, 9), extras={"C608": pair},
                       attributes={"mirror": "horz"} if number == 0 else "")
    assert writer.statistics.captions_seen == 25
    assert probe("a.mov", "stream=field_order,display_aspect_ratio:stream_tags=timecode")[:2] == [
        "16:9", "tb"] and b"10:00:00:05" in run("ffprobe", "a.mov").stderr
    first = decode("a.mov", "-frames", "1", "-vf", "hflip", "-pix_fmt", "gray", "-f", "rawvideo")
    assert np.abs(first.astype(int) - uyvy[..., 1].reshape(-1)).mean() < 12


def test_animation_example():
    script = pathlib.Path(__file__).parents[2] / "python/examples/animation.py"
    run(sys.executable, str(script), "wave.mp4")
    assert probe("wave.mp4", "stream=codec_name") == ["h264", "aac"]
    grey = decode("wave.mp4", "-pix_fmt", "gray", "-f", "rawvideo").reshape(50, 360, 640)
    assert (grey[:, :, 0].argmax(axis=1)[[0, 6, 19]] // 30).tolist() == [6, 9, 2]  # 180, 300, 60
    tone = decode("wave.mp4", "-ac", "1", "-f", "s16le").view(np.int16)[:48000]
    assert np.abs(np.fft.rfft(tone)).argmax() == 440
