# SPDX-License-Identifier: MIT
"""picture_families.py FORMAT SHARE: writes each picture of a format's family as it is, and with one odd number in it.

FORMAT is TIFF or JPEG2000; of the odd values of each number one in SHARE is taken, always the same ones. The current directory
gets two files: all pictures in `pictures`, and what Pillow sees of them, red, green, blue and alpha of 8 bits, in `seen`. Prints
a line for each picture: its name, its length, and the width and height that Pillow sees, 0 where it reads nothing."""
import io
import os
import random
import sys
import warnings

from PIL import Image

import jpeg2000_families
import tiff_families

FAMILIES = {"TIFF": tiff_families, "JPEG2000": jpeg2000_families}
MOST_PIXELS = 1 << 12


def odd_values(value, size):
    """Numbers of so many bytes that somebody did not think of."""
    most = (1 << 8 * size) - 1
    values = {0, 1, 2, 3, 5, value + 1, value - 1, 2 * value, value ^ 0x80, most, most - 1, most // 2, most // 2 + 1, value << 8}
    return sorted(number for number in values if 0 <= number <= most and number != value)


def variants(name, picture, share, chance):
    """(name, bytes) of the picture and of its odd ones."""
    yield name, picture.data
    for field in picture.fields:
        order = "big" if field.big else "little"
        value = int.from_bytes(picture.data[field.at:field.at + field.size], order)
        for odd in odd_values(value, field.size):
            if chance.randrange(share) == 0:
                data = bytearray(picture.data)
                data[field.at:field.at + field.size] = odd.to_bytes(field.size, order)
                yield f"{name},at_{field.at},{value}_is_{odd}", bytes(data)


def seen(data):
    """Size and pixels as Pillow reads them; nothing where it does not, or has more than 8 bits for a sample."""
    try:
        with Image.open(io.BytesIO(data)) as image:
            if image.width * image.height > MOST_PIXELS or image.mode not in ("1", "L", "LA", "P", "RGB", "RGBA", "CMYK"):
                return (0, 0), b""
            image.load()
            return image.size, image.convert("RGBA").tobytes()
    except Exception:  # pylint: disable=broad-exception-caught
        return (0, 0), b""  # whatever it raises, it read nothing


def main():
    warnings.simplefilter("ignore")
    os.dup2(os.open(os.devnull, os.O_WRONLY), 2)  # its libraries say there what they do not like
    family, share = FAMILIES[sys.argv[1]], int(sys.argv[2])
    chance = random.Random(7)
    with open("pictures", "wb") as pictures, open("seen", "wb") as pixels:
        for name, picture in family.pictures().items():
            for odd, data in variants(name, picture, share, chance):
                size, rgba = seen(data)
                pictures.write(data)
                pixels.write(rgba)
                print(odd, len(data), *size)


if __name__ == "__main__":
    main()
