#!/usr/bin/env python3
"""Runs the stories in a virtual machine with a stock kernel.

    run_stories.py --build DIR [--folder DIR] [--long] [--cpus N] [--only TEXT] [--limit SECONDS]

Prints a line for each story. Exit status 1 when one of them fails, 2 when the machine cannot be run.
"""

import argparse
import json
import os
import re
import shutil
import subprocess
import sys
import time
import zlib
from pathlib import Path

import image
from machine import Cameras, Machine, Trouble
from story import fill, parse

HERE = Path(__file__).resolve().parent
MEMORY_MB = 3072
HEADER_BYTES = 64  # of a frame as it is sent; the format's bits stand at byte 25
FORMAT_AT = 25
MSB_FIRST = 2
PATIENCE = 60  # seconds, for what must come


EVERY_MODEL = "every model"


def models(build):
    """Every virtual model that has a place on a bus: all but the one that plays files inside a program."""
    text = subprocess.run([build / "faces/cli/orqcam", "--no-settings", "--json", "list", "--virtual"], check=True,
                          text=True, stdout=subprocess.PIPE).stdout
    return [model for model in re.findall(r'"virtual:(\w+)"', text) if model != "replay"]


class Teller:
    """Carries out the steps of stories."""

    def __init__(self, machine, build, folder, every_model):
        self.machine = machine
        self.build = build
        self.folder = folder
        self.models = every_model
        self.cameras = None
        self.plugged = ""  # what the cameras are, when another story may go on with them

    # Cameras ------------------------------------------------------------------------------------------------

    def plug(self, text):
        """Plugs in the cameras of a story: those words, or every model. Cameras that stay the same stay plugged in."""
        if text == self.plugged and "@" not in text:  # faults are counted from the beginning
            return self.plug_again()
        self.plugged = text
        if text == EVERY_MODEL:
            text = " ".join(self.models)
        words = [f"{word},serial={number + 1:016x}" for number, word in enumerate(text.split())]
        self.close()
        self.sees(0)
        self.cameras = Cameras(self.build / "emulation/orq-usbredir", self.folder, words)
        self.sees(len(words))

    def plug_again(self):
        """Those that a story has pulled out."""
        count = len(self.cameras.words)
        if self.seen() != count:
            for number in range(count):
                self.cameras.command(f"replug {number}")
        self.sees(count)

    def close(self):
        if self.cameras is not None:
            self.cameras.close()
            self.cameras = None

    def forget(self):
        """After a story that went wrong: its cameras may be in any state."""
        self.plugged = ""

    def seen(self):
        """How many cameras the guest has, configured and with the access rights that udev gives."""
        script = ("n=0; for d in /sys/bus/usb/devices/*; do [ \"$(cat $d/idVendor 2>/dev/null)\" = f055 ] && "
                  "[ \"$(cat $d/bConfigurationValue 2>/dev/null)\" = 1 ] && n=$((n+1)); done; udevadm settle; echo $n")
        return int(self.machine.run("root", script)[0])

    def sees(self, count):
        """Waits until the guest has so many cameras."""
        end = time.monotonic() + PATIENCE
        while True:
            seen = self.seen()
            if seen == count:
                return
            if time.monotonic() > end:
                raise Trouble(f"the guest sees {seen} cameras instead of {count}:\n"
                              + self.machine.run("root", "dmesg | tail -n 15")[0])
            time.sleep(0.1)

    def values(self, number):
        """What may stand in braces: of camera `number`."""
        words = self.cameras.words[number]
        return {"n": number, "model": words.split(",")[0], "serial": f"{number + 1:x}",
                "camera": f"serial:{number + 1:016x}"}

    # Steps --------------------------------------------------------------------------------------------------

    def tell(self, story):
        if story.cameras:
            self.plug(story.cameras)
        self.machine.run("root", "rm -rf /tmp/* /run/jobs/*; rm -rf /home/orq/.[a-z]*")
        self.steps(story.steps, self.values(0))

    def steps(self, steps, values):
        for step in steps:
            try:
                getattr(self, f"do_{step.verb}")(step, values)
            except Trouble as trouble:
                raise Trouble(f"line {step.line}: {step.verb} {fill(step.words, values)}\n{trouble}"
                              if "line " not in str(trouble)[:5] else str(trouble)) from None

    def do_each(self, step, values):
        for number in range(len(self.cameras.words)):
            self.steps(step.block, {**values, **self.values(number)})

    def do_repeat(self, step, values):
        for turn in range(int(fill(step.words, values))):
            self.steps(step.block, {**values, "turn": turn})

    def do_for(self, step, values):
        name, texts = fill(step.words, values).split(" in ", 1)
        for text in texts.split(" | "):
            self.steps(step.block, {**values, name: text.strip()})

    def do_run(self, step, values):
        self.command("orq", step, values)

    def do_root(self, step, values):
        self.command("root", step, values)

    def command(self, user, step, values):
        limit = next((int(e.words) for e in step.expectations if e.verb == "within"), PATIENCE)
        output, status = self.machine.run(user, fill(step.words, values), limit)
        self.judge(step, values, output, status)

    def judge(self, step, values, output, status):
        expected = [0]
        for expectation in step.expectations:
            words = fill(expectation.words, values)
            if expectation.verb == "status":
                expected = [int(word) for word in words.split()]
            elif expectation.verb == "prints" and not re.search(words, output, re.M):
                raise Trouble(f"it does not print {words}, but (status {status}):\n{output}")
            elif expectation.verb == "lacks" and re.search(words, output, re.M):
                raise Trouble(f"it prints {words}:\n{output}")
        if status not in expected:
            raise Trouble(f"its status is {status} instead of {' or '.join(map(str, expected))}:\n{output}")
        for expectation in step.expectations:
            if expectation.verb == "frames":
                self.compare(output, int(fill(expectation.words, values)), values)

    def do_note(self, step, values):
        """Prints a line that the command before left in /tmp/note: figures for whoever reads the log."""
        text = self.machine.run("root", "cat /tmp/note* 2>/dev/null")[0].strip()
        print("\n".join(f"      {fill(step.words, values)} {line}" for line in text.splitlines()))

    def do_start(self, step, values):
        name, command = fill(step.words, values).split(" ", 1)
        self.machine.start("orq", name, command)

    def do_shows(self, step, values):
        name, pattern = fill(step.words, values).split(" ", 1)
        end = time.monotonic() + PATIENCE
        while not re.search(pattern, self.machine.output(name), re.M):
            if time.monotonic() > end or self.machine.status(name) is not None:
                raise Trouble(f"{name} does not show {pattern}, but:\n{self.machine.output(name)}")
            time.sleep(0.1)

    def do_ends(self, step, values):
        """The program NAME ends within the seconds."""
        name = fill(step.words, values)
        limit = next((int(e.words) for e in step.expectations if e.verb == "within"), PATIENCE)
        end = time.monotonic() + limit
        while (status := self.machine.status(name)) is None:
            if time.monotonic() > end:
                self.machine.kill(name, "KILL")
                raise Trouble(f"{name} still runs after {limit} s:\n{self.machine.output(name)}")
            time.sleep(0.1)
        self.judge(step, values, self.machine.output(name), status)

    def do_kill(self, step, values):
        name, signal = fill(step.words, values).split()
        self.machine.kill(name, signal)

    def do_usb(self, step, values):
        answer = self.cameras.command(fill(step.words, values))
        if not answer.startswith("ok"):
            raise Trouble(answer)

    def do_sees(self, step, values):
        self.sees(int(fill(step.words, values)))

    def do_sleep(self, step, values):
        time.sleep(float(fill(step.words, values)))

    def compare(self, output, count, values):
        """The raw files that a capture has reported hold, byte for byte, what the sensor sent."""
        saved = [json.loads(line) for line in output.splitlines() if '"file"' in line]
        if len(saved) != count:
            raise Trouble(f"{len(saved)} frames were saved instead of {count}:\n{output}")
        for frame in saved:
            text, _ = self.machine.run("orq", f"crc32 {frame['file']}; wc -c <{frame['file']}")
            came = text.split()[0], int(text.split()[-1])
            sent = self.sent(values["n"], frame["sequence"])
            if came != sent:
                raise Trouble(f"frame {frame['sequence']} is not what the sensor sent: {came} instead of {sent}")

    def sent(self, number, sequence):
        """CRC-32 and bytes of the pixels that left the sensor under this frame number, least significant byte first."""
        path = os.path.join(self.folder, "sent")
        answer = self.cameras.command(f"sent {number} {sequence} {path}")
        if not answer.startswith("ok"):
            raise Trouble(answer)
        header, pixels = (content := Path(path).read_bytes())[:HEADER_BYTES], bytearray(content[HEADER_BYTES:])
        if header[FORMAT_AT] & MSB_FIRST:
            pixels[0::2], pixels[1::2] = pixels[1::2], pixels[0::2]
        return f"{zlib.crc32(pixels):08x}", len(pixels)


