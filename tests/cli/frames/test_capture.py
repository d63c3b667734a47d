"""capture: frames, settings, names, what is said about them."""

import os
import re
import time

from support import CliTest, K1C, X26M

SMALL = ("--region", "0,0,64,64")


class Tests(CliTest):
    def capture(self, *arguments, camera=K1C):
        return self.succeed("-c", camera, "capture", *arguments)

    def sidecar(self, *arguments, camera=K1C):
        """Captures to bare pixels; their description and the pixels."""
        import json
        self.capture("-o", "frame.raw", "--overwrite", *arguments, camera=camera)
        with open(self.path("frame.json"), encoding="utf-8") as file:
            description = json.load(file)
        with open(self.path("frame.raw"), "rb") as file:
            return description, file.read()

    def test_the_default_name_tells_camera_time_and_number(self):
        out, err = self.capture(*SMALL)
        self.assertEqual(err, "")
        name, = self.files()
        self.assertRegex(name, r"^k1c-\d{4}-\d\d-\d\d-\d\d-\d\d-\d\d\.\d{3}-0001\.fits$")
        self.assertEqual(out, f"file = {name}\nsaved = 1\n")

    def test_count_numbers_the_files(self):
        self.capture(*SMALL, "-n", "3", "-o", "s{n:03}.fits")
        self.assertEqual(self.files(), ["s001.fits", "s002.fits", "s003.fits"])

    def test_json_is_one_object_per_frame_and_a_last_one(self):
        lines = self.json_lines(self.succeed("-c", K1C, "capture", *SMALL, "-n", "2", "-o", "{n}.fits", "-e", "2ms",
                                             "-g", "7", "--json")[0])
        self.assertEqual([line["file"] for line in lines[:2]], ["1.fits", "2.fits"])
        self.assertEqual(lines[0]["exposure_us"], 2000)
        self.assertEqual(lines[0]["gain"], 7)
        self.assertEqual(lines[1]["sequence"], (lines[0]["sequence"] + 1) % 2**32)
        self.assertEqual(lines[2], {"saved": 2})

    def test_names_take_the_settings(self):
        self.capture(*SMALL, "-e", "200ms", "-g", "12", "--offset", "9", "--object", "M 42/Orion", "--image-type",
                     "Dark", "-o", "{camera}_{exposure}_{gain}_{offset}_{bin}_{format}_{type}_{object}.fits")
        self.assertEqual(self.files(), ["k1c_200ms_12_9_1_raw16_dark_M_42_Orion.fits"])

    def test_formats_have_their_sizes(self):
        for name, bytes_per_pixel in (("raw8", 1), ("raw16", 2), ("rgb24", 3), ("y8", 1)):
            description, pixels = self.sidecar(*SMALL, "-f", name)
            self.assertEqual((description["format"], description["width"], description["height"]), (name, 64, 64))
            self.assertEqual(description["bytes_per_pixel"], bytes_per_pixel)
            self.assertEqual(len(pixels), 64 * 64 * bytes_per_pixel)

    def test_a_format_that_the_camera_lacks_is_a_failure_that_lists_its_formats(self):
        self.assertIn("raw8, raw16", self.fail_with(1, "-c", X26M, "capture", "-f", "rgb24"))

    def test_a_bin_that_the_camera_lacks_is_a_failure_that_lists_its_bins(self):
        self.assertIn("1, 2, 3, 4", self.fail_with(1, "-c", K1C, "capture", "-b", "5"))

    def test_a_bin_that_is_no_number_is_a_usage_error(self):
        for bin_factor in ("0", "-1"):
            self.assertIn("--bin must be 1 or more", self.fail_with(2, "-c", K1C, "capture", "-b", bin_factor))
        for bin_factor in ("1.5", "two"):
            self.assertIn("is not a whole number", self.fail_with(2, "-c", K1C, "capture", "-b", bin_factor))
        self.assertIn("1, 2, 3, 4", self.fail_with(1, "-c", K1C, "capture", "-b", "99999999999"))

    def test_an_empty_setting_is_a_usage_error(self):
        for option in ("-e", "-g", "--offset", "--region", "--center", "-b", "-f", "--flip"):
            self.assertIn("a value is missing", self.fail_with(2, "-c", K1C, "capture", option, "", "-o", "x.fits"))
        self.assertEqual(self.files(), [])

    def test_bin_shrinks_the_frame(self):
        description, pixels = self.sidecar("--region", "0,0,128,64", "-b", "2")
        self.assertEqual((description["width"], description["height"], description["bin"]), (64, 32, 2))
        self.assertEqual(len(pixels), 64 * 32 * 2)

    def test_hardware_bin_is_for_cameras_that_have_it(self):
        description, _ = self.sidecar("--region", "0,0,128,64", "-b", "2", "--hardware-bin", camera=X26M)
        self.assertEqual((description["width"], description["height"]), (64, 32))
        self.assertIn("HardwareBin is not supported", self.fail_with(1, "-c", K1C, "capture", "--hardware-bin"))

    def test_a_region_on_the_grid_is_taken_silently(self):
        _, err = self.capture("--region", "100,50,200,98", "-o", "r.raw")
        self.assertEqual(err, "")

    def test_a_region_off_the_grid_is_aligned_and_said(self):
        out, err = self.capture("--region", "101,51,203,99", "-o", "r.raw")
        self.assertIn("file = r.raw", out)
        self.assertEqual(err.count("\n"), 1)
        self.assertIn("region 101,51,203,99", err)
        self.assertTrue(err.endswith("using 100,50,200,98\n"), err)

    def test_the_whole_sensor_at_bin_3_is_aligned_silently(self):
        _, err = self.capture("-b", "3", "-o", "r.raw")
        self.assertEqual(err, "")

    def test_center_is_in_the_middle(self):
        description, _ = self.sidecar("--center", "400,200")
        self.assertEqual((description["start_x"], description["start_y"]), ((1936 - 400) // 2, (1096 - 200) // 2))
        self.assertEqual((description["width"], description["height"]), (400, 200))

    def test_a_region_outside_the_sensor_says_how_large_that_is(self):
        for region in ("0,0,1944,64", "1900,0,64,64", "0,1090,64,64", "-8,0,64,64", "0,0,-64,64", "0,0,0,0",
                       "0,0,99999999999,64"):
            self.assertIn("1936 x 1096", self.fail_with(1, "-c", K1C, "capture", "--region", region))
        message = self.fail_with(1, "-c", K1C, "capture", "--center", "2000,64")
        self.assertIn("--center 2000,64 does not lie on the sensor", message)
        self.assertIn("1936 x 1096", message)

    def test_a_region_that_is_too_small_says_the_smallest(self):
        self.assertIn("16x4", self.fail_with(1, "-c", K1C, "capture", "--region", "0,0,8,8"))

    def test_clamped_settings_are_said(self):
        _, err = self.capture(*SMALL, "-g", "900", "-o", "c.fits")
        self.assertEqual(err, "orqcam: Gain 900 is above the maximum 100: set to 100\n")

    def test_flips_mirror_the_frame(self):
        import struct
        frames = {}
        for flip in ("none", "h", "v", "both"):
            # The same seed gives the same first frame each time.
            _, pixels = self.sidecar("--region", "0,0,16,4", "--flip", flip)
            values = struct.unpack("<64H", pixels)
            frames[flip] = [list(values[16 * row:16 * row + 16]) for row in range(4)]
        self.assertEqual(frames["h"], [row[::-1] for row in frames["none"]])
        self.assertEqual(frames["v"], frames["none"][::-1])
        self.assertEqual(frames["both"], [row[::-1] for row in frames["none"][::-1]])

    def test_video_frames_have_rising_numbers(self):
        lines = self.json_lines(self.succeed("-c", K1C, "capture", *SMALL, "--video", "-n", "4", "-o", "v{n}.fits",
                                             "--json")[0])
        self.assertEqual(lines[-1]["saved"], 4)
        numbers = [line["sequence"] for line in lines[:-1]]
        for earlier, later in zip(numbers, numbers[1:]):
            # The 32-bit number wraps soon after the start.
            self.assertIn((later - earlier) % 2**32, range(1, 2**31))

    def test_a_recording_has_no_gain(self):
        from support import realdata
        camera = f"virtual:replay,timescale=0,file={realdata('sky/starfield-alt40.fits')}"
        self.assertIn("Gain is not supported", self.fail_with(1, "-c", camera, "capture", "-g", "5"))

    def test_a_failed_frame_is_reported_with_its_reason_and_the_rest_saved(self):
        # The small frame fits in one transfer, the large one does not.
        for region in ("0,0,64,64", "0,0,1024,512"):
            for fault, reason in (("short", "too short"), ("oversize", "too long"), ("badheader", "damaged"),
                                  ("stall", "stalled"), ("error", "transfer failed")):
                done = self.run_tool("-c", f"{K1C},{fault}@2", "capture", "--region", region, "-n", "3", "-o",
                                     fault + "{n}.fits", "--overwrite", "--retries", "0")
                self.assertEqual(done.returncode, 1, done.stderr)
                self.assertRegex(done.stderr, rf"(?m)^orqcam: frame 2 failed: .*{reason}")
                self.assertRegex(done.stderr, rf"2 of 3 frames saved; failed: 2 \(.*{reason}.*\)\n$")
                self.assertTrue(os.path.exists(self.path(fault + "1.fits")))
                self.assertFalse(os.path.exists(self.path(fault + "2.fits")))
                self.assertTrue(os.path.exists(self.path(fault + "3.fits")))

    def test_a_camera_that_sends_nothing_is_given_up_with_a_reason(self):
        for mode in ((), ("--video",)):
            message = self.fail_with(1, "-c", f"{K1C},drop=1", "capture", *SMALL, *mode, "--retries", "0", "-o",
                                     "x.fits")
            self.assertIn("sent no frame", message)
            self.assertEqual(self.files(), [])

    def test_three_failures_in_a_row_end_the_run(self):
        faults = ",".join(f"short@{n}" for n in range(2, 7))
        done = self.run_tool("-c", f"{K1C},{faults}", "capture", *SMALL, "-n", "9", "--retries", "0", "-o",
                             "{n}.fits")
        self.assertEqual(done.returncode, 1)
        self.assertEqual(len(re.findall("(?m)^orqcam: frame . failed", done.stderr)), 3)
        self.assertIn("1 of 9 frames saved", done.stderr)
        self.assertEqual(self.files(), ["1.fits"])

    def test_a_failed_exposure_is_repeated(self):
        out, err = self.succeed("-c", f"{K1C},short@2,stall@3", "capture", *SMALL, "-n", "3", "-o", "{n}.fits")
        self.assertEqual(len(re.findall("(?m)^orqcam: frame 2 failed: .*; taking it again$", err)), 2)
        self.assertIn("saved = 3\nrepeated = 2\n", out)
        self.assertEqual(self.files(), ["1.fits", "2.fits", "3.fits"])

    def test_repeating_has_an_end(self):
        done = self.run_tool("-c", f"{K1C},short@2,short@3,short@5", "--json", "capture", *SMALL, "-n", "4",
                             "--retries", "1", "-o", "{n}.fits")
        self.assertEqual(done.returncode, 1)
        end = self.json_lines(done.stdout)[-1]
        self.assertEqual((end["saved"], end["repeated"], end["failed"]), (3, 2, 1))
        self.assertEqual([each["number"] for each in end["failures"]], [2])
        self.assertEqual(self.json_lines(done.stderr)[-1]["error"], "refused")
        for wrong in ("-1", "101", "often"):
            self.fail_with(2, "-c", K1C, "capture", "--retries", wrong)

    def test_reconnect_goes_on_after_an_unplug_with_the_same_settings(self):
        for mode in ((), ("--video",)):
            out, err = self.succeed("-c", "virtual:k1c,unplug@3,replug=200ms", "--json", "capture", *SMALL, *mode,
                                    "-e", "30ms", "-g", "17", "-n", "5", "--reconnect", "-o", "{n}.fits",
                                    "--overwrite")
            lines = self.json_lines(out)
            self.assertEqual((lines[-1]["saved"], lines[-1]["reconnects"]), (5, 1))
            self.assertEqual({(each["gain"], each["exposure_us"]) for each in lines[:-1]}, {(17, 30000)})
            self.assertIn("waiting for it to come back", err)

    def test_waiting_for_a_camera_can_be_interrupted(self):
        process = self.start_tool("-c", "virtual:k1c,unplug@1", "capture", *SMALL, "--reconnect", "-o", "x.fits")
        self.assertIn("waiting", process.stderr.readline())
        code, _, err = self.interrupt(process)
        self.assertEqual((code, err), (1, "orqcam: interrupted: 0 of 1 frames saved\n"))

    def test_the_check_before_the_first_frame_names_a_file_of_today(self):
        for year in (time.gmtime().tm_year, time.gmtime(time.time() + 3600).tm_year):
            message = self.fail_with(1, "-c", K1C, "capture", *SMALL, "-o", "no/such/{date}.fits")
            if f"'no/such/{year}" in message:
                return
        self.fail(message)

    def test_an_unplugged_camera_has_its_own_exit_status_and_keeps_what_was_saved(self):
        for mode in ((), ("--video",)):
            done = self.run_tool("-c", "virtual:k1c,unplug@5", "capture", *SMALL, *mode, "-e", "100ms", "-n", "50",
                                 "-o", "{n}.fits", "--overwrite")
            self.assertEqual(done.returncode, 4, done.stderr)
            saved = int(self.values(done.stdout.splitlines()[-1])["saved"])
            self.assertIn(f"{saved} of 50 frames saved", done.stderr)
            self.assertEqual(len(self.files()), saved)
            self.assertLessEqual(saved, 4)
            for name in self.files():
                os.remove(self.path(name))

    def test_camera_lost_before_the_first_frame(self):
        done = self.run_tool("-c", f"{K1C},unplug@1", "capture", *SMALL, "-o", "x.fits")
        self.assertEqual(done.returncode, 4)
        self.assertEqual(self.files(), [])
