"""stream: rates every second, counters at the end."""

from support import CliTest, K1C

SMALL = ("--region", "0,0,256,256")


class Tests(CliTest):
    def test_every_second_has_a_line_and_the_end_has_the_counters(self):
        lines = self.succeed("-c", K1C, "stream", *SMALL, "--seconds", "2.5")[0].splitlines()
        seconds = [line for line in lines if line.startswith("time = ")]
        self.assertIn(len(seconds), (1, 2))  # a busy machine may be late for the second one
        for line in seconds:
            self.assertRegex(line, r"^time = [\d.]+ s, fps = [\d.]+, rate = [\d.]+ MB/s, frames = \d+, drops = \d+, "
                                   r"failed = 0$")
        counters = self.values("\n".join(lines[len(seconds):]))
        self.assertEqual(counters["identity_holds"], "yes")
        self.assertGreater(int(counters["delivered"].split()[0]), 0)
        for name in ("started", "completed", "failed", "dropped", "aborted", "filling", "failed_short",
                     "failed_oversize", "failed_marks", "failed_sequence", "failed_stalled", "failed_transport",
                     "failed_timed_out", "lost", "overwritten", "bytes", "bytes_discarded", "submit_retries",
                     "halts_cleared", "resyncs", "in_flight", "in_flight_max", "longest_gap"):
            self.assertIn(name, counters)

    def test_json_is_one_object_per_second_and_a_final_one(self):
        lines = self.json_lines(self.succeed("-c", K1C, "stream", *SMALL, "--seconds", "1.5", "--json")[0])
        for line in lines[:-1]:
            self.assertEqual(list(line), ["time_s", "fps", "rate_mb_per_s", "frames", "drops", "failed"])
        final = lines[-1]
        self.assertIs(final["final"], True)
        self.assertIs(final["identity_holds"], True)
        self.assertEqual(final["started"], final["completed"] + final["failed"] + final["dropped"] +
                         final["aborted"] + final["filling"])

    def test_frames_limit_the_stream(self):
        final = self.json_lines(self.succeed("-c", K1C, "stream", *SMALL, "--frames", "7", "--json")[0])[-1]
        self.assertEqual(final["delivered"], 7)
        self.assertGreaterEqual(final["completed"], 7)

    def test_megabytes_are_decimal(self):
        final = self.json_lines(self.succeed("-c", K1C, "stream", *SMALL, "--seconds", "1", "--json")[0])[-1]
        self.assertAlmostEqual(final["rate_mb_per_s"], final["bytes"] / 1e6 / final["seconds"],
                               delta=0.02 * final["rate_mb_per_s"] + 0.02)

    def test_damaged_frames_are_counted_by_kind_and_the_identity_holds(self):
        # In real time, so that a slot is free for every frame: one that is dropped is not judged.
        camera = "virtual:k1c,short@2,badheader@4,stall@6"
        final = self.json_lines(
            self.succeed("-c", camera, "stream", *SMALL, "-e", "30ms", "--frames", "12", "--json")[0])[-1]
        self.assertEqual((final["failed_short"], final["failed_marks"], final["halts_cleared"]), (1, 1, 1))
        self.assertIs(final["identity_holds"], True)

    def test_a_lost_camera_shows_its_counters_and_has_its_own_exit_status(self):
        done = self.run_tool("-c", "virtual:k1c,unplug@5", "stream", *SMALL, "-e", "50ms", "--seconds", "60")
        self.assertEqual(done.returncode, 4, done.stderr)
        self.assertEqual(done.stderr, "orqcam: the camera was lost; check its cable\n")
        self.assertIn("identity_holds = yes", done.stdout)

    def test_reconnect_goes_on_after_an_unplug_and_counts_on(self):
        out, err = self.succeed("-c", "virtual:k1c,unplug@5,replug=200ms", "--json", "stream", *SMALL, "-e", "20ms",
                                "--frames", "12", "--reconnect")
        final = self.json_lines(out)[-1]
        self.assertEqual((final["delivered"], final["reconnects"]), (12, 1))
        self.assertGreaterEqual(final["completed"], 12)
        self.assertIs(final["identity_holds"], True)
        self.assertIn("the camera is back", err)

    def test_no_frame_at_all_is_a_failure(self):
        done = self.run_tool("-c", "virtual:k1c", "stream", *SMALL, "-e", "100s", "--seconds", "0.3")
        self.assertEqual(done.returncode, 1)
        self.assertIn("may take up to 100.", done.stderr)

    def test_a_large_frame_over_usb_2_is_not_called_a_bad_one_before_it_can_be_there(self):
        # 52 MB at 40 MB/s take 1.3 s.
        done = self.run_tool("-c", "virtual:x26m,usb=2,scene=dark", "stream", "-e", "1ms", "--format", "raw16",
                             "--seconds", "1.1")
        self.assertEqual(done.returncode, 1)
        self.assertIn("no frame arrived yet", done.stderr)
        self.assertNotIn("the camera sent no good frame", done.stderr)

    def test_a_camera_that_sends_nothing_is_not_called_a_short_stream(self):
        done = self.run_tool("-c", f"{K1C},drop=1", "stream", "--region", "0,0,64,64", "--seconds", "1.2")
        self.assertEqual(done.returncode, 1, done.stderr)
        self.assertIn("the camera sent no good frame in 1.2", done.stderr)
