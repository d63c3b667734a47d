#!/usr/bin/env python3
"""Makes docs/performance.md and its pictures from what speed_bench measured.

  bench/report.py RESULTS.json DOCS [--orqcam PROGRAM] [--speed-bench PROGRAM] [--sustained STREAMS.json]

Takes of every benchmark the least processor time of all rounds: others on the machine only add to it. With --orqcam the
command's own start is measured, too; with --speed-bench the whole path is profiled, where perf is there; with --sustained
the page tells what bench/sustained measured. Without matplotlib the pictures stay as they are.
"""

import argparse
import collections
import json
import os
import re
import resource
import shutil
import subprocess
import tempfile

# What is compared with what, at the largest size, and at most how much it may be; None: for information.
GOALS = [
    ("every correction, both flips, gamma, 16 bit / memcpy", "whole path/16", "memcpy/16", 3.0),
    ("the same without gamma / memcpy", "whole path without gamma/16", "memcpy/16", 2.3),
    ("every correction, both flips, gamma, 8 bit / memcpy", "whole path/8", "memcpy/8", 3.0),
    ("nothing to correct, 16 bit: transfers to frame / memcpy", "payload/16", "memcpy/16", 1.1),
    ("the same, bytes swapped / memcpy", "payload swapped/16", "memcpy/16", 1.1),
    ("dark, 16 bit / memcpy", "dark/16", "memcpy/16", 1.2),
    ("dark, 8 bit / OpenCV's subtract", "dark/8", "opencv subtract/8", 1.0),
    ("hot pixels, 0.1 % listed, 16 bit / memcpy", "hot pixels/16/one_in:1000", "memcpy/16", 0.15),
    ("gamma, 8 bit / OpenCV's LUT", "gamma/8", "opencv lut/8", 1 / 3),
    ("demosaic to RGB 24 / OpenCV's bilinear", "demosaic/8", "opencv demosaic/8", 0.8),
    ("luminance / demosaic", "luminance/8", "demosaic/8", 0.5),
    ("bin 2 on the host, 16 bit / memcpy of the input", "bin 2/16", "memcpy/16", 0.8),
    ("both flips, 8 bit / OpenCV's flip", "flip both/8", "opencv flip both/8", 1.0),
    ("brightness for automatic exposure / its random draws", "brightness/16", "random draws", 1.2),
    ("colour statistics for white balance, 8 bit / a plain sum", "colour statistics/8", "sum/8", 1.5),
    ("cutting the hot-pixel table / memcpy of the map", "cut hot pixels", "memcpy/8", 2.0),
    ("the same, hardware bin 2 / memcpy of the map", "cut hot pixels, bin 2", "memcpy/8", 3.0),
    ("expanding a bitmap record / memset", "expand bitmap", "memset", 1.5),
]
CAMERAS_MOST = 1.1
COPY_OF = {"8": "memcpy/8", "16": "memcpy/16"}
# What is profiled, and the step that a function is part of: one after the other is looked for in its name.
PROFILED = ("whole path/16", "whole path without gamma/16", "whole path/8")
STEP_OF = {"dark": ("Subtract<",), "hot pixels": ("AverageNeighbours<", "RepairHotPixels<"),
           "bad rows and columns": ("RepairSomeColumns<", "RepairColumns<", "RepairRows<"), "dark list": ("RepairDarkPixels<",),
           "flips": ("MirrorRow<",), "gamma": ("Permute", "RunFramePath")}


class Results:
    """Least processor times in milliseconds, by name and size."""

    def __init__(self, path):
        with open(path, encoding="utf-8") as file:
            data = json.load(file)
        self.context = data["context"]
        self.least = {}
        self.rates = {}
        self.runs = {}
        rounds = collections.Counter()
        for run in data["benchmarks"]:
            if run.get("run_type") != "iteration" or run.get("error_occurred"):
                continue
            key = re.sub(r"/mp:(\d+)", "", run["run_name"]), int(re.search(r"/mp:(\d+)", run["run_name"])[1])
            rounds[key] += 1
            self.runs[key] = re.sub(r"/repeats:\d+", "", run["run_name"])
            if run["cpu_time"] < self.least.get(key, float("inf")):
                self.least[key] = run["cpu_time"]
                self.rates[key] = run.get("bytes_per_second", 0) / 1e9
        self.rounds = min(rounds.values())

    def ratio(self, name, to, megapixels=26):
        """None when one of both was not measured."""
        above, below = self.least.get((name, megapixels)), self.least.get((to, megapixels))
        return above / below if above and below else None


