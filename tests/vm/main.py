"""Proves the provider in virtual machines: with Debian's kernel and its IPMI driver, a BMC behind a KCS interface, and
a PCI bus. scripts/test-vm runs it."""

import argparse
import shutil
import signal
import subprocess
import sys
import threading
import time
from pathlib import Path

import bmclog
import check
import image
import run
from facts import Facts, readings

# The machines by the tests that run in them, with their hard limits. All but the last run side by side, most of them
# waiting; the one that is timed runs by itself.
SECONDS = {"requests": 420, "more-requests": 420, "faults": 240, "no-device": 120, "hung": 180, "times": 240}
SHOWN = 5    # differences of each kind


def table(title, header, rows):
    cells = [header, *[[str(cell) for cell in row] for row in rows]]
    widths = [max(len(row[column]) for row in cells) for column in range(len(header))]
    print(f"\n{title}\n")
    for row in cells:
        print("  " + "  ".join(cell.ljust(width) if column == 0 else cell.rjust(width)
                               for column, (cell, width) in enumerate(zip(row, widths))).rstrip())


def show_tally(tally):
    table("Compared", ("what", "compared", "differences"),
          [(kind, count, len(tally.differences.get(kind, ()))) for kind, count in sorted(tally.compared.items())])
    for kind, differences in tally.differences.items():
        for difference in differences[:SHOWN]:
            print(f"DIFFERENCE {kind}: {difference[:2000]}")


def seconds_of(lines, step):
    return [line["seconds"] for line in lines if line["step"] == step]


def timing_rows(lines):
    """(request, seconds, readings, exchanges, seconds of the bare loop, own seconds, own share), the quickest of each"""
    bare = min(seconds_of(lines, "bare"))
    for step in check.TIMED:
        seconds = min(seconds_of(lines, step))
        arguments = check.arguments_of(step)
        transfers = readings(arguments)
        own = seconds - transfers * bare
        subject, *options = arguments[1:]
        yield (" ".join((arguments[0], subject.split(".")[0], *options[1:])), f"{seconds:.3f}", transfers,
               transfers * len(bmclog.transfer(check.LARGE)),
               f"{transfers * bare:.3f}", f"{own:.3f}", f"{100 * own / seconds:.0f} %")


def show_timing(bits, lines):
    bare = seconds_of(lines, "bare")
    table(f"Seconds of a request in the machine, {bits} bits, the quickest of {check.ROUNDS}; 331 exchanges in a "
          f"bare loop took {min(bare):.3f} to {max(bare):.3f}",
          ("request", "seconds", "readings", "exchanges", "bare loop", "provider's own", "share"),
          timing_rows(lines))


def show_processor_time(bits, lines):
    """What a transfer takes of the processor beside what the bare calls take of it, and of the time that it takes in all."""
    ours, bare = next((line["ours"], line["bare"]) for line in lines if "ours" in line)
    print(f"\nProcessor time of a transfer, {bits} bits, the quickest of {len(ours)} in turn with bare loops: "
          f"{1e3 * min(ours):.2f} ms, bare {1e3 * min(bare):.2f} ms; own {1e3 * (min(ours) - min(bare)):.2f} ms of "
          f"{1e3 * min(seconds_of(lines, 'bare')):.0f} ms")


class Machine:
    """What was brought out of one machine."""

    def __init__(self, folder, build):
        self.results = folder / "results"
        self.facts = Facts(self.results, build)
        log = folder / "bmc.log"
        self.sections = list(bmclog.sections(log)) if log.exists() else []


def show_machine(facts):
    in_slots, on_board = (len(facts.instances(name)) for name in check.ASSOCIATIONS)
    print(f"\nThe machine has {len(facts.devices)} devices and {len(facts.bridges)} bridges on "
          f"{len({number >> 8 for number in facts.numbers})} buses and {len(facts.slots)} slots; "
          f"{in_slots} functions are in slots, {on_board} on the board")


def check_requests(tally, machines):
    show_machine(machines[0].facts)
    check.check_coverage(tally, [machine.results for machine in machines], machines[0].facts)
    for machine in machines:
        check.check_store(tally, machine.results, machine.facts)
        check.check_requests(tally, machine.results, machine.facts, dict(machine.sections))


