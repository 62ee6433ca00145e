"""What the provider has to answer to each request, by the facts, and how often it reads the table from the BMC."""

import re
from typing import NamedTuple


class Expected(NamedTuple):
    instances: list
    transfers: int    # of the whole table


class Answers:
    def __init__(self, facts):
        self.facts = facts

    def to(self, arguments):
        """To a request of the command line; names are the paths of the same instances."""
        command, subject = arguments[:2]
        filtered = "QELTA_DeviceInSlot" in arguments[2:]
        if command in ("enumerate", "names"):
            return self.enumeration(subject)
        if command == "get":
            return self.got(subject)
        if command.startswith("associator"):
            return self.associators(subject, filtered)
        return self.references(subject, filtered)

    def enumeration(self, class_name):
        facts = self.facts
        if class_name == "QELTA_PCIDevice":
            return Expected([facts.function_instance(function) for function in facts.devices()], 1)
        if class_name == "QELTA_PCIBridge":
            return Expected([facts.function_instance(function) for function in facts.bridges()], 1)
        if class_name == "QELTA_SystemSlot":
            return Expected([facts.slot_instance(slot) for slot in facts.slots], 1)
        if class_name == "QELTA_SystemBoard":
            return Expected([facts.board_instance()], 0)
        if class_name == "QELTA_DeviceInSlot":
            return Expected([facts.in_slot_instance(slot, function)
                             for slot in facts.slots for function in facts.in_slot(slot)], 2)
        if class_name == "QELTA_OnBoardDevice":
            return Expected([facts.on_board_instance(function) for function in facts.on_board()], 2)
        if class_name == "QELTA_SSPCIController":
            return Expected([facts.function_instance(function)
                             for slot in facts.slots for function in facts.in_slot(slot)], 2)
        if class_name == "QELTA_OBDPCIController":
            return Expected([facts.function_instance(function) for function in facts.on_board()], 1)
        raise ValueError(f"no such class: {class_name}")

    def got(self, path):
        """The instance that the path names, out of its class's enumeration."""
        everything = self.enumeration(self.class_of(path))
        wanted = path
        if "PCIController." in path:
            # A view delivers functions by their own classes, and is asked by the one key that they share with it.
            wanted = self.facts.function_path(self.function_named(path))
        return Expected([instance for instance in everything.instances if instance["path"] == wanted],
                        everything.transfers)

    @staticmethod
    def class_of(path):
        return re.match(r"(?:root/kavix:)?(\w+)\.", path)[1]

    def function_named(self, path):
        return next(function for function in self.facts.functions if f'"{function.text}"' in path)

    def slot_named(self, path):
        return next(slot for slot in self.facts.slots if f'"System Slot {slot.number}"' in path)

    @staticmethod
    def looking_for_slot(functions):
        """Readings by which the command line finds out whether a slot without functions exists."""
        return 0 if functions else 1

    def leads_to_slot(self, path, filtered):
        return filtered or self.class_of(path) == "QELTA_SSPCIController"

    def associators(self, path, filtered):
        facts, class_name = self.facts, self.class_of(path)
        if class_name == "QELTA_SystemSlot":
            functions = facts.in_slot(self.slot_named(path))
            return Expected([facts.function_instance(function) for function in functions],
                            1 + self.looking_for_slot(functions))
        if class_name == "QELTA_SystemBoard":
            return Expected([facts.function_instance(function) for function in facts.on_board()], 1)
        if not self.leads_to_slot(path, filtered):
            return Expected([facts.board_instance()], 0)
        function = self.function_named(path)
        slot = facts.slot_of(function)
        return Expected([facts.slot_instance(slot)] if slot else [], 2 if function.device else 1)

    def references(self, path, filtered):
        facts, class_name = self.facts, self.class_of(path)
        if class_name == "QELTA_SystemSlot":
            slot = self.slot_named(path)
            functions = facts.in_slot(slot)
            return Expected([facts.in_slot_instance(slot, function) for function in functions],
                            2 + self.looking_for_slot(functions))
        if class_name == "QELTA_SystemBoard":
            return self.enumeration("QELTA_OnBoardDevice")
        function = self.function_named(path)
        if not self.leads_to_slot(path, filtered):
            return Expected([facts.on_board_instance(function)], 1)
        slot = facts.slot_of(function)
        return Expected([facts.in_slot_instance(slot, function)] if slot else [], 2 if function.device else 1)
