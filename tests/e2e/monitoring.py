"""Monitoring as administrators have it: emulated hosts behind `cimhost serve`, pciinfo-exporter, and Prometheus.

Shared by the tests and scripts/demo-fleet. Everything listens on loopback and ends with its context.
"""

import contextlib
import json
import os
import re
import shutil
import socket
import struct
import subprocess
import time
import urllib.error
import urllib.parse
import urllib.request

import wbem

TIME_LIMIT = 90  # seconds until something is there
PROMETHEUS_JOB = "pciinfo"


# --- PCI functions of emulated hosts ---

def _pci(host):
    return os.path.join(host, "proc", "bus", "pci")


def own_proc(host):
    """Makes a host's /proc its own where it is a sample's."""
    proc = os.path.join(host, "proc")
    if os.path.islink(proc):
        sample = os.path.realpath(proc)
        os.unlink(proc)
        shutil.copytree(sample, proc)


def add_function(host, bus, device, function, vendor=0x8086, product=0x10FB, class_code=0x0200):
    """A function as the kernel shows it: an Ethernet controller of Intel's by default."""
    header = struct.pack("<HHHHBBHBBBB", vendor, product, 6, 0x10, 1, 0, class_code, 16, 0, 0x80, 0)
    os.makedirs(os.path.join(_pci(host), f"{bus:02x}"), exist_ok=True)
    with open(os.path.join(_pci(host), f"{bus:02x}", f"{device:02x}.{function}"), "wb") as file:
        file.write(header.ljust(256, b"\0"))
    with open(os.path.join(_pci(host), "devices"), "a", encoding="ascii") as file:
        file.write(f"{bus:02x}{device << 3 | function:02x}\t{vendor:04x}{product:04x}\t0" + "\t0" * 14 + "\t\n")


def remove_function(host, bus, device, function):
    """Takes it out, in one step for who reads meanwhile."""
    devices = os.path.join(_pci(host), "devices")
    with open(devices, encoding="ascii") as file:
        kept = [line for line in file if not line.startswith(f"{bus:02x}{device << 3 | function:02x}\t")]
    with open(devices + ".new", "w", encoding="ascii") as file:
        file.writelines(kept)
    os.replace(devices + ".new", devices)
    os.unlink(os.path.join(_pci(host), f"{bus:02x}", f"{device:02x}.{function}"))


def slot_in_use(host):
    """The number of a slot that the firmware says is in use."""
    slots = wbem.Cimhost(host).ask("enumerate", "QELTA_SystemSlot")["instances"]
    return next(slot["Number"] for slot in slots if slot["CurrentUsageText"] == "In Use")


# --- programs ---

def free_port():
    with socket.create_server(("127.0.0.1", 0)) as listener:
        return listener.getsockname()[1]


@contextlib.contextmanager
def running(command, log):
    """A program, while the context lasts, with its output in a file; told to end, and killed if it does not."""
    with open(log, "w", encoding="utf-8") as output, \
            subprocess.Popen(command, stdout=output, stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL) as process:
        try:
            yield process
        finally:
            process.terminate()
            try:
                process.wait(TIME_LIMIT)
            except subprocess.TimeoutExpired:
                process.kill()


def until(description, attempt, limit=TIME_LIMIT, pause=0.2):
    """What attempt() gives once that is true; AssertionError when it is not within the limit."""
    end = time.monotonic() + limit
    while True:
        found = attempt()
        if found:
            return found
        if time.monotonic() > end:
            raise AssertionError(f"not within {limit} s: {description}")
        time.sleep(pause)


def fetch(url, timeout=30):
    """The body of a page; OSError where there is none."""
    with urllib.request.urlopen(url, timeout=timeout) as response:
        return response.read().decode()


@contextlib.contextmanager
def exporter(config, folder):
    """The exporter's place, "127.0.0.1:PORT", while the context lasts."""
    log = os.path.join(folder, "exporter.log")
    file = os.path.join(folder, "exporter.yml")
    with open(file, "w", encoding="utf-8") as out:
        out.write(config)
    command = [os.environ["PCIINFO_EXPORTER"], "--config", file, "--listen", "127.0.0.1:0"]
    with running(command, log) as process:
        def place():
            with open(log, encoding="utf-8") as lines:
                said = lines.read()
            announced = re.search(r"Listening on http://(127\.0\.0\.1:\d+)\n", said)
            if process.poll() is not None:
                raise AssertionError(f"the exporter has ended: {said}")
            return announced and announced[1]
        yield until("the exporter listens", place)


class Prometheus:
    """What a server answers to questions."""

    def __init__(self, url):
        self.url = url

    def ready(self):
        try:
            return bool(fetch(self.url + "/-/ready"))
        except OSError:
            return False

    def _ask(self, path, **arguments):
        query = urllib.parse.urlencode(arguments)
        return json.loads(fetch(f"{self.url}/api/v1/{path}?{query}"))["data"]

    def query(self, expression):
        """Label sets with values, of an instant vector."""
        found = self._ask("query", query=expression)["result"]
        return [(sample["metric"], float(sample["value"][1])) for sample in found]

    def firing(self, alert):
        return [each["labels"] for each in self._ask("alerts")["alerts"]
                if each["labels"]["alertname"] == alert and each["state"] == "firing"]

    def targets(self):
        return self._ask("targets", state="active")["activeTargets"]


def shipped(name):
    with open(os.path.join(os.environ["PCIINFO_SOURCE"], "packaging", "exporter", name), encoding="utf-8") as file:
        return file.read()


def prometheus_config(exporter_place, folder, interval):
    """The configuration that is shipped, with other places, and times for people who do not wait."""
    text = shipped("prometheus.yml")
    for pattern, instead in ((r"(scrape_interval|evaluation_interval|scrape_timeout): \S+", rf"\1: {interval}"),
                             (r"/etc/prometheus", folder), (r"127\.0\.0\.1:9989", exporter_place)):
        text, count = re.subn(pattern, instead, text)
        if count == 0:
            raise AssertionError(f"nothing in prometheus.yml is like {pattern}")
    return text


@contextlib.contextmanager
def prometheus(exporter_place, targets, folder, interval="2s"):
    """Prometheus with the shipped configuration and rules, asking for the targets through the exporter."""
    files = {"prometheus.yml": prometheus_config(exporter_place, folder, interval),
             "pciinfo-rules.yml": shipped("pciinfo-rules.yml"),
             "pciinfo-targets.yml": json.dumps([{"targets": targets}])}
    for name, text in files.items():
        with open(os.path.join(folder, name), "w", encoding="utf-8") as file:
            file.write(text)
    place = f"127.0.0.1:{free_port()}"
    command = ["prometheus", f"--config.file={folder}/prometheus.yml", f"--storage.tsdb.path={folder}/tsdb",
               f"--web.listen-address={place}", "--log.level=warn"]
    log = os.path.join(folder, "prometheus.log")
    with running(command, log) as process:
        server = Prometheus("http://" + place)

        def ready():
            if process.poll() is not None:
                with open(log, encoding="utf-8") as lines:
                    raise AssertionError(f"Prometheus has ended: {lines.read()}")
            return server.ready()
        until("Prometheus is ready", ready)
        yield server


# --- the question ---

ETHERNET_OF_INTEL = """pciinfo_function_info{vendor_id="8086", class_id="0200"}
    * on (job, instance) group_left (name) pciinfo_host_info"""
