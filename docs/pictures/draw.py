#!/usr/bin/python3
"""Draws the pictures of docs/layouts.md.

    docs/pictures/draw.py            writes them beside itself
    docs/pictures/draw.py --check    says which of them are not what it would write
"""

import sys
from pathlib import Path
from xml.sax.saxutils import escape

FOLDER = Path(__file__).resolve().parent
CELL, ROW = 48, 32  # width and height of one element
LABEL = 150  # room for the words left of a row
MARGIN = 14
INK, PALE, LINE = "#1a1a1a", "#767676", "#8a8a8a"
FILLS = {"a": "#cfe3f7", "b": "#fbdfc0", "c": "#d5ebcd", "gap": "#ffffff", "twin": "#f2f2f2"}


class Picture:
    def __init__(self, title, cells, label=LABEL):
        self.title = title
        self.left = MARGIN + label
        self.width = self.left + cells * CELL + MARGIN
        self.y = MARGIN
        self.parts = []

    def text(self, x, y, words, anchor="middle", colour=INK, size=14):
        """Words, of which those behind _ are a subscript."""
        if not words:
            return
        words, _, index = escape(words).partition("_")
        if index:
            words += f'<tspan dy="4" font-size="{size - 4}">{index}</tspan>'
        self.parts.append(f'<text x="{x:g}" y="{y:g}" text-anchor="{anchor}" fill="{colour}" '
                          f'font-size="{size}">{words}</text>')

    def heading(self, words):
        self.y += 18
        self.text(MARGIN, self.y - 4, words, "start", size=15)
        self.y += 6

    def space(self, height=12):
        self.y += height

    def box(self, place, width, kind, words):
        x = self.left + place * CELL
        dash = ' stroke-dasharray="3 3"' if kind in ("gap", "twin") else ""
        self.parts.append(f'<rect x="{x:g}" y="{self.y:g}" width="{width * CELL:g}" '
                          f'height="{ROW}" fill="{FILLS[kind]}" stroke="{LINE}"{dash}/>')
        self.text(x + width * CELL / 2, self.y + 21, words, colour=PALE if dash else INK)

    def row(self, label, cells, width=1):
        """One row of memory: (kind, words) for each element, `width` places wide."""
        if label:
            self.text(self.left - 10, self.y + 21, label, "end")
        dashed = ("gap", "twin")
        order = sorted(enumerate(cells), key=lambda item: item[1][0] not in dashed)
        for place, (kind, words) in order:  # whole lines over dashed ones
            self.box(place * width, width, kind, words)
        self.y += ROW

    def places(self, words, width=1):
        """What stands under the elements."""
        for place, word in enumerate(words):
            self.text(self.left + (place + 0.5) * width * CELL, self.y + 15, str(word),
                      colour=PALE, size=12)
        self.y += 20

    def arrow(self, start, end, words):
        """From the middle of one element to that of another, with words in its middle."""
        x0, x1 = (self.left + (place + 0.5) * CELL for place in (start, end))
        y = self.y + 9
        self.parts.append(f'<path d="M{x0:g} {y - 5} V{y + 5} M{x0:g} {y} H{x1:g} '
                          f'M{x1 - 6:g} {y - 4} L{x1:g} {y} L{x1 - 6:g} {y + 4}" fill="none" '
                          f'stroke="{INK}"/>')
        self.text(x1 + 10, y + 5, words, "start", size=13)

    def arrows(self, *arrows):
        """One below the other: (start, end, words)."""
        for start, end, words in arrows:
            self.arrow(start, end, words)
            self.y += 20

    def brace(self, start, end, words):
        """Under the elements start .. end - 1."""
        x0, x1 = self.left + start * CELL + 3, self.left + end * CELL - 3
        y = self.y + 4
        self.parts.append(f'<path d="M{x0:g} {y} V{y + 6} H{x1:g} V{y}" fill="none" '
                          f'stroke="{INK}"/>')
        self.text((x0 + x1) / 2, y + 21, words, size=13)

    def svg(self):
        height = self.y + MARGIN
        return (f'<svg xmlns="http://www.w3.org/2000/svg" width="{self.width}" height="{height}" '
                f'viewBox="0 0 {self.width} {height}" role="img" '
                f'font-family="Helvetica, Arial, \'DejaVu Sans\', sans-serif">\n'
                f'<!-- Written by docs/pictures/draw.py. -->\n'
                f'<title>{escape(self.title)}</title>\n'
                f'<rect width="100%" height="100%" fill="#ffffff"/>\n'
                + "\n".join(self.parts) + "\n</svg>\n")


