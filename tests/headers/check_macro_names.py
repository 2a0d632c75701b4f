#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Finds names in public headers that <windows.h> defines as macros.

Such a name is silently replaced in a program that includes <windows.h> first: an operation gets
another name than it has in the library, or does not compile. Names that a header merely uses count
too, std::min for one.

usage: check_macro_names.py FILE_WITH_A_HEADER_PATH_PER_LINE -- PREPROCESSOR [ARGUMENT...]
"""

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
    output = subprocess.run(
        command, input=source, capture_output=True, text=True, check=False
    )
    if output.returncode != 0:
        sys.exit(f"{' '.join(command)}:\n{output.stderr}")
    return {line.split()[1].split("(")[0] for line in output.stdout.splitlines()}


def main():
    separator = sys.argv.index("--")
    with open(sys.argv[1], encoding="utf-8") as list_file:
        headers = list_file.read().split("\n")
    preprocessor = sys.argv[separator + 1 :]

    system_macros = set()
    for language, definitions in VARIANTS:
        system_macros |= macros(preprocessor, language, definitions, "#include <windows.h>\n")
    for language in ("c", "c++"):
        system_macros -= macros(preprocessor, language, [], "")
    # Nonsense in would be silence out.
    if not {"GetMessage", "CreateEvent", "Yield", "max"} <= system_macros:
        sys.exit("the macros of <windows.h> were not found")

    checked = failures = 0
    for header in filter(None, headers):
        with open(header, encoding="utf-8") as header_file:
            code = DIRECTIVE.sub(" ", NOT_CODE.sub(" ", header_file.read()))
        checked += 1
        # In parentheses a macro with arguments is not expanded: (std::max)(a, b).
        code = re.sub(r"\(((?:\w|::|<|>)+::)(?:min|max)\)", r"(\1)", code)
        for name in sorted(set(IDENTIFIER.findall(code)) & system_macros - ALLOWED):
            print(f"{header}: {name} is a macro of <windows.h>")
            failures += 1
    print(f"{checked} headers checked against {len(system_macros)} macros: {failures} clashes")
    return 1 if failures or not checked else 0


if __name__ == "__main__":
    sys.exit(main())
