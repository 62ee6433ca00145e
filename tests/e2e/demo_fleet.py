#!/usr/bin/env python3
"""Four emulated hosts, an exporter and Prometheus, which is asked a question: the inner part of scripts/demo-fleet.

Usage: demo_fleet.py [--keep]
"""

import argparse
import contextlib
import signal
import tempfile
import textwrap

import fleet
import monitoring
import wbem

CONDITIONS = ("healthy", "healthy", "slow", "absent")
BUS = 0x3B
CONFIG = """
modules:
  default:
    scheme: http
    max_age: 1m
    targets: ["127.0.0.1:*"]
"""


def table(rows):
    """Rows of texts as columns; the first is the heads."""
    widths = [max(len(row[column]) for row in rows) for column in range(len(rows[0]))]
    lines = ["  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip() for row in rows]
    return "\n".join([lines[0], "  ".join("-" * width for width in widths), *lines[1:]])


def make_host(root, number, condition):
    host = fleet.make_host(root, number)._replace(condition=condition)
    monitoring.own_proc(host.directory)
    slot = monitoring.slot_in_use(host.directory)
    monitoring.add_function(host.directory, BUS, slot, 0)
    fleet.misbehave(host)
    return host


def show_answer(server):
    rows = [("HOST", "SLOT", "ADDRESS", "IDS", "DESCRIPTION")]
    for labels, _ in sorted(server.query(monitoring.ETHERNET_OF_INTEL), key=lambda each: each[0]["name"]):
        place = f"slot {labels['slot']}" if "slot" in labels else "on the board, or the BMC is silent"
        rows.append((labels["name"], place, labels["address"], f"{labels['vendor_id']}:{labels['device_id']}",
                     textwrap.shorten(labels.get("description", ""), 60, placeholder="...")))
    print(table(rows))


def show_state(server):
    silent = {labels["instance"]: value for labels, value in server.query("pciinfo_bmc_silent_ratio")}
    rows = [("TARGET", "HOST", "FUNCTIONS", "SLOTS", "THE BMC IS SILENT")]
    functions = {labels["instance"]: value for labels, value in server.query("sum by (instance) (pciinfo_functions)")}
    slots = {labels["instance"]: value for labels, value in server.query("pciinfo_slots")}
    for labels, _ in sorted(server.query("pciinfo_host_info"), key=lambda each: each[0]["name"]):
        target = labels["instance"]
        rows.append((target, labels["name"], f"{functions[target]:.0f}", f"{slots[target]:.0f}",
                     f"{silent[target]:.0%} sure" if silent[target] else "no"))
    print(table(rows))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--keep", action="store_true")
    keep = parser.parse_args().keep
    for number in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, lambda *_: exit(1))  # so that everything is ended
    with contextlib.ExitStack() as all_of_it:
        root = all_of_it.enter_context(tempfile.TemporaryDirectory(prefix="pciinfo-demo-"))
        hosts = [make_host(root, number + 1, condition) for number, condition in enumerate(CONDITIONS)]
        print("Hosts, each a `cimhost serve`:")
        targets = []
        for host in hosts:
            url = all_of_it.enter_context(wbem.serving(host.directory))
            targets.append(url.removeprefix("http://"))
            print(f"  {host.name}  {url}  BMC: {host.condition}")
        place = all_of_it.enter_context(monitoring.exporter(CONFIG, root))
        print(f"The exporter:  http://{place}/probe?target={targets[0]}")
        server = all_of_it.enter_context(monitoring.prometheus(place, targets, root))
        print(f"Prometheus:    {server.url}")
        print("\nWaiting until each host was asked; one without a BMC takes 15 s ...", flush=True)
        monitoring.until("all hosts have answered", lambda: len(server.query("pciinfo_host_info")) == len(hosts))
        print("\n== The hosts\n")
        show_state(server)
        print("\n== In which hosts and slots is an Ethernet controller of vendor 8086h?\n")
        print(f"   {' '.join(monitoring.ETHERNET_OF_INTEL.split())}\n")
        show_answer(server)
        if keep:
            print(f"\nAsk more at {server.url}/graph, see the rules at {server.url}/rules; Ctrl-C ends everything.",
                  flush=True)
            with contextlib.suppress(KeyboardInterrupt):
                signal.pause()
    print("\nEverything that was started has ended.")


if __name__ == "__main__":
    main()
