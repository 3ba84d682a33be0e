# SPDX-License-Identifier: MIT
"""picture_forms.py FORMAT [WIDTHxHEIGHT]: writes a small picture in every form of a format that other programs know.

Works in the current directory. Prints a line for each form: the file, its frame, what read it, how far off the pixels
may be, and the file with the pixels that the reader saw, red, green, blue and alpha of 16 bits each, the low byte first;
a line of one field more names what is not read. Each program runs once for as many files as it takes."""

import itertools
import os
import subprocess
import sys

from PIL import Image, features

WIDTH, HEIGHT = map(int, sys.argv[2].split("x")) if len(sys.argv) > 2 else (37, 29)
MAGICK, PILLOW = "ImageMagick", "Pillow"


def run(command):
    done = subprocess.run(command, shell=True, executable="/bin/bash", capture_output=True)
    if done.returncode != 0:
        sys.exit(f"{command}\n{done.stderr.decode(errors='replace')}")
    return done.stdout


class Forms:
    """What is to be written, and how it is to be read back."""

    def __init__(self):
        self.magick = {base: [] for base in BASES}
        self.commands = []
        self.files = []

    def expect(self, file, tolerance=0, reader=MAGICK, frame=0, unsupported=False, source=None):
        """`source` is what to look at instead, for files that no other program reads right."""
        self.files.append((file, tolerance, reader, frame, unsupported, source or file))

    def by_magick(self, base, options, written, **expectation):
        """Written by ImageMagick; `written` may name a coder, as in bmp3:a.bmp."""
        self.magick[base].append(f"\\( +clone {options} -write {written} +delete \\)")
        self.expect(written.split(":")[-1], **expectation)

    def by_command(self, command, file, **expectation):
        self.commands.append(command.replace("OUT", file))
        self.expect(file, **expectation)

    def by_pillow(self, image, file, options=None, **expectation):
        image.save(file, **(options or {}))
        self.expect(file, **expectation)

    def write(self):
        for base, parts in self.magick.items():
            for some in chunks(parts, 60):
                run(f"convert -respect-parentheses base_{base}.miff " + " ".join(some) + " null:")
        run("set -e; " + "\n".join(self.commands))

    def read(self):
        by_magick = sorted({(source, frame) for _, _, reader, frame, _, source in self.files if reader == MAGICK})
        seen = {}
        for some in chunks(by_magick, 80):
            pixels = run("convert " + " ".join(f"'{file}[{frame}]'" for file, frame in some) +
                         " -colorspace sRGB -depth 16 -endian LSB rgba:-")
            each = WIDTH * HEIGHT * 8
            if len(pixels) != each * len(some):
                sys.exit(f"{len(pixels)} bytes for {some}")
            for i, key in enumerate(some):
                seen[key] = pixels[i * each:(i + 1) * each]
        for number, (file, tolerance, reader, frame, unsupported, source) in enumerate(self.files):
            if reader == PILLOW:
                with Image.open(source) as image:
                    image.seek(frame)
                    pixels = bytes(byte for byte in image.convert("RGBA").tobytes() for _ in range(2))
            else:
                pixels = seen[(source, frame)]
            with open(f"seen{number}", "wb") as out:
                out.write(pixels)
            print(file, frame, reader, tolerance, f"seen{number}", *(["unsupported"] if unsupported else []))


def chunks(things, most):
    return [things[i:i + most] for i in range(0, len(things), most)]


NOISE = "-seed 11 -size %dx%d plasma:" % (WIDTH, HEIGHT)
BASES = {
    "rgb": NOISE + "red-blue -depth 8",
    "deep": NOISE + "red-blue -depth 16",
    "alpha": NOISE + "red-blue \\( -size %dx%d gradient: \\) -compose copy_opacity -composite -depth 8" % (WIDTH, HEIGHT),
    "deepalpha": NOISE + "red-blue \\( -size %dx%d gradient: \\) -compose copy_opacity -composite -depth 16" %
                 (WIDTH, HEIGHT),
    "gray": NOISE + "black-white -colorspace gray -depth 8",
    "deepgray": NOISE + "black-white -colorspace gray -depth 16",
    "grayalpha": NOISE + "black-white -colorspace gray \\( -size %dx%d gradient: \\) -compose copy_opacity -composite "
                 "-depth 8" % (WIDTH, HEIGHT),
    "bilevel": NOISE + "black-white -monochrome -type bilevel -depth 1",
    "palette": NOISE + "red-blue -depth 8 +dither -colors 60",
    "few": NOISE + "red-blue -depth 8 +dither -colors 13",
    "four": NOISE + "red-blue -depth 8 +dither -colors 4",
    "inks": NOISE + "red-blue -depth 8 -colorspace cmyk",
    "keyed": NOISE + "red-blue -depth 8 +dither -colors 60 -fill '#0102fe' -draw 'rectangle 3,3 9,9' "
             "-transparent '#0102fe'",
}


