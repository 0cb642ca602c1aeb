"""setuptools as the build backend, with nothing fetched that is installed already.

pip builds in an environment of its own that hides the packages of the interpreter, and fetches into
it what a project requires. This backend looks at them nevertheless, behind those of that
environment, and requires only what is missing.
"""

import importlib.util
import json
import subprocess
import sys

NEEDED = {"setuptools": "setuptools>=61", "wheel": "wheel", "numpy": "numpy>=1.24"}

# -I: without the variables of the environment by which pip hides them.
sys.path += json.loads(subprocess.run(
    [sys.executable, "-I", "-c", "import json, sys; print(json.dumps(sys.path))"],
    capture_output=True, check=True).stdout)


def _missing(config_settings=None):
    return [requirement for module, requirement in NEEDED.items()
            if importlib.util.find_spec(module) is None]


get_requires_for_build_wheel = get_requires_for_build_editable = _missing
get_requires_for_build_sdist = _missing


def __getattr__(name):
    if name.startswith("_"):
        raise AttributeError(name)
    from setuptools import build_meta
    return getattr(build_meta, name)
