"""Wheels and source archives of the package. CMake builds it; this copies what it made.

A source archive holds the whole source tree beside this file, in `tree`. FILTER_PROCESSOR_BUILD names a
build folder that is configured already, with FILTER_PROCESSOR_PYTHON=ON, and is used then.
"""

import os
import re
import shutil
import subprocess
import sys
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext
from setuptools.command.sdist import sdist

HERE = Path(__file__).resolve().parent
TREE = HERE / "tree" if (HERE / "tree").exists() else HERE.parents[1]
VERSION = re.search(r"project\(\w+ VERSION ([\d.]+)", (TREE / "CMakeLists.txt").read_text("utf-8"))[1]
# What the package is built of; the tests and benchmarks stay behind.
PARTS = ["CMakeLists.txt", "README.md", "LICENSE", "bindings", "cmake", "docs/filters.md", "host", "include",
         "presets", "recordings", "src", "tests/golden", "tests/naive", "tests/plugin/schemas.txt",
         "tests/support", "tools"]


class CMakeBuild(build_ext):
    def run(self):
        build = os.environ.get("FILTER_PROCESSOR_BUILD")
        if build is None:
            build = Path(self.build_temp).resolve()
            options = {"CMAKE_BUILD_TYPE": "Release", "FILTER_PROCESSOR_PYTHON": "ON",
                       "FILTER_PROCESSOR_TESTS": "OFF", "FILTER_PROCESSOR_BENCH": "OFF",
                       "Python3_EXECUTABLE": sys.executable}
            settings = [f"-D{key}={value}" for key, value in options.items()]
            subprocess.run(["cmake", "-S", TREE, "-B", build, "-G", "Ninja", *settings], check=True)
        subprocess.run(["cmake", "--build", build, "--target", "python_package"], check=True)
        made = Path(build) / "python" / "filter_processor"
        shutil.copytree(made, Path(self.build_lib) / made.name, dirs_exist_ok=True,
                        ignore=shutil.ignore_patterns("__pycache__"))


class TreeArchive(sdist):
    def make_release_tree(self, base_dir, files):
        super().make_release_tree(base_dir, files)
        for part in PARTS:
            source, target = TREE / part, Path(base_dir) / "tree" / part
            target.parent.mkdir(parents=True, exist_ok=True)
            if source.is_dir():
                shutil.copytree(source, target, ignore=shutil.ignore_patterns(
                    "__pycache__", "build", "dist", "tree", "*.egg-info"))
            else:
                shutil.copy(source, target)


setup(
    version=VERSION,
    ext_modules=[Extension("filter_processor._core", [])],
    cmdclass={"build_ext": CMakeBuild, "sdist": TreeArchive},
)
