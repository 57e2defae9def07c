"""Builds the extension module with CMake: see pyproject.toml for all else."""

import pathlib
import re
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

SOURCE = pathlib.Path(__file__).resolve().parent.parent
VERSION = re.search(r"^ *VERSION (\S+)", (SOURCE / "CMakeLists.txt").read_text("utf-8"), re.M)[1]


class BuildWithCMake(build_ext):
    """Builds the module with the libraries inside, so that the wheel needs only Qt."""

    def build_extension(self, ext):
        build = pathlib.Path(self.build_temp).resolve()
        target = pathlib.Path(self.get_ext_fullpath(ext.name)).resolve()
        options = ["BUILD_SHARED_LIBS=OFF", "CMAKE_BUILD_TYPE=Release", "CMAKE_UNITY_BUILD=ON",
                   "KORVINPACKAGE_BUILD_EXAMPLES=OFF", "KORVINPACKAGE_BUILD_PYTHON=ON",
                   "KORVINPACKAGE_BUILD_TESTS=OFF", "KORVINPACKAGE_BUILD_TOOLS=OFF",
                   f"Python_EXECUTABLE={sys.executable}"]
        subprocess.run(["cmake", "-S", SOURCE, "-B", build, "-G", "Ninja",
                        *(f"-D{option}" for option in options)], check=True)
        subprocess.run(["cmake", "--build", build, "--target", "korvinpackage_python"], check=True)
        (made,) = (build / "python/package/korvinpackage").glob("_core.*.so")
        target.parent.mkdir(parents=True, exist_ok=True)
        self.copy_file(str(made), str(target))


setup(
    version=VERSION,
    ext_modules=[Extension("korvinpackage._core", [])],
    cmdclass={"build_ext": BuildWithCMake},
)
