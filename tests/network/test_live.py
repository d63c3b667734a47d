"""What the live page asks the server for."""

import json
import os
import threading
import time
import unittest

from server import PATIENCE, Server

CAMERA = "/api/v1/cameras/0/"
CAMERAS = ("virtual:k1c,timescale=0.05",)


class Page:
    """What a browser does, without one."""

    def __init__(self, server):
        self.server = server

    def json(self, path, method="GET", body=None):
        status, _, answer = self.server.ask(path, method, None if body is None else json.dumps(body))
        return status, json.loads(answer) if answer else None

    def get(self, path):
        status, answer = self.json(path)
        assert status == 200, answer
        return answer

    def put(self, path, **body):
        return self.json(CAMERA + path, "PUT", body)

    def post(self, path, **body):
        return self.json(CAMERA + path, "POST", body)

    def live(self):
        return self.get(CAMERA + "live")

    def picture(self, query=""):
        status, headers, answer = self.server.ask(f"{CAMERA}picture?{query}")
        return status, json.loads(headers["Orqcam-Picture"]) if status == 200 else None, answer

    def until(self, what, look, watching=True):
        end = time.monotonic() + PATIENCE
        while time.monotonic() < end:
            if watching:
                self.picture("width=64")
            found = look()
            if found:
                return found
            time.sleep(0.02)
        raise AssertionError(f"{what}: not within {PATIENCE} s; {self.live()}")


