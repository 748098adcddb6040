"""The writer."""

from __future__ import annotations

import atexit
import math
import os
import sys
import warnings
import weakref
from collections.abc import Mapping, Sequence
from datetime import timedelta
from fractions import Fraction
from types import TracebackType
from typing import Any, Literal, Optional, Union

from . import _core
from ._errors import InvalidArgument, make_error
from ._properties import Properties, Value, as_text
from ._statistics import Statistics, make_statistics

Buffer = Any  # whatever has the buffer protocol: bytes, memoryview, array.array, numpy.ndarray
Seconds = Union[int, float, Fraction, timedelta]
Rate = Union[int, float, Fraction]
Attributes = Union[str, Mapping[str, Value]]
Timecode = Union[str, Sequence[int]]
FieldOrder = Literal["auto", "top", "bottom", "progressive"]

_ORDERS = {"auto": 0, "top": 1, "bottom": 2, "progressive": 3}
_FLAGS = {"break": 0x01, "rebase": 0x02, "end": 0x21, "gap": 0x40}
_NO_TIME = -(1 << 63)
# E_FAIL and XV_E_NOT_OPEN: the status of what failed says more.
_GENERAL = (0x80004005, 0x80040226)


class AttributeWarning(UserWarning):
    """An attribute that nobody took, or a value that cannot have been meant."""


class Writer:
    """Records frames into a file or stream.

    ``target`` is a path or URL, ``attributes`` the session's attributes as text or as a mapping.
    ``layout``, ``rate`` and ``sample_rate`` are what frames have that do not say otherwise.

    In a ``with`` statement the recording stops at the end; the file is playable whether the block
    was left by an exception or not. Any thread may call; frames are taken one after the other.
    """

    def __init__(
        self,
        target: Optional[Union[str, bytes, os.PathLike[str]]] = None,
        attributes: Attributes = "",
        *,
        layout: Optional[str] = None,
        rate: Rate = 0,
        sample_rate: int = 48000,
    ) -> None:
        self._recording = False
        self._core = _core.Writer()
        self.layout = layout
        self.rate = rate
        self.sample_rate = sample_rate
        #: Properties by their path; see Properties.
        self.properties = Properties(self._core)
        #: What is recorded to.
        self.target = ""
        if target is not None:
            self.start(target, attributes)

    def start(self, target: Union[str, bytes, os.PathLike[str]],
              attributes: Attributes = "") -> None:
        """Gets ready for frames; the first one opens the output. Raises Error where a recording
        runs, which goes on.
        """
        if _exiting:
            raise RuntimeError("the interpreter is going down")
        name = os.fsdecode(target)
        self._check(self._core.start(name, attribute_text(attributes)), name)
        self._recording = True
        self.target = name
        _open.add(self)

    def put(
        self,
        video: Optional[Union[Buffer, Sequence[Buffer]]] = None,
        audio: Optional[Union[Buffer, Sequence[Buffer]]] = None,
        *,
        layout: Optional[str] = None,
        size: Optional[tuple[int, int]] = None,
        rate: Optional[Rate] = None,
        interlace: FieldOrder = "auto",
        aspect: Optional[tuple[int, int]] = None,
        mask: Optional[Buffer] = None,
        sample_rate: Optional[int] = None,
        planar: bool = False,
        sample_bits: Optional[int] = None,
        channels: Optional[int] = None,
        track_mask: int = 0,
        time: Optional[Seconds] = None,
        duration: Optional[Seconds] = None,
        flag: Optional[Literal["break", "rebase", "end", "gap"]] = None,
        timecode: Optional[Timecode] = None,
        extras: Optional[Mapping[str, Buffer]] = None,
        attributes: Attributes = "",
    ) -> bool:
        """Takes one frame; False where it was dropped (a full queue, a time without a place).

        ``video`` is a picture in ``layout``, ``audio`` its sound: samples x channels, or channels x
        samples with ``planar``. The README of the package says which arrays they may be, and which
        are taken without a copy; those must not change until the writer lets go of them, at the
        latest when it stops. ``time`` is the start in seconds; without it frames follow one another
        at their rate.
        """
        draft = _core.FrameDraft()
        if video is not None:
            named = layout or self.layout
            if named is None:
                raise ValueError(f"a picture needs its layout: {', '.join(_core.layouts())}")
            fps = float(self.rate if rate is None else rate)
            if not math.isfinite(fps):
                raise ValueError("the rate is not a finite number")
            draft.video(video, named, size, fps, mask is not None)
            draft.interlace(_known(_ORDERS, interlace, "interlace"))
        if aspect is not None:
            draft.aspect(*aspect)
        if mask is not None:
            draft.mask(mask)
        if audio is not None:
            draft.audio(audio, self.sample_rate if sample_rate is None else sample_rate, planar,
                        sample_bits, channels, track_mask)
        _set_time(draft, time, duration, 0 if flag is None else _known(_FLAGS, flag, "flag"))
        if timecode is not None:
            draft.timecode(*_timecode(timecode))
        for name, data in (extras or {}).items():
            draft.extra(name, data)
        text = attribute_text(attributes)
        if text:
            draft.attributes(text)
        return self._check(self._core.put(draft)) == 0

    def stop(self) -> bool:
        """Encodes what waits and closes every file; False where nothing was recorded.

        Raises Error where something of the session failed, side files and second output included;
        what could be written is in the file. Warns of attributes that nobody took.
        """
        return self._finish(self._core.stop)

    def stop_at_once(self) -> bool:
        """Stops within moments; pictures that wait are given up, which raises Error with the status
        XV_E_ABORTED. The files are playable.
        """
        return self._finish(self._core.stop_at_once)

    @property
    def recording(self) -> bool:
        """Whether a start has not been stopped."""
        return self._recording

    @property
    def last_error(self) -> str:
        """What went wrong last, in words; "" for nothing."""
        return self._core.get("quality::last_error") or ""

    @property
    def statistics(self) -> Statistics:
        """The counts as they are now."""
        return make_statistics(self._core.statistics())

    def __enter__(self) -> Writer:
        return self

    def __exit__(self, kind: Optional[type[BaseException]], error: Optional[BaseException],
                 trace: Optional[TracebackType]) -> None:
        if not self._recording:
            return
        try:
            self.stop()
        except Exception as failure:
            if error is None:
                raise
            if sys.version_info >= (3, 11):
                error.add_note(f"the recording of {self.target} failed as well: {failure}")

    def __del__(self) -> None:
        if getattr(self, "_recording", False):
            warnings.warn(f"{self!r} was never stopped", ResourceWarning, source=self)
            self.stop()

    def __repr__(self) -> str:
        state = "recording" if self._recording else "stopped"
        return f"<xvwriter.Writer {self.target!r}, {state}>"

    def _finish(self, stop: Any) -> bool:
        status = stop()
        told = self._recording
        self._recording = False
        _open.discard(self)
        done = self._check(status) == 0
        if told:
            self._warn()
        return done

    def _warn(self) -> None:
        statistics = self.statistics
        for line in statistics.unused_options:
            warnings.warn(f"nobody took {line}", AttributeWarning, _depth_of_caller())
        for line in statistics.bad_values:
            warnings.warn(line, AttributeWarning, _depth_of_caller())

    def _check(self, status: int, words: str = "") -> int:
        if status >= 0:
            return status
        cause = self._core.get("quality::last_status")
        if cause and status & 0xFFFFFFFF in _GENERAL and int(cause, 16) & 0x80000000:
            status = int(cause, 16)
        raise make_error(status, self.last_error or words)


