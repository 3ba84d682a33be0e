#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Whole jobs as whole processes: a page of text to PNG, PDF and SVG, a thousand labels, one hello, Base64 back to bytes.

Beside the command stand tools that people use for the same, and programs written for it over Cairo with Pango and over
Qt (job_peers). Before the clock starts the sizes of the pictures are compared; pango-view chooses the size of its picture
by the text, which is a little smaller than the page.
"""
import base64
import filecmp
import json
import os
import pathlib
import random
import subprocess
import sys

import process_rows
from process_rows import TOVKIT

FONT = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf"
BUILD = TOVKIT.parent.parent
PEERS = str(BUILD / "bench/job_peers")
A4 = (2481, 3508, 300)  # pixels, rounded up, and dots an inch
LABEL = (400, 120, 96)
LABELS = 1000
PYTHON = "/usr/bin/python3"


def page_lines():
    """(x, y, size, text) in points, as a letter has them."""
    words = "the quick brown fox jumps over the lazy dog and runs along the river until it meets another one".split()
    for row in range(60):
        chosen = [words[(row * 7 + i * 5) % len(words)] for i in range(13)]
        yield 60, 50 + row * 12, 10, f"{row + 1}. " + " ".join(chosen)


def label_lines(number):
    yield 12, 8, 16, f"Order {number}"
    yield 12, 36, 9, f"Shelf {number * 7 % 911}, box {number * 13 % 77}"
    yield 12, 54, 9, f"No. {number * 7919 % 1000003:06}"


def description(lines):
    """Places in pixels of 96 to the inch, which the page's resolution scales; sizes in points."""
    return [{"Content": text, "DeltaX": round(x * 96 / 72), "DeltaY": round(y * 96 / 72),
             "Font": {"FontName": "DejaVu Sans", "FontSize": size}} for x, y, size, text in lines]


PILLOW = """
import sys
from PIL import Image, ImageDraw, ImageFont
fonts = {}
def draw(lines, width, height, dpi, out):
    picture = Image.new("RGB", (width, height), "white")
    painter = ImageDraw.Draw(picture)
    for line in lines:
        x, y, size, text = line.split(" ", 3)
        pixels = round(float(size) * dpi / 72)
        if pixels not in fonts:
            fonts[pixels] = ImageFont.truetype(%r, pixels)
        painter.text((float(x) * dpi / 72, float(y) * dpi / 72), text, fill="black", font=fonts[pixels])
    picture.save(out)
file, width, height, dpi, *outs = sys.argv[1:]
for page, out in zip(open(file).read().rstrip().split("\\n\\n"), outs):
    draw(page.split("\\n"), int(width), int(height), int(dpi), out)
""" % FONT


def prepare():
    for name, pages in {"page": [list(page_lines())], "labels": [list(label_lines(i)) for i in range(LABELS)],
                        "hello": [[(10, 10, 16, "Hello, world")]]}.items():
        text = "\n\n".join("\n".join(" ".join(map(str, line)) for line in page) for page in pages)
        pathlib.Path(f"{name}.txt").write_text(text + "\n", encoding="utf-8")
    pathlib.Path("page.json").write_text(json.dumps(description(page_lines())), encoding="utf-8")
    pathlib.Path("hello.json").write_text(json.dumps(description([(10, 10, 16, "Hello, world")])), encoding="utf-8")
    pathlib.Path("words.txt").write_text("\n".join(text for *_, text in page_lines()) + "\n", encoding="utf-8")
    pathlib.Path("pillow.py").write_text(PILLOW, encoding="utf-8")
    with open("labels.jsonl", "w", encoding="utf-8") as jobs:
        for i in range(LABELS):
            print(json.dumps({"id": str(i), "draw": description(label_lines(i)), "size": "400x120",
                              "background": "#ff", "out": f"ours/{i}.png"}), file=jobs)
    noise = random.Random(1).randbytes(16 << 20)
    pathlib.Path("noise.b64").write_bytes(base64.encodebytes(noise))
    pathlib.Path("noise").write_bytes(noise)
    os.environ["XDG_RUNTIME_DIR"] = os.getcwd()  # Qt says that there is none
    for folder in ("ours", "cairo", "qt", "pillow"):
        pathlib.Path(folder).mkdir()


def by_hand(who, lines, paper, outs):
    program = [PYTHON, "pillow.py"] if who == "pillow" else [PEERS, who]
    return [*program, lines, *map(str, paper), *outs]


