#include "wbem/operations.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <optional>
#include <sstream>
#include <utility>
#include <vector>

#include "broker/matching.h"
#include "text/names.h"
#include "wbem/cimerror.h"
#include "wbem/encoder.h"
#include "wbem/parameters.h"
#include "wbem/values.h"
#include "wbem/xml.h"

namespace wbem {

namespace {

using broker::Broker;
using broker::Instance;
using broker::ObjectPath;
using broker::Response;

/** One operation under way. */
struct Operation {
    Broker& manager;
    const mof::Schema& schema;
    std::string nameSpace;
    Parameters parameters;
    Encoder encoder;
    pugi::xml_node response;

    pugi::xml_node returnValue() const { return addElement(response, "IRETURNVALUE"); }
};

// --- the provider ---

/** What the provider makes of a request; an error status, and an exception, is thrown as CimError. */
template <class Request>
Response askProvider(Request request) {
    Response answer;
    try {
        answer = request();
    } catch (const std::exception& error) {
        throw CimError(CMPI_RC_ERR_FAILED, std::string("The provider threw an exception: ") + error.what());
    } catch (...) {
        throw CimError(CMPI_RC_ERR_FAILED, "The provider threw an exception");
    }
    if (answer.status != CMPI_RC_OK) throw CimError(answer.status);
    return answer;
}

const mof::Class& requireClass(const Operation& operation, const std::string& name) {
    const mof::Class* found = operation.schema.find(name);
    if (found == nullptr) throw CimError(CMPI_RC_ERR_INVALID_CLASS);
    return *found;
}

// --- instances ---

/** The class and all below it, those left out that can have no instances. */
std::vector<std::string> concreteClasses(const Operation& operation, const std::string& name) {
    const mof::Class& top = requireClass(operation, name);
    std::vector<std::string> classes;
    if (!top.isAbstract()) classes.push_back(name);  // as the client spells it
    for (const mof::Class* below : operation.schema.subclasses(name, true))
        if (!below->isAbstract()) classes.push_back(below->name);
    return classes;
}

void enumerateInstanceNames(Operation& operation) {
    const std::string name = operation.parameters.requiredClassName("ClassName");
    operation.parameters.refuseOthers();
    std::vector<ObjectPath> paths;
    for (const std::string& each : concreteClasses(operation, name)) {
        const Response answer = askProvider([&] {
            return operation.manager.enumerateInstanceNames({operation.nameSpace, each, {}});
        });
        paths.insert(paths.end(), answer.paths.begin(), answer.paths.end());
    }
    const pugi::xml_node result = operation.returnValue();
    for (const ObjectPath& path : paths) operation.encoder.instanceName(result, path);
}

/** The parameters that say what of an instance is shown. LocalOnly and IncludeQualifiers are taken and have no effect.
 */
View instanceView(Parameters& parameters) {
    View view;
    parameters.flag("IncludeQualifiers", false);
    view.classOrigin = parameters.flag("IncludeClassOrigin", false);
    view.properties = parameters.propertyList();
    return view;
}

void enumerateInstances(Operation& operation) {
    Parameters& parameters = operation.parameters;
    const std::string name = parameters.requiredClassName("ClassName");
    parameters.flag("LocalOnly", false);
    const bool deep = parameters.flag("DeepInheritance", true);
    const View view = instanceView(parameters);
    parameters.refuseOthers();
    std::vector<Instance> instances;
    for (const std::string& each : concreteClasses(operation, name)) {
        Response answer = askProvider([&] {
            return operation.manager.enumerateInstances({operation.nameSpace, each, {}});
        });
        std::move(answer.instances.begin(), answer.instances.end(), std::back_inserter(instances));
    }
    const pugi::xml_node result = operation.returnValue();
    for (const Instance& instance : instances) {
        const pugi::xml_node element = addElement(result, "VALUE.NAMEDINSTANCE");
        operation.encoder.instanceName(element, instance.path);
        View own = view;
        if (!deep && operation.schema.isA(instance.path.className, name)) own.within = operation.schema.find(name);
        operation.encoder.instance(element, instance, own);
    }
}

/** A provider may deliver more than the instance that is asked for. */
void getInstance(Operation& operation) {
    Parameters& parameters = operation.parameters;
    const ObjectPath name = parameters.requiredInstanceName("InstanceName");
    parameters.flag("LocalOnly", false);
    const View view = instanceView(parameters);
    parameters.refuseOthers();
    if (requireClass(operation, name.className).isAbstract()) throw CimError(CMPI_RC_ERR_NOT_FOUND);
    const Response answer = askProvider([&] { return operation.manager.getInstance(name); });
    const auto found = std::find_if(answer.instances.begin(), answer.instances.end(),
                                    [&](const Instance& instance) { return broker::sameObject(instance.path, name); });
    if (found == answer.instances.end()) throw CimError(CMPI_RC_ERR_NOT_FOUND);
    operation.encoder.instance(operation.returnValue(), *found, view);
}

/** The properties that are keys in the schema, as keys of the path. */
void addKeys(Instance& instance, const mof::Class& declaration) {
    for (const broker::Property& each : instance.properties) {
        const mof::Property* declared = declaration.property(each.name);
        if (declared != nullptr && declared->isKey()) instance.path.keys.push_back(each);
    }
}

void createInstance(Operation& operation) {
    Instance instance = operation.parameters.requiredInstance("NewInstance");
    operation.parameters.refuseOthers();
    addKeys(instance, requireClass(operation, instance.path.className));
    const Response answer = askProvider([&] { return operation.manager.createInstance(instance.path, instance); });
    const ObjectPath& created = answer.paths.empty() ? instance.path : answer.paths.front();
    operation.encoder.instanceName(operation.returnValue(), created);
}

void modifyInstance(Operation& operation) {
    const Instance instance = operation.parameters.requiredNamedInstance("ModifiedInstance");
    operation.parameters.flag("IncludeQualifiers", true);
    operation.parameters.propertyList();
    operation.parameters.refuseOthers();
    requireClass(operation, instance.path.className);
    askProvider([&] { return operation.manager.modifyInstance(instance.path, instance); });
}

void deleteInstance(Operation& operation) {
    const ObjectPath name = operation.parameters.requiredInstanceName("InstanceName");
    operation.parameters.refuseOthers();
    requireClass(operation, name.className);
    askProvider([&] { return operation.manager.deleteInstance(name); });
}

/** The class that a query selects from: the name behind FROM; empty where there is none. */
std::string queriedClass(const std::string& query) {
    std::istringstream words(query);
    std::string word;
    while (words >> word && !text::sameName(word, "from")) {
    }
    std::string name;
    words >> name;
    return name;
}

void execQuery(Operation& operation) {
    const std::string language = operation.parameters.requiredText("QueryLanguage");
    const std::string query = operation.parameters.requiredText("Query");
    operation.parameters.refuseOthers();
    const ObjectPath source{operation.nameSpace, queriedClass(query), {}};
    const Response answer = askProvider([&] { return operation.manager.execQuery(source, query, language); });
    const pugi::xml_node result = operation.returnValue();
    for (const Instance& instance : answer.instances)
        operation.encoder.instance(addElement(result, "VALUE.OBJECT"), instance, {});
}

// --- associations ---

/** The object that an association request starts at. */
ObjectPath sourceOf(Parameters& parameters) {
    const auto [path, isClass] = parameters.requiredObjectName("ObjectName");
    if (isClass) throw CimError(CMPI_RC_ERR_NOT_SUPPORTED, "Associations of classes are not supported");
    return path;
}

std::optional<std::string> classFilter(Operation& operation, const char* parameter) {
    std::optional<std::string> name = operation.parameters.className(parameter);
    if (name && operation.schema.find(*name) == nullptr)
        throw invalidParameter(std::string("The class that ") + parameter + " names does not exist");
    return name;
}

using AssociationRequest = Response (Broker::*)(const ObjectPath&, const broker::Filters&);

/** Reads the filters, and what else there is with `readRest`; then asks the provider. */
template <class ReadRest>
Response askAssociations(Operation& operation, AssociationRequest request, bool ofAssociators, ReadRest readRest) {
    Parameters& parameters = operation.parameters;
    const ObjectPath source = sourceOf(parameters);
    broker::Filters filters;
    filters.resultClass = classFilter(operation, "ResultClass");
    filters.role = parameters.text("Role");
    if (ofAssociators) {
        filters.assocClass = classFilter(operation, "AssocClass");
        filters.resultRole = parameters.text("ResultRole");
    }
    readRest();
    parameters.refuseOthers();
    return askProvider([&] { return (operation.manager.*request)(source, filters); });
}

template <AssociationRequest request, bool ofAssociators>
void associatedObjects(Operation& operation) {
    View view;
    const Response answer =
        askAssociations(operation, request, ofAssociators, [&] { view = instanceView(operation.parameters); });
    const pugi::xml_node result = operation.returnValue();
    for (const Instance& instance : answer.instances) {
        const pugi::xml_node element = addElement(result, "VALUE.OBJECTWITHPATH");
        operation.encoder.instancePath(element, instance.path);
        operation.encoder.instance(element, instance, view);
    }
}

template <AssociationRequest request, bool ofAssociators>
void associatedNames(Operation& operation) {
    const Response answer = askAssociations(operation, request, ofAssociators, [] {});
    const pugi::xml_node result = operation.returnValue();
    for (const ObjectPath& path : answer.paths) operation.encoder.instancePath(addElement(result, "OBJECTPATH"), path);
}

// --- classes ---

/** The parameters that say what of a class is shown. */
View classView(Parameters& parameters) {
    View view;
    view.localOnly = parameters.flag("LocalOnly", true);
    view.qualifiers = parameters.flag("IncludeQualifiers", true);
    view.classOrigin = parameters.flag("IncludeClassOrigin", false);
    return view;
}

/** The classes below the one that ClassName tells, or below the top. */
std::vector<const mof::Class*> askedSubclasses(Operation& operation) {
    const std::optional<std::string> name = operation.parameters.className("ClassName");
    const bool deep = operation.parameters.flag("DeepInheritance", false);
    if (name) requireClass(operation, *name);
    return operation.schema.subclasses(name.value_or(""), deep);
}

void enumerateClassNames(Operation& operation) {
    const std::vector<const mof::Class*> classes = askedSubclasses(operation);
    operation.parameters.refuseOthers();
    const pugi::xml_node result = operation.returnValue();
    for (const mof::Class* each : classes) operation.encoder.className(result, each->name);
}

void enumerateClasses(Operation& operation) {
    const std::vector<const mof::Class*> classes = askedSubclasses(operation);
    const View view = classView(operation.parameters);
    operation.parameters.refuseOthers();
    const pugi::xml_node result = operation.returnValue();
    for (const mof::Class* each : classes) operation.encoder.classElement(result, *each, view);
}

void getClass(Operation& operation) {
    const std::string name = operation.parameters.requiredClassName("ClassName");
    View view = classView(operation.parameters);
    view.properties = operation.parameters.propertyList();
    operation.parameters.refuseOthers();
    const mof::Class& found = requireClass(operation, name);
    operation.encoder.classElement(operation.returnValue(), found, view);
}

// --- dispatch ---

struct Intrinsic {
    const char* name;
    void (*perform)(Operation&);
};

constexpr Intrinsic kIntrinsics[] = {
    {"EnumerateInstanceNames", enumerateInstanceNames},
    {"EnumerateInstances", enumerateInstances},
    {"GetInstance", getInstance},
    {"CreateInstance", createInstance},
    {"ModifyInstance", modifyInstance},
    {"DeleteInstance", deleteInstance},
    {"ExecQuery", execQuery},
    {"Associators", associatedObjects<&Broker::associators, true>},
    {"AssociatorNames", associatedNames<&Broker::associatorNames, true>},
    {"References", associatedObjects<&Broker::references, false>},
    {"ReferenceNames", associatedNames<&Broker::referenceNames, false>},
    {"EnumerateClassNames", enumerateClassNames},
    {"EnumerateClasses", enumerateClasses},
    {"GetClass", getClass},
};

/** Methods of classes are not invoked: a provider of instances and associations has none. */
const Intrinsic& supported(const Call& call) {
    for (const Intrinsic& each : kIntrinsics)
        if (call.intrinsic && text::sameName(each.name, call.method)) return each;
    throw CimError(CMPI_RC_ERR_NOT_SUPPORTED);
}

void declare(Broker& manager, const mof::Class& declaration) {
    std::vector<std::pair<std::string, CMPIType>> properties;
    for (const mof::Property& each : declaration.properties) {
        const CMPIType type = typeNamed(mof::typeName(each.type)).value();
        properties.emplace_back(each.name, each.array ? static_cast<CMPIType>(type | CMPI_ARRAY) : type);
    }
    manager.declareClass(declaration.name, properties);
}

}  // namespace

Operations::Operations(Broker& manager, const mof::Schema& schema, std::string nameSpace)
    : manager_(manager), schema_(schema), nameSpace_(std::move(nameSpace)) {
    for (const mof::Class& each : schema.classes()) declare(manager, each);
}

void Operations::perform(const Call& call, const std::string& host, pugi::xml_node response) const {
    const Intrinsic& intrinsic = supported(call);  // DSP0200 has this error come before all others
    if (!text::sameName(call.nameSpace, nameSpace_)) throw CimError(CMPI_RC_ERR_INVALID_NAMESPACE);
    Operation operation{
        manager_, schema_, call.nameSpace, Parameters(call.element, call.nameSpace), Encoder(schema_, host), response};
    intrinsic.perform(operation);
}

}  // namespace wbem
