"""Installs a build into an empty folder, moves it, and builds and runs programs against it.

usage: install_check.py files SETTINGS        what is installed, and that it can be moved
       install_check.py cmake SETTINGS        consumers by find_package
       install_check.py subproject SETTINGS   consumers that hold the library's sources
       install_check.py pkg-config SETTINGS   consumers by pkg-config

SETTINGS are NAME=VALUE: build, source, cmake, cc, cxx, fc (may be empty), pkgconf, emulator (may be
empty), toolchain (may be empty), tools (1 when lyr-fft is built). Exits with 1 and the reason when
something is not as it should be.
"""

import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path

EXPECTED = "1: +0.707 -0.707i"
VERSION = re.search(r"project\(lyra_fft VERSION ([\d.]+)",
                    (Path(__file__).parents[1] / "CMakeLists.txt").read_text())[1]


class Fault(Exception):
    pass


def run(*command, **variables):
    """Output of a command, which must succeed."""
    command = [str(part) for part in command]
    result = subprocess.run(command, capture_output=True, text=True, check=False,
                            env=os.environ | {k: str(v) for k, v in variables.items()})
    if result.returncode:
        raise Fault(f"{' '.join(command)}\nstatus {result.returncode}\n"
                    f"{result.stdout}{result.stderr}")
    return result.stdout


def check_program(settings, program, library_dir=""):
    """Run a program, which must print the spectrum of the first example."""
    emulator = settings["emulator"].split()
    if emulator:  # passed on by the emulator, whose own libraries stay alone
        command = [*emulator, *(["-E", f"LD_LIBRARY_PATH={library_dir}"] if library_dir else [])]
        output = run(*command, program)
    else:
        output = run(program, LD_LIBRARY_PATH=library_dir)
    if EXPECTED not in output:
        raise Fault(f"{program} printed\n{output}")


def install(settings, folder):
    """Install and move; the place to which it was moved."""
    first, moved = folder / "first", folder / "elsewhere" / "moved"
    run(settings["cmake"], "--install", settings["build"], "--prefix", first)
    moved.parent.mkdir()
    first.rename(moved)
    return moved


def one(prefix, pattern):
    found = list(prefix.glob(pattern))
    if len(found) != 1:
        raise Fault(f"{len(found)} files match {pattern}")
    return found[0]


def check_files(settings, folder):
    prefix = install(settings, folder)
    wanted = ["include/lyr_fft.h", "include/lyr_fft.hpp", "include/lyra_fft.f90",
              "**/libLYRA_fft.so", "**/libLYRA_fft.so.2", f"**/libLYRA_fft.so.{VERSION}",
              "**/libLYRA_fft.a", "**/pkgconfig/lyra_fft.pc",
              "**/cmake/lyra_fft/lyra_fft-config.cmake",
              "**/cmake/lyra_fft/lyra_fft-config-version.cmake",
              "**/cmake/lyra_fft/lyra_fft-targets.cmake",
              "**/cmake/lyra_fft/lyra_fft-targets-*.cmake",
              "**/lyra-fftw3/liblyra_fftw3.so.3", "**/lyra-fftw3/libfftw3.so.3",
              "**/lyra-fftw3/libfftw3_threads.so.3", "**/lyra-fftw3/libfftw3_omp.so.3",
              "**/cmake/lyra_fft/lyra_fft-fortran.cmake", "share/man/man3/lyr_fft.3.gz"]
    wanted += [f"**/lyra-fftw3/{name}.so.3" for name in (
        "liblyra_fftw3f", "libfftw3f", "libfftw3f_threads", "libfftw3f_omp")]
    wanted += ["include/lyr_fftf.h", "**/libLYRA_fftf.so", "**/libLYRA_fftf.so.2",
               f"**/libLYRA_fftf.so.{VERSION}", "**/libLYRA_fftf.a", "**/pkgconfig/lyra_fftf.pc"]
    if settings["fc"]:
        wanted.append("**/fortran/gfortran-mod-*/lyra_fft.mod")
    if settings["tools"] == "1":
        wanted += ["bin/lyr-fft", "share/man/man1/lyr-fft.1.gz",
                   "share/bash-completion/completions/lyr-fft"]
    known = {one(prefix, pattern) for pattern in wanted}
    for path in prefix.rglob("*"):
        if path.is_dir():
            continue
        if path not in known:
            raise Fault(f"installed, but not expected: {path.relative_to(prefix)}")
        if path.suffix in (".cmake", ".pc", ".h", ".hpp", ".f90"):
            text = path.read_text()
            for place in (str(folder), settings["build"], settings["source"]):
                if place in text:
                    raise Fault(f"{path.name} names {place}")


def configure(settings, folder, name, languages, *options):
    build = folder / name
    compilers = {"C": "cc", "CXX": "cxx", "Fortran": "fc"}
    chosen = [f"-DCMAKE_{l}_COMPILER={settings[compilers[l]]}" for l in languages]
    if settings["toolchain"]:
        chosen = [f"-DCMAKE_TOOLCHAIN_FILE={settings['toolchain']}"]
    run(settings["cmake"], "-S", Path(settings["source"]) / "tests/consumers", "-B", build,
        f"-DLANGUAGES={';'.join(languages)}", f"-DEXAMPLES={settings['source']}/examples",
        *chosen, *options)
    return build


