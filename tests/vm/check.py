"""Compares what the provider answered in the virtual machine with what it has to answer."""

import json
import re
from typing import NamedTuple

import bmclog
import machine
from answers import Answers

CLASSES = ("QELTA_PCIDevice", "QELTA_PCIBridge", "QELTA_DeviceInSlot", "QELTA_SystemSlot", "QELTA_SystemBoard",
           "QELTA_OnBoardDevice", "QELTA_SSPCIController", "QELTA_OBDPCIController")
ASSOCIATIONS = ("QELTA_DeviceInSlot", "QELTA_OnBoardDevice")
ROUNDS = 2    # of the timed requests
_TIMED_SLOT = 'QELTA_SystemSlot.Tag="System Slot 3"'
_TIMED_FUNCTION = 'QELTA_PCIBridge.DeviceID="PCI Bus 4, device 3, function 0"'
TIMED = (*(f"enumerate={class_name}" for class_name in CLASSES),
         f"get={_TIMED_SLOT}", f"associators={_TIMED_SLOT}", f"references={_TIMED_SLOT}",
         f"associators={_TIMED_FUNCTION}", f"slots={_TIMED_FUNCTION}", f"slot-references={_TIMED_FUNCTION}")
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


def check_facts(tally, facts):
    """The machine is the one that was asked for, and its slots and its bus belong together."""
    tally.equal("the machine", facts.listed_in_sysfs, len(facts.functions),
                "functions in sysfs and in the kernel's list")
    tally.equal("the machine", [(slot.formatted[9:11], slot.strings) for slot in facts.slots],
                [(bytes((slot.low, slot.high)), slot.strings) for slot in machine.SLOTS], "slots")
    places = {(function.bus, function.device, function.function) for function in facts.functions}
    for slot in machine.SLOTS:
        tally.equal("the machine", slot.place in places, slot.strings != (), f"a function where slot {slot.place} is")


# --- answers of the command line ---

class Answer(NamedTuple):
    """What the command line wrote in MOF."""
    status: str
    paths: list        # of a request for names
    instances: list    # {property: (type, value)}, with the path under "path"


def value_of(literal):
    """Of a literal: an array is a list, a reference its text."""
    if literal.startswith("{"):
        return [value_of(element) for element in re.findall(r'"(?:[^"\\]|\\.)*"|[^{}, ]+', literal)]
    if literal.startswith('"'):
        return re.sub(r'\\(["\\])', r"\1", literal[1:-1])
    return {"NULL": None, "TRUE": True, "FALSE": False}[literal] if literal.isalpha() else int(literal)


def answer_of(text):
    """The status is in the last line; a path stands in a comment before its instance."""
    comments = re.findall(r"^// (.*)$", text, re.MULTILINE)
    status = comments[-1].split(",")[0] if comments else None
    if "\ninstance of " not in text:
        return Answer(status, [line for line in text.splitlines() if line and not line.startswith("//")], [])
    instances = []
    for path, block in zip(comments, text.split("\ninstance of ")[1:]):
        properties = re.findall(r"^    (\w+) = (.*);  // ([^,\n]*)", block, re.MULTILINE)
        instances.append({"path": path, **{name: (kind, value_of(literal)) for name, literal, kind in properties}})
    return Answer(status, [], instances)


def kind_of(class_name):
    return {"QELTA_PCIDevice": "functions", "QELTA_PCIBridge": "functions", "QELTA_SystemSlot": "slots",
            "QELTA_SystemBoard": "boards", "QELTA_DeviceInSlot": "associations, in a slot",
            "QELTA_OnBoardDevice": "associations, on the board"}[class_name]


def compare_instances(tally, got, expected, where):
    """Objects in their order, each by every property that either side has."""
    tally.equal("answers: objects in order", [instance["path"] for instance in got],
                [instance["path"] for instance in expected], where)
    for one, other in zip(got, expected):
        kind = kind_of(Answers.class_of(other["path"]))
        tally.equal(f"{kind}: instances", one.keys(), other.keys(), f"{where}: {other['path']}")
        for name in other:
            tally.equal(f"{kind}: properties", one.get(name), other[name], f"{where}: {other['path']}: {name}")


def check_requests(tally, folder, expected_answers, log):
    """Every request of the command line, and what it asked of the BMC: `log` is {name: messages}."""
    for file in sorted((folder / "cim").glob("*.arguments")):
        name = file.stem
        arguments = file.read_text().splitlines()
        tally.equal("requests", file.with_suffix(".status").read_text().strip(), "0",
                    f"{name}: {file.with_suffix('.error').read_text().strip()}")
        answer = answer_of(file.with_suffix(".mof").read_text())
        expected = expected_answers.to(arguments)
        tally.equal("requests", answer.status, "CMPI_RC_OK", name)
        bits = "32 bits" if "32-" in name else "64 bits"
        if "names" in arguments[0]:
            tally.equal(f"answers of cimhost, {bits}: names in order", answer.paths,
                        [instance["path"] for instance in expected.instances], name)
        else:
            compare_instances(tally, answer.instances, expected.instances, name)
        check_transfers(tally, log.get(name, []), expected.transfers, name)


