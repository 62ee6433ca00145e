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
    std::move(more.data.begin(), more.data.end(), std::back_inserter(all.data));
    all.doneCalls += more.doneCalls;
    all.deliveredAfterDone += more.deliveredAfterDone;
}

Response answered(CMPIrc status) {
    Response response;
    response.status = status;
    return response;
}

/** One call if the filters let the request pass; an association class that nobody knows is an error. */
Response byFilter(const Core& core, const Filters& filters, std::optional<std::string> Filters::*association,
                  const AskFiltered& ask) {
    if (const std::optional<std::string>& name = filters.*association) {
        const Classes::Declaration named = core.classes.find(*name);
        if (named == nullptr) return answered(CMPI_RC_ERR_NOT_FOUND);
        if (!named->isAssociation) return {};
    }
    if (filters.resultClass && core.classes.find(*filters.resultClass) == nullptr) return {};
    return ask(filters);
}

/** One call for each association class that fits the source and the client's filter. */
Response perReference(const Core& core, const ObjectPath& source, const Filters& filters,
                      std::optional<std::string> Filters::*association, const AskFiltered& ask) {
    const std::optional<std::string>& wanted = filters.*association;
    Filters told = filters;
    Response all;
    for (const std::string& name : core.classes.associationsOf(source.className)) {
        if (wanted && !core.classes.isA(name, *wanted)) continue;
        told.*association = name;
        append(all, ask(told));
    }
    return all;
}

ObjectPath listed(const Core& core, ObjectPath path);

/** Does the same with the paths among the values. */
void listReferences(const Core& core, std::vector<Property>& properties) {
    for (Property& property : properties) {
        const auto* reference = std::get_if<std::shared_ptr<ObjectPath>>(&property.value.data);
        if (reference != nullptr) property.value = Value::reference(listed(core, **reference));
    }
}

/** The path with its keys in the order in which the manager lists them. */
ObjectPath listed(const Core& core, ObjectPath path) {
    listReferences(core, path.keys);
    const Classes::Declaration declaration = core.classes.find(path.className);
    if (declaration == nullptr) return path;
    const auto isInherited = [&](const Property& key) {
        const PropertyDeclaration* property = declaration->property(key.name);
        return property != nullptr && property->isInherited;
    };
    std::reverse(path.keys.begin(), std::stable_partition(path.keys.begin(), path.keys.end(), isInherited));
    return path;
}

Response descend(const Core& core, const ObjectPath& classPath, const AskClass& ask) {
    Response all;
    for (const std::string& name : core.classes.concreteFrom(classPath.className)) {
        ObjectPath path = classPath;
        if (!cim::sameName(name, path.className)) path.className = name;  // its own is left as the client spells it
        append(all, ask(path));
    }
    return all;
}

}  // namespace

Response enumeration(const Core& core, const ObjectPath& classPath, const AskClass& ask) {
    const bool descends =
        core.dispatches(manners::kEnumerationDescends) && core.classes.find(classPath.className) != nullptr;
    return descends ? descend(core, classPath, ask) : ask(classPath);
}

Response got(const Core& core, const ObjectPath& path, Response delivered) {
    if (!core.dispatches(manners::kGetGivesFirst) || delivered.status != CMPI_RC_OK) return delivered;
    if (delivered.instances.empty()) {
        delivered.status = CMPI_RC_ERR_NOT_FOUND;
        return delivered;
    }
    delivered.instances.resize(1);
    delivered.instances.front().path = path;
    return delivered;
}

Response association(const Core& core, const ObjectPath& source, const Filters& filters,
                     std::optional<std::string> Filters::*association, const AskFiltered& ask) {
    switch (core.dispatches(manners::kAssociationDispatch)) {
        case manners::Dispatch::byFilter:
            return byFilter(core, filters, association, ask);
        case manners::Dispatch::perReference:
            return perReference(core, source, filters, association, ask);
        default:
            return ask(filters);
    }
}

ObjectPath arrived(const Core& core, ObjectPath path) {
    if (!core.behaviour(manners::kIntegerKeysWidened)) return path;
    for (Property& key : path.keys) {
        if (key.value.null) continue;
        if (std::holds_alternative<std::uint64_t>(key.value.data)) key.value.type = CMPI_uint64;
        if (std::holds_alternative<std::int64_t>(key.value.data)) key.value.type = CMPI_sint64;
        if (const auto* reference = std::get_if<std::shared_ptr<ObjectPath>>(&key.value.data)) {
            key.value = Value::reference(arrived(core, **reference));
        }
    }
    return path;
}

Response listed(const Core& core, Response response) {
    if (core.dispatches(manners::kOrderOfKeys) == manners::Order::asMade) return response;
    for (Instance& instance : response.instances) {
        instance.path = listed(core, std::move(instance.path));
        listReferences(core, instance.properties);
    }
    for (ObjectPath& path : response.paths) path = listed(core, std::move(path));
    return response;
}

}  // namespace broker::dispatch
