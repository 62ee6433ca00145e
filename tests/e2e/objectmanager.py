#!/usr/bin/env python3
"""The end-to-end tests against an sfcb that is installed on this machine, with our library and registration.

The broker runs in a directory of its own, on a free loopback port, on an emulated host; the machine's own broker and
its repository are not touched. Where there is no sfcbd this exits with status 77: not run.
"""

import os
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time

import wbem

NOT_RUN = 77
SAMPLE = "dell-t440"
INSTALLED_CONFIGURATION = "/etc/sfcb/sfcb.cfg"
INSTALLED_REGISTRATION = "/var/lib/sfcb/stage/default.reg"  # of the broker's own providers


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def configuration(directory, port):
    """The installed configuration with what keeps this broker apart; the directories of its own providers stay."""
    settings = {}
    if os.path.exists(INSTALLED_CONFIGURATION):
        with open(INSTALLED_CONFIGURATION, encoding="utf-8") as installed:
            pairs = (line.split(":", 1) for line in installed if ":" in line and not line.startswith("#"))
            settings = {name.strip(): value.strip() for name, value in pairs}
    ours = os.path.dirname(os.environ["PCIINFO_LIBRARY"])
    settings.update({
        "httpPort": str(port), "enableHttp": "true", "enableHttps": "false", "httpLocalOnly": "true",
        "doBasicAuth": "false", "doUdsAuth": "false",
        "providerDirs": f"{ours} {settings.get('providerDirs', '')}".strip(),
        "registrationDir": f"{directory}/registration",
        "localSocketPath": f"{directory}/local.socket", "httpSocketPath": f"{directory}/http.socket",
    })
    return "".join(f"{name}: {value}\n" for name, value in settings.items())


def fill_repository(directory):
    staging, registration = f"{directory}/stage", f"{directory}/registration"
    for place in (f"{staging}/mofs", f"{staging}/regs", registration):
        os.makedirs(place)
    if os.path.exists(INSTALLED_REGISTRATION):
        shutil.copy(INSTALLED_REGISTRATION, staging)
    schema = os.environ["PCIINFO_SCHEMA"]
    for command in (["sfcbstage", "-s", staging, "-n", wbem.NAMESPACE, "-r", f"{schema}/PCIInfoProvider.reg",
                     f"{schema}/PCIInfoProvider.mof"],
                    ["sfcbrepos", "-f", "-s", staging, "-r", registration]):
        subprocess.run(command, check=True, timeout=wbem.TIME_LIMIT)


def wait_for(broker, port):
    deadline = time.monotonic() + wbem.TIME_LIMIT
    while broker.poll() is None and time.monotonic() < deadline:
        with socket.socket() as probe:
            if probe.connect_ex(("127.0.0.1", port)) == 0:
                return
        time.sleep(0.1)
    raise RuntimeError(f"sfcbd does not listen on port {port}; its exit status: {broker.poll()}")


def stop(broker):
    broker.send_signal(signal.SIGTERM)
    try:
        broker.wait(wbem.TIME_LIMIT)
    except subprocess.TimeoutExpired:
        broker.kill()
        broker.wait()


def main():
    if not shutil.which("sfcbd"):
        print("not run: there is no sfcbd on this machine")
        return NOT_RUN
    with tempfile.TemporaryDirectory() as directory:
        port = free_port()
        fill_repository(directory)
        with open(f"{directory}/sfcb.cfg", "w", encoding="utf-8") as file:
            file.write(configuration(directory, port))
        emulated = {**os.environ, "LD_PRELOAD": os.environ["PCIINFO_EMULATED_HOST"], "EMULATED_HOST": wbem.sample(SAMPLE)}
        with subprocess.Popen(["sfcbd", "-c", f"{directory}/sfcb.cfg"], env=emulated) as broker:
            try:
                wait_for(broker, port)
                tests = os.path.join(os.path.dirname(os.path.abspath(__file__)), "endtoend.py")
                asked = {**os.environ, "PCIINFO_SERVER_URL": f"http://127.0.0.1:{port}",
                         "PCIINFO_SERVER_SAMPLE": SAMPLE}
                return subprocess.run([sys.executable, tests], env=asked, check=False).returncode
            finally:
                stop(broker)


if __name__ == "__main__":
    sys.exit(main())
