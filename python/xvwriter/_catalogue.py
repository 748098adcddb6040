"""What can be written on this machine, as objects."""

from __future__ import annotations

from collections.abc import Iterable
from dataclasses import dataclass, field
from typing import Optional, TypeVar

from . import _core


@dataclass(frozen=True)
class Attribute:
    """An option of a format or codec: a row of a dialog."""

    name: str  #: as the session takes it, "video::preset" for a codec's
    type: str  #: bool, int, int64, double, string, option, option_fixed, flags
    default: str  #: "" where the encoder, the preset or the writer decides
    values: tuple[str, ...]  #: the words it may have; empty for any
    minimum: str  #: "" for no bound; both sides of a size, "145x49"
    maximum: str
    help: str


@dataclass(frozen=True)
class Codec:
    """A codec as a format takes it, or a preset of one."""

    id: str  #: ``video::codec`` or ``audio::codec``; "null" for no track
    name: str  #: for a person; tells presets of one id apart
    kind: str  #: "video" or "audio"
    presets: dict[str, str]  #: attributes that the entry stands for
    _path: str = field(repr=False)
    _list: _core.ServedList = field(repr=False, compare=False)

    @property
    def attributes(self) -> tuple[Attribute, ...]:
        """Its options, nearest declaration first."""
        rows = self._list.codec_options(self._path, self.kind)
        return tuple(_attribute(row, f"{self.kind}::") for row in rows)


@dataclass(frozen=True)
class Format:
    """A container, or a preset of one."""

    id: str  #: the attribute ``format``; "" for the choice by the file's name
    name: str
    extensions: tuple[str, ...]  #: of file names
    protocol: str  #: what a URL of it begins with
    presets: dict[str, str]
    _path: str = field(repr=False)
    _list: _core.ServedList = field(repr=False, compare=False)

    @property
    def video_codecs(self) -> tuple[Codec, ...]:
        """The codecs that it takes for pictures."""
        return self._codecs("video")

    @property
    def audio_codecs(self) -> tuple[Codec, ...]:
        """The codecs that it takes for sound."""
        return self._codecs("audio")

    @property
    def attributes(self) -> tuple[Attribute, ...]:
        """The container's options."""
        return tuple(_attribute(row, "") for row in self._list.options(self._path))

    def codec(self, name: str) -> Codec:
        """The first codec with that id or name. KeyError when there is none."""
        return _find((*self.video_codecs, *self.audio_codecs), name)

    def _codecs(self, kind: str) -> tuple[Codec, ...]:
        entries = self._list.entries(f"{self._path}::{kind}::codec")
        return tuple(
            Codec(e["id"], e["name"], kind, presets, path, self._list)
            for path, e, presets in map(_read, entries)
        )


class Catalogue:
    """The formats that can be written here. The first one of a process takes a moment: every entry
    is looked for on this machine. Any thread.
    """

    def __init__(self) -> None:
        self._writer = _core.Writer()
        self._list = _core.ServedList(self._writer)
        #: Containers; the first one stands for the choice by the file's name.
        self.formats: tuple[Format, ...] = tuple(
            Format(e["id"], e["name"], _words(e["extensions"]), e["protocol"], presets, path,
                   self._list)
            for path, e, presets in map(_read, self._list.entries("formats::format"))
        )

    def format(self, name: str) -> Format:
        """The first format with that id or name, in any case. KeyError when there is none."""
        return _find(self.formats, name)

    def attributes_for(self, format: Format, video: Optional[Codec] = None,
                       audio: Optional[Codec] = None) -> dict[str, str]:
        """What a choice stands for, as ``Writer`` takes attributes: ids and presets."""
        chosen = {"format": format.id} if format.id else {}
        chosen.update(format.presets)
        for codec in (video, audio):
            if codec is None:
                continue
            chosen[f"{codec.kind}::codec"] = codec.id
            chosen.update({f"{codec.kind}::{key}": text for key, text in codec.presets.items()})
        return chosen


def _words(text: str) -> tuple[str, ...]:
    return tuple(word.strip() for word in text.split(",") if word.strip())


class _Entry(dict[str, str]):
    def __missing__(self, name: str) -> str:
        return ""


def _read(entry: _core.ListEntry) -> tuple[str, _Entry, dict[str, str]]:
    """Path, what describes the entry, and its presets."""
    describing = _Entry((name.lower(), text) for name, text in entry.attributes)
    presets = {name: text for name, text in entry.attributes if _core.is_preset(name)}
    return entry.path, describing, presets


_Named = TypeVar("_Named", Codec, Format)


def _find(entries: Iterable[_Named], name: str) -> _Named:
    for entry in entries:
        if name.lower() in (entry.id.lower(), entry.name.lower()):
            return entry
    raise KeyError(name)


def _attribute(row: _core.ListOption, prefix: str) -> Attribute:
    return Attribute(prefix + row.name, row.type, row.default, _words(row.values), row.minimum,
                     row.maximum, row.help)
