#ifndef PCIINFO_TESTS_EMULATOR_DATASTORE_H
#define PCIINFO_TESTS_EMULATOR_DATASTORE_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "emulator/bmc.h"

/** The requests of the data-store protocol, written out byte by byte. */
namespace datastore {

using emulator::Bytes;
using emulator::Request;

inline Bytes header(std::uint8_t operation) {
    return {0xD9, 0x7E, 0x00, operation};
}

inline void put32(Bytes& bytes, std::uint32_t value) {
    for (unsigned i = 0; i < 4; ++i) bytes.push_back(static_cast<std::uint8_t>(value >> 8 * i));
}

inline Request request(const Bytes& data) {
    return {0x2E, 0x90, data};
}

inline Request open(const std::string& name, std::uint8_t accessType = 1, std::uint8_t createFlag = 0) {
    Bytes data = header(1);
    data.resize(44, 0);
    data[4] = accessType;
    data[10] = createFlag;
    data[11] = 16;
    for (std::size_t i = 0; i < name.size(); ++i) data.at(12 + i) = static_cast<std::uint8_t>(name[i]);
    return request(data);
}

inline Request openToWrite(const std::string& name) {
    return open(name, 3, 1);
}

inline Request read(std::uint32_t handle, std::uint32_t offset, std::uint8_t count) {
    Bytes data = header(2);
    put32(data, handle);
    put32(data, offset);
    data.push_back(count);
    data.push_back(0);
    return request(data);
}

inline Request write(std::uint32_t handle, std::uint16_t offset, const Bytes& content) {
    Bytes data = header(3);
    put32(data, handle);
    put32(data, offset);
    data.insert(data.end(), content.begin(), content.end());
    return request(data);
}

inline Request withHandle(std::uint8_t operation, std::uint32_t handle) {
    Bytes data = header(operation);
    put32(data, handle);
    return request(data);
}

inline Request writeDefaults(std::uint32_t handle) {
    return withHandle(4, handle);
}
inline Request close(std::uint32_t handle) {
    return withHandle(5, handle);
}

inline Request querySize(const std::string& name) {
    Bytes data = header(6);
    data.insert(data.end(), name.begin(), name.end());
    data.resize(35, 0);
    return request(data);
}

inline Request remove(const std::string& name) {
    Bytes data = header(7);
    data.insert(data.end(), name.begin(), name.end());
    return request(data);
}

/** A fault at `on`, with the members that `set` gives it. */
template <typename Set>
emulator::Fault fault(emulator::Occasion on, const Set& set) {
    emulator::Fault made;
    made.on = on;
    set(made);
    return made;
}

/** The first, then the second. */
inline Bytes joined(Bytes first, const Bytes& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

/** The 32 bits from byte 4 on: an open answer's handle, a query size answer's size. */
inline std::uint32_t number(const Bytes& answer) {
    std::uint32_t value = 0;
    for (unsigned i = 0; i < 4; ++i) value |= static_cast<std::uint32_t>(answer.at(4 + i)) << 8 * i;
    return value;
}

}  // namespace datastore

#endif
