#!/usr/bin/env python3
"""The fleet as Prometheus sees it: 32 hosts, healthy, slow, silent or gone, through pciinfo-exporter.

What Prometheus answers is compared with what `cimhost --host` says of the same hosts, and alerts with what is done to
them. Ends with status 77 where there is no Prometheus.
"""

import contextlib
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

import fleet
import monitoring
import wbem

GONE = 2  # hosts that nobody answers for
BUS = 0x3B
CONFIG = """
modules:
  default:
    scheme: http
    max_age: 4s
    failure_max_age: 1s
    targets: ["127.0.0.1:*"]
"""


def has_prometheus():
    return shutil.which("prometheus") is not None and shutil.which("promtool") is not None


def make_hosts(root):
    """Those of the fleet, each with an Ethernet controller of two functions in a slot that is in use."""
    hosts = [fleet.make_host(root, number) for number in range(fleet.HOSTS)]
    for host in hosts:
        monitoring.own_proc(host.directory)
        for function in (0, 1):
            monitoring.add_function(host.directory, BUS, monitoring.slot_in_use(host.directory), function)
        fleet.misbehave(host)
    return hosts


def records(host):
    """What sits where, by cimhost."""
    done = subprocess.run([wbem.cimhost_program(), "tree", "--host", host.directory, "--format", "jsonl"],
                          capture_output=True, text=True, timeout=wbem.TIME_LIMIT, check=True)
    return [json.loads(line) for line in done.stdout.splitlines()]


def functions_of(host):
    """(name, address, IDs, class, place, slot) of each function."""
    return {(host.name, each["location"], each["ids"], each["classCode"].replace(":", ""), each["place"],
             str(each["number"]) if each["place"] == "slot" else None)
            for each in records(host) if each["location"]}


def slots_of(host):
    return {(host.name, str(each["number"]), each["designation"], each["width"], each["usage"])
            for each in records(host) if each["place"] == "slot"}


def told_functions(samples):
    return {(labels["name"], labels["address"], f"{labels['vendor_id']}:{labels['device_id']}", labels["class_id"],
             labels["place"], labels.get("slot")) for labels, _ in samples}


def told_slots(samples):
    return {(labels["name"], labels["slot"], labels["designation"], labels["width"], labels["usage"])
            for labels, _ in samples}


