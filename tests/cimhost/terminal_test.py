#!/usr/bin/env python3
"""cimhost at a terminal: what it says while it waits, and completion in real shells. Arguments: the program, the folder
of the completions, then those of unittest."""

import os
import pty
import select
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

PROGRAM, COMPLETIONS = (os.path.abspath(path) for path in sys.argv[1:3])
HERE = os.path.dirname(PROGRAM)
NO_BMC_HERE = not any(map(os.path.exists, ("/dev/ipmi0", "/dev/ipmidev/0")))


class Terminal:
    """A program on a terminal of its own; all that it writes there is in `text`."""

    def __init__(self, command, **environment):
        self.text = ""
        self._pid, self._terminal = pty.fork()
        if self._pid == 0:
            os.execvpe(command[0], command, {**os.environ, "TERM": "dumb", "COLUMNS": "", **environment})

    def type(self, text):
        os.write(self._terminal, text.encode())

    def read(self, seconds):
        """Reads what comes in that time; False once nothing more can come."""
        if not select.select([self._terminal], [], [], seconds)[0]:
            return True
        try:
            piece = os.read(self._terminal, 65536)
        except OSError:
            return False
        self.text += piece.decode(errors="replace").replace("\r", "")
        return bool(piece)

    def wait_for(self, text, start=0, seconds=20):
        """Reads until the text comes after the first `start` characters."""
        end = time.monotonic() + seconds
        while text not in self.text[start:] and time.monotonic() < end and self.read(0.1):
            pass
        return text in self.text[start:]

    def read_to_end(self):
        while self.read(30):
            pass
        return self.text

    def close(self):
        os.close(self._terminal)
        os.waitpid(self._pid, 0)


def on_terminal(*arguments):
    terminal = Terminal([PROGRAM, *arguments])
    text = terminal.read_to_end()
    terminal.close()
    return text


def through_pipes(*arguments):
    return subprocess.run([PROGRAM, *arguments], capture_output=True, text=True, check=False)


class Waiting(unittest.TestCase):
    """What is said about the BMC on standard error."""

    def setUp(self):
        self.host = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.host)
        os.makedirs(os.path.join(self.host, "proc/bus/pci"))
        os.makedirs(os.path.join(self.host, "bmc"))
        self.write("proc/bus/pci/devices", "")

    def write(self, name, text):
        with open(os.path.join(self.host, name), "w", encoding="utf-8") as file:
            file.write(text)

    @unittest.skipUnless(NO_BMC_HERE, "this machine has an IPMI device")
    def test_missing_device_is_told_after_a_second(self):
        terminal = Terminal([PROGRAM, "slots"])
        start = time.monotonic()
        self.assertTrue(terminal.wait_for("waiting for the BMC, up to 5 s"), terminal.text)
        self.assertGreater(time.monotonic() - start, 0.9)
        self.assertLess(time.monotonic() - start, 4)
        text = terminal.read_to_end()
        terminal.close()
        self.assertEqual(text.count("cimhost: "), 2, text)
        self.assertIn("slots are missing: there is no /dev/ipmi0; is the driver loaded", text)

    @unittest.skipUnless(NO_BMC_HERE, "this machine has an IPMI device")
    def test_time_of_several_readings_is_told_in_all(self):
        for arguments, told in ((["tree"], "up to 15 s for 3 readings"), (["get", "16:01.0"], "up to 10 s for 2")):
            terminal = Terminal([PROGRAM, *arguments])
            self.assertTrue(terminal.wait_for(told), terminal.text)
            terminal.close()

    @unittest.skipUnless(NO_BMC_HERE, "this machine has an IPMI device")
    def test_nothing_is_told_through_pipes(self):
        self.assertEqual(through_pipes("slots").stderr, "")

    def test_nothing_is_told_of_what_needs_no_bmc(self):
        self.assertNotIn("cimhost: ", on_terminal("board"))

    def test_refused_table_is_told(self):
        self.assertIn("slots are missing: the BMC refused the SMBIOS table", on_terminal("slots", "--host", self.host))
        self.assertEqual(through_pipes("slots", "--host", self.host).stderr, "")

    def test_nothing_is_told_of_a_table_that_is_read(self):
        self.assertNotIn("cimhost: ", on_terminal("slots", "--host", "dell-t440"))


