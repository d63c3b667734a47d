"""A small INDI client, and servers to try it with."""

import base64
import os
import socket
import subprocess
import tempfile
import threading
import time
import xml.etree.ElementTree as ET

PATIENCE = 60  # seconds: longer than anything takes on a busy machine


class Timeout(Exception):
    pass


class Property:
    """What the driver said last of a property."""

    def __init__(self, kind, element):
        self.kind = kind  # "Number", "Switch", "Text", "Light", "BLOB"
        self.permission = element.get("perm", "")
        self.rule = element.get("rule", "")
        self.state = element.get("state")
        self.values, self.limits = {}, {}
        for one in element:
            text = (one.text or "").strip()
            self.values[one.get("name")] = float(text) if kind == "Number" else text
            if kind == "Number":
                self.limits[one.get("name")] = (float(one.get("min")), float(one.get("max")))

    def __getitem__(self, name):
        return self.values[name]


class Client:
    """One connection to a server. Everything that comes is kept; `wait` waits for what it should become."""

    def __init__(self, where, blobs="Also"):
        """`where`: the server's port, or the path of its socket, by which answers come faster, but no BLOBs that this
        client understands."""
        if isinstance(where, str):
            self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
            self.socket.connect("\0" + where)
            blobs = None
        else:
            self.socket = socket.create_connection(("127.0.0.1", where), timeout=PATIENCE)
            self.socket.settimeout(None)
            self.socket.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)  # each request at once
        self.properties, self.blobs, self.messages = {}, [], []
        self.gone = False
        self.blob_mode, self.enabled = blobs, set()
        self.changed = threading.Condition()
        self.reader = threading.Thread(target=self._read, daemon=True)
        self.reader.start()
        self.send('<getProperties version="1.7"/>')

    def close(self):
        try:
            self.socket.shutdown(socket.SHUT_RDWR)
        except OSError:
            pass
        self.reader.join(PATIENCE)
        self.socket.close()

    def send(self, text):
        self.socket.sendall(text.encode())

    def _read(self):
        parser = ET.XMLPullParser(["start", "end"])
        parser.feed(b"<indi>")
        depth, root = 0, None
        try:
            while True:
                data = self.socket.recv(1 << 20)
                if not data:
                    break
                parser.feed(data)
                for event, element in parser.read_events():
                    if event == "start":
                        root = root if root is not None else element
                        depth += 1
                        continue
                    depth -= 1
                    if depth == 1:
                        self._take(element)
                        root.clear()
        except OSError:
            pass
        with self.changed:
            self.gone = True
            self.changed.notify_all()

    def _take(self, element):
        device, name, tag = element.get("device"), element.get("name"), element.tag
        with self.changed:
            if element.get("message"):
                self.messages.append((device, element.get("message")))
            if tag.startswith("def"):
                self.properties[device, name] = Property(tag[3:-6], element)
                if tag == "defBLOBVector" and device not in self.enabled and self.blob_mode:
                    self.enabled.add(device)
                    self.send(f'<enableBLOB device="{device}">{self.blob_mode}</enableBLOB>')
            elif tag == "setBLOBVector":
                for one in element:
                    self.blobs.append((device, one.get("format"), base64.b64decode(one.text or "")))
            elif tag.startswith("set"):
                known = self.properties.get((device, name))
                if known is not None:
                    known.state = element.get("state") or known.state
                    for one in element:
                        text = (one.text or "").strip()
                        known.values[one.get("name")] = float(text) if known.kind == "Number" else text
                        if known.kind == "Number" and one.get("min") is not None:
                            known.limits[one.get("name")] = (float(one.get("min")), float(one.get("max")))
            elif tag == "delProperty":
                for key in [key for key in self.properties if key[0] == device and name in (None, key[1])]:
                    del self.properties[key]
            self.changed.notify_all()

    def wait(self, what, condition, seconds=PATIENCE):
        """Waits until `condition()`, and returns what that answers."""
        end = time.monotonic() + seconds
        with self.changed:
            while True:
                found = condition()
                if found:
                    return found
                left = end - time.monotonic()
                if left <= 0 or self.gone:
                    last = "; ".join(text for _, text in self.messages[-5:])
                    raise Timeout(f"{what}: did not come{' (the server is gone)' if self.gone else ''}; said last: {last}")
                self.changed.wait(left)


