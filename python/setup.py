"""Builds a wheel: CMake makes the module and the libraries that go with it.

    pip install --no-build-isolation ./python

Nothing is fetched. The system has to have what `scripts/setup python` installs; the wheel uses the system's
libprotobuf, jansson, fmt and utf8proc and fits the machine that it was built on. TESPARSER_BUILD names a build tree
to take the libraries from, as far as they are in it (its preset decides about optimisation); without it one is made
below python/build, optimised, which takes some minutes.
"""

import os
import pathlib
import re
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

HERE = pathlib.Path(__file__).resolve().parent
SOURCE = HERE.parent


class CMakeBuild(build_ext):
    """The module comes out of CMake, under the name that setuptools wants."""

    def build_extension(self, ext):
        package = pathlib.Path(self.get_ext_fullpath(ext.name)).resolve().parent
        build = os.environ.get("TESPARSER_BUILD")
        options = ["-D", "TESPARSER_PYTHON=ON"]
        if build is None:
            build = HERE / "build" / "cmake"
            options += ["-G", "Ninja", "-D", "CMAKE_BUILD_TYPE=Release", "-D", "CMAKE_CXX_FLAGS_RELEASE=-O2 -DNDEBUG"]
            options += ["-D", f"Python_EXECUTABLE={sys.executable}"]
            for part in ("TESTS", "BENCH", "FUZZ"):
                options += ["-D", f"TESPARSER_BUILD_{part}=OFF"]
        subprocess.run(["cmake", "-S", SOURCE, "-B", build, *options], check=True)
        jobs = os.environ.get("CMAKE_BUILD_PARALLEL_LEVEL") or str(len(os.sched_getaffinity(0)))
        subprocess.run(["cmake", "--build", build, "--target", "tesparser_python", "--parallel", jobs], check=True)
        subprocess.run(["cmake", "--install", build, "--component", "wheel", "--prefix", package], check=True)
        self.drop_links(package)

    @staticmethod
    def drop_links(package):
        """A wheel has no links: each library goes by the name that it is loaded by."""
        for link in [path for path in package.iterdir() if path.is_symlink()]:
            target = link.resolve()
            link.unlink()
            target.rename(link)


def version():
    text = (SOURCE / "CMakeLists.txt").read_text()
    return re.search(r"project\(tesparser VERSION ([0-9.]+)", text).group(1)


setup(
    name="tesparser",
    version=version(),
    description="Decodes replies of a market-data service into tables, NumPy arrays, data frames and Arrow",
    python_requires=">=3.9",
    install_requires=["numpy"],
    extras_require={"pandas": ["pandas"], "progress": ["tqdm"]},
    packages=["tesparser"],
    package_data={"tesparser": ["py.typed", "*.pyi"]},
    ext_modules=[Extension("tesparser._core", sources=[])],
    cmdclass={"build_ext": CMakeBuild},
    zip_safe=False,
)
