#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Audits a folder of large files and one of many small ones by folder_audit, with one job and with
two, beside one thread that reads and hashes by hand, and prints what whole runs take.

Times are medians of rounds in which each side runs once. The folders are made where they are named,
and used again.
"""
import argparse
import collections
import pathlib
import statistics
import subprocess
import sys
import time

# Name, number of files, size of each, and the highest ratio of two jobs to one that is called good.
SETS = (
    ("large", 64, 16 * 1024 * 1024, 1 / 1.7),
    ("small", 20_000, 1024, 1.0),
)
ONE_JOB, TWO_JOBS, BY_HAND = "one job", "two jobs", "by hand"


def make_files(folder, count, size):
    folder.mkdir(parents=True, exist_ok=True)
    for number in range(count):
        file = folder / f"{number:05}.bin"
        if not file.exists() or file.stat().st_size != size:
            file.write_bytes(number.to_bytes(4, "little") * (size // 4))


def read_files(folder):
    """So that no side reads from the disk what the others find in memory."""
    for file in folder.iterdir():
        file.read_bytes()


def measure(command, expected):
    start = time.perf_counter()
    result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                            stdin=subprocess.DEVNULL, check=False)
    seconds = time.perf_counter() - start
    if result.returncode != 0 or expected not in result.stdout.decode().splitlines():
        sys.exit(f"{command[1]} ended with {result.returncode}, or did not print: {expected}")
    return seconds


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--emulator", required=True, help="program that runs Windows programs")
    parser.add_argument("--rounds", type=int, default=7)
    parser.add_argument("folder_audit", help="the program")
    parser.add_argument("hash_by_hand", help="the program")
    parser.add_argument("folder", type=pathlib.Path, help="where the files to audit are kept")
    arguments = parser.parse_args()

    for name, count, size, expected in SETS:
        folder = arguments.folder / name
        make_files(folder, count, size)
        read_files(folder)
        windows_path = "Z:" + str(folder.resolve()).replace("/", "\\")
        audit = [arguments.emulator, arguments.folder_audit, "--settings-key",
                 "FolderAuditBenchmark"]
        sides = {
            ONE_JOB: audit + ["--jobs", "1", windows_path],
            TWO_JOBS: audit + ["--jobs", "2", windows_path],
            BY_HAND: [arguments.emulator, arguments.hash_by_hand, windows_path],
        }
        times = collections.defaultdict(list)
        for _ in range(arguments.rounds):
            for side, command in sides.items():
                times[side].append(measure(command, f"Files hashed  {count}"))
        medians = {side: statistics.median(times[side]) for side in sides}
        ratio = medians[TWO_JOBS] / medians[ONE_JOB]
        print(f"{count} files of {size} bytes: " +
              ", ".join(f"{side} {seconds:.2f} s" for side, seconds in medians.items()))
        print(f"    two jobs beside one {ratio:.3f} (expected {expected:.2f}: "
              f"{'ok' if ratio <= expected else 'MISSED'}), one job beside by hand "
              f"{medians[ONE_JOB] / medians[BY_HAND]:.3f}, two jobs beside by hand "
              f"{medians[TWO_JOBS] / medians[BY_HAND]:.3f}", flush=True)


if __name__ == "__main__":
    main()
