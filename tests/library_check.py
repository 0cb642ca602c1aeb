"""What the built library shows to the outside.

usage: library_check.py header COMPILER... -- INCLUDE_DIR...
       library_check.py exports NM HEADER LIBRARY
       library_check.py fftw3 NM HEADER LIBRARY
       library_check.py needed READELF LIBRARY
       library_check.py inside READELF LIBRARY
       library_check.py codelets NM ISA OBJECT...

Exits with 1 and one line per fault when something is not as it should be.
"""

import re
import subprocess
import sys
import tempfile
from pathlib import Path


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def check_exports(nm, header, library):
    """The functions of the header, their Fortran twins, the version: nothing more, nothing less."""
    text = re.sub(r"/\*.*?\*/", "", Path(header).read_text(), flags=re.S)
    functions = set(re.findall(r"\b(lyr_fftf?_\w+)\s*\(", text))
    others = set(re.findall(r"\b(LFFTF?GetVersion|lyr_fftf?_version)\b", text))
    expected = functions | {f + "_" for f in functions} | others
    found = set()
    for line in run(nm, "-D", "--defined-only", library).splitlines():
        kind, name = line.split()[-2:]
        if kind != "A":  # the version node itself
            found.add(name.split("@")[0])
    yield from (f"not exported: {name}" for name in sorted(expected - found))
    yield from (f"exported, but not in the header: {name}" for name in sorted(found - expected))
    if len(functions) < 40:
        yield f"only {len(functions)} functions found in {header}"


# Without a Fortran form of the older kind.
C_ALONE = ("malloc free alloc_real alloc_complex alignment_of fprint_plan sprint_plan version cc "
           "codelet_optim make_planner_thread_safe threads_set_callback export_wisdom_to_file "
           "export_wisdom_to_filename export_wisdom_to_string import_wisdom_from_file "
           "import_wisdom_from_filename import_wisdom_from_string").split()


def check_fftw3(nm, header, library):
    """The functions of the original's header and their Fortran forms: nothing more, nothing less."""
    text = Path(header).read_text()
    names = set(re.findall(r"FFTW_CDECL X\((\w+)\)", text))
    names |= set(re.findall(r"FFTW_EXTERN const char X\((\w+)\)", text))
    expected = {"fftw_" + name for name in names}
    for name in names - set(C_ALONE):
        if "guru64" not in name:
            expected |= {f"dfftw_{name}_", f"dfftw_{name}__"}
    lines = run(nm, "-D", "--defined-only", library).splitlines()
    found = {line.split()[-1].split("@")[0] for line in lines}
    yield from (f"not exported: {name}" for name in sorted(expected - found))
    yield from (f"exported, but not in the header: {name}" for name in sorted(found - expected))
    if len(names) < 70:
        yield f"only {len(names)} functions found in {header}"


def check_needed(readelf, library):
    """No other library than those of C."""
    needed = set(re.findall(r"\(NEEDED\).*\[(.*)\]", run(readelf, "-dW", library)))
    if not {"libc.so.6"} <= needed <= {"libm.so.6", "libc.so.6"}:
        yield "needed libraries: " + " ".join(sorted(needed))


def check_inside(readelf, library):
    """Calls among its own functions do not leave the library, whatever a program defines."""
    relocations = run(readelf, "-rW", library)
    called = set(re.findall(r"\b(?:lyr_fftf?_|LFFT)\w+", relocations))
    for name in sorted(called - {"lyr_fft_version", "lyr_fftf_version"}):
        yield f"called from outside: {name}"
    if "calloc" not in relocations:
        yield "no calls of libc found"


def check_codelets(nm, isa, objects):
    """Nothing built for one kind of processor may be found by, or replace, code of another."""
    own = re.compile(rf"_Z[A-Z]*N?K?(?:3lyr|4lyrf){len(isa)}{isa}\d")
    constants = re.compile(r"_ZN(?:3lyr|4lyrf)1[01](?:prime|real)_rootsILi\d+EE5tableE")  # data, the same for all
    from_outside = {"memcpy", "memset", "memmove", "__stack_chk_fail", "_GLOBAL_OFFSET_TABLE_"}
    defined = 0
    for item in objects:
        for line in run(nm, item).splitlines():
            kind, name = line.split()[-2:]
            if kind.islower() and kind not in "uvw":  # local to the object
                continue
            defined += kind != "U"
            if kind == "U" and (name in from_outside or constants.fullmatch(name)):
                continue
            if not own.match(name):
                yield f"{Path(item).name}: {kind} {name}"
    if defined < 19:
        yield f"only {defined} symbols found"


def check_header(compilers, folders):
    """The headers are C99, C11 and C++11, and follow <complex.h>."""
    plain = "#include <lyr_fft.h>\nlyr_fft_plan p;\n"
    pairs = plain + "lyr_fft_complex z = {1.0, 2.0};\n"
    native = (
        "#include <complex.h>\n" + plain + "lyr_fft_complex z = 1.0 + 2.0 * I;\n"
        "_Static_assert(_Generic(z, double _Complex: 1, default: 0), \"type\");\n"
    )
    single = [text.replace("lyr_fft", "lyr_fftf").replace("double", "float").replace("1.0", "1.0f")
              .replace("2.0", "2.0f") for text in (pairs, native)]
    both = pairs + "#include <lyr_fftf.h>\nlyr_fftf_plan q;\nlyr_fftf_complex w = {1.0f, 2.0f};\n"
    languages = [
        (".c", "c99", pairs),
        (".c", "c11", pairs),
        (".c", "c11", native),
        (".c", "c99", single[0]),
        (".c", "c11", single[1]),
        (".c", "c11", both),
        (".cpp", "c++11", both),
        (".cpp", "c++20", "#include <complex>\n" + pairs),
    ]
    with tempfile.TemporaryDirectory() as folder:
        for compiler in compilers:
            for suffix, standard, text in languages:
                if (suffix == ".cpp") != ("++" in Path(compiler).name):
                    continue
                source = Path(folder) / ("header" + suffix)
                source.write_text(text)
                result = subprocess.run(
                    [compiler, f"-std={standard}", "-Wall", "-Wextra", "-pedantic", "-Werror",
                     "-fsyntax-only", *(f"-I{folder}" for folder in folders), str(source)],
                    capture_output=True, text=True)
                if result.returncode:
                    yield f"{compiler} -std={standard}:\n{result.stderr}"


def main(arguments):
    match arguments:
        case ["header", *rest] if "--" in rest[1:-1]:
            faults = check_header(rest[:rest.index("--")], rest[rest.index("--") + 1:])
        case ["exports", nm, header, library]:
            faults = check_exports(nm, header, library)
        case ["fftw3", nm, header, library]:
            faults = check_fftw3(nm, header, library)
        case ["needed", readelf, library]:
            faults = check_needed(readelf, library)
        case ["inside", readelf, library]:
            faults = check_inside(readelf, library)
        case ["codelets", nm, isa, *objects] if objects:
            faults = check_codelets(nm, isa, objects)
        case _:
            print(__doc__, file=sys.stderr)
            return 2
    faults = list(faults)
    for fault in faults:
        print(fault)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
