#!/usr/bin/env python3
"""Writes the first inputs of the fuzz targets, made of the sample machines, and the words of their dictionaries.

Usage: seeds.py SAMPLES FOLDER

FOLDER/TARGET gets the inputs, FOLDER/TARGET.dict the words, FOLDER/TARGET.options what libFuzzer is told. The inputs kept
from long runs, those of corpus/TARGET, a line of base64 each, are written there too.
"""
import base64
import pathlib
import re
import struct
import sys

SAMPLES, FOLDER = map(pathlib.Path, sys.argv[1:3])
KEPT = pathlib.Path(__file__).parent / "corpus"
# The longest inputs, in bytes: what is longer is slow and says nothing new.
LONGEST = {"smbios": 512, "bmc": 256, "proc": 512, "catalogue": 400, "association": 512, "objects": 300, "cimxml": 3000,
           "answers": 4000, "texts": 300, "faultscript": 1500}
CLASSES = ["QELTA_PCIDevice", "QELTA_PCIBridge", "QELTA_DeviceInSlot", "QELTA_SystemSlot", "QELTA_SystemBoard",
           "QELTA_OnBoardDevice", "QELTA_SSPCIController", "QELTA_OBDPCIController"]
KEYS = {"Tag": "System Slot 5", "DeviceID": "PCI Bus 5, device 5, function 1", "SystemName": "rack7",
        "CreationClassName": "QELTA_SystemSlot", "SystemCreationClassName": "QELTA_ASSETID"}


def samples():
    return sorted(path for path in SAMPLES.iterdir() if path.is_dir())


def slot(number, name, characteristics=0x0C):
    return bytes([9, 17, number, 0, 1, 6, 5, 3, 3, number, 0, characteristics, 2, 0, 0, 0, 0]) + name + b"\0\0"


def smbios():
    for sample in samples():
        table = (sample / "bmc/smbios-table").read_bytes()
        # The slots with what stands around them; whole tables would be slow.
        for place in [match.start() for match in re.finditer(rb"\x09[\x0d-\x18]..\x01", table, re.S)][:4]:
            yield b"\0" + table[:28] + struct.pack("<HB", 8, 0x24) + table[place:place + 200]
    head = b"_SM_" + bytes(24)
    last = b"\x7f\x04\0\0\0\0"
    short = b"\x09\x0d\1\0\1\6\5\3\3\7\0\xff\xff" + b"one\0two\0\0"
    yield b"\0" + head + struct.pack("<HB", 4, 0x24) + slot(5, b"PCI5") + slot(3, b"PCI3") + slot(9, b"") + last
    yield b"\xff" + head + struct.pack("<HB", 3, 0x24) + slot(5, b"PCI5") + last
    yield b"\0" + head + struct.pack("<HB", 3, 0x24) + short + last


def bmc():
    for operation in range(7):
        for which in range(8):
            yield bytes([0, 0, operation, which]) + bytes(5)
    for operation in range(8):
        for options in 0, 2, 0xC0:
            yield bytes([options, 0x80, 0, operation, 4, 99, 0xFF, 7, 0])
        for fault in range(16):  # at the open, the size, a read, the close
            for place in (0, 1, 2, 5):
                yield bytes([0, 0x80, 0, operation, 4, 99, 0, 0, 0]) + bytes(place) + bytes([64 + fault, 0xD, 1, 0])
    yield bytes([4, 0, 1, 3, 0, 0, 0, 0, 0, 0x80, 0, 0, 0])
    yield bytes([0xC0, 0, 1, 3, 0, 0, 0, 0, 0, 0, 0, 0x42, 0xD])


def proc():
    for sample in samples():
        lines = (sample / "proc/bus/pci/devices").read_bytes().splitlines(keepends=True)
        spaces = [path.read_bytes()[:64] for path in sorted((sample / "proc/bus/pci").glob("*/*"))]
        for first in range(0, min(len(lines), 12), 4):
            pool = b"".join(spaces[first:first + 4])
            yield bytes([first & 63]) + struct.pack("<H", len(pool)) + pool + b"".join(lines[first:first + 4])
    for length in 0, 63, 64, 65, 200, 255:
        yield bytes([2, length, 64, 0]) + bytes(range(64)) + b"0018\t80861234\t5\n"
        yield bytes([0, 64, 0, 0xFD, length]) + bytes(range(2, 64)) + b"0018\t80861234\t5\n"
    yield b"\x05" + b"\x60\0" + struct.pack("<H", 64) + bytes(range(64)) + b"0018\t80861234\t5\n" * 4


