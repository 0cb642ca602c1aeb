"""Makes what people read for Doxygen: the headers, the Fortran module and the Markdown pages.

usage: doxygen_filter.py FILE

lyr_fft.h     The headings of its parts become groups. A comment belongs to all declarations up to the
              next comment: several functions become a part of the group with a title of its own, and
              each gets a sentence, its parameters and its result. The first comment and those without
              declarations describe the header. Indented lines, formulas and tables, stay as they are.
lyr_fft.hpp   The comment before a declaration, or after a field, describes it.
lyra_fft.f90  Functions say what they are by their names, as those of C.
*.md          Links to pages and their headings become references.
"""

import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent


def body(comment):
    """The lines between the marks of a comment."""
    text = comment.strip().removeprefix("/*").removesuffix("*/").strip()
    return [re.sub(r"^ *\* ?", "", line) if i else line.removeprefix("* ")
            for i, line in enumerate(text.splitlines())]


def marked_up(lines):
    """Indented lines become verbatim blocks; angle brackets and hashes lose their meaning, dots
    between bounds do not end a sentence."""
    out, verbatim = [], False
    for line in lines:
        if line.strip() and verbatim != line.startswith("  "):
            verbatim = not verbatim
            out.append("@verbatim" if verbatim else "@endverbatim")
        text = re.sub("([<>#@])", r"\\\1", line).replace(" .. ", " &hellip; ")
        out.append(line if verbatim else text)
    return "\n".join(out + ["@endverbatim"] * verbatim)


def with_titles(text):
    """A word and a full stop at the beginning of a paragraph are its title."""
    return re.sub(r"(?m)(?<=\n\n)([A-Z]\w+\.)(?= )", r"<b>\1</b>", text)


# ---- What a function is, by its name -------------------------------------------------------------

KINDS = {"dft": "complex", "dft_r2c": "real-to-complex", "dft_c2r": "complex-to-real",
         "r2r": "real-to-real"}
DIMENSIONS = {"_1d": " in one dimension", "_2d": " in two dimensions",
              "_3d": " in three dimensions", "": " in one to three dimensions"}
PARAMETERS = {
    "n": "the length, or the length of each dimension, outermost first",
    "n0": "length of the outermost dimension", "n1": "length of the next dimension",
    "n2": "length of the innermost dimension",
    "rank": "number of dimensions of the transform", "howmany": "number of transforms",
    "in": "input array", "out": "output array; equal to the input array: in place",
    "sign": "LYR_FFT_FORWARD or LYR_FFT_BACKWARD", "flags": "accepted and ignored",
    "inembed": "physical lengths of the input's dimensions, or null: n",
    "onembed": "the same of the output's",
    "istride": "elements from one input to the next along the innermost dimension",
    "ostride": "the same of the output",
    "idist": "elements from one transform's input to the next one's",
    "odist": "the same of the outputs",
    "dims": "the dimensions of the transform, outermost first",
    "howmany_rank": "number of dimensions of the batch",
    "howmany_dims": "the dimensions of the batch, outermost first",
    "ri": "real parts of the input", "ii": "imaginary parts of the input",
    "ro": "real parts of the output", "io": "imaginary parts of the output",
    "kind": "the kind of each dimension's transform", "kind0": "kind along the outermost dimension",
    "kind1": "kind along the next", "kind2": "kind along the innermost", "plan": "the plan",
}


def sentence(name):
    """What a constructor or an execution function does; empty for others."""
    name = name.lower().removeprefix("lyr_fft_").removeprefix("lyr_fftf_")
    found = re.fullmatch(r"(plan|execute)_(many_|guru64_|guru_|)(split_|)"
                         r"(dft|dft_r2c|dft_c2r|r2r)(_[123]d|)", name)
    if not found:
        return ""
    verb, style, split, kind, dimensions = found.groups()
    what = KINDS[kind]
    parts = " of real and imaginary parts in separate arrays" if split else ""
    if verb == "execute":
        return f"Run a {what} plan{parts} on other arrays."
    if style == "many_":
        return f"Plan a batch of {what} transforms."
    if style:
        wide = ", with 64-bit lengths and strides" if "64" in style else ""
        return f"Plan {what} transforms{parts} of any layout{wide}."
    return f"Plan a {what} transform{DIMENSIONS[dimensions]}."


def title_of(names):
    """Of functions that share a comment."""
    for part, title in (("execute", "Arrays other than those planned"),
                        ("guru64", "64-bit lengths and strides"), ("guru", "Any layout"),
                        ("_c2r", "Complex to real"), ("_r2c", "Real to complex"),
                        ("many_dft", "Batches and strides")):
        if part in names[0]:
            return title
    return "Real to real" if "r2r" in names[0] else "Arrays without gaps"


