# SPDX-License-Identifier: MIT
"""Dumps of a flow log for the tests of the timeline: made, and counted from their text alone.

flow_dump.py FOLDER writes the made ones: ring.log, hostile.log and damaged.log.
"""

import collections
import pathlib
import random
import re
import sys

KINDS = {"Root_error": -105, "State_change": -25, "Message_send": -21, "Message_receive": -20,
         "Scope_pop": -8, "Scope_push": -7, "Timing_point": 0}
HEAD = "%% Reference time: -0.006909 is approximately 193ms past Wed Nov 25 21:46:51 2026\n%%\n"
NUMBERS = re.compile(r"^    -?\d+\.\d{6}, (-?\d+), -?\d+, -?\d+, (-?\d+, -?\d+, -?\d+), (-?\d+)$",
                     re.MULTILINE)
RING = 131072
HOSTILE = "</script><script>document.title='hit'</script><img src=x onerror=alert(1)>\"'&\n\x01\x7f"


def label(text):
    """FNV-1a, as a signed number."""
    value = 2166136261
    for byte in text.encode("latin-1"):
        value = (value ^ byte) * 16777619 & 0xFFFFFFFF
    return value - (1 << 32) if value >> 31 else value


def record(time, event, place, thread, detail, argument, target):
    """A record as the logger writes it."""
    text = {"Scope_push": "", "Scope_pop": "", "State_change": f" to {detail}",
            "Timing_point": f" ({argument}, 0)"}.get(event, f" {detail}")
    return (f"% {event}{text} in_class {place[0]} at {place[1]} for_object {target[0]:016X} "
            f"({target[1]}) in_thread {thread[0]} ({thread[1]})\n    {time // 1000000}."
            f"{time % 1000000:06}, {KINDS[event]}, {argument}, 0, {label(place[0])}, "
            f"{label(place[1])}, {target[0]}, {thread[0]}\n")


def full_ring():
    """Exactly as many records as the ring holds, of eight threads and some hundred functions; some
    have the same time, and a few are earlier than the ones before them."""
    choose, stacks, records = random.Random(1), collections.defaultdict(list), [HEAD]
    for i in range(RING):
        thread, number = choose.randrange(8), choose.randrange(200)
        [event] = choose.choices(list(KINDS)[1:], (3, 2, 2, 45, 45, 3))
        if event == "Scope_push" and len(stacks[thread]) < 12:
            stacks[thread].append(number)
        elif event.startswith("Scope"):
            event, number = "Scope_pop", stacks[thread].pop() if stacks[thread] else number
        records.append(record(
            i // 3 * 90 - (i % 1000 == 999) * 900, event, (f"Class{number % 20}", f"Run{number}"),
            (100 + 4 * thread, f"Worker {thread}"), f"Number {number % 4}", number % 4,
            (0x10000 + 64 * (number % 40), "Engine")))
    return "".join(records)


def hostile():
    """Names that would be markup, script or another line, everywhere where names stand."""
    events = (("Scope_push", 0), ("State_change", 3), ("Root_error", label(HOSTILE)),
              ("Message_send", 7), ("Message_receive", 7), ("Scope_pop", 0))
    return HEAD + "".join(
        record(time, event, (HOSTILE, HOSTILE), (4, HOSTILE), HOSTILE, argument, (0x20, HOSTILE))
        for time, (event, argument) in enumerate(events))


def count(text):
    """How many scopes, states and marks a timeline of the dump must show; of the marks, how many
    are errors, warnings and messages."""
    counts, stacks = collections.Counter(), collections.defaultdict(list)
    for kind, scope, thread in NUMBERS.findall(text):
        kind, stack = int(kind), stacks[thread]
        if kind == KINDS["Scope_pop"] and scope in stack:
            while stack.pop() != scope:
                pass
            continue
        if kind == KINDS["Scope_push"]:
            stack.append(scope)
        counts[{-8: "scope", -7: "scope", -25: "state"}.get(kind, "mark")] += 1
        counts["error"] += -105 <= kind <= -102
        counts["warning"] += kind == -101
        counts["message"] += kind in (-21, -20)
    return counts


if __name__ == "__main__":
    ring = full_ring()
    # Begins and ends inside a record.
    damaged = ring[ring.index("\n    1.") + 8:ring.rindex("\n    2.") + 8]
    for name, text in (("ring", ring), ("hostile", hostile()), ("damaged", damaged)):
        path = pathlib.Path(sys.argv[1], f"{name}.log")
        path.write_text(text, encoding="latin-1", newline="\n")
