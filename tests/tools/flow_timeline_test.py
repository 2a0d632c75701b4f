#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs flow_timeline: flow_timeline_test.py FLOW_TIMELINE FOLDER_AUDIT COMMAND...

COMMAND starts a Windows program. Checks the trace of a real dump, that of a crash, a full ring, a
damaged one and one with hostile names: that it is JSON of the trace-event format, that slices nest,
that no two begin or end at one time in a thread and times do not run backwards, and that it holds
what a count of the dump says.
"""

import collections
import json
import pathlib
import subprocess
import sys
import tempfile

import flow_dump


def check_trace(trace, text):
    counts, stacks, times = collections.Counter(), collections.defaultdict(list), {}
    flows = collections.defaultdict(list)
    for event in trace["traceEvents"]:
        track = event["pid"], event["tid"]
        if event["ph"] == "M":
            assert event["args"], event
            continue
        start = round(event["ts"] * 1000)
        assert start >= times.get(track, 0), event
        times[track] = start
        assert isinstance(event["name"], str), event
        counts[event["cat"]] += event["ph"] in "Xi"
        while stacks[track] and stacks[track][-1] < start:
            stacks[track].pop()
        if event["ph"] == "X":
            end = start + round(event["dur"] * 1000)
            assert start <= end, event
            assert not stacks[track] or end < stacks[track][-1], event
            stacks[track].append(end)
            counts["mark"] += event["cat"] == "message"
        elif event["ph"] == "i":
            assert event["s"] == "t" and event["args"].keys() >= {"object", "argument1"}, event
            counts["mark"] += 1
        else:
            assert event["ph"] in "sf" and stacks[track][-1] == start, event
            flows[event["id"]].append(event["ph"])
    for ends in flows.values():
        assert sorted(ends) == ["f", "s"], ends
    expected = flow_dump.count(text)
    assert {sort: counts[sort] for sort in expected} == expected, (counts, expected)
    return flows


def main():
    timeline, audit, command = sys.argv[1], sys.argv[2], sys.argv[3:]
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)

        def run(*arguments, code=0):
            done = subprocess.run([*command, *arguments], cwd=folder, text=True, timeout=60,
                                  stdin=subprocess.DEVNULL, capture_output=True)
            assert done.returncode == code, done
            return done.stdout

        def trace_of(text, line_end="\n"):
            (folder / "flow.log").write_text(text, encoding="latin-1", newline=line_end)
            run(timeline, "flow.log")
            assert (folder / "flow.log.html").stat().st_size > 0
            return json.loads((folder / "flow.log.json").read_text(encoding="utf-8"))

        (folder / "files").mkdir()
        for i in range(20):
            (folder / "files" / f"{i}.txt").write_text("text" * i)
        run(audit, "--flow-log", "real.log", "--settings-key", "FlowTimelineTest", "files")
        real = (folder / "real.log").read_text(encoding="latin-1")
        trace = trace_of(real)
        check_trace(trace, real)
        names = {event["args"]["name"] for event in trace["traceEvents"]
                 if event["name"] == "thread_name"}
        assert not [event for event in trace["traceEvents"] if "note" in event.get("args", {})]
        assert "Main thread" in names and any("MCommandProcessor" in name for name in names), names

        run(audit, "--crash-reports", "reports", "--crash", "error", "files", code=3)
        [report] = (folder / "reports").glob("*.txt")
        report = report.read_text(encoding="utf-8")
        assert ("\n  Crash.LetAnErrorEscape:NobodyCatches\nAdded by the application:\n"
                "  Folder: files\nEnd of the report\n") in report, report
        [crashed] = (folder / "reports").glob("*.flow.log")
        crashed = crashed.read_text(encoding="latin-1")
        check_trace(trace_of(crashed), crashed)

        ring = flow_dump.full_ring()
        trace = trace_of(ring)
        assert len(check_trace(trace, ring)) > 100
        assert trace["otherData"]["isRingFull"] and trace["otherData"]["movedRecords"] > 50

        hostile = flow_dump.hostile()
        trace = trace_of(hostile)
        assert len(check_trace(trace, hostile)) == 1
        names = [event["args"]["what"] for event in trace["traceEvents"]
                 if event["ph"] == "i" and event["cat"] == "error"]
        assert names == [flow_dump.HOSTILE], names

        damaged = real[real.index("\n% ") + 5:len(real) // 2]  # begins and ends inside a record
        trace = trace_of(damaged, "\r\n")
        check_trace(trace, damaged[damaged.index("\n%"):damaged.rindex("\n% ")])
        assert trace["otherData"]["skippedRecords"] >= 1

        assert "Usage" in run(timeline, "--help")
        run(timeline, "missing.log", code=1)
        run(timeline, "--page", code=2)
        run(timeline, "--json", "flow.log", "flow.log", code=1)
        assert (folder / "flow.log").stat().st_size > 0
        (folder / "text").write_text("no dump\n")
        run(timeline, "text", code=1)


main()
