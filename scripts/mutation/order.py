# SPDX-License-Identifier: MIT
"""The order in which faults are tried: drawn by a seed, every part in proportion from the first on."""
import random

from places import part_of


def draw(faults, seed):
    """The faults in an order of which every beginning holds of each part its share."""
    parts = {}
    for fault in sorted(faults, key=lambda fault: (fault["file"], fault["number"])):
        parts.setdefault(part_of(fault["file"]), []).append(fault)
    keyed = []
    for part, members in sorted(parts.items()):
        random.Random(f"{seed} {part}").shuffle(members)
        keyed += [((rank + 0.5) / len(members), part, fault) for rank, fault in enumerate(members)]
    return [fault for _, _, fault in sorted(keyed, key=lambda each: each[:2])]
