"""Servers that tests make up: they answer HTTP requests as they are told to, TLS in front if wanted."""

import contextlib
import os
import re
import socket
import subprocess
import threading

MESSAGE = ('<?xml version="1.0" encoding="utf-8"?><CIM CIMVERSION="2.0" DTDVERSION="2.0"><MESSAGE ID="1" '
           'PROTOCOLVERSION="1.0"><SIMPLERSP><IMETHODRESPONSE NAME="{method}">{contents}</IMETHODRESPONSE></SIMPLERSP>'
           "</MESSAGE></CIM>")
SLOT = ('<VALUE.NAMEDINSTANCE><INSTANCENAME CLASSNAME="QELTA_SystemSlot"><KEYBINDING NAME="Tag"><KEYVALUE '
        'VALUETYPE="string">System Slot 5</KEYVALUE></KEYBINDING></INSTANCENAME><INSTANCE CLASSNAME="QELTA_SystemSlot">'
        '<PROPERTY NAME="Tag" TYPE="string"><VALUE>System Slot 5</VALUE></PROPERTY><PROPERTY NAME="SlotDesignation" '
        'TYPE="string"><VALUE>{designation}</VALUE></PROPERTY></INSTANCE></VALUE.NAMEDINSTANCE>')


def message(contents, method="EnumerateInstances"):
    return MESSAGE.format(method=method, contents=contents).encode()


def slots(*designations):
    """An answer with so many slots."""
    objects = "".join(SLOT.format(designation=each) for each in designations)
    return message(f"<IRETURNVALUE>{objects}</IRETURNVALUE>")


def http(body, status="200 OK", headers=()):
    """A whole response."""
    head = [f"HTTP/1.1 {status}", "Content-Type: application/xml", f"Content-Length: {len(body)}", *headers, "", ""]
    return "\r\n".join(head).encode() + body


def read_request(connection):
    """The head and the body of a request; None where the client has gone."""
    data = b""
    while b"\r\n\r\n" not in data:
        piece = connection.recv(65536)
        if not piece:
            return None
        data += piece
    head, body = data.split(b"\r\n\r\n", 1)
    length = int(re.search(rb"(?i)content-length: (\d+)", head).group(1))
    while len(body) < length:
        body += connection.recv(65536)
    return head.decode(), body.decode()


class Server:
    """Hands each connection to `behave`, which gets the socket, in a thread of its own."""

    def __init__(self, behave, tls=None):
        self.behave, self.tls = behave, tls
        self.connections = 0
        self.listener = socket.create_server(("127.0.0.1", 0), backlog=64)
        self.port = self.listener.getsockname()[1]
        self.thread = threading.Thread(target=self._accept, daemon=True)

    def _accept(self):
        while True:
            try:
                connection, _ = self.listener.accept()
            except OSError:
                return
            self.connections += 1
            threading.Thread(target=self._serve, args=(connection,), daemon=True).start()

    def _serve(self, connection):
        # The client goes away when it has had enough.
        with contextlib.suppress(OSError):
            if self.tls:
                connection = self.tls.wrap_socket(connection, server_side=True)
            with connection:
                self.behave(connection)

    def __enter__(self):
        self.thread.start()
        return self

    def __exit__(self, *_):
        self.listener.shutdown(socket.SHUT_RDWR)
        self.listener.close()
        self.thread.join()

    def url(self, scheme="http", host="127.0.0.1"):
        return f"{scheme}://{host}:{self.port}"


def answering(response):
    """Behaves well: every request gets that response, or what a function makes of head and body."""
    def behave(connection):
        while request := read_request(connection):
            connection.sendall(response(*request) if callable(response) else response)
    return behave


class Certificates:
    """Made by openssl(1) in a directory: of an authority, and of servers that it vouches for."""

    def __init__(self, directory, name="authority"):
        self.directory = directory
        self.name = name
        self._openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", f"{name}.key", "-out", f"{name}.pem",
                      "-subj", f"/CN={name}", "-days", "2")
        self.file = os.path.join(directory, f"{name}.pem")

    def _openssl(self, *arguments):
        subprocess.run(["openssl", *arguments], cwd=self.directory, check=True, capture_output=True)

    def server(self, name, hosts, days=2):
        """A file with certificate and key for these names and addresses; it has expired where days are negative."""
        self._openssl("req", "-newkey", "rsa:2048", "-nodes", "-keyout", f"{name}.key", "-out", f"{name}.csr", "-subj",
                      f"/CN={name}")
        with open(os.path.join(self.directory, "names"), "w", encoding="utf-8") as file:
            file.write("subjectAltName=" + hosts)
        self._openssl("x509", "-req", "-in", f"{name}.csr", "-CA", f"{self.name}.pem", "-CAkey", f"{self.name}.key",
                      "-CAcreateserial", "-days", str(days), "-extfile", "names", "-out", f"{name}.crt")
        file = os.path.join(self.directory, f"{name}.pem")
        with open(file, "w", encoding="utf-8") as joined:
            for part in ("crt", "key"):
                with open(os.path.join(self.directory, f"{name}.{part}"), encoding="utf-8") as source:
                    joined.write(source.read())
        return file
