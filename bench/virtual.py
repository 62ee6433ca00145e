"""The share of a transfer that is the provider's own, in a virtual machine with the kernel's driver: out of what
scripts/test-vm has printed."""

import re

LINE = re.compile(r"^Processor time of a transfer, (\d+) bits, .*: ([\d.]+) ms, bare ([\d.]+) ms; own (-?[\d.]+) ms of (\d+) ms")
GOAL = 0.01


def transfer(report, printed):
    report.section("A transfer in a virtual machine, kernel's driver and a BMC behind it: its own processor time",
                   "own", "whole time", "share", "virtual machine")
    found = [LINE.match(line) for line in (printed.read_text(encoding="utf-8").splitlines() if printed.exists() else ())]
    for line in filter(None, found):
        own, whole = float(line[4]) / 1e3, float(line[5]) / 1e3
        report.row(f"331 exchanges, {line[1]} bits", own, whole, own / whole, most=GOAL, scale="share")
    if not any(found):
        report.not_measured("a transfer in a virtual machine", "scripts/bench --vm does it")
