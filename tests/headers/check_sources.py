#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks the library's sources for what no compiler says.

usage: check_sources.py PUBLIC_HEADERS PROGRAM PREPROCESSOR [ARGUMENT...]
run where the paths of #include "..." start. PUBLIC_HEADERS is a source that includes them. PROGRAM
raises errors, and must not have the XML parser in it all the same; "" for none.

Folders include downwards only, and few sources the system's headers. A name in a public header that
is a macro of <windows.h> is silently replaced in a program that includes that first: an operation
gets another name than it has in the library, or does not compile. Names that a header merely uses
count too, std::min for one. And what the debugger's views name has to be in a header.
"""

import pathlib
import re
import subprocess
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
# A macro that works in every order of includes: see orvel/foundation/error.h.
ALLOWED = {"GetMessage"}
# MSVC's <windows.h> defines them in C++ as well, that of mingw-w64 in C only.
MORE_MACROS = {"max", "min"}

NOT_CODE = re.compile(
    r"""//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|(?<![0-9A-Za-z_])'(?:\\.|[^'\\\n])+'""", re.DOTALL
)
# The word after "#define" is a name of ours; what the other directives hold is not code.
DIRECTIVE = re.compile(r"^[ \t]*#[ \t]*(?!define\b)\w+(?:\\\n|[^\n])*", re.MULTILINE)
IDENTIFIER = re.compile(r"\b[A-Za-z_]\w*")


def below(folder):
    return {folder}.union(*map(below, NEEDS[folder]))


def check_layers(root):
    for path in sorted([*root.rglob("*.h"), *root.rglob("*.cpp")]):
        source = path.relative_to(root).as_posix()
        folder = source.rpartition("/")[0]
        for included in re.findall(r'^#include ["<](.*)[">]', path.read_text("utf-8"), re.MULTILINE):
            target = included.removeprefix("orvel/")
            if target in SYSTEM_HEADERS:
                if folder != "platform" and source not in SYSTEM_SOURCES:
                    yield f"{source} includes {included}, which is for platform"
            elif target != included and source not in EXCEPTIONS:
                if target.rpartition("/")[0] not in below(folder):
                    yield f"{source} includes {included}, which is not below it"


def check_program(root, program):
    parser = (root / "filers/xml/parse/xml_parser.cpp").read_text("utf-8")
    for text in re.findall(r'SetError\(L"(.*?)"', parser):
        if text.encode("utf-16-le") in pathlib.Path(program).read_bytes():
            yield f"{program} holds the XML parser's text '{text}'"


def macros(preprocessor, source):
    output = subprocess.run([*preprocessor, "-x", "c++", "-dM", "-E", "-"], input=source,
                            stdout=subprocess.PIPE, text=True, check=True)
    return {line.split()[1].split("(")[0] for line in output.stdout.splitlines()}


def check_macro_names(source, preprocessor):
    system_macros = macros(preprocessor, "#include <windows.h>\n") - macros(preprocessor, "")
    # Nonsense in would be silence out.
    if not {"GetMessage", "CreateEvent", "Yield"} <= system_macros:
        yield "the macros of <windows.h> were not found"
    system_macros |= MORE_MACROS
    for header in re.findall('#include "(.*)"', pathlib.Path(source).read_text("utf-8")):
        code = DIRECTIVE.sub(" ", NOT_CODE.sub(" ", pathlib.Path(header).read_text("utf-8")))
        # In parentheses a macro with arguments is not expanded: (std::max)(a, b).
        code = re.sub(r"\(((?:\w|::|<|>)+::)(?:min|max)\)", r"(\1)", code)
        for name in sorted(set(IDENTIFIER.findall(code)) & system_macros - ALLOWED):
            yield f"{header}: {name} is a macro of <windows.h>"


def check_views(root):
    declared = " ".join(header.read_text("utf-8") for header in root.rglob("*.h"))
    views = (root / "orvel.natvis").read_text("utf-8")
    for name in sorted(set(re.findall(r'\b[a-z]\w*_\b|(?<=<Type Name=")[\w:]+', views))):
        if not re.search(rf"\b{name.rsplit(':', 1)[-1]}\b", declared):
            yield f"orvel.natvis: no header has {name}"


def main():
    source, program, *preprocessor = sys.argv[1:]
    root = pathlib.Path("orvel")
    faults = [*check_layers(root), *check_macro_names(source, preprocessor), *check_views(root)]
    if program:
        faults += check_program(root, program)
    sys.exit("\n".join(faults) or 0)


main()
