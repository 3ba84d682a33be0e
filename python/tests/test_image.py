# SPDX-License-Identifier: MIT
"""Pictures there and back, in every form, and views of their pixels."""

from __future__ import annotations

import copy
import hashlib
import io
import pathlib
import sys
import threading
from collections.abc import Callable
from typing import Any

import numpy as np
import numpy.typing as npt
import PIL.Image
import pytest
from hypothesis import given
from hypothesis import strategies as st

import tovkit
from tovkit import Image

def view_of(image: Any) -> Any:
    """What has a buffer cannot be said in types before Python 3.12."""
    return memoryview(image)


CHANNELS = {"L": 1, "BGR": 3, "BGRA": 4}


@st.composite
def arrays(draw: st.DrawFn, channels: int | None = None) -> npt.NDArray[np.uint8]:
    width, height = draw(st.integers(1, 20)), draw(st.integers(1, 20))
    count = draw(st.sampled_from([1, 3, 4])) if channels is None else channels
    shape = (height, width) if count == 1 else (height, width, count)
    data = draw(st.binary(min_size=width * height * count, max_size=width * height * count))
    return np.frombuffer(data, dtype=np.uint8).reshape(shape)


def strided(array: npt.NDArray[np.uint8], how: int) -> npt.NDArray[np.uint8]:
    """The same values with other strides."""
    if how == 0:
        return np.asfortranarray(array)
    if how == 1:
        wide = np.zeros((array.shape[0] * 2, array.shape[1] * 3, *array.shape[2:]), np.uint8)
        wide[::2, ::3] = array
        return wide[::2, ::3]
    if how == 2:
        return np.ascontiguousarray(array[::-1, ::-1])[::-1, ::-1]
    return array


@given(arrays(), st.integers(0, 3))
def test_an_array_comes_back(array: npt.NDArray[np.uint8], how: int) -> None:
    image = Image.fromarray(strided(array, how))
    assert image.size == (array.shape[1], array.shape[0])
    assert CHANNELS[image.mode] == (1 if array.ndim == 2 else array.shape[2])
    assert np.array_equal(np.asarray(image), array)
    assert np.array_equal(np.asarray(Image.fromarray(np.asarray(image))), array)


@given(arrays(3))
def test_red_comes_first_when_it_is_asked_for(array: npt.NDArray[np.uint8]) -> None:
    image = Image.fromarray(array, "RGB")
    assert np.array_equal(np.asarray(image), array[:, :, ::-1])
    assert np.array_equal(np.asarray(image.rgb()), array)


@given(arrays())
def test_a_mode_tells_the_order_of_the_colors(array: npt.NDArray[np.uint8]) -> None:
    names = {1: ["L"], 3: ["BGR", "RGB"], 4: ["BGRA", "RGBA"]}[1 if array.ndim == 2 else array.shape[2]]
    for name in names:
        found = np.asarray(Image.fromarray(array, name))
        stored = array[:, :, [2, 1, 0, 3][:array.shape[2]]] if name.startswith("R") else array
        assert np.array_equal(found, stored), name


@given(arrays(), st.sampled_from(["png", "tif", "bmp", "webp"]))
def test_a_file_that_loses_nothing_comes_back(array: npt.NDArray[np.uint8], name: str) -> None:
    image = Image.fromarray(array)
    back = Image.open(image.to_bytes(name))
    wanted, found = np.asarray(image.rgb()), np.asarray(back.rgb())
    if name == "webp" and array.ndim == 3 and array.shape[2] == 4:
        opaque = wanted[:, :, 3] > 0    # what nobody sees may change
        wanted, found = wanted[opaque], found[opaque] if found.shape[2] == 4 else np.dstack(
            [found, np.full(found.shape[:2], 255, np.uint8)])[opaque]
    if wanted.shape != found.shape:
        # An alpha that is 255 everywhere need not be written.
        assert wanted.shape[-1] == 4 and (wanted[..., 3] == 255).all()
        wanted = wanted[..., :3]
    assert np.array_equal(wanted, found)


