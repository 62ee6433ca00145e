// Texts of people and of clients: the product's addresses, numbers and lists, and the rig's object paths, which read
// back as they are written.
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>

#include <optional>

#include "cim/data.h"
#include "input.h"
#include "pci/address.h"
#include "pci/pcidevinfo.h"
#include "slots/tslotinfo.h"

namespace {

using fuzz::require;
using tPCIInfo::FunctionAddress;
using tPCIInfo::TPciDevInfo;

std::optional<cim::ObjectPath> parsed(const std::string& text) {
    try {
        return cim::parseObjectPath(text);
    } catch (const std::invalid_argument& error) {
        require(text.find('\0') != std::string::npos || std::strstr(error.what(), ", position ") != nullptr,
                "an error says where it is");
        return std::nullopt;
    }
}

void readPath(const std::string& text) {
    const std::optional<cim::ObjectPath> path = parsed(text);
    if (!path) return;
    const std::string written = cim::toString(*path);
    const std::optional<cim::ObjectPath> again = parsed(written);
    require(again.has_value(), "an object path can be read as it is written");
    require(*again == *path, "an object path reads back as it was");
    require(cim::toString(*again) == written, "and is written as it was");
}

/** The number behind a label, or at a place of its own. */
int numberBehind(const std::string& text, const std::string& label, bool atItsOwnPlace) {
    const std::size_t found = text.find(label);
    if (found == std::string::npos) return 0;
    const std::string rest = text.substr((atItsOwnPlace ? 0 : found) + label.size());
    const long number = std::strtol(rest.c_str(), nullptr, 10);
    if (number > INT_MAX) return INT_MAX;
    return number < INT_MIN ? INT_MIN : static_cast<int>(number);
}

void readTexts(const std::string& text, int length) {
    const FunctionAddress address = FunctionAddress::fromDeviceId(text);
    require(address.bus == numberBehind(text, "PCI Bus ", true) &&
                address.device == numberBehind(text, "device ", false) &&
                address.function == numberBehind(text, "function ", false),
            "an address has the numbers of its text");
    const unsigned number = TPciDevInfo::_httoi(text.c_str(), length);
    if (length < 1) require(number == 0, "no digit is no number");
    std::size_t letters = 0;
    const std::string cuts = text.substr(0, 2);
    for (const std::string& piece : TPciDevInfo::MultiStringTok(text, cuts.c_str())) {
        require(!piece.empty() && piece.find_first_of(cuts.c_str()) == std::string::npos, "pieces have no delimiters");
        letters += piece.size();
    }
    require(letters <= text.size(), "pieces are of the text");
}

void readAddress(unsigned bus, unsigned devfn) {
    const FunctionAddress address = FunctionAddress::fromBusDevfn(bus << 8 | devfn);
    require(FunctionAddress::fromDeviceId(address.deviceId()) == address, "a DeviceID reads back as it is written");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    fuzz::Input input(bytes, size);
    const unsigned first = input.byte();
    const unsigned second = input.byte();
    const std::string text = input.rest();
    readAddress(first, second);
    const int width = tPCIInfo::TSlotInfo::GetSlotDataBusWidth(static_cast<std::uint8_t>(first));
    require(width >= 0 && width <= 128, "a width has 1 to 128 bits");
    readTexts(text, static_cast<std::int8_t>(first));
    readPath(text);
    return 0;
}
