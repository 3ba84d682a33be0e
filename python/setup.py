# SPDX-License-Identifier: MIT
"""Builds the wheel. The module and what it needs are built by CMake, from the source that this folder is a part of."""

import os
import pathlib
import re
import shutil
import subprocess
import sys

import setuptools
from setuptools.command.build_ext import build_ext

TOP = pathlib.Path(__file__).resolve().parent.parent
VERSION = re.search(r'TOVKIT_VERSION_TEXT "([^"]+)"', (TOP / "CMakeLists.txt").read_text()).group(1)


class BuildByCMake(build_ext):
    """The module, with lib/ and libexec/ beside it, where it looks for them."""

    def build_extension(self, extension):
        package = pathlib.Path(self.get_ext_fullpath(extension.name)).resolve().parent
        build = pathlib.Path(self.build_temp).resolve() / "cmake"
        build.mkdir(parents=True, exist_ok=True)
        generator = ["-G", "Ninja"] if shutil.which("ninja") else []
        subprocess.run(
            ["cmake", "-S", TOP, "-B", build, *generator, "-DCMAKE_BUILD_TYPE=RelWithDebInfo", "-DTOVKIT_BUILD_TESTS=OFF",
             "-DTOVKIT_BUILD_CLI=OFF", "-DTOVKIT_WERROR=OFF", f"-DPython3_EXECUTABLE={sys.executable}", "-DCMAKE_INSTALL_LIBDIR=lib",
             "-DCMAKE_INSTALL_LIBEXECDIR=libexec", "-DCMAKE_INSTALL_RPATH=$ORIGIN",
             "-DCMAKE_BUILD_WITH_INSTALL_RPATH=ON"], check=True)
        jobs = os.environ.get("CMAKE_BUILD_PARALLEL_LEVEL", str(os.cpu_count()))
        subprocess.run(["cmake", "--build", build, "--parallel", jobs, "--target", "tovkit_python", "tovkit_worker"],
                       check=True)
        for folder in ("lib", "libexec/tovkit"):
            (package / folder).mkdir(parents=True, exist_ok=True)
        self.copy_file(build / "python/tovkit" / pathlib.Path(self.get_ext_filename(extension.name)).name, package)
        # Links are no part of a wheel, so each library has the one name that is asked for.
        for library in [*build.glob("libtovkit.so.?"), *build.glob("core/libtovmx.so.?")]:
            shutil.copy2(library.resolve(), package / "lib" / library.name)
        shutil.copy2(build / "libexec/tovkit/tovkit-job", package / "libexec/tovkit")
        for file in [*package.glob("*.so"), *package.glob("lib/*"), *package.glob("libexec/tovkit/*")]:
            subprocess.run(["strip", "--strip-unneeded", file], check=True)


# What is made on the way goes where other builds go.
BASE = TOP / "build" / "wheel"
BASE.mkdir(parents=True, exist_ok=True)
setuptools.setup(version=VERSION, options={"build": {"build_base": str(BASE)}, "egg_info": {"egg_base": str(BASE)}},
                 ext_modules=[setuptools.Extension("tovkit._tovkit", [])],
                 cmdclass={"build_ext": BuildByCMake})
