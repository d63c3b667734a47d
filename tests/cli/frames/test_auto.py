"""capture and stream with automatic exposure, gain and white balance."""

import os
import signal
import time

from support import CliTest, fits, needs_astropy

# 57.6 electrons of k1c and k1m are one of 255: a mean of 100 takes 5.8 ms here, in real time.
FLAT = "virtual:{},scene=flat,flux=1000000,seed=4"
K1M = FLAT.format("k1m")
K1C = FLAT.format("k1c")
SMALL = ("--region", "0,0,128,128", "--offset", "8")
# Black level 8 of 4095.
BLACK = 0.5


def mean_of(exposure_us, flux=1e6):
    return flux * exposure_us / 1e6 / 57.6 + BLACK


class Tests(CliTest):
    def settled(self, text):
        """The report of what it settled at, and those of the frames."""
        reports = self.json_lines(text)
        self.assertIs(reports[0]["settled"], True)
        return reports[0], reports[1:-1]

    def test_frames_are_saved_when_the_exposure_has_settled(self):
        out, err = self.succeed("-c", K1M, "capture", *SMALL, "-e", "1ms", "-g", "0", "--auto-exposure", "-n", "2",
                                "--json")
        settled, frames = self.settled(out)
        self.assertEqual(err, "")
        self.assertEqual(settled["target"], 100)
        self.assertTrue(85 <= settled["mean"] <= 115, settled)
        self.assertAlmostEqual(mean_of(settled["exposure_us"]), settled["mean"], delta=10)
        self.assertNotIn("wb_red", settled)
        self.assertEqual(len(frames), 2)
        for frame in frames:  # noise at the edge of the band may still have moved it a little
            self.assertTrue(80 <= mean_of(frame["exposure_us"]) <= 120, frame)
        self.assertEqual(len(self.files()), 2)

    @needs_astropy
    def test_the_saved_frame_has_the_target_brightness(self):
        self.succeed("-c", K1M, "capture", *SMALL, "-e", "50ms", "-g", "0", "--auto-exposure", "--auto-target", "60",
                     "-o", "a.fits")
        with fits.open(self.path("a.fits")) as file:
            self.assertAlmostEqual(file[0].data.mean() / 256, 60, delta=0.15 * 60 + 1)

    def test_the_gain_alone_leaves_the_exposure(self):
        out, _ = self.succeed("-c", K1M, "capture", *SMALL, "-e", "3ms", "-g", "0", "--auto-gain", "--json")
        settled, frames = self.settled(out)
        self.assertEqual(settled["exposure_us"], 3000)
        self.assertGreater(settled["gain"], 0)
        self.assertAlmostEqual(frames[0]["gain"], settled["gain"], delta=3)

    def test_a_video_settles_first_too(self):
        out, _ = self.succeed("-c", K1M, "capture", *SMALL, "-e", "1ms", "-g", "0", "--auto-exposure", "--video", "-n",
                              "3", "--json")
        settled, frames = self.settled(out)
        self.assertTrue(85 <= settled["mean"] <= 115, settled)
        self.assertEqual(len(frames), 3)

    def test_white_balance_settles_in_the_light_of_a_lamp(self):
        out, _ = self.succeed("-c", K1C + ",illuminant=4000", "capture", *SMALL, "-e", "5ms", "-g", "0", "--auto-wb",
                              "--json")
        settled, _ = self.settled(out)
        # Filters of 0.62 and 0.74 under a black body of 4000 K: 0.828 and 0.527 of green; 50 is neutral.
        self.assertAlmostEqual(settled["wb_red"], 50 / 0.828, delta=3)
        self.assertAlmostEqual(settled["wb_blue"], 50 / 0.527, delta=4)
        self.assertNotIn("mean", settled)

    def test_white_balance_needs_colours(self):
        self.assertIn("colour camera", self.fail_with(1, "-c", K1M, "capture", *SMALL, "--auto-wb"))
        self.assertEqual(self.files(), [])

    def test_out_of_reach_is_said_and_the_frame_is_saved(self):
        out, err = self.succeed("-c", K1M, "capture", *SMALL, "-e", "1ms", "-g", "0", "--auto-exposure",
                                "--auto-max-exposure", "2ms", "--json")
        settled, _ = self.settled(out)
        self.assertEqual(settled["exposure_us"], 2000)
        self.assertEqual(err.count("\n"), 1, err)
        self.assertIn(f"mean {settled['mean']} of 100, exposure 2ms, gain 0", err)
        self.assertIn("--auto-max-exposure", err)
        self.assertEqual(len(self.files()), 1)

    def test_what_does_not_settle_in_time_is_a_failure_and_nothing_is_saved(self):
        error = self.fail_with(1, "-c", K1M, "capture", *SMALL, "-e", "60s", "--auto-exposure", "--auto-timeout", "0.5")
        self.assertIn("not settled after 0.5 s: exposure 60s", error)
        self.assertIn("--auto-timeout", error)
        self.assertEqual(self.files(), [])

    def test_an_interrupt_while_it_settles_saves_nothing(self):
        process = self.start_tool("-c", K1M + ",state=camera", "capture", *SMALL, "-e", "60s", "--auto-exposure")
        log = os.path.join(self.directory, "work", "camera")
        giveUp = time.monotonic() + 60
        while not os.path.exists(log) and time.monotonic() < giveUp:
            time.sleep(0.01)
        code, out, err = self.interrupt(process, signal.SIGINT)
        self.assertEqual((code, out), (1, ""), err)
        self.assertIn("interrupted", err)
        self.assertEqual([name for name in self.files() if name.endswith(".fits")], [])

    def test_what_was_found_is_not_kept(self):
        names = ("Exposure", "Gain", "AutoExpTargetBrightness")
        self.succeed("-c", K1M, "set", "Gain=3")
        before = self.json("-c", K1M, "get", *names)
        for mode in ((), ("--video",)):
            out, _ = self.succeed("-c", K1M, "capture", *SMALL, "-e", "1ms", "-g", "0", "--auto-exposure", "--auto-gain",
                                  "--auto-target", "120", *mode, "--json", "--overwrite", "-o", "a.fits")
            settled, _ = self.settled(out)
            self.assertNotEqual(settled["gain"], 3)
            self.assertEqual(self.json("-c", K1M, "get", *names), before)

    def test_a_camera_that_was_set_to_automatic_needs_no_option(self):
        self.succeed("-c", K1M, "set", "Exposure=1ms")
        self.succeed("-c", K1M, "set", "Exposure=auto")
        settled, _ = self.settled(self.succeed("-c", K1M, "capture", *SMALL, "--json")[0])
        self.assertGreater(settled["exposure_us"], 1000)
        self.assertIs(self.json("-c", K1M, "get", "Exposure")["Exposure"]["auto"], True)
        out, _ = self.succeed("-c", K1M, "capture", *SMALL, "-e", "2ms", "--json")
        self.assertEqual(self.json_lines(out)[0]["exposure_us"], 2000, "-e makes it manual")

    def test_triggered_frames_are_not_waited_for(self):
        out, _ = self.succeed("-c", K1M, "capture", *SMALL, "--mode", "software", "-e", "1ms", "--auto-exposure",
                              "--json")
        self.assertEqual(self.json_lines(out)[0]["exposure_us"], 1000)

    def test_limits_are_those_of_the_camera(self):
        _, err = self.succeed("-c", K1M, "capture", *SMALL, "-e", "9ms", "-g", "0", "--auto-exposure", "--auto-target",
                              "255")
        self.assertIn("AutoExpTargetBrightness", err)
        self.assertIn("160", err)

    def test_stream_shows_how_it_settles(self):
        lines = self.succeed("-c", K1C, "stream", *SMALL, "-e", "1ms", "-g", "0", "--auto-exposure", "--auto-wb",
                             "--seconds", "2.5")[0].splitlines()
        seconds = [line for line in lines if line.startswith("time = ")]
        self.assertTrue(seconds)
        self.assertRegex(seconds[-1], r"failed = \d+, (mean = \d+, target = 100, )?exposure = \d+ us, gain = 0, "
                                      r"wb_red = \d+, wb_blue = \d+$")
        self.assertIn("identity_holds = yes", lines)

    def test_wrong_values_are_usage_errors(self):
        for option, value in (("--auto-target", "bright"), ("--auto-max-exposure", "5"), ("--auto-max-gain", "x"),
                              ("--auto-timeout", "-1")):
            self.assertIn(option, self.fail_with(2, "-c", K1M, "capture", "--auto-exposure", option, value))
