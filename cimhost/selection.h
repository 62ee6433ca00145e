#ifndef PCIINFO_CIMHOST_SELECTION_H
#define PCIINFO_CIMHOST_SELECTION_H

#include <optional>
#include <string>

#include "broker/broker.h"
#include "cimhost/location.h"

namespace cimhost {

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
    /** Whether more is looked at than the location, which alone is in an object path. */
    bool needsInstances() const { return byNumbers_; }

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