PROTOTYPE = re.compile(r"(?ms)^((?:lyr_fft_plan|void \*|void|int) ?\*?(\w+)\(([^()]*)\);)")


def with_details(match):
    """A prototype with what its name and its parameters' names say."""
    code, name, parameters = match.groups()
    lines = [sentence(name), ""]
    for parameter in re.findall(r"(\w+)(?=,|$)", parameters):
        if parameter in PARAMETERS:
            lines.append(f"@param {parameter} {PARAMETERS[parameter]}")
    if "_plan_" in name:
        lines.append("@return the plan, for lyr_fft_destroy_plan() to release; null when refused")
    return "/** " + "\n * ".join(lines) + "\n */\n" + code


# ---- The C header --------------------------------------------------------------------------------

def with_fields(code):
    """What fields are is said with their record."""
    names = {"n": "length", "is": "input stride", "os": "output stride"}
    return re.sub(r"(?m)^(    (?:int|int64_t|char) (\w+)(?:\[\d+\])?;)$",
                  lambda m: m[1] + f" /**< {names.get(m[2], m[2].replace('_', ' '))} */", code)


def with_values(code):
    """Constants that share a comment are described by the first."""
    first, *others = re.split(r"(?m)^(?=#define LYR_FFT_)", code)
    if not others:
        return re.sub(r"(?m)^(    (LYR_FFT_\w+) = \d+,?)$", r"\1 /**< see the table above */", code)
    return first + "".join(f"/** {words_of(part)} */\n{part}" for part in others)


VALUES = {"LYR_FFT_FORWARD": "exp(-2 pi i j k/n)", "LYR_FFT_BACKWARD": "exp(+2 pi i j k/n)"}


def words_of(definition):
    name = re.match(r"#define (\w+)", definition)[1]
    return VALUES.get(name, "Accepted and ignored.")


def slug(text):
    return re.sub(r"[^a-z0-9]+", "-", text.lower()).strip("-")


def c_header(text):
    pieces = re.split(r"(?ms)^(/\*.*?\*/\n)", text)
    yield f"/** @file\n{with_titles(marked_up(body(pieces[1])))}\n*/"
    yield pieces[2]
    yield '/** @defgroup c C interface\n@brief lyr_fft.h: every function, type and constant.\n\n'
    yield with_titles(marked_up(body(pieces[1]))) + "\n*/"
    yield "/** @defgroup c-types Types and constants\n@ingroup c\n@{ */"
    for comment, code in zip(pieces[3::2], pieces[4::2]):
        lines = body(comment)
        heading = re.fullmatch(r"---- (.*?) -+", lines[0])
        if heading:
            yield "/** @} */"
            yield f"/** @defgroup c-{slug(heading[1])} {heading[1]}\n@ingroup c\n@{{ */"
            yield code
            continue
        described = marked_up(lines)
        names = [m[1] for m in PROTOTYPE.findall(code)]
        if not code.strip():
            yield f"/** @name Workers\n{described}\n@{{ */\n/** @}} */"
        elif len(names) > 1 or "_many_" in "".join(names):
            yield f"/** @name {title_of(names)}\n{described}\n@{{ */"
            code = PROTOTYPE.sub(with_details, code)
            yield code + "/** @} */"
        elif "#define LYR_FFT_VERSION" in code or "#define" not in code:
            code = code.replace("\n\ntypedef struct", f"\n\n/** {described} */\ntypedef struct")
            yield f"/** {described} */\n{with_fields(with_values(code) if 'enum' in code else code)}"
        else:
            title = "Signs" if "FORWARD" in code else "Flags"
            yield f"/** @name {title}\n{described}\n@{{ */\n{with_values(code)}/** @}} */"
    yield "/** @} */"


# ---- The C++ header ------------------------------------------------------------------------------

def cpp_header(text):
    opening, rest = re.match(r"(?s)(/\*.*?\*/\n)(.*)", text).groups()
    overview = marked_up(body(opening))
    yield f"/** @file\n{overview}\n*/"
    yield f"/** @defgroup cpp C++ interface\n@brief lyr_fft.hpp: plans that clean up, spans.\n\n" \
          f"{overview}\n*/\n/** @addtogroup cpp\n@{{ */"
    rest = rest.replace("namespace lyr_fft {", "/** The C++ interface. */\nnamespace lyr_fft {", 1)
    rest = re.sub(r"(?m)^// ---- .*\n", "", rest)
    comments = []
    inner = False
    for line in rest.splitlines():
        inner = inner or line == "namespace detail {"
        if line == "}  // namespace detail":
            inner = False
        whole = re.fullmatch(r"( *)// (.*)", line)
        if whole and not inner:
            comments.append(f"{whole[1]}/// {marked_up([whole[2]])}")
            continue
        # A comment before a blank line or a brace describes nothing that Doxygen knows.
        if line.strip() and not line.startswith("#"):
            yield from comments
        comments = comments if line.startswith("#") else []
        yield line if inner else re.sub(r"(?<=[;,\w]) +// (.*)", r"  ///< \1", line)
    yield "/** @} */"