def make_bases():
    run("convert " + " ".join(f"\\( {how} -write base_{name}.miff +delete \\)" for name, how in BASES.items()) +
        " xc:red null:")
    run("convert base_rgb.miff rgb.ppm; convert base_gray.miff gray.pgm; convert base_bilevel.miff bilevel.pbm;"
        "convert base_deep.miff -depth 16 deep.ppm; convert base_deepgray.miff -depth 16 deep.pgm;"
        "convert base_palette.miff few.ppm; convert base_alpha.miff alpha.pam; convert base_rgb.miff rgb.png;"
        "convert base_alpha.miff png32:alpha.png; convert base_gray.miff gray.png; convert base_few.miff dozen.ppm;"
        "convert base_four.miff four.ppm")


def modes():
    """The picture in each of Pillow's modes."""
    rgb = Image.open("rgb.png").convert("RGB")
    alpha = Image.open("alpha.png").convert("RGBA")
    gray = Image.open("gray.png").convert("L")
    return {"1": gray.convert("1"), "L": gray, "LA": alpha.convert("LA"), "P": rgb.convert("P", palette=Image.ADAPTIVE),
            "RGB": rgb, "RGBA": alpha, "CMYK": rgb.convert("CMYK"), "YCbCr": rgb.convert("YCbCr"),
            "I;16": Image.frombytes("I;16", gray.size, b"".join(bytes([i % 251, v]) for i, v in
                                                                 enumerate(gray.tobytes()))),
            "I": gray.convert("I"), "F": gray.convert("F").point(lambda v: v * (1 / 255) + 0)}


def png(forms):
    depths = {0: ("deepgray", (1, 2, 4, 8, 16)), 2: ("deep", (8, 16)), 3: ("four", (2, 4, 8)),
              4: ("grayalpha", (8, 16)), 6: ("deepalpha", (8, 16))}
    for kind, (base, bits) in depths.items():
        for depth, lines, level in itertools.product(bits, ("none", "PNG"), ("00", "05", "95")):
            # Fewer bits than the picture has would be written as more.
            fewer = f"-posterize {1 << depth}" if kind == 0 and depth < 8 else ""
            forms.by_magick(base, f"{fewer} -depth {depth} -interlace {lines} -quality {level} "
                            f"-define png:bit-depth={depth} -define png:color-type={kind}",
                            f"{kind}_{depth}_{lines}_{level}.png")
    for base in BASES:
        if base != "inks":
            forms.by_magick(base, "", f"plain_{base}.png")
    for options in ("", "-interlace", "-transparent='#000000'", "-force", "-compression=0", "-filter=4",
                    "-background='#ffffff'", "-gamma=0.45455", "-size='10 20 0'"):
        for source in ("rgb.ppm", "gray.pgm", "bilevel.pbm", "deep.ppm", "deep.pgm", "few.ppm", "dozen.ppm",
                       "four.ppm"):
            gamma = "-gamma" in options
            forms.by_command(f"pnmtopng -quiet {options} {source} > OUT", f"netpbm{len(forms.files)}.png",
                             reader=PILLOW if gamma else MAGICK) if not (gamma and "deep" in source) else None
    forms.by_command("pamtopng alpha.pam > OUT", "pam.png")
    for mode, image in modes().items():
        if mode in ("1", "L", "LA", "P", "RGB", "RGBA", "I;16"):
            for options in ({}, {"optimize": True}, {"compress_level": 0}):
                forms.by_pillow(image, f"pillow{len(forms.files)}.png", options)
    for bits in (1, 2, 4, 8):
        few = modes()["RGB"].quantize(1 << bits)
        forms.by_pillow(few, f"bits{bits}.png", {"bits": bits})
        forms.by_pillow(few, f"clear{bits}.png", {"bits": bits, "transparency": 1})


