#!/usr/bin/env python3
"""A server and the clients of a long time: they come, ask anything, break off, stay silent and go.

Each answer has to be what it was for the first client, and afterwards the server has as many descriptors and threads as
before, and no more memory. PCIINFO_REQUESTS says how many requests are made, 1500 without it.
"""

import concurrent.futures
import itertools
import os
import random
import re
import socket
import struct
import time
import unittest

import wbem

REQUESTS = int(os.environ.get("PCIINFO_REQUESTS", "1500"))
CLIENTS = 8
SEED = 12
ARENAS = os.environ.get("MALLOC_ARENA_MAX", "1")
GROWTH = 24 << 20  # bytes by which the memory may have grown since it was warm; eight long answers take as much
PATIENCE = 20  # seconds for one answer, and until all is as before

CLASSES = ("QELTA_PCIDevice", "QELTA_PCIBridge", "QELTA_SSPCIController", "QELTA_OBDPCIController",
           "QELTA_DeviceInSlot", "QELTA_OnBoardDevice", "QELTA_SystemSlot", "QELTA_SystemBoard")
SOURCES = ("QELTA_PCIDevice", "QELTA_PCIBridge", "QELTA_SystemSlot", "QELTA_SystemBoard")


def parameter(name, element):
    return f'<IPARAMVALUE NAME="{name}">{element}</IPARAMVALUE>'


def class_name(name):
    return f'<CLASSNAME NAME="{name}"/>'


def value(text):
    return f"<VALUE>{text}</VALUE>"


def head(method, length, extra=()):
    lines = ("POST /cimom HTTP/1.1", "Host: localhost", 'Content-Type: application/xml; charset="utf-8"',
             "CIMOperation: MethodCall", f"CIMMethod: {method}", "CIMObject: root%2Fkavix", *length, *extra)
    return ("\r\n".join(lines) + "\r\n\r\n").encode()


def body(method, parameters):
    return ('<?xml version="1.0" encoding="utf-8"?><CIM CIMVERSION="2.0" DTDVERSION="2.0"><MESSAGE ID="1" '
            f'PROTOCOLVERSION="1.0"><SIMPLEREQ><IMETHODCALL NAME="{method}"><LOCALNAMESPACEPATH>'
            f'<NAMESPACE NAME="root"/><NAMESPACE NAME="kavix"/></LOCALNAMESPACEPATH>{parameters}</IMETHODCALL>'
            '</SIMPLEREQ></MESSAGE></CIM>').encode()


def request(method, parameters="", extra=()):
    text = body(method, parameters)
    return head(method, (f"Content-Length: {len(text)}",), extra) + text


def in_chunks(method, parameters):
    text = body(method, parameters)
    pieces = b"".join(b"%x\r\n%s\r\n" % (len(piece), piece) for piece in (text[:100], text[100:]))
    return head(method, ("Transfer-Encoding: chunked",)) + pieces + b"0\r\n\r\n"


class Client:
    """A connection."""

    def __init__(self, port):
        self.socket = socket.create_connection(("127.0.0.1", port), PATIENCE)
        self.received = b""

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.socket.close()

    def send(self, data):
        self.socket.sendall(data)

    def receive(self):
        """Status and body of one answer."""
        while b"\r\n\r\n" not in self.received:
            self._more()
        start, self.received = self.received.split(b"\r\n\r\n", 1)
        length = int(re.search(rb"\r\nContent-Length: (\d+)", start)[1])
        while len(self.received) < length:
            self._more()
        text, self.received = self.received[:length], self.received[length:]
        return int(start.split()[1]), text

    def reset(self):
        """Goes without a farewell."""
        self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))

    def _more(self):
        got = self.socket.recv(65536)
        if not got:
            raise ConnectionError("the server closed the connection")
        self.received += got


class Usage:
    """What a process has: descriptors, threads, bytes of memory."""

    def __init__(self, process):
        self.descriptors = len(os.listdir(f"/proc/{process}/fd"))
        self.threads = len(os.listdir(f"/proc/{process}/task"))
        with open(f"/proc/{process}/statm", encoding="ascii") as file:
            self.memory = int(file.read().split()[1]) * os.sysconf("SC_PAGESIZE")