def machine(results):
    """Lines that say what it was measured on."""
    processor = "unknown"
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        words = dict(re.findall(r"^([^\t\n]+?)\s*: (.*)$", file.read(), re.M))
    processor = words.get("model name") or words.get("CPU part", processor)
    flags = set((words.get("flags") or words.get("Features") or "").split())
    vectors = [name for name in ("avx2", "avx512bw", "avx512vbmi", "asimd") if name in flags]
    caches = ", ".join(f"L{cache['level']} {cache['type'].lower()} {cache['size'] // 1024} KiB"
                       for cache in results.context["caches"])
    compiler = subprocess.run(["c++", "--version"], stdout=subprocess.PIPE, text=True, check=False).stdout
    return [f"- {processor}, {results.context['num_cpus']} processors, {', '.join(vectors) or 'no wide vectors'}",
            f"- caches: {caches}",
            f"- {compiler.splitlines()[0] if compiler else 'unknown compiler'}, release build",
            f"- memcpy of 26 megapixels, 16 bit: {results.rates['memcpy/16', 26]:.1f} GB/s",
            f"- {results.rounds} rounds in random order, least processor time of each; one thread",
            f"- load of the machine when it began: {results.context['load_avg'][0]:.1f}; above 0.5 the ratios are too large, "
            "because other programs take the caches and the memory's bandwidth"]


def started(orqcam, words):
    """Least processor time of a command in milliseconds, of 15 runs."""
    least = float("inf")
    for _ in range(15):
        before = resource.getrusage(resource.RUSAGE_CHILDREN)
        subprocess.run([orqcam, "--no-settings", *words], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=True)
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        least = min(least, after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime)
    return 1000 * least


def cameras(results):
    """Processor time of a frame with four cameras at once and with one."""
    return [results.least.get((f"cameras/16/threads:{count}", 2)) for count in (4, 1)]


def goals_table(results, orqcam):
    lines = ["| What | Measured | At most |", "|---|---:|---:|"]

    def row(what, value, most, unit=""):
        met = "" if most is None else " (missed)" if value is not None and value > most * 1.005 else " (met)"
        told = "not measured" if value is None else f"{value:.2f}{unit}{met}"
        lines.append(f"| {what} | {told} | {f'{most:.2f}{unit}' if most is not None else ''} |")

    for what, name, to, most in GOALS:
        row(what, results.ratio(name, to), most)
    four, one = cameras(results)
    row("processor time of a frame, four cameras at once / one", four / one if four and one else None, CAMERAS_MOST)
    mark = results.least.get(("time mark/24", 26))
    row("time mark, colour", 1000 * mark if mark else None, 5.0, " µs")
    rate = results.rates.get(("make bitmap", 26))
    told = f"{rate:.2f} GB/s ({'met' if rate >= 4 else 'missed'})" if rate else "not measured"
    lines.append(f"| making a bitmap record, at least 4 GB/s | {told} | |")
    if orqcam:
        row("`orqcam list`, processor time", started(orqcam, ["list"]), 20.0, " ms")
        row("`orqcam -c virtual:x26m info`, which opens it", started(orqcam, ["-c", "virtual:x26m", "info"]), 100.0, " ms")
    return lines


def profile(program, run):
    """Percent of the time of one run, named as the program does, that each function of the program takes, by perf."""
    with tempfile.TemporaryDirectory() as folder:
        data = os.path.join(folder, "perf.data")
        subprocess.run(["perf", "record", "-q", "-o", data, program, f"--benchmark_filter=^{run}$",
                        "--benchmark_min_time=3"], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=True)
        report = subprocess.run(["perf", "report", "-i", data, "--stdio", "--no-children", "--sort", "symbol"],
                                stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, check=True).stdout
    return [(float(percent), function) for percent, function in re.findall(r"^ *([0-9.]+)% +\[\.\] +(.*?)(?: +- +-)? *$", report, re.M)]


def shares(program, run):
    """Percent of the whole path's time that each step takes; what prepares the benchmark does not count."""
    found = dict.fromkeys(STEP_OF, 0.0)
    for percent, function in profile(program, run):
        step = next((step for step, words in STEP_OF.items() if any(word in function for word in words)), None)
        if step:
            found[step] += percent
    total = sum(found.values())
    return {step: 100 * percent / total for step, percent in found.items()} if total else None


