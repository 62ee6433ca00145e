// What an object manager answers, out of its message. Tests: tests/client/answer_test.cpp.
#include "client/answer.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

#include "cim/names.h"
#include "mof/embedded.h"
#include "wbem/objects.h"
#include "wbem/protocolerror.h"
#include "wbem/xml.h"

namespace client {

namespace {

using broker::Instance;
using broker::ObjectPath;
using broker::Property;
using broker::Value;

constexpr std::size_t kShownText = 300;  // of what an object manager says
constexpr int kMostParts = 256;

// --- objects as the provider made them ---

void orderKeys(ObjectPath& path);

/** The paths among the values. */
void orderReferences(std::vector<Property>& properties) {
    for (Property& property : properties) {
        const auto* reference = std::get_if<std::shared_ptr<ObjectPath>>(&property.value.data);
        if (reference != nullptr && *reference) orderKeys(**reference);
    }
}

void orderKeys(ObjectPath& path) {
    orderReferences(path.keys);
    const mof::Class* declared = schema::declared().find(path.className);
    if (declared == nullptr) return;
    const auto place = [&](const Property& key) {
        const auto isKey = [&](const mof::Property& each) { return cim::sameName(each.name, key.name); };
        return std::find_if(declared->properties.begin(), declared->properties.end(), isKey);
    };
    std::stable_sort(path.keys.begin(), path.keys.end(),
                     [&](const Property& a, const Property& b) { return place(a) < place(b); });
}

void takeKeysFromPath(Instance& instance) {
    std::vector<Property> missing;
    for (const Property& key : instance.path.keys) {
        Property* property = cim::findNamed(instance.properties, key.name);
        if (property == nullptr)
            missing.push_back(key);
        else if (property->value.null)
            property->value = key.value;
    }
    instance.properties.insert(instance.properties.begin(), std::make_move_iterator(missing.begin()),
                               std::make_move_iterator(missing.end()));
}

Instance asMade(Instance instance, ObjectPath path) {
    instance.path = std::move(path);
    orderReferences(instance.properties);
    takeKeysFromPath(instance);
    const auto isNull = [](const Property& property) { return property.value.null; };
    instance.properties.erase(std::remove_if(instance.properties.begin(), instance.properties.end(), isNull),
                              instance.properties.end());
    return instance;
}

// --- elements ---

/**
 * Objects take time by the square of their parts, tables room by objects times names. No class has so many parts, nor
 * have all together so many names: throws where there are more.
 */
class PartsOfObjects : public pugi::xml_tree_walker {
    bool for_each(pugi::xml_node& element) override {
        const std::string_view name = element.name();
        if (name != "INSTANCE" && name != "INSTANCENAME") return true;
        const char* what = name == "INSTANCE" ? "properties" : "keys";
        if (std::distance(element.begin(), element.end()) > kMostParts)
            throw std::runtime_error(fmt::format("an {} with more than {} {}", name, kMostParts, what));
        for (const pugi::xml_node part : element) names_.insert(part.attribute("NAME").value());
        if (names_.size() > kMostParts)
            throw std::runtime_error(fmt::format("{} of more than {} names", what, kMostParts));
        return true;
    }

