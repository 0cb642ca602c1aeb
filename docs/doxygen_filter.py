"""Makes the plain comments of the header comments for Doxygen.

usage: doxygen_filter.py HEADER

A comment belongs to all declarations up to the next comment: they become a group. The first
comment and those without declarations describe the file. Indented lines, formulas and tables, stay as they are.
"""

import re
import sys
from pathlib import Path


def body(comment):
    """The lines between the marks of a comment."""
    text = comment.strip().removeprefix("/*").removesuffix("*/").strip()
    return [re.sub(r"^ *\* ?", "", line) if i else line.removeprefix("* ")
            for i, line in enumerate(text.splitlines())]


def marked_up(lines):
    """Indented lines become verbatim blocks; angle brackets lose their meaning in HTML, dots
    between bounds do not end a sentence."""
    out, verbatim = [], False
    for line in lines:
        if line.strip() and verbatim != line.startswith("  "):
            verbatim = not verbatim
            out.append("@verbatim" if verbatim else "@endverbatim")
        text = re.sub("([<>])", r"\\\1", line).replace(" .. ", " &hellip; ")
        out.append(line if verbatim else text)
    return "\n".join(out + ["@endverbatim"] * verbatim)


def with_titles(text):
    """A word and a full stop at the beginning of a paragraph are its title."""
    return re.sub(r"(?m)(?<=\n\n)([A-Z]\w+\.)(?= )", r"<b>\1</b>", text)


def with_fields(code):
    """What fields are is said with their record."""
    return re.sub(r"(?s)(struct \{)(.*?)(\})",
                  r"\1\n/** See the description of the record. */\n/**@{*/\2/**@}*/\n\3", code)


def filtered(text):
    pieces = re.split(r"(?ms)^(/\*.*?\*/\n)", text)
    yield f"/** @file\n{with_titles(marked_up(body(pieces[1])))}\n*/"
    yield pieces[2]
    for comment, code in zip(pieces[3::2], pieces[4::2]):
        lines = body(comment)
        if lines[0].startswith("----"):
            yield code  # the heading of a part of the header
        elif not code.strip():
            yield f"/** @file\n@details {marked_up(lines)}\n*/"
        else:
            description = f"/** {marked_up(lines)} */\n"
            # Doxygen does not count records among the members of a group.
            code = code.replace("\n\ntypedef struct", f"\n\n{description}typedef struct")
            yield f"{description}/**@{{*/\n{with_fields(code)}\n/**@}}*/"


if __name__ == "__main__":
    print("\n".join(filtered(Path(sys.argv[1]).read_text())))
