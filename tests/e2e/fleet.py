#!/usr/bin/env python3
"""Many hosts asked at once, as administrators do: 32 servers on emulated hosts, some with a slow, silent or absent BMC.

All slots, the functions in them and all devices are collected with wbemcli, several hosts at a time, and compared with
what the provider says of the same host without HTTP and with a healthy BMC.
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
    """What the provider says without HTTP of the host: slots, names of the functions by slot, names of all devices."""
    cimhost = wbem.Cimhost(host.directory)
    slots = cimhost.ask("names", "QELTA_SystemSlot")["names"]
    functions = {wbem.url_path(slot): cimhost.names("associator-names", slot["text"]) for slot in slots}
    return cimhost.instances("enumerate", "QELTA_SystemSlot"), functions, cimhost.names("names", "QELTA_PCIDevice")


def collect(url):
    """The same as a client gets it."""
    slots = wbem.wbemcli(url, "ei", f"{wbem.NAMESPACE}:QELTA_SystemSlot").instances()
    functions = {path: wbem.wbemcli(url, "ain", f"{wbem.NAMESPACE}:{path}").names() for path, _ in slots}
    return slots, functions, wbem.wbemcli(url, "ein", f"{wbem.NAMESPACE}:QELTA_PCIDevice").names()


class Fleet(unittest.TestCase):
    def test_everything_of_all_hosts_is_collected(self):
        root = self.enterContext(tempfile.TemporaryDirectory())
        hosts = [make_host(root, number) for number in range(HOSTS)]
        answers = [expected(host) for host in hosts]
        servers = self.enterContext(contextlib.ExitStack())
        for host in hosts:
            misbehave(host)
        urls = [servers.enter_context(wbem.serving(host.directory)) for host in hosts]
        with concurrent.futures.ThreadPoolExecutor(AT_ONCE) as clients:
            collected = list(clients.map(collect, urls))
        for host, answer, told in zip(hosts, answers, collected):
            self.assertTrue(all(answer), host)
            self.assertEqual(told, ([], {}, answer[2]) if host.condition in WITHOUT_SLOTS else answer, host)


if __name__ == "__main__":
    unittest.main(verbosity=2)
