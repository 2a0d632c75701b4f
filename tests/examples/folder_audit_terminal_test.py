#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs folder_audit on a terminal: folder_audit_terminal_test.py COMMAND...

COMMAND starts the program. Checks that it shows its progress there, does not follow a link from the
folder to itself, that Ctrl-C on the keyboard ends it in the middle of a file with a report of the
files before, that its line of progress is gone in the end, and that the flow log tells of the
interrupt.
"""

import os
import pathlib
import pty
import re
import select
import sys
import tempfile
import time

TIMEOUT_SECONDS = 60
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


def main():
    with tempfile.TemporaryDirectory() as folder, tempfile.TemporaryDirectory() as results:
        pathlib.Path(folder, "abc").write_text("abc", "ascii")
        pathlib.Path(folder, "loop").symlink_to(folder)
        with open(os.path.join(folder, "huge \u00e4"), "wb") as huge:
            huge.truncate(HUGE)
        log = pathlib.Path(results, "log")
        child, terminal = pty.fork()
        if child == 0:
            arguments = ["--list", "--flow-log", f"Z:{log}", f"Z:{folder}"]
            os.execvp(sys.argv[1], [*sys.argv[1:], *arguments])
        # Long enough to see the line repainted.
        text = read_until(terminal, "", r"1 files, \d+\.\d MB  huge \u00e4")
        text = read_until(terminal, text, r"1 files, [1-9]\d+\.\d MB")
        os.write(terminal, b"\x03")
        text = read_until(terminal, text, r"Rate .*files/s")
        _, status = os.waitpid(child, 0)
        flow = log.read_text("utf-8")

    problems = []
    if os.waitstatus_to_exitcode(status) != 3:
        problems.append(f"exit code {os.waitstatus_to_exitcode(status)}")
    if re.search(r"(MB|huge)[^\r\n]*Interrupted", text):
        problems.append(f"progress and summary on one line: {text!r}")
    if "unknown" in flow:
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
