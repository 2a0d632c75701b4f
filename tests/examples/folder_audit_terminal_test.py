#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs folder_audit on a terminal: folder_audit_terminal_test.py COMMAND...

COMMAND starts the program. Checks that it shows its progress there, that Ctrl-C on the keyboard
ends it, and that its line of progress is gone in the end.
"""

import os
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
    with tempfile.TemporaryDirectory() as folder:
        with open(os.path.join(folder, "huge \u00e4"), "wb") as huge:
            huge.truncate(HUGE)
        child, terminal = pty.fork()
        if child == 0:
            os.execvp(sys.argv[1], [*sys.argv[1:], "Z:" + folder.replace("/", "\\")])
        # Long enough to see the line repainted.
        text = read_until(terminal, "", r"0 files, \d+\.\d MB  huge \u00e4")
        text = read_until(terminal, text, r"0 files, [1-9]\d+\.\d MB")
        os.write(terminal, b"\x03")
        interrupted = read_until(terminal, "", r"Rate .*files/s")
        _, status = os.waitpid(child, 0)

    problems = []
    if os.waitstatus_to_exitcode(status) != 3:
        problems.append(f"exit code {os.waitstatus_to_exitcode(status)}")
    if not re.search(r"Interrupted. Up to then:", interrupted):
        problems.append("no word of the interrupt")
    if re.search(r"(MB|huge)[^\r\n]*Interrupted", interrupted):
        problems.append("progress and summary on one line")
    if problems:
        sys.exit("; ".join(problems) + f" in {interrupted!r}")


main()
