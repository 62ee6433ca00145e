// Slots through which a provider asks the object manager, and so the one provider there is.

#include <algorithm>
#include <iterator>

#include "broker/dispatch.h"
#include "broker/objects.h"
#include "broker/request.h"
#include "broker/slots.h"
#include "cim/names.h"

namespace broker {

namespace {

constexpr char kNameSpace[] = "root/kavix";  // the only one

const ObjectPath& plain(const CMPIObjectPath* path) {
    return PathObject::of(path).data.path;
}

/** The answer where the call cannot be passed on: the fault that strikes, or no path, or one to nothing. */
std::optional<CMPIrc> refusal(Core& core, const char* function, const CMPIObjectPath* path) {
    const char* name = path == nullptr ? nullptr : plain(path).className.c_str();
    if (const auto fault = core.enter(function, name)) return fault;
    if (path == nullptr) return CMPI_RC_ERR_INVALID_PARAMETER;
    if (!core.behaviour(manners::kUpcallsNeedClass)) return std::nullopt;
    if (!cim::sameName(plain(path).nameSpace, kNameSpace)) return CMPI_RC_ERR_INVALID_NAMESPACE;
    if (core.classes.find(plain(path).className) == nullptr) return CMPI_RC_ERR_INVALID_CLASS;
    return std::nullopt;
}

/** The path as the asked side gets it: a copy that it may change. */
const CMPIObjectPath* copyOf(Core& core, const CMPIObjectPath* path) {
    return core.make<PathObject>(PathObject::of(path).data).handle();
}

/** The same with another path, which may have another class name. */
const CMPIObjectPath* made(Core& core, const CMPIObjectPath* path, const ObjectPath& other) {
    PathData data = PathObject::of(path).data;
    data.path = other;
    return core.make<PathObject>(std::move(data)).handle();
}

const CMPIInstance* copyOf(Core& core, const CMPIInstance* instance) {
    return instance == nullptr ? nullptr : core.make<InstanceObject>(InstanceObject::of(instance).data).handle();
}

std::vector<Value> elementsOf(const std::vector<Instance>& instances) {
    std::vector<Value> elements;
    std::transform(instances.begin(), instances.end(), std::back_inserter(elements), Value::instance);
    return elements;
}

std::vector<Value> elementsOf(const std::vector<ObjectPath>& paths) {
    std::vector<Value> elements;
    std::transform(paths.begin(), paths.end(), std::back_inserter(elements), Value::reference);
    return elements;
}

bool givesNoEnumeration(const Core& core, CMPIrc status) {
    if (status == CMPI_RC_ERR_INVALID_CLASS) return true;  // no provider knows the class
    return status != CMPI_RC_OK && core.behaviour(manners::kNoEnumerationOnError);
}

// Where there is an enumeration in spite of an error it is empty.
template <class Objects>
CMPIEnumeration* enumerationOf(Core& core, const Response& response, Objects Response::*objects, CMPIStatus* rc) {
    if (givesNoEnumeration(core, response.status)) return failed<CMPIEnumeration*>(rc, response.status);
    EnumerationData data;
    if (response.status == CMPI_RC_OK) data.elements = elementsOf(response.*objects);
    CMPIEnumeration* enumeration = core.make<EnumerationObject>(std::move(data)).handle();
    setStatus(rc, response.status);
    return enumeration;
}

CMPIEnumeration* cannedEnumeration(Core& core, const UpcallAnswer& canned, CMPIStatus* rc) {
    if (canned.nullEnumeration || givesNoEnumeration(core, canned.status))
        return failed<CMPIEnumeration*>(rc, canned.status);
    CMPIEnumeration* enumeration = core.make<EnumerationObject>(EnumerationData{canned.elements, 0}).handle();
    setStatus(rc, canned.status);
    return enumeration;
}

const char* orNull(const std::optional<std::string>& text) {
    return text ? text->c_str() : nullptr;
}

std::optional<std::string> orNone(const char* text) {
    return text == nullptr ? std::nullopt : std::optional<std::string>(text);
}

CMPIEnumeration* enumerateInstanceNames(const CMPIBroker* broker, const CMPIContext* context,
                                        const CMPIObjectPath* path, CMPIStatus* rc) {
    Core& core = Core::of(broker);
    if (const auto refused = refusal(core, "bft.enumerateInstanceNames", path)) {
        return failed<CMPIEnumeration*>(rc, *refused);
    }
    const Response response = dispatch::enumeration(core, plain(path), [&](const ObjectPath& each) {
        return ask(core, core.instanceMI, context, &CMPIInstanceMIFT::enumerateInstanceNames, made(core, path, each));
    });
    return enumerationOf(core, response, &Response::paths, rc);
}

CMPIEnumeration* enumerateInstances(const CMPIBroker* broker, const CMPIContext* context, const CMPIObjectPath* path,
                                    const char** properties, CMPIStatus* rc) {
    Core& core = Core::of(broker);
    if (const auto refused = refusal(core, "bft.enumerateInstances", path)) {
        return failed<CMPIEnumeration*>(rc, *refused);
    }
    if (const auto canned = core.upcallAnswer(plain(path).className)) return cannedEnumeration(core, *canned, rc);
    const Response response = dispatch::enumeration(core, plain(path), [&](const ObjectPath& each) {
        return ask(core, core.instanceMI, context, &CMPIInstanceMIFT::enumerateInstances, made(core, path, each),
                   properties);
    });
    return enumerationOf(core, response, &Response::instances, rc);
}

CMPIEnumeration* execQuery(const CMPIBroker* broker, const CMPIContext* context, const CMPIObjectPath* path,
                           const char* query, const char* language, CMPIStatus* rc) {
    Core& core = Core::of(broker);
    if (const auto refused = refusal(core, "bft.execQuery", path)) return failed<CMPIEnumeration*>(rc, *refused);
    const Response response =
        ask(core, core.instanceMI, context, &CMPIInstanceMIFT::execQuery, copyOf(core, path), query, language);
    return enumerationOf(core, response, &Response::instances, rc);
}

/** The upcalls for associations: `pass` asks the provider with the filters that reach it. */
template <class Objects, class Pass>
CMPIEnumeration* associate(Core& core, const char* function, const CMPIObjectPath* path, const Filters& filters,
                           std::optional<std::string> Filters::*association, Objects objects, CMPIStatus* rc,
                           Pass pass) {
    if (const auto refused = refusal(core, function, path)) return failed<CMPIEnumeration*>(rc, *refused);
    const Response response = dispatch::association(
        core, plain(path), filters, association, [&](const Filters& each) { return pass(copyOf(core, path), each); });
    return enumerationOf(core, response, objects, rc);
}

CMPIEnumeration* associators(const CMPIBroker* broker, const CMPIContext* context, const CMPIObjectPath* path,
                             const char* assocClass, const char* resultClass, const char* role, const char* resultRole,
                             const char** properties, CMPIStatus* rc) {
    Core& core = Core::of(broker);
    const Filters filters{orNone(assocClass), orNone(resultClass), orNone(role), orNone(resultRole)};
    return associate(core, "bft.associators", path, filters, &Filters::assocClass, &Response::instances, rc,
                     [&](const CMPIObjectPath* source, const Filters& each) {
                         return ask(core, core.associationMI, context, &CMPIAssociationMIFT::associators, source,
                                    orNull(each.assocClass), orNull(each.resultClass), orNull(each.role),
                                    orNull(each.resultRole), properties);
                     });
}

CMPIEnumeration* associatorNames(const CMPIBroker* broker, const CMPIContext* context, const CMPIObjectPath* path,
                                 const char* assocClass, const char* resultClass, const char* role,
                                 const char* resultRole, CMPIStatus* rc) {
    Core& core = Core::of(broker);
    const Filters filters{orNone(assocClass), orNone(resultClass), orNone(role), orNone(resultRole)};
    return associate(core, "bft.associatorNames", path, filters, &Filters::assocClass, &Response::paths, rc,
                     [&](const CMPIObjectPath* source, const Filters& each) {
                         return ask(core, core.associationMI, context, &CMPIAssociationMIFT::associatorNames, source,
                                    orNull(each.assocClass), orNull(each.resultClass), orNull(each.role),
                                    orNull(each.resultRole));
                     });
}

CMPIEnumeration* references(const CMPIBroker* broker, const CMPIContext* context, const CMPIObjectPath* path,
                            const char* resultClass, const char* role, const char** properties, CMPIStatus* rc) {
    Core& core = Core::of(broker);
    const Filters filters{std::nullopt, orNone(resultClass), orNone(role), std::nullopt};
    return associate(core, "bft.references", path, filters, &Filters::resultClass, &Response::instances, rc,
                     [&](const CMPIObjectPath* source, const Filters& each) {
                         return ask(core, core.associationMI, context, &CMPIAssociationMIFT::references, source,
                                    orNull(each.resultClass), orNull(each.role), properties);
                     });
}

CMPIEnumeration* referenceNames(const CMPIBroker* broker, const CMPIContext* context, const CMPIObjectPath* path,
                                const char* resultClass, const char* role, CMPIStatus* rc) {
    Core& core = Core::of(broker);
    const Filters filters{std::nullopt, orNone(resultClass), orNone(role), std::nullopt};
    return associate(core, "bft.referenceNames", path, filters, &Filters::resultClass, &Response::paths, rc,
                     [&](const CMPIObjectPath* source, const Filters& each) {
                         return ask(core, core.associationMI, context, &CMPIAssociationMIFT::referenceNames, source,
                                    orNull(each.resultClass), orNull(each.role));
                     });
}

/** The first of what was delivered. An error, or an OK without any object, is a null object. */
template <class T, class Objects>
typename T::Handle* firstOf(Core& core, const Response& response, Objects Response::*objects, CMPIStatus* rc) {
    if (response.status != CMPI_RC_OK) return failed<typename T::Handle*>(rc, response.status);
    if ((response.*objects).empty()) return failed<typename T::Handle*>(rc, CMPI_RC_ERR_NOT_FOUND);
    return answer<T>(core, rc, (response.*objects).front());
}

CMPIInstance* getInstance(const CMPIBroker* broker, const CMPIContext* context, const CMPIObjectPath* path,
                          const char** properties, CMPIStatus* rc) {
    Core& core = Core::of(broker);
    if (const auto refused = refusal(core, "bft.getInstance", path)) return failed<CMPIInstance*>(rc, *refused);
    const Response response = dispatch::got(
        core, plain(path),
        ask(core, core.instanceMI, context, &CMPIInstanceMIFT::getInstance, copyOf(core, path), properties));
    return firstOf<InstanceObject>(core, response, &Response::instances, rc);
}

CMPIObjectPath* createInstance(const CMPIBroker* broker, const CMPIContext* context, const CMPIObjectPath* path,
                               const CMPIInstance* instance, CMPIStatus* rc) {
    Core& core = Core::of(broker);
    if (const auto refused = refusal(core, "bft.createInstance", path)) return failed<CMPIObjectPath*>(rc, *refused);
    const Response response = ask(core, core.instanceMI, context, &CMPIInstanceMIFT::createInstance, copyOf(core, path),
                                  copyOf(core, instance));
    return firstOf<PathObject>(core, response, &Response::paths, rc);
}

CMPIStatus modifyInstance(const CMPIBroker* broker, const CMPIContext* context, const CMPIObjectPath* path,
                          const CMPIInstance* instance, const char** properties) {
    Core& core = Core::of(broker);
    if (const auto refused = refusal(core, "bft.modifyInstance", path)) return {*refused, nullptr};
    const Response response = ask(core, core.instanceMI, context, &CMPIInstanceMIFT::modifyInstance, copyOf(core, path),
                                  copyOf(core, instance), properties);
    return {response.status, nullptr};
}

CMPIStatus deleteInstance(const CMPIBroker* broker, const CMPIContext* context, const CMPIObjectPath* path) {
    Core& core = Core::of(broker);
    if (const auto refused = refusal(core, "bft.deleteInstance", path)) return {*refused, nullptr};
    const Response response =
        ask(core, core.instanceMI, context, &CMPIInstanceMIFT::deleteInstance, copyOf(core, path));
    return {response.status, nullptr};
}

/** Indications, methods and single properties are not served. */
CMPIrc notServed(const CMPIBroker* broker, const char* function, const char* name = nullptr) {
    return Core::of(broker).enter(function, name).value_or(CMPI_RC_ERR_NOT_SUPPORTED);
}

CMPIStatus deliverIndication(const CMPIBroker* broker, const CMPIContext*, const char*, const CMPIInstance*) {
    return {notServed(broker, "bft.deliverIndication"), nullptr};
}

CMPIData invokeMethod(const CMPIBroker* broker, const CMPIContext*, const CMPIObjectPath*, const char* method,
                      const CMPIArgs*, CMPIArgs*, CMPIStatus* rc) {
    return noData(rc, notServed(broker, "bft.invokeMethod", method));
}

CMPIStatus setProperty(const CMPIBroker* broker, const CMPIContext*, const CMPIObjectPath*, const char* name,
                       const CMPIValue*, CMPIType) {
    return {notServed(broker, "bft.setProperty", name), nullptr};
}

CMPIData getProperty(const CMPIBroker* broker, const CMPIContext*, const CMPIObjectPath*, const char* name,
                     CMPIStatus* rc) {
    return noData(rc, notServed(broker, "bft.getProperty", name));
}

}  // namespace

CMPIBrokerFT slots::broker() {
    return {CMPI_MB_BasicRead | CMPI_MB_InstanceManipulation | CMPI_MB_AssociationTraversal | CMPI_MB_QueryExecution |
                CMPI_MB_OSEncapsulationSupport,
            CMPIVersion100,
            "in-process broker",
            slots::prepareAttachThread,
            slots::attachThread,
            slots::detachThread,
            deliverIndication,
            enumerateInstanceNames,
            getInstance,
            createInstance,
            modifyInstance,
            deleteInstance,
            execQuery,
            enumerateInstances,
            associators,
            associatorNames,
            references,
            referenceNames,
            invokeMethod,
            setProperty,
            getProperty};
}

}  // namespace broker
