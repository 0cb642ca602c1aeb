"""What lyr-fft spectrum reads, refuses, prints and draws.

usage: spectrum_check.py TOOL

Exits with 1 and one line per fault.
"""

import math
import struct
import subprocess
import sys
import tempfile
import wave
import zlib
from pathlib import Path


def run(tool, folder, *arguments, text=None):
    """(status, what was printed, what was said on standard error)"""
    result = subprocess.run([tool, "spectrum", *arguments], input=text, cwd=folder,
                            capture_output=True, timeout=120)
    return result.returncode, result.stdout.decode(), result.stderr.decode()


def sine(frequency, count):
    return [math.sin(2 * math.pi * frequency * i) for i in range(count)]


def lines(*columns, separator=" "):
    return "".join(separator.join(map(str, row)) + "\n" for row in zip(*columns))


def write_wave(path, samples, rate):
    with wave.open(str(path), "wb") as file:
        file.setparams((1, 2, rate, 0, "NONE", ""))
        file.writeframes(b"".join(struct.pack("<h", round(20000 * x)) for x in samples))


def read_png(path):
    """Rows of (red, green, blue) of a PNG with 8 bits for each of them."""
    data = path.read_bytes()
    width, height, depth, kind = struct.unpack(">IIBB", data[16:26])
    assert (depth, kind) == (8, 2), "not a PNG of 8-bit RGB"
    packed, at = b"", 8
    while at < len(data):
        size, name = struct.unpack(">I4s", data[at:at + 8])
        packed += data[at + 8:at + 8 + size] if name == b"IDAT" else b""
        at += size + 12
    raw, stride = zlib.decompress(packed), 3 * width
    rows, before = [], bytes(stride)
    for y in range(height):
        method, row = raw[y * (stride + 1)], bytearray(raw[y * (stride + 1) + 1:][:stride])
        for i in range(stride):
            left = row[i - 3] if i >= 3 else 0
            up, corner = before[i], before[i - 3] if i >= 3 else 0
            nearest = min((abs(up - corner), 0, left), (abs(left - corner), 1, up),
                          (abs(left + up - 2 * corner), 2, corner))[2]
            row[i] = row[i] + (0, left, up, (left + up) // 2, nearest)[method] & 255
        before = bytes(row)
        rows.append([tuple(row[i:i + 3]) for i in range(0, stride, 3)])
    return rows


# File, arguments, and what is printed or, from "lyr-fft" on, said.
CASES = [
    ("slow.txt", [], "0.05000"),
    ("slow.txt", ["--rate", "16000"], "window of 1024 samples"),
    ("slow.txt", [], "window of 256 samples"),
    ("slow.txt", ["-k", "0"], "bins of 0.0039062 Hz\n"),
    ("columns.txt", [], "column 1 of 3"),
    ("columns.txt", ["--column", "2"], "column 2 of 3"),
    ("columns.txt", ["--column", "2"], "0.12500"),
    ("columns.txt", ["--column", "3"], "lyr-fft: cannot read 'columns.txt': it is not sound, and "
     "line 2 has no finite number in column 3: 'x'"),
    ("columns.txt", ["--column", "4"], "line 2 has no column 4"),
    ("commas.csv", [], "lyr-fft: cannot read 'commas.csv': it is not sound, and line 1 has commas "
     "between digits, '0,7'"),
    ("commas.csv", ["--column", "2"], "column 2 of 2"),
    ("points.csv", [], "column 1 of 2"),
    ("broken.txt", [], "line 3 has no finite number in column 1: '1.5abc'"),
    ("Größe.wav", [], "Größe.wav: 0.100 s, 800 samples, 8000 Hz, 1 channel"),
    ("Größe.wav", ["--column", "1"], "--column is for columns of numbers"),
    ("Größe.wav", ["--rate", "1"], "--rate is for columns of numbers"),
    ("no such ö", [], "lyr-fft: cannot read 'no such ö': No such file or directory"),
]


def faults(tool, folder):
    (folder / "slow.txt").write_text(lines(sine(0.05, 2000)))
    (folder / "columns.txt").write_text(
        "# place; value; mark\n" + "".join(f"{i}; {x} x\n"
                                           for i, x in enumerate(sine(0.125, 400))))
    (folder / "commas.csv").write_text(lines(range(100), [7 + i % 5 for i in range(100)],
                                             separator=","))
    (folder / "points.csv").write_text(lines([i / 8 + 0.5 for i in range(100)], range(100),
                                             separator=","))
    (folder / "broken.txt").write_text("1\n+2\n1.5abc\n")
    write_wave(folder / "Größe.wav", sine(1 / 8, 800), 8000)
    for name, arguments, wanted in CASES:
        status, printed, said = run(tool, folder, name, *arguments)
        bad = said.startswith("lyr-fft: ") and said.count("\n") == 1
        if wanted not in printed + said or (status, bad) not in ((0, False), (2, True)):
            yield f"{name} {arguments}: status {status}, {printed}{said}"
    if run(tool, folder, "slow.txt", "-k", "0")[1].count("\n") != 2:
        yield "-k 0 lists something"

    # Standard input, sound and text, is read like a file.
    for name in ("slow.txt", "Größe.wav"):
        from_file = run(tool, folder, name)
        piped = run(tool, folder, "-", text=(folder / name).read_bytes())
        if piped != (0, from_file[1].replace(name, "standard input"), ""):
            yield f"{name} from standard input: {piped}, not {from_file}"
    if run(tool, folder, "-", text=b"")[::2] != (
            2, "lyr-fft: cannot read standard input: it is empty\n"):
        yield "empty standard input is taken"

    # A steady tone is steady up to both ends: what lies beyond them is no sound.
    status, _, said = run(tool, folder, "Größe.wav", "-o", "picture.png", "--size", "700x400")
    if status:
        yield f"no picture: {said}"
        return
    picture = read_png(folder / "picture.png")
    for y in range(80, 320):
        inside = picture[y][84:380]
        if max(abs(a - b) for pixel in inside for a, b in zip(pixel, inside[148])) > 24:
            yield f"row {y} of the picture of a steady tone is uneven"
            return


def main(arguments):
    if len(arguments) != 1:
        print(__doc__, file=sys.stderr)
        return 2
    with tempfile.TemporaryDirectory() as folder:
        found = list(faults(arguments[0], Path(folder)))
    print("\n".join(found))
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
