"""Builds the extension by CMake, with the library inside. pyproject.toml says the rest.

Variables of the environment: LYRA_JOBS limits the number of parallel jobs; LYRA_FFT_CMAKE_ARGS is
passed on to CMake; LYRA_FFT_BUILD names the folder to build in, to be used again.
"""

import os
import shlex
import shutil
import subprocess
import sys
from pathlib import Path

import numpy
from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

SOURCES = Path(__file__).resolve().parent.parent


class BuildByCMake(build_ext):
    def build_extension(self, ext):
        build = Path(os.environ.get("LYRA_FFT_BUILD") or Path(self.build_temp) / "cmake").absolute()
        options = {"BUILD_TESTS": "OFF", "BUILD_TOOL": "OFF", "BUILD_BENCH": "OFF",
                   "BUILD_EXAMPLES": "OFF", "BUILD_FORTRAN": "OFF", "INSTALL": "OFF",
                   "BUILD_PYTHON": "ON", "PYTHON_STATIC": "ON",
                   "PORTABLE_FALLBACK": "ON"}  # a wheel is for every processor
        generator = [] if os.environ.get("CMAKE_GENERATOR") or not shutil.which("ninja") else [
            "-G", "Ninja"]
        subprocess.run(
            ["cmake", "-S", SOURCES, "-B", build, *generator, "-DCMAKE_BUILD_TYPE=Release",
             f"-DPython3_EXECUTABLE={sys.executable}",
             f"-DPython3_NumPy_INCLUDE_DIR={numpy.get_include()}",
             *[f"-DLYRA_{name}={value}" for name, value in options.items()],
             *shlex.split(os.environ.get("LYRA_FFT_CMAKE_ARGS", ""))], check=True)
        subprocess.run(["cmake", "--build", build, "--target", "lyra_python", "-j",
                        os.environ.get("LYRA_JOBS") or str(os.cpu_count())], check=True)
        file = Path(self.get_ext_fullpath(ext.name))
        file.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(next((build / "python/lyra_fft").glob("_core.*.so")), file)
        if shutil.which("strip"):
            subprocess.run(["strip", "--strip-unneeded", file], check=True)


setup(ext_modules=[Extension("lyra_fft._core", [])], cmdclass={"build_ext": BuildByCMake})
