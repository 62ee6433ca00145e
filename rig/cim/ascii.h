#ifndef PCIINFO_CIM_ASCII_H
#define PCIINFO_CIM_ASCII_H

namespace cim {

// Classes of characters that the process's locale does not change.

constexpr bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

constexpr bool isHexDigit(char c) {
    return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

/** Whether a CIM name may begin with it. */
constexpr bool isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

}  // namespace cim

#endif
