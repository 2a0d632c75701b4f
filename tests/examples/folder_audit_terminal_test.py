#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs folder_audit on a terminal: folder_audit_terminal_test.py COMMAND...

COMMAND starts the program. Checks that it shows its progress there, does not follow a link from the
folder to itself, that Ctrl-C on the keyboard ends it in the middle of a file with a report of the
files before, that its line of progress is gone in the end, and that the flow log tells of the
interrupt; and that a second Ctrl-C ends it at once, also while the thread that hashes is stuck.
"""

import ctypes
import os
import pathlib
import pty
import re
import select
import sys
import tempfile
import time

TIMEOUT_SECONDS = 60
PTRACE_ATTACH = 16
WALL = 0x40000000  # waits for a single thread, too
HUGE = 1 << 40


def read_until(terminal, text, pattern):
    """Reads on from the terminal until `pattern` is in the text, or to the end."""
    end = time.monotonic() + TIMEOUT_SECONDS
    while not re.search(pattern, text):
        if not select.select([terminal], [], [], max(0, end - time.monotonic()))[0]:
            sys.exit(f"no {pattern!r} in {text!r}")
        try:
            piece = os.read(terminal, 4096)
        except OSError:  # what the end of a terminal looks like
            piece = b""
        if not piece:
            return text
        text += piece.decode("utf-8", "replace")
    return text


def busiest_thread(process):
    def ticks(thread):
        stat = pathlib.Path(f"/proc/{process}/task/{thread}/stat").read_text("ascii")
        return sum(map(int, stat.rpartition(")")[2].split()[11:13]))

    return max(map(int, os.listdir(f"/proc/{process}/task")), key=ticks)


def check_second_interrupt():
    """Holds the thread that hashes; the first Ctrl-C then waits for it, the second must not."""
    with tempfile.TemporaryDirectory() as folder:
        with open(os.path.join(folder, "huge"), "wb") as huge:
            huge.truncate(HUGE)
        child, terminal = pty.fork()
        if child == 0:
            os.execvp(sys.argv[1], [*sys.argv[1:], "--jobs", "1", f"Z:{folder}"])
        text = read_until(terminal, "", r"0 files, [1-9]\d+\.\d MB")
        held = busiest_thread(child)
        if ctypes.CDLL(None).ptrace(PTRACE_ATTACH, held, None, None) != 0:
            os.kill(child, 9)
            return []  # a system that does not let one hold threads
        os.waitpid(held, WALL)
        os.write(terminal, b"\x03")
        time.sleep(1)
        waits = os.path.exists(f"/proc/{child}/task/{held}") and not is_over(child)
        os.write(terminal, b"\x03")
        end = time.monotonic() + TIMEOUT_SECONDS
        while not is_over(child) and time.monotonic() < end:
            time.sleep(0.05)
        ended = is_over(child)
        os.kill(child, 9)
        problems = [] if waits else [f"the first Ctrl-C did not wait: {text!r}"]
        return problems if ended else [*problems, "the second Ctrl-C did not end it"]


def is_over(process):
    """True for a process whose main thread has ended; the thread that is held stays."""
    stat = pathlib.Path(f"/proc/{process}/stat").read_text("ascii")
    return stat.rpartition(")")[2].split()[0] == "Z"


def main():
    with tempfile.TemporaryDirectory() as folder, tempfile.TemporaryDirectory() as results:
        pathlib.Path(folder, "abc").write_text("abc", "ascii")
        pathlib.Path(folder, "loop").symlink_to(folder)
        with open(os.path.join(folder, "huge \u00e4"), "wb") as huge:
            huge.truncate(HUGE)
        log = pathlib.Path(results, "log")
        child, terminal = pty.fork()
        if child == 0:
            # With more jobs it is chance which file is shown.
            arguments = ["--list", "--jobs", "1", "--flow-log", f"Z:{log}", f"Z:{folder}"]
            os.execvp(sys.argv[1], [*sys.argv[1:], *arguments])
        # Long enough to see the line repainted.
        text = read_until(terminal, "", r"1 files, \d+\.\d MB  huge \u00e4")
        text = read_until(terminal, text, r"1 files, [1-9]\d+\.\d MB")
        os.write(terminal, b"\x03")
        text = read_until(terminal, text, r"Rate .*files/s")
        _, status = os.waitpid(child, 0)
        flow = log.read_text("utf-8")

    problems = check_second_interrupt()
    if os.waitstatus_to_exitcode(status) != 3:
        problems.append(f"exit code {os.waitstatus_to_exitcode(status)}")
    if re.search(r"(MB|huge)[^\r\n]*Interrupted", text):
        problems.append(f"progress and summary on one line: {text!r}")
    if "unknown" in flow.replace("0000000000000000 (unknown)", ""):  # no object has no name
        problems.append("something without a name in the flow log")
    for words, where in [
        ("f20015ad  abc", text),
        ("Interrupted. Up to then:", text),
        ("Files hashed  1", text),
        ("Bytes         3", text),
        ("Unreadable    0", text),
        ("Links         1 not followed", text),
        ("(Console event thread)", flow),
        ("% State_change to Stopping in_class MEngineThread", flow),
    ]:
        if words not in where:
            problems.append(f"no {words!r} in {where!r}")
    sys.exit("; ".join(problems) or 0)


main()
