#!/usr/bin/env python3
"""The end-to-end tests against an sfcb that is installed on this machine, with our library and registration.

The broker runs in a directory of its own, on a free loopback port, on an emulated host; the machine's own broker may
run meanwhile, and its repository is not touched. Where there is no sfcbd, or it cannot run beside another, this says so
and exits with status 77: not run. Arguments name tests, as those of endtoend.py do.
"""

import glob
import os
import re
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
USUAL_DIRECTORIES = ("/usr/local/sbin", "/usr/local/bin", "/usr/sbin", "/usr/bin", "/sbin", "/bin")


class Installation:
    """The commands and directories of an sfcb, under whatever prefix it was built for."""

    def __init__(self, commands, staging):
        self.sfcbd, self.sfcbstage, self.sfcbrepos = commands
        self.registration = os.path.join(staging, "default.reg")  # of the broker's own providers
        # The staging directory is PREFIX/var/lib/sfcb/stage; what is built for /usr has both in the top directory.
        prefix = os.path.normpath(os.path.join(staging, "../../../.."))
        self.configuration = os.path.join(prefix, "etc/sfcb/sfcb.cfg")


def find_installation():
    """The first in PATH and in the usual directories, which PATH may lack; None where there is none.

    A command that is elsewhere than the others (bin, sbin) is looked for beside them.
    """
    directories = [*os.environ.get("PATH", "").split(os.pathsep), *USUAL_DIRECTORIES, *glob.glob("/opt/*/sbin")]
    for directory in directories:
        beside = os.pathsep.join(os.path.join(directory, each) for each in ("", "../sbin", "../bin"))
        commands = [shutil.which(name, path=beside) for name in ("sfcbd", "sfcbstage", "sfcbrepos")]
        if all(commands):
            return Installation([os.path.normpath(command) for command in commands], staging_directory(commands[1]))
    return None


def staging_directory(sfcbstage):
    """Of the paths that `sfcbstage -h` prints the last that holds regs or mofs, the rule of pciinfo-register too."""
    told = subprocess.run([sfcbstage, "-h"], capture_output=True, text=True, timeout=wbem.TIME_LIMIT, check=False)
    found = "/var/lib/sfcb/stage"
    for path in re.findall(r"/[^\s\[\](){}<>:;,\"]*", told.stdout + told.stderr):
        if any(os.path.isdir(os.path.join(path, part)) for part in ("regs", "mofs")):
            found = path
    return found


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def configuration(installation, directory, port):
    """The installed configuration with what keeps this broker apart; the directories of its own providers stay."""
    settings = {}
    if os.path.exists(installation.configuration):
        with open(installation.configuration, encoding="utf-8") as installed:
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


def fill_repository(installation, directory):
    staging, registration = f"{directory}/stage", f"{directory}/registration"
    for place in (f"{staging}/mofs", f"{staging}/regs", registration):
        os.makedirs(place)
    if os.path.exists(installation.registration):
        shutil.copy(installation.registration, staging)
    schema = os.environ["PCIINFO_SCHEMA"]
    for command in ([installation.sfcbstage, "-s", staging, "-n", wbem.NAMESPACE, "-r", f"{schema}/PCIInfoProvider.reg",
                     f"{schema}/PCIInfoProvider.mof"],
                    [installation.sfcbrepos, "-f", "-s", staging, "-r", registration]):
        subprocess.run(command, check=True, timeout=wbem.TIME_LIMIT)


def apart():
    """The command in front of the broker's that gives it PID and IPC namespaces, and what kept it from having them.

    sfcbd does not start where another runs ("A previous instance of sfcbd is running"); it sees none from in there.
    """
    user = [] if os.geteuid() == 0 else ["--map-root-user"]
    command = ["unshare", *user, "--pid", "--ipc", "--mount-proc", "--fork", "--kill-child"]
    try:
        tried = subprocess.run([*command, "true"], capture_output=True, text=True, timeout=wbem.TIME_LIMIT, check=False)
    except OSError as error:
        return [], str(error)
    return (command, "") if tried.returncode == 0 else ([], tried.stderr.strip())


def processes(name):
    """The numbers of the processes of that name."""
    found = []
    for file in glob.glob("/proc/[0-9]*/comm"):
        try:
            with open(file, encoding="utf-8") as comm:
                if comm.read().strip() == name:
                    found.append(int(file.split("/")[2]))
        except OSError:  # it has ended
            pass
    return found


def wait_for(broker, port):
    deadline = time.monotonic() + wbem.TIME_LIMIT
    while broker.poll() is None and time.monotonic() < deadline:
        with socket.socket() as probe:
            if probe.connect_ex(("127.0.0.1", port)) == 0:
                return
        time.sleep(0.1)
    raise RuntimeError(f"sfcbd does not listen on port {port}; its exit status: {broker.poll()}")


def children(process):
    try:
        with open(f"/proc/{process}/task/{process}/children", encoding="utf-8") as listed:
            return [int(number) for number in listed.read().split()]
    except OSError:
        return []


def stop(broker, in_namespaces):
    """unshare does not pass a signal on to the broker, its child; once it is killed, so is the broker."""
    for process in children(broker.pid) if in_namespaces else [broker.pid]:
        os.kill(process, signal.SIGTERM)
    try:
        broker.wait(wbem.TIME_LIMIT)
    except subprocess.TimeoutExpired:
        broker.kill()
        broker.wait()


def main(tests):
    installation = find_installation()
    if installation is None:
        print("not run: there is no sfcbd on this machine")
        return NOT_RUN
    namespaces, obstacle = apart()
    if not namespaces and processes("sfcbd"):
        print(f"not run: another sfcbd is running, and namespaces for one beside it cannot be had: {obstacle}")
        return NOT_RUN
    with tempfile.TemporaryDirectory() as directory:
        port = free_port()
        fill_repository(installation, directory)
        with open(f"{directory}/sfcb.cfg", "w", encoding="utf-8") as file:
            file.write(configuration(installation, directory, port))
        emulated = {**os.environ, "LD_PRELOAD": os.environ["PCIINFO_EMULATED_HOST"],
                    "EMULATED_HOST": wbem.sample(SAMPLE)}
        with subprocess.Popen([*namespaces, installation.sfcbd, "-c", f"{directory}/sfcb.cfg"], env=emulated) as broker:
            try:
                wait_for(broker, port)
                script = os.path.join(os.path.dirname(os.path.abspath(__file__)), "endtoend.py")
                asked = {**os.environ, "PCIINFO_SERVER_URL": f"http://127.0.0.1:{port}",
                         "PCIINFO_SERVER_SAMPLE": SAMPLE}
                return subprocess.run([sys.executable, "-B", script, *tests], env=asked, check=False).returncode
            finally:
                stop(broker, namespaces)


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
