"""The log lines that a request writes: what docs/performance.md tells integrators, as numbers to hold it to."""

from types import SimpleNamespace


def numbers(functions, slots):
    """Of a machine as machine.py writes it."""
    all_of_them = [(n >> 3 & 31, n % 4 == 0) for n in range(functions)]

    def count(place, bridge):
        return sum(place(device) and is_bridge == bridge for device, is_bridge in all_of_them)
    m = SimpleNamespace(functions=functions, slots=slots)
    m.devices, m.bridges = count(lambda _: True, False), count(lambda _: True, True)
    m.slot_devices, m.slot_bridges = (count(lambda device: 1 <= device <= slots, bridge) for bridge in (False, True))
    m.board_devices, m.board_bridges = m.devices - m.slot_devices, m.bridges - m.slot_bridges
    m.in_slots, m.on_board = m.slot_devices + m.slot_bridges, m.board_devices + m.board_bridges
    m.in_third = tuple(count(lambda device: device == 3, bridge) for bridge in (False, True))
    m.scan = 19 * functions + 3 * m.devices    # three base address registers of each device are in use
    m.all_devices, m.all_bridges = m.scan + 4 * m.devices + 1, m.scan + m.bridges + 1
    m.board_view = m.scan + 4 * m.board_devices + m.board_bridges + 2
    m.board = m.all_devices + m.all_bridges + 24 * m.on_board + 13 * m.in_slots + 9
    return m


EXPECTED = {
    "enumerate PCIDevice": lambda m: m.all_devices,
    "enumerate PCIBridge": lambda m: m.all_bridges,
    "enumerate-names PCIDevice": lambda m: m.scan,
    "enumerate-names PCIBridge": lambda m: m.scan,
    "enumerate SystemSlot": lambda m: 2 * m.slots + 2,
    "enumerate SystemBoard": lambda m: 1,
    "enumerate DeviceInSlot": lambda m: m.scan + 2 * m.functions * m.slots + 14 * m.slots + 13 * m.in_slots + 12,
    "enumerate OnBoardDevice": lambda m: m.board,
    "enumerate SSPCIController": lambda m: m.scan + 5 * m.slot_devices + 2 * m.slot_bridges + 9 * m.slots + 9,
    "enumerate OBDPCIController": lambda m: m.board_view,
    "associators function > board": lambda m: 7,
    "associators function > slot": lambda m: m.scan + 2 * m.slots + 36,
    "associators slot": lambda m: m.scan + 5 * m.in_third[0] + 2 * m.in_third[1] + 7,
    "associators board": lambda m: m.board_view + 1,
    "references function > board": lambda m: m.scan + 14,
    "references function > slot": lambda m: m.scan + 9 * m.slots + 20,
    "references slot": lambda m: m.scan + 2 * m.functions + 9 * m.slots + 13 * sum(m.in_third) + 11,
    "references board": lambda m: m.board,
}
