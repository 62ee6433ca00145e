#include "broker/broker.h"

#include <dlfcn.h>

#include <algorithm>
#include <stdexcept>

#include "broker/core.h"
#include "broker/dispatch.h"
#include "broker/objects.h"
#include "broker/request.h"

namespace broker {

namespace {

struct CloseLibrary {
    void operator()(void* library) const { dlclose(library); }
};

// The loader keeps its message per thread.
std::string loaderMessage() {
    const char* message = dlerror();  // NOLINT(concurrency-mt-unsafe)
    return message == nullptr ? "unknown error of the loader" : message;
}

template <class Function>
Function symbol(void* library, const std::string& name) {
    void* address = dlsym(library, name.c_str());
    if (address == nullptr) throw std::runtime_error(loaderMessage());
    return reinterpret_cast<Function>(address);
}

/** The interface that a factory makes; null where the provider has no such factory. */
template <class Factory>
auto create(Core& core, Factory factory, const char* what) -> decltype(factory(nullptr, nullptr, nullptr)) {
    if (factory == nullptr) return nullptr;
    const Session session(core);
    CMPIStatus status{CMPI_RC_OK, nullptr};
    auto* interface = factory(&core.record, core.make<ContextObject>().handle(), &status);
    if (interface == nullptr || status.rc != CMPI_RC_OK) {
        throw std::runtime_error(std::string("the provider's factory gives no ") + what + " interface (" +
                                 statusName(status.rc) + ")");
    }
    return interface;
}

template <class Interface>
CMPIrc cleanUp(Core& core, Interface* interface, bool terminating) {
    if (interface == nullptr) return CMPI_RC_OK;
    const Session session(core);
    const CMPIContext* context = core.make<ContextObject>().handle();
    return interface->ft->cleanup(interface, context, terminating ? 1 : 0).rc;
}

const char* orNull(const std::optional<std::string>& text) {
    return text ? text->c_str() : nullptr;
}

}  // namespace

struct Broker::State {
    explicit State(Manners manners) : core(manners) {}

    std::vector<std::unique_ptr<void, CloseLibrary>> libraries;
    Core core;

    Response enumerate(const ObjectPath& classPath, const dispatch::AskClass& request) const {
        return dispatch::listed(core, dispatch::enumeration(core, classPath, request));
    }

    Response associate(const ObjectPath& source, const Filters& filters,
                       std::optional<std::string> Filters::*association, const dispatch::AskFiltered& request) const {
        return dispatch::listed(core, dispatch::association(core, source, filters, association, request));
    }

    template <class Slot, class... Arguments>
    Response askInstance(Slot slot, const ObjectPath& path, Arguments... arguments) {
        const Session session(core);
        const CMPIObjectPath* asked = core.make<PathObject>(dispatch::arrived(core, path)).handle();
        return ask(core, core.instanceMI, nullptr, slot, asked, arguments...);
    }

    template <class Slot, class... Arguments>
    Response askAssociation(Slot slot, const ObjectPath& path, Arguments... arguments) {
        const Session session(core);
        const CMPIObjectPath* asked = core.make<PathObject>(dispatch::arrived(core, path)).handle();
        return ask(core, core.associationMI, nullptr, slot, asked, arguments...);
    }
};

Broker::Broker(Manners manners) : state_(std::make_unique<State>(manners)) {}

Broker::~Broker() = default;

void Broker::attach(CreateInstanceMI instance, CreateAssociationMI association) {
    Core& core = state_->core;
    CMPIInstanceMI* instanceMI = create(core, instance, "instance");
    CMPIAssociationMI* associationMI = create(core, association, "association");
    core.instanceMI = instanceMI;
    core.associationMI = associationMI;
}

void Broker::load(const std::string& library, const std::string& name) {
    std::unique_ptr<void, CloseLibrary> loaded(dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL));
    if (!loaded) throw std::runtime_error(loaderMessage());
    const auto instance = symbol<CreateInstanceMI>(loaded.get(), name + "_Create_InstanceMI");
    const auto association = symbol<CreateAssociationMI>(loaded.get(), name + "_Create_AssociationMI");
    state_->libraries.push_back(std::move(loaded));
    attach(instance, association);
}

