"""Writes the Fortran module from the C header.

usage: python3 tools/gen_fortran.py [HEADER [MODULE]]
       python3 tools/gen_fortran.py --check [HEADER [MODULE]]

HEADER is include/lyr_fft.h, MODULE include/lyra_fft.f90. With --check nothing is written: exits
with 1 when MODULE is not what would be written.
"""

import re
import sys
from pathlib import Path

TOP = Path(__file__).resolve().parent.parent

OPENING = """\
! LYRA FFT for Fortran: the functions and constants of the C interfaces, with typed arguments. The
! functions of single precision, lyr_fftf_.., follow those of double precision and take c_float and
! c_float_complex; programs that use them link libLYRA_fftf.
! Written by tools/gen_fortran.py from lyr_fft.h, which describes every function.
!
!     use lyra_fft
!     type(c_ptr) :: plan
!     complex(c_double_complex), target :: x(1024), y(1024)
!     plan = lyr_fft_plan_dft_1d(1024, x, y, LYR_FFT_FORWARD, LYR_FFT_ESTIMATE)
!     if (.not. c_associated(plan)) error stop "no plan"
!     call lyr_fft_execute_dft(plan, x, y)
!     call lyr_fft_destroy_plan(plan)
!
! Dimensions are those of C, the last one varies fastest: give the lengths of a Fortran array in
! reverse order. Transform a(m, n) by lyr_fft_plan_dft_2d(n, m, a, ...).
!
! Arrays must be contiguous; those that lyr_fft_execute is to use, which are the ones given at
! planning, must have the attribute target. In place, give the same array twice. Leave out inembed
! and onembed (then name the arguments that follow) for arrays without padding.
!
! The module holds interfaces and constants only: nothing has to be linked but the libraries used.
module lyra_fft
    use, intrinsic :: iso_c_binding
    implicit none
    public

    ! lyr_fft_version
    character(len=*), parameter :: LYR_FFT_VERSION = "%s"
"""

SCALARS = {
    "int": "integer(c_int), value",
    "unsigned": "integer(c_int), value",
    "size_t": "integer(c_size_t), value",
    "lyr_fft_r2r_kind": "integer(c_int), value",
    "lyr_fft_plan": "type(c_ptr), value",
    "lyr_fftf_plan": "type(c_ptr), value",
    "void *": "type(c_ptr), value",
}
ARRAYS = {
    "int": "integer(c_int), intent(in)",
    "lyr_fft_r2r_kind": "integer(c_int), intent(in)",
    "lyr_fft_iodim": "type(lyr_fft_iodim), intent(in)",
    "lyr_fft_iodim64": "type(lyr_fft_iodim64), intent(in)",
    "double": "real(c_double), intent(inout)",
    "lyr_fft_complex": "complex(c_double_complex), intent(inout)",
    "float": "real(c_float), intent(inout)",
    "lyr_fftf_complex": "complex(c_float_complex), intent(inout)",
}
FIELDS = {"int": "integer(c_int)", "int64_t": "integer(c_int64_t)", "char": "character(kind=c_char)"}


def constants(text):
    """The constants of the header, as Fortran expressions."""
    for name, value in re.findall(r"#define (LYR_FFT_\w+) \((.*)\)", text):
        shift = re.fullmatch(r"1U << (\d+)", value)
        yield name, str(1 << int(shift[1])) if shift else value.rstrip("U").lstrip("+")
    kinds = re.search(r"typedef enum \{(.*?)\} lyr_fft_r2r_kind;", text, re.S)[1]
    yield from re.findall(r"(LYR_FFT_\w+) = (\d+)", kinds)


def types(text):
    """The records of the header."""
    for body, name in re.findall(r"typedef struct \{(.*?)\} (\w+);", text, re.S):
        yield f"    type, bind(c) :: {name}"
        for kind, field, count in re.findall(r"(\w+) (\w+)(?:\[(\d+)\])?;", body):
            size = f"({count})" if count else ""
            yield f"        {FIELDS[kind]} :: {field}{size}"
        yield f"    end type {name}"
        yield ""


