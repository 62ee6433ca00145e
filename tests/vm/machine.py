"""The virtual machine: a PCI bus with bridges behind bridges, and the system slots that its SMBIOS table describes.

The provider says that a function sits in the slot whose number is the function's device number, and on the board when
that is 0 or above every slot's. So the slots are numbered by what is on the bus: 1, 3, 4, 5, 7 and 16 hold functions
(slots 1 and 3 a bridge, 5 and 7 a card of two functions), 2 is empty, device 6 is neither on the board nor in a slot,
and everything from device 17 on is on the board."""

import struct
from typing import NamedTuple


class Slot(NamedTuple):
    """One SMBIOS structure of type 9. The slot's number is low | high, the bytes of its slot ID."""
    low: int
    high: int
    strings: tuple
    kind: int
    width: int
    usage: int
    length: int
    characteristics: tuple
    place: tuple    # bus, device and function

    def structure(self, handle):
        bus, device, function = self.place
        formatted = struct.pack("<BBHBBBBBBBBBHBB", 9, 17, handle, 1 if self.strings else 0, self.kind, self.width,
                                self.usage, self.length, self.low, self.high, *self.characteristics, 0, bus,
                                device << 3 | function)
        strings = b"".join(text.encode() + b"\0" for text in self.strings)
        return formatted + (strings or b"\0") + b"\0"


SLOTS = (
    Slot(4, 0, ("PCI4",), 0x06, 0x05, 4, 3, (0x06, 0x01), (5, 4, 0)),
    Slot(1, 0, ("PCIE1",), 0xA5, 0x08, 4, 4, (0x0C, 0x03), (7, 1, 0)),
    Slot(2, 0, (), 0xB6, 0x0D, 2, 6, (0x00, 0x00), (0, 2, 0)),
    Slot(16, 0, ("J16",), 0x01, 0x01, 1, 1, (0x01, 0x00), (0, 16, 0)),
    Slot(6, 1, ("RISER7", "second text"), 0x11, 0x06, 3, 2, (0x0F, 0x02), (0, 7, 0)),
    Slot(3, 0, ("PCI3",), 0xAB, 0x0B, 5, 5, (0x02, 0x04), (4, 3, 0)),
    Slot(5, 0, ("PCI5",), 0x0E, 0x07, 4, 4, (0x04, 0x07), (5, 5, 0)),
)

DEVICES = (
    # Network: a card of two ports behind a root port, single ones elsewhere. romfile= leaves the boot ROM out.
    "pcie-root-port,id=rp1,bus=pcie.0,addr=1c.0,multifunction=on,chassis=1,slot=1",
    "pcie-root-port,id=rp2,bus=pcie.0,addr=1c.1,chassis=2,slot=2",
    "pcie-root-port,id=rp3,bus=pcie.0,addr=1c.2,chassis=3,slot=3",
    "pcie-root-port,id=rp4,bus=pcie.0,addr=1c.3,chassis=4,slot=4",
    "e1000e,bus=rp1,addr=00.0,multifunction=on,romfile=",
    "e1000e,bus=rp1,addr=00.1,romfile=",
    "nvme,serial=vmtest1,bus=rp2",
    # A bridge behind a bridge, with a network card and a card of two functions on it.
    "pcie-pci-bridge,id=pb1,bus=rp3",
    "pci-bridge,id=pb2,bus=pb1,addr=03.0,chassis_nr=9",
    "e1000,bus=pb2,addr=04.0,romfile=",
    "rtl8139,bus=pb2,addr=05.0,multifunction=on,romfile=",
    "pci-ohci,bus=pb2,addr=05.1",
    # A switch.
    "x3130-upstream,id=up1,bus=rp4",
    "xio3130-downstream,id=dn1,bus=up1,addr=00.0,chassis=5,slot=5",
    "xio3130-downstream,id=dn2,bus=up1,addr=01.0,chassis=5,slot=6",
    "virtio-rng-pci,bus=dn1",
    # A second root.
    "pxb-pcie,id=pxb,bus=pcie.0,addr=01.0,bus_nr=64",
    "pcie-root-port,id=rp5,bus=pxb,chassis=6,slot=7",
    "e1000e,bus=rp5,romfile=",
    # On the first root itself.
    "virtio-scsi-pci,bus=pcie.0,addr=06.0",
    "pci-serial,bus=pcie.0,addr=07.0,multifunction=on",
    "intel-hda,bus=pcie.0,addr=07.1",
    "pci-testdev,bus=pcie.0,addr=10.0",
    "edu,bus=pcie.0,addr=11.0",
    "e1000,id=onboard,bus=pcie.0,addr=14.0,romfile=",
)


def qemu(kernel, image, mode, folder, bmc_socket=None):
    """The command, to be run in `folder`: what the machine writes is console.log and results.bin there. Without a
    socket it has no IPMI interface."""
    command = ["qemu-system-x86_64",
               # Never kvm: one that is no good hangs the machine, and one that is good changes the times.
               "-accel", "tcg", "-M", "q35", "-m", "256", "-nodefaults", "-no-user-config", "-display", "none",
               "-monitor", "none", "-no-reboot", "-kernel", str(kernel), "-initrd", str(image),
               # On a busy host the timer may not tick while the kernel tries it, which makes the kernel panic.
               "-append", f"console=ttyS0 quiet panic=-1 no_timer_check vmtest={mode}",
               "-serial", "file:console.log", "-serial", "file:results.bin",
               "-device", "isa-debug-exit,iobase=0x501,iosize=2"]
    if bmc_socket is not None:
        # The connection has to come up after the device: made at once, it crashes QEMU 7.2.
        command += ["-chardev", f"socket,id=ipmi0,path={bmc_socket},reconnect=1",
                    "-device", "ipmi-bmc-extern,id=bmc0,chardev=ipmi0", "-device", "isa-ipmi-kcs,bmc=bmc0"]
    for device in DEVICES:
        command += ["-device", device]
    command += ["-smbios", "type=0,vendor=TESTBIOS,version=1.0", "-smbios", "type=1,manufacturer=TESTCO,product=BOX",
                "-smbios", "type=41,designation=ONBOARD_A,instance=1,kind=ethernet,pcidev=onboard"]
    for number, slot in enumerate(SLOTS):
        name = f"slot{number}.bin"
        (folder / name).write_bytes(slot.structure(0x0900 + number))
        command += ["-smbios", f"file={name}"]
    return command
