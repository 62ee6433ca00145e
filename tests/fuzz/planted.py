#!/usr/bin/env python3
"""Plants faults in a copy of the tree, one at a time, and tells how soon the fuzz targets find them.

The copy has a build of its own. Of each fault it prints the target, what was planted, and the seconds and executions until
it was found; the status is 1 where one was not, in two minutes.
"""
import argparse
import pathlib
import re
import shutil
import subprocess
import time

TOP = pathlib.Path(__file__).resolve().parents[2]
LIMIT = 120  # seconds

# target, file, what stands there, what is planted, its kind
FAULTS = [
    ("smbios", "slots/tslotinfo.cpp", "visited < count; ++visited", "visited <= count; ++visited",
     "bound off by one: the last structure is a slot too"),
    ("smbios", "ipmi/smbios.cpp", "bool inside() const { return left() >= 2; }", "bool inside() const { return left() >= 1; }",
     "bound off by one: a string set is read past the end"),
    ("smbios", "slots/tslotinfo.cpp", "std::string(text, strnlen(text, limit))", "std::string(text, limit ? strlen(text) : 0)",
     "clamp of a text left out"),
    ("smbios", "ipmi/smbios.cpp", "left() < 2 || left() < structure[1] + 2", "left() < structure[1] + 2",
     "bound left out: a structure of one byte"),
    ("bmc", "ipmi/IpmiDataStore.cpp", "mymin(little16(&answer.bytes[4]), count)", "little16(&answer.bytes[4])",
     "clamp of a count left out"),
    ("bmc", "ipmi/kcs.cpp", "while (now() - start < kReceiveRetrySeconds)", "while (now() - start < 2 * kReceiveRetrySeconds)",
     "wait without its bound"),
    ("bmc", "ipmi/IpmiDataStore.cpp", "if (emptyAnswers > kMaxEmptyAnswers) break;", "if (emptyAnswers > 1u << 30) break;",
     "exchanges without their bound"),
    ("bmc", "ipmi/kcs.cpp", "received.msg.netfn == (netfn | 1) &&", "received.msg.netfn != 0 &&",
     "a response to another request is taken"),
    ("bmc", "ipmi/IpmiDataStore.cpp", "if (!withoutDevice) disconnect_kcs();", "if (!withoutDevice && result == 0) disconnect_kcs();",
     "descriptor left open after a failure"),
    ("bmc", "ipmi/IpmiDataStore.cpp", "return Read(completionCode, area + chunks.offset, count,",
     "return Read(completionCode, area, count,", "chunks on top of one another"),
    ("bmc", "ipmi/IpmiDataStore.cpp", "count, static_cast<std::uint16_t>(chunks.offset));\n        });\n        if (outcome.failed()) break;",
     "count, 0);\n        });\n        if (outcome.failed()) break;", "chunks written to one place"),
    ("proc", "pci/scan.cpp", "if (got == kHeaderSize)", "if (got + 1 >= kHeaderSize)", "bound off by one: a short header"),
    ("proc", "pci/scan.cpp", "bar < kBaseAddresses; ++bar", "bar <= kBaseAddresses; ++bar", "bound off by one: a seventh BAR"),
    ("proc", "pci/scan.cpp", "record_.vendorId != 0 && record_.bus != kUnusedBus", "record_.vendorId != 0",
     "a condition left out"),
    ("proc", "utils/providerutils.cpp", "gethostname(buffer.data(), kHostNameSize)", "gethostname(buffer.data(), 2 * kHostNameSize)",
     "bound of a buffer: the host's name"),
    ("catalogue", "pci/catalogue.cpp", "std::min(offset, static_cast<std::size_t>(end_ - begin_))", "offset",
     "clamp of a text position left out"),
    ("catalogue", "pci/catalogue.cpp", "place > begin_ ? std::string(begin_, place) : std::string()", "std::string(begin_, place)",
     "a line end in front of the text"),
    ("catalogue", "pci/catalogue.cpp", "new (std::nothrow) char[size + 1]", "new (std::nothrow) char[size]",
     "bound off by one: no room for the zero"),
    ("catalogue", "pci/catalogue.cpp", "begin += std::strlen(kNameBegin);", "begin += std::strlen(kNameEnd);",
     "position off by one"),
    ("association", "utils/properties.cpp", "if (data.type == CMPI_string && data.value.string != nullptr)",
     "if (data.value.string != nullptr)", "key state: a key that is no text is taken for one"),
    ("association", "utils/contained.h", "} catch (...) {", "} catch (const std::exception&) {", "a missing catch: other exceptions"),
    ("association", "provider/associations.cpp", "containedStandard([&] { to.done(); });", "to.done();",
     "a missing catch: at the end of the result"),
    ("association", "pci/slotlinks.cpp", "if (tag.size() <= kTagNumber) return std::nullopt;", "",
     "bound left out: a tag without a number"),
    ("association", "utils/providerutils.cpp", "if (instance == nullptr || instance->hdl == nullptr) {",
     "if (instance->hdl == nullptr) {", "a missing look at null"),
    ("objects", "utils/properties.cpp", "if (path != nullptr && !name.empty()) path->ft->addKey",
     "if (!name.empty()) path->ft->addKey", "a missing look at null"),
    ("objects", "utils/properties.cpp", 'contained(read, "getPropertyVal uint8 catch block found");', "read();",
     "a missing catch"),
    ("cimxml", "rig/wbem/responder.cpp", "text.substr(place + 1, 2)", "text.substr(place + 2, 1)",
     "bound off by one: a cut escape sequence"),
    ("cimxml", "rig/wbem/responder.cpp", "    } catch (const CimError&) {  // keys that make no path, which no text names\n        return false;\n",
     "", "a missing catch"),
    ("cimxml", "rig/wbem/xml.cpp", "if (piece.codePoint < 0x20) return piece.codePoint == '\\t'",
     "if (piece.codePoint < 0x20) return piece.codePoint >= 8 || piece.codePoint == '\\t'", "characters that are none in XML"),
    ("texts", "pci/address.cpp", "std::clamp(std::strtol(text.c_str() + place, nullptr, 10), kLowest, kHighest)",
     "std::strtol(text.c_str() + place, nullptr, 10)", "clamp of a number left out"),
    ("texts", "rig/cim/parse.cpp", 'if (atEnd()) fail("the closing quotation mark is missing");', "",
     "bound left out: a text without its end"),
    ("texts", "pci/catalogue.cpp", "i < std::min(most, digits.size()); ++i) {\n        digits[i]",
     "i < most; ++i) {\n        digits[i]", "clamp of a length left out"),
    ("faultscript", "rig/emulator/faultscript.cpp", "} catch (const std::exception& error) {", "} catch (const std::runtime_error& error) {",
     "a missing catch: what the JSON reader throws"),
    ("faultscript", "rig/emulator/bmc.cpp", "static_cast<std::ptrdiff_t>(std::min(offset, content.size()));",
     "static_cast<std::ptrdiff_t>(offset);", "clamp of a position left out"),
    ("faultscript", "rig/emulator/bmc.cpp", "std::max(data.size(), kCountOffset + 2)", "data.size()",
     "bound left out: a count in a short answer"),
]


