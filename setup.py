"""Builds the package qevo with CMake: the library and the extension module
qevo._qevo, configured for the interpreter running this script, in
build/temp*/cmake (or in the folder named by QEVO_CMAKE_BUILD_DIR, to reuse a
build). The wheel carries the extension and a copy of the library under its
SONAME beside it (the extension's run path is $ORIGIN), so it installs and
imports without build tools or a system-wide library.

Metadata is in pyproject.toml; the version is the project's, read from
CMakeLists.txt.
"""
import glob
import os
import re
import shutil
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = os.path.dirname(os.path.abspath(__file__))


def project_version():
    with open(os.path.join(ROOT, "CMakeLists.txt")) as f:
        m = re.search(r"project\(QEVO VERSION (\d+\.\d+\.\d+)", f.read())
    if not m:
        raise RuntimeError("CMakeLists.txt: no project(QEVO VERSION x.y.z)")
    return m.group(1)


class CMakeExtension(Extension):
    def __init__(self, name):
        super().__init__(name, sources=[])


class CMakeBuild(build_ext):
    def build_extension(self, ext):
        build = os.environ.get("QEVO_CMAKE_BUILD_DIR") or os.path.join(self.build_temp, "cmake")
        build = os.path.abspath(build)
        configure = ["cmake", "-S", ROOT, "-B", build, "-DQEVO_BUILD_PYTHON=ON",
                     f"-DPython_EXECUTABLE={sys.executable}"]
        if not os.path.exists(os.path.join(build, "CMakeCache.txt")):
            configure += ["-DCMAKE_BUILD_TYPE=Release", "-DQEVO_BUILD_TESTS=OFF",
                          "-DQEVO_BUILD_APPS=OFF"]
        subprocess.run(configure, check=True)
        jobs = str(os.cpu_count() or 2)
        subprocess.run(["cmake", "--build", build, "--target", "qevo_python", "-j", jobs],
                       check=True)
        built = os.path.join(build, "python", "qevo")
        module = glob.glob(os.path.join(built, "_qevo*.so"))
        library = glob.glob(os.path.join(built, "libQEVO.kivexC.so.*"))
        if len(module) != 1 or len(library) != 1:
            raise RuntimeError(f"{built}: expected one extension and one library")
        dest = os.path.dirname(os.path.abspath(self.get_ext_fullpath(ext.name)))
        os.makedirs(dest, exist_ok=True)
        shutil.copy(module[0], self.get_ext_fullpath(ext.name))
        shutil.copy(library[0], os.path.join(dest, os.path.basename(library[0])))


setup(
    version=project_version(),
    ext_modules=[CMakeExtension("qevo._qevo")],
    cmdclass={"build_ext": CMakeBuild},
    zip_safe=False,
)
