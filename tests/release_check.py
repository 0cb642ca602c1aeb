"""Whether everything in the repository is about the same release, and whether it may be one.

usage: release_check.py version   every place names the version of CMakeLists.txt, and the changelog
                                  begins with it
       release_check.py ready     also: nothing is uncommitted, the version has no tag yet, and
                                  programs linked with the last release of the same MAJOR still run

Exits with 1 and one line per fault.
"""

import re
import subprocess
import sys
from pathlib import Path

from install_check import VERSION

ROOT = Path(__file__).resolve().parent.parent
MAJOR, MINOR, PATCH = (int(part) for part in VERSION.split("."))
ABI = "cmake/lyra_fft.abi"

# File, and an expression whose group is the version there.
PLACES = [
    ("src/api/version.cpp", r'library_version, "([\d.]+)"'),
    ("tools/man/lyr-fft.1", r'"LYRA FFT ([\d.]+)"'),
    ("tools/man/lyr_fft.3", r'"LYRA FFT ([\d.]+)"'),
    ("python/lyra_fft/__init__.py", r'__version__ = "([\d.]+)"'),
    ("README.md", r"\| version \| ([\d.]+)"),
    ("CHANGELOG.md", r"(?m)^## ([\d.]+)"),
]


def version_faults():
    for file, expression in PLACES:
        found = re.search(expression, (ROOT / file).read_text())
        if not found or found[1] != VERSION:
            yield f"{file} is about {found[1] if found else 'no version'}, not {VERSION}"
    header = (ROOT / "include/lyr_fft.h").read_text()
    number = int(re.search(r"LYR_FFT_VERSION_NUMBER \((\d+)\)", header)[1])
    if number != 10000 * MAJOR + 100 * MINOR + PATCH:
        yield f"include/lyr_fft.h: LYR_FFT_VERSION_NUMBER is {number}, not that of {VERSION}"
    if f"SOVERSION {MAJOR})" not in (ROOT / "CMakeLists.txt").read_text():
        yield f"CMakeLists.txt: SOVERSION is not {MAJOR}"
    changelog = (ROOT / "CHANGELOG.md").read_text()
    for word in re.findall(r"(?i)unreleased|not yet released|to be done", changelog):
        yield f"CHANGELOG.md says {word!r}"
    section = changelog.split("\n## ")[1]
    if "\n- " not in section:
        yield f"CHANGELOG.md says nothing about {VERSION}"


def git(*arguments):
    return subprocess.run(["git", "-C", ROOT, *arguments], check=True, capture_output=True,
                          text=True).stdout


def repository_faults():
    changes = git("status", "--porcelain")
    if changes:
        yield f"not committed:\n{changes.rstrip()}"
    tags = [tag for tag in git("tag", "--list", "v*").split() if re.fullmatch(r"v[\d.]+", tag)]
    if f"v{VERSION}" in tags:
        yield f"v{VERSION} is there already: raise the version"
    older = [tag for tag in tags if tag.startswith(f"v{MAJOR}.") and tag != f"v{VERSION}"]
    if older:
        last = max(older, key=lambda tag: [int(part) for part in tag[1:].split(".")])
        now = set((ROOT / ABI).read_text().splitlines())
        for line in git("show", f"{last}:{ABI}").splitlines():
            if line not in now and not line.startswith("#"):
                yield f"the binary interface of {last} has lost: {line}"


def main(arguments):
    if arguments not in (["version"], ["ready"]):
        print(__doc__, file=sys.stderr)
        return 2
    faults = list(version_faults())
    if arguments == ["ready"]:
        faults += repository_faults()
    print("\n".join(faults))
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
