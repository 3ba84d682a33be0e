# SPDX-License-Identifier: MIT
"""One small TIFF in every form that its tags can tell, put together byte by byte.

pictures() returns {name: Picture}: the file, and where each number of its structure stands, for somebody who makes one odd.
"""
import collections
import io
import math
import struct
import zlib

from PIL import Image

WIDTH, HEIGHT, TILE = 9, 5, 16
WHITE_IS_ZERO, BLACK_IS_ZERO, RGB, PALETTE, INKS, YCBCR, LAB = 0, 1, 2, 3, 5, 6, 8
WHOLE, SIGNED, REAL, COMPLEX = 1, 2, 3, 5
PLAIN, OLD_JPEG, JPEG, LZW, DEFLATE, PACKBITS = 1, 6, 7, 5, 8, 32773
ACROSS = -1  # PackBits with runs that go on in the next row

SHORT, LONG, FRACTION, LONG8 = 3, 4, 5, 16
SIZES = {SHORT: 2, LONG: 4, FRACTION: 8, LONG8: 8}

Field = collections.namedtuple("Field", "at size big")
Picture = collections.namedtuple("Picture", "data fields")


def sample(x, y, c):
    """Sample number c of a pixel, of 256 steps."""
    return (31 + 57 * c + 11 * x + 7 * y + x * y * c) % 256


def real24(value):
    """1 bit of sign, 7 of exponent, 16 of fraction."""
    if value == 0:
        return 0
    fraction, exponent = math.frexp(value)
    return exponent - 1 + 63 << 16 | int((fraction * 2 - 1) * 65536)