const CMPIBroker* Broker::handle() const {
    return &state_->core.record;
}

CMPIInstanceMI* Broker::instanceMI() const {
    return state_->core.instanceMI;
}

CMPIAssociationMI* Broker::associationMI() const {
    return state_->core.associationMI;
}

Response Broker::enumerateInstanceNames(const ObjectPath& classPath) {
    return state_->enumerate(classPath, [this](const ObjectPath& each) {
        return state_->askInstance(&CMPIInstanceMIFT::enumerateInstanceNames, each);
    });
}

Response Broker::enumerateInstances(const ObjectPath& classPath) {
    return state_->enumerate(classPath, [this](const ObjectPath& each) {
        return state_->askInstance(&CMPIInstanceMIFT::enumerateInstances, each, nullptr);
    });
}

Response Broker::getInstance(const ObjectPath& path) {
    return dispatch::got(state_->core, path, state_->askInstance(&CMPIInstanceMIFT::getInstance, path, nullptr));
}

Response Broker::createInstance(const ObjectPath& path, const Instance& instance) {
    const Session session(state_->core);
    const CMPIInstance* created = state_->core.make<InstanceObject>(instance).handle();
    return state_->askInstance(&CMPIInstanceMIFT::createInstance, path, created);
}

Response Broker::modifyInstance(const ObjectPath& path, const Instance& instance) {
    const Session session(state_->core);
    const CMPIInstance* modified = state_->core.make<InstanceObject>(instance).handle();
    return state_->askInstance(&CMPIInstanceMIFT::modifyInstance, path, modified, nullptr);
}

Response Broker::deleteInstance(const ObjectPath& path) {
    return state_->askInstance(&CMPIInstanceMIFT::deleteInstance, path);
}

Response Broker::execQuery(const ObjectPath& classPath, const std::string& query, const std::string& language) {
    return state_->askInstance(&CMPIInstanceMIFT::execQuery, classPath, query.c_str(), language.c_str());
}

Response Broker::associators(const ObjectPath& path, const Filters& filters) {
    return state_->associate(path, filters, &Filters::assocClass, [&](const Filters& each) {
        return state_->askAssociation(&CMPIAssociationMIFT::associators, path, orNull(each.assocClass),
                                      orNull(each.resultClass), orNull(each.role), orNull(each.resultRole), nullptr);
    });
}

Response Broker::associatorNames(const ObjectPath& path, const Filters& filters) {
    return state_->associate(path, filters, &Filters::assocClass, [&](const Filters& each) {
        return state_->askAssociation(&CMPIAssociationMIFT::associatorNames, path, orNull(each.assocClass),
                                      orNull(each.resultClass), orNull(each.role), orNull(each.resultRole));
    });
}

Response Broker::references(const ObjectPath& path, const Filters& filters) {
    return state_->associate(path, filters, &Filters::resultClass, [&](const Filters& each) {
        return state_->askAssociation(&CMPIAssociationMIFT::references, path, orNull(each.resultClass),
                                      orNull(each.role), nullptr);
    });
}

Response Broker::referenceNames(const ObjectPath& path, const Filters& filters) {
    return state_->associate(path, filters, &Filters::resultClass, [&](const Filters& each) {
        return state_->askAssociation(&CMPIAssociationMIFT::referenceNames, path, orNull(each.resultClass),
                                      orNull(each.role));
    });
}

CMPIrc Broker::cleanup(bool terminating) {
    const CMPIrc instance = cleanUp(state_->core, state_->core.instanceMI, terminating);
    const CMPIrc association = cleanUp(state_->core, state_->core.associationMI, terminating);
    return instance != CMPI_RC_OK ? instance : association;
}

struct Broker::Scope::State {
    explicit State(Core& owner)
        : core(owner), session(owner), context(owner.make<ContextObject>()), result(owner.make<ResultObject>()) {}

