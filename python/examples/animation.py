"""A wave that runs and the tone that goes with it: usage: animation.py OUTPUT"""

import sys
from fractions import Fraction

import numpy as np
import xvwriter

WIDTH, HEIGHT, RATE, SECONDS = 640, 360, 25, 2
columns = np.arange(WIDTH)
rows = np.arange(HEIGHT)[:, np.newaxis]


def picture(seconds: float) -> np.ndarray:
    """Lines x columns x (blue, green, red)."""
    wave = HEIGHT / 2 + HEIGHT / 3 * np.sin(columns / 60 + 2 * np.pi * seconds)
    distance = np.abs(rows - wave)
    image = np.empty((HEIGHT, WIDTH, 3), np.uint8)
    image[...] = np.clip(255 - 12 * distance, 24, 255)[:, :, np.newaxis]
    image[..., 0] = 96
    return image


tone = 0.25 * np.sin(2 * np.pi * 440 * np.arange(48000 * SECONDS) / 48000)
blocks = np.stack([tone, tone], axis=1).astype(np.float32).reshape(RATE * SECONDS, -1, 2)

attributes = {"video::codec": "libx264", "video::preset": "fast", "audio::codec": "aac"}
with xvwriter.Writer(sys.argv[1], attributes, layout="BGR24", rate=RATE) as writer:
    for number, sound in enumerate(blocks):
        time = Fraction(number, RATE)
        writer.put(picture(float(time)), sound, time=time)
