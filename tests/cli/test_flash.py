"""id, serial and flash: what a camera keeps of its own."""

import os
import signal
import time

from support import CliTest, TIMEOUT

RECORD = 0x40000
PAGE = 0x70000
HEAD = 28  # of a dump; the contents follow
SIZE = 0x40000


class Tests(CliTest):
    def setUp(self):
        super().setUp()
        self.camera = f"virtual:k1c,timescale=0,serial=0123456789abcdef,state={self.path('camera.state')}"

    def flash(self, *arguments, more="", **options):
        return self.succeed("-c", self.camera + more, *arguments, **options)

    def dump(self, name="dump.orqflash", more=""):
        """The camera's flash as bytes."""
        self.flash("flash", "dump", self.path(name), "--overwrite", more=more)
        with open(self.path(name), "rb") as file:
            content = file.read()
        self.assertEqual(len(content), HEAD + SIZE + 8)
        return content[HEAD:HEAD + SIZE]

    def backups(self):
        directory = os.path.join(self.directory, "state", "orqcam", "flash")
        return sorted(os.listdir(directory)) if os.path.isdir(directory) else []

    def at_terminal(self, answer, *arguments):
        return super().at_terminal(answer, "-c", self.camera, *arguments)

    # Identity

    def test_serial(self):
        self.assertEqual(self.flash("serial")[0], "serial = 0123456789abcdef\n")
        self.assertEqual(self.json("-c", self.camera, "serial"), {"serial": "0123456789abcdef"})

    def test_a_camera_without_a_serial_number_is_a_failure(self):
        self.assertIn("serial number", self.fail_with(1, "-c", self.camera + ",refuse=0xC8", "serial"))

    def test_a_new_camera_has_no_id(self):
        self.assertEqual(self.flash("id", "get")[0], "id = none\n")
        self.assertEqual(self.json("-c", self.camera, "id", "get"), {"id": None})

    def test_an_id_is_stored_shown_and_removed(self):
        values = self.values(self.flash("id", "set", "guider", "--yes")[0])
        self.assertEqual(values["id"], "guider")
        self.assertTrue(os.path.isfile(values["backup"]))
        self.assertEqual(self.json("-c", self.camera, "id", "get"), {"id": "guider"})
        self.assertEqual(self.json("-c", self.camera, "info")["id"], "guider")
        self.assertEqual(self.dump()[PAGE - RECORD:][:10], b"IDguider\0\0")
        self.assertEqual(self.json("-c", self.camera, "id", "clear", "--yes")["id"], None)
        self.assertEqual(self.dump()[PAGE - RECORD:][:10], b"ID" + bytes(8))

    def test_an_id_of_eight_characters_fills_its_room(self):
        self.flash("id", "set", "a b-c_d8", "--yes")
        self.assertEqual(self.flash("id", "get")[0], "id = a b-c_d8\n")

    def test_what_is_no_id_is_refused_before_anything_is_touched(self):
        for text in ("", "nine char", "caf\u00e9", "a\tb"):
            self.assertIn("1 to 8 plain characters", self.fail_with(2, "-c", self.camera, "id", "set", text, "--yes"))
        self.assertEqual(self.files(), [])

    def test_an_unreadable_id_is_a_failure_not_no_id(self):
        self.assertIn("cannot read the id", self.fail_with(1, "-c", self.camera + ",refuse=0xC3", "id", "get"))

    def test_storing_an_id_keeps_the_rest_of_flash(self):
        pattern = self.restore_pattern()
        self.flash("id", "set", "guider", "--yes")
        expected = bytearray(pattern)
        expected[PAGE - RECORD:PAGE - RECORD + 10] = b"IDguider\0\0"
        self.assertEqual(self.dump(), bytes(expected))

    def test_storing_an_id_survives_weak_writes(self):
        values = self.values(self.flash("id", "set", "guider", "--yes",
                                        more=",flashflip@1,flashflip@2,flashflip@3")[0])
        self.assertEqual(values["id"], "guider")

    def test_without_a_backup_no_id_is_stored(self):
        message = self.fail_with(1, "-c", self.camera + ",flashread@10,flashread@11,flashread@12", "id", "set", "x",
                                 "--yes")
        self.assertIn("cannot read flash at 0x44000", message)
        open(self.path("file"), "w", encoding="ascii").close()
        message = self.fail_with(1, "-c", self.camera, "id", "set", "x", "--yes", "--backup", self.path("file"))
        self.assertIn("--backup", message)
        self.assertEqual(self.flash("id", "get")[0], "id = none\n")

    def test_a_lost_camera_has_its_own_exit_code(self):
        message = self.fail_with(4, "-c", self.camera + ",flashpower@1", "id", "set", "x", "--yes")
        self.assertIn(self.backups()[0], message)

    # Dump, restore, verify

    def pattern_file(self, name="pattern.orqflash"):
        """A file made from a dump with other contents and the right check sum; (path, contents)."""
        self.dump("base.orqflash")
        with open(self.path("base.orqflash"), "rb") as file:
            head = file.read(HEAD)
        contents = bytes((i * 7 + i // 256) % 256 for i in range(SIZE))
        total = 0xCBF29CE484222325
        for byte in head + contents:
            total = (total ^ byte) * 0x100000001B3 % 2**64
        with open(self.path(name), "wb") as file:
            file.write(head + contents + total.to_bytes(8, "little"))
        return self.path(name), contents

    def restore_pattern(self):
        path, contents = self.pattern_file()
        self.flash("flash", "restore", path, "--yes")
        return contents

    def test_a_dump_has_the_contents_of_flash(self):
        out, err = self.flash("flash", "dump", "new.orqflash")
        self.assertEqual(self.values(out), {"file": "new.orqflash", "size": "262144 bytes"})
        self.assertEqual(err, "")
        self.assertEqual(self.dump(), b"\xff" * SIZE)
        values = self.json("-c", self.camera, "flash", "dump", "other.orqflash")
        self.assertEqual(values, {"file": "other.orqflash", "size_bytes": 262144})

    def test_an_existing_file_is_not_replaced(self):
        with open(self.path("mine"), "w", encoding="ascii") as file:
            file.write("mine")
        self.assertIn("--overwrite", self.fail_with(1, "-c", self.camera, "flash", "dump", "mine"))
        with open(self.path("mine"), encoding="ascii") as file:
            self.assertEqual(file.read(), "mine")
        self.flash("flash", "dump", "mine", "--overwrite")
        self.assertEqual(os.path.getsize(self.path("mine")), HEAD + SIZE + 8)

    def test_a_dump_that_fails_leaves_no_file(self):
        self.fail_with(1, "-c", self.camera + ",flashread@3,flashread@4,flashread@5", "flash", "dump", "x")
        self.assertIn("cannot write", self.fail_with(1, "-c", self.camera, "flash", "dump", "no/x"))
        self.assertEqual(self.files(), ["camera.state"])

    def test_restore_and_verify(self):
        path, contents = self.pattern_file()
        self.assertIn("differs from the backup at 0x40000", self.fail_with(1, "-c", self.camera, "flash", "verify", path))
        before = self.dump()
        values = self.json("-c", self.camera, "flash", "restore", path, "--yes")
        self.assertEqual(values["restored"], path)
        self.assertEqual(self.dump(), contents)
        self.assertEqual(self.flash("flash", "verify", path)[0], f"file = {path}\nsame = yes\n")
        self.flash("flash", "restore", values["backup"], "--yes")
        self.assertEqual(self.dump(), before)

    def test_verify_says_in_json_what_it_found(self):
        path, _ = self.pattern_file()
        done = self.run_tool("-c", self.camera, "flash", "verify", path, "--json")
        self.assertEqual(done.returncode, 1)
        self.assertEqual(self.json_lines(done.stdout), [{"file": path, "same": False}])

    def test_a_damaged_file_is_not_restored(self):
        path, _ = self.pattern_file()
        with open(path, "r+b") as file:
            file.seek(5000)
            file.write(b"xyz")
        for command in ("restore", "verify"):
            self.assertIn("damaged", self.fail_with(1, "-c", self.camera, "flash", command, path))
        self.assertEqual(self.dump(), b"\xff" * SIZE)

    def test_a_file_of_another_camera_needs_its_own_word(self):
        path, contents = self.pattern_file()
        self.camera = self.camera.replace("0123456789abcdef", "fedcba9876543210")
        self.assertIn("another camera", self.fail_with(1, "-c", self.camera, "flash", "restore", path, "--yes"))
        self.flash("flash", "restore", path, "--yes", "--other-camera")
        self.assertEqual(self.dump(), contents)

    def test_a_camera_that_does_not_tell_its_number_may_be_another(self):
        path, contents = self.pattern_file()
        silent = self.camera + ",refuse=0xC8"
        self.assertIn("another camera", self.fail_with(1, "-c", silent, "flash", "restore", path, "--yes"))
        self.succeed("-c", silent, "flash", "restore", path, "--yes", "--other-camera")
        self.assertEqual(self.dump(), contents)

    def test_a_restore_that_lost_power_can_be_repeated(self):
        path, contents = self.pattern_file()
        message = self.fail_with(4, "-c", self.camera + ",flashpower@40", "flash", "restore", path, "--yes")
        self.assertIn(self.backups()[0], message)
        self.assertNotEqual(self.dump(), contents)
        self.flash("flash", "restore", path, "--yes")
        self.assertEqual(self.dump(), contents)

    # Asking

    def test_without_a_terminal_nothing_is_overwritten_unless_told(self):
        path, _ = self.pattern_file()
        for arguments in (("flash", "restore", path), ("id", "set", "x"), ("id", "clear")):
            self.assertIn("--yes", self.fail_with(2, "-c", self.camera, *arguments))
        self.assertEqual(self.dump(), b"\xff" * SIZE)
        self.assertEqual(self.backups(), [])

    def test_a_user_is_asked_and_may_say_no(self):
        for answer in (b"n\n", b"\n", b"\x04"):
            status, out, shown = self.at_terminal(answer, "id", "set", "guider")
            self.assertEqual((status, out), (1, ""), shown)
            self.assertIn("0123456789abcdef", shown)
            self.assertIn("nothing was changed", shown)
        self.assertEqual(self.flash("id", "get")[0], "id = none\n")
        self.assertEqual(self.backups(), [])

    def test_a_user_is_asked_and_may_say_yes(self):
        status, out, shown = self.at_terminal(b"y\n", "id", "set", "guider")
        self.assertEqual(status, 0, shown)
        self.assertEqual(self.values(out)["id"], "guider")

    def test_ctrl_c_at_the_question_means_no(self):
        status, out, shown = self.at_terminal(b"\x03", "id", "set", "guider")
        self.assertEqual((status, out), (1, ""), shown)
        self.assertIn("nothing was changed", shown)

    def test_a_terminal_is_shown_how_far_it_is(self):
        self.camera = self.camera.replace("timescale=0", "timescale=1") + ",flashms=10"
        status, _, shown = self.at_terminal(b"", "flash", "dump", "slow.orqflash")
        self.assertEqual(status, 0, shown)
        self.assertRegex(shown, r"\[#*\.*\] reading, \d+ %")

    # Interrupting

    def test_ctrl_c_stops_between_pieces_and_leaves_the_camera_usable(self):
        slow = self.camera.replace("timescale=0", "timescale=1") + ",flashms=300"
        process = self.start_tool("-c", slow, "flash", "dump", "x.orqflash")
        deadline = time.monotonic() + TIMEOUT
        while not os.path.exists(self.path("camera.state")):  # the camera is made: signals are handled
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.01)
        status, out, err = self.interrupt(process, signal.SIGINT)
        self.assertEqual((status, out), (1, ""))
        self.assertEqual(err, "orqcam: stopped while reading flash\n")
        self.assertEqual(self.files(), ["camera.state"])
        self.flash("capture", "-e", "1ms", "-o", "after.fits", "--center", "64,64")

    def test_wrong_words_list_the_right_ones(self):
        self.assertIn("dump, restore, verify", self.fail_with(2, "flash"))
        self.assertIn("get, set, clear", self.fail_with(2, "id", "put"))
