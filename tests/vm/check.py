"""Compares what the provider answered in the virtual machine with what it has to answer."""

import difflib
import json
from typing import NamedTuple

import bmclog
import machine
from facts import ENUMERATIONS, TO_SLOTS, class_of, readings

ASSOCIATIONS = ("QELTA_DeviceInSlot", "QELTA_OnBoardDevice")
ROUNDS = 2    # of the timed requests
_TIMED_SLOT = 'QELTA_SystemSlot.Tag="System Slot 3"'
_TIMED_FUNCTION = 'QELTA_PCIBridge.DeviceID="PCI Bus 4, device 3, function 0"'
TIMED = (*(f"enumerate {class_name}" for class_name in ENUMERATIONS),
         f"get {_TIMED_SLOT}", f"associators {_TIMED_SLOT}", f"references {_TIMED_SLOT}",
         f"associators {_TIMED_FUNCTION}", f"associators {_TIMED_FUNCTION} --assoc-class {TO_SLOTS}",
         f"references {_TIMED_FUNCTION} --result-class {TO_SLOTS}")
NOTHING = "CMPI_RC_OK\n"
LARGE, SMALL = 200, 58    # bytes of a read, before and after a refusal


class Tally:
    """How much was compared, and the differences, by kind."""

    def __init__(self):
        self.compared = {}
        self.differences = {}

    def equal(self, kind, got, expected, where):
        self.compared[kind] = self.compared.get(kind, 0) + 1
        if got != expected:
            self.differences.setdefault(kind, []).append(f"{where}: {got!r}, expected {expected!r}")

    def true(self, kind, held, where):
        self.equal(kind, bool(held), True, where)

    def same_text(self, kind, got, expected, where):
        """Shows the lines that differ."""
        self.equal(kind, [*difflib.unified_diff(expected.splitlines(), got.splitlines(), n=0, lineterm="")], [], where)


def check_facts(tally, facts):
    """The machine is the one that was asked for, its slots and its bus belong together, and the answers that are
    expected of it have the numbers of sysfs and of the slots."""
    tally.equal("the machine", facts.listed_in_sysfs, len(facts.numbers),
                "functions in sysfs and in the kernel's list")
    places = {(number >> 8, number >> 3 & 31, number & 7) for number in facts.numbers}
    for slot in machine.SLOTS:
        tally.equal("the machine", slot.place in places, slot.strings != (), f"a function where slot {slot.place} is")
    for class_name, expected in (("QELTA_PCIDevice", facts.devices), ("QELTA_PCIBridge", facts.bridges),
                                 ("QELTA_SystemSlot", facts.slots)):
        instances = facts.instances(class_name)
        tally.equal("facts: objects", len(instances), len(expected), class_name)
        for instance, numbers in zip(instances, expected):
            tally.equal("facts: host name", instance["SystemName"], facts.name, class_name)
            for name, value in numbers.items():
                tally.equal("facts: properties", instance.get(name), value, f"{instance['path']['text']}: {name}")
    functions = facts.devices + facts.bridges
    for class_name, key, expected in (
            ("QELTA_DeviceInSlot", "Tag", [(slot["Tag"], each["DeviceID"]) for slot in facts.slots for each in functions
                                           if (each["Number"] or 0) == slot["Number"]]),
            ("QELTA_OnBoardDevice", "DeviceID", [("SystemBoard1", each["DeviceID"]) for each in functions
                                                 if each["UINumber"] == 0])):
        got = [(each["Antecedent"]["keys"][key], each["Dependent"]["keys"]["DeviceID"])
               for each in facts.instances(class_name)]
        tally.equal("facts: associations", got, expected, class_name)


# --- answers of the command line ---

def check_requests(tally, folder, facts, log):
    """Every request of the command line, and what it asked of the BMC: `log` is {name: messages}."""
    for file in sorted((folder / "cim").glob("*.arguments")):
        name = file.stem
        arguments = file.read_text().splitlines()
        tally.equal("requests", file.with_suffix(".status").read_text().strip(), "0",
                    f"{name}: {file.with_suffix('.error').read_text().strip()}")
        bits = "32 bits" if "32-" in name else "64 bits"
        answer = facts.answer(*arguments)
        tally.same_text(f"answers of cimhost, {bits}", file.with_suffix(".mof").read_text(), answer, name)
        check_transfers(tally, log.get(name, []), readings(arguments, answer), name)


def check_coverage(tally, folders, facts):
    """Every operation was asked for every class in 64 bits, and every function and every slot for the other end."""
    asked = [(file.stem, file.read_text().splitlines())
             for folder in folders for file in (folder / "cim").glob("*.arguments") if "32-" not in file.stem]
    operations = {(arguments[0], class_of(arguments[1])) for _, arguments in asked}
    wanted = {(command, class_name) for command in ("enumerate", "names", "get") for class_name in ENUMERATIONS}
    wanted |= {(command, class_name) for command in ("associators", "associator-names", "references", "reference-names")
               for class_name in ENUMERATIONS if class_name not in ASSOCIATIONS}
    tally.equal("operations for classes", operations, wanted, "asked")
    for prefix, objects in (("slot-of-", facts.numbers), ("functions-in-", facts.slots)):
        tally.equal("operations for classes", sum(name.startswith(prefix) for name, _ in asked), len(objects), prefix)


