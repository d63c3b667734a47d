"""The stories can be read, and the documentation names those that there are."""

import re
import unittest
from fnmatch import fnmatch
from pathlib import Path

from story import fill, parse

HERE = Path(__file__).resolve().parent
DOCUMENT = HERE.parent.parent / "docs" / "reliability.md"


def all_stories():
    return [story for file in sorted((HERE / "stories").glob("*.story"))
            for story in parse(file.read_text(encoding="utf-8"), file.name)]


class Stories(unittest.TestCase):
    def test_each_has_a_name_of_its_own_cameras_and_steps(self):
        stories = all_stories()
        self.assertEqual(len({story.name for story in stories}), len(stories))
        for story in stories:
            self.assertTrue(story.cameras and story.steps, story.name)

    def test_the_documentation_names_stories_that_exist(self):
        names = {story.name for story in all_stories()}
        text = DOCUMENT.read_text(encoding="utf-8")
        named = [name for row in re.findall(r"guest: ((?:\*[^*]+\*(?:, )?)+)", text)
                 for name in re.findall(r"\*([^*]+)\*", row)]
        self.assertGreater(len(named), 15)
        self.assertEqual([name for name in named if name not in names], [])

    def test_the_documentation_names_tests_of_the_network_that_exist(self):
        sources = "".join(file.read_text(encoding="utf-8") for file in (HERE.parent / "network").glob("test_*.py"))
        tests = {name.replace("_", " ") for name in re.findall(r"^    def test_(\w+)\(", sources, re.M)}
        named = [name for row in re.findall(r"network: ((?:\*[^*]+\*(?:, )?)+)", DOCUMENT.read_text(encoding="utf-8"))
                 for name in re.findall(r"\*([^*]+)\*", row)]
        self.assertGreater(len(named), 10)
        self.assertEqual([name for name in named if name not in tests], [])

    def test_the_documentation_names_tests_that_exist(self):
        sources = "".join(file.read_text(encoding="utf-8") for file in HERE.parent.rglob("*_test.cpp"))
        tests = {f"{suite.removeprefix('Usb')}.{name}"
                 for suite, name in re.findall(r"^(?:TYPED_)?TEST(?:_F)?\((\w+), (\w+)\)", sources, re.M)}
        named = re.findall(r"`(\w+\.(?:\w+|\*))`", DOCUMENT.read_text(encoding="utf-8"))
        named = [name for name in named if not name.startswith("usbcore")]
        self.assertGreater(len(named), 3)
        for name in named:
            self.assertTrue(any(fnmatch(test, name) for test in tests), name)

    def test_every_fault_of_the_documentation_has_its_test_and_its_time(self):
        faults = []
        for table in re.findall(r"^\| Fault \|(?:.*\n)(?:\|.*\n)+", DOCUMENT.read_text(encoding="utf-8"), re.M):
            head, _, *rows = [[cell.strip() for cell in line.strip("|").split("|")] for line in table.splitlines()]
            self.assertEqual(head[2:], ["Within", "Shown by"])
            for fault, _, _, shown in rows:
                scripts = re.findall(r"`(scripts/[\w-]+)`", shown)
                self.assertEqual([name for name in scripts if not (HERE.parent.parent / name).exists()], [])
                is_named = bool(scripts) or re.search(r"(?:guest|network): \*|(?:link|unit): `\w+\.", shown)
                self.assertTrue(is_named or (shown.startswith("the same") and faults), fault)
                faults.append(fault)
        self.assertGreater(len(faults), 30)


class Words(unittest.TestCase):
    def test_a_story_is_cameras_steps_and_what_is_expected_of_them(self):
        story, = parse("""
            # a remark
            == a name
            cameras k1c,seed=2 x26m
            rank 1
            run orqcam list
              status 3
              prints a  b
            each
              usb unplug {n}
            end
            sleep 1
        """, "test")
        self.assertEqual((story.name, story.cameras, story.long, story.rank), ("a name", "k1c,seed=2 x26m", False, 1))
        self.assertEqual([step.verb for step in story.steps], ["run", "each", "sleep"])
        self.assertEqual([(e.verb, e.words) for e in story.steps[0].expectations],
                         [("status", "3"), ("prints", "a  b")])
        self.assertEqual([step.words for step in story.steps[1].block], ["unplug {n}"])

    def test_what_makes_no_sense_is_refused(self):
        for text in ("run x", "== a\nnonsense x", "== a\nstatus 1", "== a\nend"):
            with self.assertRaises(ValueError, msg=text):
                parse(text, "test")

    def test_braces_that_name_nothing_stay(self):
        self.assertEqual(fill("{n} {n:02} {other} ${x}", {"n": 3}), "3 {n:02} {other} ${x}")


if __name__ == "__main__":
    unittest.main()
