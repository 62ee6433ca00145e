"""What the virtual machine says of itself, read from the kernel's files that were brought out of it, and what the
provider has to answer by that. Nothing here comes from the provider's code: it is another reading of its rules."""

import re
from pathlib import Path
from typing import NamedTuple
from xml.sax.saxutils import escape

NAMESPACE = "root/kavix"
BRIDGES = 6    # base class
CONFIG_BARS = 0x10


class Function(NamedTuple):
    bus: int
    device: int
    function: int
    vendor: int
    device_id: int
    base_class: int
    subclass: int
    revision: int
    irq: int
    subsystem_vendor: int
    subsystem: int
    config: bytes

    @property
    def is_bridge(self):
        return self.base_class == BRIDGES

    @property
    def class_name(self):
        return "QELTA_PCIBridge" if self.is_bridge else "QELTA_PCIDevice"

    @property
    def text(self):
        return f"PCI Bus {self.bus}, device {self.device}, function {self.function}"


class Slot(NamedTuple):
    """A structure of type 9: its formatted area and its strings."""
    formatted: bytes
    strings: tuple

    @property
    def number(self):
        return self.formatted[9] | self.formatted[10]


class PciIds:
    """The PCI ID list, read as the catalogues are made and searched."""

    def __init__(self, file):
        self.vendors, self.devices, self.classes = {}, {}, ""
        in_classes = False
        for line in Path(file).read_text(encoding="utf-8").splitlines():
            if line.startswith("C "):
                in_classes = True
            elif re.match(r"[A-Z] ", line):
                break    # other lists follow the classes
            if in_classes:
                if re.match(r"C |\t[0-9a-f]", line):
                    self.classes += line + "\n"
            elif match := re.match(r"(\t?)([0-9a-f]{4})  (.*)", line):
                # The first device with a number is taken, whichever vendor's it is.
                (self.devices if match[1] else self.vendors).setdefault(int(match[2], 16), escape(match[3].strip()))

    def class_text(self, base_class, subclass):
        """What follows the first two such digits from the class's line on."""
        start = self.classes.find(f"C {base_class:02x}")
        place = self.classes.find(f"{subclass:02x}", start) if start >= 0 else -1
        if place < 0:
            return "PCI Bridge:" if base_class == BRIDGES else "PIC:"
        return self.classes[place + 4:self.classes.index("\n", place)]


def structures(table):
    """(formatted area, strings) of every structure up to the end marker."""
    place = 0
    while True:
        formatted = table[place:place + table[place + 1]]
        end = table.index(b"\0\0", place + len(formatted))
        texts = table[place + len(formatted):end]
        yield formatted, tuple(text.decode() for text in texts.split(b"\0")) if texts else ()
        if formatted[0] == 127:
            return
        place = end + 2


def bars(config):
    """(memory addresses, I/O addresses) as the provider is to decode them: by the low byte alone."""
    memory, ports = [], []
    for register in range(CONFIG_BARS, CONFIG_BARS + 24, 4):
        low, second, third, high = config[register:register + 4]
        if low == 1:
            ports.append(second << 8 | third)
        elif low != 0:
            memory.append(high << 16 | third << 8 | second)
    return [address for address in memory if address], [port for port in ports if port]


