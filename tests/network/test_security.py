"""What the server refuses, and what it survives."""

import http.client
import json
import os
import signal
import socket
import struct
import subprocess
import tempfile
import threading
import time
import unittest

from alpaca import Client
from server import ORQCAM, PATIENCE, Server

STATE = "/api/v1/state"
IPV6_GROUP = "ff12::a1:9aca"  # that clients ask for servers


def own_address():
    """An address of this computer that is not its loopback; nothing where it has none."""
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as probe:
        try:
            probe.connect(("192.0.2.1", 9))  # sends nothing
        except OSError:
            return None
        address = probe.getsockname()[0]
    return None if address.startswith("127.") else address


def place_of_ipv6_groups():
    """An interface that brings this computer what it sends to a group itself, and its address; nothing where there is none."""
    if not os.path.exists("/proc/net/if_inet6"):
        return None
    with open("/proc/net/if_inet6", encoding="ascii") as table:
        entries = [line.split() for line in table]
    for digits, index, _, scope, _, name in entries:
        if scope != "00" or name == "lo":
            continue
        address, interface = socket.inet_ntop(socket.AF_INET6, bytes.fromhex(digits)), int(index, 16)
        with socket.socket(socket.AF_INET6, socket.SOCK_DGRAM) as probe:
            try:
                probe.bind((address, 0))
                with socket.socket(socket.AF_INET6, socket.SOCK_DGRAM) as heard:
                    heard.bind(("::", 0))
                    heard.settimeout(2)
                    heard.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_JOIN_GROUP,
                                     socket.inet_pton(socket.AF_INET6, IPV6_GROUP) + struct.pack("@I", interface))
                    probe.sendto(b"?", (IPV6_GROUP, heard.getsockname()[1], 0, interface))
                    heard.recv(10)
            except OSError:
                continue
        return interface, address
    return None


def error_of(body):
    return json.loads(body)["error"]["name"]


def asked(question, where=("127.0.0.1", 32227), patience=2.0):
    """The answer to a datagram; nothing where none comes."""
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as client:
        client.settimeout(patience)
        client.setsockopt(socket.SOL_SOCKET, socket.SO_BROADCAST, 1)
        client.sendto(question, where)
        try:
            return client.recv(200)
        except (TimeoutError, ConnectionRefusedError):
            return None