def short(function):
    """A function's own name, with the kernel that a version of it runs."""
    kernel = re.search(r"RunWith(\w+)<(?:\w+::|\(anonymous namespace\)::)*(\w+)", function)
    if kernel:
        return f"{kernel[2]} ({kernel[1]})"
    return re.sub(r"[<(].*", "", function.replace("(anonymous namespace)::", "")).split("::")[-1].strip()


def limits_section(results, program):
    """What stands against each goal that is missed: where its time goes, in the caches and beyond them."""
    missed = [(what, name) for what, name, to, most in GOALS if (results.ratio(name, to) or 0) > most * 1.005]
    four, one = cameras(results)
    if not missed and not (four and one and four > one * CAMERAS_MOST * 1.005):
        return []
    lines = ["## What limits the goals that are missed", "",
             "Functions that take the most time (perf; copies that put the frame back for the next round are left out), and the cost "
             "of a megapixel: what costs much more at 26 megapixels than at 2 waits for the memory.", ""]
    if missed:
        lines += ["| What | 2 megapixels | 26 megapixels | Functions |", "|---|---:|---:|---|"]
    for what, name in missed:
        costs = [results.least.get((name, size)) for size in (2, 26)]
        cells = [f"{cost / size:.3f} ms" if cost else "" for cost, size in zip(costs, (2.12, 26.09))]
        top = [(percent, function) for percent, function in profile(program, results.runs[name, 26])
               if percent >= 3 and not function.startswith("__mem")][:4]
        lines.append(f"| {what} | {' | '.join(cells)} | {', '.join(f'{short(function)} {percent:.0f} %' for percent, function in top)} |")
    if four and one:
        alone, together = (shares(program, f"cameras/16/mp:2/threads:{count}") for count in (1, 4))
        if alone and together:
            lines += ["", "A frame of 2 megapixels, 16 bit, in processor time. Dark and flips read or write the whole frame and share the "
                      "memory with the other cameras; gamma works in a processor's own cache.", "",
                      "| Step | one camera | four at once |", "|---|---:|---:|"]
            lines += [f"| {step} | {one * alone[step] / 100:.3f} ms | {four * together[step] / 100:.3f} ms |" for step in STEP_OF]
    return [*lines, ""]


def limits(results, program):
    """Without perf nothing is said."""
    if not program or not shutil.which("perf"):
        return []
    try:
        return limits_section(results, program)
    except (OSError, subprocess.CalledProcessError) as error:
        print(f"report.py: no profile of what is missed: {error}")
        return []


def profile_section(results, program):
    """Where the time of the whole path goes, and what the same costs when the frame stays in the cache."""
    lines = ["## Where the time goes", "",
             "A megapixel costs the more the larger the frame is: in the processor's caches it is computed, beyond them the memory "
             "is waited for.", "", "| Cost of a megapixel | 2 megapixels | 26 megapixels |", "|---|---:|---:|"]
    for name in ("memcpy/16", "dark/16", "flip both/16", *PROFILED):
        small, large = (results.least.get((name, size)) for size in (2, 26))
        if small and large:
            lines.append(f"| {name} | {small / 2.12:.3f} ms | {large / 26.09:.3f} ms |")
    profiles = {}
    if program and shutil.which("perf"):
        try:
            profiles = {name: found for name in PROFILED if (found := shares(program, f"{name}/mp:26"))}
        except (OSError, subprocess.CalledProcessError) as error:
            print(f"report.py: no profile: {error}")
    if profiles:
        lines += ["", "Share of each step in the whole path at 26 megapixels (perf):", "",
                  f"| Step | {' | '.join(profiles)} |", f"|---|{'---:|' * len(profiles)}"]
        lines += [f"| {step} | {' | '.join(f'{found[step]:.0f} %' for found in profiles.values())} |" for step in STEP_OF]
    return [*lines, ""]


