// The operations on instances.
// Tests: tests/wbem/operations_test.cpp.
#include <algorithm>
#include <iterator>
#include <utility>

#include "broker/matching.h"
#include "cim/names.h"
#include "wbem/cimerror.h"
#include "wbem/operation.h"

namespace wbem {

namespace {

using broker::Broker;
using broker::Instance;
using broker::ObjectPath;
using broker::Response;

// --- what there is ---

/** The instances, and their paths, that the namespace itself has of that very class. */
Response ownInstances(const Namespace& space, const std::string& className) {
    Response own;
    for (const Instance& each : space.instances) {
        if (!cim::sameName(each.path.className, className)) continue;
        own.instances.push_back(each);
        own.paths.push_back(each.path);
    }
    return own;
}

/** The answer to a request for instances of a class: the provider's, where there is one. */
Response ask(const Operation& operation, const std::string& className,
             const std::function<Response(Broker&)>& request) {
    if (operation.space.manager == nullptr) return ownInstances(operation.space, className);
    return askProvider(operation, request);
}

/** The classes to ask for: the class and all below it, those left out that can have no instances. */
std::vector<std::string> concreteClasses(const Operation& operation, const std::string& name) {
    const mof::Class& top = requireClass(operation, name);
    std::vector<std::string> classes;
    if (!top.isAbstract()) classes.push_back(name);  // as the client spells it
    for (const mof::Class* below : operation.space.schema.subclasses(name, true))
        if (!below->isAbstract()) classes.push_back(below->name);
    return classes;
}

/** Which of the instances a get is about: the one with the keys of the path. A provider may deliver more than that. */
const Instance* picked(const std::vector<Instance>& delivered, const ObjectPath& name) {
    const broker::Wanted wanted(name);
    const auto found = std::find_if(delivered.begin(), delivered.end(), [&](const Instance& instance) {
        return broker::sameObject(instance.path, wanted);
    });
    return found != delivered.end() ? &*found : nullptr;
}

Instance instanceNamed(const Operation& operation, const ObjectPath& name) {
    if (requireClass(operation, name.className).isAbstract()) throw CimError(CMPI_RC_ERR_NOT_FOUND);
    const Response answer = ask(operation, name.className, [&](Broker& manager) { return manager.getInstance(name); });
    const Instance* instance = picked(answer.instances, name);
    if (instance == nullptr) throw CimError(CMPI_RC_ERR_NOT_FOUND);
    return *instance;
}

/** Refuses a request that would change instances of a class: the provider only reads. */
[[noreturn]] void refuseChange(const Operation& operation, const std::string& className) {
    requireClass(operation, className);
    throw CimError(CMPI_RC_ERR_NOT_SUPPORTED);
}

}  // namespace

void enumerateInstanceNames(Operation& operation) {
    const std::string name = operation.parameters.requiredClassName("ClassName");
    operation.parameters.refuseOthers();
    std::vector<ObjectPath> paths;
    for (const std::string& each : concreteClasses(operation, name)) {
        const Response answer = ask(operation, each, [&](Broker& manager) {
            return manager.enumerateInstanceNames({operation.nameSpace, each, {}});
        });
        paths.insert(paths.end(), answer.paths.begin(), answer.paths.end());
    }
    const pugi::xml_node result = operation.returnValue();
    for (const ObjectPath& path : paths) {
        operation.goOn();
        operation.encoder.instanceName(result, path);
    }
}

/** LocalOnly and IncludeQualifiers are taken and have no effect on instances. */
void enumerateInstances(Operation& operation) {
    Parameters& parameters = operation.parameters;
    const std::string name = parameters.requiredClassName("ClassName");
    parameters.flag("LocalOnly", false);
    const bool deep = parameters.flag("DeepInheritance", true);
    const View view = instanceView(operation);
    parameters.refuseOthers();
    std::vector<Instance> instances;
    for (const std::string& each : concreteClasses(operation, name)) {
        Response answer = ask(operation, each, [&](Broker& manager) {
            return manager.enumerateInstances({operation.nameSpace, each, {}});
        });
        std::move(answer.instances.begin(), answer.instances.end(), std::back_inserter(instances));
    }
    const mof::Schema& schema = operation.space.schema;
    const pugi::xml_node result = operation.returnValue();
    for (const Instance& instance : instances) {
        operation.goOn();
        const pugi::xml_node element = addElement(result, "VALUE.NAMEDINSTANCE");
        operation.encoder.instanceName(element, instance.path);
        View own = view;
        if (!deep && schema.isA(instance.path.className, name)) own.within = schema.find(name);
        operation.encoder.instance(element, instance, own);
    }
}

void getInstance(Operation& operation) {
    Parameters& parameters = operation.parameters;
    const ObjectPath name = parameters.requiredInstanceName("InstanceName");
    parameters.flag("LocalOnly", false);
    const View view = instanceView(operation);
    parameters.refuseOthers();
    operation.encoder.instance(operation.returnValue(), instanceNamed(operation, name), view);
}

/** A property without a value is answered with nothing. */
void getProperty(Operation& operation) {
    const ObjectPath name = operation.parameters.requiredInstanceName("InstanceName");
    const std::string property = operation.parameters.requiredText("PropertyName");
    operation.parameters.refuseOthers();
    const Instance instance = instanceNamed(operation, name);
    const broker::Value* value = instance.property(property);
    const mof::Class* declaration = operation.space.schema.find(instance.path.className);
    if (value == nullptr && (declaration == nullptr || declaration->property(property) == nullptr))
        throw CimError(CMPI_RC_ERR_NO_SUCH_PROPERTY);
    const pugi::xml_node result = operation.returnValue();
    if (value != nullptr) operation.encoder.value(result, *value);
}

void createInstance(Operation& operation) {
    const std::string className = operation.parameters.requiredInstance("NewInstance").path.className;
    operation.parameters.refuseOthers();
    refuseChange(operation, className);
}

void modifyInstance(Operation& operation) {
    const std::string className = operation.parameters.requiredNamedInstance("ModifiedInstance").path.className;
    operation.parameters.flag("IncludeQualifiers", true);
    operation.parameters.propertyList();
    operation.parameters.refuseOthers();
    refuseChange(operation, className);
}

void deleteInstance(Operation& operation) {
    const std::string className = operation.parameters.requiredInstanceName("InstanceName").className;
    operation.parameters.refuseOthers();
    refuseChange(operation, className);
}

void execQuery(Operation& operation) {
    operation.parameters.requiredText("QueryLanguage");
    operation.parameters.requiredText("Query");
    operation.parameters.refuseOthers();
    throw CimError(CMPI_RC_ERR_NOT_SUPPORTED);
}

}  // namespace wbem
