# SPDX-License-Identifier: MIT
"""resample.py FILE FILTER WIDTH HEIGHT: the picture resized by Pillow, as PNG on standard output.

Every channel is resized by itself in floating point and rounded once; colors are weighed by alpha. (Pillow's bytes are
rounded and cut after each of the two directions.)"""

import sys

from PIL import Image, ImageMath

file, name, width, height = sys.argv[1:]
method = getattr(Image.Resampling, name)
size = (int(width), int(height))


def resized(channel):
    return channel.convert("F").resize(size, method)


def rounded(channel):
    return ImageMath.eval("convert(min(max(a + 0.5, 0), 255), 'L')", a=channel)


image = Image.open(file)
if name == "NEAREST":
    made = image.resize(size, method)
elif image.mode != "RGBA":
    made = Image.merge(image.mode, [rounded(resized(channel)) for channel in image.split()])
else:
    *colors, alpha = image.split()
    weight = resized(alpha)
    made = []
    for color in colors:
        weighed = resized(ImageMath.eval("float(a) * float(b)", a=color, b=alpha))
        made.append(rounded(ImageMath.eval("a / max(b, 0.000001)", a=weighed, b=weight)))
    made = Image.merge("RGBA", made + [rounded(weight)])
made.save(sys.stdout.buffer, "PNG")
