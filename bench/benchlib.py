"""What the scripts in this directory share: building, measuring, tables."""

import argparse
import collections
import json
import os
import platform
import shutil
import statistics
import subprocess
import sys
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
MIN_ROUNDS = 5  # of which a median says something


def arguments(description, rounds=MIN_ROUNDS):
    parser = argparse.ArgumentParser(description=description)
    parser.add_argument("--rounds", type=int, default=rounds,
                        help=f"measurements of each kind (default {rounds})")
    parser.add_argument("--build", help="a build directory to use as it is; default: build-bench is built")
    parser.add_argument("--dir", help="where the files are made (default: /dev/shm, so that no disk is measured)")
    parser.add_argument("--save", metavar="FILE", help="write all measurements there as JSON")
    return parser


def prepare(given, targets):
    """Builds what is missing and gives a directory for files, which goes at the end."""
    if given.rounds < 1:
        raise SystemExit("at least one round")
    if given.build is None:
        given.build = os.path.join(ROOT, "build-bench")
        run = lambda *command: subprocess.run(command, cwd=ROOT, check=True, stdout=subprocess.DEVNULL)
        run("packaging/install-packages", "build", "bench")
        run("cmake", "--preset", "bench")
        run("cmake", "--build", "--preset", "bench", "--target", *targets)
    parent = given.dir or ("/dev/shm" if os.path.isdir("/dev/shm") else None)
    return tempfile.TemporaryDirectory(prefix="vesk-bench.", dir=parent)


def driver(given, name):
    return os.path.join(given.build, "bench", "drivers", f"bench_{name}")


def program(given):
    return os.path.join(given.build, "host", "vesk")


def measure(command):
    """Runs a driver; its lines "NAME VALUE" as lists by name."""
    output = subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout
    values = collections.defaultdict(list)
    for line in output.splitlines():
        name, value = line.split()
        values[name].append(float(value))
    return dict(values)


def machine():
    model = "unknown processor"
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        for line in file:
            if line.startswith("model name"):
                model = line.split(":", 1)[1].strip()
                break
    load = os.getloadavg()
    memory = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / 2**30
    with open("/proc/sys/net/core/rmem_max", encoding="utf-8") as file:
        limit = int(file.read())
    return (f"{os.cpu_count()} x {model}, {memory:.0f} GiB, Linux {platform.release()}, "
            f"net.core.rmem_max {limit}, load {load[0]:.1f} at the start")


class Table:
    """Prints medians, and ratios against what is wanted; the verdict is the exit code."""

    def __init__(self, title):
        self.title = title
        self.rows = []
        self.ratios = []
        self.kept = {}
        self.machine = machine()

    def add(self, name, values, unit, scale=1.0):
        scaled = [value * scale for value in values]
        self.rows.append((name, statistics.median(scaled), min(scaled), max(scaled), len(scaled), unit))
        self.kept[name] = {"unit": unit, "values": scaled}

    def ratio(self, name, value, wanted, at_least=True):
        good = value >= wanted if at_least else value <= wanted
        self.ratios.append((name, value, "at least" if at_least else "at most", wanted, good))

    def finish(self, given):
        print(f"{self.title}\n{self.machine}\n")
        width = max(len(row[0]) for row in self.rows)
        print(f"{'':{width}}  {'median':>10} {'least':>10} {'most':>10}   rounds")
        for name, median, low, high, count, unit in self.rows:
            print(f"{name:{width}}  {median:10.3f} {low:10.3f} {high:10.3f} {count:8d}   {unit}")
        print()
        for name, value, word, wanted, good in self.ratios:
            print(f"{name}: {value:.2f} ({word} {wanted:g}: {'reached' if good else 'NOT reached'})")
        if given.save:
            with open(given.save, "w", encoding="utf-8") as file:
                json.dump({"title": self.title, "machine": self.machine, "values": self.kept,
                           "ratios": [ratio[:4] for ratio in self.ratios]}, file, indent=1)
        sys.exit(0 if all(ratio[-1] for ratio in self.ratios) else 1)


def paired_ratio(numerators, denominators):
    """The median of the ratios of measurements that were made one right after the other."""
    return statistics.median(a / b for a, b in zip(numerators, denominators))


def need(tool):
    if shutil.which(tool) is None:
        raise SystemExit(f"{tool} is missing; packaging/install-packages bench")