class Device:
    """One device of a client."""

    def __init__(self, client, name):
        self.client, self.name = client, name

    def __call__(self, name):
        """A property that is there, or None."""
        return self.client.properties.get((self.name, name))

    def wait(self, name, condition=lambda _: True, seconds=PATIENCE):
        """Waits until a property is there and `condition(property)`; returns it."""

        def fits():
            found = self(name)
            return found if found is not None and condition(found) else None

        return self.client.wait(f"{self.name}.{name}", fits, seconds)

    def _set(self, kind, name, values):
        inner = "".join(f'<one{kind} name="{key}">{value}</one{kind}>' for key, value in values.items())
        self.client.send(f'<new{kind}Vector device="{self.name}" name="{name}">{inner}</new{kind}Vector>')

    def number(self, name, **values):
        self._set("Number", name, values)

    def text(self, name, **values):
        self._set("Text", name, values)

    def switch(self, name, chosen, state="On"):
        """One element on, and by the rule of the property the others off."""
        known = self.wait(name)
        values = {} if known.rule == "AnyOfMany" else {key: "Off" for key in known.values}
        values[chosen] = state
        self._set("Switch", name, values)

    def settle(self, name, seconds=PATIENCE):
        """Waits until a property is not busy; returns it."""
        return self.wait(name, lambda p: p.state != "Busy", seconds)

    def answered(self, send, name, seconds=PATIENCE):
        """Sends, and waits for the next word about `name`; returns the property."""
        before = self.wait(name)
        token = object()
        before.state = token
        send()
        return self.wait(name, lambda p: p.state is not token, seconds)

    def done(self, send, name, seconds=PATIENCE):
        """Sends, and waits until the property says how it went; returns it."""
        before = self.wait(name)
        before.state = "Sent"
        send()
        return self.wait(name, lambda p: p.state in ("Ok", "Alert"), seconds)

    def set_number(self, name, **values):
        return self.done(lambda: self.number(name, **values), name)

    def set_switch(self, name, chosen, state="On"):
        return self.done(lambda: self.switch(name, chosen, state), name)

    def connect(self, seconds=PATIENCE):
        self.wait("CONNECTION")
        self.switch("CONNECTION", "CONNECT")
        self.wait("CONNECTION", lambda p: p["CONNECT"] == "On" and p.state != "Busy", seconds)
        return self.wait("CCD_EXPOSURE", seconds=seconds)

    def disconnect(self, seconds=PATIENCE):
        self.switch("CONNECTION", "DISCONNECT")
        self.wait("CONNECTION", lambda p: p["DISCONNECT"] == "On", seconds)

    def simulate(self, virtual):
        """Connects to a virtual camera."""
        self.wait("ORQ_VIRTUAL")
        self.answered(lambda: self.text("ORQ_VIRTUAL", NAME=virtual), "ORQ_VIRTUAL")
        self.set_switch("SIMULATION", "ENABLE")
        self.connect()

    def blobs(self):
        return [blob for blob in self.client.blobs if blob[0] == self.name]

    def expose(self, seconds, patience=PATIENCE):
        """Takes one exposure; returns format and bytes of its picture."""
        before = len(self.blobs())
        self.number("CCD_EXPOSURE", CCD_EXPOSURE_VALUE=seconds)
        self.client.wait("picture", lambda: len(self.blobs()) > before, patience)
        return self.blobs()[before][1:]


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Server:
    """An indiserver of one's own in a folder of its own, over `words` before it (an emulated bus, say)."""

    def __init__(self, *drivers, before=(), options=(), home=None):
        self.folder = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        self.home = home or self.folder.name
        self.socket = os.path.join(self.folder.name, "indi.sock")
        self.log_path = os.path.join(self.folder.name, "server.log")
        self.drivers, self.before, self.options = drivers, list(before), list(options)
        self.process = None
        self.start()

    def start(self):
        for _ in range(5):  # another program may take the port between the look and the start
            self.port = free_port()
            with open(self.log_path, "a", encoding="utf-8") as log:
                self.process = subprocess.Popen(
                    [*self.before, "indiserver", "-v", "-p", str(self.port), "-u", self.socket, *self.options, *self.drivers],
                    stdin=subprocess.DEVNULL, stdout=log, stderr=log, cwd=self.folder.name,
                    env={**os.environ, "HOME": self.home, "XDG_STATE_HOME": self.home, "XDG_CONFIG_HOME": self.home})
            end = time.monotonic() + PATIENCE
            while time.monotonic() < end and self.process.poll() is None:
                try:
                    socket.create_connection(("127.0.0.1", self.port), timeout=1).close()
                    return
                except OSError:
                    time.sleep(0.05)
            self.process.kill()
            self.process.wait()
        raise RuntimeError("indiserver does not start: " + self.log()[-2000:])

    def log(self):
        with open(self.log_path, encoding="utf-8", errors="replace") as log:
            return log.read()

    def pids(self, program):
        """The processes called `program` below this server."""
        found, todo = [], [self.process.pid]
        while todo:
            pid = todo.pop()
            try:
                with open(f"/proc/{pid}/task/{pid}/children", encoding="ascii") as children:
                    todo += [int(child) for child in children.read().split()]
                with open(f"/proc/{pid}/comm", encoding="ascii") as comm:
                    if comm.read().strip() == program[:15]:
                        found.append(pid)
            except OSError:
                continue
        return found

    def stop(self):
        if self.process is None:
            return
        self.process.terminate()
        try:
            self.process.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
        self.process = None

    def close(self):
        self.stop()
        self.folder.cleanup()
