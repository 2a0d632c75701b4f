#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Makes a source file of the C++ examples of each page, so that they are compiled.

usage: page_examples.py REPOSITORY OUTPUT_FOLDER PAGE...

A code block of a page is one of these, as the comment right in front of it says:

    <!-- example: examples/hello_worker/main.cpp -->   the program of that file, from its first
                                                       #include on
    <!-- compile: declarations -->                     what stands at the level of a file
    <!-- compile: statements                           what stands in a function; before the end
    void Work();                                       of the comment, what the block takes for
    -->                                                granted

The headers are those that the block includes and those that the page names in backquotes, so a page
that names too few does not compile.
"""

import pathlib
import re
import sys

BLOCK = re.compile(
    r"(?:<!--\s*(?P<kind>example|compile): *(?P<what>[^\n]*?) *(?:\n(?P<context>.*?))?-->\n)?"
    r"^```cpp\n(?P<code>.*?)^```$",
    re.DOTALL | re.MULTILINE,
)
INCLUDE = re.compile(r"^#include .*$", re.MULTILINE)
STANDARD_HEADERS = ["chrono", "cstdint", "cstdio", "fstream", "future", "iostream", "memory", "optional",
                    "sstream", "string", "string_view", "thread", "utility", "vector"]


def source_of(page, repository):
    """The page's examples as one source file; empty when there is nothing to compile."""
    text = page.read_text("utf-8")
    examples = []
    includes = [f"#include <{header}>" for header in STANDARD_HEADERS]
    for name in re.findall(r"`([a-z0-9_/]+\.h)`", text):
        includes += [f'#include "{header.relative_to(repository).as_posix()}"'
                     for header in sorted(repository.glob(f"orvel/**/{name.split('/')[-1]}"))
                     if header.match(name)]
    for block in BLOCK.finditer(text):
        line = text.count("\n", 0, block.start("code")) + 1
        if block["kind"] == "example":
            program = (repository / block["what"]).read_text("utf-8")
            if block["code"] != program[program.index("#include") :]:
                sys.exit(f"{page}:{line}: not what {block['what']} holds")
            continue
        context = block["context"] or ""
        includes += INCLUDE.findall(block["code"])
        code = f'#line {line} "{page.as_posix()}"\n' + INCLUDE.sub("", block["code"])
        if block["what"] == "statements":
            code = f"[[maybe_unused]] void Example() {{\n{code}}}\n"
        elif block["what"] != "declarations":
            sys.exit(f"{page}:{line}: no comment says how this block is compiled")
        examples.append(f"namespace Block{len(examples)} {{\n{context}{code}}}\n")
    if not examples:
        return ""
    return "\n".join(["#include <windows.h>", *dict.fromkeys(includes)]) + "\n" + "".join(examples)


def main():
    repository, folder, *pages = map(pathlib.Path, sys.argv[1:])
    folder.mkdir(parents=True, exist_ok=True)
    for page in pages:
        target = folder / f"{page.stem.lower()}.cpp"
        source = source_of(page, repository)
        if not target.exists() or target.read_text("utf-8") != source:
            target.write_text(source, "utf-8")


main()
