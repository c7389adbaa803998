"""Builds the library with CMake into the package: one wheel for every Python 3 of the platform.

The sources of the library are those of the repository around this folder, or the copy of them that a source
distribution carries. WBX_BUILD names a folder to build in, which then stays. WBX_LIBRARY=system leaves the library
out, for packages of a system that has it in a place of its own.
"""

import os
import shutil
import subprocess
import tempfile

from setuptools import Distribution, setup
from setuptools.command.build_py import build_py
from setuptools.command.sdist import sdist
from wheel.bdist_wheel import bdist_wheel

HERE = os.path.dirname(os.path.abspath(__file__))
CARRIED = os.path.join(HERE, "library")
SOURCES = CARRIED if os.path.isdir(CARRIED) else os.path.dirname(os.path.dirname(HERE))
LIBRARY = "libwbx-codec.so.1"
CARRIES_LIBRARY = os.environ.get("WBX_LIBRARY") != "system"

# So that the wheel needs nothing but the C library; without symbols.
LINK_OPTIONS = "-static-libstdc++ -static-libgcc -Wl,-s"


def build_library(build):
    """The path of the library, built in a folder."""
    subprocess.run(
        ["cmake", "-S", SOURCES, "-B", build, "-DCMAKE_BUILD_TYPE=Release", "-DCMAKE_SHARED_LINKER_FLAGS=" + LINK_OPTIONS],
        check=True,
    )
    subprocess.run(
        ["cmake", "--build", build, "--target", "wbx-codec", "--parallel", str(os.cpu_count() or 1)], check=True
    )
    return os.path.join(build, "src", LIBRARY)


class BuildWithLibrary(build_py):
    def run(self):
        super().run()
        if not CARRIES_LIBRARY:
            return
        target = os.path.join(self.build_lib, "wbx", LIBRARY)
        with tempfile.TemporaryDirectory() as scratch:
            shutil.copyfile(build_library(os.environ.get("WBX_BUILD") or scratch), target)


class SdistWithLibrary(sdist):
    def make_release_tree(self, base_dir, files):
        super().make_release_tree(base_dir, files)
        carried = os.path.join(base_dir, "library")
        for name in ("CMakeLists.txt", "LICENSE", "cmake", "include", "src"):
            source, target = os.path.join(SOURCES, name), os.path.join(carried, name)
            if os.path.isdir(source):
                shutil.copytree(source, target)
            else:
                self.mkpath(os.path.dirname(target))
                shutil.copyfile(source, target)
        shutil.copyfile(os.path.join(SOURCES, "LICENSE"), os.path.join(base_dir, "LICENSE"))


class WheelOfPlatform(bdist_wheel):
    """Any Python 3, since ctypes does the calls; this platform only."""

    def get_tag(self):
        return "py3", "none", super().get_tag()[2]


class WithLibrary(Distribution):
    def has_ext_modules(self):
        return CARRIES_LIBRARY


setup(
    distclass=WithLibrary,
    cmdclass={"build_py": BuildWithLibrary, "sdist": SdistWithLibrary, "bdist_wheel": WheelOfPlatform},
)
