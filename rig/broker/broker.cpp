// The provider, loaded and asked. Tests: tests/broker/requests_test.cpp.
#include "broker/broker.h"

#include <dlfcn.h>

#include <stdexcept>

#include "broker/dispatch.h"
#include "broker/request.h"
#include "broker/slots.h"

namespace broker {

namespace {

// The loader keeps its message per thread.
std::string loaderMessage() {
    const char* message = dlerror();  // NOLINT(concurrency-mt-unsafe)
    return message == nullptr ? "unknown error of the loader" : message;
}

template <typename Function>
Function symbol(void* library, const std::string& name) {
    void* address = dlsym(library, name.c_str());
    if (address == nullptr) throw std::runtime_error(loaderMessage());
    return reinterpret_cast<Function>(address);
}

/** The interface that a factory makes. */
template <typename Factory>
auto create(Broker& broker, Factory factory, const char* what) {
    const Broker::Scope scope(broker);
    CMPIStatus status{CMPI_RC_OK, nullptr};
    auto* interface = factory(broker.handle(), scope.context(), &status);
    if (interface == nullptr || status.rc != CMPI_RC_OK) {
        throw std::runtime_error(std::string("the provider's factory gives no ") + what + " interface (" +
                                 statusName(status.rc) + ")");
    }
    return interface;
}

template <typename Interface>
CMPIrc cleanUp(Broker& broker, Interface* interface, bool terminating) {
    if (interface == nullptr) return CMPI_RC_OK;
    const Broker::Scope scope(broker);
    return interface->ft->cleanup(interface, scope.context(), terminating ? 1 : 0).rc;
}

const char* orNull(const std::optional<std::string>& text) {
    return text ? text->c_str() : nullptr;
}

/** A client's request: the path arrives in the manager's form, and so do answers, but to a get, whose path is told. */
template <bool kOfGet = false, typename Interface, typename Slot, typename... Arguments>
Response request(Broker& broker, Interface* interface, Slot slot, const ObjectPath& path, Arguments... arguments) {
    Response response = ask<kOfGet>(broker, interface, nullptr, slot, dispatch::arrived(broker, path), arguments...);
    return kOfGet ? response : dispatch::listed(broker, std::move(response));
}

}  // namespace

void Broker::CloseLibrary::operator()(void* library) const {
    dlclose(library);
}

Broker::Broker(Manners manners)
    : manners_(manners),
      tables_(slots::broker(), slots::encapsulation(), slots::context(), slots::result(), slots::string(),
              slots::array(), slots::enumeration(), slots::instance(), slots::objectPath()),
      record_{this, &brokerTable(), &encapsulationTable(), nullptr} {}

Broker::~Broker() = default;

void Broker::attach(CreateInstanceMI instance, CreateAssociationMI association) {
    CMPIInstanceMI* instanceMI = create(*this, instance, "instance");
    associationMI_ = create(*this, association, "association");
    instanceMI_ = instanceMI;
}

void Broker::load(const std::string& library, const std::string& name) {
    std::unique_ptr<void, CloseLibrary> loaded(dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL));
    if (!loaded) throw std::runtime_error(loaderMessage());
    const auto instance = symbol<CreateInstanceMI>(loaded.get(), name + "_Create_InstanceMI");
    const auto association = symbol<CreateAssociationMI>(loaded.get(), name + "_Create_AssociationMI");
    libraries_.push_back(std::move(loaded));
    attach(instance, association);
}

Response Broker::enumerateInstanceNames(const ObjectPath& classPath) {
    return dispatch::enumeration(*this, classPath, [this](const ObjectPath& each) {
        return request(*this, instanceMI_, &CMPIInstanceMIFT::enumerateInstanceNames, each);
    });
}

Response Broker::enumerateInstances(const ObjectPath& classPath) {
    return dispatch::enumeration(*this, classPath, [this](const ObjectPath& each) {
        return request(*this, instanceMI_, &CMPIInstanceMIFT::enumerateInstances, each, nullptr);
    });
}

Response Broker::getInstance(const ObjectPath& path) {
    return dispatch::got(*this, path, request<true>(*this, instanceMI_, &CMPIInstanceMIFT::getInstance, path, nullptr));
}

Response Broker::createInstance(const ObjectPath& path, const Instance& instance) {
    Scope scope(*this);
    return request(*this, instanceMI_, &CMPIInstanceMIFT::createInstance, path, scope.make(instance));
}

Response Broker::modifyInstance(const ObjectPath& path, const Instance& instance) {
    Scope scope(*this);
    return request(*this, instanceMI_, &CMPIInstanceMIFT::modifyInstance, path, scope.make(instance), nullptr);
}

Response Broker::deleteInstance(const ObjectPath& path) {
    return request(*this, instanceMI_, &CMPIInstanceMIFT::deleteInstance, path);
}

Response Broker::execQuery(const ObjectPath& classPath, const std::string& query, const std::string& language) {
    return request(*this, instanceMI_, &CMPIInstanceMIFT::execQuery, classPath, query.c_str(), language.c_str());
}

Response Broker::associators(const ObjectPath& path, const Filters& filters) {
    return dispatch::association(*this, path, filters, &Filters::assocClass, [&](const Filters& each) {
        return request(*this, associationMI_, &CMPIAssociationMIFT::associators, path, orNull(each.assocClass),
                       orNull(each.resultClass), orNull(each.role), orNull(each.resultRole), nullptr);
    });
}

Response Broker::associatorNames(const ObjectPath& path, const Filters& filters) {
    return dispatch::association(*this, path, filters, &Filters::assocClass, [&](const Filters& each) {
        return request(*this, associationMI_, &CMPIAssociationMIFT::associatorNames, path, orNull(each.assocClass),
                       orNull(each.resultClass), orNull(each.role), orNull(each.resultRole));
    });
}

Response Broker::references(const ObjectPath& path, const Filters& filters) {
    return dispatch::association(*this, path, filters, &Filters::resultClass, [&](const Filters& each) {
        return request(*this, associationMI_, &CMPIAssociationMIFT::references, path, orNull(each.resultClass),
                       orNull(each.role), nullptr);
    });
}

Response Broker::referenceNames(const ObjectPath& path, const Filters& filters) {
    return dispatch::association(*this, path, filters, &Filters::resultClass, [&](const Filters& each) {
        return request(*this, associationMI_, &CMPIAssociationMIFT::referenceNames, path, orNull(each.resultClass),
                       orNull(each.role));
    });
}

CMPIrc Broker::cleanup(bool terminating) {
    const CMPIrc instance = cleanUp(*this, instanceMI_, terminating);
    const CMPIrc association = cleanUp(*this, associationMI_, terminating);
    return instance != CMPI_RC_OK ? instance : association;
}

}  // namespace broker
