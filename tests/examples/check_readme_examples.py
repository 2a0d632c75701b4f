#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Fails unless each example in README.md is the program that it says it is:

    <!-- example: examples/hello_worker/main.cpp -->
    ```cpp
    the file from its first #include on
    ```

usage: check_readme_examples.py REPOSITORY
"""

import pathlib
import re
import sys

root = pathlib.Path(sys.argv[1])
readme = (root / "README.md").read_text("utf-8")
examples = re.findall(r"<!-- example: ([^ ]*) -->\n```cpp\n(.*?)```", readme, re.DOTALL)
if not examples or len(examples) != readme.count("<!-- example:"):
    sys.exit("README.md: no example, or no code block right after the marker of one")
for path, block in examples:
    program = (root / path).read_text("utf-8")
    program = program[program.index("#include") :]
    if block != program:
        sys.exit(f"README.md: the example is not what {path} holds. It should be:\n{program}")
