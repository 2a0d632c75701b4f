#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Finds names in public headers that <windows.h> defines as macros, and names that the debugger's
views use and no header has.

A macro's name is silently replaced in a program that includes <windows.h> first: an operation gets
another name than it has in the library, or does not compile. Names that a header merely uses count
too, std::min for one.

usage: check_macro_names.py SOURCE_THAT_INCLUDES_THEM PREPROCESSOR [ARGUMENT...]
run where the paths of its #include "..." start.
"""

import pathlib
import re
import subprocess
import sys

# Works in every order of includes: see orvel/foundation/error.h.
ALLOWED = {"GetMessage"}

# Each sees macros that the others do not; UNICODE only changes what the macros stand for.
VARIANTS = [("c", []), ("c++", []), ("c++", ["-DWIN32_LEAN_AND_MEAN"])]

NOT_CODE = re.compile(
    r"""//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|(?<![0-9A-Za-z_])'(?:\\.|[^'\\\n])+'""", re.DOTALL
)
# The word after "#define" is a name of ours; what the other directives hold is not code.
DIRECTIVE = re.compile(r"^[ \t]*#[ \t]*(?!define\b)\w+(?:\\\n|[^\n])*", re.MULTILINE)
IDENTIFIER = re.compile(r"\b[A-Za-z_]\w*")


def macros(preprocessor, language, definitions, source):
    command = [*preprocessor, *definitions, "-x", language, "-dM", "-E", "-"]
    if language == "c":
        command = [part for part in command if not part.startswith(("-nostdinc++", "-std="))]
    output = subprocess.run(command, input=source, stdout=subprocess.PIPE, text=True, check=True)
    return {line.split()[1].split("(")[0] for line in output.stdout.splitlines()}


def main():
    source, *preprocessor = sys.argv[1:]
    system_macros = set()
    for language, definitions in VARIANTS:
        system_macros |= macros(preprocessor, language, definitions, "#include <windows.h>\n")
    for language in ("c", "c++"):
        system_macros -= macros(preprocessor, language, [], "")
    # Nonsense in would be silence out.
    if not {"GetMessage", "CreateEvent", "Yield", "max"} <= system_macros:
        sys.exit("the macros of <windows.h> were not found")

    headers = re.findall('#include "(.*)"', pathlib.Path(source).read_text("utf-8"))
    clashes = []
    for header in headers:
        code = DIRECTIVE.sub(" ", NOT_CODE.sub(" ", pathlib.Path(header).read_text("utf-8")))
        # In parentheses a macro with arguments is not expanded: (std::max)(a, b).
        code = re.sub(r"\(((?:\w|::|<|>)+::)(?:min|max)\)", r"(\1)", code)
        for name in sorted(set(IDENTIFIER.findall(code)) & system_macros - ALLOWED):
            clashes.append(f"{header}: {name} is a macro of <windows.h>")
    views = pathlib.Path("orvel/orvel.natvis").read_text("utf-8")
    declared = " ".join(header.read_text("utf-8") for header in pathlib.Path("orvel").rglob("*.h"))
    named = set(re.findall(r'\b[a-z]\w*_\b|(?<=<Type Name=")[\w:]+', views))
    for name in sorted(name.rsplit(":", 1)[-1] for name in named):
        if not re.search(rf"\b{name}\b", declared):
            clashes.append(f"orvel.natvis: no header has {name}")
    if clashes or not headers:
        sys.exit("\n".join(clashes) or "no headers to check")


if __name__ == "__main__":
    main()
