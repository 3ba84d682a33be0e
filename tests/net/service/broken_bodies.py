# SPDX-License-Identifier: MIT
"""Makes requests that are broken in every way that we know, each from its number alone: requests(count, seed)."""
import io
import json
import random
import struct
import subprocess
import zlib

import PIL.Image

TYPES = [None, True, -1, 0, 2**31, 2**63, -2**31 - 1, 1e308, 0.5, "", "x" * 5000, [], {}, [[]], {"": 0}, "\u0000", "\ud800".encode(
    "utf-8", "surrogatepass").decode("latin-1"), "#xyz", "NaN"]
PICTURES = ("png", "jpeg", "gif", "tiff", "webp", "bmp", "jp2")


def description(chance):
    font = {"FontName": chance.choice(["DejaVu Sans", "Liberation Serif", "none such"]), "FontSize": chance.randint(1, 40),
            "Color": "#%06x" % chance.getrandbits(24), "Bold": chance.random() < 0.5}
    return [{"Content": chance.choice(["Hello", "¡Hola!", "漢字", "🎨 a b", "\u202eabc", "ﷺ" * 9]), "DeltaX": chance.randint(-50, 300),
             "DeltaY": chance.randint(-50, 100), "Font": font} for _ in range(chance.randint(1, 3))]


def hit(chance):
    return {"path": "M0 0 L10 10 C 1 2 3 4 5 6 A 5 5 0 1 0 9 9 Z", "points": [[chance.random() * 10, 5]], "tolerance": 1, "fill": True}


def retype(value, chance):
    """The value with one of its parts, at any depth, replaced by something of another type."""
    if isinstance(value, (dict, list)) and value and chance.random() < 0.8:
        key = chance.choice(list(value)) if isinstance(value, dict) else chance.randrange(len(value))
        copy = value.copy()
        copy[key] = retype(value[key], chance)
        if isinstance(value, dict) and chance.random() < 0.1:
            copy[key + "x"] = copy.pop(key)
        return copy
    return chance.choice(TYPES)


def flip(data, chance):
    data = bytearray(data)
    for _ in range(chance.randint(1, 8)):
        data[chance.randrange(len(data))] = chance.getrandbits(8)
    return bytes(data)


def cut(data, chance):
    return data[:chance.randrange(len(data))]


def splice(data, chance):
    """A piece of it a second time, elsewhere."""
    a, b, to = sorted(chance.choices(range(len(data)), k=2)) + [chance.randrange(len(data))]
    return data[:to] + data[a:b] + data[to:]


def deep_json(chance):
    depth = chance.choice([10, 100, 1000, 10**5, 10**6])
    opening = chance.choice(['[', '{"a":', '[{"Content":'])
    return (opening * depth + ("" if chance.random() < 0.5 else "]" * depth)).encode()


def invalid_text(chance):
    text = json.dumps(description(chance)).encode()
    at = text.index(b'"Content": "') + 12
    bad = chance.choice([b"\xff", b"\xc0\xaf", b"\xed\xa0\x80", b"\xf4\x90\x80\x80", b"\xe2\x82", b"\\ud800", b"\\u0000", b"\\x41",
                         b"\n", b"\x00", b"\x1b[2J"])
    return text[:at] + bad + text[at:]


def numbers(chance):
    text = chance.choice(["2147483648", "-2147483649", "1e999", "-1e999", "9" * 400, "1.00000000001e-2147483638", "0x10", "1.", "+1",
                          "NaN", "Infinity", "00", "1e", "4294967296"])
    return ('[{"Content": "a", "DeltaX": %s, "Font": {"FontSize": %s}}]' % (text, chance.choice([text, "12"]))).encode()


def long_text(chance):
    return json.dumps([{"Content": chance.choice(["a", "漢", "🎨", "ﷺ"]) * chance.choice([2**18 + 1, 10**5]),
                        "Font": {"FontSize": chance.choice([1, 75000])}}]).encode()


def many(chance):
    return json.dumps([{"Content": "a"}] * chance.choice([0, 20000]) if chance.random() < 0.9 else [[]] * 5000).encode()


def make_pictures():
    """Name of a type to pictures by Pillow and ImageMagick: one that is large enough to have every part of its format."""
    picture = PIL.Image.effect_mandelbrot((60, 40), (-2, -1, 1, 1), 50).convert("RGB")
    found = {}
    for name in PICTURES:
        file = io.BytesIO()
        picture.save(file, {"jp2": "jpeg2000"}.get(name, name))
        found[name] = [file.getvalue()]
        options = {"tiff": ["-compress", "lzw"], "png": ["-interlace", "png", "-colors", "9"], "jpeg": ["-interlace", "jpeg"]}
        made = subprocess.run(["convert", "-size", "60x40", "plasma:red-blue", "-seed", "1", *options.get(name, []),
                               f"{name}:-"], capture_output=True, check=False).stdout
        if made:
            found[name].append(made)
    return found


def png_chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))


