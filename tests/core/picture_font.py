# SPDX-License-Identifier: MIT
"""picture_font.py FONT OUT: the font as family "Some Pictures", whose A is a red picture and whose other glyphs are outlines."""

import io
import sys

from fontTools.ttLib import TTFont, newTable
from fontTools.ttLib.tables.sbixGlyph import Glyph
from fontTools.ttLib.tables.sbixStrike import Strike
from PIL import Image

source, out = sys.argv[1:]
font = TTFont(source)
for record in font["name"].names:
    if record.nameID in (1, 3, 4, 16):
        record.string = "Some Pictures"
    elif record.nameID == 6:
        record.string = "SomePictures"
picture = io.BytesIO()
Image.new("RGBA", (64, 64), (255, 0, 0, 255)).save(picture, "PNG")
strike = Strike(ppem=64, resolution=72)
for name in font.getGlyphOrder():
    strike.glyphs[name] = Glyph(glyphName=name, graphicType="png ", imageData=picture.getvalue()) if name == "A" else Glyph(glyphName=name)
sbix = newTable("sbix")
sbix.version, sbix.flags, sbix.strikes = 1, 1, {64: strike}
font["sbix"] = sbix
font.save(out)