class Facts:
    def __init__(self, folder, pci_ids):
        self.ids = pci_ids
        self.host = (folder / "hostname").read_text().strip()
        # The kernel's list gives the order; everything else of a function is sysfs's.
        self.functions = [self.function(folder / "sysfs", int(line.split()[0], 16))
                          for line in (folder / "devices").read_text().splitlines()]
        self.listed_in_sysfs = len(list((folder / "sysfs").iterdir()))
        self.entry_point = (folder / "dmi/smbios_entry_point").read_bytes()
        self.table = (folder / "dmi/DMI").read_bytes()
        self.slots = [Slot(*structure) for structure in structures(self.table) if structure[0][0] == 9]
        self.highest_slot = max(slot.number for slot in self.slots)

    @staticmethod
    def function(sysfs, number):
        bus, device, function = number >> 8, number >> 3 & 31, number & 7
        folder = sysfs / f"0000:{bus:02x}:{device:02x}.{function}"

        def value(name):
            return int((folder / name).read_text(), 0)

        return Function(bus, device, function, value("vendor"), value("device"), value("class") >> 16,
                        value("class") >> 8 & 0xFF, value("revision"), value("irq"), value("subsystem_vendor"),
                        value("subsystem_device"), (folder / "config").read_bytes())

    # --- object paths ---

    def path(self, class_name, key, value):
        return (f'{NAMESPACE}:{class_name}.SystemCreationClassName="QELTA_ASSETID",SystemName="{self.host}",'
                f'CreationClassName="{class_name}",{key}="{value}"')

    def function_path(self, function, class_name=None):
        return self.path(class_name or function.class_name, "DeviceID", function.text)

    def slot_path(self, slot):
        return self.path("QELTA_SystemSlot", "Tag", f"System Slot {slot.number}")

    def board_path(self):
        return self.path("QELTA_SystemBoard", "DeviceID", "SystemBoard1")

    @staticmethod
    def association_path(class_name, antecedent, dependent):
        def quoted(path):
            return path.replace("\\", "\\\\").replace('"', '\\"')
        return f'{NAMESPACE}:{class_name}.Antecedent="{quoted(antecedent)}",Dependent="{quoted(dependent)}"'

    # --- which objects belong together ---

    def devices(self):
        return [function for function in self.functions if not function.is_bridge]

    def bridges(self):
        return [function for function in self.functions if function.is_bridge]

    def devices_then_bridges(self, chosen):
        return [function for function in self.devices() + self.bridges() if chosen(function)]

    def in_slot(self, slot):
        return self.devices_then_bridges(lambda function: function.device == slot.number)

    def on_board(self):
        return self.devices_then_bridges(lambda function: self.board_number(function, self.highest_slot) == 0)

    def slot_of(self, function):
        return next((slot for slot in self.slots if slot.number == function.device != 0), None)

    @staticmethod
    def board_number(function, highest_slot):
        return function.device if function.device <= highest_slot else 0

    # --- instances: {property: (type, value)} with the path under "path" ---

    def keys(self, class_name, key, value):
        return {"path": self.path(class_name, key, value),
                "SystemCreationClassName": ("string", "QELTA_ASSETID"), "SystemName": ("string", self.host),
                "CreationClassName": ("string", class_name), key: ("string", value)}

    def description(self, function):
        return (f"{self.ids.class_text(function.base_class, function.subclass)}: "
                f"{self.ids.vendors.get(function.vendor, 'vendor')} "
                f"{self.ids.devices.get(function.device_id, 'descrip')} (rev {function.revision:02x})")

    def function_instance(self, function, highest_slot=None):
        highest_slot = self.highest_slot if highest_slot is None else highest_slot
        instance = self.keys(function.class_name, "DeviceID", function.text)
        instance.update({
            "VendorID": ("uint16", function.vendor), "PciDeviceID": ("uint16", function.device_id),
            "UINumber": ("uint8", self.board_number(function, highest_slot)),
            "ClassCode": ("uint8", function.base_class), "Subclass": ("uint8", function.subclass),
            "Revision": ("uint8", function.revision), "Description": ("string", self.description(function)),
            "Location": ("string", function.text)})
        if function.device != 0:
            instance["Number"] = ("uint8", function.device)
        if function.is_bridge:
            return instance
        memory, ports = bars(function.config)
        instance.update({"SubsystemVendorID": ("uint16", function.subsystem_vendor),
                         "SubsystemID": ("uint16", function.subsystem)})
        if function.irq != 0:
            instance["IRQ"] = ("uint16", function.irq)
        if memory:
            instance["MEMAddress"] = ("uint32[]", memory)
        if ports:
            instance["IOAddress"] = ("uint16[]", ports)
        return instance

    def slot_instance(self, slot):
        tag = f"System Slot {slot.number}"
        kind, width, usage, length = slot.formatted[5:9]
        first, second = slot.formatted[11:13]
        voltages = [3] * (first >> 1 & 1) + [2] * (first >> 2 & 1)
        instance = self.keys("QELTA_SystemSlot", "Tag", tag)
        instance.update({
            "Number": ("uint16", slot.number), "Description": ("string", "System Slot"),
            "CurrentUsage": ("uint16", usage), "SlotLength": ("uint8", length),
            "OperationalStatus": ("uint16[]", [{1: 1, 3: 2, 4: 2}.get(usage, 0)]),
            "ConnectorType": ("uint16[]", [kind]), "MaxDataWidth": ("uint16", width),
            "PMESignal": ("boolean", bool(first & 1)), "Shared": ("boolean", bool(first & 8)),
            "SlotDesignation": ("string", slot.strings[0] if slot.strings else tag),
            "SlotAllInfo": ("string", f"{slot.strings[0]}, {tag}" if slot.strings else tag),
            "SupportsHotPlug": ("boolean", bool(second & 2)), "VccMixedVoltageSupport": ("uint16[]", voltages or [0])})
        return instance

    def board_instance(self):
        instance = self.keys("QELTA_SystemBoard", "DeviceID", "SystemBoard1")
        instance.update({"ElementName": ("string", "SystemBoard1"), "SlotDesignation": ("string", "Onboard"),
                         "SlotAllInfo": ("string", "Onboard")})
        return instance

    def association_instance(self, class_name, antecedent, dependent):
        return {"path": self.association_path(class_name, antecedent, dependent),
                "Antecedent": ("reference", antecedent), "Dependent": ("reference", dependent)}

    def in_slot_instance(self, slot, function):
        return self.association_instance("QELTA_DeviceInSlot", self.slot_path(slot), self.function_path(function))

    def on_board_instance(self, function):
        return self.association_instance("QELTA_OnBoardDevice", self.board_path(), self.function_path(function))
