"""Processes and what they cost: CPU time of pairs that are run in turn, counts under callgrind and strace."""

import json
import os
import re
import shutil
import statistics
import subprocess
import sys
import tempfile

SECONDS = 300    # after which a program is given up


class Failed(Exception):
    """A program that was to be measured did not do its work."""


def output_of(command):
    """The standard output of a program that has to succeed."""
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=SECONDS, check=False)
    if done.returncode != 0:
        raise Failed(f"{' '.join(command)}: status {done.returncode}\n{done.stderr.decode(errors='replace')[-2000:]}")
    return done.stdout


def json_of(command):
    """What a program tells in its last line."""
    return json.loads(output_of(command).splitlines()[-1])


def cpu_seconds(command):
    """User's and system's time of one process, whose output nobody reads."""
    program = shutil.which(command[0])
    to_nothing = [(os.POSIX_SPAWN_OPEN, 1, os.devnull, os.O_WRONLY, 0)]
    process = os.posix_spawn(program, command, os.environ, file_actions=to_nothing)
    _, status, usage = os.wait4(process, 0)
    if status != 0:
        raise Failed(f"{' '.join(command)}: status {os.waitstatus_to_exitcode(status)}")
    return usage.ru_utime + usage.ru_stime


class Pair:
    """Times of two that were measured in turn."""

    def __init__(self, ours, peers):
        self.ours, self.peers = statistics.median(ours), statistics.median(peers)
        self.ratio = statistics.median(a / b for a, b in zip(ours, peers))


def processes(ours, peer, rounds):
    """A B A B..., after one of each that does not count."""
    cpu_seconds(ours), cpu_seconds(peer)
    times = [(cpu_seconds(ours), cpu_seconds(peer)) for _ in range(rounds)]
    return Pair([pair[0] for pair in times], [pair[1] for pair in times])


def instructions(command):
    """As callgrind counts them, of the whole process."""
    with tempfile.TemporaryDirectory() as folder:
        done = subprocess.run(["valgrind", "--tool=callgrind", f"--callgrind-out-file={folder}/out", *command],
                              stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, timeout=SECONDS, check=False)
        found = re.search(rb"Collected : (\d+)", done.stderr)
        if done.returncode != 0 or not found:
            raise Failed(f"valgrind {' '.join(command)}: {done.stderr.decode(errors='replace')[-2000:]}")
        return int(found[1])


def system_calls(command):
    """{name: number} of the whole process."""
    with tempfile.NamedTemporaryFile("r") as log:
        output_of(["strace", "-f", "-c", "-U", "name,calls", "-o", log.name, *command])
        rows = (line.split() for line in log)
        return {row[0]: int(row[1]) for row in rows if len(row) == 2 and row[1].isdigit() and row[0] != "total"}


if __name__ == "__main__":
    sys.exit("scripts/bench measures")
