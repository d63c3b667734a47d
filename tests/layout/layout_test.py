#!/usr/bin/env python3
"""Shows that the layout checks find what they are there to find."""

import shutil
import tempfile
import unittest
from pathlib import Path

import check_faces
import check_headers
import check_includes
import check_rooms


class Tree(unittest.TestCase):
    def setUp(self):
        self._folder = tempfile.TemporaryDirectory()
        self.addCleanup(self._folder.cleanup)
        self.source = Path(self._folder.name)
        self.write("support/Tick.h", "#pragma once\n")
        self.write("camera/CameraBase.h", '#pragma once\n#include "support/Tick.h"\n')

    def write(self, name, text):
        path = self.source / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")


class Faces(Tree):
    def breaches(self):
        return check_faces.check(self.source)

    def setUp(self):
        super().setUp()
        shutil.rmtree(self.source / "support")
        shutil.rmtree(self.source / "camera")
        self.write("indi/Driver.h", "#pragma once\n#include <orqcam/orqcam.hpp>\n")

    def test_a_face_includes_its_own_files_and_the_installed_headers(self):
        self.write("indi/main.cpp", '#include "Driver.h"\n')
        self.write("indi/wire/Text.cpp", '#include "Driver.h"\n#include "../Driver.h"\n')
        self.write("cli/main.cpp", '#include "support/Text.h"\n')
        self.assertEqual(self.breaches(), [])

    def test_a_face_must_not_go_below_the_library_nor_use_another_face(self):
        self.write("indi/main.cpp", '#include "session/Failure.h"\n')
        self.write("cli/main.cpp", '#include "Driver.h"\n')
        self.assertEqual([line.split(":")[0] for line in self.breaches()], ["cli/main.cpp", "indi/main.cpp"])


class Includes(Tree):
    def breaches(self):
        return check_includes.check(self.source)

    def test_downward_includes_pass(self):
        self.write("gps/GpsDecode.h", '#pragma once\n#include "support/Tick.h"\n')
        self.write("gps/Gps.cpp", '#include "camera/CameraBase.h"\n#include "gps/GpsDecode.h"\n')
        self.write("models/Model.h", '#pragma once\n#include "camera/CameraBase.h"\n')
        self.write("link/Link.cpp", "#include <vector>\n")
        self.assertEqual(self.breaches(), [])

    def test_a_subsystem_header_must_not_know_the_camera_class(self):
        self.write("gps/GpsDecode.h", '#pragma once\n#include "camera/CameraBase.h"\n')
        self.assertEqual(self.breaches(), ["gps/GpsDecode.h: must not include camera/CameraBase.h"])

    def test_includes_must_not_run_upward(self):
        self.write("models/Model.h", "#pragma once\n")
        self.write("support/Up.cpp", '#include "models/Model.h"\n')
        self.write("camera/Up.cpp", '#  include  "models/Model.h"\n')
        self.assertEqual(self.breaches(), ["camera/Up.cpp: must not include models/Model.h",
                                           "support/Up.cpp: must not include models/Model.h"])

    def test_the_virtual_camera_knows_nothing_of_the_camera_class(self):
        self.write("virtual/Firmware.cpp", '#include "camera/CameraBase.h"\n')
        self.assertEqual(self.breaches(), ["virtual/Firmware.cpp: must not include camera/CameraBase.h"])

    def test_only_the_interface_itself_knows_the_public_headers(self):
        self.write("api/Camera.cpp", '#include "orqcam/orqcam.h"\n')
        self.write("session/Camera.cpp", '#include "orqcam/orqcam.h"\n')
        self.assertEqual(self.breaches(), ["session/Camera.cpp: must not include orqcam/orqcam.h"])

    def test_the_library_knows_no_signals_and_no_terminal(self):
        self.write("session/Wait.cpp", "#include <csignal>\n#include <chrono>\n")
        self.write("support/Say.h", "#pragma once\n# include <iostream>\n")
        self.assertEqual(
            self.breaches(),
            ["session/Wait.cpp: must not include <csignal>", "support/Say.h: must not include <iostream>"],
        )

    def test_services_use_models_and_are_used_by_the_interface_only(self):
        self.write("models/Model.h", "#pragma once\n")
        self.write("session/Service.h", '#pragma once\n#include "models/Model.h"\n')
        self.write("models/Up.cpp", '#include "session/Service.h"\n')
        self.write("virtual/Up.cpp", '#include "session/Service.h"\n')
        self.assertEqual(
            self.breaches(),
            ["models/Up.cpp: must not include session/Service.h", "virtual/Up.cpp: must not include session/Service.h"],
        )

    def test_circles_are_found(self):
        self.write("link/A.h", '#pragma once\n#include "link/B.h"\n')
        self.write("link/B.h", '#pragma once\n#include "link/A.h"\n')
        self.assertEqual(self.breaches(), ["include circle: link/A.h -> link/B.h -> link/A.h"])

    def test_a_missing_file_is_found(self):
        self.write("link/A.h", '#pragma once\n#include "A.h"\n')
        self.assertEqual(self.breaches(), ["link/A.h: no such file in the source tree: A.h"])

    def test_a_folder_without_rules_is_found(self):
        self.write("extra/A.h", '#pragma once\n#include "support/Tick.h"\n')
        self.assertEqual(self.breaches(), ["extra/A.h: must not include support/Tick.h"])

    def test_an_empty_tree_is_no_success(self):
        for path in self.source.rglob("*.h"):
            path.unlink()
        self.assertEqual(len(self.breaches()), 1)


class Rooms(Tree):
    def fill(self, folder, count):
        for number in range(count):
            self.write(f"{folder}/{number}.h", "")

    def full(self):
        return {name.split("/", 1)[1]: count for name, count in check_rooms.check(self.source)[0].items()}

    def test_25_files_are_a_room_and_26_are_too_many(self):
        self.fill("link", 25)
        self.fill("gps", 26)
        self.assertEqual(self.full(), {"gps": 26})

    def test_the_files_of_rooms_inside_do_not_count(self):
        self.fill("link", 25)
        self.fill("link/usb", 25)
        self.fill("link/stream/ring", 30)
        self.assertEqual(self.full(), {"link/stream/ring": 30})

    def test_all_files_are_counted_whatever_they_are(self):
        self.fill("link", 25)
        self.write("link/README.md", "")
        self.assertEqual(self.full(), {"link": 26})
        self.assertEqual(check_rooms.check(self.source)[1], 28)


@unittest.skipUnless(shutil.which("c++"), "no compiler called c++")
class Headers(Tree):
    def test_a_header_that_needs_another_is_found(self):
        self.write("support/Needy.h", "#pragma once\nstd::string Name();\n")
        troubles, count = check_headers.check(self.source, "c++")
        self.assertEqual(list(troubles), ["support/Needy.h"])
        self.assertEqual(count, 3)

    def test_only_what_stands_first_in_a_source_file_is_left_to_the_build(self):
        self.write("support/First.h", "#pragma once\nstd::string First();\n")
        self.write("support/Second.h", "#pragma once\nstd::string Second();\n")
        self.write("support/Third.h", "#pragma once\nstd::string Third();\n")
        self.write("support/First.cpp", '// Its own header.\n#include "support/First.h"\n\n#include "support/Second.h"\n')
        self.write("support/Other.cpp", '#include <string>\n#include "support/Third.h"\n')
        troubles, count = check_headers.check(self.source, "c++")
        self.assertEqual(list(troubles), ["support/Second.h", "support/Third.h"])
        self.assertEqual(count, 5)


if __name__ == "__main__":
    unittest.main()