    Core& core;
    Session session;
    ContextObject& context;
    ResultObject& result;
};

Broker::Scope::Scope(Broker& broker) : state_(std::make_unique<State>(broker.state_->core)) {}

Broker::Scope::~Scope() = default;

const CMPIContext* Broker::Scope::context() const {
    return state_->context.handle();
}

const CMPIResult* Broker::Scope::result() const {
    return state_->result.handle();
}

CMPIObjectPath* Broker::Scope::make(const ObjectPath& path) {
    return state_->core.make<PathObject>(path).handle();
}

CMPIInstance* Broker::Scope::make(const Instance& instance) {
    return state_->core.make<InstanceObject>(instance).handle();
}

CMPIEnumeration* Broker::Scope::makeEnumeration(const std::vector<Value>& elements) {
    return state_->core.make<EnumerationObject>(EnumerationData{elements, 0}).handle();
}

const Response& Broker::Scope::response() const {
    return state_->result.data;
}

ObjectPath Broker::Scope::read(const CMPIObjectPath* path) const {
    return PathObject::of(path).data.path;
}

Instance Broker::Scope::read(const CMPIInstance* instance) const {
    return InstanceObject::of(instance).data.instance;
}

Manners Broker::manners() const {
    return state_->core.manners;
}

void Broker::declareClass(const ClassDeclaration& declaration) {
    state_->core.classes.add(declaration);
}

void Broker::passOnAsAsked(bool on) {
    state_->core.passesOnAsAsked = on;
}

std::vector<std::string> Broker::complaints() const {
    return state_->core.complaints();
}

std::vector<std::string> Broker::takeComplaints() {
    return state_->core.takeComplaints();
}

void Broker::answerUpcall(const std::string& className, UpcallAnswer answer) {
    state_->core.setUpcallAnswer(className, std::move(answer));
}

void Broker::clearUpcallAnswers() {
    state_->core.clearUpcallAnswers();
}

void Broker::failAt(const std::string& function, unsigned nth, CMPIrc rc) {
    state_->core.log.addFault(function, nth, CallLog::Effect::status, rc);
}

void Broker::throwAt(const std::string& function, unsigned nth, bool standard) {
    const auto effect = standard ? CallLog::Effect::standardException : CallLog::Effect::otherException;
    state_->core.log.addFault(function, nth, effect, CMPI_RC_ERR_FAILED);
}

void Broker::clearFaults() {
    state_->core.log.clearFaults();
}

bool Broker::faultStruck() const {
    return state_->core.log.faultStruck();
}

const std::vector<std::string>& Broker::functions() {
    return CallLog::functions();
}

std::vector<Call> Broker::calls() const {
    return state_->core.log.calls();
}

void Broker::clearCalls() {
    state_->core.log.clear();
}

void Broker::recordCalls(bool on) {
    state_->core.log.record(on);
}

std::size_t Broker::objectsMade() const {
    return state_->core.made;
}

std::size_t Broker::objectsFreed() const {
    return state_->core.freed;
}

CMPIBroker& Broker::brokerRecord() {
    return state_->core.record;
}

CMPIBrokerFT& Broker::brokerTable() {
    return state_->core.tables.broker;
}

CMPIBrokerEncFT& Broker::encapsulationTable() {
    return state_->core.tables.encapsulation;
}

CMPIResultFT& Broker::resultTable() {
    return state_->core.tables.result;
}

CMPIObjectPathFT& Broker::objectPathTable() {
    return state_->core.tables.objectPath;
}

CMPIInstanceFT& Broker::instanceTable() {
    return state_->core.tables.instance;
}

CMPIArrayFT& Broker::arrayTable() {
    return state_->core.tables.array;
}

CMPIEnumerationFT& Broker::enumerationTable() {
    return state_->core.tables.enumeration;
}

CMPIStringFT& Broker::stringTable() {
    return state_->core.tables.string;
}

CMPIContextFT& Broker::contextTable() {
    return state_->core.tables.context;
}

}  // namespace broker
