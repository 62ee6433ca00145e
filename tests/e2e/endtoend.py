#!/usr/bin/env python3
"""wbemcli against a WBEM server with the provider: right answers to every kind of request, for every class.

The server is `cimhost serve`. PCIINFO_SERVER_URL names another one, with PCIINFO_SERVER_SAMPLE the sample that it stands
on; see objectmanager.py.
"""

import os
import unittest

import wbem

FUNCTIONS = ("QELTA_PCIDevice", "QELTA_PCIBridge")
VIEWS = ("QELTA_SSPCIController", "QELTA_OBDPCIController")
ASSOCIATIONS = ("QELTA_DeviceInSlot", "QELTA_OnBoardDevice")
CLASSES = (*FUNCTIONS, *VIEWS, *ASSOCIATIONS, "QELTA_SystemSlot", "QELTA_SystemBoard")
SAMPLES = ("dell-t440", "dell-r910", "lenovo-90g0")

# CIM status codes.
INVALID_NAMESPACE, INVALID_CLASS, NOT_FOUND, NOT_SUPPORTED, NO_SUCH_PROPERTY, METHOD_NOT_FOUND = 3, 5, 6, 7, 12, 17

# wbemcli's operation, cimhost's command, and whether it delivers names.
ENUMERATIONS = (("ein", "names", True), ("ei", "enumerate", False))
ASSOCIATOR_REQUESTS = (("ain", "associator-names", True), ("ai", "associators", False))
REFERENCE_REQUESTS = (("rin", "reference-names", True), ("ri", "references", False))
# wbemcli's option and cimhost's.
ASSOC_CLASS, RESULT_CLASS = ("-ac", "--assoc-class"), ("-arc", "--result-class")
ROLE, RESULT_ROLE = ("-ar", "--role"), ("-arr", "--result-role")

# Filters for associators; references take those without association class and result role.
FILTERS = (
    (),
    ((ASSOC_CLASS, "QELTA_DeviceInSlot"),),
    ((ASSOC_CLASS, "QELTA_OnBoardDevice"),),
    ((ASSOC_CLASS, "qelta_deviceinslot"), (RESULT_CLASS, "QELTA_SystemSlot")),
    ((ASSOC_CLASS, "QELTA_DeviceInSlot"), (RESULT_CLASS, "QELTA_SystemSlot"), (RESULT_ROLE, "Antecedent")),
    ((ASSOC_CLASS, "QELTA_OnBoardDevice"), (RESULT_ROLE, "Dependent")),
    ((RESULT_CLASS, "QELTA_DeviceInSlot"),),
    ((RESULT_CLASS, "QELTA_OnBoardDevice"),),
    ((RESULT_CLASS, "QELTA_PCIDevice"),),
    ((RESULT_CLASS, "QELTA_DeviceInSlot"), (ROLE, "Dependent")),
    ((RESULT_CLASS, "QELTA_PCIBridge"), (RESULT_ROLE, "Dependent")),
)


class EndToEnd(unittest.TestCase):
    """Starts the server of one sample."""

    sample = SAMPLES[0]
    own_server = "PCIINFO_SERVER_URL" not in os.environ

    def setUp(self):
        self.sample = os.environ.get("PCIINFO_SERVER_SAMPLE", self.sample)
        self.serve(self.sample)

    def serve(self, sample):
        host = wbem.sample(sample)
        self.cimhost = wbem.Cimhost(host)
        self.url = os.environ.get("PCIINFO_SERVER_URL")
        if self.own_server:
            self.url = self.enterContext(wbem.serving(host))

    def ask(self, operation, path, *options, arguments=()):
        return wbem.wbemcli(self.url, operation, f"{wbem.NAMESPACE}:{path}", *options, arguments=arguments)

    def ask_about(self, operation, object_, *options, arguments=()):
        return wbem.wbemcli(self.url, operation, wbem.client_path(object_), *options, arguments=arguments)

    def objects(self, class_name):
        return self.cimhost.ask("names", class_name)["names"]

    def check(self, answer, names, question):
        """Compares wbemcli's answer with cimhost's to the question; gives their number."""
        expected = self.cimhost.names(*question) if names else self.cimhost.instances(*question)
        self.assertEqual(answer.names() if names else answer.instances(), expected, question)
        return len(expected)


class Enumerations(EndToEnd):
    """ein and ei."""

    def test_every_class_of_every_sample_is_enumerated_as_the_provider_does(self):
        for sample in SAMPLES if self.own_server else (self.sample,):
            self.serve(sample)
            found = 0
            for class_name in CLASSES:
                for operation, command, names in ENUMERATIONS:
                    found += self.check(self.ask(operation, class_name), names, (command, class_name))
            self.assertGreater(found, 40)

    def test_class_names_and_namespaces_are_taken_in_any_letter_case(self):
        answer = wbem.wbemcli(self.url, "ein", "ROOT/Kavix:qelta_SYSTEMSLOT")
        self.assertEqual(answer.names(), self.cimhost.names("names", "QELTA_SystemSlot"))


class Gets(EndToEnd):
    """gi."""

    def test_the_one_instance_with_the_keys_is_given(self):
        for class_name in (*FUNCTIONS, *ASSOCIATIONS, "QELTA_SystemSlot", "QELTA_SystemBoard"):
            objects = self.objects(class_name)
            self.assertTrue(objects, class_name)
            # The provider answers a get with all instances, of which some object managers pass on the first.
            for object_ in objects[:1] + (objects[1:][-1:] if self.own_server else []):
                answer = self.ask_about("gi", object_)
                self.assertEqual(self.check(answer, False, ("get", object_["text"])), 1)


