#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Compares what the XML document finds in files with what expat finds.

Every file that expat accepts and that has no document type declaration must give the same
elements, nesting, attributes and text. Files with a declaration are compared as well, but may
differ, as it can define entities and default attributes. Line ends and the white space in
attributes are compared as XML normalises them; the document leaves them as they stand.

usage: compare_with_expat.py DUMP_TOOL FILE_OR_FOLDER...

In folders all files named *.xml and *.svg are taken. Ends with 1 when a file differs, or when there
was none to compare.
"""

import pathlib
import re
import subprocess
import sys
import xml.parsers.expat

# Tags and levels from which on a document is refused with a message of its own.
KNOWN_LIMITS = (" too long", " too deep")


class Elements:
    """Collects elements from a parser's events, in the order in which they begin."""

    def __init__(self):
        self.found = []  # [level, tag, attributes, pieces of text]
        self.open = []
        self.has_doctype = False

    def start(self, tag, attributes):
        element = [len(self.open), tag, dict(zip(attributes[::2], attributes[1::2])), []]
        self.found.append(element)
        self.open.append(element)

    def end(self, _tag):
        self.open.pop()

    def data(self, text):
        if self.open:
            self.open[-1][3].append(text)

    def doctype(self, *_):
        self.has_doctype = True


def parse_with_expat(content):
    """The elements of a file, or None if expat refuses it."""
    elements = Elements()
    parser = xml.parsers.expat.ParserCreate()
    parser.ordered_attributes = True
    parser.StartElementHandler = elements.start
    parser.EndElementHandler = elements.end
    parser.CharacterDataHandler = elements.data
    parser.StartDoctypeDeclHandler = elements.doctype
    try:
        parser.Parse(content, True)
    except (xml.parsers.expat.ExpatError, LookupError, ValueError):
        return None
    return elements


def to_utf8(content):
    """The file as UTF-8 without byte order mark and with line feeds, or None."""
    declared = re.match(rb"\s*<\?xml[^>]*encoding\s*=\s*[\"']([\w.-]+)", content)
    encoding = declared.group(1).decode() if declared else "utf-8"
    if content[:2] in (b"\xff\xfe", b"\xfe\xff"):
        encoding = "utf-16"
    try:
        text = content.decode("utf-8-sig" if encoding.lower() == "utf-8" else encoding)
    except (UnicodeDecodeError, LookupError):
        return None
    return re.sub("\r\n?", "\n", text).encode()


def unescape(field):
    letters = {"\\": "\\", "t": "\t", "n": "\n", "r": "\r"}
    return re.sub(r"\\(.)", lambda match: letters[match.group(1)], field)


def as_attribute(value):
    return re.sub("[\t\n\r]", " ", value)


def read_dump(output):
    elements = []
    for line in output.decode().split("\n")[:-1]:
        level, tag, *attributes, data = line.split("\t")
        pairs = (unescape(attribute).split("=", 1) for attribute in attributes)
        elements.append((int(level), unescape(tag),
                         {name: as_attribute(value) for name, value in pairs}, unescape(data)))
    return elements


def describe_difference(wanted, found):
    for number, (a, b) in enumerate(zip(wanted, found)):
        if a != b:
            return f"element {number}: expat {a!r:.300}, document {b!r:.300}"
    return f"expat has {len(wanted)} elements, the document {len(found)}"


def compare(tool, content, elements):
    """A description of the difference; None if there is none."""
    utf8 = to_utf8(content)
    if utf8 is None:
        return "cannot be converted to UTF-8"
    run = subprocess.run([tool], input=utf8, capture_output=True, check=False)
    if run.returncode != 0:
        return f"refused: {run.stderr.decode(errors='replace')[:300]}"
    wanted = [(level, tag, {name: as_attribute(value) for name, value in attributes.items()},
               "".join(pieces)) for level, tag, attributes, pieces in elements.found]
    found = read_dump(run.stdout)
    return None if wanted == found else describe_difference(wanted, found)


def list_files(arguments):
    for argument in map(pathlib.Path, arguments):
        if not argument.is_dir():
            yield argument
            continue
        for path in sorted(argument.rglob("*")):
            if path.suffix.lower() in (".xml", ".svg") and path.is_file():
                yield path


def main(arguments):
    if len(arguments) < 2:
        sys.exit(__doc__)
    counts = dict.fromkeys(("equal", "different", "beyond a limit", "refused by expat",
                            "equal, with doctype", "different, with doctype"), 0)
    for path in list_files(arguments[1:]):
        try:
            content = path.read_bytes()
        except OSError as error:
            print(f"{path}: {error}")
            continue
        elements = parse_with_expat(content)
        if elements is None:
            counts["refused by expat"] += 1
            continue
        difference = compare(arguments[0], content, elements)
        outcome = "equal" if difference is None else "different"
        if difference and difference.rstrip().endswith(KNOWN_LIMITS):
            outcome = "beyond a limit"
        elif elements.has_doctype:
            outcome += ", with doctype"
        counts[outcome] += 1
        if difference:
            print(f"{path}: {outcome}: {difference}")
    print(", ".join(f"{count} {name}" for name, count in counts.items()))
    return 1 if counts["different"] or not counts["equal"] else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
