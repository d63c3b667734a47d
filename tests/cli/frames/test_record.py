"""orqcam record and orqcam ser: nothing is lost silently, and no file is ever corrupt."""

import json
import os
import resource
import shutil
import signal
import subprocess
import unittest

import recording_trials
from fits_format import Cube
from ser_format import Ser, Times, ticks, write
from support import ORQCAM, TIMEOUT, CliTest, fits, needs_astropy

SLOW_DISK = os.environ.get("ORQ_SLOW_DISK", "")
TRIALS = 20
WIDTH, HEIGHT = 96, 64
SIZE = ("--region", f"0,0,{WIDTH},{HEIGHT}", "-f", "raw8")


def source(index, width=WIDTH, height=HEIGHT):
    """Frame `index` of what the camera plays."""
    return recording_trials.source(index, width, height)


class Tests(CliTest):
    sources, width, height = 50, WIDTH, HEIGHT

    def camera(self, more=""):
        path = os.path.join(self.directory, "source.ser")
        if not os.path.exists(path):
            write(path, self.width, self.height, 8, "mono",
                  [source(i, self.width, self.height) for i in range(self.sources)])
        return f"virtual:replay,file={path}{more}"

    def check(self, name):
        """The recording is whole, and has what the camera has played, in its order, without those that it says are missing."""
        ser, times = Ser(self.path(name)), Times(self.path(name + ".txt"))
        self.assertEqual([frame["stamp"] for frame in times.frames], ser.times)
        self.assertEqual([frame["frame"] for frame in times.frames], list(range(1, len(ser.frames) + 1)))
        self.assertEqual(ser.times, sorted(ser.times))
        self.assertEqual(ser.utc, ser.times[0])
        first = ser.frames[0][0]
        for pixels, line in zip(ser.frames, times.frames):
            self.assertEqual(ticks(line["utc"]), line["stamp"])
            self.assertEqual(line["number"] - 1, (line["sequence"] - times.frames[0]["sequence"]) % 2**32)
            self.assertEqual(pixels, source((first + line["number"] - 1) % self.sources, ser.width, ser.height), line)
        self.assertIn(f"frames = {len(ser.frames)}", times.remarks)
        return ser, times

    def missing(self, times):
        """Numbers between the first frame and the last one that are not there."""
        there = {frame["number"] for frame in times.frames}
        return [number for number in range(1, max(there) + 1) if number not in there]

    def test_what_is_recorded_is_what_the_sensor_sent(self):
        lines = self.json_lines(self.succeed("-c", self.camera(), "record", *SIZE, "-e", "2ms", "-n", "150", "-o", "a.ser",
                                             "--observer", "Ann", "--json")[0])
        ser, times = self.check("a.ser")
        self.assertEqual(len(ser.frames), 150)
        self.assertEqual((ser.colour, ser.depth, ser.endian, ser.width, ser.height), (0, 8, 0, WIDTH, HEIGHT))
        self.assertEqual(ser.observer, "Ann")
        begin, final = lines[0], lines[-1]
        self.assertTrue(begin["begin"])
        self.assertEqual((begin["width"], begin["height"], begin["format"]), (WIDTH, HEIGHT, "raw8"))
        self.assertGreater(begin["fps"], 0)
        self.assertGreater(begin["free_mb"], 0)
        self.assertEqual((final["end"], final["frames"]), ("frames", 150))
        gaps = [number for gap in final["missing"] for number in range(gap["first"], gap["last"] + 1)]
        self.assertEqual(gaps, self.missing(times))
        self.assertEqual(final["missed"] + final["lost"], len(gaps))

    def test_frames_that_the_link_loses_are_named(self):
        out, err = self.succeed("-c", self.camera(",drop=0.1,seed=5"), "record", *SIZE, "-e", "2ms", "-n", "100", "-o",
                                "a.ser")
        _, times = self.check("a.ser")
        missing = self.missing(times)
        self.assertGreater(len(missing), 0)
        self.assertIn("did not come from the camera", err)
        self.assertEqual(self.values("end = " + out.split("end = ")[1])["lost"], str(len(missing)))

    @unittest.skipUnless(SLOW_DISK, "no slow disk with a sanitizer")
    def test_frames_that_the_disk_is_too_slow_for_are_named(self):
        self.environment["LD_PRELOAD"] = SLOW_DISK
        # Each block of 4 MB, eight frames, takes 600 ms, and the ring has room for two.
        self.sources, self.width, self.height = 10, 1024, 512
        lines = self.json_lines(self.succeed("-c", self.camera(), "record", "-f", "raw8", "-e", "2ms", "--ring", "1", "-n", "36",
                                             "-o", "a.ser", "--json")[0])
        ser, times = self.check("a.ser")
        self.assertEqual(len(ser.frames), 36)
        final = lines[-1]
        self.assertGreater(final["missed"], 0)
        gaps = [number for gap in final["missing"] for number in range(gap["first"], gap["last"] + 1)]
        self.assertEqual(gaps, self.missing(times))
        self.assertTrue(any(gap["cause"] == "disk" for gap in final["missing"]))
        running = lines[1:-1]
        self.assertTrue(any(line["missed"] > 0 for line in running), "they are shown while it runs")
        for line in running:
            self.assertGreater(line["free_mb"], 0)
        self.assertTrue(any("the disk was too slow" in remark for remark in times.remarks))

    def test_ctrl_c_ends_a_recording_without_a_limit(self):
        process = self.start_tool("-c", self.camera(), "record", *SIZE, "-e", "2ms", "-o", "a.ser", "--json")
        self.assertTrue(json.loads(process.stdout.readline())["begin"])
        process.stdout.readline()
        code, out, err = self.interrupt(process)
        self.assertEqual(code, 0, err)
        ser, _ = self.check("a.ser")
        self.assertEqual(json.loads(out.splitlines()[-1])["frames"], len(ser.frames))

    def test_who_presses_ctrl_c_twice_has_a_whole_file_as_well(self):
        process = self.start_tool("-c", self.camera(), "record", *SIZE, "-e", "2ms", "-o", "a.ser", "--json")
        process.stdout.readline()
        process.stdout.readline()
        process.send_signal(signal.SIGINT)
        code, _, err = self.interrupt(process)
        self.assertEqual(code, 0, err)
        self.check("a.ser")

    def test_time_and_size_end_a_recording(self):
        words = ("-c", self.camera(), "record", *SIZE, "-e", "2ms", "--json")
        lines = self.json_lines(self.succeed(*words, "-s", "0.5", "-o", "a.ser")[0])
        self.assertEqual(lines[-1]["end"], "time")
        self.assertGreaterEqual(lines[-1]["seconds"], 0.5)
        self.check("a.ser")
        # Ten frames with their times, and not quite another one.
        size = 178 + 11 * (WIDTH * HEIGHT + 8) - 1
        lines = self.json_lines(self.succeed(*words, "--size", f"{size / 1000}kB", "-o", "b.ser")[0])
        self.assertEqual((lines[-1]["end"], lines[-1]["frames"]), ("size", 10))
        self.check("b.ser")

    def test_what_a_recording_takes_is_shown_before_it_begins(self):
        words = ("-c", self.camera(), "record", *SIZE, "-e", "2ms", "-n", "1", "--json", "-o")
        plan = self.json_lines(self.succeed(*words, "a.ser", "--ring", "1")[0])[0]
        self.assertEqual((plan["file"], plan["times_file"], plan["form"]), ("a.ser", "a.ser.txt", "ser"))
        self.assertEqual(plan["ring"], 2**20 // (WIDTH * HEIGHT))
        self.assertEqual(plan["frame_size_mb"], round(WIDTH * HEIGHT / 1e6, 2))
        self.assertAlmostEqual(plan["rate_mb_per_s"], plan["fps"] * WIDTH * HEIGHT / 1e6, delta=0.02)
        self.assertAlmostEqual(plan["room_for"], plan["free_mb"] * 1e6 / (WIDTH * HEIGHT + 8), delta=2 + plan["room_for"] / 1e3)
        self.assertAlmostEqual(plan["lasts_s"], plan["room_for"] / plan["fps"], delta=1 + plan["lasts_s"] / 1e3)
        plan = self.json_lines(self.succeed(*words, "b.ser")[0])[0]
        self.assertEqual(plan["ring"], 2**28 // (WIDTH * HEIGHT))

    def test_presets_are_the_middle_of_the_sensor(self):
        for preset, width, height in (("full", 1936, 1096), ("1280x720", 1280, 720), ("640x480", 640, 480)):
            self.succeed("-c", "virtual:k1c,prerender=1,timescale=0", "record", "--preset", preset, "-e", "1ms", "-f", "raw16", "-n", "1",
                         "-o", preset + ".ser")
            ser, times = Ser(self.path(preset + ".ser")), Times(self.path(preset + ".ser.txt"))
            self.assertEqual((ser.width, ser.height, ser.depth, ser.endian), (width, height, 16, 0))
            self.assertEqual((times.frames[0]["x"], times.frames[0]["y"]), ((1936 - width) // 2, (1096 - height) // 2))

    def test_a_recording_that_is_deleted_is_no_success(self):
        for name in ("a.ser", "b.fits", "c/"):
            os.mkdir(self.path("place"))
            process = self.start_tool("-c", self.camera(), "record", *SIZE, "-e", "2ms", "-o", "place/" + name, "--json")
            process.stdout.readline()
            process.stdout.readline()
            os.rename(self.path("place"), self.path("gone"))  # so that no file comes while they are deleted
            shutil.rmtree(self.path("gone"))
            _, err = process.communicate(timeout=TIMEOUT)
            self.assertEqual(process.returncode, 1, err)
            self.assertIn("its file or folder was deleted meanwhile", err)

    def test_a_text_that_is_deleted_is_written_anew(self):
        process = self.start_tool("-c", self.camera(), "record", *SIZE, "-e", "2ms", "-o", "a.ser", "--json")
        process.stdout.readline()
        process.stdout.readline()
        os.remove(self.path("a.ser.txt"))
        code, _, err = self.interrupt(process)
        self.assertEqual(code, 0, err)
        _, times = self.check("a.ser")
        self.assertTrue(any("was deleted" in remark for remark in times.remarks), times.remarks)

    def test_frames_are_finished_beside_a_text_of_somebody_else(self):
        process = self.start_tool("-c", self.camera(), "record", *SIZE, "-e", "2ms", "-o", "a.ser", "--json")
        process.stdout.readline()
        process.stdout.readline()
        with open(self.path("other"), "w", encoding="utf-8") as other:
            other.write("other")
        os.rename(self.path("other"), self.path("a.ser.txt"))
        code, _, err = self.interrupt(process)
        self.assertEqual(code, 1, err)
        self.assertIn("another file has its name", err)
        self.assertGreater(len(Ser(self.path("a.ser")).frames), 0)
        with open(self.path("a.ser.txt"), encoding="utf-8") as other:
            self.assertEqual(other.read(), "other")

    def test_a_disk_that_fills_up_leaves_a_whole_file(self):
        limit = 1_500_000

        def few_bytes():
            resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit))

        done = self.run_tool("-c", self.camera(), "record", *SIZE, "-e", "2ms", "-n", "900", "-o", "a.ser",
                             preexec_fn=few_bytes)
        self.assertEqual(done.returncode, 1, done.stderr)
        self.assertIn("frames recorded", done.stderr)
        ser, _ = self.check("a.ser")
        self.assertEqual(len(ser.frames), (limit - 178) // (WIDTH * HEIGHT + 8))

    def test_an_unplugged_camera_leaves_a_whole_file(self):
        done = self.run_tool("-c", self.camera(",unplug@600"), "record", *SIZE, "-e", "2ms", "-o", "a.ser")
        self.assertEqual(done.returncode, 4, done.stderr)
        self.check("a.ser")

    def test_what_ends_at_any_moment_loses_no_frame_that_is_there(self):
        made, frames, wrong = recording_trials.run(ORQCAM, self.work, TRIALS, 7)
        self.assertEqual(wrong, [])
        self.assertGreaterEqual(made, TRIALS // 2)
        self.assertGreater(frames, made)

    @needs_astropy
    def test_cubes_and_folders_have_what_the_sensor_sent(self):
        begun = self.json_lines(self.succeed("-c", self.camera(",drop=0.05,seed=3"), "record", *SIZE, "-e", "2ms", "-n", "60", "-o",
                                             "a.fits", "--json")[0])[0]
        self.assertEqual(begun["form"], "cube")
        self.succeed("-c", self.camera(",drop=0.05,seed=3"), "record", *SIZE, "-e", "2ms", "-n", "20", "--form", "folder", "-o", "b")
        with fits.open(self.path("a.fits")) as cube:
            cube.verify("exception")
            data, table = cube[0].data, cube["TIMES"].data
            self.assertEqual(data.shape, (60, HEIGHT, WIDTH))
            self.assertEqual(cube[0].header["DATE-OBS"], table["UTC"][0][:len(cube[0].header["DATE-OBS"])])
            lines = Times(self.path("a.fits.txt")).frames
            self.assertEqual([line["utc"] for line in lines], list(table["UTC"]))
            self.assertEqual([line["number"] for line in lines], list(table["NUMBER"]))
            self.assertGreater(lines[-1]["number"], 60)
            numbers = [int(number) for number in table["NUMBER"]]
            played = [data[i].tobytes() for i in range(60)]
        lines = Times(self.path("b.txt")).frames
        self.assertEqual(self.files(), ["a.fits", "a.fits.txt", "b", "b.txt"])
        for i, line in enumerate(lines):
            header, image = self.open_fits(f"b/{i + 1:06}.fits")
            self.assertEqual((header["FRAMENO"], header["CAMSEQ"]), (i + 1, line["sequence"]))
            self.assertEqual(header["DATE-OBS"], line["utc"][:len(header["DATE-OBS"])])
            numbers.append(line["number"])
            played.append(image.tobytes())
        for begin, end in ((0, 60), (60, 80)):
            for number, pixels in zip(numbers[begin:end], played[begin:end]):
                self.assertEqual(pixels, source((played[begin][0] + number - 1) % self.sources), number)
        if shutil.which("fitsverify"):
            done = subprocess.run(["fitsverify", "-q", self.path("a.fits")], stdout=subprocess.PIPE, check=False, text=True)
            self.assertIn("verification OK", done.stdout)

    def test_a_folder_is_not_mixed_with_another(self):
        words = ("-c", self.camera(), "record", *SIZE, "-e", "2ms", "-o", "b/")
        self.succeed(*words, "-n", "5")
        self.assertIn("not empty", self.fail_with(1, *words, "-n", "2"))
        with open(self.path("b/notes.fits"), "w", encoding="ascii") as file:
            file.write("mine")
        self.succeed(*words, "-n", "2", "--overwrite")
        self.assertEqual(sorted(os.listdir(self.path("b"))), ["000001.fits", "000002.fits", "notes.fits"])
        self.fail_with(2, *words, "--form", "ser")
        self.fail_with(2, "-c", self.camera(), "record", *SIZE, "-o", "a.ser", "--form", "cube")
        self.fail_with(2, "-c", self.camera(), "record", *SIZE, "--form", "tape")

    def test_the_box_follows_a_planet_of_the_sky(self):
        # The box has 128 pixels, and is moved when the disc is 13 off its middle. The camera's GPS tells where it is.
        self.succeed("-c", "virtual:t46c,scene=planet,planet=40/20/-10", "record", "--preset", "planet", "-e", "5ms", "-f", "raw8",
                     "-s", "3", "-o", "p.ser")
        ser, times = Ser(self.path("p.ser")), Times(self.path("p.ser.txt"))
        self.assertEqual((ser.width, ser.height), (128, 128))
        if len(times.frames) < 60:
            self.skipTest(f"the computer draws {len(times.frames)} frames in three seconds, too few to follow anything")
        self.assertGreater(len({(line["x"], line["y"]) for line in times.frames}), 2)
        self.assertGreater(times.frames[-1]["x"] - times.frames[0]["x"], 30)
        ways = []
        for pixels, line in zip(ser.frames, times.frames):
            if line["source"] != "gps":
                continue
            bright = [i for i, value in enumerate(pixels) if value > 20]
            self.assertGreater(len(bright), 300, line)
            x, y = line["x"] + sum(i % 128 for i in bright) / len(bright), line["y"] + sum(i // 128 for i in bright) / len(bright)
            ways.append((x - 20 * (line["stamp"] - times.frames[0]["stamp"]) / 1e7, y + 10 * (line["stamp"] - times.frames[0]["stamp"]) / 1e7))
        self.assertGreater(len(ways), 10)
        for axis in zip(*ways):  # the same for all: it is where its speed has taken it, wherever the box was
            self.assertLess(max(axis) - min(axis), 2)

    def test_times_of_a_camera_with_gps_are_right_to_the_row(self):
        # A flash lights the rows that are exposed while it lasts: those that begin from one exposure before it to its end.
        begin, length, exposure = 3.25, 500e-6, 5e-3
        self.succeed("-c", f"virtual:t46c,scene=dark,flash=2030-01-01T00:00:0{begin}/500us", "record", "-f", "raw8", "-e", "5ms", "--region",
                     "0,0,320,1200", "-s", "3.2", "-o", "g.fits")
        cube = Cube(self.path("g.fits"))
        row, edges = float(cube.cards["ROWTIME"]), []
        for pixels, line in zip(cube.frames, cube.times):
            means = [sum(pixels[y * cube.width:(y + 1) * cube.width]) / cube.width for y in range(cube.height)]
            lit = [y for y, mean in enumerate(means) if mean > min(means) + 3]
            start = float(line["UTC"][17:])
            if lit and lit[0] > 0:
                edges.append((start + lit[0] * row, begin - exposure))
            if lit and lit[-1] < cube.height - 1:
                edges.append((start + lit[-1] * row, begin + length))
        if not edges:
            self.skipTest("the frame of the flash was lost, or came before the recording began")
        for found, wanted in edges:
            self.assertAlmostEqual(found, wanted, delta=3 * row)

    def test_the_box_around_a_planet_follows_it(self):
        side, radius, path = 480, 24, os.path.join(self.directory, "planet.ser")
        frames, centres = [], []
        for i in range(12):
            x, y = 120 + 16 * i, 200 + 4 * i
            rows = []
            for row in range(side):
                half = max(radius**2 - (row - y)**2, 0)**0.5
                line = bytearray(bytes((7 * row + 3 * column * column) % 5 for column in range(side)))
                line[round(x - half):round(x + half)] = bytes([200]) * (round(x + half) - round(x - half))
                rows.append(bytes(line))
            frames.append(b"".join(rows))
            centres.append((x, y))
        write(path, side, side, 8, "mono", frames)
        self.succeed("-c", f"virtual:replay,file={path}", "record", "--preset", "planet", "-e", "150ms", "-f", "raw8", "-s",
                     "2", "-o", "p.ser")
        ser, times = Ser(self.path("p.ser")), Times(self.path("p.ser.txt"))
        self.assertLess(ser.width, 160)
        self.assertGreater(len({(frame["x"], frame["y"]) for frame in times.frames}), 1)
        # The pixels of every frame are those of the place that its line names.
        for pixels, line in zip(ser.frames, times.frames):
            cut = [b"".join(frame[(line["y"] + row) * side + line["x"]:][:ser.width] for row in range(ser.height))
                   for frame in frames]
            self.assertIn(pixels, cut, line)

    def test_presets_and_limits_that_cannot_be_are_refused(self):
        camera = ("-c", self.camera())
        for words in (["--preset", "huge"], ["--size", "5"], ["--frames", "0"], ["--ring", "0"], ["-o", "a.avi"],
                      ["-o", "{n}.ser"], ["-o", "a"], ["-o", ".ser"]):
            self.fail_with(2, *camera, "record", *SIZE, *words)
        self.fail_with(1, *camera, "record", "--preset", "1280x720")
        with open(self.path("a.ser"), "w", encoding="utf-8") as file:
            file.write("mine")
        self.assertIn("File exists", self.fail_with(1, *camera, "record", *SIZE, "-n", "1", "-o", "a.ser"))
        for name in ("/sys/a.ser", "/sys/a.fits", "/sys/a/", "none/a.ser"):  # where nobody may write
            self.assertIn("cannot write", self.fail_with(1, *camera, "record", *SIZE, "-n", "1", "-o", name))
        self.assertEqual(self.files(), ["a.ser"])

    def test_ser_tools_take_files_of_any_program(self):
        frames = [bytes([i]) * (8 * 6 * 3 * 2) for i in range(1, 5)]
        times = [ticks("2026-11-21T04:42:31.0") + 10**6 * i for i in range(4)]
        write(self.path("rgb.ser"), 8, 6, 16, "RGB", frames, times)
        info = self.json("ser", "info", "rgb.ser")
        self.assertEqual((info["colour"], info["frames"], info["observer"], info["fps"], info["first_utc"], info["whole"]),
                         ("RGB", 4, "Observer", 10.0, "2026-11-21T04:42:31.0000000", True))
        self.assertTrue(self.json("ser", "check", "rgb.ser")["whole"])
        self.succeed("ser", "extract", "rgb.ser", "-n", "2-3", "-o", "f{n}.fits")
        self.succeed("ser", "extract", "rgb.ser", "-n", "all", "-o", "p{n}.png")
        self.assertEqual(self.files(), ["f2.fits", "f3.fits", "p1.png", "p2.png", "p3.png", "p4.png", "rgb.ser"])
        self.fail_with(2, "ser", "extract", "rgb.ser", "-n", "2-3", "-o", "f.fits")
        self.fail_with(1, "ser", "extract", "rgb.ser", "-n", "5")
        os.truncate(self.path("rgb.ser"), 178 + 3 * len(frames[0]) + 7)
        self.assertIn("3 of 4 frames are whole", self.fail_with(1, "ser", "check", "rgb.ser"))
        self.assertEqual(self.json("ser", "repair", "rgb.ser"), {"repaired": True, "frames": 3, "with_time": 0})
        self.succeed("ser", "check", "rgb.ser")
        self.fail_with(1, "ser", "info", "p1.png")

    @needs_astropy
    def test_cubes_are_looked_at_and_taken_apart_like_ser_files(self):
        for name, camera, form, colour in (("mono", self.camera(), "raw8", "mono"), ("bayer", "virtual:k1c", "raw16", "RGGB"),
                                           ("rgb", "virtual:k1c", "rgb24", "RGB")):
            self.succeed("-c", camera, "record", "--region", f"0,0,{WIDTH},{HEIGHT}", "-f", form, "-e", "2ms", "-n", "4", "-o",
                         name + ".fits", "--observer", "Ann")
            cube = Cube(self.path(name + ".fits"))
            info = self.json("ser", "info", name + ".fits")
            self.assertEqual((info["colour"], info["frames"], info["time_stamps"], info["observer"], info["width"], info["height"],
                              info["depth_bit"], info["whole"]), (colour, 4, 4, "Ann", WIDTH, HEIGHT, 16 if form == "raw16" else 8, True))
            self.assertEqual((info["first_utc"], info["last_utc"]), (cube.times[0]["UTC"], cube.times[3]["UTC"]))
            self.assertEqual(info["start_utc"][:26], cube.times[0]["UTC"][:26])  # the header's is cut to microseconds
            self.assertTrue(self.json("ser", "check", name + ".fits")["whole"])
            self.succeed("ser", "extract", name + ".fits", "-n", "2-3", "-o", name + "{n}.fits")
            self.succeed("ser", "extract", name + ".fits", "-n", "4", "-o", name + "{n}.png")
            self.assertIn("frames 1 to 4", self.fail_with(1, "ser", "extract", name + ".fits", "-n", "5"))
            with fits.open(self.path(name + ".fits")) as file:
                whole, kept = file[0].data.copy(), file[0].header
            for number in (2, 3):
                header, data = self.open_fits(f"{name}{number}.fits")
                self.assertEqual(data.tolist(), whole[number - 1].tolist(), name)
                row = cube.times[number - 1]
                self.assertEqual((header["DATE-OBS"], header["CAMSEQ"], header["FRAMENO"], header["TIMESRC"]),
                                 (row["UTC"], row["CAMSEQ"], number, row["TIMESRC"]))
                self.assertAlmostEqual(header["TIMEUNC"], row["TIMEUNC"])
                for key in ("EXPTIME", "GAIN", "INSTRUME", "OBSERVER", "ROWORDER", "XORGSUBF", "BAYERPAT", "XPIXSZ"):
                    self.assertEqual(header.get(key), kept.get(key), key)
                self.assertNotIn("DATE-END", header)
        # As it is left when the program is killed.
        with open(self.path("mono.fits"), "rb") as file:
            data = file.read()
        with open(self.path("mono.fits"), "wb") as file:
            file.write(data.replace(b"NAXIS3  =                    4", b"NAXIS3  =                    0")[:-2 * 2880])
        with open(self.path("mono.fits.txt"), encoding="utf-8") as file:
            text = file.read()
        with open(self.path("mono.fits.txt"), "w", encoding="utf-8") as file:
            file.write(text[:text.index("# frames = ")])
        self.assertIn("it has 4 whole frames, and its header announces 0", self.fail_with(1, "ser", "check", "mono.fits"))
        self.assertEqual(self.json("ser", "info", "mono.fits")["whole_frames"], 4)
        self.assertEqual(self.json("ser", "repair", "mono.fits"), {"repaired": True, "frames": 4, "with_time": 4})
        self.assertTrue(self.json("ser", "check", "mono.fits")["whole"])
        with open(self.path("mono.fits"), "rb") as file:
            self.assertEqual(file.read(), data)

    @needs_astropy
    def test_cubes_of_other_programs_have_frames_and_no_times(self):
        import numpy  # astropy has brought it
        values = [[[100 * frame + 10 * row + column for column in range(5)] for row in range(4)] for frame in range(3)]
        for kind in ("uint8", "uint16", "int16", "float32"):
            fits.PrimaryHDU(numpy.array(values, dtype=kind)).writeto(self.path(kind + ".fits"))
        for kind in ("uint8", "uint16"):
            info = self.json("ser", "info", kind + ".fits")
            self.assertEqual((info["frames"], info["time_stamps"], info["width"], info["whole"]), (3, 0, 5, True))
            self.succeed("ser", "extract", kind + ".fits", "-n", "3", "-o", "one.fits", "--overwrite")
            header, data = self.open_fits("one.fits")
            self.assertEqual(data.tolist(), values[2])
            self.assertNotIn("DATE-OBS", header)
        for kind in ("int16", "float32"):
            self.assertIn("no FITS cube of 8 or unsigned 16 bits", self.fail_with(1, "ser", "info", kind + ".fits"))
        self.assertIn("no FITS cube", self.fail_with(1, "ser", "extract", "one.fits"))

    @needs_astropy
    def test_frames_that_are_taken_out_have_their_values_and_times(self):
        for colour, depth in (("mono", 8), ("GRBG", 16), ("BGR", 8), ("RGB", 16), ("MYYC", 16)):
            planes = 3 if colour in ("RGB", "BGR") else 1
            values = [(17 * i) % (256 if depth == 8 else 65536) for i in range(5 * 4 * planes)]
            pixels = b"".join(value.to_bytes(depth // 8, "little") for value in values)
            write(self.path("a.ser"), 5, 4, depth, colour, [pixels], [ticks("2026-11-21T04:42:31.1234567")])
            self.succeed("ser", "extract", "a.ser", "-o", "a.fits", "--overwrite")
            header, data = self.open_fits("a.fits")
            self.assertEqual(header["DATE-OBS"], "2026-11-21T04:42:31.1234567")
            self.assertEqual(header.get("BAYERPAT"), colour if colour in ("GRBG", "MYYC") else None)
            wanted = [values[plane::planes] for plane in range(planes)]
            if colour == "BGR":
                wanted.reverse()
            self.assertEqual(data.reshape(planes, -1).tolist(), wanted, colour)
