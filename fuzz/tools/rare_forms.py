# SPDX-License-Identifier: MIT
"""Pictures in forms that none of the programs around writes, put together byte by byte: {name: bytes} for each format."""
import struct
import zlib


def bmp(head, bits, packing, width, height, pixels, after=b""):
    """With an information header of so many bytes, filled up with zeros; `after` follows it."""
    info = struct.pack("<IiiHHIIiiII", head, width, height, 1, bits, packing, len(pixels), 3780, 3780, 0, 0)
    info = info.ljust(head, b"\0") + after
    return b"BM" + struct.pack("<IHHI", 14 + len(info) + len(pixels), 0, 0, 14 + len(info)) + info + pixels


def bmps():
    row = bytes(range(48))
    masks = struct.pack("<IIII", 0xF00, 0xF0, 0xF, 0xF000)
    runs = bytes([2, 1, 2, 3, 0, 3, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0, 0, 0, 5, 7, 8, 9, 0, 1])
    return {
        "runs24": bmp(64, 24, 4, 5, 2, runs),
        "runsbutnot24": bmp(64, 8, 4, 5, 2, runs),
        "fax": bmp(64, 1, 3, 5, 2, runs),
        "masks16": bmp(40, 16, 3, 8, 3, row, masks[:12]),
        "masks32": bmp(40, 32, 3, 4, 3, row, masks[:12]),
        "alphamasks16": bmp(40, 16, 6, 8, 3, row, masks),
        "cutmasks": bmp(40, 16, 3, 8, 3, b"", masks[:5]),
        "topdown24": bmp(40, 24, 0, 4, -4, row),
        "cuttopdown24": bmp(40, 24, 0, 4, -4, row[:-1]),
        "topdown8": bmp(40, 8, 0, 8, -6, row, bytes(1024)),
    }


def segment(marker, content):
    return struct.pack(">BBH", 0xFF, marker, 2 + len(content)) + content


def jpeg_of(count, frame=0xC0, bits=8):
    """The head of a picture of so many components, without pixels."""
    components = b"".join(bytes([i + 1, 0x11, 0]) for i in range(count))
    scan = bytes([min(count, 4)]) + b"".join(bytes([i + 1, 0]) for i in range(min(count, 4))) + b"\0\x3f\0"
    return (b"\xff\xd8" + segment(0xDB, b"\0" + bytes([1] * 64)) + segment(frame, struct.pack(">BHHB", bits, 8, 8, count) + components)
            + segment(0xDA, scan) + b"\xff\xd9")


def jpegs():
    made = {f"components{count}": jpeg_of(count) for count in (0, 1, 2, 3, 4, 5, 11)}
    made.update({f"frame{marker:x}": jpeg_of(3, marker) for marker in range(0xC1, 0xD0)})
    made.update({f"bits{bits}": jpeg_of(1, bits=bits) for bits in (2, 12, 16)})
    made["padded"] = jpeg_of(1).replace(b"\xff\xc0", b"\xff\xff\xff\xc0")
    return made


def chunk(name, content):
    return struct.pack(">I", len(content)) + name + content + struct.pack(">I", zlib.crc32(name + content))


def png(kind, bits, rows, *chunks):
    head = chunk(b"IHDR", struct.pack(">IIBBBBB", 5, 4, bits, kind, 0, 0, 0))
    return b"\x89PNG\r\n\x1a\n" + head + b"".join(chunks) + chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b"")


def pngs():
    rows = b"".join(b"\0" + bytes(range(row, row + 15)) for row in range(4))
    made = {f"dots{unit}": png(2, 8, rows, chunk(b"pHYs", struct.pack(">IIB", 11811, 5906, unit))) for unit in (0, 1, 2)}
    made["cutdots"] = png(2, 8, rows, chunk(b"pHYs", b"\0\0\1"))
    made["longrows"] = png(2, 8, rows + b"more")
    made["fewrows"] = png(2, 8, rows[:-1])
    made["mark"] = png(2, 8, rows, chunk(b"eXIf", b"II*\0\x08\0\0\0\1\0\x12\1\3\0\1\0\0\0\6\0\0\0\0\0\0\0"))
    return made


FORMATS = {"BMP": bmps, "JPEG": jpegs, "PNG": pngs}
