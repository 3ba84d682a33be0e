#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""usage: docs/diagrams.py FOLDER: the pictures of docs/guide/scale.md as SVG: a row of lines for each."""
import html
import pathlib
import sys

INK, SOFT, FILL, MARK = "#1f2d3d", "#5b6b7d", "#eef3f8", "#1f4e79"


class Diagram:
    def __init__(self, width, height):
        self.size, self.parts = (width, height), []

    def text(self, x, y, words, size=14, color=INK, anchor="middle", weight="normal"):
        self.parts.append(f'<text x="{x}" y="{y}" font-size="{size}" fill="{color}" text-anchor="{anchor}" '
                          f'font-weight="{weight}">{html.escape(words)}</text>')

    def box(self, x, y, width, height, title, below="", fill=FILL, dash=""):
        dashes = f' stroke-dasharray="{dash}"' if dash else ""
        self.parts.append(f'<rect x="{x}" y="{y}" width="{width}" height="{height}" rx="6" fill="{fill}" stroke="{MARK}" '
                          f'stroke-width="1.5"{dashes}/>')
        middle = x + width / 2
        self.text(middle, y + height / 2 + (5 if not below else -3), title, weight="bold")
        if below:
            self.text(middle, y + height / 2 + 15, below, 12, SOFT)

    def arrow(self, *points, words="", at=None, dash="", anchor="middle"):
        dashes = f' stroke-dasharray="{dash}"' if dash else ""
        path = " ".join(f"{x},{y}" for x, y in points)
        self.parts.append(f'<polyline points="{path}" fill="none" stroke="{MARK}" stroke-width="1.5" '
                          f'marker-end="url(#head)"{dashes}/>')
        if words:
            self.text(*at, words, 12, SOFT, anchor)

    def save(self, path):
        width, height = self.size
        head = ('<defs><marker id="head" viewBox="0 0 10 10" refX="9" refY="5" markerWidth="7" markerHeight="7" '
                f'orient="auto"><path d="M0 0L10 5L0 10z" fill="{MARK}"/></marker></defs>')
        path.write_text(f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" width="{width}" '
                        f'height="{height}" font-family="DejaVu Sans, sans-serif">\n<rect width="{width}" height="{height}" '
                        'fill="#ffffff"/>\n' + "\n".join([head, *self.parts]) + "\n</svg>\n", encoding="utf-8")


def shards():
    """A scheduler starts as many tasks as there are shards; each takes its jobs from the same file."""
    diagram = Diagram(760, 300)
    diagram.box(20, 40, 150, 220, "shared folder", "", "#ffffff", "5 4")
    diagram.box(35, 60, 120, 44, "jobs.jsonl")
    diagram.box(35, 190, 120, 50, "out/", "results.*.jsonl")
    diagram.box(590, 110, 150, 80, "scheduler", "Slurm, Kubernetes …")
    for number, y in enumerate((30, 120, 210)):
        diagram.box(290, y, 190, 60, "tovkit batch", f"--shard {number}/3")
        diagram.arrow((155, 82), (225, 82), (225, y + 20), (290, y + 20))
        diagram.arrow((290, y + 44), (250, y + 44), (250, 215), (155, 215))
        diagram.arrow((590, 150), (535, 150), (535, y + 30), (480, y + 30))
    diagram.text(140, 292, "each task reads every job and runs its own", 12, SOFT)
    diagram.text(200, 232, "writes", 12, SOFT)
    diagram.text(570, 292, "starts each task, and again where one was lost", 12, SOFT)
    return diagram


def queue():
    """Any number of workers take jobs from a broker; results go back through it."""
    diagram = Diagram(760, 300)
    diagram.box(20, 110, 140, 80, "tovkit submit", "or any program")
    diagram.box(265, 20, 210, 260, "", "", "#ffffff", "5 4")
    diagram.text(370, 44, "RabbitMQ", weight="bold")
    diagram.box(290, 60, 160, 50, "jobs")
    diagram.box(290, 135, 160, 50, "results")
    diagram.box(290, 210, 160, 50, "jobs.dead", "what is rejected")
    diagram.arrow((160, 130), (215, 130), (215, 85), (290, 85))
    diagram.text(205, 76, "a message a job", 12, SOFT)
    diagram.arrow((290, 165), (160, 165))
    for y in (30, 120, 210):
        diagram.box(590, y, 150, 60, "tovkit worker")
        diagram.arrow((450, 80), (520, 80), (520, y + 20), (590, y + 20))
        diagram.arrow((590, y + 44), (550, y + 44), (550, 160), (450, 160))
    diagram.arrow((450, 98), (475, 98), (475, 235), (450, 235))
    diagram.text(665, 292, "come and go as they like", 12, SOFT)
    diagram.text(212, 183, "a result each", 12, SOFT)
    return diagram


def main():
    folder = pathlib.Path(sys.argv[1])
    shards().save(folder / "scale_shards.svg")
    queue().save(folder / "scale_queue.svg")


if __name__ == "__main__":
    main()
