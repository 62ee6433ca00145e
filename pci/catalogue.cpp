// Names of vendors, devices and classes, searched for in the platform's catalogue files; text utilities.
// Tests: tests/unit/catalogue_test.cpp, tests/unit/textutilities_test.cpp.
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <new>

#include "pci/file.h"
#include "pci/pcidevinfo.h"

namespace tPCIInfo {

namespace {

constexpr char kVendorCatalogue[] = "/etc/vmware/pci.xml";
constexpr char kClassList[] = "/etc/vmware/pci.classlist";

/** A FIFO would keep fopen waiting, so what is known to be no regular file is not opened at all. */
bool isSpecialFile(const char* path) {
    struct stat status {};
    return stat(path, &status) == 0 && !S_ISREG(status.st_mode);
}

/** The length of a file in bytes, -1 where it cannot be told. Streams without a descriptor tell it by seeking alone. */
long lengthOf(std::FILE* file) {
    struct stat status {};
    const int descriptor = fileno(file);
    if (descriptor >= 0 && (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode))) return -1;
    if (std::fseek(file, 0, SEEK_END) != 0) return -1;
    const long length = std::ftell(file);
    return std::fseek(file, 0, SEEK_SET) == 0 ? length : -1;
}

TPciDevInfo::CatalogueText loadText(const char* path) {
    if (isSpecialFile(path)) return nullptr;
    const File file = openFile(path);
    if (file == nullptr) return nullptr;
    const long length = lengthOf(file.get());
    if (length < 1) return nullptr;
    const auto size = static_cast<std::size_t>(length);
    TPciDevInfo::CatalogueText text(new (std::nothrow) char[size + 1]);
    if (text == nullptr || std::fread(text.get(), 1, size, file.get()) != size) return nullptr;
    text[size] = '\0';
    return text;
}

/**
 * The first occurrence of `name` and `value` in one; null when there is none. What is searched for is the value, which
 * is rare: the name begins every entry of a catalogue, and a search for both would stop to compare at each of them.
 */
const char* findAttribute(const char* text, const std::string& name, const char* value) {
    const char* place = std::strstr(text, value);
    for (; place != nullptr; place = std::strstr(place + 1, value)) {
        if (static_cast<std::size_t>(place - text) < name.size()) continue;
        const char* begin = place - name.size();
        if (std::equal(name.begin(), name.end(), begin)) return begin;
    }
    return nullptr;
}

/** A part of a zero-terminated text; positions past its end are clamped to it. */
class TextPart {
 public:
    explicit TextPart(const char* begin) : begin_(begin), end_(begin + std::strlen(begin)) {}

    /** The text from `offset` characters on. */
    TextPart from(std::size_t offset) const {
        return TextPart(begin_ + std::min(offset, static_cast<std::size_t>(end_ - begin_)), end_);
    }
    /** The characters up to `place`; none where it lies in front of this part. */
    std::string upTo(const char* place) const { return place > begin_ ? std::string(begin_, place) : std::string(); }
    std::string all() const { return upTo(end_); }
    /** The place of the first such character, null where there is none. */
    const char* find(char character) const { return std::strchr(begin_, character); }

 private:
    TextPart(const char* begin, const char* end) : begin_(begin), end_(end) {}

    const char* begin_;
    const char* end_;
};

}  // namespace

TPciDevInfo::CatalogueText TPciDevInfo::getVendDeviceDescripts() {
    return loadText(kVendorCatalogue);
}

TPciDevInfo::CatalogueText TPciDevInfo::getClassDescripts() {
    return loadText(kClassList);
}

void TPciDevInfo::assignID(const char* text, const char* key, int id, const char* defaultName, std::string& out) {
    constexpr char kNameBegin[] = "<name>";
    constexpr char kNameEnd[] = "</name>";
    out = defaultName;
    if (text == nullptr) return;
    std::array<char, 16> digits{};
    std::snprintf(digits.data(), digits.size(), "%c%04x%c", '"', static_cast<unsigned int>(id), '"');
    const char* entry = findAttribute(text, std::string(key) + "=", digits.data());
    if (entry == nullptr) return;
    const char* begin = std::strstr(entry, kNameBegin);
    if (begin == nullptr) return;
    begin += std::strlen(kNameBegin);
    const char* end = std::strstr(begin, kNameEnd);
    if (end != nullptr) out.assign(begin, end);
}

std::string TPciDevInfo::twoDigits(unsigned char number) {
    constexpr char kDigits[] = "0123456789abcdef";
    return {kDigits[number >> 4], kDigits[number & 0xF]};
}

void TPciDevInfo::assignClassID(const char* text, unsigned char classCode, unsigned char subclass,
                                const char* defaultName, std::string& out) {
    constexpr std::size_t kDigitsAndGap = 4;  // two digits and two separator characters stand in front of a text
    out = defaultName;
    if (text == nullptr) return;
    const std::string classKey = "C " + twoDigits(classCode);
    const char* classLine = std::strstr(text, classKey.c_str());
    if (classLine == nullptr) return;
    const char* digits = std::strstr(classLine + classKey.size(), twoDigits(subclass).c_str());
    if (digits == nullptr) return;

    TextPart start(digits);
    // Where a carriage return follows, in a list with such line ends, a text lacks its first four characters.
    if (start.find('\r') != nullptr) start = start.from(kDigitsAndGap);
    const char* lineFeed = start.find('\n');
    const TextPart words = start.from(kDigitsAndGap);
    out = lineFeed != nullptr ? words.upTo(lineFeed) : words.all();
}

unsigned int TPciDevInfo::_httoi(const char* text, int length) {
    if (text == nullptr || length < 1) return 0;
    const auto most = static_cast<std::size_t>(length);
    std::string digits(text);
    for (std::size_t i = 0; i < std::min(most, digits.size()); ++i) {
        digits[i] = static_cast<char>(std::toupper(static_cast<unsigned char>(digits[i])));
    }
    if (digits.compare(0, 2, "0X") == 0) digits.erase(0, 2);
    unsigned int number = 0;
    for (std::size_t i = 0; i < std::min(most, digits.size()); ++i) {
        const std::size_t value = std::string("0123456789ABCDEF").find(digits[i]);
        if (value == std::string::npos) break;
        number = number << 4 | static_cast<unsigned int>(value);
    }
    return number;
}

std::vector<std::string> TPciDevInfo::MultiStringTok(const std::string& text, const char* delimiters) {
    const std::string cuts = delimiters != nullptr ? delimiters : "";
    std::vector<std::string> pieces;
    std::size_t begin = text.find_first_not_of(cuts);
    while (begin != std::string::npos) {
        const std::size_t end = text.find_first_of(cuts, begin);
        pieces.push_back(text.substr(begin, end - begin));
        begin = text.find_first_not_of(cuts, end);
    }
    return pieces;
}

}  // namespace tPCIInfo
