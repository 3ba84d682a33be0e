#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""tovkit image beside vips, ImageMagick and Pillow, as whole processes, each once a round in random order.

Each case comes once as it was measured and once less the median time that its command takes to start and end
("_less_start"). Before the clock starts the sizes of all results are compared.
"""
import os
import pathlib
import statistics
import subprocess
import sys

import process_rows
from process_rows import TOVKIT

SETUP = """
import numpy
from PIL import Image
rng = numpy.random.default_rng(5)
def photo(width, height):
    y, x = numpy.mgrid[0:height, 0:width].astype(numpy.float32)
    colors = numpy.stack([120 + 80 * numpy.sin(x / 190 + y / 310), 110 + 70 * numpy.cos(x / 270 - y / 150),
                          130 + 60 * numpy.sin((x + y) / 230)], -1)
    return numpy.clip(colors + rng.normal(0, 6, colors.shape), 0, 255).astype(numpy.uint8)
camera = Image.fromarray(photo(4000, 3000))
camera.save("camera.jpg", quality=90)
held = Image.Exif()
held[0x112] = 6
camera.save("held.jpg", quality=90, exif=held)
Image.fromarray(photo(1024, 768)).save("photo.png")
Image.fromarray(photo(2480, 3508)[:, :, 0]).save("page.png")
alpha = rng.integers(0, 256, (768, 1024), dtype=numpy.uint8)
Image.fromarray(numpy.dstack([photo(1024, 768), alpha])).save("alpha.png")
"""
JPEG_OPTIONS = {"tovkit": ["--quality", "90"], "vips": "[Q=90,subsample_mode=off]",
                "imagemagick": ["-quality", "90", "-sampling-factor", "1x1"], "pillow": "quality=90, subsampling=0"}
PNG_OPTIONS = {"tovkit": [], "vips": "[compression=6]", "imagemagick": ["-quality", "65"], "pillow": "compress_level=6"}


def pillow(source, step, out, options):
    script = f"from PIL import Image, ImageOps; p = Image.open({source!r}); {step}.save({out!r}, {options})"
    return ["/usr/bin/python3", "-c", script]


def commands(source, extension, ours, vips, magick, pil):
    """The command of each for one step; `vips` is (operation, its arguments)."""
    options = JPEG_OPTIONS if extension == "jpg" else PNG_OPTIONS
    out = {who: f"{who}.{extension}" for who in options}
    return {
        "tovkit": [str(TOVKIT), "image", source, "-o", out["tovkit"], *ours, *options["tovkit"]],
        "vips": ["vips", vips[0], source, out["vips"] + options["vips"], *vips[1]],
        "imagemagick": ["convert-im6.q16", source, *magick, *options["imagemagick"], out["imagemagick"]],
        "pillow": pillow(source, pil, out["pillow"], options["pillow"]),
    }


def resized(source, extension, size, share):
    width, height = size
    return commands(source, extension, ["--resize", f"{width}x{height}"], ("resize", [str(share)]),
                    ["-filter", "Lanczos", "-resize", f"{width}x{height}!"], f"p.resize(({width}, {height}), Image.LANCZOS)")


def cropped(source, extension, box):
    left, top, right, bottom = box
    width, height = right - left, bottom - top
    return commands(source, extension, ["--crop", ",".join(map(str, box))],
                    ("crop", [str(left), str(top), str(width), str(height)]),
                    ["-crop", f"{width}x{height}+{left}+{top}", "+repage"], f"p.crop({box})")


def cases():
    down = resized("camera.jpg", "jpg", (800, 600), 0.2)
    # Its own command for small pictures decodes a JPEG at a half, a quarter or an eighth.
    down["vipsthumbnail"] = ["vipsthumbnail", "camera.jpg", "-s", "800x600", "-o",
                             "vipsthumbnail.jpg" + JPEG_OPTIONS["vips"]]
    return {
        "jpeg_12mp_to_800": down,
        "png_up_by_2": resized("photo.png", "png", (2048, 1536), 2),
        "png_alpha_to_half": resized("alpha.png", "png", (512, 384), 0.5),
        "png_gray_page_to_half": resized("page.png", "png", (1240, 1754), 0.5),
        "jpeg_crop_3mp": cropped("camera.jpg", "jpg", (1000, 750, 3000, 2250)),
        "png_crop": cropped("photo.png", "png", (100, 100, 900, 700)),
        "jpeg_12mp_upright": commands("held.jpg", "jpg", ["--upright"], ("autorot", []), ["-auto-orient"],
                                      "ImageOps.exif_transpose(p)"),
    }


STARTS = {"tovkit": [str(TOVKIT), "--version"], "vips": ["vips", "--version"],
          "vipsthumbnail": ["vipsthumbnail", "--version"], "imagemagick": ["convert-im6.q16", "-version"],
          "pillow": ["/usr/bin/python3", "-c", "from PIL import Image, ImageOps; Image.preinit()"]}


def check_results(case, of_case):
    """Everybody did the same job."""
    sizes = {}
    for who, command in of_case.items():
        subprocess.run(command, check=True, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
        out = next(str(path) for path in pathlib.Path(".").glob(f"{who}.*"))
        sizes[who] = process_rows.picture_size(out)
        os.remove(out)
    if len(set(sizes.values())) != 1:
        sys.exit(f"{case}: the results differ: {sizes}")


def families(wanted, rounds):
    """Each case, and again without the starts."""
    jobs = {(case, who): command for case, of_case in wanted.items() for who, command in of_case.items()}
    jobs.update({("start", who): command for who, command in STARTS.items()})
    times = process_rows.measure(jobs, rounds)
    starts = {who: statistics.median(values) for (case, who), values in times.items() if case == "start"}
    for (case, who), values in times.items():
        yield f"image/{case}/{who}/real_time", values
    for (case, who), values in times.items():
        if case != "start":
            yield f"image/{case}_less_start/{who}/real_time", [max(v - starts[who], 1e-6) for v in values]


process_rows.main("image", __doc__, cases, check_results,
                  lambda: subprocess.run(["/usr/bin/python3", "-c", SETUP], check=True), families)
