#!/usr/bin/env python3
"""Shows that the layout checks find what they are there to find."""

import shutil
import tempfile
import unittest
from pathlib import Path

import check_faces
import check_headers
import check_includes
import check_locks
import check_names
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


class Names(Tree):
    def test_tests_are_called_alike(self):
        self.write("unit/ring_test.cpp", "TEST(Ring, HoldsWhatWasPut) {}\nTEST_P(Ring, IsEmptyAtFirst) {}\n")
        self.write("cli/test_list.py", "class List(unittest.TestCase):\n    def test_it(self):\n        pass\n")
        self.write("cli/support.py", "class Command(unittest.TestCase):\n    pass\n")
        self.assertEqual(check_names.check_tests(self.source), ([], 2))

    def test_other_names_are_found(self):
        self.write("unit/RingTest.cpp", "TEST(Ring, HoldsWhatWasPut) {}\n")
        self.write("unit/empty_test.cpp", "int main() {}\n")
        self.write("unit/pipe_test.cpp", "TEST_F(Pipe, ends_well) {}\n")
        self.write("cli/list_test.py", "class List(unittest.TestCase):\n    def test_it(self):\n        pass\n")
        self.assertEqual(check_names.check_tests(self.source)[0], [
            "cli/list_test.py: holds tests and is not called like the others",
            "unit/RingTest.cpp: holds tests and is not called like the others",
            "unit/empty_test.cpp: holds no test",
            "unit/pipe_test.cpp: Pipe.ends_well is no CamelCase",
        ])

    def test_two_headers_of_one_name_are_found(self):
        self.assertEqual(check_names.check_headers(self.source), [])
        self.write("virtual/Tick.h", "#pragma once\n")
        self.assertEqual(check_names.check_headers(self.source), ["support/Tick.h and virtual/Tick.h have one name"])


class Locks(Tree):
    PAGE = ("| Lock | In the code | Place | Guards |\n|---|---|---|---|\n"
            "| the tick's | `Tick::mutex_` | 1 | `Tick::time_` |\n| the pool's | `Pool::Slot::mutex` | 2 | a slot |\n\n"
            "Order:\n\n1. the tick's;\n2. the pool's.\n")

    def setUp(self):
        super().setUp()
        self.write("support/Tick.h", "#pragma once\nclass Tick {\n  void Go() { ++time_; }\n  mutable std::mutex mutex_;  // {\n};\n")
        self.write("camera/Pool.cpp", "class Pool : public A,\n             public B {\n  struct Slot {\n    Mutex mutex;\n  };\n};\n")

    def breaches(self, page):
        self.write("page.md", page)
        return check_locks.check(self.source / "page.md", [self.source / "support", self.source / "camera"])[0]

    def test_locks_that_are_told_of_with_their_place_pass(self):
        self.assertEqual(self.breaches(self.PAGE), [])

    def test_a_lock_that_is_not_told_of_is_found(self):
        self.write("camera/Ring.cpp", "struct Ring {\n  orq::Mutex inner;\n};\nvoid Keep::All() {\n  static std::mutex mutex;\n}\n")
        self.assertEqual(self.breaches(self.PAGE), ["camera/Ring.cpp: Ring::inner is not told of",
                                                    "camera/Ring.cpp: Keep::All::mutex is not told of"])

    def test_a_lock_without_a_place_in_the_order_is_found(self):
        self.assertEqual(self.breaches(self.PAGE.replace("\n2. the pool's.", "")), ["Pool::Slot::mutex has no place in the order"])

    def test_a_lock_that_is_gone_is_found(self):
        self.assertEqual(self.breaches(self.PAGE.replace("`Tick::mutex_`", "`Tick::mutex_`, `Tock::mutex_`")),
                         ["Tock::mutex_ is told of and not in the code"])

    def test_two_locks_of_one_name_are_found(self):
        self.write("camera/Other.h", "struct Tick {\n  std::mutex mutex_;\n};\n")
        self.assertEqual(len(self.breaches(self.PAGE)), 1)


@unittest.skipUnless(shutil.which("c++"), "no compiler called c++")
class Headers(Tree):
    def test_a_header_that_needs_another_is_found(self):
        self.write("support/Needy.h", "#pragma once\nstd::string Name();\n")
        troubles, count = check_headers.check(self.source, "c++")
        self.assertEqual(list(troubles), ["support/Needy.h"])
        self.assertEqual(count, 3)

    def test_a_header_that_is_included_by_the_name_of_its_tree_has_been_shown(self):
        self.write("support/Needy.h", "#pragma once\nstd::string Name();\n")
        self.write("support/Needy.cpp", f'#include "{self.source.name}/support/Needy.h"\n')
        self.assertEqual(check_headers.check(self.source, "c++")[0], {})

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
