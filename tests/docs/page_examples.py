#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Makes a source file of the C++ examples of each page, so that they are compiled.

usage: page_examples.py OUTPUT_FOLDER PAGE...
       page_examples.py --check-programs REPOSITORY PAGE...

A code block of a page is one of these, as the comment right in front of it says:

    <!-- example: examples/hello_worker/main.cpp -->   the program of that file, from its first
                                                       #include on; --check-programs compares them
    <!-- compile: declarations -->                     what stands at the level of a file
    <!-- compile: statements -->                       what stands in a function

What a block takes for granted follows in the comment, and is compiled in front of it:

    <!-- compile: statements
    void Work();
    -->

The headers are those that the block includes and those that the page names in backquotes, in full or
behind their folder or one of the same folder, so a page that names too few does not compile. Every block of C++ needs
such a comment.
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


def blocks_of(page):
    text = page.read_text("utf-8")
    for block in BLOCK.finditer(text):
        line = text.count("\n", 0, block.start("code")) + 1
        if block["kind"] is None:
            sys.exit(f"{page}:{line}: no comment says how this block is compiled")
        yield line, block


def headers_of(text):
    """The library's headers that a page names: `orvel/threads/engine_thread.h`, `scoped_lock.h`."""
    folder = None
    for name in re.findall(r"`(orvel/[a-z0-9_/]+(?:/|\.h)|[a-z0-9_]+\.h)`", text):
        if "/" in name:
            folder = name[: name.rindex("/") + 1]
        elif folder:
            name = folder + name
        if name.startswith("orvel/") and name.endswith(".h"):
            yield name


def source_of(page):
    """The page's examples as one source file; empty when there is nothing to compile."""
    text = page.read_text("utf-8")
    examples = []
    includes = [f"#include <{header}>" for header in STANDARD_HEADERS]
    includes += [f'#include "{header}"' for header in headers_of(text)]
    for line, block in blocks_of(page):
        if block["kind"] == "example":
            continue
        context = block["context"] or ""
        includes += INCLUDE.findall(block["code"])
        code = f'#line {line} "{page.as_posix()}"\n' + INCLUDE.sub("", block["code"])
        if block["what"] == "statements":
            code = f"[[maybe_unused]] void Example() {{\n{code}}}\n"
        elif block["what"] != "declarations":
            sys.exit(f"{page}:{line}: 'compile: {block['what']}' is not known")
        examples.append(f"namespace Block{len(examples)} {{\n{context}{code}}}\n")
    if not examples:
        return ""
    return "\n".join(["#include <windows.h>", *dict.fromkeys(includes)]) + "\n" + "".join(examples)


def write_sources(folder, pages):
    folder.mkdir(parents=True, exist_ok=True)
    for page in pages:
        target = folder / f"{page.stem.lower()}.cpp"
        source = source_of(page)
        if not target.exists() or target.read_text("utf-8") != source:
            target.write_text(source, "utf-8")


def check_programs(repository, pages):
    for page in pages:
        for line, block in blocks_of(page):
            if block["kind"] != "example":
                continue
            program = (repository / block["what"]).read_text("utf-8")
            program = program[program.index("#include") :]
            if block["code"] != program:
                sys.exit(f"{page}:{line}: not what {block['what']} holds. It should be:\n{program}")


def main():
    pages = [pathlib.Path(page) for page in sys.argv[3 if sys.argv[1].startswith("--") else 2 :]]
    if sys.argv[1] == "--check-programs":
        check_programs(pathlib.Path(sys.argv[2]), pages)
    else:
        write_sources(pathlib.Path(sys.argv[1]), pages)


main()
