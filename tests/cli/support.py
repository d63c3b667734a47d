"""What the tests of the command line share."""

import fcntl
import importlib.util
import json
import os
import pty
import select
import shutil
import signal
import subprocess
import tempfile
import termios
import threading
import time
import unittest

ORQCAM = os.environ["ORQCAM"]
REALDATA = os.environ.get("ORQ_REALDATA_DIR", "")
K1C = "virtual:k1c,timescale=0"
X26M = "virtual:x26m,timescale=0"
TIMEOUT = 100
ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))


def models():
    """The table "Which is which" of docs/models.md, in its order: cells by the head of their column, of each key."""
    with open(os.path.join(ROOT, "docs", "models.md"), encoding="utf-8") as page:
        table = page.read().split("## Which is which\n\n")[1].split("\n\n")[0]
    head, _, *rows = ([cell.strip() for cell in line.strip("|").split("|")] for line in table.splitlines())
    return {cells[0].strip("`"): dict(zip(head, cells)) for cells in rows}



class Lazily:
    """A module that is imported when it is first used: every test is a process, and most need neither of these."""

    def __init__(self, name):
        self._name = name

    def __getattr__(self, attribute):
        return getattr(importlib.import_module(self._name), attribute)


fits = Lazily("astropy.io.fits")
Image = Lazily("PIL.Image")

needs_astropy = unittest.skipUnless(importlib.util.find_spec("astropy"), "astropy is not installed")
needs_pillow = unittest.skipUnless(importlib.util.find_spec("PIL"), "Pillow is not installed")


def realdata(name):
    """Path of a real frame; skips the test where it is absent."""
    path = os.path.join(REALDATA, name)
    if not os.path.exists(path):
        raise unittest.SkipTest(f"no real data: {path}")
    return path


class CliTest(unittest.TestCase):
    """A directory of its own for each test, and ways to run the tool in it."""

    def setUp(self):
        self.directory = tempfile.mkdtemp(prefix="orqcam-test-")
        self.addCleanup(shutil.rmtree, self.directory, True)
        self.work = os.path.join(self.directory, "work")
        os.mkdir(self.work)
        self.environment = dict(os.environ, XDG_STATE_HOME=os.path.join(self.directory, "state"),
                                XDG_CONFIG_HOME=os.path.join(self.directory, "config"), TERM="xterm")

    def run_tool(self, *arguments, **options):
        """Runs to the end; a CompletedProcess with text in stdout and stderr."""
        options.setdefault("stdout", subprocess.PIPE)
        options.setdefault("stderr", subprocess.PIPE)
        return subprocess.run([ORQCAM, *arguments], cwd=self.work, env=self.environment, text=True,
                              timeout=TIMEOUT, stdin=subprocess.DEVNULL, **options)

    def start_tool(self, *arguments, **options):
        """Starts it; killed at the end of the test if it still runs."""
        options.setdefault("stdout", subprocess.PIPE)
        options.setdefault("stderr", subprocess.PIPE)
        process = subprocess.Popen([ORQCAM, *arguments], cwd=self.work, env=self.environment, text=True,
                                   stdin=subprocess.DEVNULL, **options)

        def clean_up():
            if process.poll() is None:
                process.kill()
            process.communicate()

        self.addCleanup(clean_up)
        return process

    def on_terminal(self, *arguments, stream):
        """Runs with `stream` ("stdout" or "stderr") on a terminal; (exit status, what the terminal got)."""
        master, slave = pty.openpty()
        process = self.start_tool(*arguments, **{stream: slave})
        os.close(slave)
        seen = b""
        while True:
            try:
                block = os.read(master, 4096)
            except OSError:
                break
            if not block:
                break
            seen += block
        os.close(master)
        return process.wait(), seen.decode()

    def at_terminal(self, answer, *arguments):
        """Runs with a terminal as standard input and error, types `answer` at the question.

        (exit status, standard output, what the terminal showed)."""
        ours, theirs = pty.openpty()

        def take_terminal():  # so that its keys send signals
            os.setsid()
            fcntl.ioctl(0, termios.TIOCSCTTY, 0)

        process = subprocess.Popen([ORQCAM, *arguments], cwd=self.work, env=self.environment,
                                   stdin=theirs, stderr=theirs, stdout=subprocess.PIPE, text=True,
                                   preexec_fn=take_terminal)
        os.close(theirs)
        shown = b""
        asked = False
        deadline = time.monotonic() + TIMEOUT
        while time.monotonic() < deadline:
            if not select.select([ours], [], [], 1)[0]:
                continue
            try:
                part = os.read(ours, 4096)
            except OSError:  # the other side is closed
                break
            if not part:
                break
            shown += part
            if not asked and b"[y/N]" in shown:
                asked = True
                os.write(ours, answer)
        else:
            process.kill()
        out = process.stdout.read()
        process.stdout.close()
        process.wait(timeout=TIMEOUT)
        os.close(ours)
        return process.returncode, out, shown.decode()

    def succeed(self, *arguments, **options):
        """Runs, demands exit status 0 and returns (stdout, stderr)."""
        done = self.run_tool(*arguments, **options)
        self.assertEqual(done.returncode, 0, f"{arguments}: {done.stderr}")
        return done.stdout, done.stderr

    def fail_with(self, code, *arguments, **options):
        """Runs, demands this exit status and exactly one line on stderr, which is returned."""
        done = self.run_tool(*arguments, **options)
        self.assertEqual(done.returncode, code, f"{arguments}: {done.stdout} {done.stderr}")
        self.assertEqual(done.stderr.count("\n"), 1, done.stderr)
        self.assertTrue(done.stderr.startswith("orqcam: "), done.stderr)
        return done.stderr

    def json(self, *arguments):
        """The one JSON document that a command prints."""
        return json.loads(self.succeed(*arguments, "--json")[0])

    def json_lines(self, text):
        return [json.loads(line) for line in text.splitlines()]

    def values(self, text):
        """`key = value` lines as a dictionary."""
        return dict(line.split(" = ", 1) for line in text.splitlines())

    def path(self, name):
        return os.path.join(self.work, name)

    def files(self):
        """All names in the working directory, hidden ones included."""
        return sorted(os.listdir(self.work))

    def interrupt(self, process, number=signal.SIGINT):
        """Signals and waits for the end; (exit status, rest of stdout, rest of stderr)."""
        process.send_signal(number)
        # Read through the streams themselves: communicate() would miss lines that a loop over one has already
        # buffered.
        rest = {}

        def drain(name):
            rest[name] = getattr(process, name).read()

        readers = [threading.Thread(target=drain, args=(name,)) for name in ("stdout", "stderr")]
        for reader in readers:
            reader.start()
        process.wait(timeout=TIMEOUT)
        for reader in readers:
            reader.join()
        return process.returncode, rest["stdout"], rest["stderr"]

    def open_fits(self, name):
        """(header, data) read by astropy with every warning an error, and verified."""
        import warnings
        with warnings.catch_warnings():
            warnings.simplefilter("error")
            with fits.open(self.path(name), memmap=False) as hdus:
                hdus.verify("exception")
                self.assertEqual(len(hdus), 1)
                return hdus[0].header.copy(), hdus[0].data.copy()