def catalogue():
    vendors = b'<vendor id="8086">\n <name>Intel</name>\n <device id="8087"><name>82557</name></device>\n</vendor>\n'
    classes = (b"C 02  Network controller\n\t00  Ethernet controller\n\t80  Network controller\n"
               b"C 06  Bridge\n\t04  PCI bridge\n")
    for options in (0, 0x80, 0x81, 0x82, 0x84, 0x88, 0x90):
        for code, subclass in ((2, 0), (6, 4), (2, 0x80)):
            head = bytes([options]) + struct.pack("<HBB", 0x8086, code, subclass)
            yield head + vendors + b"\1" + classes
            yield head + vendors.replace(b"\n", b"\r\n") + b"\1" + classes.replace(b"\n", b"\r\n")
    yield bytes([0x80]) + struct.pack("<HBB", 0x8086, 2, 0) + b'vendor id="8086"<name>x\1C 02\r\n00'


def association():
    keys = "".join(f"{name}={text}\n" for name, text in KEYS.items())
    for operation in range(11):
        for source in CLASSES:
            yield bytes([operation, 0, 0, 0, 0, 1, 0]) + f"{source}\n\n\n\n\n{keys}".encode()
    for operation in range(3, 7):
        for association_class in CLASSES[2], CLASSES[5]:
            for role in "antecedent", "dependent":
                yield bytes([operation, 0, 0, 0, 0, 1, 0]) + (
                    f"qelta_pcidevice\n{association_class}\n{CLASSES[3]}\n{role}\n{role}\n{keys}".encode())
    for function in range(0, 27, 2):
        for effect in 1, 2, 3:
            for nth in 0, 7, 60:
                yield bytes([4 + function % 3, 1, effect, function, nth, 1, 0]) + f"{CLASSES[3]}\n\n\n\n\n{keys}".encode()
    for tag in "", "5", "System Slot ", "System Slot 05x":
        for operation in 3, 5:
            yield bytes([operation, 0, 0, 0, 0, 1, 0]) + f"{CLASSES[3]}\n\n\n\n\nTag={tag}\n".encode()
    for upcall in range(1, 255, 17):
        yield bytes([4, 1, 0, 0, 0, 1, upcall]) + f"{CLASSES[6]}\n\n\n\n\n{keys}".encode()


def objects():
    for options in 0, 1, 2, 4, 8:
        for kind in range(20):
            yield bytes([options, 0, 0, 0]) + bytes([kind, 0, 4, 1, 2, 3, 4, 5, 16, 0, 17, 0, 18, 0, 19, 1]) * 2
    for function in range(27):
        for effect in 1, 2, 3:
            yield bytes([0, effect, function, 0]) + b"".join(bytes([kind, 0, 2, 1, 2, 3]) for kind in range(20))


def parameter(name, element):
    return f'<IPARAMVALUE NAME="{name}">{element}</IPARAMVALUE>'


def value(name, text):
    return parameter(name, f"<VALUE>{text}</VALUE>")


def class_name(name="ClassName", of="QELTA_SystemSlot"):
    return parameter(name, f'<CLASSNAME NAME="{of}"/>')


def name_element(of="QELTA_SystemSlot", bindings=None):
    if bindings is None:
        bindings = "".join(binding(name, f'<KEYVALUE VALUETYPE="string">{text}</KEYVALUE>') for name, text in KEYS.items())
    return f'<INSTANCENAME CLASSNAME="{of}">{bindings}</INSTANCENAME>'


def binding(name, element):
    return f'<KEYBINDING NAME="{name}">{element}</KEYBINDING>'


def place(*parts):
    parts = "".join(f'<NAMESPACE NAME="{part}"/>' for part in parts)
    return f"<LOCALNAMESPACEPATH>{parts}</LOCALNAMESPACEPATH>"


def envelope(call):
    return ('<CIM CIMVERSION="2.0" DTDVERSION="2.0"><MESSAGE ID="1" PROTOCOLVERSION="1.0"><SIMPLEREQ>'
            f"{call}</SIMPLEREQ></MESSAGE></CIM>")


