"""A virtual machine with a stock kernel, and beside it the virtual cameras that are plugged into it."""

import os
import re
import select
import socket
import subprocess
import time

READY = re.compile(rb"=== ready 0\r?\n")
PORTS_OF_A_CONTROLLER = 15


class Trouble(Exception):
    """Something does not do what a story says, or nothing at all any more."""


class Cameras:
    """The running emulator. Camera N is the N-th word of `words`."""

    def __init__(self, program, folder, words):
        self.words = words
        self._control = os.path.join(folder, "control")
        self._log = open(os.path.join(folder, "cameras.log"), "a", encoding="utf-8")
        self._process = subprocess.Popen([program, ",".join(words), "--socket", os.path.join(folder, "usb"),
                                          "--control", self._control], stdout=subprocess.PIPE, stderr=self._log,
                                         text=True)
        if self._process.stdout.readline() != "ready\n":
            raise Trouble(f"no cameras {words}: see cameras.log")
        self._connection = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self._connection.connect(self._control)
        self._lines = self._connection.makefile("rw")

    def command(self, line):
        self._lines.write(line + "\n")
        self._lines.flush()
        return self._lines.readline().strip()

    def processor_seconds(self):
        with open(f"/proc/{self._process.pid}/stat", encoding="utf-8") as stat:
            fields = stat.read().rsplit(")", 1)[1].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def close(self):
        self._lines.close()
        self._connection.close()
        self._process.terminate()
        self._process.wait(timeout=30)
        self._process.stdout.close()
        self._log.close()


class Machine:
    """The running virtual machine. Commands are run one after the other by its agent."""

    def __init__(self, kernel, image, folder, ports, processors, memory_mb, deadline):
        self.folder = folder
        self.deadline = deadline
        self._next = 0
        self._received = b""
        console = os.path.join(folder, "console.log")
        agent = os.path.join(folder, "agent")
        listener = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        listener.bind(agent)
        listener.listen(1)
        words = ["qemu-system-x86_64", "-nodefaults", "-no-user-config", "-display", "none", "-no-reboot", "-M", "q35",
                 "-accel", "tcg", "-smp", str(processors), "-m", str(memory_mb), "-kernel", str(kernel),
                 "-initrd", str(image), "-append", "console=ttyS0 panic=-1 quiet", "-serial", f"file:{console}",
                 "-chardev", f"socket,id=agent,path={agent}", "-serial", "chardev:agent"]
        for port in range(ports):
            controller, place = divmod(port, PORTS_OF_A_CONTROLLER)
            if place == 0:
                words += ["-device", f"qemu-xhci,id=xhci{controller},p2={PORTS_OF_A_CONTROLLER},"
                                     f"p3={PORTS_OF_A_CONTROLLER}"]
            path = os.path.join(folder, "usb" if port == 0 else f"usb.{port}")
            words += ["-chardev", f"socket,id=cam{port},path={path},reconnect=1",
                      "-device", f"usb-redir,chardev=cam{port},bus=xhci{controller}.0,port={place + 1}"]
        with open(os.path.join(folder, "qemu.log"), "w", encoding="utf-8") as log:  # it grumbles at free places, too
            self._process = subprocess.Popen(words, stdin=subprocess.DEVNULL, stderr=log)
        listener.settimeout(30)
        self._agent, _ = listener.accept()
        listener.close()
        self._read_until(READY, 120)

    def _read_until(self, pattern, seconds):
        """What comes before `pattern`, and its match."""
        end = min(time.monotonic() + seconds, self.deadline)
        while not (found := pattern.search(self._received)):
            ready, _, _ = select.select([self._agent], [], [], max(0, end - time.monotonic()))
            came = self._agent.recv(65536) if ready else b""
            if not came:
                raise Trouble(f"the virtual machine does not answer within {seconds:.0f} s; its console says:\n"
                              + self.console(20))
            self._received += came
        before = self._received[:found.start()]
        self._received = self._received[found.end():]
        return before, found

    def console(self, lines):
        with open(os.path.join(self.folder, "console.log"), encoding="utf-8", errors="replace") as log:
            return "".join(log.readlines()[-lines:])

    def run(self, user, command, limit=60):
        """Output and exit status of a shell command. It is killed after `limit` seconds."""
        self._next += 1
        number = self._next
        line = f"{number} {user} {limit} {command}\n"
        self._agent.sendall(line.encode())
        output, found = self._read_until(re.compile(rb"\n=== %d (\d+)\r?\n" % number), limit + 30)
        return output.decode(errors="replace").replace("\r", ""), int(found[1])

    def start(self, user, name, command):
        """Starts a shell command that runs on; `name` is how to speak of it."""
        inner = f"echo $$ >/run/jobs/{name}.pid; exec {command}"
        quoted = inner.replace("'", "'\\''")
        self.run(user, f"rm -f /run/jobs/{name}.*; (sh -c '{quoted}' >/run/jobs/{name}.out 2>&1; "
                       f"echo $? >/run/jobs/{name}.status) >/dev/null 2>&1 </dev/null &")

    def output(self, name):
        return self.run("root", f"cat /run/jobs/{name}.out")[0]

    def status(self, name):
        """Exit status of a started command, or None while it runs."""
        text, _ = self.run("root", f"cat /run/jobs/{name}.status 2>/dev/null")
        return int(text) if text.strip() else None

    def kill(self, name, signal):
        self.run("root", f"kill -{signal} $(cat /run/jobs/{name}.pid)")

    def processor_seconds(self):
        with open(f"/proc/{self._process.pid}/stat", encoding="utf-8") as stat:
            fields = stat.read().rsplit(")", 1)[1].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def close(self):
        """Ends the virtual machine, by its own means when it still can."""
        try:
            self._agent.sendall(b"\n")
            self._process.wait(timeout=10)
        except (OSError, subprocess.TimeoutExpired):
            self._process.kill()
            self._process.wait()
        self._agent.close()
