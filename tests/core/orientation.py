# SPDX-License-Identifier: MIT
"""orientation.py MARK: small pictures with that orientation mark in the current directory."""

import struct
import sys

from PIL import Image

mark = int(sys.argv[1])
image = Image.new("RGB", (6, 4), (10, 200, 30))
exif = Image.Exif()
exif[0x0112] = mark
for file in ("a.jpg", "a.png", "a.webp"):
    image.save(file, exif=exif)
image.save("a.tif", tiffinfo={274: mark})
image.save(
    "pages.tif",
    tiffinfo={274: mark},
    save_all=True,
    append_images=[Image.new("RGB", (5, 5)), Image.new("RGB", (5, 5))],
)

# The pages of a TIFF share the first one's tags: the marks of the others are set by hand.
data = bytearray(open("pages.tif", "rb").read())
at = struct.unpack_from("<I", data, 4)[0]
for wanted in (mark, 1, 3):
    (count,) = struct.unpack_from("<H", data, at)
    for entry in range(at + 2, at + 2 + 12 * count, 12):
        if struct.unpack_from("<H", data, entry)[0] == 274:
            struct.pack_into("<H", data, entry + 8, wanted)
    (at,) = struct.unpack_from("<I", data, at + 2 + 12 * count)
open("pages.tif", "wb").write(data)

# The other byte order, and a segment before the mark's.
body = b"Exif\0\0MM\0*\0\0\0\x08\0\x01" + struct.pack(">HHIHH", 274, 3, 1, mark, 0) + b"\0\0\0\0"
comment = b"\xff\xfe\0\x06note"
plain = Image.new("RGB", (6, 4))
plain.save("plain.jpg")
rest = open("plain.jpg", "rb").read()[2:]
open("motorola.jpg", "wb").write(
    b"\xff\xd8" + comment + b"\xff\xff\xe1" + struct.pack(">H", len(body) + 2) + body + rest
)