def language_sets(settings):
    """Each language alone: none may need the others."""
    return [["C"], ["CXX"]] + ([["Fortran"]] if settings["fc"] else [])


def check_cmake(settings, folder):
    prefix = install(settings, folder)
    package = one(prefix, "**/cmake/lyra_fft")
    for languages in language_sets(settings):
        build = configure(settings, folder, languages[0], languages, f"-Dlyra_fft_DIR={package}")
        run(settings["cmake"], "--build", build)
        for library in ("lyra_fft", "lyra_fft_static"):
            check_program(settings, build / f"{languages[0].lower()}_{library}")
        if languages == ["C"]:
            for program in ("both", "both_static"):
                check_program(settings, build / program)
    # C programs of a project that uses C++ too are linked as C.
    build = configure(settings, folder, "mixed", ["C", "CXX"], f"-Dlyra_fft_DIR={package}")
    run(settings["cmake"], "--build", build, "--target", "c_lyra_fft_static")
    program = (build / "c_lyra_fft_static").read_bytes()
    for library in (b"libstdc++.so", b"libgcc_s.so"):
        if library in program:
            raise Fault(f"a C program needs {library.decode()} by lyra_fft_static")


def check_subproject(settings, folder):
    """Only the consumer's own sources are compiled: the library would take minutes."""
    # The library's language is C++.
    languages = ["C", "CXX"] + (["Fortran"] if settings["fc"] else [])
    build = configure(settings, folder, "subproject", languages,
                      f"-DLYRA_SOURCE={settings['source']}", "-GUnix Makefiles")
    targets = run(settings["cmake"], "--build", build, "--target", "help")
    for name in ("lyr-fft", "lyra_test_api", "lyra-bench", "example_first"):
        if f" {name}\n" in targets:
            raise Fault(f"{name} is part of a project that only uses the library")
    for name in ("c", "cxx"):
        source = "first.c" if name == "c" else "first.cpp"
        rules = build / f"CMakeFiles/{name}_lyra_fft.dir/build.make"
        run("make", "-C", build, "-f", rules,
            next(line.split(":")[0] for line in rules.read_text().splitlines()
                 if f"{source}.o:" in line))
    if any(path.name == "cmake_install.cmake" and "libLYRA_fft" in path.read_text()
           for path in build.rglob("cmake_install.cmake")):
        raise Fault("a project that only uses the library installs it")


def check_pkg_config(settings, folder):
    prefix = install(settings, folder)
    config_dir = one(prefix, "**/pkgconfig")
    library_dir = config_dir.parent

    def ask(*options, package="lyra_fft"):
        # Nothing but the moved tree; its folders are shown even if they are the system's.
        return run(settings["pkgconf"], *options, *package.split(), PKG_CONFIG_LIBDIR=config_dir,
                   PKG_CONFIG_PATH="").split()

    for package in ("lyra_fft", "lyra_fftf"):
        if ask("--modversion", package=package) != [VERSION]:
            raise Fault("wrong version")
    examples = Path(settings["source"]) / "examples"
    consumers = [("first.c", settings["cc"], ["-std=c99"]),
                 ("first.cpp", settings["cxx"], ["-std=c++17"])]
    if settings["fc"]:
        consumers.append(("first.f90", settings["fc"], ["-I", *ask("--variable=fmoddir")]))
        consumers.append(("entry_points.f90", settings["fc"], []))
    consumers.append(("both_precisions.c", settings["cc"], ["-std=c99"]))
    for source, compiler, options in consumers:
        package = "lyra_fft" + (" lyra_fftf" if source.startswith("both") else "")
        for static in (False, True):
            program = folder / (source + (".static" if static else ""))
            libraries = ask("--libs", *(["--static"] if static else []), package=package)
            if source.startswith("both"):
                libraries.append("-lm")
            if static and source.endswith(".f90"):
                # GCC 12's Fortran library, linked statically into a program that also holds
                # pthread_create, calls functions of libc that nobody linked.
                libraries = [l.replace("-lLYRA_fft", "-l:libLYRA_fft.a") for l in libraries]
            elif static:
                libraries.insert(0, "-static")
            run(compiler, *options, *ask("--cflags"), "-o", program, examples / source, *libraries)
            check_program(settings, program, "" if static else library_dir)


def main(arguments):
    checks = {"files": check_files, "cmake": check_cmake, "subproject": check_subproject,
              "pkg-config": check_pkg_config}
    if not arguments or arguments[0] not in checks:
        print(__doc__, file=sys.stderr)
        return 2
    settings = dict(a.split("=", 1) for a in arguments[1:])
    with tempfile.TemporaryDirectory() as folder:
        try:
            checks[arguments[0]](settings, Path(folder).resolve())
        except Fault as fault:
            print(fault)
            return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
