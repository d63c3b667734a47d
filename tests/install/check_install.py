#!/usr/bin/env python3
"""Installs into a folder of its own, and builds and runs programs that know nothing but what lies there.

    check_install.py CMAKE BUILD CC CXX [indi] [network]     indi: the INDI driver is built; network: the server is
"""

import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path

SOURCE = Path(__file__).resolve().parent.parent.parent
EXAMPLE = "first_light"
PAGE = SOURCE / "docs" / "library.md"

# What is to lie in the folder, as patterns; LIB is the folder of libraries. Documents and examples are those of the source.
# What emulates USB (orq-...) is there where it could be built.
INSTALLED = [
    r"bin/orqcam",
    r"bin/orq-(emulate|usbredir)",
    r"include/orqcam/[a-z-]+\.(h|hpp)",
    r"LIB/liborqcam\.(a|so|so\.0|so\.0\.[0-9]+\.[0-9]+)",
    r"LIB/cmake/orqcam/orqcamConfig(Version)?\.cmake",
    r"LIB/pkgconfig/orqcam\.pc",
    r"lib/udev/rules\.d/(70-orqcam|71-orqcam-usb-memory)\.rules",
    r"share/bash-completion/completions/orqcam",
    r"share/fish/vendor_completions\.d/orqcam\.fish",
    r"share/zsh/site-functions/_orqcam",
    r"share/man/man1/orqcam\.1",
    r"share/man/man1/orq-(emulate|usbredir)\.1",
    r"share/doc/orqcam/(LICENSE|README\.md|CHANGELOG\.md)",
    r"share/doc/orqcam/docs/([a-z]+/)?[A-Za-z0-9-]+\.(md|png)",
    r"share/doc/orqcam/examples/(CMakeLists\.txt|c/\w+\.c|cpp/\w+\.cpp|python/\w+\.py)",
]
WITH_INDI = [r"bin/indi_orqcam_ccd", r"share/indi/indi_orqcam_ccd\.xml", r"share/man/man1/indi_orqcam_ccd\.1"]
WITH_NETWORK = [r"libexec/orqcam-serve", r"lib/systemd/system/orqcam-serve\.service"]


def run(command, ends=0, **options):
    """Its standard output; ends the test when it does not end as it is to."""
    done = subprocess.run([str(word) for word in command], text=True, capture_output=True, check=False, **options)
    if done.returncode != ends:
        sys.exit(f"{' '.join(map(str, command))} ended with {done.returncode}:\n{done.stdout}{done.stderr}")
    return done.stdout


