#ifndef PCIINFO_WBEM_OPERATION_H
#define PCIINFO_WBEM_OPERATION_H

#include <pugixml.hpp>

#include <functional>
#include <string>
#include <vector>

#include "broker/broker.h"
#include "mof/schema.h"
#include "wbem/encoder.h"
#include "wbem/namespace.h"
#include "wbem/parameters.h"
#include "wbem/xml.h"

/** The intrinsic operations, by subject. Each reads its parameters, throws CimError, and writes what it returns. */
namespace wbem {

/** One operation under way. */
struct Operation {
    const Namespace& space;
    std::string nameSpace;  // its name, in the client's spelling
    Parameters parameters;
    Encoder encoder;
    pugi::xml_node response;
    std::function<bool()> abandoned;  // see HttpRequest

    /** Called for each object: throws CIM_ERR_FAILED where nobody waits for the answer any more. */
    void goOn() const;
    pugi::xml_node returnValue() const { return addElement(response, "IRETURNVALUE"); }
};

/** Throws CIM_ERR_INVALID_CLASS where the namespace has no such class. */
const mof::Class& requireClass(const Operation& operation, const std::string& name);

/**
 * What the provider makes of a request; an error status, and an exception, is thrown as CimError. In a namespace
 * without a provider nothing can be asked: CIM_ERR_NOT_SUPPORTED.
 */
broker::Response askProvider(const Operation& operation,
                             const std::function<broker::Response(broker::Broker&)>& request);

/** The parameters that say what of an object is shown. LocalOnly is read by those that have it. */
View objectView(Parameters& parameters);

/** The same for instances, on whose properties the list has no effect where the object manager leaves it unread. */
View instanceView(Operation& operation);

// --- instances ---

void enumerateInstanceNames(Operation& operation);
void enumerateInstances(Operation& operation);
void getInstance(Operation& operation);
void getProperty(Operation& operation);
void createInstance(Operation& operation);
void modifyInstance(Operation& operation);
void deleteInstance(Operation& operation);
void execQuery(Operation& operation);

// --- associations ---

void associators(Operation& operation);
void associatorNames(Operation& operation);
void references(Operation& operation);
void referenceNames(Operation& operation);

// --- classes and qualifiers ---

void enumerateClassNames(Operation& operation);
void enumerateClasses(Operation& operation);
void getClass(Operation& operation);
void enumerateQualifiers(Operation& operation);
void getQualifier(Operation& operation);

}  // namespace wbem

#endif
