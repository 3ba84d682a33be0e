# SPDX-License-Identifier: MIT
"""Many calls of everything leave memory and reference counts as they were."""

from __future__ import annotations

import gc
import io
import os
import pathlib
import sys
import tracemalloc
from collections.abc import Callable

import numpy as np
import pytest

import tovkit
from tovkit import Image, Path, jobs

COUNT = int(os.environ.get("TOVKIT_CALLS", "2000"))  # of each; by hand, 100000
LINE = {"Content": "a", "Font": {"FontSize": 9}}
SMALL = tovkit.draw(LINE, size=(20, 12))
PNG = SMALL.to_bytes("png")
ARRAY = np.zeros((4, 5, 3), np.uint8)
POINTS = np.zeros((8, 2))
PATH = Path("M 0 0 Q 5 5 10 0 Z")


def refused(use: Callable[[], object]) -> Callable[[], None]:
    def call() -> None:
        try:
            use()
        except (tovkit.Error, TypeError, BufferError):
            return
        raise AssertionError("not refused")

    return call


def closed() -> None:
    with Image.fromarray(ARRAY) as image:
        memoryview(image).release()  # type: ignore[arg-type]


CALLS: dict[str, Callable[[], object]] = {
    "draw": lambda: tovkit.draw(LINE, size=(20, 12)), "over": lambda: tovkit.draw(LINE, over=SMALL),
    "pdf": lambda: tovkit.draw_svg(LINE), "describe": lambda: tovkit.describe(LINE),
    "open": lambda: Image.open(PNG), "file object": lambda: Image.open(io.BytesIO(PNG)),
    "save": lambda: SMALL.save(io.BytesIO(), "bmp"), "bytes": lambda: SMALL.to_bytes("png", effort=1),
    "array": lambda: Image.fromarray(ARRAY, "RGB", dpi=(3, 4)), "view": lambda: np.asarray(SMALL),
    "interface": lambda: SMALL.__array_interface__, "rgb": SMALL.rgb, "copy": SMALL.copy, "repr": lambda: repr(SMALL),
    "facts": lambda: (SMALL.size, SMALL.mode, SMALL.dpi, SMALL.frames, SMALL.format, SMALL.palette),
    "pillow": lambda: Image.from_pillow(SMALL.to_pillow()), "resize": lambda: SMALL.resize("50%"),
    "steps": lambda: SMALL.crop((1, 1, 5, 5)).erase((0, 0, 2, 2)).upright(), "close": closed,
    "path": lambda: Path("M 0 0 L 1 1").line_to(3, 4).close().copy(), "hit": lambda: tovkit.hit_test(PATH, POINTS),
    "pairs": lambda: tovkit.hit_test(PATH, [(1, 2)]), "distance": lambda: tovkit.distance(PATH, POINTS),
    "detail": lambda: tovkit.hit_detail(PATH, (1, 2)), "encode": lambda: tovkit.b64encode(b"abc"),
    "decode": lambda: tovkit.b64decode("YWJj"), "pages": lambda: tovkit.parse_pages("1-3", 5),
    "color": lambda: tovkit.parse_color("#fff"), "fonts": tovkit.fonts,
    "job": lambda: jobs.run({"hit": {"path": "M 0 0", "points": []}}),
    "no picture": refused(lambda: Image.open(b"x")), "no file": refused(lambda: Image.open("/none")),
    "no array": refused(lambda: Image.fromarray(b"")), "no json": refused(lambda: tovkit.draw("{")),
    "no path": refused(lambda: Path("x")), "no base64": refused(lambda: tovkit.b64decode("!")),
    "no job": refused(lambda: jobs.run({})), "no number": refused(lambda: SMALL.resize((1, "2"))),  # type: ignore[arg-type]
}


def resident() -> int:
    return int(pathlib.Path("/proc/self/statm").read_text().split()[1]) * os.sysconf("SC_PAGE_SIZE")


@pytest.mark.parametrize("name", CALLS)
def test_memory_is_flat(name: str, tmp_path: pathlib.Path, monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.chdir(tmp_path)
    call = CALLS[name]
    count = min(COUNT, 200) if name in ("job", "no job", "fonts", "pillow") and COUNT <= 2000 else COUNT
    for _ in range(max(50, count // 4)):
        call()
    gc.collect()
    shared = [None, True, False, LINE, ARRAY, POINTS, SMALL, PATH, PNG]
    counts = [sys.getrefcount(object) for object in shared]
    tracemalloc.start()
    memory, blocks = resident(), tracemalloc.get_traced_memory()[0]
    for _ in range(count):
        call()
    gc.collect()
    grown, traced = resident() - memory, tracemalloc.get_traced_memory()[0] - blocks
    tracemalloc.stop()
    # A leak of one object to a call would be 16 bytes of each; caches and the allocator's own pages are less. Under a
    # sanitizer there are few calls, and what the first ones keep weighs more.
    first = 200_000 if "LD_PRELOAD" in os.environ else 16_000
    assert traced < first + count * 4, f"{traced} bytes of Python's"
    assert grown < 3_000_000 + count * 32 or "LD_PRELOAD" in os.environ, f"{grown} bytes of memory"
    after = [sys.getrefcount(object) for object in shared]
    # None and the booleans are everywhere: what others do with them is no more than a few.
    assert all(abs(a - b) < 100 for a, b in zip(after[:3], counts[:3])), (after, counts)
    assert after[3:] == counts[3:]