def message(operation, parameters, namespace="kavix"):
    return envelope(f'<IMETHODCALL NAME="{operation}">{place("root", namespace)}{parameters}</IMETHODCALL>')


def flags(*names):
    return "".join(value(name, "true") for name in names)


def cimxml():
    yield from instance_requests()
    yield from association_requests()
    for operation in "GetClass", "EnumerateClasses", "EnumerateClassNames", "DeleteClass":
        yield message(operation, class_name() + flags("DeepInheritance"))
        yield message(operation, class_name() + flags("LocalOnly", "IncludeQualifiers", "IncludeClassOrigin"))
    yield message("GetQualifier", value("QualifierName", "Key"))
    for namespace in "interop", "PG_InterOp":
        yield message("EnumerateInstances", class_name(of="CIM_Namespace"), namespace)
    # Texts that come back, those that XML does not have included.
    for text in "caf\xc3\xa9", "a\rb\tc\x0b\x0c\x7f\xff\xfe<&]]>", "\xef\xbf\xbf\xed\xa0\x80":
        yield f"hostname:{text}\n\n" + message("EnumerateInstanceNames", class_name())
        yield f"slot:{text}\n\n" + message("EnumerateInstances", class_name())
    listed = message("EnumerateQualifiers", "")
    yield listed
    yield "Accept:text/xml, */*;q=0.1\nAccept-Charset:utf-8\nTE:trailers\n\n" + listed
    yield ("method:M-POST\nMan:http://www.dmtf.org/cim/mapping/http/v1.0 ; ns=73\n73-CIMOperation:MethodCall\n"
           "73-CIMMethod:EnumerateQualifiers\n73-CIMObject:root%2Fkavix\n\n" + listed)
    yield '<?xml version="1.0"?><!DOCTYPE CIM [<!ENTITY a "b">]>' + listed.replace("Qualifiers", "&a;&#x41;")
    yield listed.replace("</IMETHODCALL>", "<!-- --><![CDATA[x]]></IMETHODCALL>")
    instance = f'<LOCALINSTANCEPATH>{place("root", "kavix")}{name_element()}</LOCALINSTANCEPATH>'
    call = f'<METHODCALL NAME="Reset">{instance}<PARAMVALUE NAME="a"><VALUE>1</VALUE></PARAMVALUE></METHODCALL>'
    yield 'CIMObject:root/kavix:QELTA_SystemSlot.Tag="System Slot 5"\n\n' + envelope(call)


def instance_requests():
    some = parameter("PropertyList", "<VALUE.ARRAY><VALUE>Number</VALUE><VALUE>Tag</VALUE></VALUE.ARRAY>")
    name = parameter("InstanceName", name_element())
    of_property = name + value("PropertyName", "Number")
    whole = ('<INSTANCE CLASSNAME="QELTA_SystemSlot"><PROPERTY NAME="Number" TYPE="uint16"><VALUE>5</VALUE></PROPERTY>'
             '<PROPERTY.ARRAY NAME="OperationalStatus" TYPE="uint16"><VALUE.ARRAY><VALUE>2</VALUE></VALUE.ARRAY>'
             "</PROPERTY.ARRAY></INSTANCE>")
    for each in CLASSES:
        yield message("EnumerateInstances", class_name(of=each))
        yield message("EnumerateInstanceNames", class_name(of=each))
    yield message("EnumerateInstances", class_name() + flags("DeepInheritance", "IncludeClassOrigin") + some)
    yield message("GetInstance", name + flags("LocalOnly", "IncludeQualifiers", "IncludeClassOrigin") + some)
    yield message("GetInstance", name)
    reference = f'<VALUE.REFERENCE><LOCALINSTANCEPATH>{place("root")}{name_element()}</LOCALINSTANCEPATH></VALUE.REFERENCE>'
    for element in (name_element("QELTA_DeviceInSlot", binding("Antecedent", reference)),
                    name_element(bindings='<KEYVALUE VALUETYPE="numeric">0x10</KEYVALUE>')):
        yield message("GetInstance", parameter("InstanceName", element))
    yield message("GetProperty", of_property)
    yield message("SetProperty", of_property + value("NewValue", "5"))
    yield message("CreateInstance", parameter("NewInstance", whole))
    named = f"<VALUE.NAMEDINSTANCE>{name_element()}{whole}</VALUE.NAMEDINSTANCE>"
    yield message("ModifyInstance", parameter("ModifiedInstance", named))
    yield message("DeleteInstance", name)
    yield message("ExecQuery", value("QueryLanguage", "WQL") + value("Query", "select * from x"))


