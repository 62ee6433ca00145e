#ifndef PCIINFO_TESTS_CIMHOST_ANSWERS_H
#define PCIINFO_TESTS_CIMHOST_ANSWERS_H

#include <string>
#include <vector>

#include "cimhost/formats.h"

// Answers made by hand, and what is written of them.

inline std::string text(const cimhost::Answer& answer, cimhost::Format format,
                        const cimhost::TableOptions& options = {}) {
    return cimhost::formatted(answer, format, options);
}

inline cimhost::Answer answer(const cimhost::Instances& instances, CMPIrc status = CMPI_RC_OK) {
    return {status, instances};
}
inline cimhost::Answer answer(const cimhost::Names& names) {
    return {CMPI_RC_OK, names};
}

inline broker::Instance instance(const std::string& className, const std::vector<broker::Property>& keys,
                                 const std::vector<broker::Property>& others) {
    broker::Instance made{{"root/kavix", className, keys}, keys};
    made.properties.insert(made.properties.end(), others.begin(), others.end());
    return made;
}

inline broker::Value uint8(std::uint64_t number) {
    return broker::Value::uint(CMPI_uint8, number);
}
inline broker::Value uint16(std::uint64_t number) {
    return broker::Value::uint(CMPI_uint16, number);
}

inline cimhost::TableOptions inFull(std::size_t width) {
    return {width, true};
}
inline cimhost::TableOptions onTerminal(std::size_t width) {
    return {width, false, true};
}

#endif
