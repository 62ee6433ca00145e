#!/usr/bin/env python3
"""objectmanager.py itself, with stand-ins for the commands of an sfcb under a prefix of its own."""

import importlib.machinery
import os
import re
import subprocess
import sys
import tempfile
import time
import types
import unittest

import objectmanager
import wbem

HERE = os.path.dirname(os.path.abspath(__file__))
# Of each kind what object managers do in other ways than our server: gets, key orders, property lists, filters.
TESTS = ("Enumerations", "Gets", "ClassRequests", "Associations.test_references_are_those_that_the_provider_gives")
NAMESPACES = objectmanager.apart()[0]
INSIDE = "PCIINFO_INSIDE_NAMESPACES"  # set where this runs in some of its own


def load_standin():
    module = types.ModuleType("standin")
    importlib.machinery.SourceFileLoader("standin", os.path.join(HERE, "sfcb-standin")).exec_module(module)
    return module


STANDIN = load_standin()


class StandIns(unittest.TestCase):
    def setUp(self):
        self.prefix = os.path.join(self.enterContext(tempfile.TemporaryDirectory()), "opt")
        for place in ("sbin", "bin", "etc/sfcb", "var/lib/sfcb/stage/regs", "var/lib/sfcb/stage/mofs"):
            os.makedirs(os.path.join(self.prefix, place))
        for command in ("sbin/sfcbd", "bin/sfcbstage", "bin/sfcbrepos"):
            os.symlink(os.path.join(HERE, "sfcb-standin"), os.path.join(self.prefix, command))
        self.write("etc/sfcb/sfcb.cfg", "# comment\ninstalled: yes\nhttpPort: 5988\nproviderDirs: /usr/lib/cmpi\n")
        self.write("var/lib/sfcb/stage/default.reg", "[CIM_IndicationFilter]\n   namespace: root/interop\n#\n")
        self.path = [os.path.join(self.prefix, "sbin"), os.environ["PATH"]]

    def write(self, name, text):
        with open(os.path.join(self.prefix, name), "w", encoding="utf-8") as file:
            file.write(text)

    def run_tests(self, *tests):
        """Status and output of a run; no broker of its own may be left over."""
        before = set(objectmanager.processes("sfcbd"))
        done = subprocess.run([sys.executable, "-B", os.path.join(HERE, "objectmanager.py"), *tests],
                              env={**os.environ, "PATH": os.pathsep.join(self.path)},
                              capture_output=True, text=True, timeout=10 * wbem.TIME_LIMIT, check=False)
        self.assertLessEqual(set(objectmanager.processes("sfcbd")), before)
        return done.returncode, done.stdout + done.stderr

    def other_broker(self):
        """A process of that name and the semaphore of one."""
        self.enterContext(STANDIN.semaphore())
        place = os.path.join(self.prefix, "other")
        os.mkdir(place)
        self.write("other/sfcbd", "#!/usr/bin/python3\nimport time\ntime.sleep(600)\n")
        os.chmod(os.path.join(place, "sfcbd"), 0o755)
        other = subprocess.Popen([os.path.join(place, "sfcbd")])
        self.addCleanup(other.communicate)
        self.addCleanup(other.kill)
        deadline = time.monotonic() + wbem.TIME_LIMIT
        while other.pid not in objectmanager.processes("sfcbd") and time.monotonic() < deadline:
            time.sleep(0.01)

    def without_namespaces(self):
        os.mkdir(os.path.join(self.prefix, "poor"))
        self.write("poor/unshare", "#!/bin/sh\necho 'unshare failed: Operation not permitted' >&2\nexit 1\n")
        os.chmod(os.path.join(self.prefix, "poor/unshare"), 0o755)
        self.path.insert(0, os.path.join(self.prefix, "poor"))

    def test_what_only_our_server_does_is_not_asked_of_an_object_manager(self):
        status, told = self.run_tests(*TESTS)
        self.assertEqual(status, 0, told)
        ran, skipped = (int(number) for number in re.search(r"Ran (\d+) tests[^$]*skipped=(\d+)", told).groups())
        self.assertGreater(ran - skipped, 3, told)

    @unittest.skipUnless(NAMESPACES, "this machine gives no namespaces")
    def test_it_runs_beside_another_broker(self):
        self.other_broker()
        status, told = self.run_tests("Gets")
        self.assertEqual(status, 0, told)

    def test_it_says_why_it_does_not_run_beside_another_broker(self):
        self.other_broker()
        self.without_namespaces()
        status, told = self.run_tests("Gets")
        self.assertEqual(status, objectmanager.NOT_RUN, told)
        self.assertRegex(told, "^not run: another sfcbd is running.*Operation not permitted")

    @unittest.skipIf(objectmanager.processes("sfcbd"), "an object manager runs on this machine")
    def test_it_runs_without_namespaces_where_there_is_no_other_broker(self):
        self.without_namespaces()
        status, told = self.run_tests("Gets")
        self.assertEqual(status, 0, told)

    def test_what_a_broker_holds_keeps_another_from_starting(self):
        self.without_namespaces()
        with STANDIN.semaphore():
            status, told = self.run_tests("Gets")
        self.assertEqual(status, 1, told)
        self.assertRegex(told, "sfcbd: A previous instance of sfcbd is running")

    def test_a_failing_test_is_its_status(self):
        status, told = self.run_tests("Gets.test_that_there_is_not")
        self.assertEqual(status, 1)
        self.assertIn("test_that_there_is_not", told)