class Installation:
    def __init__(self, folder, cmake, build, compilers, patterns):
        self.folder, self.cmake, self.compilers, self.patterns = folder, cmake, compilers, patterns
        run([cmake, "--install", build, "--prefix", folder / "installed"])
        # Moved away: nothing may still point to where it was installed.
        self.prefix = (folder / "installed").rename(folder / "moved")
        self.lib = next(self.prefix.glob("**/liborqcam.a")).parent
        self.environment = {name: value for name, value in os.environ.items() if name != "LD_LIBRARY_PATH"}
        self.environment["PKG_CONFIG_PATH"] = str(self.lib / "pkgconfig")
        self.environment["XDG_STATE_HOME"] = self.environment["XDG_CONFIG_HOME"] = str(folder / "home")

    def check_files(self):
        lib = re.escape(str(self.lib.relative_to(self.prefix)))
        patterns = [pattern.replace("LIB", lib) for pattern in self.patterns]
        files = [str(path.relative_to(self.prefix)) for path in self.prefix.rglob("*") if not path.is_dir()]
        strangers = [name for name in files if not any(re.fullmatch(pattern, name) for pattern in patterns)]
        missing = [pattern for pattern in patterns
                   if "orq-" not in pattern and not any(re.fullmatch(pattern, name) for name in files)]
        if strangers or missing:
            sys.exit(f"installed, and nobody knows why: {strangers}\nnot installed: {missing}")
        for folder in ("docs", "examples"):
            ours = {str(path.relative_to(SOURCE)) for path in (SOURCE / folder).rglob("*")
                    if path.is_file() and "__pycache__" not in path.parts and "Doxyfile" not in path.name}
            theirs = {name[len("share/doc/orqcam/"):] for name in files if name.startswith(f"share/doc/orqcam/{folder}/")}
            if ours != theirs:
                sys.exit(f"{folder} differ: {sorted(ours ^ theirs)}")

    def run_example(self, program, **more):
        output = run([program], cwd=self.folder, env=dict(self.environment, **more))
        if "saved first-light.fits" not in output or "1936 x 1096 pixels" not in output:
            sys.exit(f"{program} says:\n{output}")

    def needed(self, program):
        return "liborqcam.so.0" in run(["readelf", "--dynamic", program])

    def pkg_config(self, *words):
        return run(["pkg-config", *words], env=self.environment).split()

    def pkg_config_words(self, static):
        """What a compiler is told. With the static library, what that needs itself is linked as it comes."""
        if not static:
            return self.pkg_config("--cflags", "--libs", "orqcam")
        needed = self.pkg_config("--print-requires-private", "orqcam")
        words = self.pkg_config("--cflags", "--libs", "orqcam", *needed)
        with open(self.lib / "pkgconfig" / "orqcam.pc", encoding="utf-8") as file:
            words += re.search(r"^Libs\.private: (.*)$", file.read(), re.MULTILINE).group(1).split()
        # Beside a shared library of the same name the linker would take that.
        return ["-l:liborqcam.a" if word == "-lorqcam" else word for word in words]

    def check_pkg_config(self, language, static):
        program = self.folder / f"pkg-config-{language}-{static}"
        standard = {"c": "-std=gnu99", "cpp": "-std=c++17"}[language]
        run([self.compilers[language], standard, "-Wall", "-Wextra", "-Werror",
             SOURCE / "examples" / language / f"{EXAMPLE}.{language}", "-o", program,
             *self.pkg_config_words(static)], env=self.environment)
        self.check_program(program, static)

    def check_program(self, program, static):
        if self.needed(program) == static:
            sys.exit(f"{program}: the {'shared' if static else 'static'} library is in it")
        self.run_example(program, **({} if static else {"LD_LIBRARY_PATH": str(self.lib)}))

    def check_cmake(self, library, static):
        build = self.folder / f"cmake-{static}"
        run([self.cmake, "-G", "Ninja", "-S", SOURCE / "examples", "-B", build, f"-DCMAKE_PREFIX_PATH={self.prefix}",
             f"-DCMAKE_C_COMPILER={self.compilers['c']}", f"-DCMAKE_CXX_COMPILER={self.compilers['cpp']}",
             f"-DORQCAM_LIBRARY={library}"], env=self.environment)
        run([self.cmake, "--build", build, "--parallel", "1", "--target", f"example_c_{EXAMPLE}", f"example_cpp_{EXAMPLE}"])
        for language in ("c", "cpp"):
            self.check_program(build / language / EXAMPLE, static)


    def check_documented_commands(self):
        """What the page about the library tells to type, where its source lies and with what has been installed."""
        work = self.folder / "work"
        work.mkdir()
        (work / "examples").symlink_to(SOURCE / "examples")
        environment = dict(self.environment, LD_LIBRARY_PATH=str(self.lib), CMAKE_PREFIX_PATH=str(self.prefix),
                           PYTHONDONTWRITEBYTECODE="1")
        shown = re.findall(r"^```sh\n(.*?)^```", PAGE.read_text(encoding="utf-8"), re.MULTILINE | re.DOTALL)
        commands = [line for line in "".join(shown).splitlines() if not line.startswith("cmake --install ")]
        if len(commands) < 5:
            sys.exit(f"{PAGE} shows too few commands: {commands}")
        for command in commands:
            run(["sh", "-c", command], cwd=work, env=environment)
        headers, statements = re.search(r"^```cpp\n(.*?)\n\n(.*?)^```", PAGE.read_text(encoding="utf-8"),
                                        re.MULTILINE | re.DOTALL).groups()
        (work / "shown.cpp").write_text(f"{headers}\nint main() {{\n{statements}}}\n", encoding="utf-8")
        run([self.compilers["cpp"], "-std=c++17", "shown.cpp", "-o", "shown", *self.pkg_config_words(False)], cwd=work)
        run(["./shown"], cwd=work, env=environment)
        if not (work / "m42.fits").exists():
            sys.exit(f"what {PAGE} shows has saved nothing")


def main():
    cmake, build, c, cxx, *parts = sys.argv[1:]
    indi = "indi" in parts
    with tempfile.TemporaryDirectory(prefix="orqcam-install-") as folder:
        installation = Installation(Path(folder), cmake, build, {"c": c, "cpp": cxx},
                                    INSTALLED + (WITH_INDI if indi else []) + (WITH_NETWORK if "network" in parts else []))
        installation.check_files()
        for static in (False, True):
            for language in ("c", "cpp"):
                installation.check_pkg_config(language, static)
            installation.check_cmake("orqcam::static" if static else "orqcam::orqcam", static)
        installation.check_documented_commands()
        run([installation.prefix / "bin" / "orqcam", "list", "--virtual"], env=installation.environment)
        if "network" in parts:
            # Found by the command, it says what is wrong with this port.
            run([installation.prefix / "bin" / "orqcam", "serve", "--port", "none"], env=installation.environment, ends=2)
        if indi:
            told = run([installation.prefix / "bin" / "indi_orqcam_ccd"], env=installation.environment | {"HOME": folder},
                       input='<getProperties version="1.7"/>', ends=1)
            if "ORQ Camera" not in told:
                sys.exit(f"the INDI driver that was installed says: {told}")


if __name__ == "__main__":
    main()
