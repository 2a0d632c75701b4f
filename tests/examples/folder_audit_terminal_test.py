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


def start(folder, *arguments):
    """Starts the program on a folder, on a terminal of its own; gives its process and the terminal.
    With more jobs it is chance which file is shown."""
    with open(os.path.join(folder, "huge \u00e4"), "wb") as huge:
        huge.truncate(HUGE)
    child, terminal = pty.fork()
    if child == 0:
        os.execvp(sys.argv[1], [*sys.argv[1:], "--jobs", "1", *arguments, f"Z:{folder}"])
    return child, terminal


def read_until(terminal, text, pattern):
    """Reads on from the terminal until `pattern` is in the text, or to the end."""
    end = time.monotonic() + TIMEOUT_SECONDS
    while not re.search(pattern, text):
        if not select.select([terminal], [], [], max(0, end - time.monotonic()))[0]:
            sys.exit(f"no {pattern!r} in {text!r}")
        try:
            piece = os.read(terminal, 4096)
        except OSError:  # what the end of a terminal looks like
            return text
        text += piece.decode("utf-8", "replace")
    return text


def stat_of(path):
    return pathlib.Path(path, "stat").read_text("ascii").rpartition(")")[2].split()


def is_over(process):
    """True for a process whose main thread has ended; a thread that is held stays."""
    return stat_of(f"/proc/{process}")[0] == "Z"


def check_interrupt():
    with tempfile.TemporaryDirectory() as folder, tempfile.TemporaryDirectory() as results:
        pathlib.Path(folder, "abc").write_text("abc", "ascii")
        pathlib.Path(folder, "loop").symlink_to(folder)
        log = pathlib.Path(results, "log")
        child, terminal = start(folder, "--list", "--flow-log", f"Z:{log}")
        # Long enough to see the line repainted.
        text = read_until(terminal, "", r"1 files, \d+\.\d MB  huge \u00e4")
        text = read_until(terminal, text, r"1 files, [1-9]\d+\.\d MB")
        os.write(terminal, b"\x03")
        text = read_until(terminal, text, r"Rate .*files/s")
        _, status = os.waitpid(child, 0)
        flow = log.read_text("utf-8")

    assert os.waitstatus_to_exitcode(status) == 3, status
    assert not re.search(r"(MB|huge)[^\r\n]*Interrupted", text), text
    # No object has no name.
    assert "unknown" not in flow.replace("0000000000000000 (unknown)", ""), flow
    for words in ("f20015ad  abc", "Interrupted. Up to then:", "Files hashed  1", "Bytes         3",
                  "Unreadable    0", "Links         1 not followed"):
        assert words in text, (words, text)
    for words in "(Console event thread)", "% State_change to Stopping in_class MEngineThread":
        assert words in flow, (words, flow)


def check_second_interrupt():
    """Holds the thread that hashes; the first Ctrl-C then waits for it, the second must not."""
    with tempfile.TemporaryDirectory() as folder:
        child, terminal = start(folder)
        read_until(terminal, "", r"0 files, [1-9]\d+\.\d MB")
        threads = f"/proc/{child}/task/"
        held = max(os.listdir(threads),
                   key=lambda thread: sum(map(int, stat_of(threads + thread)[11:13])))  # its time
        if ctypes.CDLL(None).ptrace(PTRACE_ATTACH, int(held), None, None) != 0:
            os.kill(child, 9)
            return  # a system that does not let one hold threads
        os.waitpid(int(held), WALL)
        os.write(terminal, b"\x03")
        time.sleep(1)
        waits = os.path.exists(threads + held) and not is_over(child)
        os.write(terminal, b"\x03")
        end = time.monotonic() + TIMEOUT_SECONDS
        while not is_over(child) and time.monotonic() < end:
            time.sleep(0.05)
        ended = is_over(child)
        os.kill(child, 9)
        assert waits, "the first Ctrl-C did not wait"
        assert ended, "the second Ctrl-C did not end it"


check_interrupt()
check_second_interrupt()
