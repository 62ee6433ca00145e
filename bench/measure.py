"""Processes and what they cost: CPU time of pairs that are run in turn, counts under callgrind and strace."""

import json
import os
import re
import shutil
import statistics
import subprocess
import tempfile
import time

SECONDS = 300    # after which a program is given up


class Failed(Exception):
    """A program that was to be measured did not do its work."""


def run(command, **options):
    try:
        return subprocess.run(command, timeout=SECONDS, check=False, **options)
    except subprocess.TimeoutExpired as error:
        raise Failed(f"{' '.join(command)}: not done after {SECONDS} s") from error


def output_of(command, environment=None):
    """The standard output of a program that has to succeed."""
    done = run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
               env={**os.environ, **environment} if environment else None)
    if done.returncode != 0:
        raise Failed(f"{' '.join(command)}: status {done.returncode}\n{done.stderr.decode(errors='replace')[-2000:]}")
    return done.stdout


def json_of(command, environment=None):
    """What a program tells in its last line."""
    return json.loads(output_of(command, environment).splitlines()[-1])


def cpu_seconds(command):
    """User's and system's time of one process, whose output nobody reads."""
    program = shutil.which(command[0])
    if program is None:
        raise Failed(f"there is no program {command[0]}")
    to_nothing = [(os.POSIX_SPAWN_OPEN, 1, os.devnull, os.O_WRONLY, 0)]
    process = os.posix_spawn(program, command, os.environ, file_actions=to_nothing)
    _, status, usage = os.wait4(process, 0)
    if status != 0:
        raise Failed(f"{' '.join(command)}: status {os.waitstatus_to_exitcode(status)}")
    return usage.ru_utime + usage.ru_stime


def wall_seconds(command):
    start = time.monotonic()
    cpu_seconds(command)
    return time.monotonic() - start


class Pair:
    """Seconds of two that were measured in turn: the median of each, and of the ratios of neighbours."""

    def __init__(self, ours, peers):
        self.ours, self.peers = statistics.median(ours), statistics.median(peers)
        self.ratio = statistics.median(a / b for a, b in zip(ours, peers))


def processes(ours, peer, rounds):
    """Two programs in turn, after one run of each that does not count."""
    cpu_seconds(ours), cpu_seconds(peer)
    times = [(cpu_seconds(ours), cpu_seconds(peer)) for _ in range(rounds)]
    return Pair([pair[0] for pair in times], [pair[1] for pair in times])


def in_process(command):
    """What bench_pairs has measured, and what both counted."""
    found = json_of(command)
    return Pair([time / 1e9 for time in found["ours"]], [time / 1e9 for time in found["peers"]]), found


def as_it_is(command):
    return command


def instructions(command, around=as_it_is):
    """As callgrind counts them in the last of a program's requests, that of the libraries included. `around` makes a
    command run elsewhere."""
    with tempfile.TemporaryDirectory() as folder:
        done = run(around(["valgrind", "--tool=callgrind", f"--callgrind-out-file={folder}/out",
                           "--toggle-collect=lastRequest", *command]), stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
        found = re.search(rb"Collected : (\d+)", done.stderr)
        if done.returncode != 0 or not found:
            raise Failed(f"valgrind {' '.join(command)}: {done.stderr.decode(errors='replace')[-2000:]}")
        return int(found[1])


def _system_calls(command, around):
    with tempfile.NamedTemporaryFile("r") as log:
        output_of(around(["strace", "-f", "-c", "-U", "name,calls", "-o", log.name, *command]))
        rows = [line.split() for line in log]
        return {row[0]: int(row[1]) for row in rows if len(row) == 2 and row[1].isdigit() and row[0] != "total"}


def system_calls(command, around=as_it_is):
    """{name: number} of one request: of a process that makes two, without those of one that makes one."""
    two, one = (_system_calls([*command, "--times", str(times)], around) for times in (2, 1))
    return {name: two[name] - one.get(name, 0) for name in two if two[name] != one.get(name, 0)}


def benchmarks(command, place, time_of="cpu_time"):
    """{name: [seconds of a round]} of a Google Benchmark program, in the order of its repetitions; the processor's, or
    "real_time"."""
    environment = {"PCIINFO_BENCH_LIBRARY": str(place.library), "PCIINFO_BENCH_TABLE": str(place.table)}
    factors = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3}
    found = {}
    with tempfile.NamedTemporaryFile("r") as out:
        output_of([*command, f"--benchmark_out={out.name}", "--benchmark_out_format=json"], environment)
        for one in json.load(out)["benchmarks"]:
            if one["run_type"] == "iteration":
                found.setdefault(one["run_name"], []).append(one[time_of] * factors[one["time_unit"]])
    return found
