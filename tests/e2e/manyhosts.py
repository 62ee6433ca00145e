"""A thousand object managers in one process: each at a loopback address of its own, with answers recorded from
`cimhost serve`, in which the host's name is its own. Some are slow, silent, gone, or break off in their answer."""

import asyncio
import http.client
import multiprocessing
import re
import resource

import badserver

CLASSES = ("QELTA_SystemBoard", "QELTA_PCIDevice", "QELTA_PCIBridge", "QELTA_SystemSlot")
SLOW = 0.5  # seconds for each answer
CONDITIONS = ("gone", "silent", "torn", "garbled", "slow")

_REQUEST = ('<CIM CIMVERSION="2.0" DTDVERSION="2.0"><MESSAGE ID="1" PROTOCOLVERSION="1.0"><SIMPLEREQ><IMETHODCALL '
            'NAME="EnumerateInstances"><LOCALNAMESPACEPATH><NAMESPACE NAME="root"/><NAMESPACE NAME="kavix"/>'
            '</LOCALNAMESPACEPATH><IPARAMVALUE NAME="ClassName"><CLASSNAME NAME="{}"/></IPARAMVALUE></IMETHODCALL>'
            "</SIMPLEREQ></MESSAGE></CIM>")


def record(place):
    """What the server there answers about each class."""
    answers = {}
    for name in CLASSES:
        connection = http.client.HTTPConnection(place)
        connection.request("POST", "/cimom", _REQUEST.format(name),
                           {"Content-Type": "application/xml", "CIMOperation": "MethodCall",
                            "CIMMethod": "EnumerateInstances", "CIMObject": "root/kavix"})
        answers[name] = connection.getresponse().read()
        connection.close()
    return answers


def address(number):
    return f"127.{number // 62500 + 1}.{number // 250 % 250}.{number % 250 + 1}"


def name(number):
    return f"node{number:06}.example"


def condition(number, every):
    """Of each `every` hosts five are ill, one in each way."""
    return CONDITIONS[number % every] if number % every < len(CONDITIONS) else "healthy"


async def _answer(number, ill, answers, original, reader, writer):
    try:
        while True:
            head = await reader.readuntil(b"\r\n\r\n")
            body = await reader.readexactly(int(re.search(rb"(?i)content-length: (\d+)", head).group(1)))
            asked = re.search(rb'NAME="(QELTA_\w+)"', body).group(1).decode()
            if ill == "silent":
                await reader.read()
                return
            if ill == "slow":
                await asyncio.sleep(SLOW)
            answer = answers[asked].replace(original, name(number).encode())
            if ill == "garbled" and asked == "QELTA_SystemSlot":
                answer = answer.replace(b"</INSTANCE>", b"</INSTANCES>")
            response = badserver.http(answer)
            if ill == "torn" and asked == "QELTA_PCIBridge":
                response = response[:len(response) // 2]
            writer.write(response)
            await writer.drain()
            if ill == "torn" and asked == "QELTA_PCIBridge":
                return
    except (asyncio.IncompleteReadError, ConnectionError):
        pass
    finally:
        writer.close()


def _serve(count, every, answers, original, ready):
    most = resource.getrlimit(resource.RLIMIT_NOFILE)[1]
    resource.setrlimit(resource.RLIMIT_NOFILE, (most, most))

    async def main():
        servers, port = [], 0
        for number in range(count):
            ill = condition(number, every)
            if ill == "gone":
                continue

            async def behave(reader, writer, number=number, ill=ill):
                await _answer(number, ill, answers, original, reader, writer)

            servers.append(await asyncio.start_server(behave, address(number), port, limit=1 << 20))
            port = servers[0].sockets[0].getsockname()[1]
        ready.put(port)
        await asyncio.Event().wait()

    asyncio.run(main())


class ManyHosts:
    """While the context lasts; `urls` are theirs by number, as a list of servers has them."""

    def __init__(self, count, every, answers, original):
        self.count = count
        self._ready = multiprocessing.Queue()
        self._process = multiprocessing.Process(target=_serve, daemon=True,
                                                args=(count, every, answers, original, self._ready))

    def __enter__(self):
        self._process.start()
        port = self._ready.get(timeout=60)
        self.urls = [f"http://{address(number)}:{port}" for number in range(self.count)]
        return self

    def __exit__(self, *_):
        self._process.terminate()
        self._process.join()
