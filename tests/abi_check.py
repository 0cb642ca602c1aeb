"""Compares the interface of the shared library with its description, cmake/lyra_fft.abi.

usage: abi_check.py compare CXX READELF LIBRARY [SINGLE]
       abi_check.py write CXX
       abi_check.py self-test CXX

compare    the interface that the sources define, and the symbols of the built library, are those
           of the description; with SINGLE, the folder of its generated files, the library of
           single precision, whose interface is the same with other names and floats
write      describes the interface anew
self-test  changes copies of the sources, and sees whether each change is noticed

The sources of the exported functions are compiled with debugging information, which abidw
(abigail-tools) reads: symbols with their versions, signatures, and the layout of types. The
constants are those of the header. Exits with 1 and the reason when something is not as it should
be.
"""

import difflib
import re
import shutil
import sys
import tempfile
import xml.etree.ElementTree as ElementTree
from pathlib import Path

from install_check import Fault, run

ROOT = Path(__file__).resolve().parent.parent
DESCRIPTION = ROOT / "cmake/lyra_fft.abi"
SINGLE_OPTIONS = ["-DLYRA_SINGLE", "-Dlyr=lyrf", "-Dlyr_fft_plan_s=lyr_fftf_plan_s"]
HEAD = """\
# The binary interface of libLYRA_fft, the same on all processors: what programs that are linked
# with the library rely on. Sizes and offsets are in bytes. Written by ./dev abi.
"""


def constants(compiler, root):
    """The values of the header's constants, from assembly that nobody assembles."""
    include = f"-I{root}/include"
    with tempfile.TemporaryDirectory() as folder:
        source = Path(folder) / "constants.cpp"
        source.write_text("#include <lyr_fft.h>\n")
        macros = run(compiler, "-dM", "-E", include, source)
        names = sorted(re.findall(r"^#define (LYR_FFT_\w+|LFFT\w+) \S", macros, re.M))
        names.remove("LYR_FFT_VERSION_NUMBER")  # another one in each release
        source.write_text("#include <lyr_fft.h>\nvoid values() {\n" + "".join(
            f'    asm("=> {name} %c0" :: "i"({name}));\n' for name in names) + "}\n")
        assembly = run(compiler, "-S", "-o", "-", include, source)
    found = re.findall(r"=> (\w+) (-?\d+)", assembly)
    if [name for name, _ in found] != names or not names:
        raise Fault("cannot read the constants of the header")
    return [f"constant {name} {value}" for name, value in found]


class Interface:
    """What abidw found, as lines of text."""

    def __init__(self, corpus):
        self.types = {node.get("id"): node for node in corpus.iter() if node.get("id")}
        self.lines = set()
        # By name, which is that of the symbol as nothing exported is C++: abidw does not say for
        # every function which symbol is its.
        declared = {node.get("name"): node for node in corpus.iter()
                    if node.tag in ("function-decl", "var-decl")}
        for symbol in corpus.iter("elf-symbol"):
            name, version = symbol.get("name"), symbol.get("version")
            sign = "@@" if symbol.get("is-default-version") == "yes" else "@"
            if name not in declared:
                raise Fault(f"abidw shows no declaration of {name}")
            shape = self.shape(declared[name], symbol)
            self.lines.add(f"{name}{sign}{version} {shape}")

    def shape(self, node, symbol):
        if node.tag == "var-decl":
            return f"size {symbol.get('size')}: {self.name(node.get('type-id'))}"
        # Whether the function may change its copy of a parameter is its own business.
        parameters = [self.name(parameter.get("type-id")).removesuffix(" const")
                      for parameter in node.findall("parameter")]
        result = self.name(node.find("return").get("type-id"))
        return f"{result} ({', '.join(parameters) or 'void'})"

    def name(self, identity):
        """A type as one writes it; what it is made of goes to the lines."""
        node = self.types[identity]
        inner = node.get("type-id")
        match node.tag:
            case "type-decl":
                return node.get("name")
            case "pointer-type-def":
                return self.name(inner) + " *"
            case "qualified-type-def":
                return self.name(inner) + " const"
            case "array-type-def":
                lengths = "".join(f"[{part.get('length')}]" for part in node.findall("subrange"))
                return self.name(inner) + lengths.replace("infinite", "")
            case "typedef-decl":
                return self.typedef(node)
            case "class-decl":
                return self.record(node, node.get("name"))
            case "enum-decl":
                return self.enumeration(node, node.get("name"))
        raise Fault(f"no description of a {node.tag}")

    def typedef(self, node):
        name, target = node.get("name"), self.types[node.get("type-id")]
        if name.startswith("__") or name == "scalar":  # names within libc, within the library
            return self.name(node.get("type-id"))
        if target.get("naming-typedef-id") == node.get("id"):
            describe = self.record if target.tag == "class-decl" else self.enumeration
            return describe(target, name)
        self.lines.add(f"type {name} {self.name(node.get('type-id'))}")
        return name

    def record(self, node, name):
        if node.get("is-declaration-only") == "yes":
            self.lines.add(f"type {name} opaque")
            return name
        self.lines.add(f"type {name} size {int(node.get('size-in-bits')) // 8}")
        for member in node.findall("data-member"):
            variable = member.find("var-decl")
            place = int(member.get("layout-offset-in-bits")) // 8
            self.lines.add(f"type {name} at {place:3}: {variable.get('name')} "
                           f"{self.name(variable.get('type-id'))}")
        return name

    def enumeration(self, node, name):
        size = self.types[node.find("underlying-type").get("type-id")].get("size-in-bits")
        self.lines.add(f"type {name} enumeration, size {int(size) // 8}")
        for value in node.findall("enumerator"):
            self.lines.add(f"type {name} {int(value.get('value')):2}: {value.get('name')}")
        return name


