#!/usr/bin/env python3
"""cimhost --server: object managers asked over CIM-XML, compared with the library; bad servers; TLS and credentials."""

import base64
import contextlib
import json
import os
import re
import shutil
import socket
import ssl
import subprocess
import tempfile
import threading
import time
import unittest

import badserver
import wbem

HOST = "dell-t440"
LIMIT = 60  # seconds for one command


def run(*arguments, **environment):
    """Of a user without a home, so that no credentials are found by chance."""
    surrounding = {"PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8", "HOME": "/nonexistent"} | environment
    return subprocess.run([wbem.cimhost_program(), *arguments], capture_output=True, timeout=LIMIT, check=False,
                          env=surrounding)


FORMATS = ("table", "json", "jsonl", "csv", "tsv", "mof")
# One of each command, and others.
COMMANDS = (
    ("slots",), ("devices",), ("bridges",), ("board",), ("tree",), ("enumerate", "DeviceInSlot"),
    ("names", "OnBoardDevice"), ("get", "16:01.0"), ("associators", "5"), ("associator-names", "5"),
    ("references", "5"),
    ("reference-names", "16:01.0", "--result-class", "DeviceInSlot"),
)
OTHERS = (
    ("slots", "--all", "--width", "60"), ("devices", "-d", "8086:", "--class", "02"), ("bridges", "-s", "16:"),
    ("enumerate", "OnBoardDevice"), ("enumerate", "SSPCIController"),
    ("enumerate", "obdpcicontroller", "--class", "0601"), ("names", "slots"), ("names", "devices", "-s", "16:"),
    ("get", "5"), ("get", "board"), ("get", "QELTA_DeviceInSlot"), ("get", "99"),
    ("associators", "board"), ("associators", "99"), ("associators", "00:1f.0"),
    ("associators", "16:01.0", "--assoc-class", "DeviceInSlot"), ("associators", "5", "--result-role", "Antecedent"),
    ("references", "board"), ("enumerate", "QELTA_Unknown"),
)
PICTURES = [(("draw",), form) for form in ("svg", "dot")]


class Same(unittest.TestCase):
    """What an object manager elsewhere says is written as what the library says, byte for byte."""

    def compare(self, manners, asked, other=()):
        """`other`: questions that reach the provider otherwise under these manners; the library is asked so, too."""
        with wbem.served(wbem.sample(HOST), "--manners", manners) as server:
            for question, form in asked:
                with self.subTest(question=question, format=form):
                    same = ("--manners", manners) if question in other else ()
                    here = run(*question, "--format", form, "--host", wbem.sample(HOST), *same)
                    there = run(*question, "--format", form, "--server", server.url)
                    self.assertEqual(there.stdout.decode(), here.stdout.decode())
                    self.assertEqual(there.returncode, here.returncode, there.stderr)
                    if here.returncode == 0:
                        self.assertEqual(there.stderr, b"")

    def test_commands_in_all_formats(self):
        self.compare("standard", [(command, form) for command in COMMANDS for form in FORMATS
                                  if (command, form) != (("tree",), "mof")] + PICTURES)

    def test_other_questions(self):
        self.compare("standard", [(question, "table") for question in OTHERS])

    def test_sfcb(self):
        self.compare("sfcb", [(question, "jsonl") for question in COMMANDS + OTHERS] + PICTURES)

    def test_openpegasus(self):
        """Each association class is asked for there: a function leads to its slot, too."""
        other = [question for question in OTHERS if question == ("associators", "00:1f.0")]
        self.compare("pegasus", [(question, "jsonl") for question in COMMANDS + OTHERS] + PICTURES, other)

    def test_a_tree_takes_three_readings(self):
        with tempfile.TemporaryFile("w+") as log:
            with wbem.served(wbem.sample(HOST), "--log", log=log) as server:
                run("tree", "--server", server.url)
            log.seek(0)
            asked = re.findall(r" (\w+) root/kavix:(\w+)", log.read())
        reading = [name for _, name in asked if name != "QELTA_SystemBoard"]
        self.assertEqual(sorted(reading), ["QELTA_PCIBridge", "QELTA_PCIDevice", "QELTA_SystemSlot"])
        self.assertEqual({operation for operation, _ in asked}, {"EnumerateInstances"})