def jpeg(forms):
    for base, factors, lines, quality in itertools.product(
            ("rgb", "gray"), ("1x1", "2x1", "1x2", "2x2", "4x1", "2x2,1x1,2x1"), ("none", "JPEG"), (10, 75, 100)):
        forms.by_magick(base, f"-sampling-factor {factors} -interlace {lines} -quality {quality}",
                        f"{base}_{factors.replace(',', '_')}_{lines}_{quality}.jpg", tolerance=1)
    for options in ("jpeg:arithmetic-coding=true", "jpeg:optimize-coding=off", "jpeg:dct-method=float"):
        forms.by_magick("rgb", f"-define {options}", f"d{len(forms.files)}.jpg", tolerance=1)
    forms.by_magick("inks", "-quality 95", "inks.jpg", tolerance=2, reader=PILLOW)
    for options in ("", "-grayscale", "-progressive", "-optimize", "-restart=2 -dct=int", "-quality=100",
                    "-smooth=20", "-baseline -quality=5", "-density=72x36dpi", "-density=100x50dpcm"):
        forms.by_command(f"pnmtojpeg {options} rgb.ppm > OUT", f"netpbm{len(forms.files)}.jpg", tolerance=1)
    for mode, image in modes().items():
        if mode not in ("1", "L", "RGB", "CMYK", "YCbCr"):
            continue
        for options in ({}, {"progressive": True}, {"subsampling": 0, "quality": 95}, {"subsampling": 1},
                        {"subsampling": 2, "optimize": True}, {"dpi": (72, 144)}, {"exif": b"Exif\0\0" + bytes(300)},
                        {"icc_profile": bytes(70000)}):
            forms.by_pillow(image, f"pillow{len(forms.files)}.jpg", options, tolerance=2 if mode == "CMYK" else 1,
                            reader=PILLOW if mode == "CMYK" else MAGICK)