class Hosts(unittest.TestCase):
    """Host directories that somebody else may not enter."""

    def test_directory_that_may_not_be_entered_is_told_from_a_missing_one(self):
        with tempfile.TemporaryDirectory() as place:
            os.chmod(place, 0o755)
            closed = os.path.join(place, "closed")
            os.mkdir(closed, 0o000)
            nobody = {"user": 65534, "group": 65534, "extra_groups": []} if os.geteuid() == 0 else {}
            try:
                run = subprocess.run([PROGRAM, "slots", "--host", closed], capture_output=True, text=True, check=False,
                                     cwd="/", **nobody)
            except PermissionError:
                self.skipTest("nobody else may run the program")
        self.assertEqual(run.returncode, 2)
        self.assertIn(f"--host: {closed} cannot be entered: Permission denied", run.stderr)
        self.assertIn("neither a directory nor a sample machine", through_pipes("slots", "--host", closed).stderr)


class Completion:
    """Completion in an interactive shell, which prints its line between < and > when Ctrl-X s is typed."""

    def completed(self, text, expected):
        """A tab after the text makes the expected line of it; returns all that was shown meanwhile."""
        start = len(self.shell.text)
        self.shell.type("cimhost " + text + "\t\x18s")
        self.assertTrue(self.shell.wait_for(f"<cimhost {expected}>", start, 10), self.shell.text[start:])
        self.shell.type(self.CLEAR)
        return self.shell.text[start:]

    def test_words_options_and_values(self):
        for text, expected in (("enu", "enumerate "), ("--host dell-t440 sl", "--host dell-t440 slots "),
                               ("slots --for", "slots --format "), ("associators --assoc", "associators --assoc-class "),
                               ("enumerate systems", "enumerate SystemSlot "), ("names QELTA_PCIB", "names QELTA_PCIBridge "),
                               ("associators 5 --assoc-class dev", "associators 5 --assoc-class DeviceInSlot "),
                               ("tree --host dell-t", "tree --host dell-t440 "),
                               ("tree --host=dell-t", "tree --host=dell-t440 "),
                               ("tree --color al", "tree --color always ")):
            with self.subTest(text=text):
                self.completed(text, expected)


class BashCompletion(Completion, unittest.TestCase):
    PROMPT = "ready> "
    CLEAR = "\x15"

    def setUp(self):
        if not os.path.exists("/usr/share/bash-completion/bash_completion"):
            self.skipTest("bash-completion is not installed")
        self.shell = Terminal(["bash", "--norc", "--noprofile", "-i"], PS1=self.PROMPT, INPUTRC="/dev/null",
                              HISTFILE="", PATH=HERE + ":" + os.environ["PATH"])
        self.addCleanup(self.shell.close)
        self.addCleanup(self.shell.type, "\x15exit\n")
        self.run_line("bind 'set enable-bracketed-paste off'; bind 'set bell-style none'; bind 'set page-completions off'")
        self.run_line(". /usr/share/bash-completion/bash_completion; . " + COMPLETIONS + "/cimhost.bash")
        self.run_line("bind 'set show-all-if-ambiguous on'; bind 'set completion-query-items 0'")
        self.run_line("""bind -x '"\\C-xs": printf "<%s>\\n" "$READLINE_LINE"'""")

    def run_line(self, line):
        start = len(self.shell.text)
        self.shell.type(line + "; echo do''ne\n")
        self.assertTrue(self.shell.wait_for("done\n" + self.PROMPT, start), self.shell.text)

    def test_choices_are_listed(self):
        listed = self.completed("", "")
        for command in ("slots", "devices", "enumerate", "serve"):
            self.assertIn(command, listed)
        self.assertNotIn("complete", listed.split())


class ZshCompletion(Completion, unittest.TestCase):
    CLEAR = ""

    def setUp(self):
        if not shutil.which("zsh"):
            self.skipTest("zsh is not installed")
        self.shell = Terminal(["zsh", "-f", "-i"], PS1="ready> ", PATH=HERE + ":" + os.environ["PATH"])
        self.addCleanup(self.shell.close)
        self.addCleanup(self.shell.type, "\x15exit\n")
        self.shell.type(f"unsetopt zle_bracketed_paste; fpath=({COMPLETIONS} $fpath); autoload -Uz compinit; "
                        "compinit -D -u; bindkey -e; show() { zle -I; print -r -- \"<$BUFFER>\"; BUFFER= }; zle -N show; "
                        "bindkey '^Xs' show; echo do''ne\n")
        self.assertTrue(self.shell.wait_for("done\n"), self.shell.text)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
