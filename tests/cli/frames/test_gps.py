"""gps read and watch; GPS time in files and listings."""

import calendar
import time

from support import CliTest, K1C, needs_astropy

T46C = "virtual:t46c,timescale=0"
SMALL = ("--region", "0,0,64,64")
NEW_YEAR = calendar.timegm((2030, 1, 1, 0, 0, 0)) * 10**7
LATCH_ERROR = 12  # tenths of a microsecond: offset, ticks and times are cut


def tenths(text):
    """UTC in units of 0.1 us since 1970."""
    whole, _, fraction = text.partition(".")
    return calendar.timegm(time.strptime(whole, "%Y-%m-%dT%H:%M:%S")) * 10**7 + int(fraction.ljust(7, "0"))


def sentence(body):
    check = 0
    for byte in body.encode():
        check ^= byte
    return f"${body}*{check:02X}\r\n"


class Tests(CliTest):
    def assert_at(self, text, truth):
        self.assertRegex(text, r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{7}$")
        self.assertLessEqual(tenths(text), truth)
        self.assertGreaterEqual(tenths(text), truth - LATCH_ERROR)

    def take(self, camera, *arguments):
        """One frame into a FITS file: (header, data, standard error)."""
        _, err = self.succeed("-c", camera, "capture", "-o", "x.fits", "--overwrite", *arguments)
        return (*self.open_fits("x.fits"), err)

    def test_read_shows_time_place_and_lines(self):
        values = self.json("-c", T46C, "gps", "read")
        self.assertIs(values["fix"], True)
        self.assert_at(values["start_utc"], NEW_YEAR)
        self.assertEqual((values["time_source"], values["gps"], values["satellites"]), ("gps", "fix", 11))
        self.assertAlmostEqual(values["latitude_deg"], 47.26, places=5)
        self.assertAlmostEqual(values["longitude_deg"], 11.38, places=5)
        self.assertEqual(values["altitude_m"], 574.3)
        self.assertEqual(values["gps_start_line"], 0, "the smallest frame there is, whose lines it has")
        self.assertLess(values["gps_end_line"], 64)
        text = self.values(self.succeed("-c", T46C, "gps", "read")[0])
        self.assertEqual((text["fix"], text["altitude"]), ("yes", "574.3 m"))

    def test_read_takes_a_frame_that_holds_the_lines(self):
        for lines in ((7, 2999), (2999, 2999), (1501, 1500), (0, 3)):
            camera = T46C + ",state=" + self.path("state")
            self.succeed("-c", camera, "gps", "lines", *map(str, lines))
            values = self.json("-c", camera, "gps", "read")
            self.assertEqual((values["gps"], values["gps_start_line"], values["gps_end_line"]), ("fix", *lines))
            apart = tenths(values["gps_end_line_utc"]) - tenths(values["gps_start_line_utc"])
            self.assertAlmostEqual(apart, (lines[1] - lines[0]) * 164, delta=LATCH_ERROR)

    def test_read_leaves_no_trace_in_the_settings(self):
        self.succeed("-c", T46C, "gps", "read")
        self.assertEqual(self.json("settings", "show"), {})

    def test_read_without_a_fix_fails_but_shows_what_it_has(self):
        done = self.run_tool("-c", T46C + ",gps=nofix", "gps", "read")
        self.assertEqual(done.returncode, 1)
        self.assertIn("no fix", done.stderr)
        values = self.values(done.stdout)
        self.assertEqual((values["fix"], values["time_source"], values["gps"]), ("no", "computer", "no fix"))
        self.assertNotIn("latitude", values)

    def test_the_older_generation_tells_the_time_but_no_place(self):
        values = self.json("-c", T46C + ",gpsver=0", "gps", "read")
        self.assert_at(values["start_utc"], NEW_YEAR)
        self.assertNotIn("latitude_deg", values)

    def test_a_camera_without_gps_says_so(self):
        for action in ("read", "watch"):
            self.assertIn("no GPS receiver", self.fail_with(1, "-c", K1C, "gps", action))

    def test_watch_reads_again_and_again(self):
        lines = self.json_lines(self.succeed("-c", T46C, "gps", "watch", "-n", "3", "--interval", "0.01", "--json")[0])
        starts = [tenths(line["start_utc"]) for line in lines]
        self.assertEqual(len(set(starts)), 3)
        self.assertEqual(starts, sorted(starts))
        out = self.succeed("-c", T46C, "gps", "watch", "--count", "2", "--interval", "0.01")[0].splitlines()
        self.assertEqual(len(out), 2)
        self.assertTrue(all(line.startswith("fix = yes, start_utc = 20") for line in out))

    def test_watch_ends_with_ctrl_c(self):
        process = self.start_tool("-c", T46C, "gps", "watch", "--interval", "0.01")
        self.assertIn("fix = yes", process.stdout.readline())
        self.assertEqual(self.interrupt(process)[0], 0)
        process = self.start_tool("-c", T46C, "gps", "watch", "--interval", "0.01", "-n", "1000000")
        process.stdout.readline()
        code, _, err = self.interrupt(process)
        self.assertEqual((code, err), (1, "orqcam: interrupted\n"))

    def test_wrong_limits_of_a_watch(self):
        for wrong in (("-n", "0"), ("-n", "x"), ("--interval", "0"), ("--interval", "0.001")):
            self.fail_with(2, "-c", T46C, "gps", "watch", *wrong)

    def test_a_fix_that_comes_and_goes_is_told_once_each_time(self):
        with open(self.path("log.nmea"), "w", encoding="ascii") as log:
            for minute in range(60):
                valid = minute % 2 == 0
                place = "4807.03812,N,01131.50009,E" if valid else ",,,"
                log.write(sentence(f"GPRMC,08{minute:02d}00.00,{'AV'[not valid]},{place},0,0,070524,,,A"))
        # A minute of the camera takes 0.6 s.
        process = self.start_tool("-c", f"virtual:t46c,timescale=0.01,gps={self.path('log.nmea')}", "gps", "watch",
                                  "--interval", "0.02")
        seen = []
        for line in process.stdout:
            fix = "fix = yes" in line
            if not seen or seen[-1] != fix:
                seen.append(fix)
            if len(seen) >= 4:
                break
        _, rest, err = self.interrupt(process)
        for line in rest.splitlines():
            if seen[-1] != ("fix = yes" in line):
                seen.append("fix = yes" in line)
        told = ["again" in line for line in err.splitlines()]
        self.assertEqual(told, seen if not seen[0] else seen[1:])

    def test_a_stream_tells_when_there_is_no_fix(self):
        process = self.start_tool("-c", "virtual:t46c,gps=nofix", "stream", *SMALL, "-e", "50ms")
        self.assertIn("the computer's time now", process.stderr.readline())
        code, _, err = self.interrupt(process)
        self.assertEqual((code, err), (0, ""))

    def test_frames_that_come_too_fast_have_predicted_times(self):
        # Without time the camera exposes the next frame before the last one has been read.
        out, err = self.succeed("-c", T46C, "capture", *SMALL, "--video", "-n", "20", "-o", "{n}.fits", "--json")
        self.assertEqual({line["time_source"] for line in self.json_lines(out)[:-1]} - {"gps", "predicted"}, set())
        self.assertNotIn("GPS time", err)

    def test_a_frame_on_a_trigger_tells_its_clock(self):
        camera = T46C + ",fpga=0xC0"
        lines = self.json_lines(self.succeed("-c", camera, "trigger", *SMALL, "-n", "2", "--json")[0])
        self.assertEqual([line["time_source"] for line in lines[:2]], ["gps", "gps"])
        self.assert_at(lines[0]["start_utc"], tenths(lines[0]["start_utc"]))
        self.assertNotIn("time_source", self.json_lines(
            self.succeed("-c", K1C + ",fpga=0xC0", "trigger", *SMALL, "--json")[0])[0])

    def test_captured_frames_are_listed_with_their_time(self):
        line = self.json_lines(self.succeed("-c", T46C, "capture", *SMALL, "-e", "1ms", "-o", "x.raw", "--json")[0])[0]
        self.assert_at(line["start_utc"], NEW_YEAR)
        self.assert_at(line["end_utc"], NEW_YEAR + 63 * 164 + 10_000)
        self.assertEqual((line["time_source"], line["gps"], line["row_interval_us"]), ("gps", "fix", 16.4))
        self.assertLess(line["start_uncertainty_us"], 10)
        import json
        with open(self.path("x.json"), encoding="utf-8") as sidecar:
            beside = json.load(sidecar)
        for key in ("start_utc", "end_utc", "time_source", "satellites", "latitude_deg", "gps_start_line_utc"):
            self.assertEqual(beside[key], line[key], key)

    def test_files_are_named_after_gps_time(self):
        self.succeed("-c", T46C + ",gpstime=2031-05-06T07:08:09", "capture", *SMALL, "-o", "{date}-{n}.fits")
        self.assertEqual(self.files(), ["2031-05-06-1.fits"])

    @needs_astropy
    def test_fits_keywords_with_a_fix(self):
        camera = T46C + ",gpspos=-36.75/174.7/-12.5,state=" + self.path("state")
        self.succeed("-c", camera, "gps", "lines", "10", "50")
        header, _, err = self.take(camera, *SMALL, "-e", "1ms")
        self.assertEqual(err, "")
        self.assert_at(header["DATE-OBS"], NEW_YEAR)
        self.assert_at(header["DATE-END"], NEW_YEAR + 63 * 164 + 10_000)
        self.assert_at(header["GPSUTC1"], NEW_YEAR + 10 * 164)
        self.assert_at(header["GPSUTC2"], NEW_YEAR + 50 * 164)
        expected = {"TIMESRC": "GPS", "TIMESYS": "UTC", "GPSSTATE": "FIX", "GPSFIX": True, "GPSSATS": 11, "GPSLINE1": 10,
                    "GPSLINE2": 50, "SITEELEV": -12.5}
        self.assertEqual({key: header[key] for key in expected}, expected)
        self.assertAlmostEqual(header["SITELAT"], -36.75, places=5)
        self.assertAlmostEqual(header["SITELONG"], 174.7, places=4)
        self.assertAlmostEqual(header["ROWTIME"], 16.4e-6, delta=0.05e-6)
        self.assertLess(header["TIMEUNC"], 3e-6)
        for key, unit in (("TIMEUNC", "[s]"), ("ROWTIME", "[s]"), ("SITELAT", "[deg]"), ("SITELONG", "[deg]"),
                          ("SITEELEV", "[m]")):
            self.assertTrue(header.comments[key].startswith(unit), header.comments[key])

    @needs_astropy
    def test_astropy_reads_the_times(self):
        from astropy.time import Time
        from astropy.utils import iers
        iers.conf.auto_download = False
        header, _, _ = self.take(T46C + ",gpstime=2023-05-06T23:59:59.9", *SMALL, "-e", "250ms")
        start, end = (Time(header[key], format="isot", scale="utc") for key in ("DATE-OBS", "DATE-END"))
        rows = (header["NAXIS2"] - 1) * header["ROWTIME"]
        self.assertAlmostEqual((end - start).sec, header["EXPTIME"] + rows, places=6)

    @needs_astropy
    def test_without_a_fix_the_time_is_not_called_gps_time(self):
        before = time.time()
        header, _, err = self.take(T46C + ",gps=nofix", *SMALL)
        self.assertEqual(err.count("\n"), 1)
        self.assertIn("no fix", err)
        self.assertEqual((header["TIMESRC"], header["GPSSTATE"], header["GPSFIX"]), ("COMPUTER", "NO FIX", False))
        for key in ("ROWTIME", "GPSUTC1", "GPSUTC2", "GPSSATS", "SITELAT", "SITELONG", "SITEELEV"):
            self.assertNotIn(key, header)
        self.assertGreater(tenths(header["DATE-OBS"]) / 1e7, before - 1)
        self.assertGreaterEqual(header["TIMEUNC"], 1e-3)

    @needs_astropy
    def test_lines_outside_the_region_are_told_once(self):
        camera = T46C + ",state=" + self.path("state")
        self.succeed("-c", camera, "gps", "lines", "0", "0")
        _, err = self.succeed("-c", camera, "capture", "--region", "0,100,64,64", "-n", "3", "-o", "{n}.fits")
        self.assertEqual(err.count("\n"), 1)
        self.assertIn("GPS lines 0 and 0", err)
        self.assertIn("--follow", err)
        for name in [name for name in self.files() if name.endswith(".fits")]:
            header, _ = self.open_fits(name)
            self.assertEqual((header["TIMESRC"], header["GPSSTATE"], header["GPSLINE2"]), ("COMPUTER", "NO LATCH", 0))
            self.assertNotIn("GPSFIX", header)

    @needs_astropy
    def test_altitude_and_place_that_are_not_known_are_left_out(self):
        header, _, _ = self.take(T46C + ",gpsver=0", *SMALL)
        self.assertEqual(header["TIMESRC"], "GPS")
        for key in ("SITELAT", "SITELONG", "SITEELEV"):
            self.assertNotIn(key, header)
        header, _, _ = self.take(T46C + ",gpspos=47/11/1000.1", *SMALL)
        self.assertNotIn("SITEELEV", header)
        self.assertIn("SITELAT", header)

    @needs_astropy
    def test_the_users_place_counts_more(self):
        header, _, _ = self.take(T46C, *SMALL, "-k", "SITELAT=12.5", "-k", "SITEELEV=3")
        self.assertEqual((header["SITELAT"], header["SITEELEV"], header.count("SITELAT")), (12.5, 3, 1))
        self.assertAlmostEqual(header["SITELONG"], 11.38, places=4)

    @needs_astropy
    def test_a_camera_without_gps_has_no_gps_keywords(self):
        header, _, _ = self.take(K1C, *SMALL)
        self.assertEqual(header["TIMESRC"], "COMPUTER")
        for key in ("GPSSTATE", "GPSFIX", "ROWTIME", "SITELAT"):
            self.assertNotIn(key, header)

    def test_gps_keywords_are_reserved(self):
        for word in ("DATE-AVG=x", "MJD-OBS=1", "CLKSYNC=T", "CLKERR=1", "DATE-END=x", "ROWTIME=1", "GPSFIX=T", "GPSSTATE=x", "GPSUTC1=x", "GPSSATS=9"):
            self.fail_with(2, "-c", T46C, "capture", "-k", word)

    def test_lines_follow_the_region_until_they_are_chosen(self):
        camera = T46C + ",state=" + self.path("state")

        def lines(*arguments):
            values = self.json("-c", camera, "gps", "lines", *arguments)
            return values["start_line"], values["end_line"], values["lines_follow_region"]

        def captured(region):
            out = self.succeed("-c", camera, "capture", "--region", region, "-o", "x.fits", "--overwrite", "--json")[0]
            line = self.json_lines(out)[0]
            return line["gps_start_line"], line["gps_end_line"], line["gps"]
        self.assertEqual(lines(), (0, 2999, True))
        self.assertEqual(captured("1000,800,64,64"), (800, 863, "fix"))
        self.assertEqual(lines("810", "820"), (810, 820, False))
        self.assertEqual(captured("1000,800,64,64"), (810, 820, "fix"))
        self.assertEqual(captured("1000,900,64,64"), (810, 820, "no latch"))
        self.assertEqual(lines("--follow"), (0, 2999, True))
        self.assertEqual(captured("1000,900,64,64"), (900, 963, "fix"))
        self.assertEqual(lines("0", "2999"), (0, 2999, False), "chosen, though the same")
        self.fail_with(2, "-c", camera, "gps", "lines", "1", "2", "--follow")

    def test_the_first_example_gives_gps_times(self):
        # A sensor that shows a flash keeps its pace also when the computer is late.
        camera = "virtual:t46c,scene=dark,flash=2030-01-01T01:00:00/1ms"
        out, _ = self.succeed("-c", camera, "capture", "-e", "20ms", "--video", "-n", "60", "--region",
                              "1000,800,640,480", "--require-gps", "-o", "{n:04}.fits", "--json")
        *frames, end = self.json_lines(out)
        self.assertEqual(len(frames), 60)
        self.assertEqual({frame["time_source"] for frame in frames} - {"gps", "predicted"}, set())
        self.assertNotIn("failed", end)
        self.assertEqual(end.get("gps_wrong", 0), 0)
        for frame in frames:
            apart = tenths(frame["start_utc"]) - tenths(frames[0]["start_utc"])
            due = (frame["sequence"] - frames[0]["sequence"]) % 2**32 * 200_000
            self.assertLessEqual(abs(apart - due), 10 * frame["start_uncertainty_us"] + LATCH_ERROR)

    def test_require_gps_says_beforehand_where_it_cannot_work(self):
        needs = ("capture", "--require-gps", "-o", "x.fits")
        self.assertIn("no GPS receiver", self.fail_with(1, "-c", K1C, *needs))
        camera = T46C + ",state=" + self.path("state")
        self.succeed("-c", camera, "gps", "lines", "10", "200")
        err = self.fail_with(1, "-c", camera, *needs, "--region", "0,0,64,64")
        self.assertIn("lines 10 and 200 do not both lie in the region, lines 0 to 63", err)
        self.assertIn("--follow", err)
        self.assertNotIn("x.fits", self.files())
        self.succeed("-c", camera, *needs, "--region", "0,0,64,256")

    def test_require_gps_fails_a_frame_without(self):
        done = self.run_tool("-c", T46C + ",gps=nofix", "capture", *SMALL, "--require-gps", "-n", "2", "-o", "{n}.fits")
        self.assertEqual(done.returncode, 1)
        self.assertIn("frame 1 failed: it has no GPS time: the receiver has no fix", done.stderr)
        self.assertIn("frame 2 failed", done.stderr)
        self.assertEqual(self.values(done.stdout)["failed"], "2")
        self.assertEqual(self.files(), [])

    @needs_astropy
    def test_middle_and_julian_date_agree_with_the_start(self):
        from astropy.time import Time
        for camera in (T46C + ",gpstime=2031-05-06T23:59:59.95", T46C + ",gps=nofix", K1C):
            header, _, _ = self.take(camera, *SMALL, "-e", "120ms")
            start, middle, end = (Time(header[key], format="isot", scale="utc") for key in
                                  ("DATE-OBS", "DATE-AVG", "DATE-END"))
            self.assertAlmostEqual((Time(header["MJD-OBS"], format="mjd", scale="utc") - start).sec, 0, delta=1e-6)
            self.assertAlmostEqual((middle - start).sec, (end - middle).sec, delta=1.5e-6)

    @needs_astropy
    def test_the_clocks_state_is_the_kernels(self):
        import ctypes
        header, _, _ = self.take(K1C, *SMALL)
        time_words = (ctypes.c_long * 64)()
        result = ctypes.CDLL(None).ntp_adjtime(time_words)
        if result < 0:
            self.assertNotIn("CLKSYNC", header)
            return
        unsynchronised = 0x40
        status = ctypes.cast(ctypes.byref(time_words, 5 * ctypes.sizeof(ctypes.c_long)),
                             ctypes.POINTER(ctypes.c_int)).contents.value
        synchronised = result != 5 and not status & unsynchronised
        self.assertIs(header["CLKSYNC"], synchronised)
        self.assertEqual("CLKERR" in header, synchronised)
        if synchronised:
            self.assertLess(abs(header["CLKERR"] - time_words[3] / 1e6), 1)

    def find_flash(self, *arguments, at, lines=None):
        """Where a file's own times and rows place a flash of 1 ms that came `at` tenths after the new year."""
        import numpy
        seconds = f"{at / 1e7:010.7f}"
        camera = f"{T46C},scene=dark,flash=2030-01-01T00:00:{seconds}/1ms,state=" + self.path("state")
        if lines:
            self.succeed("-c", camera, "gps", "lines", *map(str, lines))
        header, data, err = self.take(camera, *arguments)
        self.assertEqual(err, "")
        means = data.mean(axis=1)
        lit = numpy.flatnonzero(means > means.min() + (means.max() - means.min()) * 0.005)
        self.assertGreater(lit[0], 0)
        self.assertLess(lit[-1], len(means) - 1)
        first, last = (lit[0], lit[-1]) if header["ROWTIME"] > 0 else (lit[-1], lit[0])
        tolerance = (abs(header["ROWTIME"]) + header["TIMEUNC"]) * 1e7
        # DATE-OBS is that of the row that was read out first: the last one of a flipped file.
        top = 0 if header["ROWTIME"] > 0 else (len(means) - 1) * -header["ROWTIME"] * 1e7
        start = tenths(header["DATE-OBS"]) - NEW_YEAR + top
        # The first row that saw it ended when it began, the last one began when it ended.
        self.assertAlmostEqual(start + (first * header["ROWTIME"] + header["EXPTIME"]) * 1e7, at, delta=tolerance)
        self.assertAlmostEqual(start + last * header["ROWTIME"] * 1e7, at + 10_000, delta=tolerance)

    @needs_astropy
    def test_a_flash_is_placed_within_a_row_of_the_whole_sensor(self):
        self.find_flash("-e", "10ms", at=250_000, lines=(0, 2999))

    @needs_astropy
    def test_a_flash_is_placed_within_a_row_of_a_region(self):
        self.find_flash("-e", "2ms", "--region", "64,1000,64,500", at=51_234, lines=(1000, 1499))
        self.find_flash("-e", "2ms", "--region", "64,1000,64,500", "--flip", "v", at=51_234)

    @needs_astropy
    def test_a_flash_is_placed_within_a_row_of_a_binned_frame(self):
        self.find_flash("-e", "2ms", "--region", "0,1000,128,500", "-b", "2", at=51_234, lines=(1100, 1200))
        self.find_flash("-e", "2ms", "--region", "0,1000,128,500", "-b", "2", "--mono-bin", at=51_234)
