# SPDX-License-Identifier: MIT
"""Drawing lines of text that objects or JSON describe."""

from __future__ import annotations

import warnings

from . import _tovkit
from ._errors import DescriptionWarning, InputError

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Callable, Iterable, Mapping, Sequence
    from os import PathLike
    from typing import Any, Union

    from ._tovkit import Image

    Line = Mapping[str, Any]
    Page = Sequence[Line]
    Lines = Union[str, Line, Page, Sequence[Page]]
    Size = Union[str, tuple[float, float]]
    Path = Union[str, PathLike[str]]
    Fonts = Union[Path, Iterable[Path]]


_encode: Callable[[object], str] | None = None


def _text_of(lines: Lines) -> tuple[str, bool]:
    """The JSON of the lines, and whether it was made of objects."""
    if isinstance(lines, str):
        return lines, False
    global _encode
    if _encode is None:
        # Not before it is needed: most of the time that it takes to import the package would go into it.
        import json

        _encode = json.JSONEncoder(allow_nan=False, separators=(",", ":")).encode
    try:
        return _encode(lines), True
    except TypeError as error:
        raise TypeError(f"lines: {error}") from None
    except ValueError as error:
        raise InputError(f"lines: {error}") from None


def _warn(found: list[str]) -> None:
    for text in found:
        warnings.warn(text, DescriptionWarning, stacklevel=3)


def draw(lines: Lines, *, size: Size | None = None, dpi: float = 96, background: str | None = "#fff",
         over: Image | Path | bytes | None = None, fonts: Fonts = (), strict: bool = False) -> Image:
    """Draws lines of text on one page and returns it as an Image.

    ``lines`` is a dict, which is one line, a list of them, or JSON text of either. A line has "Content", and
    may have "DeltaX" and "DeltaY" (where it starts, in units of 1/96 inch) and "Font" with "FontName",
    "FontSize" (points), "Color", "Bold" and "Italic".

    ``size`` is the page: (width, height) in units of 1/96 inch, or a str such as "800x600", "210x297mm" or
    "A4"; without one, what the text needs. ``dpi``, 1 to 4800, is the pixels to the inch. ``background`` is a
    color as ``parse_color`` takes it, "none" or None for a transparent page. ``over`` is a picture to draw
    on, an Image, a path or the bytes of a file, in place of size and background. ``fonts`` are files to draw
    with beside the installed ones, from now on in the whole process.

    A member that is not used as it stands, such as a misspelled key, is a DescriptionWarning, and with
    ``strict`` a JsonError.

    Raises JsonError (a ValueError) for lines that cannot be drawn, LimitError for a page that is too large,
    FileError (an OSError), InputError (a ValueError) for other values, several pages among them, TypeError.

    >>> import tovkit
    >>> tovkit.draw({"Content": "Hello, 世界", "Font": {"FontSize": 36}}, size=(300, 80))
    <tovkit.Image BGR 300 x 80>
    """
    text, objects = _text_of(lines)
    image, found = _tovkit.draw(text, objects, size, dpi, background, over, fonts, strict)
    if found:
        _warn(found)
    return image


def draw_pdf(lines: Lines, *, size: Size | None = None, background: str | None = "#fff", fonts: Fonts = (),
             strict: bool = False) -> bytes:
    """Draws lines of text as a PDF, whose text can be searched, and returns its bytes.

    ``lines`` is as for ``draw``; a list of lists is several pages. The other parameters are those of
    ``draw``. With SOURCE_DATE_EPOCH in the environment the same lines make the same bytes.

    Raises what ``draw`` raises.

    >>> import tovkit
    >>> tovkit.draw_pdf([[{"Content": "one"}], [{"Content": "two"}]], size="A4")[:5]
    b'%PDF-'
    """
    text, objects = _text_of(lines)
    document, found = _tovkit.draw_document(text, objects, "pdf", size, background, fonts, strict)
    if found:
        _warn(found)
    return document


def draw_svg(lines: Lines, *, size: Size | None = None, background: str | None = "#fff", fonts: Fonts = (),
             strict: bool = False) -> bytes:
    """Draws lines of text on one page as SVG and returns its bytes, UTF-8.

    The parameters are those of ``draw``.

    Raises what ``draw`` raises.

    >>> import tovkit
    >>> b"<svg" in tovkit.draw_svg({"Content": "Hello"})
    True
    """
    text, objects = _text_of(lines)
    document, found = _tovkit.draw_document(text, objects, "svg", size, background, fonts, strict)
    if found:
        _warn(found)
    return document


def describe(lines: Lines, *, size: Size | None = None, fonts: Fonts = (), limit: int = 1000) -> list[dict[str, Any]]:
    """Tells what would be drawn, without drawing: a report, a dict, for each line of all pages.

    A report has the "content", the "font" that is drawn with and the one "wanted", "ink" and "logical", the
    extents in units of 1/96 inch, the "runs" from left to right, the characters that are "missing" in every
    font, "warnings" of what in the description is not used as it stands, and, where a ``size`` is given,
    "clipped": how far the ink reaches beyond the page. "pointer" is the line's place in ``lines``; "line" and
    "column" are that in a JSON text.

    ``limit`` is the most runs, positions and warnings of a report. The other parameters are those of ``draw``.

    Raises JsonError (a ValueError) for lines that cannot be drawn, InputError (a ValueError), FileError (an
    OSError), TypeError.

    >>> import tovkit
    >>> report = tovkit.describe({"Content": "Hello", "Colors": "#f00"})[0]
    >>> report["warnings"][0]["pointer"]
    '/Colors'
    """
    import json

    text, objects = _text_of(lines)
    reports: list[dict[str, Any]] = json.loads(_tovkit.describe(text, objects, size, fonts, limit))
    return reports
