"""Records frames of Python programs into files and streams.

>>> import xvwriter
>>> with xvwriter.Writer("clip.mp4", "video::codec=libx264", layout="BGR24", rate=25) as writer:
...     writer.put(video=picture)
"""

from ._catalogue import Attribute, Catalogue, Codec, Format
from ._core import layouts as _layouts
from ._core import version_number as _version_number
from ._errors import (
    AccessDenied,
    Disconnected,
    Error,
    FileMissing,
    InvalidArgument,
    OutOfMemory,
    SystemFailure,
    TargetExists,
    TimedOut,
)
from ._properties import Properties
from ._statistics import Statistics, StreamCounts
from ._writer import AttributeWarning, Writer, attribute_text

#: Of the library that was loaded.
__version__ = ".".join(str(_version_number() // unit % 1000) for unit in (1_000_000, 1000, 1))

#: Names of the layouts that pictures may have.
LAYOUTS = tuple(_layouts())

__all__ = [
    "LAYOUTS",
    "AccessDenied",
    "Attribute",
    "AttributeWarning",
    "Catalogue",
    "Codec",
    "Disconnected",
    "Error",
    "FileMissing",
    "Format",
    "InvalidArgument",
    "OutOfMemory",
    "Properties",
    "Statistics",
    "StreamCounts",
    "SystemFailure",
    "TargetExists",
    "TimedOut",
    "Writer",
    "attribute_text",
]