def copy_tree(copy):
    names = subprocess.run(["git", "ls-files"], cwd=TOP, check=True, capture_output=True, text=True).stdout.split()
    for name in names:
        source, place = TOP / name, copy / name
        if place.exists() and place.read_bytes() == source.read_bytes():
            continue
        place.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy2(source, place)


def build(copy, target):
    subprocess.run(["cmake", "--build", "--preset", "fuzz", "--target", target], cwd=copy, check=True, stdout=subprocess.PIPE)


def hunt(copy, target):
    """The seconds until the target broke off, and its executions; None for the seconds where it did not."""
    folder = copy / "build/fuzz/planted"
    shutil.rmtree(folder, ignore_errors=True)
    began = time.monotonic()
    run = subprocess.run([copy / "tests/fuzz/run", copy / f"build/fuzz/bin/{target}_fuzz", copy / "build/fuzz/tests/fuzz/seeds",
                          folder, f"-max_total_time={LIMIT}", "-seed=1"], stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    output = run.stdout.decode(errors="replace")
    executed = re.search(r"number_of_executed_units: (\d+)", output)
    why = re.search(r"PROPERTY BROKEN: .*|ERROR: AddressSanitizer: \S+|runtime error: .*|ERROR: libFuzzer: \S+", output)
    seconds = time.monotonic() - began if run.returncode != 0 and why else None
    return seconds, int(executed.group(1)) if executed else 0, why.group(0)[:70] if why else ""


def main():
    known = sorted({fault[0] for fault in FAULTS})
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("copy", type=pathlib.Path, help="where the copy of the tree is to be, or is from a run before")
    parser.add_argument("targets", nargs="*", metavar="target", help=f"of {', '.join(known)}; all without it")
    options = parser.parse_args()
    copy, targets = options.copy.resolve(), options.targets
    if copy == TOP or not set(targets) <= set(known):
        parser.error("the tree itself is not to be spoiled" if copy == TOP else f"targets are {', '.join(known)}")
    copy_tree(copy)
    subprocess.run(["cmake", "--preset", "fuzz", "-DCMAKE_COMPILE_WARNING_AS_ERROR=OFF"], cwd=copy, check=True, stdout=subprocess.PIPE)
    missed = 0
    for target, name, old, new, kind in FAULTS:
        if targets and target not in targets:
            continue
        path = copy / name
        text = path.read_text()
        if old not in text:
            raise SystemExit(f"{name} has no longer: {old}")
        path.write_text(text.replace(old, new))
        try:
            build(copy, f"{target}_fuzz")
            build(copy, "fuzz_seeds")
            seconds, executions, why = hunt(copy, target)
        finally:
            path.write_text(text)
        missed += seconds is None
        told = "NOT FOUND" if seconds is None else f"{seconds:6.1f} s"
        print(f"{target:12} {kind:55} {told:>9} {executions:9}  {why}", flush=True)
    raise SystemExit(1 if missed else 0)


main()
