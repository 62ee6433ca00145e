"""What the virtual machine says of itself, by the kernel's files that were brought out of it, and what the provider has
to answer by that: what it answers on an emulated host that has the same files. Other tests hold those answers
to what other programs say; check.py holds them to sysfs and to the slots that the machine was given."""

import functools
import json
import re
import shutil
import subprocess

import machine

# Every class, and how often the table is read for its instances.
ENUMERATIONS = {"QELTA_PCIDevice": 1, "QELTA_PCIBridge": 1, "QELTA_DeviceInSlot": 2, "QELTA_SystemSlot": 1,
                "QELTA_SystemBoard": 0, "QELTA_OnBoardDevice": 2, "QELTA_SSPCIController": 2,
                "QELTA_OBDPCIController": 1}
TO_SLOTS = "QELTA_DeviceInSlot"
BRIDGES = 6    # base class


def class_of(subject):
    return re.match(r"(?:root/kavix:)?(\w+)", subject)[1]


def readings(arguments, answer=""):
    """How often a request has the whole table read from the BMC; one of the command line by its answer."""
    command, subject = arguments[:2]
    class_name = class_of(subject)
    if not command.startswith(("associator", "reference")):
        return ENUMERATIONS[class_name]
    references = command.startswith("reference")
    if class_name == "QELTA_SystemSlot":
        # The command line finds out whether a slot without functions exists.
        return 1 + references + answer.startswith("// CMPI_RC_OK, 0 ")
    if class_name == "QELTA_SystemBoard":
        return 1 + references
    if TO_SLOTS in arguments or class_name == "QELTA_SSPCIController":
        return 1 if ", device 0," in subject else 2
    return 1 if references else 0


def slot_published(slot):
    """The properties of a slot that machine.py describes."""
    number, tag = slot.low | slot.high, f"System Slot {slot.low | slot.high}"
    first, second = slot.characteristics
    voltages = [3] * (first >> 1 & 1) + [2] * (first >> 2 & 1)
    return {"Tag": tag, "Number": number, "CurrentUsage": slot.usage, "SlotLength": slot.length,
            "OperationalStatus": [{1: 1, 3: 2, 4: 2}.get(slot.usage, 0)], "ConnectorType": [slot.kind],
            "MaxDataWidth": slot.width, "PMESignal": bool(first & 1), "Shared": bool(first & 8),
            "SlotDesignation": slot.strings[0] if slot.strings else tag,
            "SlotAllInfo": f"{slot.strings[0]}, {tag}" if slot.strings else tag,
            "SupportsHotPlug": bool(second & 2), "VccMixedVoltageSupport": voltages or [0]}


def function_published(sysfs, number):
    """The numbers of a function by sysfs; None is a property that is not set."""
    bus, device, function = number >> 8, number >> 3 & 31, number & 7

    def value(name):
        return int((sysfs / f"0000:{bus:02x}:{device:02x}.{function}" / name).read_text(), 0)

    bridge = value("class") >> 16 == BRIDGES
    highest_slot = max(slot.low | slot.high for slot in machine.SLOTS)
    return {"DeviceID": f"PCI Bus {bus}, device {device}, function {function}",
            "CreationClassName": "QELTA_PCIBridge" if bridge else "QELTA_PCIDevice",
            "VendorID": value("vendor"), "PciDeviceID": value("device"), "ClassCode": value("class") >> 16,
            "Subclass": value("class") >> 8 & 0xFF, "Revision": value("revision"), "Number": device or None,
            "UINumber": device if device <= highest_slot else 0, "IRQ": None if bridge else value("irq") or None,
            "SubsystemVendorID": None if bridge else value("subsystem_vendor"),
            "SubsystemID": None if bridge else value("subsystem_device")}


class Facts:
    def __init__(self, folder, build):
        self.build = build
        self.host = folder / "host"
        shutil.copytree(build / "catalogue", self.host / "etc/vmware")
        self.host_without_bmc = folder / "host-without-bmc"
        shutil.copytree(self.host, self.host_without_bmc, ignore=shutil.ignore_patterns("bmc"))
        self.name = (self.host / "hostname").read_text().strip()
        self.table_bytes = (self.host / "bmc/smbios-table").stat().st_size
        # The kernel's list gives the order; everything else of a function is sysfs's.
        self.numbers = [int(line.split()[0], 16)
                        for line in (self.host / "proc/bus/pci/devices").read_text().splitlines()]
        self.listed_in_sysfs = len(list((folder / "sysfs").iterdir()))
        functions = [function_published(folder / "sysfs", number) for number in self.numbers]
        self.devices = [each for each in functions if each["CreationClassName"] == "QELTA_PCIDevice"]
        self.bridges = [each for each in functions if each["CreationClassName"] == "QELTA_PCIBridge"]
        self.slots = [slot_published(slot) for slot in machine.SLOTS]

    @staticmethod
    def output_of(*command, **environment):
        return subprocess.run(command, check=True, text=True, stdout=subprocess.PIPE, timeout=60,
                              env={"LC_ALL": "C", **environment}).stdout

    @functools.cache
    def answer(self, *arguments, form="mof"):
        """The provider's on the emulated host, to a request of the command line."""
        return self.output_of(self.build / "bin/cimhost", *arguments, "--format", form, "--host", self.host)

    @functools.cache
    def delivered(self, step, bmc=True):
        """The same to a step of the client that is a request."""
        libraries = self.build / "lib"
        lines = self.output_of(self.build / "bin/vmclient", "/dev/stdout", libraries / "libPCIInfoProvider.so", step,
                               LD_PRELOAD=str(libraries / "libemulatedhost.so"),
                               EMULATED_HOST=str(self.host if bmc else self.host_without_bmc))
        return json.loads(lines.splitlines()[0])["delivered"]    # what the provider puts out comes after it

    def instances(self, class_name):
        return json.loads(self.answer("enumerate", class_name, form="json"))["instances"]
