#!/usr/bin/env python3
"""cimhost --servers: many object managers asked by one process.

PCIINFO_SERVERS=N asks so many in place of 1,000.
"""

import collections
import csv
import io
import json
import os
import re
import signal
import subprocess
import tempfile
import threading
import time
import unittest

import badserver
import manyhosts
import wbem

SAMPLE = "lenovo-90g0"
NAME = b"desk90g0.example"
COUNT = int(os.environ.get("PCIINFO_SERVERS", "1000"))
EVERY = 50  # of so many hosts five are ill
TIME_LIMIT = 600
MEBIBYTE = 1024  # in KiB, as the system tells memory

Done = collections.namedtuple("Done", "code out err memory seconds")


def peak(pid):
    """The memory that a process has had at most so far, in KiB; of who has ended, nothing.

    What the system tells of a child when it has ended counts the time before it became a program of its own.
    """
    with open(f"/proc/{pid}/status", encoding="utf-8") as file:
        told = re.search(r"VmHWM:\s*(\d+) kB", file.read())
    return int(told[1]) if told else 0


def asked(*arguments, stdin=None, stdout=None):
    """A run; standard output goes to a file where one is given."""
    with tempfile.TemporaryFile() as out, tempfile.TemporaryFile() as err:
        began, memory = time.monotonic(), 0
        with subprocess.Popen([wbem.cimhost_program(), *arguments], stdin=stdin, stdout=stdout or out, stderr=err,
                              env=os.environ | {"HOME": "/nonexistent", "LC_ALL": "C.UTF-8",
                                                "CIMHOST_PASSWORD": "of whoever is named"}) as process:
            while process.poll() is None:
                memory = max(memory, peak(process.pid))
                time.sleep(0.01)
        out.seek(0)
        err.seek(0)
        return Done(process.returncode, out.read().decode(), err.read().decode(), memory, time.monotonic() - began)


def listed(directory, lines, name="servers"):
    file = os.path.join(directory, name)
    with open(file, "w", encoding="utf-8") as opened:
        opened.write("\n".join(lines) + "\n")
    return file


class Case(unittest.TestCase):
    def setUp(self):
        self.directory = self.enterContext(tempfile.TemporaryDirectory())

    @classmethod
    def setUpClass(cls):
        with wbem.serving(wbem.sample(SAMPLE)) as url:
            cls.answers = manyhosts.record(url.removeprefix("http://"))
        library = subprocess.run([wbem.cimhost_program(), "tree", "--format", "jsonl", "--host", wbem.sample(SAMPLE)],
                                 capture_output=True, check=True)
        cls.records = library.stdout.decode().splitlines()

    def hosts(self, count, every=EVERY):
        return self.enterContext(manyhosts.ManyHosts(count, every, self.answers, NAME))

    def expected(self, url, number):
        """The lines of one host."""
        return [f'{{"server":"{url}",' + line[1:].replace(NAME.decode(), manyhosts.name(number))
                for line in self.records]


