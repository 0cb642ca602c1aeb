"""Every command and option that lyr-fft --help lists is in its manual page and its completion; help
fits into 80 columns, and mistakes are answered by one line that says where help is.

usage: tool_documents.py TOOL

Exits with 1 and one line per fault.
"""

import re
import subprocess
import sys
from pathlib import Path

TOOLS = Path(__file__).resolve().parent.parent / "tools"


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def complete(*words):
    """What the completion offers for the last of the words."""
    script = ('source "$0"; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _lyr_fft; '
              'echo "${COMPREPLY[@]}"')
    return set(output("bash", "-c", script, str(TOOLS / "completion/lyr-fft"), *words).split())


def check_help(text):
    return [f"longer than 80 columns: {line}" for line in text.splitlines() if len(line) > 80]


def check_plans(tool):
    """Plans fit into 80 columns, and are made without memory for the arrays."""
    problems = ("ocf1000003", "icf60x48*100", "orb100x64", "ok100e00x30o11", "oscf4096", "ocf0*5",
                "ocf1048576*1000000i", "ocf160000", "ocf16", "orf5", "orf177147", "ocf64x64*8i")
    for option in ("--threads=4", "--solvers"):
        text = output(tool, "plan", option, *problems)
        yield from check_help(text)
        for word in (("Bluestein", "threads: 4", "160000, complex: a plane")
                     if option != "--solvers" else ("bluestein: ",)):
            if word not in text:
                yield f"plan {option} says nothing of {word}"
        if option != "--solvers" and "solve_" in text:
            yield "the short view has names of solvers"
    for command in ("verify", "bench"):
        answer = subprocess.run([tool, command, "ocf72057594037927936"], capture_output=True,
                                text=True).stderr
        if "of this machine's memory" not in answer:
            yield f"{command} of too much: {answer}"


def check_float(tool):
    """The commands on problems know both precisions."""
    if "memory: arrays 16" not in output(tool, "plan", "--float", "ocf1024"):
        yield "plan --float: no arrays of half the size"
    if " ok" not in output(tool, "verify", "ocf1024", "--float"):
        yield "verify --float fails"


def check_mistake(tool, *arguments, hint):
    result = subprocess.run([tool, *arguments], capture_output=True, text=True)
    wanted = rf"lyr-fft: .*'--nonsense'.*; see '{hint} --help'\n"
    if result.returncode != 2 or result.stdout or not re.fullmatch(wanted, result.stderr):
        yield f"{arguments}: status {result.returncode}\n{result.stdout}{result.stderr}"


def faults(tool):
    manual = (TOOLS / "man/lyr-fft.1").read_text().replace("\\-", "-")
    subcommands = output(tool, "--help").split("Subcommands:")[1].split("\n\n")[0]
    commands = re.findall(r"^  (\w+)", subcommands, re.M)
    if complete("lyr-fft", "") != {*commands, "--help", "--version"}:
        yield f"completion offers {complete('lyr-fft', '')}, not {commands}"
    yield from check_help(output(tool, "--help"))
    yield from check_help(output(tool, "help", "problem"))
    yield from check_mistake(tool, "--nonsense", hint="lyr-fft")
    yield from check_plans(tool)
    yield from check_float(tool)
    for command in commands:
        yield from check_help(output(tool, command, "--help"))
        yield from check_mistake(tool, command, "--nonsense", hint=f"lyr-fft {command}")
        section = re.search(rf"^\.SS {command}\b(.*?)^\.S", manual, re.M | re.S)
        if not section:
            yield f"not in the manual page: {command}"
            continue
        explained = output(tool, "help", command)
        if explained != output(tool, command, "--help"):
            yield f"help {command} prints something else:\n{explained}"
        if command == "help":
            continue
        options = set(re.findall(r"^  (?:-\w,)?(--[\w-]+)", output(tool, command, "--help"), re.M))
        offered = complete("lyr-fft", command, "-")
        if offered != options:
            yield f"{command}: completion offers {sorted(offered)}, not {sorted(options)}"
        for option in options - {"--help"}:
            if not re.search(rf"{option}\b", section[1]):
                yield f"not in the manual page: {command} {option}"


def main(arguments):
    if len(arguments) != 1:
        print(__doc__, file=sys.stderr)
        return 2
    found = list(faults(arguments[0]))
    print("\n".join(found))
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
