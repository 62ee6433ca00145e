"""Where it is measured: a machine's files in place of the system's, and somebody who reads the log."""

import os
import subprocess
from contextlib import contextmanager
from pathlib import Path

import machine
import measure

LOG = "/dev/log"


def mount(source, target):
    measure.output_of(["mount", "--bind", str(source), str(target)])


class Machine:
    """A bus with so many functions under so many names, in a folder."""

    def __init__(self, folder, functions, names):
        self.functions, self.names = functions, names
        self.bus = folder / f"bus-{functions}-{names}"

    @contextmanager
    def in_place(self):
        """As /proc/bus/pci of everything that runs now."""
        mount(self.bus, "/proc/bus/pci")
        try:
            yield self
        finally:
            measure.output_of(["umount", "/proc/bus/pci"])

    def around(self, command):
        """A command that runs with the machine in place, whatever others run with."""
        return ["unshare", "--mount", "sh", "-c", 'mount --bind "$0" /proc/bus/pci && exec "$@"', str(self.bus), *command]


class Place:
    """The programs of a build, and machines that are written when they are first needed."""

    def __init__(self, build, folder):
        self.build, self.folder = Path(build).resolve(), Path(folder)
        self.library = self.build / "lib/libPCIInfoProvider.so"
        self.known = machine.identities(self.build / "catalogue/pci.ids")
        self.table = self.slots(8)
        self.catalogues = [self.build / "catalogue" / name for name in ("pci.xml", "pci.classlist")]
        mount(self.build / "catalogue", "/etc/vmware")

    def slots(self, count):
        """A file with the SMBIOS table of so many slots; beside it, as .dump, the same for dmidecode."""
        table = self.folder / f"table-{count}"
        content = machine.smbios_table(count)
        table.write_bytes(content)
        table.with_suffix(".dump").write_bytes(machine.smbios_dump(content))
        return table

    def machine(self, functions, names):
        found = Machine(self.folder, functions, min(names, functions, len(self.known)))
        if not found.bus.exists():
            machine.write_bus(found.bus, functions, machine.spread(self.known, found.names))
        return found

    def program(self, name, *options, table=None):
        return [str(self.build / "bin" / name), "--library", str(self.library), "--table", str(table or self.table),
                *options]

    def request(self, *options, table=None):
        return self.program("bench_request", *options, table=table)

    def pairs(self, against, rounds, *options, table=None):
        return self.program("bench_pairs", "--against", against, "--times", str(rounds), *options, table=table)

    @contextmanager
    def log_reader(self):
        """Somebody at /dev/log; gives a function that tells, at the end, how many lines came."""
        reader = subprocess.Popen([self.build / "bin/bench_logreader", LOG], stdin=subprocess.PIPE,
                                  stdout=subprocess.PIPE, text=True)
        try:
            if reader.stdout.readline() != "ready\n":
                raise measure.Failed("nobody reads the log")
            yield
        finally:
            reader.communicate()
            os.unlink(LOG)