def association_requests():
    source = parameter("ObjectName", name_element())
    filters = (class_name("AssocClass", "QELTA_DeviceInSlot") + class_name("ResultClass", "QELTA_SSPCIController") +
               value("Role", "Antecedent") + value("ResultRole", "Dependent"))
    of_references = class_name("ResultClass", "QELTA_DeviceInSlot")
    for operation in "Associators", "AssociatorNames", "References", "ReferenceNames":
        yield message(operation, source)
        yield message(operation, source + (filters if operation.startswith("A") else of_references))
        yield message(operation, parameter("ObjectName", '<CLASSNAME NAME="QELTA_SystemSlot"/>'))


def answer(number, operation, contents):
    return (chr(number) + '<?xml version="1.0"?><CIM CIMVERSION="2.0" DTDVERSION="2.0"><MESSAGE ID="1" PROTOCOLVERSION="1.0">'
            f'<SIMPLERSP><IMETHODRESPONSE NAME="{operation}">{contents}</IMETHODRESPONSE></SIMPLERSP></MESSAGE></CIM>')


def answers():
    """Each kind of object in each kind of answer; real ones are kept in the corpus."""
    types = (("boolean", "TRUE"), ("string", "a&lt;b"), ("char16", "x"), ("uint8", "255"), ("sint16", "-5"),
             ("uint32", "0x10"), ("sint64", "-9"), ("uint64", "18446744073709551615"), ("real32", "1.5"),
             ("real64", "-1e300"), ("datetime", "20261122000000.000000+000"))
    properties = "".join(f'<PROPERTY NAME="P{kind}" TYPE="{kind}"><VALUE>{text}</VALUE></PROPERTY>'
                         f'<PROPERTY.ARRAY NAME="A{kind}" TYPE="{kind}"><VALUE.ARRAY><VALUE>{text}</VALUE><VALUE.NULL/>'
                         '</VALUE.ARRAY></PROPERTY.ARRAY>' for kind, text in types)
    slot_name = name_element("QELTA_SystemSlot", binding("SystemName", '<KEYVALUE VALUETYPE="string">h</KEYVALUE>') +
                             binding("Tag", '<KEYVALUE VALUETYPE="string">System Slot 5</KEYVALUE>'))
    path = (f'<INSTANCEPATH><NAMESPACEPATH><HOST>h</HOST>{place("root", "kavix")}</NAMESPACEPATH>{slot_name}'
            "</INSTANCEPATH>")
    reference = f"<VALUE.REFERENCE>{path}</VALUE.REFERENCE>"
    slot_instance = ('<INSTANCE CLASSNAME="QELTA_SystemSlot"><PROPERTY NAME="Tag" TYPE="string"/>'
                     '<PROPERTY NAME="CurrentUsage" TYPE="uint16"><VALUE>4</VALUE></PROPERTY>'
                     '<PROPERTY.ARRAY NAME="ConnectorType" TYPE="uint16"><VALUE.ARRAY><VALUE>177</VALUE></VALUE.ARRAY>'
                     f'</PROPERTY.ARRAY><PROPERTY.REFERENCE NAME="R">{reference}</PROPERTY.REFERENCE>')
    for content in slot_instance + "</INSTANCE>", slot_instance + properties + "</INSTANCE>":
        named = f"<VALUE.NAMEDINSTANCE>{slot_name}{content}</VALUE.NAMEDINSTANCE>"
        yield answer(0, "EnumerateInstances", f"<IRETURNVALUE>{named}</IRETURNVALUE>")
        with_path = f"<VALUE.OBJECTWITHPATH>{path}{content}</VALUE.OBJECTWITHPATH>"
        yield answer(2, "Associators", f"<IRETURNVALUE>{with_path}</IRETURNVALUE>")
        yield answer(4, "References", f"<IRETURNVALUE>{with_path}{with_path}</IRETURNVALUE>")
    yield answer(1, "EnumerateInstanceNames", f"<IRETURNVALUE>{slot_name}</IRETURNVALUE>")
    yield answer(3, "AssociatorNames", f"<IRETURNVALUE><OBJECTPATH>{path}</OBJECTPATH></IRETURNVALUE>")
    yield answer(5, "ReferenceNames", f"<IRETURNVALUE><OBJECTPATH>{path}</OBJECTPATH></IRETURNVALUE>")
    yield answer(0, "EnumerateInstances", '<ERROR CODE="6" DESCRIPTION="none"/>')


