#!/usr/bin/env python3
"""Shows that the layout checks find what they are there to find."""

import shutil
import tempfile
import unittest
from pathlib import Path

import check_headers
import check_includes


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


@unittest.skipUnless(shutil.which("c++"), "no compiler called c++")
class Headers(Tree):
    def test_a_header_that_needs_another_is_found(self):
        self.write("support/Needy.h", "#pragma once\nstd::string Name();\n")
        troubles, count = check_headers.check(self.source, "c++")
        self.assertEqual(list(troubles), ["support/Needy.h"])
        self.assertEqual(count, 3)


if __name__ == "__main__":
    unittest.main()
