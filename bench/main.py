"""Measures the provider beside peers and limits, and prints one table. scripts/bench runs it."""

import argparse
import os
import platform
import shutil
import subprocess
import sys
import tempfile
import time
from pathlib import Path

import counts
import measure
import peers
import served
import virtual
from place import Place
from report import Report

GROWTH = (64, 128, 1024, 4096, 65536)
NOT_RUN = 77    # the status that ctest takes for a test skipped
TOOLS = ("lspci", "dmidecode", "valgrind", "strace", "setpriv")
MEMORY = (150, 1000, 1024, 1025, 1500, 2049, 4097, 8193, 32769, 65536)


def show_place(place):
    model = next((line.split(":")[1].strip() for line in open("/proc/cpuinfo", encoding="utf-8")
                  if line.startswith("model name")), platform.machine())
    sizes = ", ".join(f"{file.name} {file.stat().st_size / 1024:,.0f} KiB" for file in place.catalogues)
    print(f"{model}, {os.cpu_count()} processors; Linux {platform.release()}; {sizes}")
    print("CPU time is user's and system's, median of runs in turn; ratio: median of neighbours' ratios")


def measured(report, place, quick):
    scales = peers.QUICK_SCALES if quick else peers.SCALES
    peers.dropped(report, place, scales)
    peers.sent(report, place, scales)
    peers.slots(report, place, 5 if quick else 31)
    peers.micro(report, place, 3 if quick else 15)
    counts.transfer(report, place)
    virtual.transfer(report, place.build.parent / "bench/test-vm.txt")
    counts.per_operation(report, place, 150, quick)
    counts.growth(report, place, GROWTH[:3] if quick else GROWTH)
    counts.memory(report, place, MEMORY[:5] if quick else MEMORY)
    peers.threads(report, place, quick)
    served.served(report, place, quick)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", required=True, help="folder of the build")
    parser.add_argument("--quick", action="store_true", help="small machines, few rounds: whether it all works")
    parser.add_argument("--json", type=Path, help="file that gets the rows, too")
    parser.add_argument("--on", nargs=2, type=int, metavar=("FUNCTIONS", "NAMES"), help="run a command on such a machine")
    parser.add_argument("command", nargs=argparse.REMAINDER, help="with --on: what is put in front of a request's program")
    arguments = parser.parse_args()
    os.environ["LC_ALL"] = "C.UTF-8"
    os.environ["PATH"] += ":/usr/sbin:/sbin"
    missing = [tool for tool in TOOLS if shutil.which(tool) is None]
    if missing:
        print(f"bench: there is no {', '.join(missing)}; scripts/setup installs it", file=sys.stderr)
        return NOT_RUN
    folder = tempfile.mkdtemp(dir="/dev/shm")    # in memory, and gone with the namespace
    report = Report()
    started = time.monotonic()
    try:
        place = Place(arguments.build, folder)
        if arguments.on:
            with place.machine(*arguments.on).in_place():
                return subprocess.run([*arguments.command, *place.request()], check=False).returncode
        show_place(place)
        measured(report, place, arguments.quick)
    except BrokenPipeError:    # nobody reads on
        os.dup2(os.open(os.devnull, os.O_WRONLY), 1)
        return 1
    except measure.Failed as failure:
        print(f"bench: {failure}", file=sys.stderr)
        return 1
    finally:
        shutil.rmtree(folder)
    report.goals()
    print(f"{time.monotonic() - started:.0f} s")
    if arguments.json:
        report.save(arguments.json)
    return 0


if __name__ == "__main__":
    sys.exit(main())