def in_single_precision(lines):
    """The description of double precision as that of single precision."""
    changed = []
    for line in lines:
        line = re.sub(r"lyr_fft_(?!iodim|r2r_kind)", "lyr_fftf_", line)
        line = line.replace("LFFTGet", "LFFTFGet").replace("LYRA_FFT_", "LYRA_FFTF_")
        changed.append(re.sub(r"\bdouble\b", "float", line.replace("libLYRA_fft.", "libLYRA_fftf.")))
    head = [line for line in changed if line.startswith(("library ", "constant "))]
    return head + sorted(line for line in changed if line not in head)


def describe(compiler, root=ROOT, single=None):
    """The interface that the sources under root define, as lines."""
    sources = sorted([*(root / "src/api").glob("*.cpp"), *(root / "src/threads").glob("*.cpp")])
    version_map = f"{root}/cmake/lyra_fft.map"
    with tempfile.TemporaryDirectory() as folder:
        library = Path(folder) / "interface.so"
        run(compiler, "-std=gnu++20", "-w", "-g", "-O0", "-fPIC", "-shared", "-nostdlib",
            "-fno-exceptions", "-fno-rtti", "-fvisibility=hidden", f"-I{root}/include",
            f"-I{root}/src", *(SINGLE_OPTIONS + [f"-I{single}"] if single else []),
            f"-Wl,--version-script={f'{single}/lyra_fftf.map' if single else version_map}",
            "-o", library, *sources)
        headers = [root / "include", *([single] if single else [])]
        corpus = run("abidw", "--drop-private-types",
                     *(word for folder in headers for word in ("--headers-dir", folder)), library)
    lines = Interface(ElementTree.fromstring(corpus)).lines
    version = re.search(r"SOVERSION (\d+)", (ROOT / "CMakeLists.txt").read_text())[1]
    name = "libLYRA_fftf" if single else "libLYRA_fft"
    return [f"library {name}.so.{version}", *constants(compiler, root), *sorted(lines)]


def differences(described, found):
    return [line for line in difflib.unified_diff(described, found, lineterm="", n=0)
            if not line.startswith(("---", "+++", "@@"))]


def compare(compiler, readelf, library, single=None):
    described = [line for line in DESCRIPTION.read_text().splitlines() if not line.startswith("#")]
    if single:
        described = in_single_precision(described)
    changes = differences(described, describe(compiler, single=single))
    if changes:
        print("\n".join(changes))
        raise Fault("The interface is not what cmake/lyra_fft.abi says. Programs that are linked "
                    "already break\nby lines that go (-), not by mere additions (+). "
                    "CONTRIBUTING.md says what to do.")

    # The library itself, which is linked from other objects.
    symbols = re.findall(r"(?:FUNC|OBJECT) +(?:GLOBAL|WEAK) +\w+ +\d+ (\S+)",
                         run(readelf, "-W", "--dyn-syms", library))
    soname = re.findall(r"\(SONAME\).*\[(.*)\]", run(readelf, "-dW", library))
    built = [*(f"library {name}" for name in soname), *sorted(symbols)]
    wanted = [line for line in described if line.startswith("library ")]
    wanted += sorted(line.split()[0] for line in described if "@" in line)
    changes = differences(wanted, built)
    if changes:
        print("\n".join(changes))
        raise Fault(f"{library} does not have the symbols that cmake/lyra_fft.abi names")


