#!/usr/bin/env python3
"""Write cosines and sines of 2 pi k / N to the last bit.

Usage: tools/gen_roots.py > src/codelets/kernel/roots.h
       tools/gen_roots.py octants > src/codelets/kernel/octants.h
"""
import sys
from decimal import Decimal, getcontext

getcontext().prec = 60
LENGTHS = (3, 5, 7, 8, 9, 11, 13, 16, 17, 19, 23, 29, 31, 32, 37)


def arctan_inverse(x):
    """arctan(1/x) by its series."""
    power = total = Decimal(1) / x
    k = 1
    while abs(power) > Decimal(10) ** -58:
        power /= -x * x
        k += 2
        total += power / k
    return total


PI = 4 * (4 * arctan_inverse(5) - arctan_inverse(239))  # Machin, 1706


def cos_sin(angle):
    c = s = Decimal(0)
    term, k = Decimal(1), 0
    while abs(term) > Decimal(10) ** -58:
        if k % 2 == 0:
            c += term if k % 4 == 0 else -term
        else:
            s += term if k % 4 == 1 else -term
        k += 1
        term *= angle / k
    return c, s


def literal(value):
    rounded = float(value)  # correctly rounded from the decimal expansion
    return repr(0.0 if abs(rounded) < 1e-30 else rounded)


def table(name, values):
    lines, line = [], f"    static constexpr scalar {name}[] = {{"
    for i, value in enumerate(values):
        text = literal(value) + (", " if i + 1 < len(values) else "};")
        if len(line) + len(text.rstrip()) > 100:
            lines.append(line.rstrip())
            line = "        "
        line += text
    return "\n".join(lines + [line])


def header(title, template):
    print(f"// {title} Written by tools/gen_roots.py; do not edit.")
    print("#pragma once\n\n#include \"precision.h\"\n")
    print("namespace lyr::LYR_ISA {\nnamespace {\n")
    print("// clang-format off")
    print(f"template <int N>\nstruct {template};\n")


def write_roots():
    header("Cosines and sines of 2 pi k / N.", "roots")
    for n in LENGTHS:
        pairs = [cos_sin(2 * PI * k / n) for k in range(n)]
        print(f"template <>\nstruct roots<{n}> {{")
        print(table("cosine", [c for c, _ in pairs]))
        print(table("sine", [s for _, s in pairs]))
        print("};\n")


def write_octants():
    header("Cosines, sines, tangents of 2 pi k / N, k <= N/8.", "octant")
    for n in (4, 8, 16, 32, 64, 128):
        pairs = [cos_sin(2 * PI * k / n) for k in range(n // 8 + 1)]
        print(f"template <>\nstruct octant<{n}> {{")
        print(table("cosine", [c for c, _ in pairs]))
        print(table("sine", [s for _, s in pairs]))
        print(table("tangent", [s / c for c, s in pairs]))
        print("};\n")


if sys.argv[1:] == ["octants"]:
    write_octants()
else:
    write_roots()
print("// clang-format on")
print("}  // namespace\n}  // namespace lyr::LYR_ISA")
