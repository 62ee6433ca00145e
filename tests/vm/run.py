"""Runs the virtual machines: each with a BMC of its own, both with a time limit."""

import io
import re
import signal
import subprocess
import tarfile
import time
from pathlib import Path

import machine

END_OF_RUN = 33    # QEMU's exit status for 0 of the machine; its own is 1 where it does not start
SOCKET = "bmc.sock"    # relative, as the path of a unix socket may not be long
SOCKET_SECONDS = 10
KILL_SECONDS = 5    # between the order to end and the end by force
STOP_SECONDS = 2 * KILL_SECONDS
SPARE_SECONDS = 30    # after which machine and BMC end by themselves, should nobody be left to end them


class Failed(Exception):
    """A machine that did not do what it should."""


def last_mark(console):
    marks = re.findall(r"^== (.*?)\r?$", console, re.MULTILINE)
    return marks[-1] if marks else "before its first mark"


def stop(process):
    process.terminate()
    try:
        process.wait(timeout=STOP_SECONDS)
    except subprocess.TimeoutExpired:
        process.kill()
        process.wait()


class Vm:
    """One machine, from its start to its results; `mode` names the test that runs in it."""

    def __init__(self, mode, folder, seconds, bmc):
        self.mode = mode
        self.folder = folder
        self.seconds = seconds
        self.bmc_program = bmc
        self.bmc = None
        self.machine = None
        self.started = None

    def start(self, kernel, image, profiles):
        self.folder.mkdir(parents=True)
        if self.bmc_program is not None:
            self.start_bmc(profiles)
        command = machine.qemu(kernel, image, self.mode, self.folder, SOCKET if self.bmc_program else None)
        limit = ["timeout", f"--kill-after={KILL_SECONDS}", str(self.seconds + SPARE_SECONDS)]
        self.started = time.monotonic()
        with open(self.folder / "qemu.log", "wb") as log:
            self.machine = subprocess.Popen([*limit, *command], cwd=self.folder, stdin=subprocess.DEVNULL, stdout=log,
                                            stderr=log)

    def start_bmc(self, profiles):
        with open(self.folder / "bmc.error", "wb") as errors:
            seconds = str(self.seconds + SPARE_SECONDS)
            self.bmc = subprocess.Popen([self.bmc_program, SOCKET, profiles, "bmc.log", seconds], cwd=self.folder,
                                        stdin=subprocess.DEVNULL, stderr=errors)
        deadline = time.monotonic() + SOCKET_SECONDS
        while not (self.folder / SOCKET).exists():
            if self.bmc.poll() is not None or time.monotonic() > deadline:
                raise Failed(f"the BMC does not start: {(self.folder / 'bmc.error').read_text()}")
            time.sleep(0.02)

    def wait(self):
        """Until the machine is gone; its results are in the folder `results` then."""
        try:
            status = self.machine.wait(timeout=max(1.0, self.started + self.seconds - time.monotonic()))
        except subprocess.TimeoutExpired:
            status = None
        console_file = self.folder / "console.log"
        console = console_file.read_text(errors="replace") if console_file.exists() else ""
        # One that reached its own limit did so after its machine's end, while others were waited for.
        if self.bmc is not None and self.bmc.poll() not in (None, -signal.SIGALRM):
            raise Failed(f"the BMC of the machine '{self.mode}' ended with {self.bmc.returncode}: "
                         + (self.folder / "bmc.error").read_text(errors="replace"))
        if status is None:
            raise Failed(f"the machine '{self.mode}' hung for {self.seconds} s in: {last_mark(console)}\n"
                         + console[-2000:])
        if status != END_OF_RUN:
            raise Failed(f"the machine '{self.mode}' ended with {status} in: {last_mark(console)}\n{console[-2000:]}"
                         + (self.folder / "qemu.log").read_text(errors="replace")[-2000:])
        self.unpack()

    def unpack(self):
        archive = io.BytesIO((self.folder / "results.bin").read_bytes())
        try:
            with tarfile.open(fileobj=archive, mode="r:gz") as results:
                results.extractall(self.folder / "results")
        except (tarfile.TarError, EOFError) as error:
            raise Failed(f"the machine '{self.mode}' brought no good results out: {error}") from error

    def stop(self):
        for process in (self.machine, self.bmc):
            if process is not None:
                stop(process)


def run_together(vms, kernel, image, profiles):
    """Runs the machines side by side; raises Failed for the first that fails, when all of them have stopped."""
    try:
        for vm in vms:
            vm.start(kernel, image, profiles)
        for vm in vms:
            vm.wait()
    finally:
        for vm in vms:
            vm.stop()


def profiles_folder():
    return Path(__file__).resolve().parent / "profiles"