    std::set<std::string> names_;
};

/** The child element of that name; throws where there is none. */
pugi::xml_node within(pugi::xml_node parent, const char* name) {
    pugi::xml_node child = parent.child(name);
    if (!child) throw std::runtime_error(fmt::format("{} without {}", parent.name(), name));
    return child;
}

ObjectPath namedBy(pugi::xml_node instanceName, const std::string& nameSpace) {
    ObjectPath path = wbem::readInstanceName(instanceName, nameSpace);
    orderKeys(path);
    return path;
}

/** Of an INSTANCEPATH, which tells the namespace. */
ObjectPath pathOf(pugi::xml_node parent) {
    const pugi::xml_node path = within(parent, "INSTANCEPATH");
    const pugi::xml_node place = within(within(path, "NAMESPACEPATH"), "LOCALNAMESPACEPATH");
    return namedBy(within(path, "INSTANCENAME"), wbem::readNamespace(place));
}

/** Adds the object that an element of the return value is. */
void addObject(broker::Response& response, const Request& request, pugi::xml_node element) {
    const std::string& nameSpace = request.object.nameSpace;
    switch (request.operation) {
        case Operation::enumerateInstanceNames:
            response.paths.push_back(namedBy(element, nameSpace));
            return;
        case Operation::enumerateInstances: {
            ObjectPath path = namedBy(within(element, "INSTANCENAME"), nameSpace);
            Instance instance = wbem::readInstance(within(element, "INSTANCE"), nameSpace);
            response.instances.push_back(asMade(std::move(instance), std::move(path)));
            return;
        }
        case Operation::associatorNames:
        case Operation::referenceNames:
            response.paths.push_back(pathOf(element));
            return;
        case Operation::associators:
        case Operation::references: {
            ObjectPath path = pathOf(element);
            Instance instance = wbem::readInstance(within(element, "INSTANCE"), path.nameSpace);
            response.instances.push_back(asMade(std::move(instance), std::move(path)));
            return;
        }
    }
}

/** What each object of an answer is written as. */
const char* elementOf(Operation operation) {
    switch (operation) {
        case Operation::enumerateInstances:
            return "VALUE.NAMEDINSTANCE";
        case Operation::enumerateInstanceNames:
            return "INSTANCENAME";
        case Operation::associators:
        case Operation::references:
            return "VALUE.OBJECTWITHPATH";
        default:
            return "OBJECTPATH";
    }
}

/** Of an ERROR. */
broker::Response refused(pugi::xml_node error) {
    const std::string code = error.attribute("CODE").value();
    unsigned number = 0;
    const auto [end, problem] = std::from_chars(code.data(), code.data() + code.size(), number);
    if (problem != std::errc() || end != code.data() + code.size() || number == 0)
        throw std::runtime_error(fmt::format("an error with the code '{}'", code.substr(0, kShownText)));
    broker::Response response;
    response.status = static_cast<CMPIrc>(number);
    response.message = std::string(error.attribute("DESCRIPTION").value()).substr(0, kShownText);
    return response;
}

pugi::xml_document documentOf(const std::string& message) {
    try {
        return wbem::parseXml(message, kMaxAnswerParts);
    } catch (const wbem::ProtocolError&) {
        const std::string mended = wbem::xmlText(message);
        if (mended == message) throw;
        return wbem::parseXml(mended, kMaxAnswerParts);
    }
}

// --- what it takes ---

constexpr std::size_t kBlock = 16;  // of an allocation besides its contents

std::size_t roomOf(const ObjectPath& path);
std::size_t roomOf(const Instance& instance);

std::size_t roomOf(const std::string& text) {
    constexpr std::size_t kWithin = 15;
    return text.capacity() > kWithin ? text.capacity() + kBlock : 0;
}

std::size_t roomOf(const Value& value) {
    if (const auto* text = std::get_if<std::string>(&value.data)) return roomOf(*text);
    if (const auto* path = std::get_if<std::shared_ptr<ObjectPath>>(&value.data))
        return *path ? sizeof(ObjectPath) + 2 * kBlock + roomOf(**path) : 0;
    if (const auto* instance = std::get_if<std::shared_ptr<Instance>>(&value.data))
        return *instance ? sizeof(Instance) + 2 * kBlock + roomOf(**instance) : 0;
    const auto* elements = std::get_if<std::vector<Value>>(&value.data);
    if (elements == nullptr) return 0;
    std::size_t room = elements->capacity() * sizeof(Value) + kBlock;
    for (const Value& element : *elements) room += roomOf(element);
    return room;
}

std::size_t roomOf(const std::vector<Property>& properties) {
    std::size_t room = properties.capacity() * sizeof(Property) + kBlock;
    for (const Property& property : properties) room += roomOf(property.name) + roomOf(property.value);
    return room;
}

std::size_t roomOf(const ObjectPath& path) {
    return roomOf(path.nameSpace) + roomOf(path.className) + roomOf(path.keys);
}

std::size_t roomOf(const Instance& instance) {
    return roomOf(instance.path) + roomOf(instance.properties);
}

}  // namespace

std::size_t roomOf(const broker::Response& response) {
    std::size_t room =
        response.instances.capacity() * sizeof(Instance) + response.paths.capacity() * sizeof(ObjectPath);
    for (const Instance& instance : response.instances) room += roomOf(instance);
    for (const ObjectPath& path : response.paths) room += roomOf(path);
    return room + sizeof(response) + roomOf(response.message);
}

broker::Response readAnswer(const Request& request, const std::string& message) {
    pugi::xml_document document = documentOf(message);
    PartsOfObjects parts;
    document.traverse(parts);
    const pugi::xml_node cim = document.document_element();
    if (std::string(cim.name()) != "CIM") throw std::runtime_error("the document is no CIM message");
    const pugi::xml_node answer = within(within(within(cim, "MESSAGE"), "SIMPLERSP"), "IMETHODRESPONSE");
    if (!cim::sameName(answer.attribute("NAME").value(), methodOf(request.operation)))
        throw std::runtime_error("the answer is one to another operation");
    if (const pugi::xml_node error = answer.child("ERROR")) return refused(error);
    broker::Response response;
    for (const pugi::xml_node element : answer.child("IRETURNVALUE")) {
        if (element.type() != pugi::node_element) continue;
        if (std::string(element.name()) != elementOf(request.operation))
            throw std::runtime_error(fmt::format("there is no {} in such an answer", element.name()));
        addObject(response, request, element);
    }
    return response;
}

}  // namespace client