def annotated(lines, paper, out):
    width, height, dpi = paper
    command = ["convert-im6.q16", "-size", f"{width}x{height}", "xc:white", "-font", FONT, "-density", str(dpi)]
    for x, y, size, text in lines:
        command += ["-pointsize", str(size), "-annotate", f"+{round(x * dpi / 72)}+{round((y + size) * dpi / 72)}", text]
    return [*command, out]


def pango_view(words, size, dpi, out):
    return ["pango-view", "-q", "--no-display", f"--dpi={dpi}", f"--font=DejaVu Sans {size}", "--margin=90", f"--output={out}",
            *words]


def cases():
    page = [str(TOVKIT), "draw", "page.json", "--size", "A4", "--dpi", "300", "--background", "#ff", "-o"]
    labels = {who: [f"{who}/{i}.png" for i in range(LABELS)] for who in ("cairo", "qt", "pillow")}
    return {
        "a4_png": {"tovkit": [*page, "tovkit.png"],
                   "cairo_hand": by_hand("cairo", "page.txt", A4, ["cairo_hand.png"]),
                   "qt": by_hand("qt", "page.txt", A4, ["qt.png"]),
                   "pillow": by_hand("pillow", "page.txt", A4, ["pillow.png"]),
                   "imagemagick": annotated(list(page_lines()), A4, "imagemagick.png"),
                   "pango_view": pango_view(["words.txt"], 10, 300, "pango_view.png")},
        "a4_pdf": {"tovkit": [*page, "tovkit.pdf"],
                   "cairo_hand": by_hand("cairo", "page.txt", A4, ["cairo_hand.pdf"]),
                   "qt": by_hand("qt", "page.txt", A4, ["qt.pdf"]),
                   "pango_view": pango_view(["words.txt"], 10, 72, "pango_view.pdf")},
        "a4_svg": {"tovkit": [*page, "tovkit.svg"],
                   "cairo_hand": by_hand("cairo", "page.txt", A4, ["cairo_hand.svg"]),
                   "pango_view": pango_view(["words.txt"], 10, 72, "pango_view.svg")},
        "labels_1000": {"tovkit": [str(BUILD / "bench/label_loop"), "labels.jsonl", "."],
                        **{{"cairo": "cairo_hand"}.get(who, who): by_hand(who, "labels.txt", LABEL, outs)
                           for who, outs in labels.items()}},
        "hello": {"tovkit": [str(TOVKIT), "draw", "hello.json", "--size", "200x60", "--background", "#ff", "-o", "tovkit.png"],
                  "cairo_hand": by_hand("cairo", "hello.txt", (200, 60, 96), ["cairo_hand.png"]),
                  "qt": by_hand("qt", "hello.txt", (200, 60, 96), ["qt.png"]),
                  "pillow": by_hand("pillow", "hello.txt", (200, 60, 96), ["pillow.png"]),
                  "imagemagick": annotated([(10, 10, 16, "Hello, world")], (200, 60, 96), "imagemagick.png"),
                  "pango_view": pango_view(["--text=Hello, world"], 16, 96, "pango_view.png")},
        "base64_decode_16_MiB": {"tovkit": ["sh", "-c", f"exec {TOVKIT} base64 -d noise.b64 >tovkit.bytes"],
                                 "coreutils": ["sh", "-c", "exec base64 -d noise.b64 >coreutils.bytes"]},
    }


def check(case, of_case):
    """Everybody draws a picture of the same size, and every document has its text."""
    sizes = {}
    for who, command in of_case.items():
        subprocess.run(command, check=True, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
        if who == "pango_view":
            continue
        if case == "labels_1000":
            folder = {"tovkit": "ours", "cairo_hand": "cairo"}.get(who, who)
            sizes[who] = {process_rows.picture_size(f"{folder}/{i}.png") for i in (0, LABELS - 1)}
        elif case in ("a4_png", "hello"):
            sizes[who] = {process_rows.picture_size(f"{who}.png")}
        elif case == "base64_decode_16_MiB" and not filecmp.cmp(f"{who}.bytes", "noise", shallow=False):
            sys.exit(f"{case}: {who} decodes to other bytes")
    if len(set().union(*sizes.values())) > 1:
        sys.exit(f"{case}: the results differ: {sizes}")


def families(wanted, rounds):
    jobs = {(case, who): command for case, of_case in wanted.items() for who, command in of_case.items()}
    for (case, who), values in process_rows.measure(jobs, rounds).items():
        yield f"job/{case}/{who}/real_time", values


process_rows.main("job", __doc__, cases, check, prepare, families)
