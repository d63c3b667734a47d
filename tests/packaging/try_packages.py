#!/usr/bin/env python3
"""Tries the packages in a fresh system: as an astronomer, as a program's author, through an upgrade and to the end.

    try_packages.py SYSTEM PACKAGES

SYSTEM is the folder of a minimal Debian with compilers, which is used up; PACKAGES has the .deb files. Needs root.
"""

import contextlib
import os
import re
import shutil
import socket
import subprocess
import sys
import tempfile
import time
import urllib.request
from pathlib import Path

NAMES = ("liborqcam0", "liborqcam-dev", "orqcam", "orqcam-emulation", "orqcam-server", "indi-orqcam",
         "python3-orqcam")
PURGED = ("liborqcam0", "liborqcam-dev", "orqcam-server")  # the rest leaves nothing when it is removed
USER = "astro"
COVERED = "virtual:k1c,scene=dark,timescale=0,state=k1c.state"
# What the packages' own administration and the user leave behind.
NOT_OURS = re.compile(r"/(var/(lib/(dpkg|apt|systemd)|cache|log)|home|packages|tmp|dev|run|etc/ld\.so\.cache$|root)")


class Trouble(Exception):
    pass


class System:
    def __init__(self, folder):
        self.folder = folder
        (folder / "packages").mkdir()
        for name in ("resolv.conf", "hosts"):
            shutil.copy(f"/etc/{name}", folder / "etc" / name)
        self.run("useradd", "--create-home", "--groups", "plugdev", USER)

    def command(self, words, user, cwd):
        """What starts a command in it, as a user with no more than a login has."""
        home = "/root" if user == "root" else f"/home/{user}"
        inner = f'cd "{cwd or home}" && exec "$@"'
        who = [] if user == "root" else [f"--userspec={user}:{user}", "--groups=plugdev"]
        proxies = [f"{name}={value}" for name, value in os.environ.items() if name.lower() in ("http_proxy", "https_proxy")]
        return ["env", "-i", "PATH=/usr/sbin:/usr/bin:/sbin:/bin", f"HOME={home}", "LANG=C.UTF-8",
                "DEBIAN_FRONTEND=noninteractive", *proxies, "chroot", *who, self.folder, "sh", "-c", inner, "sh", *words]

    def run(self, *words, user="root", status=0, cwd=None):
        """Output of a command in it; `status` is what it is to end with."""
        done = subprocess.run(self.command(words, user, cwd), text=True, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT)
        if done.returncode != status:
            raise Trouble(f"{' '.join(words)} ends with {done.returncode}:\n{done.stdout[-3000:]}")
        return done.stdout

    @contextlib.contextmanager
    def running(self, *words, user):
        """A command that runs meanwhile; yields where what it prints can be read."""
        with tempfile.NamedTemporaryFile("w+", encoding="utf-8") as said:
            started = subprocess.Popen(self.command(words, user, None), stdin=subprocess.DEVNULL, stdout=said, stderr=said)
            try:
                yield Path(said.name)
            finally:
                started.terminate()
                started.wait(30)

    def apt(self, *words):
        return self.run("apt-get", "-y", "-qq", "--no-install-recommends", *words)

    def files(self):
        """Every path that is not of the packages' administration, with what a link or a file is."""
        found = {}
        for folder, folders, names in os.walk(self.folder):
            for name in folders + names:
                path = Path(folder) / name
                inside = "/" + str(path.relative_to(self.folder))
                if not NOT_OURS.match(inside):
                    found[inside] = os.readlink(path) if path.is_symlink() else path.lstat().st_size if path.is_file() else 0
        return found


def demand(condition, text):
    if not condition:
        raise Trouble(text)


def package(folder, name):
    found = list(folder.glob(f"{name}_*_{subprocess.check_output(['dpkg', '--print-architecture'], text=True).strip()}.deb"))
    demand(len(found) == 1, f"{len(found)} packages {name} in {folder}")
    return found[0]