class Failing(unittest.TestCase):
    def failure(self, *arguments, code=3, **environment):
        """What is said on standard error by a command that gets no answer."""
        done = run("slots", *arguments, **environment)
        self.assertEqual(done.returncode, code, done.stderr)
        self.assertEqual(done.stdout, b"")
        text = done.stderr.decode()
        self.assertEqual(text.count("\n"), 1, text)
        return text


ENDLESS = b"x" * 65536


def endlessly(connection, head, piece):
    badserver.read_request(connection)
    connection.sendall(head)
    while True:
        connection.sendall(piece)


def dripping(connection):
    badserver.read_request(connection)
    connection.sendall(b"HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n")
    while True:
        connection.sendall(b"<")
        time.sleep(0.05)


def silent(connection):
    badserver.read_request(connection)
    connection.recv(1)


def torn(response):
    def behave(connection):
        badserver.read_request(connection)
        connection.sendall(response)
    return behave


def entities():
    return b'<!DOCTYPE CIM [<!ENTITY a "aaaaaaaa">]><CIM>&a;</CIM>'


# What a server does, and what is said of it besides the server and the request.
HOSTILE = {
    "silent": (silent, "no whole answer within 1 s; 0 bytes came"),
    "drips": (dripping, r"no whole answer within 1 s; \d+ bytes came"),
    "closes at once": (lambda connection: badserver.read_request(connection), "the connection ended after 0 bytes"),
    "is cut off": (torn(b"HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n<CIM>"), "the connection ended after 5 bytes"),
    "is cut off in a chunk": (torn(b"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nff\r\n<CIM>"),
                              "the connection ended after 5 bytes"),
    "is no HTTP": (torn(b"220 mail ready\r\n"), "HTTP/0.9"),
    "has an endless body": (lambda connection: endlessly(connection, b"HTTP/1.1 200 OK\r\n\r\n", ENDLESS),
                            r"more came than an answer may have \(167\d+ bytes"),
    "has an endless head": (lambda connection: endlessly(connection, b"HTTP/1.1 200 OK\r\n", b"A: b\r\n" * 1000),
                            "more came than an answer may have"),
    "announces terabytes": (torn(b"HTTP/1.1 200 OK\r\nContent-Length: 1000000000000\r\n\r\n"),
                            "more came than an answer may have"),
    "redirects": (torn(badserver.http(b"", "301 Moved", ["Location: http://127.0.0.1:1/"])),
                  "HTTP status 301, a redirect, which is not followed; Location: http://127.0.0.1:1/"),
    "refuses": (torn(badserver.http(b"no", "501 No", ["CIMError: unsupported-operation"])),
                r"HTTP status 501; CIMError: unsupported-operation \(no\)"),
    "has no XML": (torn(badserver.http(b"hello")), "5 bytes, cannot be read: line 1: syntax error"),
    "has half a message": (torn(badserver.http(badserver.slots("A")[:200])), "cannot be read: line 1"),
    "has no message": (torn(badserver.http(b"<html></html>")), "the document is no CIM message"),
    "has no answer": (torn(badserver.http(b"<CIM><MESSAGE/></CIM>")), "MESSAGE without SIMPLERSP"),
    "answers something else": (torn(badserver.http(badserver.message("", "GetClass"))), "one to another operation"),
    "has other objects": (torn(badserver.http(badserver.message("<IRETURNVALUE><CLASS NAME='A'/></IRETURNVALUE>"))),
                          "there is no CLASS in such an answer"),
    "has no number": (torn(badserver.http(badserver.slots("A").replace(b'"Tag" TYPE="string"', b'"Tag" TYPE="uint8"'))),
                      '"System Slot 5" is no uint8'),
    "has a key of no type": (torn(badserver.http(badserver.slots("A").replace(b'TYPE="string">S', b'TYPE="x">S'))),
                             '"x" is no type of a key value'),
    "is nested deeply": (torn(badserver.http(b"<A>" * 100000)), "elements are nested too deeply"),
    "has too many elements": (torn(badserver.http(b"<CIM>" + b"<A/>" * 700000 + b"</CIM>")), "too many elements"),
    "has too many properties": (torn(badserver.http(badserver.slots("A").replace(
        b"</INSTANCE>", b'<PROPERTY NAME="p" TYPE="string"/>' * 255 + b"</INSTANCE>"))),
                                "an INSTANCE with more than 256 properties"),
    "has too many names": (torn(badserver.http(badserver.slots(*"A" * 257).replace(
        b"<VALUE>A", b"%s<VALUE>A").replace(b'"SlotDesignation"', b'"p%d"') % tuple(
            part for number in range(257) for part in (number, b"")))),
                           "properties of more than 256 names"),
    "has too many keys": (torn(badserver.http(badserver.slots("A").replace(
        b"</INSTANCENAME>", b'<KEYBINDING NAME="k"><KEYVALUE>1</KEYVALUE></KEYBINDING>' * 256 + b"</INSTANCENAME>"))),
                          "an INSTANCENAME with more than 256 keys"),
    "has entities": (torn(badserver.http(entities())), "the document type may not have declarations of its own"),
    "has an error without a code": (torn(badserver.http(badserver.message("<ERROR CODE='x'/>"))),
                                    "an error with the code 'x'"),
}