def check_coverage(tally, folders, facts):
    """Every operation was asked for every class in 64 bits, and every function and every slot for the other end."""
    asked = [(file.stem, file.read_text().splitlines())
             for folder in folders for file in (folder / "cim").glob("*.arguments") if "32-" not in file.stem]
    operations = {(arguments[0], re.match(r"(?:root/kavix:)?(\w*)", arguments[1])[1]) for _, arguments in asked}
    wanted = {(command, class_name) for command in ("enumerate", "names", "get") for class_name in CLASSES}
    wanted |= {(command, class_name) for command in ("associators", "associator-names", "references", "reference-names")
               for class_name in CLASSES if class_name not in ASSOCIATIONS}
    tally.equal("operations for classes", operations, wanted, "asked")
    for prefix, objects in (("slot-of-", facts.functions), ("functions-in-", facts.slots)):
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
    return [line for line in lines if line["step"].startswith("enumerate=")]


def expected_of(step, answers):
    """What a step of the client that is a request has to be answered with."""
    verb, subject = step.split("=", 1)
    if verb == "enumerate":
        return answers.enumeration(subject)
    if verb == "get":
        return answers.enumeration(answers.class_of(subject))    # by the provider: it delivers all of the class
    if verb in ("associators", "slots"):
        return answers.associators(subject, verb == "slots")
    return answers.references(subject, verb == "slot-references")


def check_store(tally, folder, facts):
    """The table that the machine wrote into the data store is its own, and came back."""
    store = steps(folder / "client/store")[0]
    tally.equal("data store", store.get("written"), len(facts.entry_point) + len(facts.table), "bytes written")
    tally.equal("data store", (store.get("readBack"), store.get("scratchReadBack"), store.get("scratchAfterDeletion")),
                (True, True, False), "read back, other file read back, other file after its deletion")


def text_of(kind, value):
    """A property as the client writes it."""
    if isinstance(value, bool):
        value = str(value).upper()
    return f"{kind} {', '.join(map(str, value)) if isinstance(value, list) else value}"


def as_client_writes(instance):
    return {name: value if name == "path" else text_of(*value) for name, value in instance.items()}


def check_client(tally, folder, bits, expected_answers, sections):
    """One process of either width: its requests' objects, the BMC's log of them; returns its lines."""
    lines = steps(folder / f"client/timed{bits}")
    about = lines[0]
    sizes = {32: (0x8014690D, 0xC018690B), 64: (0x8028690D, 0xC030690B)}[bits]
    tally.equal("request numbers", (about.get("bits"), about.get("send"), about.get("receive")), (bits, *sizes), bits)
    timed = [line for line in lines if line["step"] in TIMED]
    tally.equal("requests", [line["step"] for line in timed], [*TIMED] * ROUNDS, f"{bits} bits")
    logged = [messages for title, messages in sections if title.startswith(f"time{bits}-")]
    tally.equal("requests", len(logged), len(timed), f"{bits} bits, in the BMC's log")
    for line, messages in zip(timed, logged):
        where = f"{bits} bits: {line['step']}"
        expected = expected_of(line["step"], expected_answers)
        tally.equal("requests", line.get("status"), "CMPI_RC_OK", where)
        tally.equal(f"answers: objects in order, {bits} bits", [entry["path"] for entry in line.get("objects", ())],
                    [instance["path"] for instance in expected.instances], where)
        for one, other in zip(line.get("objects", ()), expected.instances):
            tally.equal(f"instances of {bits} bits", one, as_client_writes(other), where)
        tally.equal("descriptors of the device", line["ipmiDescriptors"], 0, where)
        check_transfers(tally, messages, expected.transfers, where)
    return lines


def check_bare(tally, lines, sections):
    """The loop past the provider exchanges what the provider does for a reading of the table."""
    logged = [message for title, messages in sections if title == "bare" for message in messages]
    check_transfers(tally, logged, sum(line["step"] == "bare" for line in lines), "bare loops")


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


def check_delivery(tally, line, facts, complete, where):
    """Every slot with all it has, or none, without an error."""
    slots = [as_client_writes(facts.slot_instance(slot)) for slot in facts.slots]
    tally.equal("faults: deliveries", (line["objects"], line["status"]), (slots if complete else [], "CMPI_RC_OK"),
                where)


def check_fault(tally, name, fault, lines, facts, during, afterwards):
    lines = requests_of(lines)
    tally.equal("faults: requests", len(lines), 2, name)
    if len(lines) != 2:
        return
    for line, complete, open_after in ((lines[0], fault.complete, fault.open_after), (lines[1], True, 0)):
        check_delivery(tally, line, facts, complete, name)
        tally.equal("faults: descriptors of the device", line["ipmiDescriptors"], open_after, name)
    tally.true("faults: time at least", lines[0]["seconds"] >= fault.seconds, f"{name}: {lines[0]['seconds']}")
    tally.equal("faults: messages to the BMC", bmclog.brief(during), fault.messages, name)
    check_transfers(tally, afterwards, 1, f"after {name}", fault.next_chunk)