@given(arrays())
def test_pillow_gets_and_gives_the_same_pixels(array: npt.NDArray[np.uint8]) -> None:
    image = Image.fromarray(array, dpi=(300, 150))
    picture = image.to_pillow()
    wanted = array if array.ndim == 2 else array[:, :, [2, 1, 0, 3][: array.shape[2]]]
    assert np.array_equal(np.asarray(picture), wanted)
    back = Image.from_pillow(picture)
    assert np.array_equal(np.asarray(back), array)
    assert back.dpi == (300, 150)


@pytest.mark.parametrize("mode", ["1", "L", "LA", "P", "PA", "RGB", "RGBA", "RGBX", "CMYK", "YCbCr", "HSV", "I", "F"])
def test_every_mode_of_pillow_is_taken(mode: str) -> None:
    picture = PIL.Image.linear_gradient("L").resize((9, 7)).convert("RGB").convert(mode) \
        if mode not in ("PA", "HSV") else PIL.Image.new(mode, (9, 7))
    image = Image.from_pillow(picture)
    assert image.size == (9, 7)
    has_alpha = mode in ("LA", "PA", "RGBA")
    assert image.mode == ("BGRA" if has_alpha else "L" if mode in ("1", "L") else "BGR")
    if mode != "L" and mode != "1":
        assert np.array_equal(np.asarray(image.rgb()), np.asarray(picture.convert("RGBA" if has_alpha else "RGB")))


def test_a_palette_is_a_mode_of_its_own() -> None:
    picture = PIL.Image.linear_gradient("L").resize((9, 7)).convert("RGB").quantize(16)
    file = io.BytesIO()
    picture.save(file, "gif")
    image = Image.open(file.getvalue())
    assert image.mode == "P" and image.format == "GIF"
    palette = image.palette
    assert palette is not None
    indices = np.asarray(image)
    shown = np.asarray(palette, dtype=np.uint8)[indices][:, :, :3]
    assert np.array_equal(shown, np.asarray(picture.convert("RGB")))
    assert np.array_equal(np.asarray(image.to_pillow().convert("RGB")), shown)
    assert image.resize("50%").mode == "BGR"


def test_a_palette_that_is_translucent_keeps_its_alpha() -> None:
    picture = PIL.Image.frombytes("P", (5, 3), bytes(range(5)) * 3)
    picture.putpalette([value for index in range(5) for value in (10 * index, 20 + index, 200 - index)])
    file = io.BytesIO()
    picture.save(file, "png", transparency=bytes([0, 1, 100, 254, 255]))
    image = Image.open(file.getvalue())
    assert image.mode == "P"
    assert image.palette is not None and [entry[3] for entry in image.palette[:5]] == [0, 1, 100, 254, 255]
    shown = np.asarray(image.rgb())
    assert shown.shape == (3, 5, 4)
    assert shown[2].tolist() == [[10 * index, 20 + index, 200 - index, alpha]
                                 for index, alpha in enumerate([0, 1, 100, 254, 255])]