class Hostile(Failing):
    def test_servers_end_in_a_sentence(self):
        for name, (behave, expected) in HOSTILE.items():
            with self.subTest(server=name), badserver.Server(behave) as server:
                said = self.failure("--server", server.url(), "--timeout", "1", "--connect-timeout", "1")
                asked = f"cimhost: {server.url()}: EnumerateInstances of QELTA_SystemSlot in root/kavix: "
                self.assertRegex(said, "^" + re.escape(asked) + ".*" + expected)
                self.assertEqual(server.connections, 1)

    def test_nobody_there(self):
        with socket.create_server(("127.0.0.1", 0)) as listener:
            port = listener.getsockname()[1]
        self.assertRegex(self.failure("--server", f"http://127.0.0.1:{port}"), "Failed to connect")
        self.assertRegex(self.failure("--server", "nosuch.invalid"),
                         "^cimhost: https://nosuch.invalid:5989: .*Could not resolve host: nosuch.invalid")

    def test_a_connection_that_does_not_come(self):
        with socket.create_server(("127.0.0.1", 0), backlog=0) as listener, contextlib.ExitStack() as others:
            for _ in range(4):  # more than may wait there
                other = others.enter_context(socket.socket())
                other.setblocking(False)
                other.connect_ex(listener.getsockname())
            said = self.failure("--server", f"http://127.0.0.1:{listener.getsockname()[1]}", "--connect-timeout", "1")
        self.assertRegex(said, "no connection within 1 s")

    def test_an_error_is_told_as_it_came(self):
        answer = badserver.message('<ERROR CODE="1" DESCRIPTION="the library&#10;is missing"/>')
        with badserver.Server(badserver.answering(badserver.http(answer))) as server:
            for command in (("slots",), ("tree",), ("get", "5")):
                done = run(*command, "--server", server.url())
                self.assertEqual(done.returncode, 1)
                self.assertRegex(done.stderr.decode(), rf"^cimhost: {server.url()}: EnumerateInstances of QELTA_\w+ in "
                                 r"root/kavix: CMPI_RC_ERR_FAILED \(1\): the library.*is missing\n$")

    def test_texts_that_no_xml_can_hold_are_read(self):
        """As serve writes them; sfcb passes on what it has."""
        answer = badserver.slots("PCIe \x1b[31m").replace(b"PCIe", b"PCIe\xff")
        with badserver.Server(badserver.answering(badserver.http(answer))) as server:
            done = run("slots", "--format", "jsonl", "--server", server.url())
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(json.loads(done.stdout)["SlotDesignation"], "PCIe\ufffd \ufffd[31m")

    def test_a_property_that_is_null_is_taken_from_the_path(self):
        answer = badserver.slots("A").replace(b"<VALUE>System Slot 5</VALUE>", b"")
        with badserver.Server(badserver.answering(badserver.http(answer))) as server:
            done = run("slots", "--format", "jsonl", "--server", server.url())
        self.assertEqual(json.loads(done.stdout)["Tag"], "System Slot 5")


    def test_at_a_terminal_one_learns_what_is_waited_for(self):
        ours, theirs = os.openpty()
        with badserver.Server(silent) as server:
            subprocess.run([wbem.cimhost_program(), "slots", "--server", server.url(), "--timeout", "2"],
                           stdout=subprocess.PIPE, stderr=theirs, check=False, timeout=LIMIT)
        said = os.read(ours, 65536).decode()
        for end in ours, theirs:
            os.close(end)
        self.assertRegex(said, f"^cimhost: waiting for {server.url()}, at most 2 s for each answer\r\n"
                         f"cimhost: {server.url()}: [^\n]*no whole answer within 2 s; 0 bytes came\r\n$")