# File, what to replace by what, and the lines that must show it. They are all made at once, so that
# one compilation serves, but for the version, which would change every function.
CHANGES = [
    ("include/lyr_fft.h", r"(    int os;\n)", r"\1    int more;\n",
     ["-type lyr_fft_iodim size 12", "+type lyr_fft_iodim at  12: more int"]),
    ("include/lyr_fft.h", r"int64_t is;\n    int64_t os;", r"int64_t os;\n    int64_t is;",
     ["-type lyr_fft_iodim64 at   8: is int64_t"]),
    ("include/lyr_fft.h", r"LYR_FFT_DHT = 2", "LYR_FFT_DHT = 12",
     ["-type lyr_fft_r2r_kind  2: LYR_FFT_DHT"]),
    ("include/lyr_fft.h", r"LYR_FFT_BACKWARD \(\+1\)", "LYR_FFT_BACKWARD (2)",
     ["-constant LYR_FFT_BACKWARD 1", "+constant LYR_FFT_BACKWARD 2"]),
    ("include/lyr_fft.h", r"\(int nthreads\)", "(long nthreads)",
     ["-lyr_fft_plan_with_nthreads@@LYRA_FFT_2 void (int)"]),
    ("src/threads/pool.cpp", r"\(int nthreads\)", "(long nthreads)",
     ["+lyr_fft_plan_with_nthreads@@LYRA_FFT_2 void (long int)"]),
    ("src/api/fortran.cpp", r"nthreads_\(const int \*", r"nthreads_(const int64_t *",
     ["-lyr_fft_plan_with_nthreads_@@LYRA_FFT_2 void (int const *)"]),
    ("src/api/version.cpp", r'version: ', "version ",
     ["-lyr_fft_version@@LYRA_FFT_2 size 24: char const[]",
      "+lyr_fft_version@@LYRA_FFT_2 size 23: char const[]"]),
    ("src/api/memory.cpp", r"\Z",
     'extern "C" [[gnu::visibility("default")]] void lyr_fft_more() {}\n',
     ["+lyr_fft_more@@LYRA_FFT_2 void (void)"]),
    ("cmake/lyra_fft.map", r"local:", "local: lyr_fft_cleanup;",
     ["-lyr_fft_cleanup@@LYRA_FFT_2 void (void)"]),
]
NEW_VERSION = [("cmake/lyra_fft.map", "LYRA_FFT_2", "LYRA_FFT_3",
                ["-lyr_fft_cleanup@@LYRA_FFT_2 void (void)",
                 "+lyr_fft_cleanup@@LYRA_FFT_3 void (void)"])]


def self_test(compiler):
    interface = describe(compiler)
    if describe(compiler) != interface:
        raise Fault("two descriptions of one interface differ")
    for changes in (CHANGES, NEW_VERSION):
        with tempfile.TemporaryDirectory() as folder:
            copy = Path(folder)
            for part in ("include", "src"):
                shutil.copytree(ROOT / part, copy / part)
            (copy / "cmake").mkdir()
            shutil.copy(ROOT / "cmake/lyra_fft.map", copy / "cmake")
            for file, old, new, _ in changes:
                text, count = re.subn(old, new, (copy / file).read_text(), count=1)
                if not count:
                    raise Fault(f"{file}: nothing to change, no {old}")
                (copy / file).write_text(text)
            noticed = differences(interface, describe(compiler, copy))
        for file, _, new, wanted in changes:
            for line in wanted:
                if line not in noticed:
                    raise Fault(f"{file}, changed to {new!r}: no line {line!r} among\n"
                                + "\n".join(noticed))


def main(arguments):
    try:
        match arguments:
            case ["compare", compiler, readelf, library, *single] if len(single) < 2:
                compare(compiler, readelf, library, *single)
            case ["write", compiler]:
                DESCRIPTION.write_text(HEAD + "".join(f"{line}\n" for line in describe(compiler)))
            case ["self-test", compiler]:
                self_test(compiler)
            case _:
                print(__doc__, file=sys.stderr)
                return 2
    except Fault as fault:
        print(fault)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
