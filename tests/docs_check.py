"""That the documentation is true.

usage: docs_check.py tutorial DOCS_DIR SETTINGS
       docs_check.py names SOURCE_DIR
       docs_check.py reference SOURCE_DIR DOXYGEN

tutorial   compiles and runs the programs of tutorial.md with the commands printed there, and
           compares what they print; SETTINGS are NAME=VALUE: cc, cxx, fc (may be empty), modules
           (folder of the Fortran module), include, library, flags and emulator (may be empty)
names      functions, constants, files and solvers that the documentation names exist, links lead
           somewhere, and no function is missing from moving.md
reference  Doxygen makes the site without a warning; it holds all pages and every function in C, C++
           and Fortran, and its links lead somewhere

Exits with 1 and one line per fault when something is not as it should be.
"""

import os
import re
import subprocess
import sys
import tempfile
from html.parser import HTMLParser
from pathlib import Path
from urllib.parse import unquote


def blocks(text):
    """(language, the paragraph before, content) of every fenced block."""
    before = ""
    lines = iter(text.splitlines())
    for line in lines:
        if line.startswith("```"):
            content = []
            for inner in lines:
                if inner == "```":
                    break
                content.append(inner)
            yield line[3:], before, "".join(part + "\n" for part in content)
        elif line:
            before = line


def write_compiler(path, compiler, settings, *flags):
    """A compiler with what the tutorial's exports would tell it."""
    words = [compiler, "-Wall", "-Wextra", "-Werror", *settings["flags"], *flags]
    quoted = " ".join(f"'{word}'" for word in words)
    path.write_text(f"#!/bin/sh\nexec {quoted} \"$@\" -L'{settings['library']}'\n")
    path.chmod(0o755)


LANGUAGES = {"c": "c", "cpp": "cpp", "fortran": "f90"}


def check_tutorial(docs, settings):
    programs = runs = 0
    with tempfile.TemporaryDirectory() as folder:
        bin_folder = Path(folder) / "bin"
        bin_folder.mkdir()
        include = [f"-I{path}" for path in settings["include"].split(":")]
        write_compiler(bin_folder / "cc", settings["cc"], settings, *include)
        write_compiler(bin_folder / "c++", settings["cxx"], settings, *include)
        write_compiler(bin_folder / "gfortran", settings["fc"], settings)
        environment = dict(os.environ, PATH=f"{bin_folder}:{os.environ['PATH']}",
                           LD_LIBRARY_PATH=settings["library"], LYRA_MODULES=settings["modules"])
        printed = None
        skipped = False
        for language, before, content in blocks((Path(docs) / "tutorial.md").read_text()):
            if language in LANGUAGES:
                name = re.fullmatch(r"`(\w+\.(\w+))`:", before)
                if not name or name[2] != LANGUAGES[language]:
                    yield f"a {language} program without a name after: {before}"
                    continue
                (Path(folder) / name[1]).write_text(content)
                programs += 1
                skipped = language == "fortran" and not settings["fc"]
            elif language == "sh":
                runs += 1
                if skipped:
                    continue
                script = re.sub(r"^\./", " ".join([*settings["emulator"], "./"]), content,
                                flags=re.M)
                result = subprocess.run(["sh", "-e", "-c", script], cwd=folder, env=environment,
                                        capture_output=True, text=True, timeout=300)
                printed = result.stdout
                if result.returncode:
                    yield f"{content}status {result.returncode}\n{result.stderr}"
            elif language == "text":
                if content != printed and not skipped:
                    yield f"said to be printed:\n{content}printed:\n{printed}"
                printed = None
            elif language != "console":
                yield f"a block of unknown language {language!r}"
    if not programs == runs >= 14:
        yield f"{programs} programs, {runs} of them run"


def pages(root):
    return sorted([*(root / "docs").glob("*.md"), *root.glob("*.md")])


def check_links(root):
    for page in pages(root):
        text = re.sub(r"^```.*?^```", "", page.read_text(), flags=re.S | re.M)
        for target in re.findall(r"\]\(([^)#]+)(?:#[^)]*)?\)", text):
            if not re.match(r"[a-z]+:", target) and not (page.parent / target).exists():
                yield f"{page.name}: no {target}"


