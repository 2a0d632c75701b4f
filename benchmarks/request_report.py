#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Prints kernel requests and allocations per operation: request_report.py COUNTS REQUEST_LOG

COUNTS is the output of operation_counts; REQUEST_LOG what the server printed of each request.
"""
import collections
import json
import re
import sys

REQUEST = re.compile(rb"^([0-9a-f]{4,8}): ([a-z_]+)\( (.*)")
MARK = re.compile(rb'name=L"orvel-count (begin|end) (\S+) (\S+) ([0-9a-f]+) ([0-9a-f]+)"')


def count_requests(path):
    """Requests by kind between the marks of each operation, of the two threads named in them."""
    counts = {}
    current = None
    threads = ()
    with open(path, "rb") as log:
        for line in log:
            request = REQUEST.match(line)
            if not request:
                continue
            mark = MARK.search(request[3])
            if mark:
                begins = mark[1] == b"begin"
                if begins:
                    current = counts[mark[2].decode(), mark[3].decode()] = collections.Counter()
                    threads = (int(mark[4], 16), int(mark[5], 16))
                else:
                    current = None
            elif current is not None and int(request[1], 16) in threads:
                current[request[2].decode()] += 1
    return counts


def main():
    with open(sys.argv[1], encoding="utf-8") as lines:
        operations = [json.loads(line) for line in lines if line.startswith("{")]
    requests = count_requests(sys.argv[2])
    if not operations or not requests:
        sys.exit("no operations or no marks found")

    print(f"{'':22}{'':8}{'requests':>10}{'required':>10}{'allocations':>13}  kinds of request")
    for entry in operations:
        repetitions = entry["repetitions"]
        kinds = requests[entry["operation"], entry["side"]]
        detail = ", ".join(f"{kind} {count / repetitions:.2f}"
                           for kind, count in kinds.most_common() if count * 100 >= repetitions)
        print(f"{entry['operation']:22}{entry['side']:8}{sum(kinds.values()) / repetitions:10.2f}"
              f"{entry['required']:10g}{entry['allocations']:13.2f}  {detail}")


if __name__ == "__main__":
    main()
