"""Stories: what is done in the virtual machine and what must come of it, a line each. See stories/README.md."""

import re
from dataclasses import dataclass, field

# Verb, and whether it opens a block that `end` closes.
VERBS = {"run": False, "root": False, "start": False, "shows": False, "ends": False, "kill": False, "usb": False,
         "status": False, "prints": False, "lacks": False, "frames": False, "within": False, "sees": False,
         "sleep": False, "note": False, "repeat": True, "each": True, "for": True}
# What is said of the command before it.
EXPECTATIONS = ("status", "prints", "lacks", "frames", "within")


@dataclass
class Step:
    verb: str
    words: str
    line: int
    expectations: list = field(default_factory=list)
    block: list = field(default_factory=list)


@dataclass
class Story:
    name: str
    cameras: str = ""
    long: bool = False
    waits_for: str = ""
    rank: int = 2
    steps: list = field(default_factory=list)


def parse(text, file):
    """The stories of a file."""
    stories, blocks = [], []
    for number, line in enumerate(text.splitlines(), 1):
        line = line.strip()
        if not line or line.startswith("#"):
            continue
        if line.startswith("== "):
            stories.append(Story(line[3:]))
            blocks = [stories[-1].steps]
            continue
        verb, _, words = line.partition(" ")
        words = words.strip()
        if not stories:
            raise ValueError(f"{file}:{number}: a story begins with ==")
        if verb == "cameras":
            stories[-1].cameras = words
        elif verb == "long":
            stories[-1].long = True
        elif verb == "rank":
            stories[-1].rank = int(words)
        elif verb == "waits":
            stories[-1].waits_for = words
        elif verb == "end":
            blocks.pop()
            if not blocks:
                raise ValueError(f"{file}:{number}: end of what?")
        elif verb not in VERBS:
            raise ValueError(f"{file}:{number}: unknown word {verb}")
        elif verb in EXPECTATIONS:
            if not blocks[-1]:
                raise ValueError(f"{file}:{number}: {verb} of what?")
            blocks[-1][-1].expectations.append(Step(verb, words, number))
        else:
            blocks[-1].append(Step(verb, words, number))
            if VERBS[verb]:
                blocks.append(blocks[-1][-1].block)
    return stories


def fill(text, values):
    """`text` with {name} replaced by the value of that name; other braces stay."""
    return re.sub(r"\{(\w+)\}", lambda found: str(values.get(found[1], found[0])), text)