def argument(text):
    """Name and Fortran declaration of one C parameter."""
    const, kind, star, name = re.fullmatch(r"(const )?(\w+) (\*?)(\w+)", text).groups()
    if name == "record":  # one of them, not an array
        return name, f"type({kind}), intent(out) :: record"
    if star and kind != "void":
        optional = ", optional" if name in ("inembed", "onembed") else ""
        return name, f"{ARRAYS[kind]}{optional} :: {name}(*)"
    return name, f"{SCALARS[kind + (' *' if star else '')]} :: {name}"


def wrapped(head, names, tail):
    """A statement, continued on lines of at most 100 characters."""
    lines, line = [], head + "("
    for k, name in enumerate(names):
        item = name + (", " if k + 1 < len(names) else "")
        if len(line + item) > 98:
            lines.append(line + "&")
            line = " " * 12
        line += item
    lines.append(line + ")")
    if len(lines[-1] + tail) > 98:
        lines[-1] += " &"
        lines.append(" " * 11)
    lines[-1] += tail
    return lines


def functions(text):
    """An interface for every function of the header."""
    prototype = r"^(lyr_fftf?_plan|void \*|void |int )\s?((?:lyr_fftf?_|LFFT)\w+)\(([^()]*)\);"
    found = re.findall(prototype, text, re.M)
    if len(found) != len(set(re.findall(r"\b(?:lyr_fftf?_|LFFT)\w+(?=\()", text))):
        raise SystemExit("the header declares functions in a form that is not understood")
    for result, name, parameters in found:
        parameters = re.sub(r"\s+", " ", parameters)
        arguments = [] if parameters == "void" else [argument(p) for p in parameters.split(", ")]
        word = "subroutine" if result == "void " else "function"
        ending = f" bind(c, name=\"{name}\")"
        if word == "function":
            ending += " result(answer)"
        yield from wrapped(f"        {word} {name}", [a for a, _ in arguments], ending)
        yield "            import"
        for _, declaration in arguments:
            yield " " * 12 + declaration
        if word == "function":
            kind = "integer(c_int)" if result == "int " else "type(c_ptr)"
            yield f"            {kind} :: answer"
        yield f"        end {word} {name}"
        yield ""


def in_single_precision(text):
    """The declarations of double precision as those of single precision."""
    text = re.sub(r"lyr_fft_(?!iodim|r2r_kind)", "lyr_fftf_", text)
    return re.sub(r"\bdouble\b", "float", text).replace("LFFTGetVersion", "LFFTFGetVersion")


def module(header):
    version = re.search(r'lyr_fft_version\[\] = "(.*?)"',
                        (TOP / "src/api/version.cpp").read_text())[1]
    text = re.sub(r"/\*.*?\*/", "", header, flags=re.S)
    lines = [OPENING % version]
    lines += [f"    integer(c_int), parameter :: {n} = {v}" for n, v in constants(text)]
    lines += ["", *types(text), "    interface", *functions(text),
              *functions(in_single_precision(text))]
    lines[-1:] = ["    end interface", "end module lyra_fft", ""]
    return "\n".join(lines)


def main(arguments):
    check = arguments[:1] == ["--check"]
    paths = [Path(a) for a in arguments[check:]]
    if len(paths) > 2 or any(str(p).startswith("-") for p in paths):
        print(__doc__, file=sys.stderr)
        return 2
    defaults = [TOP / "include/lyr_fft.h", TOP / "include/lyra_fft.f90"]
    header, target = paths + defaults[len(paths):]
    wanted = module(header.read_text())
    if not check:
        target.write_text(wanted)
    elif target.read_text() != wanted:
        print(f"{target} does not follow {header}: run python3 tools/gen_fortran.py")
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