# ---- The Fortran module --------------------------------------------------------------------------

def fortran_module(text):
    opening, rest = re.match(r"((?:!.*\n)*)((?s:.*))", text).groups()
    lines = [line.removeprefix("!").removeprefix(" ") for line in opening.splitlines()]
    yield "\n".join(f"!> {line}" for line in marked_up(lines).splitlines())
    for line in rest.splitlines():
        # As functions of the module; each would be an interface of its own, on a page of its own.
        line = {"    interface": "contains", "    end interface": ""}.get(line, line)
        found = re.match(r"( *)(?:subroutine|function) (\w+)\(", line)
        if found:
            said = sentence(found[2]) or "As in C."
            twin = found[2].replace("lyr_fftf_", "lyr_fft_").replace("LFFTFGet", "LFFTGet")
            single = " In single precision." if twin != found[2] else ""
            yield f"{found[1]}!> {said}{single} See ::{twin} in lyr_fft.h."
        elif re.match(r" *(type, bind|integer\(c_int\), parameter|character\(len)", line):
            yield "    !> As in lyr_fft.h."
        elif re.match(r"        \w+(\(.*\))? :: \w+(\(\d+\))?$", line):
            yield "        !> As in lyr_fft.h."
        elif re.match(r" +(?:type|integer|real|complex)\(.*:: (\w+)(\(\*\))?$", line):
            name = re.search(r":: (\w+)", line)[1]
            if name in PARAMETERS:
                line += f" !< {PARAMETERS[name]}"
        yield line


# ---- Markdown ------------------------------------------------------------------------------------

REFERENCE = """\
**Reference:** @ref c, @ref cpp, the @ref lyra_fft "Fortran module". **To begin with:** the
@ref page-docs-tutorial "tutorial", or one of @ref page-docs-readme "all pages".
"""


def label(page, heading=""):
    """The reference of a page or of a heading, which is named as on code-hosting sites."""
    path = page.resolve().relative_to(ROOT)
    name = "page-" + slug(str(path.with_suffix("")))
    return name + ("--" + heading if heading else "")


def heading_name(text):
    plain = re.sub(r"[`*]|\[|\]\([^)]*\)", "", text).lower()
    return re.sub(r" ", "-", re.sub(r"[^\w\- ]", "", plain))


def with_references(page, text):
    def reference(match):
        shown, target = " ".join(match[1].split()), match[2]
        if re.match(r"[a-z]+:", target):
            return match[0]
        name, _, heading = target.partition("#")
        found = page.parent / name if name else page
        if found.suffix != ".md":
            return shown  # a file of the repository
        return f'@ref {label(found, heading)} "{shown}"'
    # Doxygen wants what a picture shows on one line.
    text = re.sub(r"!\[([^\]]*)\]", lambda m: f"![{' '.join(m[1].split())}]", text)
    return re.sub(r"(?<!!)\[([^\]]*)\]\(([^)]*)\)", reference, text)


def markdown(page, text):
    fence = False
    paragraph = []

    def flushed():
        joined = with_references(page, "\n".join(paragraph))
        paragraph.clear()
        return joined

    for line in text.splitlines():
        heading = re.fullmatch(r"(#+) (.*)", line)
        if line.startswith("```") or (heading and not fence):
            yield flushed()
        if line.startswith("```"):
            fence = not fence
            languages = {"```sh": "```{.sh}", "```console": "```{.sh}", "```fortran": "```{.f90}"}
            yield languages.get(line, line)
        elif fence:
            yield line
        elif heading:
            mark = label(page, "" if heading[1] == "#" else heading_name(heading[2]))
            # The first heading of the main page is the page itself.
            main = page.resolve() == ROOT / "README.md" and heading[1] == "#"
            if page.resolve() == ROOT / "README.md" and line == "## Two commands":
                yield REFERENCE
            yield line if main else f"{line} {{#{mark}}}"
            if heading[1] == "#" and page.name not in ("README.md", "CHANGELOG.md"):
                yield "\n[TOC]\n"
        else:
            paragraph.append(line)
    yield flushed()


def filtered(path):
    text = path.read_text()
    match path.suffix:
        case ".h":
            return c_header(text)
        case ".hpp":
            return cpp_header(text)
        case ".f90":
            return fortran_module(text)
        case ".md":
            return markdown(path, text)
    return [text]


if __name__ == "__main__":
    print("\n".join(filtered(Path(sys.argv[1]))))
