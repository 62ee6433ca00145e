"""One enumeration on so many functions beside lspci and the floor, for a quick look: bench/namespace python3 bench/try.py
BUILD FUNCTIONS IDENTITIES [ROUNDS] [COMMAND...]; with a command that is run in place of the comparison, on that machine."""

import os
import subprocess
import sys
import tempfile
from pathlib import Path

import machine
import measure


def put(source, target):
    subprocess.run(["mount", "--bind", source, target], check=True)


def main(build, functions, identities, rounds="31", *command):
    known = machine.spread(machine.identities(build + "/catalogue/pci.ids"), int(identities))
    with tempfile.TemporaryDirectory() as folder:
        machine.write_bus(folder + "/bus", int(functions), known)
        Path(folder, "table").write_bytes(machine.smbios_table(8))
        put(build + "/catalogue", "/etc/vmware")
        put(folder + "/bus", "/proc/bus/pci")
        ours = [build + "/bin/bench_request", "--library", build + "/lib/libPCIInfoProvider.so", "--table",
                folder + "/table"]
        if command:
            return subprocess.run([word for part in command for word in (ours if part == "OURS" else [part])],
                                  check=False).returncode
        print(measure.json_of([*ours, "--memory"]))
        floor = [*ours, "--operation", "floor"]
        for name, peer in (("lspci", ["lspci", "-vmm", "-A", "linux-proc"]), ("floor", floor)):
            pair = measure.processes(ours, peer, int(rounds))
            print(f"{name}: {pair.ratio:.2f} ({1e3 * pair.ours:.2f} ms to {1e3 * pair.peers:.2f} ms)")
    return 0


if __name__ == "__main__":
    os.environ["LC_ALL"] = "C.UTF-8"
    sys.exit(main(*sys.argv[1:]))
