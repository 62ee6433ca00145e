#ifndef PCIINFO_WBEM_ENCODER_H
#define PCIINFO_WBEM_ENCODER_H

#include <pugixml.hpp>

#include <string>

#include "broker/broker.h"
#include "mof/schema.h"
#include "wbem/parameters.h"

namespace wbem {

/** What of an instance or class a client wants to see. */
struct View {
    PropertyList properties;
    bool classOrigin = false;
    bool qualifiers = false;             // classes only
    bool localOnly = false;              // classes only
    const mof::Class* within = nullptr;  // instances only: only the properties of that class
};

/** LOCALNAMESPACEPATH, of "root/kavix". */
void addNamespace(pugi::xml_node parent, const std::string& nameSpace);

/** Writes objects as DSP0201 does. What it writes belongs below the element that is handed over. */
class Encoder {
 public:
    /** host: where the objects are, for paths that tell it. The schema has to outlive the encoder. */
    Encoder(const mof::Schema& schema, std::string host) : schema_(schema), host_(std::move(host)) {}

    void className(pugi::xml_node parent, const std::string& name) const;                                // CLASSNAME
    void instanceName(pugi::xml_node parent, const broker::ObjectPath& path) const;                      // INSTANCENAME
    void instancePath(pugi::xml_node parent, const broker::ObjectPath& path) const;                      // INSTANCEPATH
    void instance(pugi::xml_node parent, const broker::Instance& instance, const View& view) const;      // INSTANCE
    void classElement(pugi::xml_node parent, const mof::Class& declaration, const View& view) const;     // CLASS
    void classPath(pugi::xml_node parent, const std::string& nameSpace, const std::string& name) const;  // CLASSPATH
    /** VALUE, VALUE.ARRAY or VALUE.REFERENCE; nothing for a null value. */
    void value(pugi::xml_node parent, const broker::Value& value) const;
    void qualifierDeclaration(pugi::xml_node parent, const mof::QualifierDeclaration& declaration) const;

 private:
    void property(pugi::xml_node parent, const broker::Property& property, const std::string& origin) const;
    void keyBinding(pugi::xml_node parent, const broker::Property& key) const;
    void reference(pugi::xml_node parent, const broker::ObjectPath& path) const;
    void place(pugi::xml_node parent, const std::string& nameSpace) const;

    const mof::Schema& schema_;
    std::string host_;
};

}  // namespace wbem

#endif
