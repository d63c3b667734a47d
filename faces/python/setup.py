"""The package for a virtual environment that sees the system's packages; the library is installed already:

    python3 -m venv --system-site-packages venv
    venv/bin/pip install --no-build-isolation ./faces/python
"""

import glob
import subprocess

from setuptools import Extension, setup


def pkg_config(*question):
    return subprocess.run(["pkg-config", *question, "orqcam"], check=True, text=True, capture_output=True).stdout.split()


folder = pkg_config("--variable=libdir")
setup(
    name="orqcam",
    version=pkg_config("--modversion")[0],
    description="USB astronomy cameras, real and virtual, with frames as NumPy arrays",
    license="MIT",
    python_requires=">=3.9",
    install_requires=["numpy"],
    packages=["orqcam"],
    package_data={"orqcam": ["py.typed", "*.pyi"]},
    ext_modules=[Extension("orqcam._orqcam", sorted(glob.glob("src/*.cpp")), language="c++",
                           extra_compile_args=["-std=c++20", "-fvisibility=hidden", *pkg_config("--cflags")],
                           extra_link_args=pkg_config("--libs") + [f"-Wl,-rpath,{each}" for each in folder])],
)
