"""What noise cannot touch: instructions, allocations, calls, exchanges, lines and memory of requests."""

import json
import os
from concurrent.futures import ThreadPoolExecutor

import loglines
import measure
import peers
from report import text_of

CLASSES = ("PCIDevice", "PCIBridge", "SystemSlot", "SystemBoard", "DeviceInSlot", "OnBoardDevice", "SSPCIController",
           "OBDPCIController")
FUNCTION = ("--class", "QELTA_PCIDevice", "--key", "DeviceID=PCI Bus 0, device 3, function 1")
SLOT = ("--class", "QELTA_SystemSlot", "--key", "Tag=System Slot 3")
BOARD = ("--class", "QELTA_SystemBoard", "--key", "DeviceID=SystemBoard1")
TO_SLOT = ("--result-class", "QELTA_SystemSlot")
ACROSS = (("function > board", FUNCTION, ()), ("function > slot", FUNCTION, TO_SLOT), ("slot", SLOT, ()), ("board", BOARD, ()))
EXCHANGES = 331
TABLE = 65536
MIB = 1 << 20
FEW = peers.FEW


def requests(quick):
    """(what, the request's options, readings of the table)."""
    classes = CLASSES[:4] if quick else CLASSES
    twice = ("DeviceInSlot", "OnBoardDevice", "SSPCIController")
    for operation in ("enumerate",) if quick else ("enumerate", "enumerate-names", "get"):
        for name in classes:
            readings = 0 if name == "SystemBoard" else 2 if name in twice else 1
            yield f"{operation} {name}", ("--operation", operation, "--class", "QELTA_" + name), readings
    across = ("associators", "associator-names", "references", "reference-names")
    for operation in across[:1] if quick else across:
        for what, source, towards in ACROSS:
            refers = operation.startswith("reference")
            wanted = ("--result-class", "QELTA_DeviceInSlot") if towards and refers else towards
            readings = {"function > board": 1 if refers else 0, "function > slot": 2}.get(what, 2 if refers else 1)
            yield f"{operation} {what}", ("--operation", operation, *source, *wanted), readings


def in_parallel(works):
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        return [work.result() for work in [pool.submit(*work) for work in works]]


def counted(place, machine, options):
    command = place.request(*options)
    told = measure.json_of(machine.around([*command, "--memory", "--times", "2"]))
    told["instructions"] = measure.instructions([*command, "--times", "2"], machine.around)
    told["system"] = measure.system_calls(command, machine.around)
    return told


def per_operation(report, place, functions, quick):
    machine = place.machine(functions, FEW)
    asked = [*requests(quick), ("the floor of a scan", ("--operation", "floor"), 1)]
    found = in_parallel([(counted, place, machine, options) for _, options, _ in asked])
    rows = []
    for (what, _, readings), told in zip(asked, found):
        if told["exchanges"] != readings * EXCHANGES or told["status"] != 0:
            raise measure.Failed(f"{what}: {told['exchanges']} exchanges, status {told['status']}")
        expected = loglines.EXPECTED.get(what)
        if expected and told["lines"] != expected(loglines.numbers(functions, 8)):
            raise measure.Failed(f"{what}: {told['lines']} lines, not {expected(loglines.numbers(functions, 8))}")
        rows.append((what, told["objects"], told["instructions"], told["allocations"], told["calls"],
                     sum(told["system"].values()), told["system"].get("openat", 0), told["exchanges"], told["lines"],
                     text_of(told["peak"], "B")))
    report.table(f"One request each, {peers.title_of(machine)}, 8 slots: counts",
                 ("operation", "objects", "instr.", "allocs", "broker", "system", "opens", "exch.", "lines",
                  "peak"), (34, 8, 8, 7, 7, 8, 6, 6, 6, 10), rows)
    told = dict(zip((what for what, _, _ in asked), found))
    print("  searches of the catalogues by the first and by the floor: "
          f"{told['enumerate PCIDevice']['searches']}, {told['the floor of a scan']['searches']}")
    same_objects(place, machine, told)
    same_files(told["enumerate PCIDevice"]["system"], told["the floor of a scan"]["system"])


def same_objects(place, machine, told):
    """The measuring broker is answered with as many objects as the rig's."""
    host = place.folder / "host"
    (host / "proc/bus").mkdir(parents=True)
    (host / "etc").mkdir()
    (host / "bmc").mkdir()
    (host / "proc/bus/pci").symlink_to(machine.bus)
    (host / "etc/vmware").symlink_to(place.build / "catalogue")
    (host / "bmc/smbios-table").write_bytes(place.table.read_bytes())
    cimhost = str(place.build / "bin/cimhost")
    for name in CLASSES:
        if f"enumerate {name}" not in told:
            continue
        objects = json.loads(measure.output_of([cimhost, "enumerate", name, "--host", str(host), "--format", "json"]))
        if len(objects["instances"]) != told[f"enumerate {name}"]["objects"]:
            raise measure.Failed(f"{name}: {len(objects['instances'])} objects in cimhost, "
                                 f"{told[f'enumerate {name}']['objects']} here")


def same_files(ours, floors):
    """The floor opens what the provider opens, and reads as much of it at a time."""
    for name in ("openat", "read", "close"):
        if abs(ours.get(name, 0) - floors.get(name, 0)) > 2:
            raise measure.Failed(f"{ours.get(name, 0)} calls of {name}, the floor {floors.get(name, 0)}")


def transfer(report, place):
    ours, bare = in_parallel([(measure.instructions, place.request("--class", "QELTA_SystemSlot", table=place.slots(0))),
                              (measure.instructions, place.request("--operation", "transfer"))])
    report.section("Instructions of an exchange, BMC in memory", "ours", "bare loop")
    report.row("one of 331, and the walk over a table", ours // EXCHANGES, bare // EXCHANGES, ours / bare,
               "")


def growth(report, place, sizes):
    """Instructions of each further function, from size to size."""
    machines = [place.machine(size, FEW) for size in sizes]
    found = in_parallel([(measure.instructions, place.request(), machine.around) for machine in reversed(machines)])
    found.reverse()
    slopes = [(b - a) / (larger.functions - smaller.functions)
              for a, b, smaller, larger in zip(found, found[1:], machines, machines[1:])]
    report.section("Growth: instructions of each further function, beside the first row's", "ours", "first", "ratio", "growth")
    for slope, smaller, larger in zip(slopes, machines, machines[1:]):
        report.row(f"from {smaller.functions:,} to {larger.functions:,} functions, {smaller.names} names", round(slope),
                   round(slopes[0]), slope / slopes[0], "", most=1.1)


def memory(report, place, sizes):
    """The heap's peak beyond the catalogues' texts and the table's area."""
    needed = sum(file.stat().st_size + 1 for file in place.catalogues) + TABLE
    machines = [place.machine(size, FEW) for size in sizes]
    found = in_parallel([(measure.json_of, machine.around(place.request("--memory"))) for machine in machines])
    extra = [told["peak"] - needed for told in found]
    report.section("Peak memory of the provider beyond both catalogues and 64 KiB: heap, without the broker's objects",
                   "ours", "catalogues", "", "peak memory")
    at_1500 = None
    for machine, beyond in zip(machines, extra):
        small = 1000 <= machine.functions <= 1500
        report.row(f"{machine.functions:,} functions", beyond, needed, unit="B", most=MIB if small else None)
        if machine.functions == 1500:
            at_1500 = beyond
        elif at_1500 is not None:
            each = (beyond - at_1500) / (machine.functions - 1500)
            report.row(f"  each beyond 1,500 at {machine.functions:,}", each, unit="B", most=500)