def texts():
    for path in ('root/kavix:QELTA_SystemSlot.Tag="System Slot 5"', 'A.B=-3,C=18446744073709551615,D=1.5e3,E=TRUE,F=NULL',
                 'QELTA_DeviceInSlot.Antecedent="root/kavix:QELTA_SystemSlot.Tag=\\"System Slot 5\\"",Dependent="a\\\\b"',
                 "PCI Bus 255, device 31, function 7", "PCI Bus 99999999999, device -1, function 4294967296",
                 "0x1aF:2b", "a,b;;c"):
        yield "\x07\x10" + path


def faultscript():
    yield '{ "readLimit": 58, "endOfFile": true, "faults": [] }'
    for on in "open", "read", "write", "writeDefaults", "close", "querySize", "remove", "any":
        for fault in ('"completionCode": "0xC3"', '"length": 3', '"netfn": 1', '"command": "0x90"', '"receiveType": 2',
                      '"countField": 65535', '"data": [0, 1, "0xFF"]', '"receiveFailures": 2, "receiveErrno": 4',
                      '"delayMs": 4999', '"pollErrno": 4', '"timeout": true', '"vanish": true'):
            yield f'{{ "faults": [ {{ "on": "{on}", "from": 1, "times": 2, {fault} }} ] }}'
    yield '{ "faults": [ { "on": "deviceOpen", "missing": true } ] }'


def attributes(*texts):
    """The words of a text, for a dictionary."""
    return sorted({word for text in texts for word in re.findall(r"[A-Za-z_][A-Za-z0-9_.]{2,40}", text)})


def words(name, inputs):
    text = [each if isinstance(each, str) else each.decode("latin-1") for each in inputs]
    if name in ("cimxml", "answers"):
        return attributes(*text) + ["&#65;", "&lt;", "<![CDATA[", "]]>", "<!--", "-->", "NULL", "0x1F", "-1", "root/kavix"]
    if name in ("faultscript", "texts"):
        return attributes(*text) + ["0x", "-1", "1e9", "\\u0000", "18446744073709551615", "\\\\", ".Tag=", "root/kavix:"]
    if name == "association":
        return CLASSES + list(KEYS) + list(KEYS.values()) + ["antecedent", "dependent", "=", "Number"]
    if name == "catalogue":
        return ['vendor id="', 'device id="', "<name>", "</name>", "C 02", "C 06", "\\x0d\\x0a", "\\x0a", "8086", "8087"]
    if name == "objects":
        return ["\\x08\\xff\\xff\\xff\\xff\\xff\\xff\\xff\\xff"]
    if name == "proc":
        return ["\\x09", "\\x0a", "ffffffff", "fe00", "80861234", "\\x06", "\\x01"]
    if name == "smbios":
        return ["\\x09\\x0d", "\\x09\\x11", "\\x00\\x00", "\\x7f\\x04", "\\xff\\xff"]
    return ["\\xd9\\x7e\\x00", "\\x90", "\\x2f", "\\x00\\x00\\x00\\x00", "\\xa0", "\\xff\\xff"]


def kept(name):
    path = KEPT / name
    return [base64.b64decode(line) for line in path.read_text().split()] if path.exists() else []


def main():
    for name, longest in LONGEST.items():
        inputs = list(globals()[name]())
        folder = FOLDER / name
        folder.mkdir(parents=True, exist_ok=True)
        for number, content in enumerate(inputs + kept(name)):
            (folder / f"{number:04}").write_bytes(content.encode("latin-1") if isinstance(content, str) else content)
        options = f"-max_len={longest}\n-dict={FOLDER.resolve()}/{name}.dict\n"
        (FOLDER / f"{name}.options").write_text(options)
        quoted = [word if "\\x" in word else word.replace("\\", "\\\\").replace('"', '\\"') for word in words(name, inputs)]
        (FOLDER / f"{name}.dict").write_text("".join(f'"{word}"\n' for word in quoted if word))


main()
