# SPDX-License-Identifier: MIT
"""Text and pictures: lines of text drawn on pictures, PDF and SVG, pictures in seven formats, hit tests.

>>> import tovkit
>>> picture = tovkit.draw({"Content": "Hello"}, size=(200, 60))
>>> picture.to_bytes("png")[1:4]
b'PNG'

Every exception of the package is a tovkit.Error, and the ValueError or OSError that one would catch as well.
tovkit.jobs draws many things in worker processes.
"""

from ._drawing import describe, draw, draw_pdf, draw_svg
from ._errors import DecodeError, DescriptionWarning, Error, FileError, InputError, JsonError, LimitError
from ._records import HitDetail, Process
from ._tovkit import (Image, Path, b64decode, b64encode, distance, fonts, hit_detail, hit_test,
                      parse_color, parse_pages, processes)

from ._tovkit import __version__ as __version__

__all__ = [
    "DecodeError", "DescriptionWarning", "Error", "FileError", "HitDetail", "Image", "InputError", "JsonError",
    "LimitError", "Path", "Process", "b64decode", "b64encode", "describe", "distance", "draw", "draw_pdf",
    "draw_svg", "fonts", "hit_detail", "hit_test", "jobs", "parse_color", "parse_pages", "processes",
]

for _kind in (Image, Path):
    _kind.__module__ = "tovkit"

TYPE_CHECKING = False
if TYPE_CHECKING:
    from types import ModuleType

    from . import jobs as jobs


def __getattr__(name: str) -> "ModuleType":
    """tovkit.jobs is loaded when it is first asked for."""
    if name != "jobs":
        raise AttributeError(f"module 'tovkit' has no attribute {name!r}")
    import importlib

    return importlib.import_module(".jobs", __name__)
