"""guide: a line of the guide port never stays on."""

import signal

from support import CliTest, K1C, X26M


class Tests(CliTest):
    def start_pulse(self, camera=K1C):
        """A pulse of ten seconds, as soon as its line is on."""
        process = self.start_tool("-c", camera, "--debug", "guide", "north", "10000")
        for line in process.stderr:
            if "is on" in line:
                return process
        self.fail("the line never went on")

    def test_a_pulse_lasts_as_long_as_asked(self):
        for direction, ms in (("north", 1), ("South", 30), ("east", 7), ("west", 120)):
            values = self.json("-c", K1C, "guide", direction, str(ms))
            self.assertEqual((values["direction"], values["asked_ms"]), (direction.lower(), ms))
            self.assertGreaterEqual(values["pulse_ms"], ms)

    def test_signals_during_a_pulse_switch_the_line_off(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT, signal.SIGTSTP):
            process = self.start_pulse()
            code, out, err = self.interrupt(process, number)
            self.assertEqual(code, 1, err)
            self.assertTrue(err.endswith("orqcam: interrupted: the guide line north is off\n"), err)
            self.assertLess(float(self.values(out)["pulse"].split()[0]), 9000)

    def test_a_line_that_cannot_be_switched_off_is_an_alarm(self):
        message = self.fail_with(1, "-c", K1C + ",refuse=0xB1", "guide", "west", "5")
        self.assertIn("guide line west could not be switched off and may still be on", message)
        self.assertIn("unplug the guide cable or the camera", message)

    def test_an_interrupt_does_not_hide_that_alarm(self):
        process = self.start_pulse(K1C + ",refuse=0xB1")
        code, out, err = self.interrupt(process)
        self.assertEqual((code, out), (1, ""), err)
        self.assertIn("may still be on", err)

    def test_a_line_that_cannot_be_switched_on_is_switched_off_again(self):
        message = self.fail_with(1, "-c", K1C + ",refuse=0xB0", "guide", "north", "5")
        self.assertIn("did not switch the guide line north on", message)
        self.assertNotIn("may still be on", message)
        message = self.fail_with(1, "-c", K1C + ",refuse=0xB0,refuse=0xB1", "guide", "north", "5")
        self.assertIn("did not switch the guide line north on", message)
        self.assertIn("may still be on", message)

    def test_nonsense_times_are_refused_before_a_camera_is_opened(self):
        for wrong in ("0", "-5", "10001", "99999999999999999999", "1.5", "long", ""):
            self.assertIn("pulse", self.fail_with(2, "-c", "virtual:k1c,unheard=of", "guide", "north", wrong))

    def test_nonsense_directions_are_refused(self):
        self.assertIn("north, south, east and west", self.fail_with(2, "-c", K1C, "guide", "up", "5"))
        self.fail_with(2, "-c", K1C, "guide", "north")

    def test_a_camera_without_guide_port_says_so(self):
        self.assertIn("no guide port", self.fail_with(1, "-c", X26M, "guide", "north", "5"))
