// A provider that does as a test tells it; see tinyprovider.h.
#include "tests/broker/tinyprovider.h"

#include <utility>

namespace tiny {

namespace {

const CMPIBroker* theBroker = nullptr;
Behaviour theBehaviour;

CMPIStatus answer(const Asked& asked) {
    if (!theBehaviour) return {CMPI_RC_ERR_NOT_SUPPORTED, nullptr};
    return theBehaviour(asked);
}

Asked asked(const char* operation, const CMPIContext* context, const CMPIResult* result, const CMPIObjectPath* path,
            const char** properties = nullptr, const CMPIInstance* instance = nullptr) {
    Asked question;
    question.operation = operation;
    question.broker = theBroker;
    question.context = context;
    question.result = result;
    question.path = path;
    question.properties = properties;
    question.instance = instance;
    return question;
}

Asked with(Asked question, const char* assocClass, const char* resultClass, const char* role, const char* resultRole) {
    question.assocClass = assocClass;
    question.resultClass = resultClass;
    question.role = role;
    question.resultRole = resultRole;
    return question;
}

template <typename Interface>
CMPIStatus cleanup(Interface*, const CMPIContext* context, CMPIBoolean terminating) {
    Asked question = asked("cleanup", context, nullptr, nullptr);
    question.terminating = terminating;
    return answer(question);
}

CMPIStatus enumerateInstanceNames(CMPIInstanceMI*, const CMPIContext* context, const CMPIResult* result,
                                  const CMPIObjectPath* path) {
    return answer(asked("enumerateInstanceNames", context, result, path));
}

CMPIStatus enumerateInstances(CMPIInstanceMI*, const CMPIContext* context, const CMPIResult* result,
                              const CMPIObjectPath* path, const char** properties) {
    return answer(asked("enumerateInstances", context, result, path, properties));
}

CMPIStatus getInstance(CMPIInstanceMI*, const CMPIContext* context, const CMPIResult* result,
                       const CMPIObjectPath* path, const char** properties) {
    return answer(asked("getInstance", context, result, path, properties));
}

CMPIStatus createInstance(CMPIInstanceMI*, const CMPIContext* context, const CMPIResult* result,
                          const CMPIObjectPath* path, const CMPIInstance* instance) {
    return answer(asked("createInstance", context, result, path, nullptr, instance));
}

CMPIStatus modifyInstance(CMPIInstanceMI*, const CMPIContext* context, const CMPIResult* result,
                          const CMPIObjectPath* path, const CMPIInstance* instance, const char** properties) {
    return answer(asked("modifyInstance", context, result, path, properties, instance));
}

CMPIStatus deleteInstance(CMPIInstanceMI*, const CMPIContext* context, const CMPIResult* result,
                          const CMPIObjectPath* path) {
    return answer(asked("deleteInstance", context, result, path));
}

CMPIStatus execQuery(CMPIInstanceMI*, const CMPIContext* context, const CMPIResult* result, const CMPIObjectPath* path,
                     const char* query, const char* language) {
    Asked question = asked("execQuery", context, result, path);
    question.query = query;
    question.language = language;
    return answer(question);
}

CMPIStatus associators(CMPIAssociationMI*, const CMPIContext* context, const CMPIResult* result,
                       const CMPIObjectPath* path, const char* assocClass, const char* resultClass, const char* role,
                       const char* resultRole, const char** properties) {
    const Asked question = asked("associators", context, result, path, properties);
    return answer(with(question, assocClass, resultClass, role, resultRole));
}

CMPIStatus associatorNames(CMPIAssociationMI*, const CMPIContext* context, const CMPIResult* result,
                           const CMPIObjectPath* path, const char* assocClass, const char* resultClass,
                           const char* role, const char* resultRole) {
    const Asked question = asked("associatorNames", context, result, path);
    return answer(with(question, assocClass, resultClass, role, resultRole));
}

CMPIStatus references(CMPIAssociationMI*, const CMPIContext* context, const CMPIResult* result,
                      const CMPIObjectPath* path, const char* resultClass, const char* role, const char** properties) {
    return answer(with(asked("references", context, result, path, properties), nullptr, resultClass, role, nullptr));
}

CMPIStatus referenceNames(CMPIAssociationMI*, const CMPIContext* context, const CMPIResult* result,
                          const CMPIObjectPath* path, const char* resultClass, const char* role) {
    return answer(with(asked("referenceNames", context, result, path), nullptr, resultClass, role, nullptr));
}

CMPIInstanceMIFT instanceTable{
    CMPIVersion100,     100,         "instanceTiny", cleanup<CMPIInstanceMI>, enumerateInstanceNames,
    enumerateInstances, getInstance, createInstance, modifyInstance,          deleteInstance,
    execQuery};
CMPIAssociationMIFT associationTable{
    CMPIVersion100,  100,        "associationTiny", cleanup<CMPIAssociationMI>, associators,
    associatorNames, references, referenceNames};
CMPIInstanceMI instanceInterface{nullptr, &instanceTable};
CMPIAssociationMI associationInterface{nullptr, &associationTable};

}  // namespace

std::string Asked::className() const {
    const CMPIString* name = path->ft->getClassName(path, nullptr);
    return name->ft->getCharPtr(name, nullptr);
}

void behave(Behaviour behaviour) {
    theBehaviour = std::move(behaviour);
}

CMPIInstanceMI* createInstanceMI(const CMPIBroker* broker, const CMPIContext*, CMPIStatus*) {
    theBroker = broker;
    return &instanceInterface;
}

CMPIAssociationMI* createAssociationMI(const CMPIBroker* broker, const CMPIContext*, CMPIStatus*) {
    theBroker = broker;
    return &associationInterface;
}

CMPIInstance* makeNumbered(const CMPIBroker* broker, const char* className, CMPIUint32 number) {
    CMPIObjectPath* path = broker->eft->newObjectPath(broker, "root/kavix", className, nullptr);
    CMPIValue value{};
    value.uint32 = number;
    path->ft->addKey(path, "Number", &value, CMPI_uint32);
    return broker->eft->newInstance(broker, path, nullptr);
}

}  // namespace tiny