class Many(Case):
    def ask(self, hosts):
        return asked("tree", "--format", "jsonl", "--servers", listed(self.directory, hosts.urls), "--parallel", "64",
                     "--timeout", "2", "--connect-timeout", "2")

    def check(self, hosts, done):
        """Nothing is lost, torn or twice; who failed is named with the reason, once."""
        reasons = {"gone": "Failed to connect", "silent": "no whole answer within 2 s; 0 bytes came",
                   "torn": "the connection ended after", "garbled": "cannot be read: line 1: mismatched tag"}
        found = collections.defaultdict(list)
        for line in done.out.splitlines():
            found[json.loads(line)["server"]].append(line)
        failures = dict(line.removeprefix("cimhost: ").split(": ", 1) for line in done.err.splitlines()[:-1])
        for number, url in enumerate(hosts.urls):
            ill = manyhosts.condition(number, EVERY)
            if ill in reasons:
                self.assertNotIn(url, found)
                self.assertIn(reasons[ill], failures.pop(url))
            else:
                self.assertEqual(found.pop(url), self.expected(url, number))
        self.assertEqual((dict(found), failures), ({}, {}))
        self.assertEqual(done.code, 3)
        healthy = sum(manyhosts.condition(number, EVERY) not in reasons for number in range(hosts.count))
        self.assertRegex(done.err.splitlines()[-1],
                         f"^cimhost: {healthy} servers answered, {hosts.count - healthy} did not; ")

    def test_a_thousand_hosts_take_the_memory_of_a_hundred(self):
        few = self.hosts(COUNT // 10)
        done = self.ask(few)
        self.check(few, done)
        many = self.hosts(COUNT)
        done_many = self.ask(many)
        self.check(many, done_many)
        for hosts, each in ((few, done), (many, done_many)):
            print(f"{hosts.count} hosts, 64 at once: {each.seconds:.1f} s, {each.memory / MEBIBYTE:.1f} MiB, "
                  f"{each.err.splitlines()[-1].removeprefix('cimhost: ')}")
        # A line of the list is kept, with the server's address.
        self.assertLess(done_many.memory, done.memory + 4 * MEBIBYTE + many.count - few.count)


class State(Case):
    """A run that ended early is taken up."""

    COUNT = 60

    def arguments(self, hosts, form="jsonl"):
        return ("tree", "--format", form, "--servers", listed(self.directory, hosts.urls), "--parallel", "8",
                "--timeout", "1", "--state", os.path.join(self.directory, "state"))

    def test_runs_that_are_killed_lose_nothing_and_repeat_nothing(self):
        hosts = self.hosts(self.COUNT, 20)
        output = os.path.join(self.directory, "output")
        kills = 0
        for delay in [0.03 * step for step in range(1, 12)]:
            with open(output, "ab") as out:
                with subprocess.Popen([wbem.cimhost_program(), *self.arguments(hosts)], stdout=out,
                                      stderr=subprocess.DEVNULL) as process:
                    try:
                        process.wait(timeout=delay)
                    except subprocess.TimeoutExpired:
                        process.send_signal(signal.SIGKILL)
                        kills += 1
        with open(output, "ab") as out:
            last = asked(*self.arguments(hosts), stdout=out)
        self.assertGreater(kills, 3)
        found = collections.defaultdict(list)
        with open(output, encoding="utf-8") as file:
            for line in file.read().splitlines():
                found[json.loads(line)["server"]].append(line)
        for number, url in enumerate(hosts.urls):
            if manyhosts.condition(number, 20) in ("healthy", "slow"):
                self.assertEqual(found.pop(url), self.expected(url, number))
        self.assertEqual(dict(found), {})
        self.assertEqual(last.code, 3, "those who did not answer are asked again")

    def test_states_are_of_one_question_and_one_output(self):
        with badserver.Server(badserver.answering(badserver.http(badserver.slots("A", "B")))) as server:
            hosts = listed(self.directory, [server.url()])
            state = os.path.join(self.directory, "state")
            output = os.path.join(self.directory, "output")
            command = ("slots", "--servers", hosts, "--state", state, "--format", "csv")
            with open(output, "ab") as out:
                self.assertEqual(asked(*command, stdout=out).code, 0)
                self.assertEqual(asked(*command, stdout=out).code, 0)
            with open(output, encoding="utf-8") as file:
                self.assertEqual(len(file.readlines()), 3, "a head and two slots, once")
            self.assertIn("of another question", asked(*command[:-1], "tsv").err)
            self.assertIn("of another question", asked("devices", *command[1:]).err)
            with open(output, "wb") as out:
                done = asked(*command, stdout=out)
            self.assertEqual(done.code, 2)
            self.assertIn("append to it", done.err)

    def test_what_was_written_of_a_server_in_part_is_cut_off(self):
        """As a run leaves it that is killed while it writes: announced, and not all there. What others have appended
        since is not."""
        with badserver.Server(badserver.answering(badserver.http(badserver.slots("A", "B")))) as server:
            state, output = (os.path.join(self.directory, name) for name in ("state", "output"))
            command = ("slots", "--format", "jsonl", "--servers", listed(self.directory, [server.url()]),
                       "--state", state)

            def run():
                with open(output, "ab") as out:
                    self.assertEqual(asked(*command, stdout=out).code, 0)
                with open(output, "rb") as file:
                    return file.read()

            whole = run()
            with open(state, encoding="utf-8") as file:
                lines = file.readlines()
            theirs = b'{"server":"http://another",' + whole.split(b",", 1)[1]
            for before, after in ((b"", theirs), (whole[:len(whole) // 2 + 1], theirs), (b"", theirs[:99] + b"\n")):
                with self.subTest(before=len(before), after=len(after)):
                    with open(output, "wb") as file:
                        file.write(before + after)
                    with open(state, "w", encoding="utf-8") as file:
                        file.writelines(line for line in lines if not line.startswith("done"))
                    self.assertEqual(run(), before + after + whole, "what others appended stays, nothing is lost")
            with open(output, "wb") as file:
                file.write(whole)
            for length, connections in ((len(whole), 0), (len(whole) - 1, 1), (len(whole) // 2, 1), (0, 1)):
                with self.subTest(length=length):
                    os.truncate(output, length)
                    with open(state, "w", encoding="utf-8") as file:
                        file.writelines(line for line in lines if not line.startswith("done"))
                        file.write("begin\t1")  # without an end: it does not count
                    before = server.connections
                    self.assertEqual(run(), whole)
                    self.assertEqual(server.connections - before, connections)


    def test_an_output_belongs_to_one_process_with_a_state(self):
        """Or is shared by those that have none."""
        asking, go_on = threading.Event(), threading.Event()

        def answer(*_):
            asking.set()
            go_on.wait(TIME_LIMIT)
            return badserver.http(badserver.slots("A", "B"))

        with badserver.Server(badserver.answering(answer)) as server:
            hosts, output = listed(self.directory, [server.url()]), os.path.join(self.directory, "output")
            states = [("--state", os.path.join(self.directory, name)) for name in ("one", "two")]
            for first, second, said in ((states[0], states[1], "another process writes to standard output's file"),
                                        (states[0], (), "standard output's file is another process's alone"),
                                        ((), states[1], "another process writes to standard output's file")):
                asking.clear()
                go_on.clear()
                command = ("slots", "--format", "jsonl", "--servers", hosts)
                if os.path.exists(states[0][1]):
                    os.remove(states[0][1])
                with open(output, "wb") as out:
                    with subprocess.Popen([wbem.cimhost_program(), *command, *first], stdout=out) as process:
                        self.assertTrue(asking.wait(TIME_LIMIT))
                        done = asked(*command, *second, stdout=out)
                        go_on.set()
                    self.assertEqual((process.returncode, done.code), (0, 2))
                self.assertIn(said, done.err)


class Lists(Case):
    """What is written of several servers, and which."""

    def setUp(self):
        super().setUp()
        self.server = self.enterContext(badserver.Server(badserver.answering(self.answer)))

    @staticmethod
    def answer(_, body):
        if "EnumerateInstanceNames" in body:
            return badserver.http(badserver.message(
                '<IRETURNVALUE><INSTANCENAME CLASSNAME="QELTA_SystemSlot"><KEYBINDING NAME="Tag"><KEYVALUE>System Slot '
                "5</KEYVALUE></KEYBINDING></INSTANCENAME></IRETURNVALUE>", "EnumerateInstanceNames"))
        return badserver.http(badserver.slots("A, &quot;B&quot;", "C"))

    def ask(self, *arguments, lines=None, code=0):
        done = asked(*arguments, "--servers", listed(self.directory, lines or [self.server.url()]))
        self.assertEqual(done.code, code, done.err)
        return done

    def test_each_line_has_its_server(self):
        url = self.server.url()
        for line in self.ask("slots").out.splitlines():
            self.assertTrue(line.startswith(f"{url}: "), line)
        for line in self.ask("slots", "--format", "jsonl").out.splitlines():
            self.assertEqual(next(iter(json.loads(line).items())), ("server", url))
        for form, delimiter in (("csv", ","), ("tsv", "\t")):
            rows = list(csv.DictReader(io.StringIO(self.ask("slots", "--format", form).out), delimiter=delimiter))
            self.assertEqual([(row["Server"], row["SlotDesignation"]) for row in rows], [(url, 'A, "B"'), (url, "C")])

    def test_lines_are_as_wide_as_they_may_be_with_their_server(self):
        for line in self.ask("tree", "--width", "70").out.splitlines():
            self.assertLessEqual(len(line), 70)

    def test_columns_are_those_of_the_question(self):
        """Whatever the first server to answer has."""
        for command, wanted in ((("slots",), "ConnectorTypeText"), (("names", "slots"), "SystemName"),
                                (("associators", "5"), "PciDeviceID"), (("associators", "16:00.0"), "SlotDesignation"),
                                (("references", "5"), "Antecedent"), (("get", "16:00.0"), "Subclass"),
                                (("enumerate", "SSPCIController"), "SubsystemID"), (("tree",), "location")):
            head = self.ask(*command, "--format", "csv", lines=["http://127.0.0.1:1"], code=3).out
            self.assertIn(wanted, head.strip().split(","), command)

    def test_lists_have_comments_and_each_server_once(self):
        url = self.server.url()
        lines = ["# all of ours", "", f"  {url} # this one", url, url, "\t"]
        self.ask("slots", lines=lines)
        self.assertEqual(self.server.connections, 1)
        with open(listed(self.directory, lines), encoding="utf-8") as file:
            self.assertEqual(asked("slots", "--servers", "-", stdin=file).code, 0)
        for line, said in (("a b", "servers, line 2: 'a b' names no server"), ("https://u:p@h", "a password may not"),
                           ("x" * 2000, "the line is too long")):
            self.assertIn(said, self.ask("slots", lines=[url, line], code=2).err)
        self.assertIn(f"{self.directory}: Is a directory", asked("slots", "--servers", self.directory).err)
        self.assertIn("no server is listed", self.ask("slots", lines=["#"], code=2).err)

    def test_processes_may_share_a_file(self):
        """Each record is one call of write; those of a server are more than any buffer holds."""
        names = [f"slot {number} " + "x" * (number % 300) for number in range(600)]
        large = self.enterContext(badserver.Server(badserver.answering(badserver.http(badserver.slots(*names)))))
        output = os.path.join(self.directory, "output")
        command = [wbem.cimhost_program(), "slots", "--format", "jsonl", "--servers",
                   listed(self.directory, [large.url(), large.url().replace("127.0.0.1", "localhost")])]
        expected = {(url, name): 8 for url in (large.url(), large.url(host="localhost")) for name in names}

        def check(file):
            found = collections.Counter((record["server"], record["SlotDesignation"])
                                        for record in map(json.loads, file))
            self.assertEqual(found, expected)

        with open(output, "ab") as out:
            processes = [subprocess.Popen(command, stdout=out) for _ in range(8)]
            for process in processes:
                self.assertEqual(process.wait(timeout=TIME_LIMIT), 0)
        with open(output, encoding="utf-8") as file:
            check(file)
        # A pipe that is full has all of them write in turns.
        ours, theirs = os.pipe()
        processes = [subprocess.Popen(command, stdout=theirs) for _ in range(8)]
        os.close(theirs)
        time.sleep(1)
        with open(ours, encoding="utf-8") as file:
            check(file)
        for process in processes:
            self.assertEqual(process.wait(timeout=TIME_LIMIT), 0)

    def test_memory_is_bounded_whatever_comes(self):
        """Forty answers without an end at a time: alone each might have 16 MiB."""
        def endless(connection):
            badserver.read_request(connection)
            connection.sendall(b"HTTP/1.1 200 OK\r\n\r\n")
            while True:
                connection.sendall(b"x" * 262144)

        with badserver.Server(endless) as server:
            done = self.ask("slots", "--parallel", "1024", code=3,
                            lines=[server.url().replace("//", f"//user{number}@") for number in range(40)])
        refused = re.findall("more came than an answer may have|those of other servers that are being asked fill it",
                             done.err)
        self.assertEqual((len(refused), len(set(refused))), (40, 2), done.err)
        self.assertLess(done.memory, 340 * MEBIBYTE)

    def test_memory_is_bounded_where_answers_are_kept(self):
        """Of hosts that bring much, and then are silent."""
        instance = '<INSTANCE CLASSNAME="QELTA_PCIDevice">{}</INSTANCE>'.format(
            '<PROPERTY NAME="p" TYPE="string"><VALUE/></PROPERTY>' * 250)
        large = badserver.http(badserver.message("<IRETURNVALUE>{}</IRETURNVALUE>".format(
            f'<VALUE.NAMEDINSTANCE><INSTANCENAME CLASSNAME="QELTA_PCIDevice"/>{instance}</VALUE.NAMEDINSTANCE>' * 400)))
        done_with = threading.Event()

        def behave(connection):
            while request := badserver.read_request(connection):
                if "QELTA_SystemSlot" in request[1]:
                    done_with.wait(TIME_LIMIT)
                    return
                connection.sendall(large)

        with badserver.Server(behave) as server:
            done = asked("tree", "--timeout", "8", "--servers", listed(self.directory, [
                server.url().replace("//", f"//user{number}@") for number in range(24)]))
            done_with.set()
        self.assertRegex(done.err, r"there is no room for the answer \(\d+ bytes so far\): those of other servers")
        self.assertRegex(done.err, "no whole answer within 8 s")
        self.assertLess(done.memory, 400 * MEBIBYTE)
        print(f"24 hosts whose answers are kept: {done.memory / MEBIBYTE:.0f} MiB")

    def test_at_a_terminal_a_line_shows_how_far_it_is(self):
        """It makes room for others, and is gone in the end."""
        ours, theirs = os.openpty()
        subprocess.run([wbem.cimhost_program(), "slots", "--servers",
                        listed(self.directory, [self.server.url(), "http://127.0.0.1:1"])],
                       stdout=subprocess.PIPE, stderr=theirs, check=False, timeout=TIME_LIMIT)
        said = os.read(ours, 65536).decode()
        for end in ours, theirs:
            os.close(end)
        self.assertIn("\r\x1b[K0 of 2 servers, 0 without an answer, 2 being asked, 0:00", said)
        self.assertRegex(said, r"\r\x1b\[Kcimhost: http://127.0.0.1:1: EnumerateInstances of QELTA_SystemSlot in ")
        self.assertRegex(said.splitlines()[-1], "cimhost: 1 server answered, 1 did not; 1 answer in ")

    def test_who_has_no_objects_is_named(self):
        """As a BMC that is silent has it."""
        def answer(_, body):
            time.sleep(5.01 if "QELTA_SystemSlot" in body else 0)
            return badserver.http(badserver.slots())

        with badserver.Server(badserver.answering(answer)) as server:
            for command, said in (("slots", r"no objects; it took 5\.\d s, its BMC may be silent"),
                                  ("devices", r"no objects; it took 0\.\d s")):
                for form in ("csv", "jsonl")[command == "slots":]:
                    done = self.ask(command, "--format", form, lines=[server.url(), self.server.url()])
                    one, summary = done.err.splitlines()
                    self.assertRegex(one, f"^cimhost: {server.url()}: {said}$")
                    self.assertRegex(summary, "^cimhost: 2 servers answered, 1 of them without objects, 0 did not; 2 ans")
                    self.assertEqual(done.out.count(self.server.url()), 2)

    def test_a_reader_may_pause(self):
        """Servers lose none of their time by it, whether or not writing blocks."""
        def late(*_):
            time.sleep(0.7)
            return badserver.http(badserver.slots("A"))

        large = badserver.answering(badserver.http(badserver.slots(*["x" * 100] * 800)))
        with badserver.Server(large) as first, badserver.Server(badserver.answering(late)) as second:
            hosts = listed(self.directory, [first.url(), second.url()])
            for blocking in True, False:
                ours, theirs = os.pipe()
                os.set_blocking(theirs, blocking)
                with subprocess.Popen([wbem.cimhost_program(), "slots", "--servers", hosts, "--format", "jsonl",
                                       "--timeout", "2"], stdout=theirs, stderr=subprocess.PIPE) as process:
                    os.close(theirs)
                    time.sleep(3)
                    with open(ours, encoding="utf-8") as reader:
                        servers = [json.loads(line)["server"] for line in reader]
                    self.assertEqual(process.stderr.read(), b"")
                self.assertEqual(process.returncode, 0)
                self.assertEqual(servers, [first.url()] * 800 + [second.url()])

    def test_a_reader_that_goes_away_ends_it(self):
        command = [wbem.cimhost_program(), "slots", "--servers", listed(self.directory, [self.server.url()])]
        with subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE) as process:
            process.stdout.close()
            self.assertEqual(process.stderr.read(), b"")
        self.assertEqual(process.returncode, 0)


if __name__ == "__main__":
    unittest.main()