def check_transfers(tally, messages, transfers, where, chunk=LARGE):
    """Nothing but whole readings of the table, each message answered well."""
    tally.equal("readings of the table", bmclog.brief(messages), bmclog.transfer(chunk) * transfers, where)
    for message in messages:
        tally.true("exchanges with the BMC", message.what == "answered" and message.code == 0, where)


# --- the client's lines ---

def steps(file):
    return [json.loads(line) for line in file.read_text().splitlines()]


def requests_of(lines):
    return [line for line in lines if "delivered" in line]


def arguments_of(step):
    """A step of the client that is a request, as the command line takes it."""
    words, *options = step.split(" --")
    return [*words.split(" ", 1), *(word for option in options for word in f"--{option}".split(" ", 1))]


def check_store(tally, folder, facts):
    """The table that the machine wrote into the data store is its own, and came back."""
    store = steps(folder / "client/store")[0]
    tally.equal("data store", store.get("written"), facts.table_bytes, "bytes written")
    tally.equal("data store", (store.get("readBack"), store.get("scratchReadBack"), store.get("scratchAfterDeletion")),
                (True, True, False), "read back, other file read back, other file after its deletion")


def check_client(tally, folder, bits, facts, sections):
    """One process of either width: its requests' answers, the BMC's log of them; returns its lines."""
    lines = steps(folder / f"client/timed{bits}")
    about = lines[0]
    sizes = {32: (0x8014690D, 0xC018690B), 64: (0x8028690D, 0xC030690B)}[bits]
    tally.equal("request numbers", (about.get("bits"), about.get("send"), about.get("receive")), (bits, *sizes), bits)
    timed = requests_of(lines)
    tally.equal("requests", [line["step"] for line in timed], [*TIMED] * ROUNDS, f"{bits} bits")
    logged = [messages for title, messages in sections if title.startswith(f"time{bits}-")]
    tally.equal("requests", len(logged), len(timed), f"{bits} bits, in the BMC's log")
    for line, messages in zip(timed, logged):
        where = f"{bits} bits: {line['step']}"
        tally.same_text(f"answers in one process, {bits} bits", line["delivered"], facts.delivered(line["step"]), where)
        tally.equal("descriptors of the device", line["ipmiDescriptors"], 0, where)
        check_transfers(tally, messages, readings(arguments_of(line["step"])), where)
    return lines


def check_bare(tally, lines, sections):
    """The loop past the provider exchanges what the provider does for a reading of the table."""
    logged = [message for title, messages in sections if title == "bare" for message in messages]
    transfers = sum(line["step"] == "bare" for line in lines)
    transfers += sum(len(line["ours"]) + len(line["bare"]) for line in lines if "ours" in line)
    check_transfers(tally, logged, transfers, "bare loops")


# --- faults ---

class Fault(NamedTuple):
    """What a request for the slots comes to while the BMC is at fault, and the next when it no longer is."""
    complete: bool       # every slot is delivered, else none
    seconds: float       # at least
    open_after: int      # descriptors that stay open
    messages: list       # that reach the BMC
    next_chunk: int      # of the reads afterwards
    bits: int = 64


def first_reads(count, chunk=LARGE):
    return bmclog.transfer(chunk)[:2 + count]


def small_reads_from(offset):
    return [(bmclog.READ, place, min(SMALL, bmclog.AREA - place)) for place in range(offset, bmclog.AREA, SMALL)]


CLOSED = [(bmclog.CLOSE, 0, 0)]


def again(reads_done):
    """The first reads, of which the last is refused, and the same place in small bytes."""
    return first_reads(reads_done) + [(bmclog.READ, (reads_done - 1) * LARGE, SMALL)]


def lowered(reads_done):
    """The first reads, of which the last is refused, and the rest in small ones."""
    return first_reads(reads_done) + small_reads_from((reads_done - 1) * LARGE) + CLOSED


FAULTS = {
    # Nothing comes: the interface itself answers C3h after 4 s.
    "silent": Fault(False, 4.0, 1, first_reads(0)[:1], LARGE),
    "silent-once": Fault(True, 4.0, 0, lowered(100), SMALL),
    # The BMC is gone in the middle of an answer: D2h for this and everything until it is back.
    "cut-off": Fault(False, 0.0, 0, first_reads(50), SMALL),
    "cut-off-open": Fault(False, 0.0, 1, first_reads(0)[:1], LARGE),
    "small-reads": Fault(True, 0.0, 0, lowered(1), SMALL),
    "small-reads32": Fault(True, 0.0, 0, lowered(1), SMALL, 32),
    "long-answers": Fault(True, 0.0, 0, bmclog.transfer(LARGE), LARGE),
    # Cut by the driver, which says so with C6h; FFh for an answer to another command.
    "oversize-answers": Fault(False, 0.0, 0, again(20) + CLOSED, SMALL),
    "foreign-answers": Fault(False, 0.0, 0, again(20) + CLOSED, SMALL),
    "short-answer": Fault(True, 0.0, 0, lowered(3), SMALL),
    "slow-answer": Fault(True, 2.5, 0, bmclog.transfer(LARGE), LARGE),
    "no-access": Fault(False, 0.0, 1, first_reads(0)[:1], LARGE),
}