def tiff(forms):
    def name():
        return f"{len(forms.files)}.tif"

    for base in BASES:
        for squeeze in ("none", "lzw", "zip", "rle", "zstd", "lzma"):
            for options in ("", "-endian MSB", "-interlace plane", "-define tiff:tile-geometry=16x16",
                            "-define tiff:rows-per-strip=5", "-define tiff:fill-order=lsb",
                            "-define tiff:predictor=2"):
                if options and squeeze not in ("none", "lzw"):
                    continue
                if options.endswith("predictor=2") and (squeeze != "lzw" or base == "bilevel"):
                    continue
                kind = "-type bilevel" if base == "bilevel" else ""
                forms.by_magick(base, f"{kind} -compress {squeeze} {options}", name(),
                                tolerance=1 if base == "inks" else 0)
    for base, squeeze in (("rgb", "jpeg"), ("gray", "jpeg"), ("bilevel", "fax"), ("bilevel", "group4")):
        forms.by_magick(base, f"-compress {squeeze}", name(), tolerance=2)
    for bits, base in itertools.product((2, 3, 4, 5, 6, 7, 9, 10, 11, 12, 13, 14, 15, 16, 24, 32),
                                        ("deep", "deepgray", "deepalpha")):
        for options in ("-endian LSB", "-endian MSB", "-interlace plane", "-define tiff:tile-geometry=16x16",
                        "-compress lzw"):
            # ImageMagick does not read the 24 bits that it writes.
            forms.by_magick(base, f"-depth {bits} {options}", name(), tolerance=1,
                            source=f"base_{base}.miff" if bits == 24 else None)
    # With 24 bits it writes whole numbers and calls them floating.
    for bits, base, options in itertools.product(
            (16, 32, 64), ("deep", "deepgray", "deepalpha"),
            ("-compress lzw -endian LSB", "-compress lzw -endian MSB", "-compress zip",
             "-compress lzw -define tiff:predictor=3", "-compress zip -define tiff:predictor=3 -endian MSB",
             "-compress zstd -define tiff:tile-geometry=16x16", "-compress lzw -interlace plane")):
        forms.by_magick(base, f"-depth {bits} -define quantum:format=floating-point {options}", name(), tolerance=1)
    for polarity, base in itertools.product(("min-is-white", "min-is-black"), ("bilevel", "gray", "deepgray")):
        forms.by_magick(base, f"{'-type bilevel' if base == 'bilevel' else ''} -define quantum:polarity={polarity}", name())
    for base in ("alpha", "deepalpha", "grayalpha"):
        forms.by_magick(base, "-define tiff:alpha=unassociated", name())
        # Colors that were multiplied by little alpha have lost most of their bits. ImageMagick 7 multiplies alpha too, so
        # that a quarter becomes a sixteenth, where a step is 16.
        forms.by_magick(base, "-channel A -evaluate max 25% +channel -define tiff:alpha=associated", name(), tolerance=16)
    # What tiffcp makes of a few of these.
    run("convert base_rgb.miff in_rgb.tif; convert base_deep.miff in_deep.tif; convert base_gray.miff in_gray.tif;"
        "convert bilevel.pbm -compress none -type bilevel in_bilevel.tif;"
        "convert base_palette.miff -type palette in_palette.tif;"
        "convert base_deep.miff -depth 32 -define quantum:format=floating-point -compress lzw in_float.tif")
    for source in ("rgb", "deep", "gray", "bilevel", "palette", "float"):
        ways = ["none", "lzw", "zip", "packbits", "zstd", "lzma"]
        if source in ("rgb", "deep", "gray"):
            ways += ["lzw:2", "zip:2"]
        if source == "float":
            ways += ["lzw:3", "zip:3"]
        if source == "bilevel":
            ways += ["g3", "g3:1d", "g3:2d", "g3:fill", "g4"]
        for way, place in itertools.product(ways, ("", "-t -w 16 -l 32", "-r 3", "-p separate", "-B", "-L -8",
                                                   "-f lsb2msb", "-f msb2lsb")):
            if source in ("deep", "float", "bilevel") and "separate" in place:
                continue  # tiffcp does not know how
            forms.by_command(f"tiffcp -c {way} {place} in_{source}.tif OUT", name())
    forms.by_command("pal2rgb in_palette.tif OUT", name())
    forms.by_command("tiff2rgba in_palette.tif OUT", name())
    forms.by_command("tiff2bw in_rgb.tif OUT", name())
    forms.by_command("tiffmedian in_rgb.tif OUT", name())
    forms.by_command("ppm2tiff -c none rgb.ppm OUT", name())
    for source in ("rgb.ppm", "gray.pgm", "bilevel.pbm", "deep.ppm", "deep.pgm", "few.ppm", "dozen.ppm", "four.ppm"):
        for options in ("-none", "-lzw", "-flate", "-adobeflate", "-packbits", "-lsb2msb", "-miniswhite",
                        "-indexbits=8", "-truecolor", "-predictor=2 -lzw", "-rowsperstrip=3"):
            if ((options == "-truecolor" and "ppm" not in source) or
                    (options == "-miniswhite" and source in ("rgb.ppm", "deep.ppm")) or
                    ("predictor" in options and source not in ("rgb.ppm", "gray.pgm"))):
                continue
            forms.by_command(f"pamtotiff -quiet {options} {source} > OUT || pamtotiff -quiet -truecolor {options} "
                             f"{source} > OUT", name())
    for maximum in (1, 3, 7, 15, 31, 63, 100, 127, 1000, 1023, 4095):
        forms.by_command(f"pamdepth {maximum} deep.pgm | pamtotiff -quiet > OUT", name(), tolerance=1)
        forms.by_command(f"pamdepth {maximum} deep.ppm | pamtotiff -quiet -truecolor > OUT", name(), tolerance=1)
    for mode, image in modes().items():
        if mode == "YCbCr":
            continue  # Pillow forgets to say that it takes no color for several pixels, and cannot read it either
        squeezes = [None, "tiff_lzw", "tiff_adobe_deflate", "packbits"]
        squeezes += ["group3", "group4", "tiff_ccitt"] if mode == "1" else []
        squeezes += ["jpeg"] if mode in ("L", "RGB") else []
        for squeeze in squeezes:
            gone = mode == "I"
            forms.by_pillow(image, name(), {"compression": squeeze} if squeeze else {}, unsupported=gone,
                            tolerance={"F": 1, "CMYK": 1}.get(mode, 2 if squeeze == "jpeg" else 0),
                            reader=PILLOW if mode == "I" else MAGICK)


