"""The share of a transfer that is the provider's own, in a virtual machine with the kernel's driver: out of what
scripts/test-vm has printed."""

import re

ROW = re.compile(r"^\s*enumerate QELTA_SystemSlot\s+([\d.]+)\s+1\s+331\s+([\d.]+)\s")
BITS = re.compile(r"Seconds of a request in the machine, (\d+) bits")
GOAL = 0.01


def transfer(report, printed):
    report.section("A transfer in a virtual machine, kernel's driver and a BMC behind it: beside a bare loop", "request",
                   "bare loop", "share", "virtual machine")
    bits, found = None, 0
    for line in printed.read_text(encoding="utf-8").splitlines() if printed.exists() else ():
        heading, row = BITS.search(line), ROW.search(line)
        bits = heading[1] if heading else bits
        if row:
            seconds, bare = float(row[1]), float(row[2])
            report.row(f"enumerate QELTA_SystemSlot, {bits} bits", seconds, bare,
                       (seconds - bare) / seconds, most=GOAL)
            found += 1
    if not found:
        report.not_measured("a transfer in a virtual machine", "scripts/bench --vm does it")
