"""Properties of a writer as a mapping."""

from __future__ import annotations

from collections.abc import Iterator, MutableMapping
from typing import Union

from . import _core
from ._errors import make_error

Value = Union[str, int, float, bool]

#: Nodes with a form of their own: the counts and the list.
_LEFT_OUT = ("quality", "supported_list")


def as_text(value: Value) -> str:
    """A value as attributes have it."""
    return str(value).lower() if isinstance(value, bool) else str(value)


class Properties(MutableMapping[str, str]):
    """Properties by their path, such as ``"video::b"``; values are text.

    What is set here counts from the next start, below the attributes of that start, and stays until
    it is deleted. The iteration goes over all values that stand below this node but those of
    ``quality`` and ``supported_list``, which have ``Writer.statistics`` and ``Catalogue``; ``at``
    gives a node alone. Names are found in any case. Any thread, also while frames flow.
    """

    def __init__(self, core: _core.Writer, path: str = "") -> None:
        self._core = core
        self._path = path

    def at(self, path: str) -> Properties:
        """The properties below a node, such as ``at("quality")``."""
        return Properties(self._core, self._full(path))

    def merge(self, text: str) -> None:
        """Merges attribute text ("b=5M preset=fast"), or replaces the node by XML."""
        self._check(self._core.merge(self._path, text), "")

    def __getitem__(self, name: str) -> str:
        value = self._core.get(self._full(name)) if name else None
        if value is None:
            raise KeyError(name)
        return value

    def __setitem__(self, name: str, value: Value) -> None:
        text = as_text(value)
        if text == "":
            raise ValueError("a property without text does not exist: delete it")
        self._check(self._core.set(self._full(name), text), name)

    def __delitem__(self, name: str) -> None:
        if name not in self:
            raise KeyError(name)
        self._check(self._core.remove(self._full(name)), name)

    def __iter__(self) -> Iterator[str]:
        return iter(self._names("", self._path))

    def __len__(self) -> int:
        return len(self._names("", self._path))

    def __repr__(self) -> str:
        return f"{type(self).__name__}({dict(self)!r})"

    def _full(self, name: str) -> str:
        return f"{self._path}::{name}" if self._path and name else self._path or name

    def _names(self, prefix: str, node: str) -> list[str]:
        names: list[str] = []
        seen: dict[str, int] = {}
        for name, value, below in self._core.children(node) or ():
            if not node and name in _LEFT_OUT:
                continue
            count = seen.get(name, 0)
            seen[name] = count + 1
            key = f"{name}[{count}]" if count else name
            full = f"{node}::{key}" if node else key
            if value and self._core.get(full) is not None:
                names.append(prefix + key)
            if below:
                names += self._names(f"{prefix}{key}::", full)
        return names

    def _check(self, status: int, name: str) -> None:
        if status < 0:
            raise make_error(status, name)
