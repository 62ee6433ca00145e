// The catalogues of names: texts of any kind, short reads and files that cannot be read, for the numbers of one
// function. Names have to be those that a search written anew finds.
#include <sys/stat.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "host.h"
#include "pci/pcidevinfo.h"
#include "provider.h"

namespace {

using fuzz::File;
using fuzz::Host;
using fuzz::require;
using tPCIInfo::TPciDevInfo;

std::string digits(const char* format, unsigned number) {
    char text[16];
    std::snprintf(text, sizeof(text), format, number);
    return text;
}

/** The text of the first name element behind the number. */
std::string nameIn(const std::string& text, const std::string& key, unsigned id, const std::string& otherwise) {
    const std::size_t entry = text.find(key + "=\"" + digits("%04x", id) + "\"");
    if (entry == std::string::npos) return otherwise;
    const std::size_t begin = text.find("<name>", entry);
    if (begin == std::string::npos) return otherwise;
    const std::size_t end = text.find("</name>", begin + 6);
    return end == std::string::npos ? otherwise : text.substr(begin + 6, end - begin - 6);
}

/** What stands in the class list behind two digits and two more characters, to the line's end. */
std::string classIn(const std::string& text, unsigned classCode, unsigned subclass, const std::string& otherwise) {
    const std::string classDigits = "C " + digits("%02x", classCode);
    const std::size_t line = text.find(classDigits);
    if (line == std::string::npos) return otherwise;
    std::size_t begin = text.find(digits("%02x", subclass), line + classDigits.size());
    if (begin == std::string::npos) return otherwise;
    if (text.find('\r', begin) != std::string::npos) begin = std::min(begin + 4, text.size());
    const std::size_t feed = text.find('\n', begin);
    begin = std::min(begin + 4, text.size());
    if (feed == std::string::npos) return text.substr(begin);
    return feed > begin ? text.substr(begin, feed - begin) : "";
}

/** A text as it is given to the searches: its zero byte is the storage's last. */
class Exact {
 public:
    explicit Exact(const std::string& text) : text_(std::make_unique<char[]>(text.size() + 1)) {
        std::memcpy(text_.get(), text.c_str(), text.size() + 1);
    }
    const char* get() const { return text_.get(); }

 private:
    std::unique_ptr<char[]> text_;
};

std::string untilZero(const std::string& text) {
    return text.substr(0, text.find('\0'));
}

void search(const std::string& vendors, const std::string& classes, unsigned id, unsigned classCode,
            unsigned subclass) {
    const Exact vendorText(vendors);
    const Exact classText(classes);
    std::string found;
    for (const char* key : {"vendor id", "device id"}) {
        TPciDevInfo::assignID(vendorText.get(), key, static_cast<int>(id), "none", found);
        require(found == nameIn(vendors, key, id, "none"), "names are those in the catalogue");
    }
    TPciDevInfo::assignClassID(classText.get(), static_cast<unsigned char>(classCode),
                               static_cast<unsigned char>(subclass), "none", found);
    require(found == classIn(classes, classCode, subclass, "none"), "class names are those in the list");
}

/** The catalogues as files, for a machine of one device with those numbers. */
void request(Host& host, const File& vendors, const File& classes, unsigned id, unsigned classCode, unsigned subclass) {
    const std::string line = digits("0018\t%04x", id) + digits("%04x\t0\n", id ^ 1);
    std::string config(64, '\0');
    config[11] = static_cast<char>(classCode);
    config[10] = static_cast<char>(subclass);
    host.openFile = [&](const std::string& path) -> std::optional<File> {
        if (path == "/proc/bus/pci/devices") return File{line, {}, true};
        if (path == "/proc/bus/pci/00/03.0") return File{config, {}, true};
        return path == "/etc/vmware/pci.xml" ? vendors : classes;
    };
    host.openingDevice = [](const char*) { return ENOENT; };
    const bool bridge = classCode == 6;
    const broker::Response response = fuzz::ask(1, bridge ? "QELTA_PCIBridge" : "QELTA_PCIDevice");
    host.expectNothingOpen();
    fuzz::expectKeys(response);
    if (id == 0) return;
    require(response.instances.size() == 1, "the function is delivered whatever the catalogues hold");

    const auto textOf = [&](const File& file) {
        const bool read = S_ISREG(static_cast<mode_t>(host.catalogueType)) && file.seekable && !file.readErrorAt;
        return read ? std::optional<std::string>(untilZero(file.content)) : std::nullopt;
    };
    const std::optional<std::string> names = textOf(vendors);
    const std::optional<std::string> list = textOf(classes);
    const std::string placeholder = bridge ? "PCI Bridge:" : "PIC:";
    const std::string description = (list ? classIn(*list, classCode, subclass, placeholder) : placeholder) + ": " +
                                    (names ? nameIn(*names, "vendor id", id, "vendor") : "vendor") + " " +
                                    (names ? nameIn(*names, "device id", id ^ 1, "descrip") : "descrip") + " (rev 00)";
    const broker::Value* told = response.instances.front().property("Description");
    require(told != nullptr && *told == broker::Value::string(description), "the description has the names");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    fuzz::Input input(bytes, size);
    const unsigned options = input.byte();
    const unsigned id = input.word();
    const unsigned classCode = input.byte();
    const unsigned subclass = input.byte();
    File vendors{input.upTo(1), {}, (options & 1) == 0};
    File classes{input.rest(), {}, (options & 2) == 0};
    if ((options & 4) != 0) vendors.readErrorAt = vendors.content.size() / 2;
    if ((options & 8) != 0) classes.readErrorAt = classes.content.size() / 2;

    search(untilZero(vendors.content), untilZero(classes.content), id, classCode, subclass);
    if (options < 0x80) return 0;
    Host& host = Host::get();
    host.reset();
    if ((options & 0x10) != 0) host.catalogueType = S_IFIFO;
    request(host, vendors, classes, id, classCode, subclass);
    return 0;
}
