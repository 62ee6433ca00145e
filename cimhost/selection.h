#ifndef PCIINFO_CIMHOST_SELECTION_H
#define PCIINFO_CIMHOST_SELECTION_H

#include <optional>
#include <string>

#include "broker/broker.h"

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

/** The property DeviceID as lspci writes it, "PCI Bus 0, device 31, function 3" as "00:1f.3"; another text as it is. */
std::string shortLocation(const std::string& deviceId);

/**
 * Chooses PCI functions by what lspci chooses them by. What was not set does not choose. The setters throw
 * std::invalid_argument, with what is wrong, for a text of another form; a number that is empty or "*" fits all.
 */
class Selection {
 public:
    /** "[[[DOMAIN:]BUS:][DEVICE]][.FUNCTION]" */
    void byLocation(const std::string& text);
    /** "[VENDOR]:[DEVICE][:CLASS]", the class as in byClass */
    void byId(const std::string& text);
    /** Base class, and subclass if wanted: "02", "0200" or "02:00". */
    void byClass(const std::string& text);

    bool choosesAny() const { return byLocation_ || byNumbers_; }

    /** An object that is no PCI function is never chosen, except where nothing was set. */
    bool chooses(const broker::Instance& instance) const;
    bool chooses(const broker::ObjectPath& path) const;

 private:
    bool byLocation_ = false;
    bool byNumbers_ = false;
    Location location_;
    std::optional<unsigned> vendor_;
    std::optional<unsigned> device_;
    std::optional<unsigned> baseClass_;
    std::optional<unsigned> subclass_;
};

}  // namespace cimhost

#endif
