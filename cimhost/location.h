#ifndef PCIINFO_CIMHOST_LOCATION_H
#define PCIINFO_CIMHOST_LOCATION_H

#include <optional>
#include <string>

namespace cimhost {

/** A PCI function's place; in what chooses functions, what is not set fits all. */
struct Location {
    std::optional<unsigned> bus;
    std::optional<unsigned> device;
    std::optional<unsigned> function;
};

/**
 * Reads what lspci takes: [[[DOMAIN:]BUS:][DEVICE]][.FUNCTION], numbers in hexadecimal, empty or "*" for all. Throws
 * std::invalid_argument that says what is wrong; the only domain is 0.
 */
Location parseLocation(const std::string& text);

/** Whether the text is written as one function's location is, BUS:DEVICE.FUNCTION, whatever the numbers. */
bool looksLikeFunction(const std::string& text);

/** The property DeviceID of the function there, for example "PCI Bus 22, device 0, function 0". All has to be set. */
std::string deviceIdOf(const Location& location);

/**
 * A hexadecimal number of at most that, with no more digits; nullopt for "" and "*". Throws std::invalid_argument,
 * which names `what`, for anything else.
 */
std::optional<unsigned> hexNumber(const std::string& text, unsigned most, const std::string& what);

}  // namespace cimhost

#endif