def webp(forms):
    for source, options in itertools.product(
            ("rgb.png", "alpha.png", "gray.png"),
            ("-lossless", "-lossless -z 0", "-lossless -z 9 -exact", "-near_lossless 40", "-q 1", "-q 50", "-q 100",
             "-q 70 -sharp_yuv", "-q 70 -alpha_q 10", "-q 70 -alpha_method 0", "-q 70 -alpha_filter best", "-noalpha",
             "-segments 1 -m 0", "-m 6 -pass 4", "-f 0", "-strong", "-nostrong -sharpness 7", "-jpeg_like",
             "-preset text", "-preset drawing", "-low_memory", "-hint graph -lossless")):
        forms.by_command(f"cwebp -quiet {options} {source} -o OUT", f"{len(forms.files)}.webp", tolerance=1)
    for base, options in itertools.product(("rgb", "alpha", "gray", "palette"),
                                           ("-define webp:lossless=true", "-quality 30", "-define webp:method=0")):
        forms.by_magick(base, options, f"im{len(forms.files)}.webp", tolerance=1)
    for mode, image in modes().items():
        if mode in ("L", "P", "RGB", "RGBA", "LA"):
            for options in ({}, {"lossless": True}, {"quality": 20, "method": 6}, {"lossless": True, "exact": True},
                            {"icc_profile": bytes(5000), "exif": bytes(999)}):
                forms.by_pillow(image, f"pillow{len(forms.files)}.webp", options, tolerance=1)
    run("convert base_rgb.miff base_alpha.miff base_palette.miff base_gray.miff frame%d.png")
    for options in ("-lossless", "-lossy -q 60", "-mixed"):
        file = f"moves{len(forms.files)}.webp"
        forms.commands.append(f"img2webp {options} -d 50 frame0.png frame1.png frame2.png frame3.png -o {file} "
                              "> /dev/null")
        for frame in range(4):
            forms.expect(file, reader=PILLOW, frame=frame, tolerance=1)


def jpeg2000(forms):
    for source, options in itertools.product(
            ("rgb.ppm", "gray.pgm", "deep.ppm", "deep.pgm"),
            ("", "-r 8", "-I", "-I -r 4,2", "-n 1", "-n 3", "-t 16,16", "-t 20,11 -n 2", "-p RLCP", "-p RPCL", "-p PCRL",
             "-p CPRL", "-SOP -EPH", "-M 1", "-M 32", "-M 63", "-b 16,16", "-c [64,64]", "-d 3,5", "-d 3,5 -t 32,32 -n 2",
             "-mct 0", "-TP R -p RPCL -t 16,16", "-q 30,40")):
        for extension in ("jp2", "j2k"):
            # ImageMagick cuts pictures that do not start at 0, and Pillow does not read all of 16 bits.
            if (options == "-mct 0" and "pgm" in source) or ("-d" in options and "deep" in source):
                continue
            if "-n" not in options:
                options += " -n 3"  # the default of 6 is too many for so few pixels
            forms.by_command(f"opj_compress -i {source} {options} -o OUT > /dev/null", f"{len(forms.files)}.{extension}",
                             tolerance=1, reader=PILLOW if "-d" in options else MAGICK)
    for bits in (1, 2, 3, 4, 5, 6, 7, 9, 10, 12, 14):
        maximum = (1 << bits) - 1
        forms.by_command(f"pamdepth {maximum} deep.pgm > p{bits}.pgm; opj_compress -n 3 -i p{bits}.pgm -o OUT > /dev/null",
                         f"gray{bits}.jp2", tolerance=1)
        forms.by_command(f"pamdepth {maximum} deep.ppm > p{bits}.ppm; opj_compress -n 3 -i p{bits}.ppm -o OUT > /dev/null",
                         f"rgb{bits}.jp2", tolerance=1)
    forms.by_command("opj_compress -n 3 -i alpha.png -o OUT > /dev/null", "alpha.jp2")
    # Without a box that says what the fourth component is, ImageMagick 7 takes no alpha.
    forms.by_command("opj_compress -n 3 -i alpha.png -o OUT > /dev/null", "alpha.j2k", source="alpha.jp2")
    for base, quality, extension in itertools.product(("rgb", "alpha", "gray", "deep", "palette", "bilevel", "grayalpha"),
                                                      (30, 100), ("jp2", "j2k")):
        if not (extension == "j2k" and "alpha" in base):
            forms.by_magick(base, f"-quality {quality}", f"im{len(forms.files)}.{extension}", tolerance=1)
    for mode, image in modes().items():
        if mode in ("L", "LA", "RGB", "RGBA", "YCbCr", "I;16"):
            for options in ({}, {"tile_size": (16, 16)}, {"irreversible": True}, {"num_resolutions": 2},
                            {"progression": "CPRL"}, {"no_jp2": True}, {"quality_mode": "dB", "quality_layers": [40]}):
                if mode == "YCbCr" and ("no_jp2" in options):
                    continue
                forms.by_pillow(image, f"pillow{len(forms.files)}.{'j2k' if 'no_jp2' in options else 'jp2'}", options,
                                tolerance=3 if mode == "YCbCr" else 1, reader=MAGICK if mode in ("I;16", "YCbCr") else PILLOW)