class Tls(Failing):
    """An object manager behind TLS, with certificates of an authority that the system does not know."""

    @classmethod
    def setUpClass(cls):
        cls.directory = cls.enterClassContext(tempfile.TemporaryDirectory())
        cls.authority = badserver.Certificates(cls.directory)
        cls.files = {"good": cls.authority.server("good", "DNS:localhost,IP:127.0.0.1"),
                     "other host": cls.authority.server("other", "DNS:elsewhere.example"),
                     "expired": cls.authority.server("expired", "DNS:localhost,IP:127.0.0.1", days=-1)}

    def server(self, certificate, answer=badserver.http(badserver.slots("A"))):
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(self.files[certificate])
        return self.enterContext(badserver.Server(badserver.answering(answer), context))

    def test_the_right_authority_is_trusted(self):
        server = self.server("good")
        for host in ("127.0.0.1", "localhost"):
            done = run("slots", "--server", server.url("https", host), "--cacert", self.authority.file)
            self.assertEqual((done.returncode, done.stderr), (0, b""))

    def test_anything_else_is_refused_unless_said(self):
        other = badserver.Certificates(self.directory, "another-authority").file
        mine = self.authority.file
        for certificate, trusted, expected in (
                ("good", (), "certificate"), ("good", ("--cacert", other), "certificate"),
                ("expired", ("--cacert", mine), "expired"),
                ("other host", ("--cacert", mine), "no alternative certificate subject")):
            with self.subTest(certificate=certificate, trusted=trusted):
                heads = []
                server = self.server(certificate, lambda head, _, heads=heads: heads.append(head) or b"")
                said = self.failure("--server", server.url("https"), *trusted, CIMHOST_USER="u", CIMHOST_PASSWORD="p")
                self.assertRegex(said, expected)
                self.assertEqual(heads, [], "nothing is sent before the certificate is checked")
                server = self.server(certificate)
                self.assertEqual(run("slots", "--server", server.url("https"), *trusted, "--insecure").returncode, 0)

    def test_an_authority_of_ones_own_replaces_the_systems(self):
        """Where the system trusts the server's authority: in a namespace of its own, whose /etc/ssl/certs that is."""
        trusted = self.enterContext(tempfile.TemporaryDirectory())
        name = subprocess.run(["openssl", "x509", "-hash", "-noout", "-in", self.authority.file], check=True,
                              capture_output=True, text=True).stdout.strip()
        shutil.copy(self.authority.file, os.path.join(trusted, f"{name}.0"))
        own = ["unshare", "--map-root-user", "--mount"]
        bind = f"mount --bind {trusted} /etc/ssl/certs"
        if subprocess.run([*own, "sh", "-c", bind], capture_output=True, check=False).returncode != 0:
            self.skipTest("no mount namespace can be had")
        other = badserver.Certificates(self.directory, "one-of-our-own").file
        shutil.copy(other, os.path.join(trusted, "ca-certificates.crt"))
        command = f"{wbem.cimhost_program()} slots --server {self.server('good').url('https')}"
        for options, code in (("", 0), (f"--cacert {other}", 3), (f"--cacert {self.authority.file}", 0)):
            done = subprocess.run([*own, "sh", "-c", f"{bind} && {command} {options}"], capture_output=True,
                                  check=False, timeout=LIMIT)
            self.assertEqual(done.returncode, code, done.stderr)

    def test_http_is_no_https(self):
        with badserver.Server(badserver.answering(badserver.http(badserver.slots("A")))) as server:
            self.failure("--server", server.url("https"), "--connect-timeout", "2", "--timeout", "2")


