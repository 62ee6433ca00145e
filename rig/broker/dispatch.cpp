// Requests as object managers pass them on, and answers as they send them. Tests: tests/broker/manners_test.cpp.
#include "broker/dispatch.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include "cim/names.h"

namespace broker::dispatch {

namespace {

/** Adds what another call of the provider brought. The first error stays. */
void append(Response& all, Response more) {
    if (all.status == CMPI_RC_OK) all.status = more.status;
    all.hasMessage = all.hasMessage || more.hasMessage;
    std::move(more.instances.begin(), more.instances.end(), std::back_inserter(all.instances));
    std::move(more.paths.begin(), more.paths.end(), std::back_inserter(all.paths));
    all.doneCalls += more.doneCalls;
    all.deliveredAfterDone += more.deliveredAfterDone;
}

Response answered(CMPIrc status) {
    Response response;
    response.status = status;
    return response;
}

/** One call if the filters let the request pass; an association class that nobody knows is an error. */
Response byFilter(const Broker& broker, const Filters& filters, std::optional<std::string> Filters::*association,
                  const AskFiltered& ask) {
    if (const std::optional<std::string>& name = filters.*association) {
        const ClassDeclaration* named = broker.classes().find(*name);
        if (named == nullptr) return answered(CMPI_RC_ERR_NOT_FOUND);
        if (!named->isAssociation) return {};
    }
    if (filters.resultClass && broker.classes().find(*filters.resultClass) == nullptr) return {};
    return ask(filters);
}

/** One call for each association class that fits the source and the client's filter. */
Response perReference(const Broker& broker, const ObjectPath& source, const Filters& filters,
                      std::optional<std::string> Filters::*association, const AskFiltered& ask) {
    const std::optional<std::string>& wanted = filters.*association;
    Filters told = filters;
    Response all;
    for (const std::string& name : broker.classes().associationsOf(source.className)) {
        if (wanted && !broker.classes().isA(name, *wanted)) continue;
        told.*association = name;
        append(all, ask(told));
    }
    return all;
}

ObjectPath listed(const Broker& broker, ObjectPath path);

/** Does the same with the paths among the values. */
void listReferences(const Broker& broker, std::vector<Property>& properties) {
    for (Property& property : properties) {
        const auto* reference = std::get_if<std::shared_ptr<ObjectPath>>(&property.value.data);
        if (reference != nullptr) property.value = Value::reference(listed(broker, **reference));
    }
}

/** The path with its keys in the order in which the manager lists them. */
ObjectPath listed(const Broker& broker, ObjectPath path) {
    listReferences(broker, path.keys);
    const ClassDeclaration* declaration = broker.classes().find(path.className);
    if (declaration == nullptr) return path;
    const auto isInherited = [&](const Property& key) {
        const PropertyDeclaration* property = declaration->property(key.name);
        return property != nullptr && property->isInherited;
    };
    std::reverse(path.keys.begin(), std::stable_partition(path.keys.begin(), path.keys.end(), isInherited));
    return path;
}

Response descend(const Broker& broker, const ObjectPath& classPath, const AskClass& ask) {
    Response all;
    for (const std::string& name : broker.classes().concreteFrom(classPath.className)) {
        ObjectPath path = classPath;
        if (!cim::sameName(name, path.className)) path.className = name;  // its own is left as the client spells it
        append(all, ask(path));
    }
    return all;
}

}  // namespace

Response enumeration(const Broker& broker, const ObjectPath& classPath, const AskClass& ask) {
    const bool descends =
        broker.dispatches(manners::kEnumerationDescends) && broker.classes().find(classPath.className) != nullptr;
    return descends ? descend(broker, classPath, ask) : ask(classPath);
}

Response got(const Broker& broker, const ObjectPath& path, Response delivered) {
    if (!broker.dispatches(manners::kGetGivesFirst) || delivered.status != CMPI_RC_OK) return delivered;
    if (delivered.instances.empty()) {
        delivered.status = CMPI_RC_ERR_NOT_FOUND;
        return delivered;
    }
    delivered.instances.resize(1);
    delivered.instances.front().path = path;
    return delivered;
}

Response association(const Broker& broker, const ObjectPath& source, const Filters& filters,
                     std::optional<std::string> Filters::*association, const AskFiltered& ask) {
    switch (broker.dispatches(manners::kAssociationDispatch)) {
        case manners::Dispatch::byFilter:
            return byFilter(broker, filters, association, ask);
        case manners::Dispatch::perReference:
            return perReference(broker, source, filters, association, ask);
        default:
            return ask(filters);
    }
}

ObjectPath arrived(const Broker& broker, ObjectPath path) {
    if (!broker.behaviour(manners::kIntegerKeysWidened)) return path;
    for (Property& key : path.keys) {
        if (key.value.null) continue;
        if (std::holds_alternative<std::uint64_t>(key.value.data)) key.value.type = CMPI_uint64;
        if (std::holds_alternative<std::int64_t>(key.value.data)) key.value.type = CMPI_sint64;
        if (const auto* reference = std::get_if<std::shared_ptr<ObjectPath>>(&key.value.data)) {
            key.value = Value::reference(arrived(broker, **reference));
        }
    }
    return path;
}

Response listed(const Broker& broker, Response response) {
    if (broker.dispatches(manners::kOrderOfKeys) == manners::Order::asMade) return response;
    for (Instance& instance : response.instances) {
        instance.path = listed(broker, std::move(instance.path));
        listReferences(broker, instance.properties);
    }
    for (ObjectPath& path : response.paths) path = listed(broker, std::move(path));
    return response;
}

}  // namespace broker::dispatch