def check_times(tally, machine):
    lines = {bits: check.check_client(tally, machine.results, bits, machine.facts, machine.sections)
             for bits in (64, 32)}
    check.check_bare(tally, lines[64] + lines[32], machine.sections)
    for bits in lines:
        show_timing(bits, lines[bits])
        show_processor_time(bits, lines[bits])


def check_faults(tally, machines):
    faults, no_device, hung = machines["faults"], machines["no-device"], machines["hung"]
    check.check_faults(tally, faults.results, faults.facts, faults.sections)
    check.check_driver_answers(tally, faults.results)
    check.check_without_device(tally, faults.results, faults.facts, "no-rights")
    check.check_other_place(tally, faults.results, faults.facts, dict(faults.sections)["other-place"])
    check.check_without_device(tally, no_device.results, no_device.facts, "no-device")
    check.check_side_by_side(tally, no_device.results)
    check.check_hung(tally, hung.results, hung.facts, hung.sections)


def check_all(folder, build):
    tally = check.Tally()
    machines = {mode: Machine(folder / mode, build) for mode in SECONDS}
    for machine in machines.values():
        check.check_facts(tally, machine.facts)
    check_requests(tally, [machines["requests"], machines["more-requests"]])
    check_times(tally, machines["times"])
    check_faults(tally, machines)
    show_tally(tally)
    return not tally.differences


class Progress:
    """Tells what is waited for, and for how long already: on a terminal in one line that changes, elsewhere in a line a
    minute."""

    def __init__(self, text):
        self.text = text
        self.ended = threading.Event()
        self.teller = threading.Thread(target=self.tell, daemon=True)

    def tell(self):
        live = sys.stdout.isatty()
        seconds = 0
        while not self.ended.wait(1 if live else 60):
            seconds += 1 if live else 60
            line = f"{self.text}, {seconds // 60}:{seconds % 60:02}"
            print(f"\r\033[K{line[:shutil.get_terminal_size().columns - 1]}" if live else line, end="" if live else "\n",
                  flush=True)
        if live:
            print("\r\033[K", end="", flush=True)

    def __enter__(self):
        print(self.text, flush=True)
        self.teller.start()

    def __exit__(self, *_):
        self.ended.set()
        self.teller.join()


def run_machines(folder, kernel, boot, bmc):
    vms = [run.Vm(mode, folder / mode, seconds, None if mode == "no-device" else bmc)
           for mode, seconds in SECONDS.items()]
    for group in (vms[:-1], vms[-1:]):
        started = time.monotonic()
        limit = max(SECONDS[vm.mode] for vm in group)
        with Progress(f"Machines running: {', '.join(vm.mode for vm in group)} (at most {limit} s)"):
            run.run_together(group, kernel, boot, run.profiles_folder())
        print(f"Machines run to their end: {', '.join(vm.mode for vm in group)} ({time.monotonic() - started:.0f} s)",
              flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", type=Path, required=True, help="build tree of the 64-bit programs")
    parser.add_argument("--build32", type=Path, required=True, help="build tree of the 32-bit programs")
    parser.add_argument("--cache", type=Path, required=True, help="where unpacked kernels stay")
    parser.add_argument("--folder", type=Path, required=True, help="for everything else; emptied first")
    options = parser.parse_args()
    started = time.monotonic()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit("test-vm: terminated"))    # stopping the machines on its way
    try:
        shutil.rmtree(options.folder, ignore_errors=True)
        kernel, boot = image.make(options.cache.resolve(), options.build.resolve(), options.build32.resolve(),
                                  options.folder.resolve())
        run_machines(options.folder.resolve(), kernel, boot, options.build.resolve() / "bin/bmcserver")
        good = check_all(options.folder, options.build.resolve())
    except (run.Failed, OSError, subprocess.SubprocessError) as error:
        sys.exit(f"test-vm: {error}")
    print(f"\n{'All equal' if good else 'FAILED'}, {time.monotonic() - started:.0f} s; consoles, BMC logs and answers "
          f"are in {options.folder}")
    print(f"Try next: less {options.folder}/requests/console.log")
    sys.exit(0 if good else 1)


if __name__ == "__main__":
    main()
