#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs a benchmark program and prints each figure beside its floor, with the ratio.

Names read COMPARISON/SIDE/...: the sides of one comparison run in one process, their repetitions
shuffled, so that what the machine does meanwhile meets all of them. "orvel" is the library's side.

Times are medians. "ratio" is that of the medians, "best" that of the shortest times, which a busy
machine disturbs least, and "spread" is the middle half of the ratios of single repetitions.
"""
import argparse
import collections
import json
import statistics
import subprocess
import sys

OWN_SIDE = "orvel"
# The highest ratio to another side that is called good, by the beginnings of comparisons and sides;
# the first that fits counts.
EXPECTED = (
    ("RecordEvent/threads:1", "", 1.05),
    ("RecordEvent/threads:2", "", 1.15),
    ("TracedScope", "", 1.10),
    ("QueuedCommand/threads:1", "one-per-wake-up", 0.2),
    ("QueuedCommand/threads:2", "one-per-wake-up", 0.1),
    ("QueuedCommand/", "asio", 2.0),
    ("ScheduledEvent/threads:1", "one-per-wake-up", 0.2),
    ("ScheduledEvent/threads:2", "one-per-wake-up", 0.1),
    ("ScheduledEvent/", "asio", 2.0),
    ("SynchronousCommand", "floor", 1.15),
    ("SynchronousCommand", "std-thread", 0.7),
    ("RegistryWrite", "", 1.10),
    ("RegistryRead", "", 1.10),
    ("ParseMoved/100000", "pugixml", 1.0),
    ("ParseMoved/", "pugixml", 0.7),
    ("ParseCopied/", "pugixml", 1.0),
    ("Write", "floor", 1.3),
    ("LookUp", "map", 1.5),
)


def split_name(name):
    parts = [part for part in name.split("/")
             if part not in ("real_time", "manual_time")
             and not part.startswith(("iterations:", "min_time:", "repeats:"))]
    return "/".join([parts[0]] + parts[2:]), parts[1]


def seconds_per_item(run):
    if "items_per_second" in run:
        return 1 / run["items_per_second"]
    units = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1}
    return run["real_time"] * units[run["time_unit"]]


def find_expected(comparison, side):
    for comparison_start, side_start, ratio in EXPECTED:
        if comparison.startswith(comparison_start) and side.startswith(side_start):
            return ratio
    return None


def show_time(seconds):
    for limit, factor, unit in ((1e-6, 1e9, "ns"), (1e-3, 1e6, "us"), (1, 1e3, "ms")):
        if seconds < limit:
            return f"{seconds * factor:.1f} {unit}"
    return f"{seconds:.2f} s"


def run_program(command):
    result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                            stdin=subprocess.DEVNULL, check=False)
    if result.returncode != 0:
        sys.exit(f"{command[1]} ended with {result.returncode}")
    return result.stdout.decode()


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--emulator", required=True, help="program that runs Windows programs")
    parser.add_argument("--filter", default=".", help="regular expression of names to run")
    parser.add_argument("--repetitions", type=int, default=30)
    parser.add_argument("program")
    parser.add_argument("arguments", nargs="*", help="passed on to the program")
    arguments = parser.parse_args()

    base = [arguments.emulator, arguments.program] + arguments.arguments
    listing = run_program(base + ["--benchmark_list_tests=true",
                                  f"--benchmark_filter={arguments.filter}"])
    groups = list(dict.fromkeys(name.split("/")[0] for name in listing.split()))
    if not groups:
        print(f"nothing matches {arguments.filter}")
        return

    header = f"{'':34}{'orvel':>12}{'':3}{'against':<16}{'':>12}{'ratio':>8}{'best':>8}{'spread':>15}  expected"
    print(header)
    for group in groups:
        output = run_program(base + [
            f"--benchmark_filter=^{group}/", "--benchmark_format=json",
            "--benchmark_enable_random_interleaving=true",
            f"--benchmark_repetitions={arguments.repetitions}"])
        times = collections.defaultdict(lambda: collections.defaultdict(dict))
        for run in json.loads(output)["benchmarks"]:
            if run["run_type"] == "iteration":
                comparison, side = split_name(run["run_name"])
                times[comparison][side][run["repetition_index"]] = seconds_per_item(run)
        for comparison, sides in times.items():
            own = sides.pop(OWN_SIDE)
            for side, other in sides.items():
                ratio = statistics.median(own.values()) / statistics.median(other.values())
                # Repetitions of one index ran close to one another; their ratios show the noise.
                quarters = statistics.quantiles([own[i] / other[i] for i in own], n=4)
                best = min(own.values()) / min(other.values())
                expected = find_expected(comparison, side)
                verdict = "" if expected is None else (
                    f"  {expected:.2f} {'ok' if ratio <= expected else 'MISSED'}")
                print(f"{comparison:34}{show_time(statistics.median(own.values())):>12}   "
                      f"{side:<16}{show_time(statistics.median(other.values())):>12}{ratio:8.3f}{best:8.3f}"
                      f"{quarters[0]:8.3f}-{quarters[2]:.3f}{verdict}", flush=True)


if __name__ == "__main__":
    main()