class Forms(unittest.TestCase):
    """What wbemcli and sfcbstage print."""

    def test_keys_compare_as_sets_those_of_references_too(self):
        told = wbem.Answer(0, 'h:1/root/kavix:QELTA_A.Y=1,X="a, \\"b=c"\nh:1/root/kavix:QELTA_B.K="1"\n', "")
        self.assertEqual(told.names(), ['QELTA_A.X="a, \\"b=c",Y=1', 'QELTA_B.K="1"'])
        turned = 'QELTA_D.To=QELTA_A.Y=1,X="a, b",From=QELTA_B.L="2",K="1"'
        self.assertEqual(wbem.canonical(turned), 'QELTA_D.From=QELTA_B.K="1",L="2",To=QELTA_A.X="a, b",Y=1')

    def test_references_among_the_properties_are_paths(self):
        told = wbem.Answer(0, 'h/root/kavix:QELTA_D.A=root/kavix:QELTA_B.L="2",K="1"\n'
                              '-A=root/kavix:QELTA_B.L="2",K="1"\n-Text="QELTA, it is"\n-Unset=\n', "")
        self.assertEqual(told.instances(), [('QELTA_D.A=QELTA_B.K="1",L="2"',
                                             ['A=QELTA_B.K="1",L="2"', 'Text="QELTA, it is"'])])

    def test_the_last_directory_with_the_parts_of_a_stage_is_it_in_whatever_brackets(self):
        top = self.enterContext(tempfile.TemporaryDirectory())
        for place in ("stage/regs", "former/mofs"):
            os.makedirs(os.path.join(top, place))
        command = os.path.join(top, "sfcbstage")
        for form in ("-s staging directory [{}]", "-s DIR  default: {}", 'staging ("{}"), see /none', "{{{}}}"):
            text = f"formerly {top}/former, temporary files in {top}\n" + form.format(f"{top}/stage")
            with open(command, "w", encoding="utf-8") as script:
                script.write(f"#!/bin/sh\necho '{command} [options]\n{text}' >&2\nexit 1\n")
            os.chmod(command, 0o755)
            self.assertEqual(objectmanager.staging_directory(command), f"{top}/stage")


if __name__ == "__main__":
    # In there no broker but those of the tests is seen, whatever else runs on this machine.
    if NAMESPACES and INSIDE not in os.environ:
        os.execvpe(NAMESPACES[0], [*NAMESPACES, sys.executable, "-B", *sys.argv], {**os.environ, INSIDE: "yes"})
    unittest.main(verbosity=2)