class Associations(EndToEnd):
    """ain, ai, rin, ri, from every class that is a source, with and without filters."""

    def check_sources(self, requests, filters):
        found = 0
        for source in self.sources():
            for operation, command, names in requests:
                for chosen in filters:
                    options = [text for (option, _), value in chosen for text in (option, value)]
                    question = [text for (_, option), value in chosen for text in (option, value)]
                    answer = self.ask_about(operation, source, *options)
                    found += self.check(answer, names, (command, source["text"], *question))
        return found

    def sources(self):
        """Of each class the first and the last object, the views by paths of functions."""
        found = []
        for class_name in (*FUNCTIONS, "QELTA_SystemSlot", "QELTA_SystemBoard"):
            objects = self.objects(class_name)
            found += objects[:1] if len(objects) == 1 else [objects[0], objects[-1]]
        for class_name in VIEWS:
            view = dict(self.objects("QELTA_PCIDevice")[0])
            view["text"] = view["text"].replace("QELTA_PCIDevice", class_name)
            view["class"] = class_name
            view["keys"] = dict(view["keys"], CreationClassName=class_name)
            found.append(view)
        return found

    def test_associators_are_those_that_the_provider_gives(self):
        self.assertGreater(self.check_sources(ASSOCIATOR_REQUESTS, FILTERS), 200)

    def test_references_are_those_that_the_provider_gives(self):
        allowed = (RESULT_CLASS, ROLE)
        # Object managers leave nothing of a request that names a class as its association that is none.
        filters = [chosen for chosen in FILTERS if all(option in allowed for option, _ in chosen)
                   and (RESULT_CLASS, "QELTA_PCIDevice") not in chosen]
        self.assertGreater(self.check_sources(REFERENCE_REQUESTS, filters), 200)


@unittest.skipUnless(EndToEnd.own_server, "answers of our own server")
class Errors(EndToEnd):
    """Errors reach the client as CIM errors with their numbers."""

    def test_every_error_has_its_number(self):
        slot = wbem.client_path(self.objects("QELTA_SystemSlot")[0])
        absent, slots = f'{wbem.NAMESPACE}:QELTA_None.DeviceID="1"', f"{wbem.NAMESPACE}:QELTA_SystemSlot"
        rows = [(INVALID_CLASS, operation, absent) for operation in ("ei", "ein", "gi", "ain", "ai", "rin", "ri")]
        rows += [(INVALID_NAMESPACE, operation, "root/cimv2:QELTA_SystemSlot")
                 for operation in ("ei", "ein", "gc", "ecn", "ec")]
        rows += [(NOT_FOUND, "gc", f"{wbem.NAMESPACE}:QELTA_None"),
                 (NOT_FOUND, "gi", slot.replace("System Slot 1", "system slot 1")),
                 (NOT_FOUND, "ain", slot, "-ac", "QELTA_None"), (NOT_FOUND, "ri", slot, "-arc", "QELTA_None"),
                 (NOT_SUPPORTED, "di", slot), (NOT_SUPPORTED, "dc", slots)]
        rows += [(NOT_SUPPORTED, operation, slot, ("Number=7",)) for operation in ("ci", "mi", "sp")]
        rows += [(NO_SUCH_PROPERTY, "gp", slot, ("NoSuch",)), (METHOD_NOT_FOUND, "cm", slot, ("Reset",)),
                 (METHOD_NOT_FOUND, "cm", slots, ("Reset",))]
        for code, operation, path, *more in rows:
            arguments = more.pop() if more and isinstance(more[-1], tuple) else ()
            answer = wbem.wbemcli(self.url, operation, path, *more, arguments=arguments)
            self.assertEqual(answer.error(), code, (operation, path, answer.out, answer.err))


@unittest.skipUnless(EndToEnd.own_server, "answers of our own server")
class ClassRequests(EndToEnd):
    """gc."""

    def test_a_class_is_given_with_its_properties(self):
        for class_name in CLASSES:
            answer = self.ask("gc", class_name, "-nl")
            self.assertEqual(answer.code, 0, answer.err)
            declared = {line[1:].split("=")[0] for line in answer.out.splitlines() if line.startswith("-")}
            instances = self.cimhost.ask("enumerate", class_name)["instances"]
            delivered = {name for instance in instances if instance["path"]["class"] == class_name
                         for name in wbem.property_names(instance)}
            self.assertLessEqual(delivered, declared)
            self.assertTrue(declared)


@unittest.skipUnless(EndToEnd.own_server, "answers of our own server")
class Namespaces(EndToEnd):
    """What leads a client to the namespace."""

    def test_the_namespaces_and_their_host_are_found(self):
        for interop in ("interop", "root/interop"):
            answer = wbem.wbemcli(self.url, "ei", f"{interop}:CIM_Namespace")
            told = [line for line in answer.out.splitlines() if line.startswith("-Name=")]
            self.assertEqual(sorted(told), ['-Name="interop"', '-Name="root/interop"', f'-Name="{wbem.NAMESPACE}"'])
            self.assertIn('-SystemName="t440.example"', answer.out)


if __name__ == "__main__":
    unittest.main(verbosity=2)