def slots(facts, complete):
    """Every slot with all it has, or none, without an error."""
    return facts.delivered("enumerate QELTA_SystemSlot") if complete else NOTHING


def functions_without_slots(tally, facts):
    """Every function is there all the same, with all it has, and on the board as far as anybody knows."""
    delivered = facts.delivered("enumerate QELTA_PCIDevice", bmc=False)
    tally.equal("faults: deliveries", delivered.count("  UINumber = uint8 0\n"), len(facts.devices), "without slots")
    return delivered


def check_request(tally, line, delivered, where, seconds=0.0, open_after=0):
    """What a request delivers, how long it takes at least, and the descriptors that it leaves open."""
    tally.same_text("faults: deliveries", line["delivered"], delivered, where)
    tally.true("faults: time at least", line["seconds"] >= seconds, f"{where}: {line['seconds']}")
    tally.equal("faults: descriptors of the device", line["ipmiDescriptors"], open_after, where)


def check_faults(tally, folder, facts, sections):
    """All faults of the machine in which they pass."""
    for name, fault in FAULTS.items():
        profile = name[:-2] if fault.bits == 32 else name
        at = [i for i, (title, _) in enumerate(sections) if title == profile][0 if fault.bits == 64 else -1]
        during, afterwards = sections[at][1], sections[at + 1][1]
        lines = requests_of(steps(folder / "client" / f"fault-{name}"))
        tally.equal("faults: requests", len(lines), 2, name)
        check_request(tally, lines[0], slots(facts, fault.complete), name, fault.seconds, fault.open_after)
        tally.equal("faults: messages to the BMC", bmclog.brief(during), fault.messages, name)
        check_request(tally, lines[1], slots(facts, True), f"after {name}")
        check_transfers(tally, afterwards, 1, f"after {name}", fault.next_chunk)


# The completion code that a program gets where the BMC does not answer, and after how many seconds at least.
DRIVER_ANSWERS = {"silent BMC": ([0xC3], 4.0), "BMC goes while asked": ([0xD2], 0.0), "BMC is gone": ([0xD2], 0.0)}


def check_driver_answers(tally, folder):
    """What the driver hands over past the provider."""
    lines = [line for line in steps(folder / "client/answers") if line["step"] == "answer"]
    tally.equal("faults: answers of the driver", len(lines), len(DRIVER_ANSWERS), "in the BMC's place")
    for line, (case, (answer, seconds)) in zip(lines, DRIVER_ANSWERS.items()):
        tally.equal("faults: answers of the driver", line["answer"], answer, case)
        tally.true("faults: time at least", line["seconds"] >= seconds, f"{case}: {line['seconds']}")


def check_other_place(tally, folder, facts, messages):
    line = requests_of(steps(folder / "client/other-place"))[0]
    check_request(tally, line, slots(facts, True), "/dev/ipmidev/0")
    check_transfers(tally, messages, 1, "/dev/ipmidev/0")


def check_without_device(tally, folder, facts, name):
    """No device, or none that may be opened: the provider waits 5 s once, the first exchange's time."""
    lines = requests_of(steps(folder / f"client/fault-{name}"))
    check_request(tally, lines[0], NOTHING, name, 5.0)
    check_request(tally, lines[1], functions_without_slots(tally, facts), name, 5.0)


def check_side_by_side(tally, folder):
    """Sixteen requests at once without a device: each waits its 5 s, beside the others."""
    whole = next(line for line in steps(folder / "client/no-device-at-once") if line["step"].startswith("sixteen"))
    requests = whole["requests"]
    tally.equal("requests at once", len(requests), 16, "without a device")
    for request in requests:
        tally.equal("requests at once", request["delivered"], NOTHING, "without a device")
        tally.true("requests at once", 5.0 <= request["seconds"] < 10.0, f"without a device: {request['seconds']} s")
    tally.equal("descriptors of the device", whole["ipmiDescriptors"], 0, "requests at once without a device")


def check_hung(tally, folder, facts, sections):
    """The interface hangs from the tenth message on: 5 s for it and 5 for the close, then 5 for every open."""
    lines = requests_of(steps(folder / "client/fault-hung"))
    tally.equal("faults: requests", len(lines), 4, "hung")
    for line, (complete, seconds, open_after) in zip(lines, ((True, 0.0, 0), (False, 10.0, 0), (False, 5.0, 1))):
        check_request(tally, line, slots(facts, complete), "hung", seconds, open_after)
    tally.same_text("faults: deliveries", lines[3]["delivered"], functions_without_slots(tally, facts), "hung")
    last = sections[-1][1]
    tally.equal("faults: messages to the BMC", [message.what for message in last][-1:], ["desynchronised"], "hung")
