#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks that the library's folders include downwards only, and what includes the system's headers.

usage: check_layers.py FOLDER_OF_THE_LIBRARY [PROGRAM]
The program raises errors, and must not have the XML parser in it all the same.
"""

import pathlib
import re
import sys

# Each folder and those that it may include, beside itself and what these may include.
NEEDS = {
    "platform": [],
    "logging": ["platform"],
    "foundation": ["logging"],
    "threads": ["foundation"],
    "commands": ["threads"],
    "diagnostics": ["threads"],
    "filers/xml/store": ["foundation"],
    "filers/xml/parse": ["filers/xml/store"],
    "filers/xml/document": ["filers/xml/parse"],
    "filers": ["filers/xml/document"],
}
# The one exception: errors and chains go to filers and come back from there.
EXCEPTIONS = {"foundation/error_chain.cpp", "foundation/error_chain_xml.cpp"}
# Outside platform, what is nothing but calls of the system.
SYSTEM_SOURCES = {
    "diagnostics/crash_file.cpp",  # writes its file without the heap
    "diagnostics/crash_report_folder.cpp",  # finds and removes files without the heap
}
SYSTEM_HEADERS = {
    "platform/windows_api.h", "windows.h", "dbghelp.h", "objbase.h", "process.h", "psapi.h",
    "tlhelp32.h",
}


def below(folder):
    return {folder}.union(*map(below, NEEDS[folder]))


def main():
    root = pathlib.Path(sys.argv[1])
    faults = []
    for path in sorted([*root.rglob("*.h"), *root.rglob("*.cpp")]):
        source = path.relative_to(root).as_posix()
        folder = source.rpartition("/")[0]
        for included in re.findall(r'^#include ["<](.*)[">]', path.read_text("utf-8"), re.MULTILINE):
            target = included.removeprefix("orvel/")
            if target in SYSTEM_HEADERS:
                if folder != "platform" and source not in SYSTEM_SOURCES:
                    faults.append(f"{source} includes {included}, which is for platform")
            elif target != included and source not in EXCEPTIONS:
                if target.rpartition("/")[0] not in below(folder):
                    faults.append(f"{source} includes {included}, which is not below it")
    parser = (root / "filers/xml/parse/xml_parser.cpp").read_text("utf-8")
    for program in map(pathlib.Path, sys.argv[2:]):
        for text in re.findall(r'SetError\(L"(.*?)"', parser):
            if text.encode("utf-16-le") in program.read_bytes():
                faults.append(f"{program.name} holds the XML parser's text '{text}'")
    sys.exit("\n".join(faults) or 0)


if __name__ == "__main__":
    main()