class MonitoredFleet(unittest.TestCase):
    def setUp(self):
        self.root = self.enterContext(tempfile.TemporaryDirectory())
        self.hosts = make_hosts(self.root)
        servers = self.enterContext(contextlib.ExitStack())
        self.answering = self.hosts[:-GONE]
        self.place = {host: servers.enter_context(wbem.serving(host.directory)).removeprefix("http://")
                      for host in self.answering}
        self.place |= {host: f"127.0.0.1:{monitoring.free_port()}" for host in self.hosts[-GONE:]}
        self.exporter = self.enterContext(monitoring.exporter(CONFIG, self.root))
        self.prometheus = self.enterContext(
            monitoring.prometheus(self.exporter, list(self.place.values()), self.root))

    def assert_comes(self, ask, expected):
        """On a busy machine a scrape may fail, and its series are gone until the next one."""
        answers = []

        def same():
            answers.append(ask())
            return answers[-1] == expected
        try:
            monitoring.until("the answer expected", same, limit=30)
        except AssertionError:
            self.assertEqual(answers[-1], expected)

    def test_answers_of_prometheus_are_those_of_the_hosts(self):
        query = self.prometheus.query
        monitoring.until("all targets have an answer", lambda: len(query("pciinfo_up")) == len(self.hosts))
        gone = [self.place[host] for host in self.hosts[-GONE:]]
        silent = [self.place[host] for host in self.answering if host.condition in fleet.WITHOUT_SLOTS]
        functions = {each for host in self.answering for each in functions_of(host)}
        with self.subTest("which answer"):
            self.assert_comes(lambda: {labels["instance"]: value for labels, value in query("pciinfo_up")},
                              {place: 0 if place in gone else 1 for place in self.place.values()})
        with self.subTest("in which hosts and slots is an Ethernet controller of vendor 8086h"):
            have = {each for each in functions if each[2].startswith("8086:") and each[3] == "0200"}
            self.assertEqual(len(have), 2 * len(self.answering))
            self.assertEqual({name for name, *_, place, slot in have if place == "slot" and slot},
                             {host.name for host in self.answering if host.condition not in fleet.WITHOUT_SLOTS})
            self.assert_comes(lambda: told_functions(query(monitoring.ETHERNET_OF_INTEL)), have)
        with self.subTest("everything else"):
            named = "* on (job, instance) group_left (name) pciinfo_host_info"
            self.assert_comes(lambda: told_functions(query("pciinfo_function_info " + named)), functions)
            self.assert_comes(lambda: told_slots(query("pciinfo_slot_info " + named)),
                              {each for host in self.answering for each in slots_of(host)})
        with self.subTest("whose BMC is silent"):
            self.assert_comes(lambda: sorted(labels["instance"] for labels, _ in query("pciinfo_bmc_silent_ratio == 1")),
                              sorted(silent))
        with self.subTest("metrics are as promtool wants them"):
            self.check_metrics()

        with self.subTest("a function taken out is told of"):
            self.assertEqual(self.prometheus.firing("PciFunctionVanished"), [])
            host = self.hosts[0]
            slot = monitoring.slot_in_use(host.directory)
            monitoring.remove_function(host.directory, BUS, slot, 1)
            alerts = monitoring.until("the alert fires", lambda: self.prometheus.firing("PciFunctionVanished"))
            self.assertEqual([(each["instance"], each["slot"], each["address"], each["device_id"]) for each in alerts],
                             [(self.place[host], str(slot), f"{BUS:02x}:{slot:02x}.1", "10fb")])
        with self.subTest("each question of the dashboard has an answer"):
            self.check_dashboard()

    def check_dashboard(self):
        """Where there is an alert, as one of them is about alerts."""
        dashboard = json.loads(monitoring.shipped("pciinfo-dashboard.json"))
        expressions = [target["expr"] for panel in dashboard["panels"] for target in panel["targets"]]
        self.assertGreater(len(expressions), 5)
        for expression in expressions:
            expression = expression.replace("$__rate_interval", "1m")
            for variable in dashboard["templating"]["list"]:
                expression = re.sub(rf"\${{?{variable['name']}}}?", ".*", expression)
            self.assertNotIn("$", expression)
            self.assertTrue(self.prometheus.query(expression), expression)

    def check_metrics(self):
        host = self.place[self.hosts[0]]
        for page in (f"/probe?target={host}", "/metrics"):
            text = monitoring.fetch(f"http://{self.exporter}{page}")
            done = subprocess.run(["promtool", "check", "metrics"], input=text, capture_output=True, text=True,
                                  check=False)
            self.assertEqual((done.returncode, done.stdout + done.stderr), (0, ""), page)


class Rules(unittest.TestCase):
    def test_say_what_they_should_in_whatever_order_groups_are_evaluated(self):
        root = self.enterContext(tempfile.TemporaryDirectory())
        for name in ("packaging/exporter/pciinfo-rules.yml", "tests/exporter/rules-test.yml"):
            shutil.copy(os.path.join(os.environ["PCIINFO_SOURCE"], name), root)
        groups = re.findall(r"^  - name: (\S+)", monitoring.shipped("pciinfo-rules.yml"), re.MULTILINE)
        with open(os.path.join(root, "rules-test.yml"), encoding="utf-8") as file, \
                open(os.path.join(root, "reversed.yml"), "w", encoding="utf-8") as out:
            out.write(f"group_eval_order: [{', '.join(reversed(groups))}]\n{file.read()}")
        for command in (("check", "rules", "pciinfo-rules.yml"), ("test", "rules", "rules-test.yml"),
                        ("test", "rules", "reversed.yml")):
            done = subprocess.run(["promtool", *command], cwd=root, capture_output=True, text=True, check=False)
            self.assertEqual(done.returncode, 0, done.stdout + done.stderr)


if __name__ == "__main__":
    if not has_prometheus():
        print("not run: prometheus and promtool are not installed")
        sys.exit(77)
    unittest.main(verbosity=2)