def check_names(root):
    """Names of other programs' functions do not begin like ours."""
    header = (root / "include/lyr_fft.h").read_text()
    known = set(re.findall(r"\b(?:lyr_fft_\w+|LYR_FFT_\w+|LFFT\w+)", header))
    known |= {"LYR_FFT_AFFINITY"}
    known |= {name.replace("lyr_fft_", "lyr_fftf_") for name in known}
    sources = "".join(path.read_text() for path in sorted((root / "src").rglob("*.[ch]*")))
    solvers = re.findall(r'"(solve_\w+)"', (root / "src/planner/registry.cpp").read_text())
    for page in pages(root):
        text = page.read_text()
        own = set(re.findall(r"#define (\w+)", text))
        for name in sorted(set(re.findall(r"\b(?:lyr_fftf?_\w+|LYR_FFT_\w+|LFFT\w+)", text)) - own):
            if name not in known and name.removesuffix("_") not in known and name != "lyr_fft_":
                yield f"{page.name}: {name} is not in the header"
        for name in sorted(set(re.findall(r"`((?:src|tests|tools|bench|cmake|include|docs|examples|python)"
                                          r"/[\w./-]*)`", text))):
            if not (root / name).exists():
                yield f"{page.name}: no {name}"
        for name in sorted(set(re.findall(r"\b(?:solve|execute)_\w+", text))):
            if name not in sources:
                yield f"{page.name}: nothing is called {name}"
    moving = (root / "docs/moving.md").read_text()
    header = re.sub(r"/\*.*?\*/", "", header, flags=re.S)
    for name in sorted(set(re.findall(r"\b(lyr_fft_\w+)\s*\(", header))):
        if name.replace("_guru64_", "_guru_") not in moving:
            yield f"moving.md: {name} is missing"
    listed = re.findall(r"^\| \d+ \| `(solve_\w+)`", (root / "docs/architecture.md").read_text(),
                        flags=re.M)
    if listed != solvers:
        yield "architecture.md: not the solvers of the registry in their order"
    shown = [content for language, _, content in blocks((root / "README.md").read_text())
             if language == "c"]
    example = re.sub(r"\A(//.*\n)+", "", (root / "examples/first.c").read_text())
    if shown != [example]:
        yield "README.md: the first program is not examples/first.c"
    yield from check_links(root)


class Page(HTMLParser):
    """What a page of the site points at, and what can be pointed at in it."""

    def __init__(self, path):
        super().__init__()
        self.targets, self.names = [], set()
        self.feed(path.read_text(errors="replace"))

    def handle_starttag(self, tag, attributes):
        for key, value in attributes:
            if key in ("id", "name") and value:
                self.names.add(value)
            elif key in ("href", "src", "data") and value:
                self.targets.append(value)


def check_site(folder):
    """Links and pictures of the site lead somewhere."""
    site = {path.name: Page(path) for path in folder.glob("*.html")}
    for name, page in sorted(site.items()):
        for command in re.findall(r"[@\\](?:section|image|ref|code|verbatim)\b.*",
                                  (folder / name).read_text(errors="replace")):
            yield f"{name}: not understood: {command}"
        for target in page.targets:
            if re.match(r"[a-z]+:", target):
                continue
            file, _, place = unquote(target).partition("#")
            if file and not (folder / file).exists():
                yield f"{name}: no {target}"
            elif place and (file or name) in site and place not in site[file or name].names:
                yield f"{name}: no place {target}"


def check_reference(root, doxygen):
    with tempfile.TemporaryDirectory() as folder:
        settings = (root / "docs/Doxyfile").read_text()
        settings += f"\nOUTPUT_DIRECTORY = {folder}\nGENERATE_XML = YES\nQUIET = YES\n"
        result = subprocess.run([doxygen, "-"], input=settings, cwd=root, capture_output=True,
                                text=True, timeout=600)
        if result.returncode:
            yield f"status {result.returncode}"
        yield from result.stderr.splitlines()
        yield from check_site(Path(folder) / "html")

        def described(file):
            """Names of the file's members, and whether something is said of them."""
            text = (Path(folder) / "xml" / file).read_text()
            for member in re.findall(r"<memberdef .*?</memberdef>", text, flags=re.S):
                yield (re.search(r"<name>([^<]+)</name>", member)[1],
                       bool(re.search(r"description>\s*<para>", member)))

        header = re.sub(r"/\*.*?\*/", "", (root / "include/lyr_fft.h").read_text(), flags=re.S)
        functions = set(re.findall(r"\b(lyr_fft_\w+|LFFT\w+)\s*\(", header))
        layer = {"dft", "r2c", "c2r", "r2r", "split_dft", "split_r2c", "split_c2r", "set_threads"}
        for file, wanted in (("lyr__fft_8h.xml", functions),
                             ("namespacelyra__fft.xml", {name.lower() for name in functions}),
                             ("namespacelyr__fft.xml", layer)):
            known = dict(described(file))
            for name in sorted(wanted):
                if not known.get(name):
                    yield f"{file}: {name} has no description"
        titles = "".join(p.read_text() for p in (Path(folder) / "html").glob("*.html"))
        for page in pages(root):
            title = re.match(r"# (.*)", page.read_text())[1]
            if f"<title>LYRA FFT: {title}</title>" not in titles:
                yield f"{page.name} is not in the site"


def main(arguments):
    match arguments:
        case ["tutorial", docs, *rest]:
            settings = dict(a.split("=", 1) for a in rest)
            for name in ("flags", "emulator"):
                settings[name] = settings[name].split()
            faults = check_tutorial(docs, settings)
        case ["names", root]:
            faults = check_names(Path(root))
        case ["reference", root, doxygen]:
            faults = check_reference(Path(root), doxygen)
        case _:
            print(__doc__, file=sys.stderr)
            return 2
    faults = list(faults)
    for fault in faults:
        print(fault)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
