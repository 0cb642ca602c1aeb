"""Packs a build, and checks and uses what comes out.

usage: package_check.py debian CPACK BUILD CC FC LINTIAN    FC and LINTIAN may be empty
       package_check.py source CPACK BUILD CMAKE

Exits with 1 and the reason when something is not as it should be.
"""

import re
import sys
import tarfile
import tempfile
from pathlib import Path

from install_check import Fault, run

EXAMPLES = Path(__file__).resolve().parent.parent / "examples"


def one(folder, pattern):
    found = sorted(folder.glob(pattern))
    if len(found) != 1:
        raise Fault(f"{len(found)} files match {pattern} in {folder}")
    return found[0]


def expect(condition, fault):
    if not condition:
        raise Fault(fault)


def check_debian(folder, cpack, build, compiler, fortran, lintian):
    run(cpack, "-G", "DEB", "--config", f"{build}/CPackConfig.cmake", "-B", folder)
    library = one(folder, "liblyra-fft2_2.2.0_*.deb")
    development = one(folder, "liblyra-fft-dev_2.2.0_*.deb")
    tools = sorted(folder.glob("lyra-fft-tools_2.2.0_*.deb"))

    def field(package, name):
        return run("dpkg-deb", "-f", package, name).strip()

    expect(re.search(r"libc6 \(>= 2\.\d+\)", field(library, "Depends")), "the library needs libc6")
    expect("libstdc++" not in field(library, "Depends"), "the library needs libstdc++")
    expect(field(development, "Depends") == "liblyra-fft2 (= 2.2.0)", "wrong dependency")
    control = folder / "control"
    run("dpkg-deb", "-e", library, control)
    expect((control / "shlibs").read_text() == "libLYRA_fft 2 liblyra-fft2 (>= 2.2.0)\n",
           (control / "shlibs").read_text())
    expect("activate-noawait ldconfig" in (control / "triggers").read_text(), "no trigger")

    root = folder / "root"
    for package in (library, development, *tools):
        run("dpkg-deb", "-x", package, root)
        name = package.name.split("_")[0]
        for document in ("copyright", "changelog.gz"):
            one(root, f"usr/share/doc/{name}/{document}")
    one(root, "usr/include/lyr_fft.h")
    config = one(root, "usr/lib/**/pkgconfig/lyra_fft.pc")

    def ask(option):
        return run("pkgconf", option, "lyra_fft", PKG_CONFIG_LIBDIR=config.parent,
                   PKG_CONFIG_PATH="").split()

    sources = [(compiler, "first.c")] + ([(fortran, "entry_points.f90")] if fortran else [])
    for program_compiler, source in sources:
        run(program_compiler, *ask("--cflags"), "-o", folder / "program", EXAMPLES / source,
            *ask("--libs"))
        output = run(folder / "program", LD_LIBRARY_PATH=config.parent.parent)
        expect("1: +0.707 -0.707i" in output, output)
    if tools:
        expect("2.2.0" in run(root / "usr/bin/lyr-fft", "info"), "lyr-fft info: no version")
    if lintian:
        print(run(lintian, "--allow-root", "--fail-on", "error", library, development, *tools))


def check_source(folder, cpack, build, cmake):
    run(cpack, "--config", f"{build}/CPackSourceConfig.cmake", "-B", folder)
    with tarfile.open(one(folder, "lyra-fft-2.2.0.tar.gz")) as archive:
        names = archive.getnames()
        archive.extractall(folder)
    unwanted = [n for n in names if re.search(r"/\.git(/|$)|/build|__pycache__|\.o$", n)]
    expect(not unwanted, f"in the archive: {unwanted[:5]}")
    run(cmake, "-S", folder / "lyra-fft-2.2.0", "-B", folder / "build", "-DLYRA_BUILD_TESTS=OFF",
        "-DLYRA_BUILD_BENCH=OFF", GIT_DIR="/nowhere")


def main(arguments):
    with tempfile.TemporaryDirectory() as folder:
        try:
            match arguments:
                case ["debian", cpack, build, compiler, fortran, lintian]:
                    check_debian(Path(folder), cpack, build, compiler, fortran, lintian)
                case ["source", cpack, build, cmake]:
                    check_source(Path(folder), cpack, build, cmake)
                case _:
                    print(__doc__, file=sys.stderr)
                    return 2
        except Fault as fault:
            print(fault)
            return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
