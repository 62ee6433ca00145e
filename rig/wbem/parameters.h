#ifndef PCIINFO_WBEM_PARAMETERS_H
#define PCIINFO_WBEM_PARAMETERS_H

#include <pugixml.hpp>

#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "broker/broker.h"

namespace wbem {

using PropertyList = std::optional<std::set<std::string>>;  // as cim::foldedName has them; none: all properties

/**
 * The IPARAMVALUEs of an intrinsic operation, by names whose letter case does not count. Everything that is not as the
 * operation declares it throws CimError with CIM_ERR_INVALID_PARAMETER (4): a parameter that is there twice or, where
 * it has to be, not at all, or NULL; one of another type. An operation asks for each parameter that it knows, then
 * calls refuseOthers.
 */
class Parameters {
 public:
    Parameters(pugi::xml_node call, std::string nameSpace);

    bool flag(const char* name, bool byDefault);
    /** Empty texts and class names, which some clients send for NULL, are none. */
    std::optional<std::string> text(const char* name);
    std::optional<std::string> className(const char* name);
    std::string requiredText(const char* name);
    std::string requiredClassName(const char* name);
    broker::ObjectPath requiredInstanceName(const char* name);
    /** Either an INSTANCENAME or, for a class, a CLASSNAME, whose path has no keys. */
    std::pair<broker::ObjectPath, bool> requiredObjectName(const char* name);  // second: it names a class
    broker::Instance requiredInstance(const char* name);
    /** A VALUE.NAMEDINSTANCE; the instance has the path that comes with it. */
    broker::Instance requiredNamedInstance(const char* name);
    PropertyList propertyList();

    void refuseOthers() const;

 private:
    struct Parameter {
        std::string name;
        pugi::xml_node value;  // null: NULL
        bool asked = false;
    };

    pugi::xml_node find(const char* name);
    /** The value of a parameter that is such an element; null for NULL. */
    pugi::xml_node find(const char* name, const char* element);
    pugi::xml_node require(const char* name, const char* element);

    std::string nameSpace_;
    std::vector<Parameter> parameters_;
};

}  // namespace wbem

#endif