def attribute_text(attributes: Attributes) -> str:
    """Attributes as text; those of a mapping are quoted as they must be. Raises InvalidArgument for
    what attribute text cannot hold.
    """
    if isinstance(attributes, str):
        return attributes
    items = []
    for name, value in attributes.items():
        item = _core.attribute(name, as_text(value))
        if item is None:
            raise InvalidArgument(0x80070057, f"no attribute text can hold {name}={value}")
        items.append(item)
    return " ".join(items)


def _depth_of_caller() -> int:
    """Frames between the one that called this and the first outside of the package."""
    depth = 1
    frame = sys._getframe(1)
    while frame.f_back is not None and frame.f_globals.get("__package__") == __package__:
        frame = frame.f_back
        depth += 1
    return depth


def _known(table: dict[str, int], word: str, what: str) -> int:
    if word not in table:
        raise ValueError(f"{what} is one of {', '.join(table)}; not {word!r}")
    return table[word]


def _ticks(seconds: Seconds) -> int:
    """100 ns units; exact for fractions."""
    if isinstance(seconds, timedelta):
        return seconds // timedelta(microseconds=1) * 10
    return round(seconds * 10_000_000)


def _set_time(draft: _core.FrameDraft, time: Optional[Seconds], duration: Optional[Seconds],
              flags: int) -> None:
    if time is None:
        if duration is not None:
            raise ValueError("a duration needs a time")
        if flags:
            draft.time(_NO_TIME, _NO_TIME, flags)
        return
    start = _ticks(time)
    draft.time(start, 0 if duration is None else start + _ticks(duration), flags)


def _timecode(text: Timecode) -> tuple[int, int, int, int, bool]:
    """"10:00:00:00", with ";" ahead of the frames for a drop-frame count, or four or five numbers."""
    drop = False
    parts: Sequence[Any] = text
    if isinstance(text, str):
        drop = ";" in text
        parts = text.replace(";", ":").split(":")
    elif len(text) == 5:
        drop = bool(text[4])
        parts = text[:4]
    if len(parts) != 4:
        raise ValueError(f"a time code has hours, minutes, seconds and frames: {text!r}")
    hour, minute, second, frame = (int(part) for part in parts)
    return hour, minute, second, frame, drop


# Writers that record. Their threads let go of Python's buffers, so they stop ahead of the
# interpreter.
_open: weakref.WeakSet[Writer] = weakref.WeakSet()
_exiting = False


@atexit.register
def _stop_all() -> None:
    global _exiting
    _exiting = True
    for writer in list(_open):
        try:
            writer.stop()
        except Exception as failure:
            print(f"xvwriter: {writer.target}: {failure}", file=sys.stderr)


def _leave_to_parent() -> None:
    """In a child made by fork: what records here is the parent's."""
    for writer in list(_open):
        writer._recording = False
    _open.clear()


os.register_at_fork(after_in_child=_leave_to_parent)
