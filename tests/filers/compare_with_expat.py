#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Compares what the XML document finds in files with what expat finds.

Every file that expat accepts and that has no document type declaration, which could define
entities, must give the same elements, nesting, attributes and text, in whatever encoding. Line ends
and white space in attributes are compared as XML normalises them; the document leaves them.

usage: compare_with_expat.py DUMP_TOOL FILE_OR_FOLDER...

In folders all files named *.xml and *.svg are taken. Ends with 1 when a file differs, or when there
was none to compare.
"""

import collections
import itertools
import pathlib
import re
import subprocess
import sys
import xml.dom.expatbuilder
import xml.dom.minidom
import xml.parsers.expat


def as_element(level, tag, attributes, text):
    return level, tag, {name: re.sub("[\t\n\r]", " ", value) for name, value in attributes}, text


def list_elements(document):
    """What the dump tool tells of each element, in the order in which they begin."""
    waiting = [(0, document.documentElement)]
    while waiting:
        level, element = waiting.pop()
        nodes = element.childNodes
        text = "".join(node.data for node in nodes if isinstance(node, xml.dom.minidom.Text))
        yield as_element(level, element.tagName, element.attributes.items(), text)
        waiting += [(level + 1, node) for node in reversed(nodes)
                    if node.nodeType == node.ELEMENT_NODE]


def read_dump(output):
    for record in output.decode().split("\x1e")[:-1]:
        level, tag, *attributes, text = record.split("\x1f")
        yield as_element(int(level), tag, (pair.split("=", 1) for pair in attributes), text)


def decode(content, encoding):
    is_utf16 = content.startswith((b"\xff\xfe", b"\xfe\xff"))
    return content.decode("utf-16" if is_utf16 else encoding or "utf-8").removeprefix("\ufeff")


def compare(tool, text, document):
    """A description of the difference; None if there is none."""
    normal = re.sub("\r\n?", "\n", text).encode()
    run = subprocess.run([tool], input=normal, capture_output=True, check=False)
    if run.returncode != 0:
        return f"refused: {run.stderr.decode(errors='replace')[:300]}"
    pairs = itertools.zip_longest(list_elements(document), read_dump(run.stdout))
    return next((f"element {number}: expat {wanted!r:.300}, document {found!r:.300}"
                 for number, (wanted, found) in enumerate(pairs) if wanted != found), None)


def list_files(arguments):
    for argument in map(pathlib.Path, arguments):
        inside = (path for path in sorted(argument.rglob("*"))
                  if path.suffix.lower() in (".xml", ".svg") and path.is_file())
        yield from inside if argument.is_dir() else [argument]


def main(arguments):
    if len(arguments) < 2:
        sys.exit(__doc__)
    counts = collections.Counter()
    for path in list_files(arguments[1:]):
        content = path.read_bytes()
        try:
            document = xml.dom.expatbuilder.parseString(content, namespaces=False)
            text = decode(content, document.encoding)
        except (xml.parsers.expat.ExpatError, LookupError, ValueError):
            counts["refused by expat"] += 1
            continue
        difference = compare(arguments[0], text, document)
        outcome = "equal" if difference is None else "different"
        if document.doctype:
            outcome += ", with doctype"
        counts[outcome] += 1
        if difference:
            print(f"{path}: {outcome}: {difference}")
    print(", ".join(f"{count} {outcome}" for outcome, count in counts.items()))
    return 1 if counts["different"] or not counts["equal"] else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