class Endurance(unittest.TestCase):
    def setUp(self):
        # By default the C library keeps memory that was freed for each of its arenas apart.
        self.server = self.enterContext(wbem.served(wbem.sample("dell-t440"), MALLOC_ARENA_MAX=ARENAS))
        self.port = int(self.server.url.rsplit(":", 1)[1])

    def answer(self, question):
        with Client(self.port) as client:
            client.send(request(*question))
            return client.receive()

    def questions(self):
        """Operations of all kinds with their parameters."""
        found = [(operation, parameter("ClassName", class_name(name))) for name in CLASSES
                 for operation in ("EnumerateInstances", "EnumerateInstanceNames", "GetClass")]
        for name in SOURCES:
            _, text = self.answer(("EnumerateInstanceNames", parameter("ClassName", class_name(name))))
            names = re.findall(r"<INSTANCENAME .*?</INSTANCENAME>", text.decode(), re.DOTALL)
            self.assertTrue(names)
            for source in (names[0], names[-1]):
                found += [(operation, parameter("ObjectName", source)) for operation in
                          ("Associators", "AssociatorNames", "References", "ReferenceNames")]
                found += [(operation, parameter("InstanceName", source)) for operation in
                          ("GetInstance", "DeleteInstance")]
                found.append(("GetProperty",
                              parameter("InstanceName", source) + parameter("PropertyName", value("Tag"))))
        slots = parameter("ObjectName", class_name("QELTA_SystemSlot"))
        found += [("Associators", slots), ("ReferenceNames", slots), ("EnumerateClassNames", ""),
                  ("EnumerateClasses", ""),
                  ("EnumerateQualifiers", ""), ("GetQualifier", parameter("QualifierName", value("Key"))),
                  ("ExecQuery", parameter("QueryLanguage", value("WQL")) + parameter("Query", value("select"))),
                  ("OpenEnumerateInstances", ""), ("GetClass", parameter("ClassName", class_name("None"))),
                  ("EnumerateInstances", parameter("Nonsense", value("x")))]
        return found

    def check(self, client, question):
        self.assertEqual(client.receive(), self.first[question], question)

    # What clients do; each gives the number of requests that it made.

    def comes_and_goes(self, chance):
        question = chance.choice(self.asked)
        with Client(self.port) as client:
            client.send(request(*question, extra=("Connection: close",)))
            self.check(client, question)
        return 1

    def stays_for_several(self, chance):
        questions = chance.choices(self.asked, k=5)
        with Client(self.port) as client:
            for question in questions:
                client.send(request(*question))
                self.check(client, question)
        return len(questions)

    def asks_ahead(self, chance):
        questions = chance.choices(self.asked, k=3)
        with Client(self.port) as client:
            client.send(b"".join(request(*question) for question in questions))
            for question in questions:
                self.check(client, question)
        return len(questions)

    def sends_chunks(self, chance):
        question = chance.choice(self.asked)
        with Client(self.port) as client:
            client.send(in_chunks(*question))
            self.check(client, question)
        return 1

    def breaks_off(self, chance):
        text = request(*chance.choice(self.asked))
        with Client(self.port) as client:
            client.send(text[:chance.randrange(len(text))])
            if chance.random() < 0.5:
                client.reset()
        return 1

    def does_not_wait(self, chance):
        with Client(self.port) as client:
            client.send(request(*chance.choice(self.asked)))
            if chance.random() < 0.5:
                client.reset()
        return 1

    def is_silent(self, chance):
        with Client(self.port) as client:
            client.send(b"POST /cimom"[:chance.randrange(12)])
            time.sleep(chance.random() / 20)
        return 1

    def asks_badly(self, chance):
        status, text = chance.choice((
            (400, request("GetClass").replace(b"\r\n", b"\n")),
            (400, request("GetClass").replace(b"</SIMPLEREQ>", b"<SIMPLEREQ >")),
            (400, request("GetClass").replace(b"Content-Length", b"Content-Length: 1\r\nContent-Length")),
            (404, request("GetClass").replace(b"/cimom", b"/other")),
            (405, request("GetClass").replace(b"POST", b"GET")),
            (413, head("GetClass", ("Content-Length: 99999999",))),
            (421, request("GetClass").replace(b"localhost", b"page.example"))))
        with Client(self.port) as client:
            client.send(text)
            self.assertEqual(client.receive()[0], status, text)
        return 1

    def live(self, seed, requests):
        chance = random.Random(seed)
        ways = (self.comes_and_goes, self.stays_for_several, self.asks_ahead, self.sends_chunks, self.breaks_off,
                self.does_not_wait, self.is_silent, self.asks_badly)
        made = 0
        while made < requests:
            made += chance.choice(ways)(chance)
        return made

    def endure(self, seed, requests):
        with concurrent.futures.ThreadPoolExecutor(CLIENTS) as pool:
            return sum(pool.map(self.live, range(seed, seed + CLIENTS), itertools.repeat(requests // CLIENTS)))

    def settled(self, before):
        """The usage, once descriptors and threads are as few as before; or what there is when they do not become so."""
        until = time.monotonic() + PATIENCE
        while True:
            now = Usage(self.server.pid)
            if (now.descriptors, now.threads) == (before.descriptors, before.threads) or time.monotonic() > until:
                return now
            time.sleep(0.1)

    def test_answers_stay_the_same_and_nothing_is_kept(self):
        before = Usage(self.server.pid)
        self.asked = self.questions()
        self.first = {question: self.answer(question) for question in self.asked}
        self.assertEqual({status for status, _ in self.first.values()}, {200})
        made = self.endure(SEED, REQUESTS // 3)
        warm = self.settled(before)
        made += self.endure(SEED + CLIENTS, REQUESTS - REQUESTS // 3)
        after = self.settled(before)
        print(f"{made} requests by {CLIENTS} clients at a time; descriptors {before.descriptors}, {warm.descriptors}, "
              f"{after.descriptors}; threads {before.threads}, {warm.threads}, {after.threads}; "
              f"KiB {before.memory >> 10}, {warm.memory >> 10}, {after.memory >> 10} (at first, warm, in the end)")
        self.assertEqual((after.descriptors, after.threads), (before.descriptors, before.threads))
        self.assertLess(after.memory, warm.memory + GROWTH)


if __name__ == "__main__":
    unittest.main(verbosity=2)
