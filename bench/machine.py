"""Machines to measure on, written as files: a PCI bus as /proc/bus/pci shows it, and an SMBIOS table with slots.

The names of all that is on the bus are known to the PCI ID list, so that lspci finds each in it, as the provider does in
the catalogue made from it."""

import shutil
from pathlib import Path

FIRST = 31       # bytes in front of the structures: the entry point
DEVICES = 0x20   # the functions of one class of a bus, with few names


def identities(pci_ids):
    """(vendor, device, subsystem vendor, subsystem) in the order of the list, with a subsystem's where it names one."""
    found = []
    vendor = None
    for line in Path(pci_ids).read_text(encoding="utf-8").splitlines():
        if line.startswith("C "):
            break
        if not line or line.startswith("#"):
            continue
        if line.startswith("\t\t"):
            words = line.split()
            if found[-1][2:] == (0, 0):
                found[-1] = found[-1][:2] + (int(words[0], 16), int(words[1], 16))
        elif line.startswith("\t"):
            found.append((vendor, int(line[1:5], 16), 0, 0))
        else:
            vendor = int(line[:4], 16)
    return [identity for identity in found if identity[0] not in (0, 0xffff) and identity[1] != 0xffff]


def spread(all_of_them, count):
    """So many of them, from the first to the last at even distances."""
    count = min(count, len(all_of_them))
    return [all_of_them[i * len(all_of_them) // count] for i in range(count)]


def header(identity, bridge):
    """Configuration space: 64 bytes that are read and 192 that are not."""
    vendor, device, subsystem_vendor, subsystem = identity
    config = bytearray(256)
    config[0:4] = vendor.to_bytes(2, "little") + device.to_bytes(2, "little")
    config[0x08] = 0x04
    config[0x0a:0x0c] = (4, 6) if bridge else (0, 2)    # PCI bridge, Ethernet controller
    config[0x0c] = 0x10
    config[0x0e] = 1 if bridge else 0
    if not bridge:
        config[0x10:0x14] = (0xf7a0000c).to_bytes(4, "little")
        config[0x18:0x1c] = (0x0000e001).to_bytes(4, "little")
        config[0x1c:0x20] = (0xf7b00004).to_bytes(4, "little")
        config[0x2c:0x30] = subsystem_vendor.to_bytes(2, "little") + subsystem.to_bytes(2, "little")
    config[0x3c] = 0x0b
    return bytes(config)


def line(busdevfn, identity, bridge):
    sizes = (0,) * 7 if bridge else (0x4000, 0, 0x20, 0x1000, 0, 0, 0)
    addresses = (0,) * 7 if bridge else (0xf7a0000c, 0, 0xe001, 0xf7b00004, 0, 0, 0)
    fields = "\t".join(f"{number:16x}" for number in addresses + sizes)
    return f"{busdevfn:04x}\t{identity[0]:04x}{identity[1]:04x}\t{0 if bridge else 0x1b:x}\t{fields}\t\n"


def write_bus(folder, functions, known):
    """Writes `functions` of them, every fourth a bridge, as the directory /proc/bus/pci; they share the identities in
    `known` in turn. Files with the same bytes are one file with many names, or 65,536 would take 256 MiB."""
    folder = Path(folder)
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    written = {}
    lines = []
    for number in range(functions):
        identity, bridge = known[number % len(known)], number % 4 == 0
        place = folder / f"{number >> 8:02x}" / f"{number >> 3 & 31:02x}.{number & 7:x}"
        if number & 255 == 0:
            place.parent.mkdir()
        content = header(identity, bridge)
        same = written.get(content)
        if same is None:
            place.write_bytes(content)
            written[content] = place
        else:
            place.hardlink_to(same)
        lines.append(line(number, identity, bridge))
    (folder / "devices").write_text("".join(lines))


def slot_record(number):
    record = bytes((9, 13, number, 9, 1, 0xa5, 0x0d, 4 if number % 2 else 3, 4, number, 0, 0x04, 0x01))
    return record + f"PCIE{number}".encode() + b"\0\0"


def smbios_table(slots):
    """The file of the BMC's data store: an entry point of 31 bytes, then the structures."""
    structures = b"".join(slot_record(number) for number in range(1, slots + 1)) + bytes((127, 4, 0, 127)) + b"\0\0"
    entry = bytearray(FIRST)
    entry[0:4] = b"_SM_"
    entry[5] = FIRST
    entry[6:8] = (2, 7)
    entry[16:21] = b"_DMI_"
    entry[22:24] = len(structures).to_bytes(2, "little")
    entry[24:28] = (0x20).to_bytes(4, "little")
    entry[28:30] = (slots + 1).to_bytes(2, "little")
    entry[30] = 0x27
    entry[21] = -sum(entry[16:31]) & 0xff
    entry[4] = -sum(entry) & 0xff
    return bytes(entry) + structures


def smbios_dump(table):
    """The same as dmidecode reads it from a file: the structures begin at byte 32."""
    return table[:FIRST] + b"\0" + table[FIRST:]