class Tests(unittest.TestCase):
    def raw(self, server, words, host=None):
        """What comes back for these bytes, to the end of the connection."""
        with socket.create_connection((host or server.host, server.port), PATIENCE) as connection:
            connection.sendall(words)
            connection.settimeout(PATIENCE)
            answer = b""
            try:
                while piece := connection.recv(65536):
                    answer += piece
            except ConnectionResetError:
                pass
            return answer

    def test_it_listens_on_loopback_and_says_where(self):
        with Server() as server:
            self.assertTrue(server.address.startswith("http://127.0.0.1:"))
            address = own_address()
            if address:
                with self.assertRaises(ConnectionRefusedError):
                    socket.create_connection((address, server.port), 5)
            status, headers, body = server.ask(STATE)
            self.assertEqual((status, headers["X-Content-Type-Options"]), (200, "nosniff"))
            self.assertEqual(json.loads(body)["cameras"][0]["presence"], "open")

    def test_only_its_own_names_are_answered(self):
        with Server("--host", "pi.local") as server:
            port = server.port
            for name, wanted in ((f"127.0.0.1:{port}", 200), ("127.0.0.1", 200), (f"localhost:{port}", 200), ("LOCALHOST.", 200),
                                 (f"pi.local:{port}", 200), ("evil.example", 403), ("127.0.0.1.evil.example", 403), ("127.0.0.2", 403),
                                 ("0.0.0.0", 403), ("[::1]", 403), ("pi.local.evil", 403), ("pi.local:port", 403), ("", 403),
                                 ("pi.local@evil", 403), ("127.1", 403), ("2130706433", 403), ("0x7f000001", 403)):
                for path in (STATE, "/management/apiversions", "/", "/nothing"):
                    status = server.ask(path, Host=name)[0]
                    self.assertEqual(status == 403, wanted == 403, (name, path, status))
            answer = self.raw(server, b"GET " + STATE.encode() + b" HTTP/1.1\r\nHost: 127.0.0.1\r\nHost: evil\r\nConnection: close\r\n\r\n")
            self.assertTrue(answer.startswith(b"HTTP/1.1 400"), answer)
            answer = self.raw(server, b"GET " + STATE.encode() + b" HTTP/1.0\r\n\r\n")
            self.assertIn(b" 400 ", answer.split(b"\r\n")[0])

    def test_pages_of_other_sites_are_refused(self):
        with Server() as server:
            own = f"http://127.0.0.1:{server.port}"
            for headers, wanted in (({"Origin": own}, 200), ({"Origin": "http://evil.example"}, 403), ({"Origin": "null"}, 403),
                                    ({"Origin": f"http://localhost:{server.port}"}, 403), ({"Sec_Fetch_Site": "same-origin"}, 200),
                                    ({"Sec_Fetch_Site": "none"}, 200), ({"Sec_Fetch_Site": "cross-site"}, 403),
                                    ({"Sec_Fetch_Site": "same-site"}, 403),
                                    ({"Sec_Fetch_Site": "cross-site", "Sec_Fetch_Mode": "navigate"}, 403)):
                self.assertEqual(server.ask(STATE, **headers)[0], wanted, headers)
                self.assertEqual(server.ask("/management/apiversions", **headers)[0], wanted, headers)
            words = "Gain=1&ClientID=1"
            self.assertEqual(server.ask("/api/v1/camera/0/gain", "PUT", words, Origin="http://evil.example")[0], 403)
            self.assertNotIn("Access-Control-Allow-Origin", server.ask(STATE)[1])
            self.assertIn(server.ask(STATE, "OPTIONS", Origin=own)[0], (404, 405))

    def test_the_token_opens_page_and_own_interface(self):
        token = "0123456789abcdefXYZ"
        with Server("--token", token) as server:
            self.assertTrue(server.address.endswith("/?token=" + token))
            status, _, body = server.ask(STATE)
            self.assertEqual((status, error_of(body)), (401, "permission"))
            self.assertEqual(server.ask("/")[0], 401)
            for wrong in ("", "x", token[:-1], token + "x", token.lower()):
                self.assertEqual(server.ask(STATE, Authorization="Bearer " + wrong)[0], 401, wrong)
                self.assertEqual(server.ask("/?token=" + wrong)[0], 401, wrong)
                self.assertEqual(server.ask(STATE, Cookie="orqcam-token=" + wrong)[0], 401, wrong)
            self.assertEqual(server.ask(STATE + "?token=" + token)[0], 401)  # an address of the interface holds no secrets
            self.assertEqual(server.ask(STATE, Authorization="Bearer " + token)[0], 200)
            status, headers, _ = server.ask("/?token=" + token)
            self.assertEqual((status, headers["Location"]), (303, "/"))
            cookie = headers["Set-Cookie"]
            self.assertTrue("HttpOnly" in cookie and "SameSite=Strict" in cookie, cookie)
            self.assertEqual(server.ask(STATE, Cookie="a=b; " + cookie.split(";")[0])[0], 200)
            # Programs on this computer use Alpaca without one.
            self.assertEqual(server.ask("/management/apiversions")[0], 200)

    def test_beyond_this_computer_it_asks_for_a_token_and_for_allowed_addresses(self):
        address = own_address()
        if address is None:
            self.skipTest("this computer has no address but its loopback")
        with Server("--listen", "0.0.0.0") as server:
            token = server.address.split("token=")[1]
            self.assertEqual(len(token), 32)
            self.assertEqual(server.ask(STATE)[0], 401)
            server.host = address
            self.assertEqual(server.ask(STATE)[0], 401)
            self.assertEqual(server.ask(STATE, Authorization="Bearer " + token)[0], 200)
            for path in ("/management/apiversions", "/api/v1/camera/0/name", "/setup", "/api/v1/dome/0/name"):
                self.assertEqual(server.ask(path)[0], 403, path)
        with Server("--listen", address, "--no-token", "--alpaca-allow", address + "/32") as server:
            server.host = address
            self.assertEqual(server.ask(STATE)[0], 200)
            self.assertEqual(server.ask("/api/v1/camera/0/name")[0], 200)
            self.assertEqual(server.ask(STATE, Host="127.0.0.1")[0], 403)

    def test_discovery_answers_where_alpaca_listens(self):
        def is_told(server, question, *where):
            """Whether this server answers: others on this computer may do so, too."""
            answer = asked(question, *where, patience=0.3)
            return answer is not None and json.loads(answer) == {"AlpacaPort": server.port}

        def demand_answer(server, *where):
            """It asks again, as clients do: this server may be slow, and another may have been asked instead."""
            end = time.monotonic() + PATIENCE
            other = None
            while not is_told(server, b"alpacadiscovery1", *where):
                other = other or asked(b"alpacadiscovery1", *where)
                if time.monotonic() > end:
                    self.assertIsNotNone(other, server.words())
                    self.skipTest(f"another server on this computer answers: {other}")

        with Server(discovery=True) as server:
            demand_answer(server)
            demand_answer(server, ("127.255.255.255", 32227))
            for question in (b"", b"alpacadiscovery", b"alpacadiscovery2", b"hello", b"x" * 2000):
                self.assertFalse(is_told(server, question), question)
            address = own_address()
            if address:
                self.assertFalse(is_told(server, b"alpacadiscovery1", (address, 32227)))
        with Server() as server:
            self.assertFalse(is_told(server, b"alpacadiscovery1"))
        if address:
            # It listens everywhere, but that address may not use Alpaca: it asks from there to itself.
            with Server("--listen", "0.0.0.0", discovery=True) as server:
                demand_answer(server)
                self.assertFalse(is_told(server, b"alpacadiscovery1", (address, 32227)))

    def test_discovery_answers_over_ipv6(self):
        def is_told(server, target, interface, source, patience):
            """Whether this server answers: others on this computer may do so, too."""
            end = time.monotonic() + patience
            with socket.socket(socket.AF_INET6, socket.SOCK_DGRAM) as asking:
                asking.bind((source, 0))
                asking.settimeout(0.2)  # it asks again, as clients do
                while time.monotonic() < end:
                    asking.sendto(b"alpacadiscovery1", (target, 32227, 0, interface))
                    try:
                        answer, where = asking.recvfrom(1000)
                    except (TimeoutError, ConnectionRefusedError):
                        continue
                    if json.loads(answer) == {"AlpacaPort": server.port}:
                        self.assertEqual(where[0], source)  # it comes from where Alpaca listens
                        return True
            return False

        where = place_of_ipv6_groups()
        try:
            server = Server("--listen", "::1", discovery=True)
        except AssertionError as trouble:
            self.skipTest(f"no IPv6 here: {trouble}")
        with server:
            if not is_told(server, "::1", 0, "::1", 2):
                self.skipTest(f"another server on this computer has the port: {server.words()}")
            if where is None:
                self.skipTest("no interface of this computer has groups of IPv6")
            interface, address = where
            self.assertFalse(is_told(server, IPV6_GROUP, interface, address, 0.3))
        for options, wanted in ((("--listen", address), False), (("--listen", address, "--alpaca-allow", address), True),
                                (("--listen", "::", "--alpaca-allow", address), True), (("--alpaca-allow", address), False)):
            with Server(*options, discovery=True) as server:
                self.assertEqual(is_told(server, IPV6_GROUP, interface, address, PATIENCE if wanted else 0.3), wanted, options)

    def test_addresses_do_not_leave_the_table_of_routes(self):
        with Server() as server:
            for path in ("/../../etc/passwd", "/%2e%2e/%2e%2e/etc/passwd", "/..%2f..%2fetc%2fpasswd", "//etc/passwd", "/api/v1/../v1/state",
                         "/api/v1/state/", "/api//v1/state", "/etc/passwd", "/page/../../etc/passwd", "/page/%2e%2e%2fx", "/%"):
                status, _, body = server.ask(path)
                self.assertIn(status, (400, 404), path)
                self.assertNotIn(b"root:", body)
            self.assertEqual(server.ask("/api/v1/state%00")[0], 400)
            self.assertEqual(server.ask("/api/v1/state?a=%00")[0], 400)
            self.assertEqual(server.ask(STATE, "DELETE")[0], 405)

    def test_what_is_too_large_is_refused(self):
        with Server() as server:
            connection = server.connection()
            connection.request("PUT", "/api/v1/camera/0/gain", b"x" * 65537)
            self.assertEqual(connection.getresponse().status, 413)
            connection.close()
            answer = self.raw(server, b"GET / HTTP/1.1\r\nHost: 127.0.0.1\r\nX: " + b"y" * 100000 + b"\r\n\r\n")
            self.assertIn(b" 431 ", answer.split(b"\r\n")[0])
            answer = self.raw(server, b"GET /" + b"y" * 100000 + b" HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n")
            self.assertIn(answer.split(b" ")[1], (b"414", b"431"))
            # Lengths that are none, or that another contradicts.
            for length in (b"Content-Length: -1", b"Content-Length: 99999999999999999999", b"Content-Length: 5x"):
                answer = self.raw(server, b"PUT /api/v1/camera/0/gain HTTP/1.1\r\nHost: 127.0.0.1\r\n" + length + b"\r\n\r\nGain=1")
                self.assertIn(answer.split(b" ")[1] if answer else b"400", (b"400", b"413"), length)
            # A body without a length ends where the limit is.
            pieces = b"".join(b"1000\r\n" + b"z" * 4096 + b"\r\n" for _ in range(20)) + b"0\r\n\r\n"
            head = b"PUT /api/v1/camera/0/gain HTTP/1.1\r\nHost: 127.0.0.1\r\nTransfer-Encoding: chunked\r\nConnection: close\r\n\r\n"
            self.assertNotIn(b" 200 ", self.raw(server, head + pieces))
            self.assertEqual(server.ask(STATE)[0], 200)

    def test_clients_that_drip_are_cut_off_and_harm_nobody(self):
        with Server("--client-seconds", "2") as server:
            begun = time.monotonic()
            ends = []

            def drip(words):
                with socket.create_connection((server.host, server.port), PATIENCE) as connection:
                    connection.settimeout(0.2)
                    try:
                        for i in range(1000):
                            connection.sendall(words[i % len(words):i % len(words) + 1])
                            try:
                                if connection.recv(1000) == b"":
                                    break
                            except TimeoutError:
                                pass
                    except OSError:
                        pass
                ends.append(time.monotonic() - begun)

            slow = [threading.Thread(target=drip, args=(words,)) for words in
                    (b"GET /" + b"a" * 5000, b"GET / HTTP/1.1\r\nHost: 127.0.0.1\r\n" + b"X-A: b\r\n" * 500,
                     b"PUT /api/v1/camera/0/gain HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Length: 60000\r\n\r\n" + b"a" * 5000)]
            for thread in slow:
                thread.start()
            others = 0
            while any(thread.is_alive() for thread in slow):
                self.assertEqual(server.ask(STATE)[0], 200)
                others += 1
                self.assertLess(time.monotonic() - begun, PATIENCE)
            self.assertGreater(others, 0)
            self.assertEqual(len(ends), 3)
            self.assertGreater(min(ends), 1.5)

    def test_fifty_clients_at_once(self):
        with Server() as server:
            half = [socket.create_connection((server.host, server.port), PATIENCE) for _ in range(5)]
            for connection in half:
                connection.sendall(b"GET / HTTP/1.1\r\nHost: 127")
            wrong = []

            def work(number):
                try:
                    client = Client(server, 0, identity=number + 1)
                    client.put("connected", Connected="True")
                    for _ in range(10):
                        if client.get("cameraxsize") != 1936:
                            wrong.append(number)
                    client.close()
                except Exception as failure:  # told by the test's own thread
                    wrong.append(failure)

            threads = [threading.Thread(target=work, args=(number,)) for number in range(50)]
            for thread in threads:
                thread.start()
            for thread in threads:
                thread.join(PATIENCE)
            self.assertEqual(wrong, [])
            for connection in half:
                connection.close()

    def test_clients_that_vanish_leave_everything_as_it_is(self):
        with Server(cameras=["virtual:k1c"]) as server:
            client = Client(server, 0)
            client.put("connected", Connected="True")
            client.put("gain", Gain=30)
            client.put("startexposure", Duration=0.5, Light="True")
            # Goes in the middle of an answer, and in the middle of a question.
            other = socket.create_connection((server.host, server.port), PATIENCE)
            other.sendall(b"PUT /api/v1/camera/0/gain HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Length: 50\r\n\r\nGain=99")
            other.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, b"\1\0\0\0\0\0\0\0")
            other.close()
            client.close()
            again = Client(server, 0)
            self.assertEqual(again.get("gain"), 30)
            again.await_true(lambda: again.get("imageready"))
            connection = server.connection()
            connection.request("GET", "/api/v1/camera/0/imagearray?ClientID=1", headers={"Accept": "application/imagebytes"})
            connection.getresponse().read(1000)
            connection.close()
            self.assertEqual(again.image_bytes()[:2], (1936, 1096))
            again.close()

    def test_it_ends_within_a_second_whatever_runs(self):
        for how in (signal.SIGTERM, signal.SIGINT):
            server = Server(cameras=["virtual:k1c"])
            client = Client(server, 0)
            client.put("connected", Connected="True")
            client.put("startexposure", Duration=1000, Light="True")
            client.put("pulseguide", Direction=0, Duration=60000)
            idle = socket.create_connection((server.host, server.port), PATIENCE)
            # A second on a computer that does nothing else; here others may take most of it.
            self.assertLess(server.end(how), 10)
            idle.close()
            client.close()

    def test_wrong_options_are_told_in_words(self):
        cases = {("--listen", "localhost"): "no address to --listen at", ("--port", "70000"): "no value of --port",
                 ("--token", "short"): "at least 16", ("--alpaca-allow", "192.168.1.5/24"): "no block of addresses",
                 ("--host", "a:80"): "no name for --host", ("--camera", "virtual:nothing"): "nothing",
                 ("--token-file", "/nowhere"): "no token", ("--client-seconds", "0"): "no value of --client-seconds",
                 ("--listen", "192.0.2.7"): "is no address of this computer", ("--folder", "/dev/null/deeper"): "cannot be made",
                 # Bytes that are no text.
                 ("--folder", "/dev/null/\udcff"): "cannot be made", ("--camera", "virtual:\udcff"): "unknown virtual camera",
                 ("--listen", "\udcff"): "no address to --listen at"}
        with tempfile.TemporaryDirectory(prefix="orqcam-serve-") as folder:
            environment = dict(os.environ, HOME=folder, XDG_CONFIG_HOME=folder, XDG_STATE_HOME=folder)
            for options, words in cases.items():
                for form in ((), ("--json",)):
                    done = subprocess.run([ORQCAM, "serve", *form, *options], capture_output=True, text=True, timeout=PATIENCE,
                                          errors="replace", env=environment, check=False)
                    self.assertIn(done.returncode, (1, 2), options)
                    self.assertIn(words, done.stderr)
                    if form:
                        self.assertIn("message", json.loads(done.stderr.splitlines()[-1]))
            with Server() as server:
                done = subprocess.run([ORQCAM, "serve", "--port", str(server.port), "-c", "virtual:k1c"], capture_output=True, text=True,
                                      timeout=PATIENCE, env=environment, check=False)
                self.assertEqual(done.returncode, 1)
                self.assertIn("choose another --port", done.stderr)

    def test_a_camera_that_is_not_there_is_waited_for_and_one_that_is_lost_comes_back(self):
        with Server(cameras=["serial:0123456789abcdef", "virtual:k1c,unplug@2,replug=2s"]) as server:
            cameras = json.loads(server.ask(STATE)[2])["cameras"]
            self.assertEqual([camera["presence"] for camera in cameras], ["absent", "open"])
            self.assertTrue(cameras[0]["trouble"])
            client = Client(server, 1)
            client.put("connected", Connected="True")
            client.put("gain", Gain=20)
            client.expose(0.01)
            client.put("startexposure", Duration=0.01, Light="True")  # the cable is pulled

            def presence():
                return json.loads(server.ask(STATE)[2])["cameras"][1]

            client.await_true(lambda: presence()["presence"] == "lost" or presence()["openings"] == 2)
            client.await_true(lambda: presence()["openings"] == 2)
            self.assertTrue(client.get("connected"))
            self.assertEqual((client.get("gain"), presence()["openings"]), (20, 2))
            client.expose(0.01)
            client.close()


if __name__ == "__main__":
    unittest.main()
