# SPDX-License-Identifier: MIT
"""Dumps of a flow log for the tests of the timeline: made, and counted from their text alone.

flow_dump.py FOLDER writes the made ones: ring.log, hostile.log and damaged.log.
"""

import collections
import pathlib
import random
import re
import sys

KINDS = {
    "Root_error": -105, "Warning": -101, "State_change": -25, "Message_send": -21,
    "Message_receive": -20, "Construction": -14, "Scope_pop": -8, "Scope_push": -7,
    "Timing_point": 0,
}
HEAD = "%% Reference time: -0.006909 is approximately 193ms past Wed Nov 25 21:46:51 2026\n%%\n"
NUMBERS = re.compile(r"^    -?\d+\.\d{6}, (-?\d+), (-?\d+), -?\d+, (-?\d+), (-?\d+), (-?\d+), "
                     r"(-?\d+)$", re.MULTILINE)
RING = 131072


class Maker:
    """Writes records as the logger does."""

    def __init__(self):
        self.lines = [HEAD]
        self.time = 0

    def add(self, event, place, thread, detail="", arguments=(0, 0), target=(0x12F3A0, "Thing"),
            step=1):
        class_name, function = place
        name = {"State_change": " to " + detail, "Timing_point": " (%d, %d)" % arguments}.get(
            event, detail and " " + detail)
        labels = [label(text) for text in place]
        self.lines.append(
            f"% {event}{name} in_class {class_name} at {function} for_object {target[0]:016X} "
            f"({target[1]}) in_thread {thread[0]} ({thread[1]})\n    {self.time // 1000000}."
            f"{self.time % 1000000:06}, {KINDS[event]}, {arguments[0]}, {arguments[1]}, "
            f"{labels[0]}, {labels[1]}, {target[0]}, {thread[0]}\n")
        self.time += step

    def text(self):
        return "".join(self.lines)


def label(text):
    """FNV-1a, as a signed number."""
    value = 2166136261
    for byte in text.encode("latin-1"):
        value = (value ^ byte) * 16777619 & 0xFFFFFFFF
    return value - (1 << 32) if value >> 31 else value


def full_ring():
    """Exactly as many records as the ring holds, of eight threads and some hundred functions."""
    maker, choose = Maker(), random.Random(1)
    threads = [(100 + 4 * i, f"Worker {i}") for i in range(8)]
    stacks = {thread: [] for thread in threads}
    for i in range(RING):
        thread = choose.choice(threads)
        stack = stacks[thread]
        chance = choose.random()
        step = choose.randrange(60)
        target = (0x10000 + 64 * choose.randrange(40), "Engine")
        if chance < 0.45 and len(stack) < 12:
            number = choose.randrange(200)
            stack.append((f"Class{number % 20}", f"Function{number}"))
            maker.add("Scope_push", stack[-1], thread, step=step)
        elif chance < 0.9 and stack:
            maker.add("Scope_pop", stack.pop(), thread, step=step)
        elif chance < 0.93:
            state = choose.randrange(4)
            maker.add("State_change", ("Class1", "ChangeState"), thread, f"State {state}",
                      (state, 0), target, step)
        elif chance < 0.97:
            maker.add("Message_send" if i % 2 else "Message_receive", ("Class2", "Post"), thread,
                      "Wake", (3, 0), target, step)
        else:
            maker.add("Timing_point", ("Class3", "Tick"), thread, "", (i, 7), step=step)
    return maker.text()


HOSTILE = "</script><script>document.title='hit'</script><img src=x onerror=alert(1)>\"'&\n\x01\x7f"


def hostile():
    """Names that would be markup, script or another line, everywhere where names stand."""
    maker = Maker()
    thread, target = (4, HOSTILE), (0x20, HOSTILE)
    place = (HOSTILE, HOSTILE)
    maker.add("Scope_push", place, thread, target=target)
    maker.add("State_change", place, thread, HOSTILE, (3, 0), target)
    maker.add("Root_error", place, thread, HOSTILE, (label(HOSTILE), 12), target)
    maker.add("Message_send", place, thread, HOSTILE, (7, 0), target)
    maker.add("Message_receive", place, (8, "Other"), HOSTILE, (7, 0), target)
    maker.add("Scope_pop", place, thread, target=target)
    return maker.text()


def count(text):
    """What a timeline of the dump must show: slices, instants, states, messages, errors."""
    counts = collections.Counter()
    stacks = collections.defaultdict(list)
    for kind, _, class_id, point, target, thread in NUMBERS.findall(text):
        kind, scope = int(kind), (class_id, point, target)
        if kind == KINDS["Scope_push"]:
            counts["slices"] += 1
            stacks[thread].append(scope)
        elif kind == KINDS["Scope_pop"]:
            stack = stacks[thread]
            if scope in stack:
                while stack.pop() != scope:
                    pass
            else:
                counts["slices"] += 1
        elif kind == KINDS["State_change"]:
            counts["states"] += 1
        else:
            counts["instants"] += 1
            counts["errors"] += -105 <= kind <= -102
            counts["warnings"] += kind == -101
            counts["messages"] += kind in (-21, -20)
    counts["records"] = len(NUMBERS.findall(text))
    return counts


if __name__ == "__main__":
    ring = full_ring()
    # Begins and ends inside a record.
    damaged = ring[ring.index("\n    1.") + 8:ring.rindex("\n    2.") + 8]
    for name, text in (("ring", ring), ("hostile", hostile()), ("damaged", damaged)):
        path = pathlib.Path(sys.argv[1], f"{name}.log")
        path.write_text(text, encoding="latin-1", newline="\n")
