# SPDX-License-Identifier: MIT
"""nearest.py MOST: which of the old pixels Pillow takes for each new one, for all widths up to MOST: OLD NEW PICK..."""

import sys

from PIL import Image

most = int(sys.argv[1])
for old in range(1, most + 1):
    row = Image.new("I", (old, 1))
    row.putdata(range(old))
    for new in range(1, most + 1):
        print(old, new, *row.resize((new, 1), Image.Resampling.NEAREST).getdata())
