# SPDX-License-Identifier: MIT
"""The exceptions of the package. Each is also the one that Python people catch: a ValueError or an OSError."""

import os as _os


class Error(Exception):
    """What every exception of the package is.

    >>> import tovkit
    >>> try:
    ...     tovkit.parse_color("red")
    ... except tovkit.Error as error:
    ...     print(error)
    text: 'red' is no color: none, #gg, #rgb, #rrggbb, #ccmmyykk, or 1, 3 or 4 numbers from 0 to 255
    """


class InputError(Error, ValueError):
    """What was given cannot be used: an unknown format, a number out of its range, a path that is none.

    >>> import tovkit
    >>> issubclass(tovkit.InputError, ValueError)
    True
    """


class DecodeError(Error, ValueError):
    """Bytes that are no picture, or a broken one.

    >>> import tovkit
    >>> tovkit.Image.open(b"GIF89a and no more")
    Traceback (most recent call last):
    ...
    tovkit.DecodeError: picture: GIF that is broken
    """


class LimitError(Error, ValueError):
    """More memory, a larger page or a larger picture than is allowed.

    >>> import tovkit
    >>> tovkit.draw({"Content": "a"}, size=(1e6, 1e6))
    Traceback (most recent call last):
    ...
    tovkit.LimitError: lines: a page of 1000000 x 1000000 is too large; sides go up to 32767
    """


class FileError(Error, OSError):
    """The system refused a file. ``errno``, ``strerror`` and ``filename`` are those of OSError, and
    FileNotFoundError and PermissionError catch theirs.

    >>> import tovkit
    >>> try:
    ...     tovkit.Image.open("/no/such/file.png")
    ... except FileNotFoundError as error:
    ...     print(isinstance(error, tovkit.FileError), error.filename)
    True /no/such/file.png
    """


class _MissingFileError(FileError, FileNotFoundError):
    pass


class _ForbiddenFileError(FileError, PermissionError):
    pass


class _IsAFolderError(FileError, IsADirectoryError):
    pass


class JsonError(Error, ValueError):
    """A text that is not JSON, or JSON that does not describe what it should.

    ``pointer`` (RFC 6901) names the value that is meant. ``line`` and ``column`` count from 1, columns in
    characters; both are 0 where objects and no text were given.

    >>> import tovkit
    >>> try:
    ...     tovkit.draw('{"Content": "a",\\n "Font": x}')
    ... except tovkit.JsonError as error:
    ...     print(error.line, error.column, error.pointer)
    2 10 /Font
    """

    def __init__(self, message: str, line: int = 0, column: int = 0, pointer: str = "") -> None:
        super().__init__(message)
        self.line = line
        self.column = column
        self.pointer = pointer

    def __reduce__(self) -> "tuple[type[JsonError], tuple[str, int, int, str]]":
        return type(self), (str(self), self.line, self.column, self.pointer)


class DescriptionWarning(UserWarning):
    """A member of a description that is not used as it stands, such as a misspelled key.

    >>> import tovkit, warnings
    >>> with warnings.catch_warnings(record=True) as caught:
    ...     warnings.simplefilter("always")
    ...     picture = tovkit.draw({"Content": "a", "Colors": "#f00"})
    >>> print(caught[0].category.__name__)
    DescriptionWarning
    """


def file_error(code: int, text: str, name: str) -> FileError:
    """The FileError that is also the OSError for this number."""
    for kind in (_MissingFileError, _ForbiddenFileError, _IsAFolderError):
        if isinstance(OSError(code, text), kind.__bases__[1]):
            return kind(code, text, name)
    return FileError(code, text or _os.strerror(code), name)


for _kind in (Error, InputError, DecodeError, LimitError, FileError, JsonError, DescriptionWarning):
    _kind.__module__ = "tovkit"
