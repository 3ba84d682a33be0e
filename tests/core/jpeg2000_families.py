# SPDX-License-Identifier: MIT
"""One small JPEG 2000 picture in every form that its boxes and its code stream can tell.

pictures() returns {name: Picture}, as tiff_families.py does; opj_compress writes the code streams.
"""
import itertools
import pathlib
import struct
import subprocess
import tempfile

from tiff_families import Field, Picture, sample

WIDTH, HEIGHT = 9, 5
GRAY, SRGB, YCC, CMYK, LAB = 17, 16, 18, 12, 14
COLOR, OPACITY, PREMULTIPLIED, UNSPECIFIED = 0, 1, 2, 65535
PICTURE, NONE = 0, 65535


def box(name, content):
    return struct.pack(">I", 8 + len(content)) + name + content


def raw(components, bits, steps):
    """Planes of samples, as opj_compress takes them."""
    size = 2 if bits > 8 else 1
    planes = b""
    for c in range(components):
        dx, dy = steps[c]
        for y, x in itertools.product(range(-(-HEIGHT // dy)), range(-(-WIDTH // dx))):
            planes += (sample(x, y, c) * ((1 << bits) - 1) // 255).to_bytes(size, "big")
    return planes


def code_streams(wanted):
    """{name: code stream} of {name: (components, bits, sign, steps, options)}."""
    made = {}
    with tempfile.TemporaryDirectory() as scratch:
        folder = pathlib.Path(scratch)
        for name, (components, bits, sign, steps, options) in wanted.items():
            steps = steps or [(1, 1)] * components
            planes, source, form = raw(components, bits, steps), folder / f"{name}.raw", []
            if bits == 1:  # which it takes for none in raw planes
                planes, source = f"P5\n{WIDTH} {HEIGHT}\n1\n".encode() + planes, folder / f"{name}.pgm"
            else:
                form = ["-F", f"{WIDTH},{HEIGHT},{components},{bits},{sign}@" + ":".join(f"{dx}x{dy}" for dx, dy in steps)]
            source.write_bytes(planes)
            subprocess.run(["opj_compress", "-i", source, *form, "-o", folder / f"{name}.j2k", "-n", "2", *options], check=True,
                           capture_output=True)
            made[name] = (folder / f"{name}.j2k").read_bytes()
    return made


STREAMS = {
    "gray": (1, 8, "u", None, ()), "gray1": (1, 1, "u", None, ()), "gray12": (1, 12, "u", None, ()),
    "grays": (1, 8, "s", None, ()), "two": (2, 8, "u", None, ()), "three": (3, 8, "u", None, ()),
    "lossy": (3, 8, "u", None, ("-I", "-r", "4")), "tiles": (3, 8, "u", None, ("-t", "4,4", "-TP", "R")),
    "marks": (3, 8, "u", None, ("-SOP", "-EPH", "-p", "RPCL")), "deep": (3, 16, "u", None, ()),
    "half": (3, 8, "u", [(1, 1), (2, 2), (2, 2)], ("-mct", "0")),
    "across": (3, 8, "u", [(1, 1), (2, 1), (2, 1)], ("-mct", "0")),
    "four": (4, 8, "u", None, ()), "five": (5, 8, "u", None, ("-mct", "0")),
}


def colr(space):
    return box(b"colr", struct.pack(">BBBI", 1, 0, 0, space))


def palette(count, channels, bits=8):
    entries = bytes(sample(i, c, c) for i in range(count) for c in range(channels))
    return (box(b"pclr", struct.pack(">HB", count, channels) + bytes([bits - 1] * channels) + entries) +
            box(b"cmap", b"".join(struct.pack(">HBB", 0, 1, c) for c in range(channels))))


def channels(*definitions):
    return box(b"cdef", struct.pack(">H", len(definitions)) + b"".join(struct.pack(">HHH", *one) for one in definitions))


def dots(name, down, across):
    """Both as (numerator, denominator, power of ten)."""
    return box(name, struct.pack(">HHHHbb", *down[:2], *across[:2], down[2], across[2]))


def jp2(stream, boxes, before=b"", between=b"", tail=b""):
    """A file whose header holds these boxes; `before` lies in front of it, `between` and `tail` around the code stream."""
    components, depth = struct.unpack_from(">HB", stream, 40)
    header = box(b"ihdr", struct.pack(">IIHBBBB", HEIGHT, WIDTH, components, depth, 7, 0, 0)) + boxes
    return (box(b"jP  ", b"\r\n\x87\n") + box(b"ftyp", b"jp2 \0\0\0\0jp2 ") + before + box(b"jp2h", header) + between +
            box(b"jp2c", stream) + tail)


def files():
    """{name: the bytes}."""
    streams = code_streams(STREAMS)
    made = {f"bare_{name}": stream for name, stream in streams.items() if name in ("gray", "three", "four", "half", "tiles")}
    three, gray, four, two = streams["three"], streams["gray"], streams["four"], streams["two"]
    for name, stream in streams.items():
        made[name] = jp2(stream, colr(SRGB if stream[41] >= 3 else GRAY))
    for name, space in (("ycc", YCC), ("lab", LAB), ("unknown", 99)):
        made[name] = jp2(three, colr(space))
    made["inks"] = jp2(four, colr(CMYK))
    made["moreinks"] = jp2(streams["five"], colr(CMYK) + channels(*((i, COLOR, i + 1) for i in range(4)), (4, OPACITY, 0)))
    made["profile"] = jp2(three, box(b"colr", b"\2\0\0" + bytes(64)) + colr(GRAY))
    made["palette"] = jp2(gray, palette(255, 3) + colr(SRGB))
    made["fewpalette"] = jp2(streams["gray1"], palette(2, 3) + colr(SRGB))
    made["graypalette"] = jp2(gray, palette(256, 1) + colr(GRAY))
    made["alphapalette"] = jp2(gray, palette(255, 4) + colr(SRGB) + channels((0, COLOR, 1), (1, COLOR, 2), (2, COLOR, 3),
                                                                               (3, OPACITY, PICTURE)))
    made["alpha"] = jp2(four, colr(SRGB) + channels((0, COLOR, 1), (1, COLOR, 2), (2, COLOR, 3), (3, OPACITY, PICTURE)))
    made["alphafirst"] = jp2(four, colr(SRGB) + channels((0, OPACITY, PICTURE), (1, COLOR, 1), (2, COLOR, 2), (3, COLOR, 3)))
    made["premultiplied"] = jp2(four, colr(SRGB) + channels((0, COLOR, 1), (1, COLOR, 2), (2, COLOR, 3),
                                                            (3, PREMULTIPLIED, PICTURE)))
    made["turned"] = jp2(three, colr(SRGB) + channels((0, COLOR, 3), (1, COLOR, 2), (2, COLOR, 1)))
    made["grayalpha"] = jp2(two, colr(GRAY) + channels((0, COLOR, 1), (1, OPACITY, PICTURE)))
    made["nothing"] = jp2(two, colr(GRAY) + channels((0, COLOR, 1), (1, UNSPECIFIED, NONE)))
    for name, inner in (("captured", dots(b"resc", (11811, 1, 0), (5906, 1, 0))), ("shown", dots(b"resd", (72, 254, 4), (1, 1, 3))),
                        ("nodots", dots(b"resc", (1, 0, 0), (1, 1, 127)))):
        made[name] = jp2(three, colr(SRGB) + box(b"res ", inner))
    made["cutdots"] = jp2(three, colr(SRGB) + box(b"res ", dots(b"resc", (1, 1, 2), (1, 1, 2))[:12]))
    made["depths"] = jp2(three, box(b"bpcc", b"\7\7\7") + colr(SRGB))
    made["others"] = jp2(three, colr(SRGB), box(b"xml ", b"<a/>"), box(b"uuid", bytes(16)), box(b"free", b""))
    made["toend"] = made["three"].replace(struct.pack(">I", 8 + len(three)) + b"jp2c", bytes(4) + b"jp2c")
    made["longbox"] = made["three"].replace(struct.pack(">I", 8 + len(three)) + b"jp2c",
                                            struct.pack(">I4sQ", 1, b"jp2c", 16 + len(three)))
    return made


def fields(data):
    """The numbers of the boxes and of the code stream's markers, up to the first tile's data."""
    found, at = [], 0
    while at + 8 <= len(data) and data[at] != 0xFF:
        length, name = struct.unpack_from(">I4s", data, at)
        found.append(Field(at, 4, True))
        content = at + (16 if length == 1 else 8)
        if name not in (b"jp2h", b"jp2c", b"res "):
            end = min(at + max(length, 8), len(data))
            found += [Field(i, 1, True) for i in range(content, min(end, content + 24))]
            found += [Field(i, 2, True) for i in range(content, min(end, content + 24) - 1, 2)]
            content = end
        at = content
    at += 2
    while at + 4 <= len(data) and data[at:at + 2] not in (b"\xff\x93", b"\xff\xd9"):
        length = struct.unpack_from(">H", data, at + 2)[0]
        end = min(at + 2 + length, len(data), at + 64)
        found += [Field(i, 1, True) for i in range(at + 1, end)]
        found += [Field(i, 2, True) for i in range(at + 2, end - 1, 2)]
        found += [Field(i, 4, True) for i in range(at + 6, end - 3, 4)] if data[at + 1] == 0x51 else []
        at += 2 + length
    return found


def pictures():
    return {name: Picture(data, fields(data)) for name, data in files().items()}
