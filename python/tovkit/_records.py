# SPDX-License-Identifier: MIT
"""Small records that functions return."""

from __future__ import annotations

# typing takes several milliseconds to import, and only NamedTuple is needed of it.
from collections import namedtuple

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import NamedTuple, Optional, Tuple

    class Process(NamedTuple):
        pid: int
        name: str
        rss_kb: int

    class HitDetail(NamedTuple):
        hit: bool
        record: Optional[int]
        rays: Tuple[str, ...]
        distance: float

else:
    Process = namedtuple("Process", "pid name rss_kb")
    Process.__doc__ = """A process of the machine: its number, its name, and the kilobytes of memory that it holds.

    >>> import tovkit
    >>> tovkit.Process(1, "init", 1234).rss_kb
    1234
    """

    HitDetail = namedtuple("HitDetail", "hit record rays distance")
    HitDetail.__doc__ = """Why a point touches a path, or not.

    ``hit`` is the verdict; ``record`` the number, from 0, of the record that the first segment hit begins
    with, None without one and when only the rays decided; ``rays`` those of "right", "down", "left" and "up"
    that cross the outline, when the inside was asked for and no segment is hit; ``distance`` that to the
    outline.

    >>> import tovkit
    >>> tovkit.hit_detail("M 0 0 H 9 V 9 H 0 Z", (4, 5), fill=True)
    HitDetail(hit=True, record=None, rays=('right', 'down', 'left', 'up'), distance=4.0)
    """

for _record in (Process, HitDetail):
    _record.__module__ = "tovkit"