GAP = ("gap", "")


def element(kind, name, index):
    return (kind, f"{name}_{index}")


def strides():
    picture = Picture("One transform of four elements at stride 1 and at stride 3", 10, 80)
    picture.row("stride 1", [element("a", "x", j) for j in range(4)] + [GAP] * 6)
    picture.space(20)
    picture.row("stride 3", [element("a", "x", j // 3) if j % 3 == 0 else GAP for j in range(10)])
    picture.arrows((0, 3, "stride: from one element to the next"))
    return picture


def batches():
    def transform(kind):
        return [element(kind, kind, j) for j in range(4)]

    picture = Picture("Batches of three transforms of four elements", 16)
    picture.row("one after another", transform("a") + transform("b") + transform("c"))
    picture.arrows((0, 1, "stride 1"), (0, 4, "distance 4"))
    picture.space()
    picture.row("with gaps", transform("a") + [GAP] * 2 + transform("b") + [GAP] * 2
                + transform("c"))
    picture.arrows((0, 1, "stride 1"), (0, 6, "distance 6"))
    picture.space()
    picture.row("interleaved", [element(kind, kind, j) for j in range(4) for kind in "abc"])
    picture.arrows((0, 3, "stride 3"), (0, 1, "distance 1"))
    return picture


def window():
    picture = Picture("A 2 x 3 transform in the corner of a 4 x 5 array", 5, 160)
    for i in range(4):
        label = ("n[0] = 2 rows", "", "", "")[i]
        picture.row(label, [("a", f"{i * 5 + j}") if i < 2 and j < 3 else ("gap", f"{i * 5 + j}")
                            for j in range(5)])
    picture.brace(0, 3, "n[1] = 3")
    picture.y += 30
    picture.brace(0, 5, "inembed[1] = 5")
    picture.y += 30
    return picture


def half_spectrum():
    picture = Picture("The spectra of six and of five real numbers", 12, 100)
    for n in (6, 5):
        stored = n // 2 + 1
        picture.heading(f"n = {n}")
        picture.row("real", [element("a", "x", j) for j in range(n)])
        picture.space(8)
        picture.row("complex", [element("b", "X", k) for k in range(stored)]
                    + [("twin", f"conj X_{n - k}") for k in range(stored, n)], 2)
        picture.brace(0, 2 * stored, f"n/2+1 = {stored} complex numbers are stored")
        picture.y += 30
        picture.space(4)
    return picture


def padded_rows():
    picture = Picture("A 3 x 4 real transform in place", 6, 100)
    picture.heading("3 x 4 real numbers, in place")
    for i in range(3):
        picture.row("real" if i == 1 else "", [element("a", "x", f"{i}{j}") for j in range(4)]
                    + [("gap", "pad")] * 2)
    picture.brace(0, 4, "n = 4")
    picture.brace(4, 6, "padding")
    picture.y += 34
    picture.heading("their spectrum, in the same memory")
    for i in range(3):
        picture.row("complex" if i == 1 else "",
                    [("b", f"X_{i}{k}") for k in range(3)], 2)
    picture.brace(0, 6, "n/2+1 = 3 complex numbers, 6 doubles")
    picture.y += 30
    return picture


def half_complex():
    picture = Picture("Half-complex order for eight and for seven numbers", 8, 80)
    for n in (8, 7):
        picture.heading(f"n = {n}")
        picture.row("holds", [("a", f"re X_{k}") for k in range(n // 2 + 1)]
                    + [("b", f"im X_{n - k}") for k in range(n // 2 + 1, n)])
        picture.text(picture.left - 10, picture.y + 15, "place", "end", PALE, 12)
        picture.places(range(n))
        picture.space(4)
    return picture


PICTURES = {"strides": strides, "batches": batches, "window": window,
            "half-spectrum": half_spectrum, "padded-rows": padded_rows,
            "half-complex": half_complex}


def main(arguments):
    if arguments not in ([], ["--check"]):
        print(__doc__, file=sys.stderr)
        return 2
    status = 0
    for name, draw in PICTURES.items():
        file = FOLDER / f"{name}.svg"
        text = draw().svg()
        if not arguments:
            file.write_text(text, encoding="utf-8")
        elif not file.exists() or file.read_text(encoding="utf-8") != text:
            print(f"{file.name} is not what docs/pictures/draw.py draws")
            status = 1
    return status


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
