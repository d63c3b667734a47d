"""Camera modes: what is offered, frames on triggers, trigger outputs, and how the camera is left."""

import datetime

from support import CliTest

SMALL = ("--region", "0,0,64,64")
ALL = "virtual:k1c,timescale=0,fpga=0xC0"
EDGES = "virtual:k1c,timescale=0,fpga=0xA0"
NONE = "virtual:k1c,timescale=0,fpga=0x9F"
NAMES = ["free", "software", "rising", "falling", "software-level", "high", "low"]
EXTERNAL = ("rising", "falling", "high", "low")


class Tests(CliTest):
    def wait_for(self, stream, word):
        """Reads lines until one holds the word."""
        for line in stream:
            if word in line:
                return line
        self.fail(f"the tool ended without saying {word!r}")

    def register(self, camera, number):
        """An FPGA register as the command before left it: without a trigger unit opening does not touch those."""
        return self.json("-c", f"{camera},fpga=0", "reg", "--unsafe", "read", "fpga", str(number))[f"0x{number:04X}"]

    def assert_left_free(self, camera):
        self.assertEqual(self.register(camera, 2) & 0x01, 0, "runs freely")
        self.assertEqual(self.register(camera, 3) & 0x03, 0, "outputs off")

    # What is offered

    def test_mode_shows_what_the_fpga_offers(self):
        for camera, count in ((ALL, 7), (EDGES, 4), (NONE, 1)):
            modes = self.json("-c", camera, "mode")
            self.assertEqual([mode["mode"] for mode in modes], list(range(count)))
            self.assertEqual([mode["name"] for mode in modes], NAMES[:count])

    def test_mode_is_a_table_for_people(self):
        lines = self.succeed("-c", EDGES, "mode")[0].splitlines()
        self.assertEqual(lines[0].split(), ["mode", "name", "meaning"])
        self.assertRegex(lines[3], r"^2 +rising +a frame for each rising edge of the trigger input$")
        self.assertEqual(len(lines), 5)

    def test_a_mode_that_is_not_offered_is_refused_with_those_that_are(self):
        for command in (("capture", "-o", "x.fits"), ("stream", "--frames", "1"), ("trigger",)):
            message = self.fail_with(1, "-c", EDGES, *command, *SMALL, "--mode", "high")
            self.assertIn("does not offer mode high; it offers free, software, rising, falling\n", message)
        self.assertIn("it offers free\n", self.fail_with(1, "-c", NONE, "trigger", *SMALL))

    # Software triggers

    def test_trigger_shows_one_frame_for_each_software_trigger(self):
        for mode in ("software", "4"):
            lines = self.json_lines(self.succeed("-c", ALL, "trigger", *SMALL, "--mode", mode, "-n", "3", "--json")[0])
            self.assertEqual([line["frame"] for line in lines[:-1]], [1, 2, 3])
            self.assertEqual([line["sequence"] for line in lines[:-1]], [0xFFFFFFF0, 0xFFFFFFF1, 0xFFFFFFF2])
            self.assertEqual([line["exposure_us"] for line in lines[:-1]], [10000] * 3)
            starts = [datetime.datetime.fromisoformat(line["start_utc"]) for line in lines[:-1]]
            for i in (1, 2):
                apart = (starts[i] - starts[i - 1]) / datetime.timedelta(microseconds=1)
                self.assertEqual(lines[i]["since_last_us"], apart)
            self.assertNotIn("since_last_us", lines[0])
            self.assertEqual(lines[-1], {"frames": 3, "failed": 0, "lost": 0})
        self.assertEqual(self.files(), [])

    def test_trigger_uses_software_triggers_by_default(self):
        out, err = self.succeed("-c", ALL, "trigger", *SMALL)
        self.assertEqual(err, "")
        self.assertRegex(out, r"^frame = 1, sequence = 4294967280, start_utc = \S+, exposure = 10000 us\n"
                              r"frames = 1\nfailed = 0\nlost = 0\n$")

    def test_capture_and_stream_send_software_triggers_themselves(self):
        for video in ((), ("--video",)):
            out, _ = self.succeed("-c", ALL, "capture", *SMALL, *video, "--mode", "software", "-n", "3", "-o",
                                  "{n}.fits", "--overwrite")
            self.assertEqual(out, "file = 1.fits\nfile = 2.fits\nfile = 3.fits\nsaved = 3\n")
        final = self.json_lines(
            self.succeed("-c", ALL, "stream", *SMALL, "--mode", "software", "--frames", "5", "--json")[0])[-1]
        self.assertEqual((final["delivered"], final["completed"], final["lost"]), (5, 5, 0))

    # External triggers

    def test_external_triggers_bring_frames_in_every_external_mode(self):
        for mode in EXTERNAL:
            lines = self.json_lines(self.succeed("-c", ALL + ",trigger=20ms", "trigger", *SMALL, "--mode", mode, "-n",
                                                 "3", "--timeout", "60s", "--json")[0])
            self.assertEqual(lines[-1]["frames"], 3)

    def test_capture_saves_a_frame_for_each_external_trigger(self):
        for video in ((), ("--video",)):
            self.succeed("-c", ALL + ",trigger=20ms", "capture", *SMALL, *video, "--mode", "rising", "-n", "3", "-o",
                         "{n}.fits", "--timeout", "60s", "--overwrite")
            self.assertEqual(self.files(), ["1.fits", "2.fits", "3.fits"])

    def test_stream_counts_the_frames_of_external_triggers(self):
        final = self.json_lines(self.succeed("-c", ALL + ",trigger=20ms", "stream", *SMALL, "--mode", "falling",
                                             "--frames", "4", "--json")[0])[-1]
        self.assertEqual(final["delivered"], 4)
        self.assertGreater(final["seconds"], 0.055)  # the fourth edge comes three periods after the first

    def test_a_trigger_that_does_not_come_ends_the_wait_at_the_timeout(self):
        message = self.fail_with(1, "-c", ALL, "trigger", *SMALL, "--mode", "rising", "--timeout", "300ms")
        self.assertEqual(message, "orqcam: no trigger came within 300ms: 0 of 1 frames came\n")
        for video in ((), ("--video",)):
            message = self.fail_with(1, "-c", ALL, "capture", *SMALL, *video, "--mode", "high", "--timeout", "0.2s", "-o",
                                     "x.fits")
            self.assertEqual(message, "orqcam: no trigger came within 200ms: 0 of 1 frames saved\n")
        self.assertEqual(self.files(), [])

    def test_a_stream_without_triggers_says_so(self):
        message = self.fail_with(1, "-c", ALL, "stream", *SMALL, "--mode", "rising", "--seconds", "0.3")
        self.assertRegex(message, r"no trigger came in 0\.3\d* s")

    # Faults

    def test_a_lost_camera_has_its_own_exit_status(self):
        message = self.fail_with(4, "-c", ALL + ",unplug@2", "trigger", *SMALL, "-n", "5")
        self.assertEqual(message, "orqcam: the camera was lost; check its cable: 1 of 5 frames came\n")
        message = self.fail_with(4, "-c", ALL + ",unplug@2", "capture", *SMALL, "--mode", "software", "-n", "5", "-o",
                                 "{n}.fits")
        self.assertIn("1 of 5 frames saved", message)

    # Outputs, and how the camera is left

    def test_outputs_and_mode_are_off_again_after_every_command(self):
        camera = "virtual:k1c,timescale=0,state=camera.state"
        outputs = ("--out-a", "0us,10ms", "--out-b", "1ms,2s,low")
        for command in (("trigger",), ("capture", "-o", "x.fits", "--overwrite", "--mode", "1"),
                        ("stream", "--frames", "2", "--mode", "software"), ("capture", "-o", "y.fits", "--overwrite")):
            self.succeed("-c", camera + ",fpga=0xC0", *command, *SMALL, *outputs)
            self.assert_left_free(camera)
            self.assertEqual(self.register(camera, 3), 0x04, "A active high, B active low")
            self.assertEqual(self.register(camera, 0x0D), 0, "no delay is left")

    def test_an_interrupt_leaves_the_camera_running_freely_with_its_outputs_off(self):
        for number, command in enumerate((("trigger",), ("capture", "-o", "x.fits"), ("capture", "-o", "x.fits", "--video"),
                                          ("stream", "--seconds", "1000"))):
            camera = f"virtual:k1c,timescale=0,state=camera{number}.state"
            process = self.start_tool("-c", camera + ",fpga=0xC0", "--debug", *command, *SMALL, "--mode", "rising",
                                      "--out-a", "0us,10ms", "--out-b", "0us,10ms")
            self.wait_for(process.stderr, "start capture create thread")
            code, _, err = self.interrupt(process)
            self.assertEqual(code, 1, err)
            self.assertIn("orqcam: interrupted", err)
            self.assert_left_free(camera)

    def test_a_camera_that_was_left_waiting_runs_freely_for_the_next_command(self):
        camera = "virtual:k1c,timescale=0,state=camera.state"
        self.succeed("-c", camera + ",fpga=0", "reg", "--unsafe", "write", "fpga", "2", "0x0F")
        self.assertEqual(self.register(camera, 2), 0x0F)
        self.succeed("-c", camera + ",fpga=0xC0", "capture", *SMALL, "-o", "x.fits")
        self.assert_left_free(camera)

    def test_a_camera_without_trigger_unit_has_no_outputs(self):
        self.assertIn("has no trigger outputs",
                      self.fail_with(1, "-c", NONE, "capture", *SMALL, "--out-b", "0us,1ms", "-o", "x.fits"))

    # The command line

    def test_wrong_words_list_the_right_ones(self):
        for arguments, right in ((("--mode", "fast"), ", ".join(NAMES)), (("--mode", "7"), "0 to 6"),
                                 (("--mode", "-1"), "0 to 6"),
                                 (("--out-a", "10ms"), "DELAY,DURATION"), (("--out-b", "1,2,3,4"), "DELAY,DURATION"),
                                 (("--out-a", "0us,5"), "--out-a duration 5 needs a unit"),
                                 (("--out-a", "x,5ms"), "--out-a delay 'x' is not a time"),
                                 (("--out-b", "0us,0us"), "1us or more"),
                                 (("--out-b", "0us,2148s"), "2147s is the most"),
                                 (("--out-b", "0us,1ms,up"), "there are high and low"),
                                 (("--timeout", "5s"), "--mode rising, falling, high or low"),
                                 (("--timeout", "5", "--mode", "rising"), "--timeout 5 needs a unit"),
                                 (("--timeout", "0s", "--mode", "rising"), "longer than 0")):
            self.assertIn(right, self.fail_with(2, "-c", ALL, "capture", *arguments))
            self.assertIn(right, self.fail_with(2, "-c", ALL, "trigger", *arguments))

    def test_trigger_wants_a_trigger_mode_and_a_count(self):
        self.assertIn("choose another --mode", self.fail_with(2, "-c", ALL, "trigger", "--mode", "free"))
        for count in ("0", "-1", "many"):
            self.fail_with(2, "-c", ALL, "trigger", "-n", count)