def streams_section(path):
    """What bench/sustained measured, if it was run."""
    if not path or not os.path.exists(path):
        return []
    with open(path, encoding="utf-8") as file:
        streams = json.load(file)
    lines = ["## Streams that lose nothing", "",
             "`scripts/bench --sustained`. Cores: processor time for each second, thread by thread. The first camera is on the emulated "
             "bus, in another process; the second one is a thread of the same process, which is counted.", "",
             "| What | Frames | Lost | MB/s | Cores | At most |", "|---|---:|---:|---:|---:|---:|"]
    for what, key in (("k1c at its full rate, 8 bit, emulated bus, dark, hot pixels, gamma, both flips", "emulated"),
                      ("source of 400 MB/s, 16 bit", "source")):
        stream = streams[key]
        cores = " + ".join(f"{share:.2f}" for share in stream["cores"] if share >= 0.005)
        lines.append(f"| {what} | {stream['frames']} | {stream['lost']} | {stream['rate_mb_per_s']:.0f} | "
                     f"{sum(stream['cores']):.2f} ({cores}) | 0.50 |")
    return [*lines, ""]


def kernels_table(results):
    lines = ["| Step / bits | 2 megapixels | 12 megapixels | 26 megapixels | copies of the frame |", "|---|---:|---:|---:|---:|"]
    names = sorted({name for name, _ in results.least if "/threads:" not in name})
    for name in names:
        times = [results.least.get((name, size)) for size in (2, 12, 26)]
        copy = COPY_OF.get(name.split("/")[1] if "/" in name else "8")
        copies = results.ratio(name, copy) if copy else None
        cells = ["" if time is None else f"{time:.3f} ms" for time in times]
        lines.append(f"| {name.replace('/one_in:', ', one in ')} | {' | '.join(cells)} | {f'{copies:.2f}' if copies else ''} |")
    return lines


def plot(results, folder):
    import matplotlib
    matplotlib.use("Agg")
    import matplotlib.pyplot as plt

    def picture(name, xlabel, curves, log=False):
        figure, axes = plt.subplots(figsize=(6, 3.6), layout="constrained")
        for label, points in curves.items():
            axes.plot(*zip(*sorted(points)), "o-", label=label)
        axes.set(xlabel=xlabel, ylabel="ms of one processor", ylim=0)
        if log:
            axes.set_xscale("log")
        axes.grid(alpha=0.3)
        axes.legend()
        figure.savefig(os.path.join(folder, name), dpi=100, metadata={"Software": None})
        plt.close(figure)

    def by_size(name):
        return [(size, time) for (other, size), time in results.least.items() if other == name]

    picture("pixels.png", "megapixels", {name: by_size(name) for name in
                                         ("memcpy/16", "whole path/16", "whole path without gamma/16", "whole path/8")})
    dense = {}
    for (name, _), time in results.least.items():
        found = re.fullmatch(r"(hot pixels/\d+|dark list/16)/one_in:(\d+)", name)
        if found:
            dense.setdefault(found[1], []).append((100 / int(found[2]), time))
    picture("hot-pixels.png", "listed pixels, %", dense, log=True)
    cameras = [(int(name.split(":")[1]), time * int(name.split(":")[1])) for (name, _), time in results.least.items()
               if name.startswith("cameras/16/threads:")]
    picture("cameras.png", "cameras at once, 2 megapixels, a frame of each", {"whole path/16": cameras})


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("results")
    parser.add_argument("docs")
    parser.add_argument("--orqcam")
    parser.add_argument("--speed-bench")
    parser.add_argument("--sustained")
    options = parser.parse_args()
    results = Results(options.results)
    folder = os.path.join(options.docs, "performance")
    os.makedirs(folder, exist_ok=True)
    pages = ["# Performance", "",
             "What a frame costs on its way to the program. `scripts/bench` measures it and writes this page; nothing here is written "
             "by hand.", "", *machine(results), "",
             "A copy of the frame (memcpy) in the same run is the measure: it is what the memory allows, and little less than what "
             "any program takes that looks at a frame.", "",
             "## Goals", "", "At 26 megapixels, ratios of processor times.", "", *goals_table(results, options.orqcam), "",
             *streams_section(options.sustained), *profile_section(results, options.speed_bench),
             *limits(results, options.speed_bench),
             "## Curves", "",
             "![Cost against pixels](performance/pixels.png)", "", "![Cost against listed pixels](performance/hot-pixels.png)", "",
             "![Cost against cameras](performance/cameras.png)", "",
             "## Every step", "", "Times of one frame.", "", *kernels_table(results), ""]
    with open(os.path.join(options.docs, "performance.md"), "w", encoding="utf-8") as file:
        file.write("\n".join(pages))
    try:
        plot(results, folder)
    except ImportError:
        print("report.py: the pictures stay as they are: matplotlib is missing (python3-matplotlib)")


if __name__ == "__main__":
    main()
