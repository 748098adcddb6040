"""What a recording counts."""

from __future__ import annotations

from dataclasses import dataclass


@dataclass(frozen=True)
class StreamCounts:
    """What one stream of the main output was given."""

    packets: int
    bytes: int


@dataclass(frozen=True)
class Statistics:
    """Counts of a session: from its first frame on, readable after the stop."""

    frames_in: int  #: frames that an open session was given
    side_file_errors: int  #: blocks that the side WAV file or a raw dump could not take
    drops: int  #: frames refused by a full queue or skipped for their time
    video_deque: int  #: pictures that wait for the encoder now
    pts_errors: int  #: pictures whose time was not above the one before
    rebases: int  #: frames whose time jumped, or that asked for a new offset
    repeats: int  #: pictures that stood in for missing ones
    audio_silence: int  #: milliseconds of silence put in
    audio_cut: int  #: milliseconds of samples cut
    audio_left_out: int  #: frames with sound, where the first one had none
    video_left_out: int  #: frames with a picture, where the first one had none
    captions_seen: int  #: pairs of caption bytes
    captions_written: int  #: to side files
    captions_embedded: int  #: into pictures
    captions_lost: int
    encode_ms_p50: float  #: milliseconds that half of the pictures took at most to encode
    encode_ms_p99: float
    write_ms_p50: float  #: the same of writing a packet
    write_ms_p99: float
    streams: tuple[StreamCounts, ...]
    unused_options: tuple[str, ...]  #: attributes that nobody took, with the nearest known name
    bad_values: tuple[str, ...]  #: values that cannot have been meant, with what is expected
    last_error: str  #: stage, words, status of the last failure, or of what was done to times
    last_status: int  #: of the last failure, as 32 bits; 0 where nothing failed
    others: dict[str, str]  #: what this package has no member for, as text


def make_statistics(values: dict[str, object]) -> Statistics:
    """Statistics of what the compiled module gives."""
    members: dict[str, object] = dict(values)
    streams: list[tuple[int, int]] = values["streams"]  # type: ignore[assignment]
    members["streams"] = tuple(StreamCounts(*stream) for stream in streams)
    for name in ("unused_options", "bad_values"):
        members[name] = tuple(values[name])  # type: ignore[arg-type]
    members["last_status"] = int(values["last_status"]) & 0xFFFFFFFF  # type: ignore[call-overload]
    members["others"] = dict(values["others"])  # type: ignore[call-overload]
    return Statistics(**members)  # type: ignore[arg-type]