def bomb(chance):
    """A small file that promises many pixels."""
    width, height = chance.choice([(2**31 - 1, 2**31 - 1), (65535, 65535), (2**31 - 1, 1), (1, 2**31 - 1), (40000, 40000), (0, 5)])
    kind = chance.choice(["png", "gif", "bmp", "tiff"])
    if kind == "png":
        data = zlib.compress(bytes(10**6)) if chance.random() < 0.5 else b""
        return "png", (b"\x89PNG\r\n\x1a\n" + png_chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 6, 0, 0, 0))
                       + png_chunk(b"IDAT", data) + png_chunk(b"IEND", b""))
    if kind == "gif":
        side = struct.pack("<HH", min(width, 65535), min(height, 65535))
        return "gif", b"GIF89a" + side + b"\x80\0\0" + bytes(6) + b"," + bytes(4) + side + b"\0\x02\x02D\x01\0;"
    if kind == "bmp":
        sign = chance.choice([1, -1])
        return "bmp", b"BM" + struct.pack("<IHHIIiiHHIIiiII", 54, 0, 0, 54, 40, width, sign * height, 1, 24, 0, 0, 1, 1, 0, 0) + bytes(30)
    entries = [(256, 4, 1, width), (257, 4, 1, height), (258, 3, 1, 8), (259, 3, 1, 1), (262, 3, 1, 1), (273, 4, 1, 8),
               (278, 4, 1, height), (279, 4, 1, 2**31)]
    return "tiff", b"II*\0" + struct.pack("<IH", 8, len(entries)) + b"".join(struct.pack("<HHII", *entry) for entry in entries) + bytes(4)


def bad_query(chance):
    size = chance.choice(["2147483648x2147483648", "0x0", "-1x5", "99999x99999", "x", "1e9x1", "400x120x3", "%00", "A4", "400x", "٣x٣"])
    return "/v1/draw?" + chance.choice([f"size={size}", "dpi=0", "dpi=1e9", "format=exe", "effort=10", "size=1x1&size=2x2", "out=/etc/passwd",
                                        "background=%23zz", "=", "&&&", "%zz=1", "format=png&" * 50, f"size={size}&dpi=4800"]).replace(
                                            "٣", "%D9%A3")


def requests(count, seed):
    """(family, path, media type, body) of each."""
    pictures = make_pictures()
    chance = random.Random(seed)

    def text(make):
        return lambda: (chance.choice(["/v1/draw?format=png&size=200x80", "/v1/draw", "/v1/describe"]), "application/json", make(chance))

    def mutated(change, make, path):
        return lambda: (path, "application/json", change(json.dumps(make(chance)).encode(), chance))

    def picture(change):
        def make():
            kind = chance.choice(PICTURES)
            path = chance.choice(["/v1/image?format=png", "/v1/image/info", "/v1/image?format=jpeg&resize=50%25", "/v1/image?frame=2"])
            return path, f"image/{kind}", change(chance.choice(pictures[kind]), chance)
        return make

    def make_bomb():
        kind, data = bomb(chance)
        return chance.choice(["/v1/image?format=png", "/v1/image/info"]), f"image/{kind}", data

    def other_type():
        kind = chance.choice(["text/plain", "application/x-www-form-urlencoded", "multipart/form-data; boundary=x", "image/svg+xml", "",
                              "application/json; charset=utf-16", "application/octet-stream", "image/png"])
        return "/v1/draw", kind, chance.choice([b"[]", b"", b"a=b", bytes(range(256))])

    def file_names():
        body = description(chance)[0] | {chance.choice(["out", "over", "file", "image", "FontFile"]): "/etc/passwd"}
        return chance.choice(["/v1/draw", "/v1/describe", "/v1/hit"]), "application/json", json.dumps(body).encode()

    families = {
        "text cut": mutated(cut, description, "/v1/draw?format=png"), "text flipped": mutated(flip, description, "/v1/draw?format=png"),
        "text spliced": mutated(splice, description, "/v1/describe"), "hit cut": mutated(cut, hit, "/v1/hit"),
        "hit flipped": mutated(flip, hit, "/v1/hit"), "hit map flipped": mutated(flip, hit, "/v1/hit?format=png&size=64"),
        "types": text(lambda c: json.dumps(retype(description(c), c)).encode()),
        "types of a hit": lambda: ("/v1/hit", "application/json", json.dumps(retype(hit(chance), chance)).encode()),
        "invalid text": text(invalid_text), "numbers": text(numbers), "empty": text(lambda c: c.choice([b"", b" ", b"\xef\xbb\xbf", b"null", b"0"])),
        "pictures cut": picture(cut), "pictures flipped": picture(flip), "pictures spliced": picture(splice), "bombs": make_bomb,
        "media types": other_type, "names of files": file_names, "queries": lambda: (bad_query(chance), "application/json",
                                                                                    json.dumps(description(chance)).encode()),
    }
    costly = {"deep": text(deep_json), "long": text(long_text), "many": text(many)}
    names = list(families)
    for number in range(count):
        name = chance.choice(list(costly)) if number % 100 == 0 else names[number % len(names)]
        yield (name, *{**families, **costly}[name]())
