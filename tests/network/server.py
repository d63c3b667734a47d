"""A server of its own for each test, and words with it over bare HTTP."""

import http.client
import os
import signal
import subprocess
import tempfile
import time

ORQCAM = os.environ["ORQCAM"]
PATIENCE = 60  # seconds that only a hanging server takes


class Connecting:
    """Words with whoever listens there."""

    def __init__(self, host, port):
        self.host = host
        self.port = port

    def connection(self):
        return http.client.HTTPConnection(self.host, self.port, timeout=PATIENCE)

    def ask(self, path, method="GET", body=None, **headers):
        """Status, headers, body of one request on a connection of its own."""
        connection = self.connection()
        try:
            connection.request(method, path, body, {name.replace("_", "-"): value for name, value in headers.items()})
            answer = connection.getresponse()
            return answer.status, answer.headers, answer.read()
        finally:
            connection.close()


class Server(Connecting):
    """`orqcam serve` with these options on a port that was free; its end is part of the test."""

    def __init__(self, *options, cameras=("virtual:k1c,timescale=0.01",), host="127.0.0.1", discovery=False):
        self.folder = tempfile.TemporaryDirectory(prefix="orqcam-serve-")
        environment = dict(os.environ, HOME=self.folder.name, XDG_CONFIG_HOME=self.folder.name, XDG_STATE_HOME=self.folder.name)
        named = [word for camera in cameras for word in ("--camera", camera)]
        self.said = open(os.path.join(self.folder.name, "said"), "w+", encoding="utf-8")
        if not discovery:
            options += ("--no-discovery",)  # its port is one for the whole computer
        self.began = time.monotonic()
        self.process = subprocess.Popen([ORQCAM, "serve", "--port", "0", *named, *options], stdout=subprocess.PIPE,
                                        stderr=self.said, text=True, env=environment, cwd=self.folder.name)
        line = self.process.stdout.readline()  # its pipe is closed when it ends without one
        if "http://" not in line:
            self.process.wait(PATIENCE)
            raise AssertionError(f"no start line but {line!r}; it says: {self.words()}")
        self.address = line.split()[-1]
        super().__init__(host, int(self.address.split("://")[1].split("/")[0].rsplit(":", 1)[1]))

    def __enter__(self):
        return self

    def __exit__(self, kind, value, trace):
        self.end()

    def words(self):
        self.said.seek(0)
        return self.said.read()

    def end(self, how=signal.SIGTERM):
        """Seconds that it took; a server that was told to end ends well."""
        began = time.monotonic()
        if self.process.poll() is None:
            self.process.send_signal(how)
        code = self.process.wait(PATIENCE)
        took = time.monotonic() - began
        self.process.stdout.close()
        words = self.words()
        self.said.close()
        self.folder.cleanup()
        assert code == 0, f"the server ended with {code}; it says: {words}"
        return took

    def memory_kb(self):
        with open(f"/proc/{self.process.pid}/status", encoding="ascii") as status:
            return int(next(line for line in status if line.startswith("VmRSS")).split()[1])

    def processor_seconds(self):
        """That it has used so far; all of its threads."""
        with open(f"/proc/{self.process.pid}/stat", encoding="ascii") as stat:
            user, system = stat.read().rsplit(")", 1)[1].split()[11:13]
        return (int(user) + int(system)) / os.sysconf("SC_CLK_TCK")
