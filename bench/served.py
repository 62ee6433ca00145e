"""cimhost serve: latency of small requests over the provider's own, and requests per second."""

import subprocess
from contextlib import contextmanager

import measure

GETS = (("QELTA_SystemSlot", "Tag", "System Slot 5", 2.0), ("QELTA_SystemBoard", "DeviceID", "SystemBoard1", 2.0))
SAMPLE, HOST_NAME = "dell-t440", "t440.example"


def http_request(class_name, key, value):
    keys = {"SystemCreationClassName": "QELTA_ASSETID", "SystemName": HOST_NAME, "CreationClassName": class_name, key: value}
    bindings = "".join(f'<KEYBINDING NAME="{name}"><KEYVALUE VALUETYPE="string">{text}</KEYVALUE></KEYBINDING>'
                       for name, text in keys.items())
    body = ('<?xml version="1.0" encoding="utf-8"?><CIM CIMVERSION="2.0" DTDVERSION="2.0"><MESSAGE ID="1" '
            'PROTOCOLVERSION="1.0"><SIMPLEREQ><IMETHODCALL NAME="GetInstance"><LOCALNAMESPACEPATH><NAMESPACE NAME="root"/>'
            '<NAMESPACE NAME="kavix"/></LOCALNAMESPACEPATH><IPARAMVALUE NAME="InstanceName">'
            f'<INSTANCENAME CLASSNAME="{class_name}">{bindings}</INSTANCENAME></IPARAMVALUE></IMETHODCALL></SIMPLEREQ>'
            '</MESSAGE></CIM>')
    return ("POST /cimom HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: application/xml; charset=utf-8\r\n"
            "CIMOperation: MethodCall\r\nCIMMethod: GetInstance\r\nCIMObject: root/kavix\r\n"
            f"Content-Length: {len(body)}\r\n\r\n{body}").encode()


@contextmanager
def server(place, host):
    process = subprocess.Popen(["setpriv", "--pdeathsig", "TERM", place.build / "bin/cimhost", "serve", "--port", "0", "--host", host],
                               stdout=subprocess.PIPE, text=True)
    try:
        line = process.stdout.readline()
        if not line.startswith("Listening on "):
            raise measure.Failed(f"cimhost serve says: {line}")
        yield line.strip().rsplit(":", 1)[1]
    finally:
        process.terminate()
        process.communicate(timeout=30)


def remote(report, place, host, port, rounds):
    """The command line as client of a server, beside itself with the provider in its own process."""
    cimhost = str(place.build / "bin/cimhost")
    report.section("cimhost as remote client, seconds of the whole process beside cimhost with a provider of its own",
                   "--server", "--host")
    if "--server " not in measure.output_of([cimhost, "slots", "--help"]).decode():
        report.not_measured("the remote client", "this cimhost is none")
        return
    theirs, own = [cimhost, "slots", "--server", f"http://127.0.0.1:{port}"], [cimhost, "slots", "--host", host]
    if measure.output_of(theirs) != measure.output_of(own):
        raise measure.Failed("cimhost shows other slots as a client")
    times = [(measure.wall_seconds(theirs), measure.wall_seconds(own)) for _ in range(rounds)]
    report.compare("slots", measure.Pair(*zip(*times)))


def served(report, place, quick):
    host = str(place.build / "samples" / SAMPLE)
    program = str(place.build / "bin/bench_served")
    count = 50 if quick else 1000
    emulated = {"LD_PRELOAD": str(place.build / "lib/libemulatedhost.so"), "EMULATED_HOST": host}
    with server(place, host) as port:
        remote(report, place, host, port, 3 if quick else 31)
        report.section(f"cimhost serve --host {SAMPLE}, get: seconds beside the provider's own on the same host", "served",
                       "own", short="cimhost serve")
        for class_name, key, value, goal in GETS:
            file = place.folder / class_name
            file.write_bytes(http_request(class_name, key, value))
            own = [program, "own", str(place.library), class_name, key, value, str(count)]
            load = [program, "load", port, str(file), str(count), "1"]
            rounds = [(measure.json_of(load)["median"], measure.json_of(own, emulated)["median"])
                      for _ in range(1 if quick else 5)]
            pair = measure.Pair(*zip(*rounds))
            report.compare(f"{class_name}, one client", pair, goal)
        report.section("cimhost serve: get QELTA_SystemSlot by several clients at a time, each on its connection",
                       "median", "requests/s", "ratio")
        alone = None
        for clients in (1, 4) if quick else (1, 4, 16, 64):
            told = measure.json_of([program, "load", port, str(place.folder / GETS[0][0]),
                                    str(max(count // clients, 10)), str(clients)])
            alone = alone or told["median"]
            report.row(f"{clients} client{'s' * (clients > 1)}", told["median"],
                       f"{told['requests'] / told['seconds']:,.0f}", told["median"] / alone)