def bmp(forms):
    for base, kind in itertools.product(BASES, ("bmp", "bmp2", "bmp3", "bmp4")):
        if base not in ("inks",):
            forms.by_magick(base, "", f"{kind}:{base}_{kind}.bmp" if kind != "bmp4" else f"{base}_{kind}.bmp")
    for base in ("palette", "gray", "few", "four", "bilevel"):
        forms.by_magick(base, "-type palette -compress rle", f"bmp3:rle_{base}.bmp")
    # ImageMagick takes n bits for the upper n of 8, as which a single bit of alpha would be 128.
    for base, subtype, tolerance in (("rgb", "RGB565", 8), ("rgb", "RGB555", 8), ("rgb", "ARGB4444", 15),
                                     ("alpha", "ARGB4444", 15), ("rgb", "ARGB1555", 8)):
        forms.by_magick(base, f"-define bmp:subtype={subtype}", f"{subtype}_{base}.bmp", tolerance=tolerance)
    for system, source in itertools.product(("-windows", "-os2"), ("rgb.ppm", "gray.pgm", "bilevel.pbm", "few.ppm",
                                                                  "dozen.ppm", "four.ppm", "deep.ppm")):
        forms.by_command(f"ppmtobmp -quiet {system} {source} > OUT", f"netpbm{len(forms.files)}.bmp")
    for bits, source in ((1, "bilevel.pbm"), (4, "dozen.ppm"), (8, "few.ppm"), (24, "rgb.ppm"), (8, "bilevel.pbm")):
        forms.by_command(f"ppmtobmp -quiet -bpp={bits} {source} > OUT", f"netpbm{len(forms.files)}.bmp")
    for mode, image in modes().items():
        if mode in ("1", "L", "P", "RGB", "RGBA"):
            forms.by_pillow(image, f"pillow{len(forms.files)}.bmp", reader=PILLOW if mode == "RGBA" else MAGICK)
            forms.by_pillow(image, f"dpi{len(forms.files)}.bmp",
                            {"dpi": (100, 100)}, reader=PILLOW if mode == "RGBA" else MAGICK)


def gif(forms):
    for base, lines in itertools.product(("rgb", "gray", "bilevel", "palette", "few", "four", "keyed"), ("none", "GIF")):
        for colors in (3, 256):
            forms.by_magick(base, f"-interlace {lines} -colors {colors}", f"{base}_{lines}_{colors}.gif")
    for options, source in itertools.product(("", "-interlace", "-nolzw", "-transparent=black", "-comment=abc", "-sort",
                                              "-aspect=1.5"),
                                             ("few.ppm", "gray.pgm", "bilevel.pbm", "dozen.ppm", "four.ppm")):
        forms.by_command(f"pamtogif -quiet {options} {source} > OUT" if options != "-sort" else
                         f"ppmtogif -quiet -sort {source} > OUT", f"netpbm{len(forms.files)}.gif")
    for mode, image in modes().items():
        if mode in ("1", "L", "P", "RGB"):
            for options in ({}, {"interlace": 0}, {"optimize": True}, {"transparency": 0}, {"comment": b"x" * 400}):
                forms.by_pillow(image, f"pillow{len(forms.files)}.gif", options, reader=PILLOW)
    frames = [modes()["P"], modes()["L"].convert("P"), modes()["1"].convert("P")]
    for disposal in (0, 1, 2, 3):
        file = f"moves{disposal}.gif"
        # Programs do not agree what was there before the first frame.
        ways = [1 if disposal == 3 else disposal, disposal, disposal]
        frames[0].save(file, save_all=True, append_images=frames[1:], disposal=ways, duration=40)
        for frame in range(3):
            forms.expect(file, reader=PILLOW, frame=frame)


FORMATS = {"PNG": png, "JPEG": jpeg, "TIFF": tiff, "WebP": webp, "JPEG2000": jpeg2000, "BMP": bmp, "GIF": gif}

if __name__ == "__main__":
    make_bases()
    wanted = Forms()
    FORMATS[sys.argv[1]](wanted)
    wanted.write()
    wanted.read()