class Credentials(Failing):
    """A server that wants user "operator" with password "secret"."""

    def setUp(self):
        self.heads = []
        self.server = self.enterContext(badserver.Server(badserver.answering(self.answer)))
        self.directory = self.enterContext(tempfile.TemporaryDirectory())

    def answer(self, head, _):
        self.heads.append(head)
        wanted = "Authorization: Basic " + base64.b64encode(b"operator:secret").decode()
        if wanted in head.split("\r\n"):
            return badserver.http(badserver.slots("A"))
        return badserver.http(b"", "401 Unauthorized", ['WWW-Authenticate: Basic realm="cim"'])

    def netrc(self, name, text):
        file = os.path.join(self.directory, name)
        with open(file, "w", encoding="utf-8") as opened:
            opened.write(text)
        return file

    def assert_asks(self, *arguments, **environment):
        done = run("slots", *arguments, **environment)
        self.assertEqual((done.returncode, done.stderr), (0, b""))

    def test_of_the_environment(self):
        url = self.server.url()
        self.assert_asks("--server", url, CIMHOST_USER="operator", CIMHOST_PASSWORD="secret")
        self.assert_asks("--server", url.replace("//", "//operator@"), CIMHOST_USER="x", CIMHOST_PASSWORD="secret")

    def test_of_netrc_files(self):
        entry = "machine 127.0.0.1 login {} password {}\n"
        file = self.netrc("credentials", entry.format("other", "x") + entry.format("operator", "secret"))
        self.assert_asks("--server", self.server.url().replace("//", "//operator@"), "--netrc", file)
        self.netrc(".netrc", entry.format("operator", "secret"))
        self.assert_asks("--server", self.server.url(), HOME=self.directory)
        missing = run("slots", "--server", self.server.url(), "--netrc", "/nonexistent/file")
        self.assertEqual(missing.returncode, 2)
        self.assertIn(b"/nonexistent/file cannot be read", missing.stderr)

    def test_a_user_without_a_password_is_refused(self):
        """Rather than asked for with another's, or with none."""
        url = self.server.url().replace("//", "//operator@")
        others = self.netrc("others", "machine 127.0.0.1 login other password x\nmachine h login operator password y\n")
        list_file = self.netrc("list", url + "\n")
        for arguments in (("--server", url), ("--server", url, "--netrc", others), ("--servers", list_file)):
            done = run("slots", *arguments)
            self.assertRegex(done.stderr.decode(), "user 'operator': there is no password, nor one in a netrc file; "
                             "nothing was sent")
            self.assertEqual(done.returncode, 3)
        self.assertEqual(self.heads, [])

    def test_none_or_others_are_refused(self):
        self.assertRegex(self.failure("--server", self.server.url()), "HTTP status 401: it wants credentials")
        self.assertRegex(self.failure("--server", self.server.url(), CIMHOST_USER="operator", CIMHOST_PASSWORD="x"),
                         "HTTP status 401")
        self.assertEqual(len(self.heads), 2, "each is tried once")

    def test_are_not_sent_without_tls_to_other_machines(self):
        url = self.server.url(host="other.localhost")  # which libcurl knows to be this machine, and we do not
        surrounding = {"CIMHOST_USER": "operator", "CIMHOST_PASSWORD": "secret"}
        self.assertRegex(self.failure("--server", url, **surrounding), "which are not sent without TLS")
        self.assertNotIn("Authorization", self.heads[-1])
        self.assert_asks("--server", url, "--insecure", **surrounding)

    def test_stay_with_the_server_that_redirects(self):
        with badserver.Server(badserver.answering(badserver.http(b""))) as elsewhere:
            there = badserver.http(b"", "307 There", [f"Location: {elsewhere.url()}/"])
            with badserver.Server(badserver.answering(there)) as server:
                self.failure("--server", server.url(), CIMHOST_USER="operator", CIMHOST_PASSWORD="secret")
            self.assertEqual(elsewhere.connections, 0)

    def test_are_nowhere_in_the_process_list(self):
        asked, go_on = threading.Event(), threading.Event()

        def behave(connection):
            badserver.read_request(connection)
            asked.set()
            go_on.wait(LIMIT)
            connection.sendall(badserver.http(badserver.slots("A")))

        with badserver.Server(behave) as server:
            surrounding = os.environ | {"CIMHOST_USER": "operator", "CIMHOST_PASSWORD": "secret"}
            with subprocess.Popen([wbem.cimhost_program(), "slots", "--server", server.url()], env=surrounding,
                                  stdout=subprocess.DEVNULL) as process:
                self.assertTrue(asked.wait(LIMIT))
                with open(f"/proc/{process.pid}/cmdline", "rb") as file:
                    self.assertNotIn(b"secret", file.read())
                go_on.set()
            self.assertEqual(process.returncode, 0)

    def test_a_password_in_the_url_is_refused(self):
        for url in ("https://operator:secret@h", "operator:secret@h:5989", "http://:secret@h", "http://u:@h"):
            with self.subTest(url=url):
                done = run("slots", "--server", url)
                self.assertEqual(done.returncode, 2)
                self.assertIn(b"a password may not stand here", done.stderr)
                self.assertNotIn(b"secret", done.stderr)


if __name__ == "__main__":
    unittest.main()
