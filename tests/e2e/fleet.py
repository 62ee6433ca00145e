#!/usr/bin/env python3
"""Many hosts asked at once, as administrators do: 32 servers on emulated hosts, some with a slow, silent or absent BMC.

All slots and the functions in them are collected with wbemcli, several hosts at a time, and compared with what the
provider says of the same host without HTTP and with a healthy BMC.
"""

import collections
import concurrent.futures
import contextlib
import json
import os
import shutil
import tempfile
import unittest

import wbem

HOSTS = 32
AT_ONCE = 16
SAMPLES = ("dell-t440", "dell-r910", "lenovo-90g0")

# How a BMC misbehaves, and how many of every eight hosts have such a one. The rest are healthy.
FAULTS = {
    "slow": {"faults": [{"on": "any", "times": 0, "delayMs": 2}]},
    "short reads": {"readLimit": 58},
    "silent": {"faults": [{"on": "any", "times": 0, "timeout": True}]},
    "absent": {"faults": [{"on": "deviceOpen", "times": 0, "missing": True}]},
}
CONDITIONS = ("healthy", "healthy", "slow", "healthy", "silent", "short reads", "absent", "healthy")
WITHOUT_SLOTS = ("silent", "absent")

Host = collections.namedtuple("Host", "name condition directory")


def make_host(root, number):
    sample, condition = SAMPLES[number % len(SAMPLES)], CONDITIONS[number % len(CONDITIONS)]
    name = f"node{number:02}"
    directory = os.path.join(root, name)
    os.makedirs(os.path.join(directory, "bmc"))
    for part in ("proc", "etc"):
        os.symlink(os.path.join(wbem.sample(sample), part), os.path.join(directory, part))
    shutil.copy(os.path.join(wbem.sample(sample), "bmc", "smbios-table"), os.path.join(directory, "bmc"))
    with open(os.path.join(directory, "hostname"), "w", encoding="utf-8") as file:
        file.write(name + "\n")
    return Host(name, condition, directory)


def misbehave(host):
    if host.condition in FAULTS:
        with open(os.path.join(host.directory, "bmc", "faults.json"), "w", encoding="utf-8") as file:
            json.dump(FAULTS[host.condition], file)


def expected(host):
    """What the provider says without HTTP of the host with a healthy BMC: (slots, names of the functions by slot)."""
    cimhost = wbem.Cimhost(host.directory)
    slots = cimhost.ask("enumerate", "QELTA_SystemSlot")["instances"]
    functions = {wbem.url_path(slot): cimhost.names("associator-names", slot["path"]["text"]) for slot in slots}
    return cimhost.instances("enumerate", "QELTA_SystemSlot"), functions


def collect(url):
    """All slots of a host and the names of the functions in each, as a client gets them."""
    slots = wbem.wbemcli(url, "ei", f"{wbem.NAMESPACE}:QELTA_SystemSlot").instances()
    functions = {path: wbem.wbemcli(url, "ain", f"{wbem.NAMESPACE}:{path}").names() for path, _ in slots}
    return slots, functions


class Fleet(unittest.TestCase):
    def setUp(self):
        root = self.enterContext(tempfile.TemporaryDirectory())
        self.hosts = [make_host(root, number) for number in range(HOSTS)]
        self.expected = {host.name: expected(host) for host in self.hosts}
        servers = self.enterContext(contextlib.ExitStack())
        self.urls = {}
        for host in self.hosts:
            misbehave(host)
            self.urls[host.name] = servers.enter_context(wbem.serving(host.directory))

    def test_all_slots_and_their_functions_of_all_hosts_are_collected(self):
        with concurrent.futures.ThreadPoolExecutor(AT_ONCE) as clients:
            collected = dict(zip(self.urls, clients.map(collect, self.urls.values())))
        for host in self.hosts:
            expected_here = ([], {}) if host.condition in WITHOUT_SLOTS else self.expected[host.name]
            self.assertEqual(collected[host.name], expected_here, host)
        self.assertGreater(sum(len(slots) for slots, _ in collected.values()), 100)

    def test_hosts_whose_bmc_is_of_no_use_still_tell_their_functions(self):
        for condition in WITHOUT_SLOTS:
            host = next(host for host in self.hosts if host.condition == condition)
            told = wbem.wbemcli(self.urls[host.name], "ein", f"{wbem.NAMESPACE}:QELTA_PCIDevice").names()
            self.assertEqual(told, wbem.Cimhost(host.directory).names("names", "QELTA_PCIDevice"))
            self.assertTrue(told)


if __name__ == "__main__":
    unittest.main(verbosity=2)