def check_faults(tally, folder, facts, sections):
    """All faults of the machine in which they pass; returns {name: [(the client's line, number of messages)]}."""
    report = {}
    for name, fault in FAULTS.items():
        lines = steps(folder / "client" / f"fault-{name}")
        profile = name[:-2] if fault.bits == 32 else name
        at = [i for i, (title, _) in enumerate(sections) if title == profile][0 if fault.bits == 64 else -1]
        during, afterwards = sections[at][1], sections[at + 1][1]
        check_fault(tally, name, fault, lines, facts, during, afterwards)
        report[name] = [(line, len(part)) for line, part in zip(requests_of(lines), (during, afterwards))]
    return report


# The completion code that a program gets where the BMC does not answer, and after how many seconds at least.
DRIVER_ANSWERS = (("silent BMC", [0xC3], 4.0), ("BMC goes while asked", [0xD2], 0.0), ("BMC is gone", [0xD2], 0.0))


def check_driver_answers(tally, folder):
    """What the driver hands over past the provider; returns [(case, the client's line)]."""
    lines = [line for line in steps(folder / "client/answers") if line["step"] == "answer"]
    tally.equal("faults: answers of the driver", [line["answer"] for line in lines],
                [answer for _, answer, _ in DRIVER_ANSWERS], "in the BMC's place")
    for line, (case, _, seconds) in zip(lines, DRIVER_ANSWERS):
        tally.true("faults: time at least", line["seconds"] >= seconds, f"{case}: {line['seconds']}")
    return [(case, line) for line, (case, _, _) in zip(lines, DRIVER_ANSWERS)]


def check_other_place(tally, folder, facts, messages):
    line = requests_of(steps(folder / "client/other-place"))[0]
    check_delivery(tally, line, facts, True, "/dev/ipmidev/0")
    tally.equal("faults: descriptors of the device", line["ipmiDescriptors"], 0, "/dev/ipmidev/0")
    check_transfers(tally, messages, 1, "/dev/ipmidev/0")
    return [(line, len(messages))]


def check_functions_without_slots(tally, line, facts, where):
    """Every function is there all the same, with all it has, and on the board as far as anybody knows."""
    expected = [facts.function_instance(function, highest_slot=0) for function in facts.devices()]
    tally.equal("faults: deliveries", line["objects"], [as_client_writes(instance) for instance in expected], where)


def check_without_device(tally, folder, facts, name):
    """No device, or none that may be opened: the provider waits 5 s once, the first exchange's time."""
    lines = requests_of(steps(folder / f"client/fault-{name}"))
    check_delivery(tally, lines[0], facts, False, name)
    check_functions_without_slots(tally, lines[1], facts, name)
    for line in lines:
        tally.true("faults: time at least", line["seconds"] >= 5.0, f"{name}: {line['seconds']}")
        tally.equal("faults: descriptors of the device", line["ipmiDescriptors"], 0, name)
    return [(line, 0) for line in lines]


def check_side_by_side(tally, folder):
    """Sixteen requests at once without a device: each waits its 5 s, beside the others; returns their seconds."""
    whole = next(line for line in steps(folder / "client/no-device-at-once") if line["step"].startswith("sixteen"))
    requests = whole["requests"]
    tally.equal("requests at once", len(requests), 16, "without a device")
    for request in requests:
        tally.equal("requests at once", (request["status"], request["objects"]), ("CMPI_RC_OK", 0), "without a device")
        tally.true("requests at once", 5.0 <= request["seconds"] < 10.0, f"without a device: {request['seconds']} s")
    tally.equal("descriptors of the device", whole["ipmiDescriptors"], 0, "requests at once without a device")
    return [request["seconds"] for request in requests]


def check_hung(tally, folder, facts, sections):
    """The interface hangs from the tenth message on: 5 s for it and 5 for the close, then 5 for every open."""
    lines = requests_of(steps(folder / "client/fault-hung"))
    expected = ((True, 0.0, 0), (False, 10.0, 0), (False, 5.0, 1))
    for line, (complete, seconds, open_after) in zip(lines, expected):
        check_delivery(tally, line, facts, complete, "hung")
        tally.true("faults: time at least", line["seconds"] >= seconds, f"hung: {line['seconds']}")
        tally.equal("faults: descriptors of the device", line["ipmiDescriptors"], open_after, "hung")
    tally.equal("faults: requests", len(lines), 4, "hung")
    check_functions_without_slots(tally, lines[3], facts, "hung")
    last = sections[-1][1]
    tally.equal("faults: messages to the BMC", [message.what for message in last][-1:], ["desynchronised"], "hung")
    return [(line, "") for line in lines]