def packed(values, bits, kind, order):
    """A row of samples as they lie in a file."""
    if kind in (REAL, COMPLEX):
        reals = [value / 255 for value in values]
        if kind == COMPLEX:
            reals = [part for real in reals for part in (real, 0.25)]
            bits //= 2
        if bits == 24:
            return b"".join(real24(real).to_bytes(3, "little" if order == "<" else "big") for real in reals)
        return struct.pack(order + str(len(reals)) + {16: "e", 32: "f", 64: "d"}[bits], *reals)
    most = (1 << bits) - 1
    numbers = [value * most // 255 for value in values]
    if kind == SIGNED:
        numbers = [number - (1 << (bits - 1)) & most for number in numbers]
    if bits >= 8 and bits % 8 == 0:
        return b"".join(number.to_bytes(bits // 8, "little" if order == "<" else "big") for number in numbers)
    text = "".join(format(number, f"0{bits}b") for number in numbers)
    text += "0" * (-len(text) % 8)
    return int(text, 2).to_bytes(len(text) // 8, "big")


def lzw(data):
    """Each byte as a code of 9 bits; a table that is cleared in time never needs more."""
    codes = [256]
    for at in range(0, len(data), 200):
        codes += [*data[at:at + 200], 256]
    text = "".join(format(code, "09b") for code in codes + [257])
    text += "0" * (-len(text) % 8)
    return int(text, 2).to_bytes(len(text) // 8, "big")


def packbits(data):
    """Without any runs."""
    return b"".join(bytes([len(data[at:at + 128]) - 1]) + data[at:at + 128] for at in range(0, len(data), 128))


SQUEEZE = {PLAIN: b"".join, LZW: lambda rows: lzw(b"".join(rows)), DEFLATE: lambda rows: zlib.compress(b"".join(rows)),
           PACKBITS: lambda rows: b"".join(map(packbits, rows)), ACROSS: lambda rows: packbits(b"".join(rows))}


def tiff(pages, order="<", big=False):
    """A file of pages, each {tag: (type, numbers)} and the strips or tiles; their places are filled in."""
    byte_order = "II" if order == "<" else "MM"
    offset, counter, entry = ("Q", 8, 20) if big else ("I", 4, 12)
    out = bytearray(byte_order.encode() + struct.pack(order + "HHHQ" if big else order + "HI",
                                                      *((43, 8, 0, 16) if big else (42, 8))))
    fields = [Field(len(out) - counter, counter, order == ">")]
    for number, (tags, blocks) in enumerate(pages):
        at = len(out)
        places = 324 if 322 in tags else 273
        place_type = LONG8 if big else LONG
        tags = {**tags, places: (place_type, [0] * len(blocks)), 325 if 322 in tags else 279: (LONG, [len(b) for b in blocks])}
        head = 8 if big else 2
        more = at + head + entry * len(tags) + counter
        for kind, numbers in tags.values():
            size = SIZES[kind] * len(numbers)
            more += size + size % 2 if size > counter else 0
        starts = []
        for block in blocks:
            starts.append(more)
            more += len(block) + len(block) % 2
        tags[places] = (place_type, starts)
        entries, values = b"", b""
        begin = at + head + entry * len(tags) + counter
        fields.append(Field(at, head, order == ">"))
        for tag, (kind, numbers) in sorted(tags.items()):
            form = {SHORT: "H", LONG: "I", LONG8: "Q"}.get(kind)
            value = (struct.pack(f"{order}{len(numbers)}{form}", *numbers) if form else
                     b"".join(struct.pack(order + "II", round(n * 1000), 1000) for n in numbers))
            where = at + head + len(entries)
            fields += [Field(where, 2, order == ">"), Field(where + 2, 2, order == ">"), Field(where + 4, counter, order == ">")]
            if len(value) > counter:
                fields += [Field(where + 4 + counter, counter, order == ">"),
                           Field(begin + len(values), SIZES[kind] // (2 if kind == FRACTION else 1), order == ">")]
                place = struct.pack(order + offset, begin + len(values))
                values += value + bytes(len(value) % 2)
            else:
                fields.append(Field(where + 4 + counter, SIZES[kind], order == ">"))
                place = value.ljust(counter, b"\0")
            entries += struct.pack(order + "HH" + offset, tag, kind, len(numbers)) + place
        following = 0 if number == len(pages) - 1 else more
        out += struct.pack(order + ("Q" if big else "H"), len(tags)) + entries + struct.pack(order + offset, following)
        fields.append(Field(len(out) - counter, counter, order == ">"))
        out += values
        for block in blocks:
            out += block + bytes(len(block) % 2)
    return Picture(bytes(out), fields)


def page(photometric, bits, samples, order="<", kind=WHOLE, planes=False, tiles=False, squeeze=PLAIN, extra=(), more=None,
         rows=HEIGHT, reverse=False):
    """The tags and the blocks of a page."""
    width, height = (TILE, TILE) if tiles else (WIDTH, rows)
    blocks = []
    for plane in range(samples if planes else 1):
        channels = [plane] if planes else range(samples)
        for top in range(0, HEIGHT, height):
            lines = height if tiles else min(height, HEIGHT - top)
            block = SQUEEZE[squeeze]([packed([sample(x, y, c) for x in range(width) for c in channels], bits, kind, order)
                                      for y in range(top, top + lines)])
            blocks.append(bytes(int(format(byte, "08b")[::-1], 2) for byte in block) if reverse else block)
    tags = {256: (SHORT, [WIDTH]), 257: (SHORT, [HEIGHT]), 258: (SHORT, [bits] * (samples if samples < 9 else 1)),
            259: (SHORT, [PACKBITS if squeeze == ACROSS else squeeze]), 262: (SHORT, [photometric]), 277: (SHORT, [samples])}
    if tiles:
        tags.update({322: (SHORT, [TILE]), 323: (SHORT, [TILE])})
    else:
        tags[278] = (SHORT, [rows])
    if planes:
        tags[284] = (SHORT, [2])
    if kind != WHOLE:
        tags[339] = (SHORT, [kind] * samples)
    if extra:
        tags[338] = (SHORT, list(extra))
    if reverse:
        tags[266] = (SHORT, [2])
    return {**tags, **(more or {})}, blocks


def colors(bits, wide=True):
    """A color map."""
    count = 1 << bits
    entries = [sample(i, i // 3, c) for c in range(3) for i in range(count)]
    return {320: (SHORT, [value * 257 if wide else value for value in entries])}


def jpeg_page(photometric, mode, squeeze):
    """A page whose only strip is a JPEG."""
    image = Image.frombytes(mode, (16, 16), bytes(sample(x, y, c) for y in range(16) for x in range(16)
                                                  for c in range(len(Image.new(mode, (1, 1)).getbands()))))
    file = io.BytesIO()
    image.save(file, "JPEG", quality=30, optimize=True, **({"subsampling": 2} if mode == "RGB" else {}))
    count = len(image.getbands())
    tags = {256: (SHORT, [16]), 257: (SHORT, [16]), 258: (SHORT, [8] * count), 259: (SHORT, [squeeze]),
            262: (SHORT, [photometric]), 277: (SHORT, [count]), 278: (SHORT, [16])}
    if photometric == YCBCR:
        tags[530] = (SHORT, [2, 2])
    if squeeze == OLD_JPEG:
        tags[513] = (LONG, [8])  # where the file has it is put right below
    return tags, [file.getvalue()]


def forms():
    """{name: (pages, of byte order, whether with offsets of 8 bytes)}."""
    made = {}

    def add(name, *arguments, order="<", big=False, **options):
        made[name] = ([page(*arguments, order=order, **options)], order, big)

    for bits in (1, 2, 4, 8, 16, 24, 32, 64):
        add(f"gray{bits}", BLACK_IS_ZERO, bits, 1)
        add(f"white{bits}", WHITE_IS_ZERO, bits, 1, order=">")
    for bits in (1, 2, 3, 4, 8):
        add(f"palette{bits}", PALETTE, bits, 1, more=colors(bits))
    add("palette4of8", PALETTE, 4, 1, more=colors(4, wide=False))
    for bits in (16, 24, 32, 64):
        add(f"real{bits}", BLACK_IS_ZERO, bits, 1, kind=REAL)
        add(f"reals{bits}", RGB, bits, 3, kind=REAL, order=">", squeeze=DEFLATE)
    for bits in (8, 16):
        add(f"signed{bits}", BLACK_IS_ZERO, bits, 1, kind=SIGNED)
        for extra in (0, 1, 2):
            add(f"rgb{bits}extra{extra}", RGB, bits, 4, extra=[extra])
            add(f"gray{bits}extra{extra}", BLACK_IS_ZERO, bits, 2, extra=[extra])
        add(f"rgb{bits}extras", RGB, bits, 5, extra=[0, 2], squeeze=PACKBITS)
        add(f"inks{bits}", INKS, bits, 4)
        add(f"inks{bits}extra", INKS, bits, 5, extra=[2])
        add(f"rgb{bits}planes", RGB, bits, 3, planes=True)
        add(f"rgb{bits}alphaplanes", RGB, bits, 4, planes=True, extra=[1])
        add(f"gray{bits}planes", WHITE_IS_ZERO, bits, 2, planes=True, extra=[2])
        add(f"inks{bits}planes", INKS, bits, 4, planes=True, squeeze=LZW)
        add(f"rgb{bits}tiles", RGB, bits, 3, tiles=True, squeeze=DEFLATE)
        add(f"rgb{bits}tileplanes", RGB, bits, 3, tiles=True, planes=True, squeeze=PACKBITS)
    add("palette8tiles", PALETTE, 4, 1, tiles=True, more=colors(4), squeeze=DEFLATE)
    add("rgb5", RGB, 5, 3, order=">")
    add("rgb12", RGB, 12, 3)
    add("complex64", BLACK_IS_ZERO, 64, 1, kind=COMPLEX)
    add("complex128", RGB, 128, 3, kind=COMPLEX)
    add("lab8", LAB, 8, 3)
    add("reallab", LAB, 32, 3, kind=REAL)
    add("ycc8", YCBCR, 8, 3, more={530: (SHORT, [1, 1])})
    add("otherinks", INKS, 8, 4, more={332: (SHORT, [2])})
    for squeeze in (LZW, DEFLATE, PACKBITS):
        add(f"squeeze{squeeze}", RGB, 8, 3, squeeze=squeeze, rows=2)
    for name, form in {"bilevel": (BLACK_IS_ZERO, 1, 1), "gray": (BLACK_IS_ZERO, 8, 1), "rgb": (RGB, 8, 3),
                       "rgb16": (RGB, 16, 3)}.items():
        add(f"{name}across", *form, squeeze=ACROSS, rows=3)
    add("planesacross", RGB, 8, 3, squeeze=ACROSS, rows=3, planes=True)
    add("differences", RGB, 8, 3, squeeze=DEFLATE, more={317: (SHORT, [2])})
    add("reversed", BLACK_IS_ZERO, 1, 1, reverse=True)
    add("inches", RGB, 8, 3, more={282: (FRACTION, [300.0]), 283: (FRACTION, [150.5]), 296: (SHORT, [2])})
    add("centimeters", RGB, 8, 3, more={282: (FRACTION, [100.0]), 283: (FRACTION, [50.0]), 296: (SHORT, [3])}, order=">")
    add("nounit", RGB, 8, 3, more={282: (FRACTION, [4.0]), 283: (FRACTION, [3.0]), 296: (SHORT, [1])})
    add("turned", RGB, 8, 3, more={274: (SHORT, [6])})
    add("big", RGB, 8, 3, big=True)
    add("bigtiles", BLACK_IS_ZERO, 16, 1, big=True, order=">", tiles=True, squeeze=DEFLATE)
    made["pages"] = ([page(RGB, 8, 3), page(BLACK_IS_ZERO, 8, 1), page(PALETTE, 4, 1, more=colors(4))], "<", False)
    made["mixed"] = ([page(RGB, 8, 4, extra=[1]), page(RGB, 8, 3), page(BLACK_IS_ZERO, 16, 2, extra=[2]), page(INKS, 8, 4),
                      page(RGB, 16, 3, tiles=True, squeeze=DEFLATE)], "<", False)
    made["bigpages"] = ([page(BLACK_IS_ZERO, 1, 1, ">"), page(RGB, 16, 3, ">")], ">", True)
    thousands, _ = page(BLACK_IS_ZERO, 16, 4100, squeeze=DEFLATE, rows=1)
    made["thousands"] = ([({**thousands, 257: (SHORT, [1])}, [zlib.compress(bytes(WIDTH * 4100 * 2))])], "<", False)
    made["jpeg"] = ([jpeg_page(YCBCR, "RGB", JPEG)], "<", False)
    made["grayjpeg"] = ([jpeg_page(BLACK_IS_ZERO, "L", JPEG)], ">", False)
    made["oldjpeg"] = ([jpeg_page(YCBCR, "RGB", OLD_JPEG)], "<", False)
    return made


def pictures():
    made = {name: tiff(pages, order, big) for name, (pages, order, big) in forms().items()}
    old = bytearray(made["oldjpeg"].data)  # the JPEG within it begins where the strip does
    entry = old.index(struct.pack("<HHI", 513, LONG, 1))
    old[entry + 8:entry + 12] = struct.pack("<I", old.index(b"\xff\xd8\xff"))
    made["oldjpeg"] = Picture(bytes(old), made["oldjpeg"].fields)
    return made
