"""Packs a build, and checks and uses what comes out.

usage: package_check.py debian SETTINGS
       package_check.py source SETTINGS

SETTINGS are NAME=VALUE: cpack, build; for debian cc, fc (may be empty), readelf, lintian (may be
empty), emulator (may be empty), older (may be missing: an emulator of a processor without the
instructions that the library would like best); for source cmake. With output=FOLDER what was packed
is left there.

Exits with 1 and the reason when something is not as it should be.
"""

import re
import shutil
import sys
import tarfile
import tempfile
from pathlib import Path

from install_check import VERSION, Fault, check_program, run

EXAMPLES = Path(__file__).resolve().parent.parent / "examples"


def one(folder, pattern):
    found = sorted(folder.glob(pattern))
    if len(found) != 1:
        raise Fault(f"{len(found)} files match {pattern} in {folder}")
    return found[0]


def expect(condition, fault):
    if not condition:
        raise Fault(fault)


def needed_libc(readelf, library):
    """The newest version of libc of which the library needs a function."""
    found = re.findall(r"Name: GLIBC_2\.(\d+)", run(readelf, "-W", "-V", library))
    return max(int(minor) for minor in found)


def check_debian(folder, settings):
    packages = Path(settings.get("output", folder / "packages"))
    run(settings["cpack"], "-G", "DEB", "--config", f"{settings['build']}/CPackConfig.cmake",
        "-B", packages)
    shutil.rmtree(packages / "_CPack_Packages")
    machine = re.search(r"Machine: +(.*)", run(settings["readelf"], "-h", one(
        Path(settings["build"]), f"libLYRA_fft.so.{VERSION}")))[1]
    architecture = {"AArch64": "arm64"}.get(machine, "amd64")
    library = one(packages, f"liblyra-fft2_{VERSION}_{architecture}.deb")
    single = one(packages, f"liblyra-fftf2_{VERSION}_{architecture}.deb")
    development = one(packages, f"liblyra-fft-dev_{VERSION}_{architecture}.deb")
    fftw3 = one(packages, f"lyra-fftw3_{VERSION}_{architecture}.deb")
    tools = sorted(packages.glob(f"lyra-fft-tools_{VERSION}_{architecture}.deb"))
    python = sorted(packages.glob(f"python3-lyra-fft_{VERSION}_{architecture}.deb"))

    def field(package, name):
        return run("dpkg-deb", "-f", package, name).strip()

    for package in (library, single, development, fftw3, *tools, *python):
        expect(field(package, "Architecture") == architecture, f"{package} is for another machine")
        # A foreign library's package is often called so where it comes from.
        expect(not re.search(":[a-z]", field(package, "Depends")), f"{package}: {field(package, 'Depends')}")
    libc = re.search(r"libc6 \(>= 2\.(\d+)\)", field(library, "Depends"))
    expect(libc, "the library needs libc6")
    for package in (library, single, fftw3):
        expect("libstdc++" not in field(package, "Depends"), f"{package} needs libstdc++")
    expect(field(development, "Depends") ==
           f"liblyra-fft2 (= {VERSION}), liblyra-fftf2 (= {VERSION})", "wrong dependency")
    for package in tools:
        for needed in ("libc6 ", "libstdc++6 ", "libsndfile1 ", "libcairo2 "):
            expect(needed in field(package, "Depends"), f"the tool does not need {needed}")
    for package in python:
        for needed in (f"liblyra-fft2 (= {VERSION})", "python3-numpy-abi9", "libc6 ", "python3 (<< 3."):
            expect(needed in field(package, "Depends"), f"the Python package does not need {needed}")
    for package, suffix in ((library, ""), (single, "f")):
        control = folder / ("control" + suffix)
        run("dpkg-deb", "-e", package, control)
        expect((control / "shlibs").read_text() ==
               f"libLYRA_fft{suffix} 2 liblyra-fft{suffix}2 (>= {VERSION})\n",
               (control / "shlibs").read_text())
        expect("activate-noawait ldconfig" in (control / "triggers").read_text(), "no trigger")

    root = folder / "root"
    for package in (library, single, development, fftw3, *tools, *python):
        alone = folder / package.stem
        run("dpkg-deb", "-x", package, alone)
        size = sum((path.lstat().st_size + 1023) // 1024 if path.is_file() and not path.is_symlink()
                   else 1 for path in alone.rglob("*"))
        expect(int(field(package, "Installed-Size")) == size,
               f"{package.name}: installed size {field(package, 'Installed-Size')}, not {size}")
        run("dpkg-deb", "-x", package, root)
        name = package.name.split("_")[0]
        for document in ("copyright", "changelog.gz"):
            one(root, f"usr/share/doc/{name}/{document}")
    one(root, "usr/include/lyr_fft.h")
    documents = root / "usr/share/doc/liblyra-fft-dev"
    one(documents, "examples/first.c")
    for page in [*documents.glob("*.md"), *documents.glob("docs/*.md")]:
        for target in re.findall(r"!\[[^]]*\]\(([^)]+)\)|\]\(([^)#:]+\.md)", page.read_text()):
            expect((page.parent / "".join(target)).exists(), f"{page.name}: no {target}")
    one(documents, "docs/tutorial.md")
    config = one(root, "usr/lib/**/pkgconfig/lyra_fft.pc")
    library_dir = config.parent.parent
    needed = needed_libc(settings["readelf"], library_dir / "libLYRA_fft.so.2")
    expect(needed <= int(libc[1]), f"the library needs libc 2.{needed}")

    def ask(option):
        return run("pkgconf", option, "lyra_fft", PKG_CONFIG_LIBDIR=config.parent,
                   PKG_CONFIG_PATH="", PKG_CONFIG_SYSROOT_DIR="").split()

    sources = [(settings["cc"], "first.c")]
    if settings["fc"]:
        sources.append((settings["fc"], "entry_points.f90"))
    for compiler, source in sources:
        run(compiler, *ask("--cflags"), "-o", folder / "program", EXAMPLES / source, *ask("--libs"))
        check_program(settings, folder / "program", library_dir)
        if "older" in settings:
            check_program({"emulator": settings["older"]}, folder / "program", library_dir)
    if tools and "older" in settings:
        expect(re.search(r"^vector target +neon$", run(
            *settings["older"].split(), root / "usr/bin/lyr-fft", "info"), re.M), "not the target neon")
    if tools:
        emulator = settings["emulator"].split()
        expect(VERSION in run(*emulator, root / "usr/bin/lyr-fft", "info"),
               "lyr-fft info: no version")
        if not emulator:  # which would look for the program's libraries where it is not
            path = run(root / "usr/bin/lyr-fft", "run", "printenv", "LD_LIBRARY_PATH").split(":")[0]
            expect((Path(path.strip()) / "libfftw3.so.3").is_file() and path.startswith(str(root)),
                   f"lyr-fft run sets the library path {path}")
    for module in python:
        run("/usr/bin/python3", "-c", "import lyra_fft; assert lyra_fft.__file__.startswith("
            f"'{root}'); assert abs(lyra_fft.fft([0, 1, 0, 0])[1] + 1j) < 1e-15",
            PYTHONPATH=root / "usr/lib/python3/dist-packages", LD_LIBRARY_PATH=library_dir,
            PYTHONDONTWRITEBYTECODE=1)
    if settings["lintian"]:
        print(run(settings["lintian"], "--allow-root", "--fail-on", "error", library, single,
                  development, fftw3, *tools, *python))


def check_source(folder, settings):
    output = Path(settings.get("output", folder))
    run(settings["cpack"], "--config", f"{settings['build']}/CPackSourceConfig.cmake", "-B", output)
    shutil.rmtree(output / "_CPack_Packages")
    with tarfile.open(one(output, f"lyra-fft-{VERSION}.tar.gz")) as archive:
        names = archive.getnames()
        archive.extractall(folder)
    unwanted = [n for n in names if re.search(r"/\.git(/|$)|/build|__pycache__|\.o$", n)]
    expect(not unwanted, f"in the archive: {unwanted[:5]}")
    run(settings["cmake"], "-S", folder / f"lyra-fft-{VERSION}", "-B", folder / "build",
        "-DLYRA_BUILD_TESTS=OFF", "-DLYRA_BUILD_BENCH=OFF", GIT_DIR="/nowhere")


def main(arguments):
    checks = {"debian": check_debian, "source": check_source}
    if not arguments or arguments[0] not in checks:
        print(__doc__, file=sys.stderr)
        return 2
    settings = dict(a.split("=", 1) for a in arguments[1:])
    with tempfile.TemporaryDirectory() as folder:
        try:
            checks[arguments[0]](Path(folder), settings)
        except Fault as fault:
            print(fault)
            return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