def older(deb, target):
    """The same package under a version that comes before its own."""
    with tempfile.TemporaryDirectory() as work:
        subprocess.run(["dpkg-deb", "--raw-extract", deb, work + "/x"], check=True)
        control = Path(work, "x", "DEBIAN", "control")
        text = control.read_text(encoding="utf-8")
        version = re.search(r"^Version: (\S+)$", text, re.M)[1]
        control.write_text(re.sub(rf"(^Version: |\(>?= ){re.escape(version)}(?=$|\))", rf"\g<1>{version}~before", text,
                                  flags=re.M), encoding="utf-8")
        subprocess.run(["dpkg-deb", "--root-owner-group", "-Znone", "--build", work + "/x", target],
                       check=True, stdout=subprocess.DEVNULL)
    return version


def fits_header(path):
    cards = path.read_bytes()[:28800].decode("latin-1")
    return {cards[at:at + 8].strip(): cards[at + 10:at + 80].split(" /")[0].strip(" '") for at in range(0, len(cards), 80)}


class Trial:
    def __init__(self, system, packages):
        self.system, self.home = system, system.folder / "home" / USER
        self.before = system.files()
        self.new, self.old = [], []
        for name in NAMES:
            deb = package(packages, name)
            shutil.copy(deb, system.folder / "packages" / deb.name)
            self.new.append(f"/packages/{deb.name}")
            before = deb.name.replace("_", "-before_", 1)
            self.version = older(deb, system.folder / "packages" / before)
            self.old.append(f"/packages/{before}")

    def orqcam(self, *words, status=0):
        return self.system.run("orqcam", *words, user=USER, status=status)

    def an_astronomer_installs_the_tool(self):
        """Only the package of the tool, before there is any other."""
        self.system.apt("install", self.old[NAMES.index("orqcam")])
        out = self.orqcam("-c", "virtual:k1c", "capture", "-e", "10ms", "-o", "first.fits")
        header = fits_header(self.home / "first.fits")
        demand((header["NAXIS1"], header["NAXIS2"]) == ("1936", "1096"), f"a wrong frame: {out}{header}")
        for path in ("lib/udev/rules.d/70-orqcam.rules", "lib/udev/rules.d/71-orqcam-usb-memory.rules",
                     "share/man/man1/orqcam.1.gz", "share/bash-completion/completions/orqcam",
                     "share/zsh/vendor-completions/_orqcam", "share/fish/vendor_completions.d/orqcam.fish",
                     "share/doc/orqcam/html/index.html"):
            demand((self.system.folder / "usr" / path).exists(), f"no /usr/{path}")

    def an_upgrade_keeps_settings_and_darks(self):
        self.system.apt("install", *self.old)
        demand(f"{self.version}~before" in self.system.run("dpkg-query", "-W", "orqcam"), "not the older version")
        self.orqcam("-c", COVERED, "set", "Gain=77")
        self.orqcam("profile", "set", "filter=Ha")
        self.orqcam("-c", COVERED, "dark", "take", "-e", "20ms", "-n", "2")
        kept = self.state_of_the_user()
        self.system.apt("install", *self.new)
        demand(self.system.run("dpkg-query", "-W", "-f", "${Version}", "orqcam") == self.version, "not upgraded")
        demand(kept == self.state_of_the_user(), "the upgrade has changed what is the user's")
        demand(re.search(r"^Gain\s.*\b77\b", self.orqcam("-c", COVERED, "get", "Gain"), re.M), "the gain is forgotten")
        self.orqcam("-c", COVERED, "capture", "-e", "20ms", "-o", "after.fits")
        header = fits_header(self.home / "after.fits")
        demand(header.get("GAIN") == "77" and header.get("FILTER") == "Ha" and "DARKFILE" in header,
               f"the frame after the upgrade lacks gain, filter or dark: {header}")

    def state_of_the_user(self):
        return {str(path): path.read_bytes() for folder in (".config", ".local")
                for path in sorted((self.home / folder).rglob("*")) if path.is_file() and path.suffix != ".log"}

    def the_emulating_programs_start(self):
        """No more: without mounted file systems there are no pseudo terminals for a bus."""
        for words in (["orq-emulate", "k9", "--", "true"], ["orq-usbredir", "k9", "--socket", "usb"]):
            out = self.system.run(*words, user=USER, status=2)
            demand("k1c" in out, f"{words[0]} does not say which models there are: {out}")

    def the_pages_lead_nowhere_else(self):
        pages = list((self.system.folder / "usr/share/doc/orqcam/html").glob("*.html"))
        demand(len(pages) > 15, f"only {len(pages)} pages")
        for page in pages:
            for link in re.findall(r'(?:href|src)="([^"]+)"', page.read_text(encoding="utf-8")):
                path, _, anchor = link.partition("#")
                if re.match(r"\w+:", link):
                    continue
                target = self.system.folder / path[1:] if path.startswith("/") else page.parent / path if path else page
                demand(target.exists(), f"{page.name} leads to {link}, which is not there")
                demand(not anchor or f'id="{anchor}"' in target.read_text(encoding="utf-8"), f"{page.name}: no {link}")

    def a_program_is_built_with_the_packages(self):
        examples = "/usr/share/doc/liborqcam-dev/examples"
        jobs = str(os.cpu_count() or 2)
        self.system.run("cmake", "-S", examples, "-B", "built", user=USER)
        self.system.run("cmake", "--build", "built", "--parallel", jobs, user=USER)
        self.system.run("sh", "-c", f"""set -e
          for source in {examples}/c/*.c; do
            cc -Wall -Werror $source -o c-$(basename $source .c) $(pkg-config --cflags --libs orqcam) -pthread
          done
          c++ -std=c++17 -Wall -Werror {examples}/cpp/first_light.cpp -o cpp-first_light $(pkg-config --cflags --libs orqcam)
          c++ -std=c++17 {examples}/cpp/first_light.cpp -o static-first_light -l:liborqcam.a \
            $(pkg-config --cflags --libs $(pkg-config --print-requires-private orqcam)) -lsep -pthread""", user=USER)
        programs = sorted(f"built/{language}/{path.name}" for language in ("c", "cpp")
                          for path in (self.home / "built" / language).iterdir() if os.access(path, os.X_OK) and path.is_file())
        demand(len(programs) >= 10, f"only {programs} were built")
        for program in programs:
            self.system.run("./" + program, user=USER)
        commands = ["./c-first_light", "./cpp-first_light", "./static-first_light",
                    f"python3 -B {examples}/python/first_light.py"]
        for command in commands:
            (self.home / "first-light.fits").unlink(missing_ok=True)
            out = self.system.run(*command.split(), user=USER)
            demand((self.home / "first-light.fits").exists() and "1936 x 1096 pixels" in out, f"{command} says:\n{out}")
        self.system.run("python3", "-B", f"{examples}/python/video.py", user=USER)

    def python_gets_frames(self):
        out = self.system.run("python3", "-c", """
import orqcam
with orqcam.open("virtual:k1c,timescale=0.01") as camera:
    camera.gain = 40
    frame = camera.expose(0.5)
    print(orqcam.__version__, frame.array.shape, frame.array.mean() > 0, camera.gain)
    frame.save("python.fits")
""", user=USER)
        demand(out.strip() == f"{self.version} (1096, 1936) True 40", f"Python says: {out}")
        header = fits_header(self.home / "python.fits")
        demand(header.get("GAIN") == "40" and header.get("NAXIS1") == "1936", f"a wrong file: {header}")

    def the_server_answers(self):
        unit = self.system.folder / "usr/lib/systemd/system/orqcam-serve.service"
        demand("ExecStart=/usr/bin/orqcam serve " in unit.read_text(encoding="utf-8"), "the service runs something else")
        with socket.socket() as free:
            free.bind(("127.0.0.1", 0))
            port = free.getsockname()[1]
        with self.system.running("orqcam", "serve", "-c", "virtual:k1c", "--port", str(port), "--no-discovery", user=USER) as said:
            self.eventually(lambda: self.served(f"http://127.0.0.1:{port}/management/v1/configureddevices"), "Tavix ORQ-K1C", said)

    @staticmethod
    def served(address):
        """What the server answers, who may not be there yet."""
        try:
            with urllib.request.urlopen(address, timeout=10) as answer:
                return answer.read().decode()
        except OSError as early:
            return str(early)

    def indi_clients_find_the_driver(self):
        description = self.system.folder / "usr/share/indi/indi_orqcam_ccd.xml"
        demand(">indi_orqcam_ccd<" in description.read_text(encoding="utf-8"), "clients are not told of the driver")
        with socket.socket() as free:
            free.bind(("127.0.0.1", 0))
            port = str(free.getsockname()[1])
        ask = ("indi_getprop", "-p", port, "-t", "2", "ORQ Camera.CCD_INFO.CCD_MAX_X")
        with self.system.running("indiserver", "-p", port, "indi_orqcam_ccd", user=USER) as said:
            self.eventually(lambda: self.indi("indi_getprop", "-p", port, "-t", "2", "ORQ Camera.DRIVER_INFO.DRIVER_EXEC"),
                            "indi_orqcam_ccd", said)
            for wanted in ("SIMULATION.ENABLE=On;DISABLE=Off", "CONNECTION.CONNECT=On"):
                self.system.run("indi_setprop", "-p", port, "-s", f"ORQ Camera.{wanted}", user=USER)
            self.eventually(lambda: self.indi(*ask), "CCD_MAX_X=1936", said)

    def indi(self, *words):
        """What a client says, who may be too early."""
        try:
            return self.system.run(*words, user=USER)
        except Trouble as early:
            return str(early)

    def eventually(self, ask, wanted, said):
        end = time.monotonic() + 60
        while wanted not in (answer := ask()):
            demand(time.monotonic() < end, f"no {wanted} but {answer}; the server says:\n{said.read_text(encoding='utf-8')}")
            time.sleep(0.2)

    def nothing_is_left_but_the_users_files(self):
        kept = self.state_of_the_user()
        self.system.apt("remove", *(name for name in NAMES if name not in PURGED))
        self.system.apt("purge", *PURGED)
        self.system.apt("autoremove", "--purge")
        known = self.system.run("dpkg-query", "--show", "--showformat=${Package} ${db:Status-Abbrev}\n")
        demand("orqcam" not in known, f"the system still knows of the packages:\n{known}")
        after = self.system.files()
        left = sorted(path for path in after if path not in self.before)
        gone = sorted(path for path in self.before if path not in after)
        changed = sorted(path for path in after if path in self.before and after[path] != self.before[path])
        demand(not (left or gone or changed), f"left: {left}\ngone: {gone}\nchanged: {changed}")
        demand(kept and kept == self.state_of_the_user(), "the user's files have not been left alone")


def main():
    trial = Trial(System(Path(sys.argv[1]).resolve()), Path(sys.argv[2]))
    for step in (trial.an_astronomer_installs_the_tool, trial.an_upgrade_keeps_settings_and_darks,
                 trial.the_emulating_programs_start, trial.the_pages_lead_nowhere_else,
                 trial.a_program_is_built_with_the_packages, trial.python_gets_frames, trial.the_server_answers,
                 trial.indi_clients_find_the_driver, trial.nothing_is_left_but_the_users_files):
        began = time.monotonic()
        name = step.__name__.replace("_", " ")
        try:
            step()
        except Trouble as trouble:
            sys.exit(f"FAIL  {name}: {trouble}")
        print(f"ok    {name} ({time.monotonic() - began:.1f} s)", flush=True)


if __name__ == "__main__":
    main()