@pytest.mark.parametrize("bits", [1, 4])
def test_few_bits_become_eight(bits: int, tmp_path: pathlib.Path) -> None:
    gray = np.arange(0, 17 * 5, dtype=np.uint8).reshape(5, 17) % (1 << bits)
    picture = PIL.Image.fromarray((gray * (255 // ((1 << bits) - 1))).astype(np.uint8))
    file = io.BytesIO()
    if bits == 1:
        picture.convert("1").save(file, "png")
    else:
        picture.quantize(16).save(file, "png", bits=4)
    image = Image.open(file.getvalue())
    assert image.mode in ("L", "P")
    assert np.array_equal(np.asarray(image.rgb())[:, :, 0], np.asarray(picture))


def test_sources_and_targets_of_every_kind(tmp_path: pathlib.Path) -> None:
    image = tovkit.draw({"Content": "Hello"}, size=(40, 30), background="#123456")
    name = "größe.png"
    path = tmp_path / name.encode(sys.getfilesystemencoding(), "ignore").decode(sys.getfilesystemencoding())
    image.save(path)
    image.save(str(path), format="png", effort=9)
    image.save(str(path).encode(), quality=5)
    data = path.read_bytes()
    stream = io.BytesIO()
    image.save(stream, "png")
    pixels = np.asarray(image)
    sources: list[Any] = [path, str(path), data, bytearray(data), memoryview(data), np.frombuffer(data, np.uint8),
                          io.BytesIO(data), stream.getvalue()]
    for source in sources:
        assert np.array_equal(np.asarray(Image.open(source)), pixels)
    with open(path, "rb") as file:
        assert Image.open(file, frame=1).size == (40, 30)


def test_frames_and_orientation() -> None:
    pages = [PIL.Image.new("RGB", (4, 3 + i), (i, 0, 0)) for i in range(3)]
    file = io.BytesIO()
    pages[0].save(file, "tiff", save_all=True, append_images=pages[1:])
    for number in (1, 2, 3):
        image = Image.open(file.getvalue(), frame=number)
        assert (image.frames, image.size, image.format) == (3, (4, 2 + number), "TIFF")
        assert [made.frames for made in (image.upright(), image.copy(), image.crop((0, 0, 2, 2)))] == [1, 3, 1]
    with pytest.raises(tovkit.DecodeError, match="no frame 4, the last is 3"):
        Image.open(file.getvalue(), frame=4)
    exif = PIL.Image.Exif()
    exif[0x112] = 6
    file = io.BytesIO()
    PIL.Image.new("RGB", (4, 2)).save(file, "jpeg", exif=exif)
    turned = Image.open(file.getvalue())
    assert turned.size == (4, 2)
    assert turned.upright().size == (2, 4)
    assert turned.upright().upright().size == (2, 4)
    assert turned.crop((0, 0, 3, 2)).upright().size == (2, 3)


def test_steps_leave_the_image_alone() -> None:
    array = np.arange(6 * 5 * 3, dtype=np.uint8).reshape(5, 6, 3)
    image = Image.fromarray(array)
    assert np.array_equal(np.asarray(image.crop((1, 2, 4, 99))), array[2:, 1:4])
    erased = array.copy()
    erased[1:3, 2:5] = 255
    assert np.array_equal(np.asarray(image.erase((5, 3, 2, 1))), erased)
    assert image.resize("200%").size == (12, 10)
    assert image.resize((3, None), "nearest").size == (3, 3)
    assert image.resize((None, 10)).size == (12, 10)
    assert np.array_equal(np.asarray(image), array)


def test_views_share_the_memory_and_hold_it() -> None:
    image = tovkit.draw({"Content": "x"}, size=(5, 3), background="#000000")
    view = view_of(image)
    assert (view.shape, view.strides, view.format, view.readonly) == ((3, 5, 3), (16, 3, 1), "B", False)
    np.asarray(image)[1, 2] = (1, 2, 3)
    assert view[1, 2, 0] == 1 and view_of(image.rgb()).tolist()[1][2] == [3, 2, 1]
    with pytest.raises(BufferError, match="views of the image's pixels are held"):
        image.close()
    array = np.asarray(image)
    view.release()
    with pytest.raises(BufferError):
        image.close()
    del array
    image.close()
    image.close()
    assert repr(image) == "<tovkit.Image closed>"
    for use in (lambda: image.size, image.rgb, lambda: image.to_bytes("png"), image.upright, image.copy):
        with pytest.raises(ValueError, match="the image is closed"):
            use()
    with pytest.raises(BufferError, match="the image is closed"):
        view_of(image)


def test_a_view_outlives_the_name_of_its_image() -> None:
    view = view_of(tovkit.draw({"Content": "x"}, size=(50, 30)))
    array = np.asarray(tovkit.draw({"Content": "x"}, size=(50, 30)))
    assert view[0, 0, 0] == 255 and array.sum() > 0


def test_the_array_interface_keeps_the_memory() -> None:
    class Borrowed:
        """What has the interface and no buffer."""

        def __init__(self, image: Image) -> None:
            self.image = image
            self.__array_interface__ = image.__array_interface__

    image = tovkit.draw({"Content": "x"}, size=(50, 30), background="#808080")
    array = np.asarray(Borrowed(image))
    assert array.shape == (30, 50, 3)
    image.close()
    array[:] = 7
    assert int(array.sum()) == 7 * array.size


def test_padded_rows_need_strides() -> None:
    padded = tovkit.draw({"Content": "x"}, size=(5, 3))
    whole = tovkit.draw({"Content": "x"}, size=(4, 3))
    uses: list[Callable[[Any], object]] = [lambda image: io.BytesIO().write(image), hashlib.sha256]
    for use in uses:
        use(whole)
        with pytest.raises(BufferError, match="padded"):
            use(padded)
    assert view_of(padded).tobytes() == np.asarray(padded).tobytes()


@pytest.mark.parametrize("array", [
    np.zeros((0, 4), np.uint8), np.zeros((4, 0, 3), np.uint8), np.zeros((2, 2, 2), np.uint8), np.zeros(4, np.uint8),
    np.zeros((2, 2, 3, 1), np.uint8), np.zeros((2, 2), np.uint16), np.zeros((2, 2), np.int8), np.zeros((2, 2), bool),
    np.zeros((2, 2), "S1"), np.zeros((), np.uint8), np.zeros((2, 2, 5), np.uint8),
    np.zeros((2, 2), dtype=[("a", "u1")]),
])
def test_arrays_that_are_no_picture_are_refused(array: Any) -> None:
    with pytest.raises(ValueError, match="^array: "):
        Image.fromarray(array)


def test_a_huge_shape_of_a_few_bytes_is_refused_before_memory_is_taken() -> None:
    huge = np.lib.stride_tricks.as_strided(np.zeros(1, np.uint8), (1 << 30, 1 << 30), (0, 0))
    with pytest.raises(tovkit.LimitError, match="too large"):
        Image.fromarray(huge)
    longer = np.lib.stride_tricks.as_strided(np.zeros(1, np.uint8), (1 << 40, 1), (0, 0))
    with pytest.raises(ValueError, match="a side is too long"):
        Image.fromarray(longer)


def test_a_buffer_cannot_go_while_it_is_read() -> None:
    data = bytearray(tovkit.draw({"Content": "x"}, size=(2000, 2000)).to_bytes("png", effort=1))
    stop = threading.Event()

    def resize() -> None:
        while not stop.is_set():
            try:
                data.append(0)
            except BufferError:
                pass

    thread = threading.Thread(target=resize)
    thread.start()
    try:
        for _ in range(3):
            assert Image.open(data).size == (2000, 2000)
    finally:
        stop.set()
        thread.join()


@pytest.mark.parametrize(("use", "message"), [
    (lambda i: i.resize("big"), "size: 'big' is no size"), (lambda i: i.resize((0, 5)), "size: a number from 1"),
    (lambda i: i.resize((None, None)), "size: one side"), (lambda i: i.resize((1, 2, 3)), "size: a width"),
    (lambda i: i.resize((1, 1), "best"), "filter: 'best'"), (lambda i: i.crop((9, 9, 9, 9)), "nothing is left"),
    (lambda i: i.crop((1, 2, 3)), "rectangle: left"), (lambda i: i.to_bytes("gif"), "format: GIF can be read"),
    (lambda i: i.to_bytes("doc"), "format: 'doc' is no format"), (lambda i: i.save("x"), "format: ''"),
    (lambda i: i.to_bytes("png", quality=101), "quality: a number from 1 to 100"),
    (lambda i: i.to_bytes("png", effort=0), "effort: a number from 1 to 9"),
    (lambda i: i.save(io.BytesIO()), "format: a file object"), (lambda i: i.open(b""), "not a picture"),
    (lambda i: i.open(b"", 0), "frame: a number"), (lambda i: i.open("a\0b"), "source: no path"),
    (lambda i: i.fromarray(i, "RGBA"), "mode: the array has 3"), (lambda i: i.fromarray(i, "X"), "mode: 'X'"),
    (lambda i: i.fromarray(i, dpi=float("nan")), "dpi: "), (lambda i: i.crop((2**40, 0, 1, 1)), "rectangle: "),
    (lambda i: i.resize((10**9, 10**9)), "too large"),
])
def test_values_that_do_not_fit_are_errors_with_their_name(use: Any, message: str) -> None:
    with pytest.raises(ValueError) as caught:
        use(tovkit.draw({"Content": "x"}, size=(5, 5)))
    assert isinstance(caught.value, tovkit.Error)
    assert message in str(caught.value)


@pytest.mark.parametrize(("use", "name"), [
    (lambda i: i.resize(3), "size"), (lambda i: i.crop(3), "rectangle"), (lambda i: i.crop("abcd"), "rectangle"),
    (lambda i: i.crop((1.5, 0, 1, 1)), "rectangle"), (lambda i: i.to_bytes(3), "format"), (lambda i: i.save(3), "target"),
    (lambda i: i.open(3), "source"), (lambda i: i.open(io.StringIO("x")), "source.read()"),
    (lambda i: i.open(b"", "1"), "frame"), (lambda i: i.fromarray([[1]]), "array"),
    (lambda i: i.from_pillow(3), "picture"), (lambda i: i.from_pillow(memoryview(b"x")), "picture"),
    (lambda i: i.to_bytes("png", quality=True), "quality"), (lambda i: i.open(b"", True), "frame"),
])
def test_wrong_types_are_told_with_their_name(use: Any, name: str) -> None:
    with pytest.raises(TypeError, match=f"^{name.replace('(', '.').replace(')', '.')} must be .*, not "):
        use(tovkit.draw({"Content": "x"}, size=(5, 5)))


def test_what_a_number_raises_is_passed_on() -> None:
    class Odd:
        def __float__(self) -> float:
            raise KeyError("no number today")

    with pytest.raises(KeyError, match="no number today"):
        tovkit.draw({"Content": "x"}, dpi=Odd())  # type: ignore[arg-type]


def test_files_that_fail_are_what_python_people_catch(tmp_path: pathlib.Path) -> None:
    image = tovkit.draw({"Content": "x"}, size=(5, 5))
    with pytest.raises(FileNotFoundError) as caught:
        Image.open(tmp_path / "none.png")
    assert isinstance(caught.value, tovkit.FileError) and caught.value.filename == str(tmp_path / "none.png")
    with pytest.raises(IsADirectoryError):
        Image.open(tmp_path)
    with pytest.raises(tovkit.FileError) as missing:
        image.save(tmp_path / "none" / "x.png")
    assert missing.value.errno == 2
    with pytest.raises(tovkit.DecodeError, match="broken"):
        Image.open(image.to_bytes("png")[:60])


def test_what_a_file_object_raises_is_passed_on() -> None:
    class Refusing(io.RawIOBase):
        def read(self, size: int = -1) -> bytes:
            raise KeyError("no")

        def write(self, data: Any) -> int:
            raise KeyError("no")

    with pytest.raises(KeyError):
        Image.open(Refusing())
    with pytest.raises(KeyError):
        tovkit.draw({"Content": "x"}).save(Refusing(), "png")


@given(st.binary(max_size=300), st.sampled_from([b"", b"\x89PNG\r\n\x1a\n", b"GIF89a", b"BM", b"II*\0", b"\xff\xd8\xff"]))
def test_hostile_bytes_are_decode_errors(data: bytes, head: bytes) -> None:
    try:
        Image.open(head + data)
    except (tovkit.DecodeError, tovkit.LimitError):
        pass


def test_an_image_that_was_never_made_is_refused() -> None:
    with pytest.raises(TypeError):
        Image()
    with pytest.raises(TypeError):
        Image.__new__(Image)
    with pytest.raises(TypeError):
        object.__new__(Image)


def test_pillow_does_not_take_blue_for_red() -> None:
    with pytest.raises((AttributeError, TypeError, ValueError)):
        PIL.Image.fromarray(tovkit.draw({"Content": "x"}, size=(5, 3)))