def chosen(only, long):
    """The stories to tell, the most valuable first: the time may not suffice for all."""
    stories = [story for file in sorted((HERE / "stories").glob("*.story"))
               for story in parse(file.read_text(encoding="utf-8"), file.name)]
    return sorted((story for story in stories if only in story.name and (long or not story.long)),
                  key=lambda story: story.rank)


def tell_all(teller, stories, enough):
    """Prints a line for each story and one at the end; none is begun after `enough`. How many failed."""
    results = {"ok": [], "FAIL": [], "late": [], "waits": []}
    for story in stories:
        began = time.monotonic()
        trouble = story.waits_for
        try:
            if trouble:
                result = "waits"
            elif began > enough:
                result = "late"
            else:
                teller.tell(story)
                result = "ok"
        except Trouble as problem:
            result, trouble = "FAIL", problem
            teller.forget()
        results[result].append(story.name)
        if result != "late":
            print(f"{result:5} {story.name} ({time.monotonic() - began:.1f} s)" + (f": {trouble}" if trouble else ""),
                  flush=True)
    told = len(results["ok"]) + len(results["FAIL"])
    closing = [f"{told} of {len(stories)} stories told, {len(results['FAIL'])} failed"]
    closing += [f"{text} {len(results[result])}: {'; '.join(results[result])}"
                for result, text in (("late", "no time for"), ("waits", "waiting")) if results[result]]
    print(". ".join(closing), flush=True)
    return len(results["FAIL"])


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", type=Path, required=True)
    parser.add_argument("--folder", type=Path, default=Path("build/guest"))
    parser.add_argument("--long", action="store_true", help="also the stories that take long")
    parser.add_argument("--cpus", type=int, default=1, help="virtual processors")
    parser.add_argument("--only", default="", help="only the stories whose names contain this")
    parser.add_argument("--limit", type=float, default=150, help="no story begins after so many seconds")
    options = parser.parse_args()
    enough = time.monotonic() + options.limit
    deadline = enough + 2 * PATIENCE  # by then the story that was begun has ended, or hangs

    stories = chosen(options.only, options.long)
    if not stories:
        parser.error(f"no story's name contains {options.only!r} (those that take long: --long)")
    options.folder.mkdir(parents=True, exist_ok=True)
    kernel, initramfs = image.pack(options.folder.resolve(), options.build.resolve())
    # Names of sockets must be short.
    folder = f"/tmp/orq-guest.{os.getpid()}"
    os.mkdir(folder, 0o700)
    machine = teller = None
    try:
        every_model = models(options.build.resolve())
        ports = max((len(every_model if story.cameras == EVERY_MODEL else story.cameras.split()) for story in stories),
                    default=1)
        machine = Machine(kernel, initramfs, folder, max(1, ports), options.cpus, MEMORY_MB, deadline)
        print(machine.console(1).strip())
        teller = Teller(machine, options.build.resolve(), folder, every_model)
        failed = tell_all(teller, stories, enough)
    except Trouble as trouble:
        failed = 1
        print(f"FAIL  {trouble}")
    finally:
        if teller is not None:
            teller.close()
        if machine is not None:
            machine.close()
        shutil.copytree(folder, options.folder / "last", dirs_exist_ok=True,
                        ignore=lambda where, names: [n for n in names if not n.endswith(".log")])
        shutil.rmtree(folder)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
