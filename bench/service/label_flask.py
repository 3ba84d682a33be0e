# SPDX-License-Identifier: MIT
"""A peer of bench/service: labels over HTTP by Flask and Pillow, for gunicorn."""
import functools
import io

from flask import Flask, Response, request
from PIL import Image, ImageDraw, ImageFont

FONT = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf"
app = Flask(__name__)


@functools.lru_cache
def font(points):
    return ImageFont.truetype(FONT, round(points * 4 / 3))


@app.get("/readyz")
def ready():
    return "ready\n"


@app.post("/v1/draw")
def draw():
    size = tuple(map(int, request.args["size"].split("x")))
    picture = Image.new("RGB", size, request.args["background"])
    pen = ImageDraw.Draw(picture)
    for line in request.get_json():
        pen.text((line["DeltaX"], line["DeltaY"]), line["Content"], line["Font"]["Color"], font(line["Font"]["FontSize"]))
    file = io.BytesIO()
    picture.save(file, "png")
    return Response(file.getvalue(), mimetype="image/png")