class Tests(unittest.TestCase):
    def setUp(self):
        self.server = Server("--folder", "files", cameras=CAMERAS)
        self.page = Page(self.server)

    def tearDown(self):
        self.server.end()

    def test_the_page_comes_whole_and_loads_nothing_from_elsewhere(self):
        status, headers, body = self.server.ask("/")
        self.assertEqual(status, 200)
        self.assertIn("default-src 'self'", headers["Content-Security-Policy"])
        self.assertNotIn(b"style=", body)
        files = [word.split(b'"')[0].decode() for word in body.split(b'"/')[1:]]
        self.assertGreaterEqual(len(files), 3)
        for name in set(files):
            status, headers, body = self.server.ask("/" + name)
            self.assertEqual((status, body != b""), (200, True), name)
            self.assertNotRegex(body.decode(), r"https?://(?!www\.w3\.org)", name)
        self.assertEqual(self.server.ask("/page/nothing.js")[0], 404)
        self.assertEqual(self.server.ask("/page/..%2fapp.js")[0], 404)

    def test_pictures_are_newer_than_what_was_seen(self):
        _, first, jpeg = self.page.picture("width=300")
        self.assertEqual(jpeg[:2], b"\xff\xd8")
        _, next_one, _ = self.page.picture(f"width=300&after={first['number']}")
        self.assertGreater(next_one["number"], first["number"])
        self.assertEqual(first["frame"], [1936, 1096])
        self.assertLess(first["size"][0], 500)
        status, part, _ = self.page.picture("x=100&y=50&w=64&h=32&black=0.1&white=0.5&mid=0.3")
        self.assertEqual((status, part["crop"]), (200, [100, 50, 64, 32]))
        for bad in ("width=x", "black=3", "black=0.5&white=0.2"):
            self.assertEqual(self.page.picture(bad)[0], 400, bad)

    def test_who_asks_again_takes_his_own_place(self):
        self.page.picture("width=300")
        self.page.put("view", running=False)
        time.sleep(0.5)
        seen = self.page.picture("width=300")[1]["number"]
        answers = []
        ask = lambda after: answers.append(self.page.picture(f"client=one&after={after}")[0])
        first = threading.Thread(target=ask, args=(seen,))
        first.start()
        time.sleep(0.3)
        second = threading.Thread(target=ask, args=(seen,))
        second.start()
        first.join(PATIENCE)
        self.assertEqual(answers, [204])
        self.page.put("view", running=True)
        second.join(PATIENCE)
        self.assertEqual(answers, [204, 200])

    def test_a_number_of_an_earlier_server_counts_for_nothing(self):
        self.assertEqual(self.page.picture(f"width=300&after={10**9}")[0], 200)

    def test_statistics_follow_the_exposure(self):
        dark = self.page.until("statistics", lambda: self.page.live()["statistics"])
        self.assertEqual(sum(dark["histogram"]), 1936 * 1096)
        status, control = self.page.put("controls/Exposure", value=2_000_000)
        self.assertEqual((status, control["value"], control["automatic"]), (200, 2_000_000, False))
        self.page.put("controls/gain", value=60)
        self.page.until("brighter frames", lambda: self.page.live()["statistics"]["maximum"] > 2 * dark["maximum"])

    def test_controls_are_described_and_bounded(self):
        controls = {one["name"]: one for one in self.page.get(CAMERA + "controls")["controls"]}
        self.assertEqual(controls["Exposure"]["unit"], "us")
        self.assertEqual(self.page.put("controls/Gain", value=controls["Gain"]["maximum"] + 1)[0], 400)
        self.assertEqual(self.page.put("controls/Nothing", value=1)[0], 400)
        self.assertEqual(self.page.put("controls/Gain")[0], 400)
        self.assertEqual(self.page.put("controls/Gain", value="7")[0], 400)
        self.assertEqual(self.page.put("controls/Gain", value=1.5)[0], 400)
        self.assertEqual(self.page.json(CAMERA + "controls/Gain", "PUT", [1])[0], 400)
        self.assertTrue(self.page.put("controls/Gain", automatic=True)[1]["automatic"])

    def test_fields_that_nobody_knows_are_refused_by_name(self):
        for method, path, known in (("PUT", "controls/Gain", {"value": 7}), ("PUT", "region", {"width": 640}), ("PUT", "view", {"running": False}),
                                    ("PUT", "cooler", {"on": False}), ("PUT", "corrections", {"hot_pixels": False}), ("PUT", "focus", {"position": 3}),
                                    ("POST", "exposure", {"save": False}), ("POST", "dark", {"frames": 1}), ("POST", "hot-pixels", {}),
                                    ("POST", "warm-up", {}), ("POST", "abort", {}), ("POST", "recording", {"frames": 1}), ("DELETE", "recording", {})):
            status, answer = self.page.json(CAMERA + path, method, {**known, "wdith": 1})
            self.assertEqual((status, answer["error"]["name"]), (400, "invalid"), path)
            self.assertIn("'wdith'", answer["error"]["text"])
            for name in known:
                self.assertIn(name, answer["error"]["text"])
        self.assertEqual(self.page.get(CAMERA + "region")["width"], 1936, "nothing of it was done")
        self.assertEqual(self.server.ask(CAMERA + "abort", "POST")[0], 202, "no body is no field")

    def test_the_processor_load_counts_from_the_beginning(self):
        with Server(cameras=CAMERAS) as server:
            time.sleep(0.6)
            used = server.processor_seconds()
            told = Page(server).live()["server"]["cpu_percent"]
            self.assertGreaterEqual(told, 100 * used / (time.monotonic() - server.began))

    def test_the_region_is_fitted(self):
        status, region = self.page.put("region", start_x=101, start_y=51, width=403, height=301, format=0)
        self.assertEqual(status, 200)
        self.assertLessEqual(region["width"], 403)
        self.page.until("frames of it", lambda: self.page.live()["frame"]["size"] == [region["width"], region["height"]])
        self.assertEqual(self.page.put("region", width=0)[0], 400)
        self.assertEqual(self.page.put("region", width=1e12)[0], 400)

    def test_stars_are_measured(self):
        self.page.put("controls/Exposure", value=2_000_000)
        self.page.put("controls/Gain", value=60)
        self.page.until("stars", lambda: self.page.get(CAMERA + "stars")["stars"] > 100)
        found = self.page.get(CAMERA + "stars?x=400&y=300&w=600&h=500")
        self.assertTrue(0.8 < found["hfr"] < 4, found["hfr"])
        for star in found["list"]:
            self.assertTrue(400 <= star["x"] < 1000 and 300 <= star["y"] < 800, star)

    def test_a_video_is_recorded_beside_the_pictures(self):
        status, _ = self.page.post("recording", format="ser", name="jupiter", frames=20)
        self.assertEqual(status, 202)
        self.assertEqual(self.page.post("recording")[0], 409, "one at a time")
        self.assertEqual(self.page.put("region", width=64)[0], 409, "the region stays")
        done = self.page.until("its end", lambda: not (r := self.page.live()["recording"])["running"] and r)
        self.assertEqual((done["file"], done["frames"], done["missed"], done["trouble"]), ("jupiter.ser", 20, 0, ""))
        self.assertEqual(self.page.post("recording", name="jupiter")[0], 409, "it is there already")
        self.download("jupiter.ser", done["bytes"])
        self.page.until("the view again", lambda: self.page.live()["capture"] == "a live view")

    def download(self, name, size):
        listed = {one["name"]: one["bytes"] for one in self.page.get("/api/v1/files")["files"]}
        self.assertEqual(listed[name], size)
        status, headers, whole = self.server.ask(f"/api/v1/files/{name}")
        self.assertEqual((status, len(whole), headers["Content-Disposition"]), (200, size, "attachment"))
        for words, part in (("bytes=0-13", whole[:14]), (f"bytes={size - 5}-", whole[-5:]), ("bytes=-7", whole[-7:])):
            status, headers, answer = self.server.ask(f"/api/v1/files/{name}", Range=words)
            self.assertEqual((status, answer), (206, part), words)
        for words in ("bytes=9-5", f"bytes={size}-", "lines=1-2", "bytes=x-", "bytes=-"):
            self.assertEqual(self.server.ask(f"/api/v1/files/{name}", Range=words)[0], 200, words)

    def test_frames_are_recorded_as_a_fits_cube(self):
        self.page.put("region", width=320, height=240)
        self.assertEqual(self.page.post("recording", format="fits", name="m42", frames=3)[0], 202)
        done = self.page.until("its end", lambda: not (r := self.page.live()["recording"])["running"] and r)
        self.assertEqual((done["frames"], done["trouble"]), (3, ""))
        self.assertEqual(done["file"], "m42.fits")
        cards = self.server.ask("/api/v1/files/m42.fits")[2][:2880].decode("ascii")
        for card in ("NAXIS   =                    3", "NAXIS1  =                  320", "NAXIS2  =                  240",
                     "NAXIS3  =                    3"):
            self.assertIn(card, cards)

    def test_a_recording_is_stopped(self):
        self.page.post("recording")
        self.page.until("frames", lambda: self.page.live()["recording"]["frames"] > 2)
        self.assertEqual(self.page.json(CAMERA + "recording", "DELETE")[0], 202)
        done = self.page.until("its end", lambda: not (r := self.page.live()["recording"])["running"] and r)
        self.assertGreater(done["frames"], 2)

    def test_no_name_leads_out_of_the_folder(self):
        with open(os.path.join(self.server.folder.name, "secret"), "w", encoding="ascii") as secret:
            secret.write("s")
        os.makedirs(os.path.join(self.server.folder.name, "files"), exist_ok=True)
        os.symlink("../secret", os.path.join(self.server.folder.name, "files", "link"))
        for name in ("..%2fsecret", "link", "%2e%2e", "..", "nothing", ".hidden", "%2fetc%2fpasswd"):
            self.assertIn(self.server.ask(f"/api/v1/files/{name}")[0], (400, 404), name)
        for name in ("../a", "/tmp/a", ".a", "a b", "a/b", "x" * 200):
            self.assertEqual(self.page.post("recording", name=name)[0], 400, name)

    def test_a_single_exposure_is_counted_down_and_saved(self):
        self.page.put("view", running=False)
        self.assertEqual(self.page.post("exposure", exposure_us=20_000_000, save=True)[0], 202)  # a second
        self.assertEqual(self.page.post("exposure")[0], 409)
        self.page.until("a countdown", lambda: 0 < self.page.live()["exposure"]["elapsed_us"] < 20_000_000, False)
        done = self.page.until("its file", lambda: self.page.live()["work"]["result"], False)
        self.assertRegex(done, r"^k1c-.*\.fits$")
        controls = {one["name"]: one for one in self.page.get(CAMERA + "controls")["controls"]}
        self.assertEqual(controls["Exposure"]["value"], 10_000, "that of the live view is as it was")
        self.assertEqual(self.page.post("exposure", exposure_us=-1)[0], 400)

    def test_an_exposure_is_aborted(self):
        self.page.post("exposure", exposure_us=2_000_000_000)
        self.page.until("an exposure", lambda: self.page.live()["exposure"]["running"])
        time.sleep(0.3)
        self.page.post("abort")
        self.page.until("its end", lambda: not self.page.live()["work"]["running"])
        self.assertNotEqual(self.page.live()["work"]["trouble"], "")

    def test_corrections_are_switched(self):
        self.assertEqual(self.page.put("corrections", dark=True)[0], 404, "there is no dark yet")
        self.page.post("dark", frames=1)
        self.page.until("a dark", lambda: self.page.live()["work"]["result"])
        status, now = self.page.put("corrections", dark=False)
        self.assertEqual((status, now["dark"]), (200, False))
        self.assertTrue(self.page.put("corrections", dark=True)[1]["dark"])

    def test_cameras_without_a_cooler_or_a_motor_say_so(self):
        for status, _ in (self.page.put("cooler", on=True, target_c=-5), self.page.put("cooler", on=False)):
            self.assertGreaterEqual(status, 400)
        self.page.put("focus", position=3)
        self.page.until("a refusal", lambda: self.page.live()["work"]["trouble"])
        self.assertEqual(self.page.put("focus", position=2000)[0], 400)
        self.assertEqual(self.server.ask("/api/v1/cameras/7/live")[0], 404)


if __name__ == "__main__":
    unittest.main()
