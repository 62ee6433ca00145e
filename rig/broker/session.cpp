// A broker's objects, which live as long as a thread's session, and what it makes of their provider's manners.
// Tests: tests/broker/encapsulation_test.cpp, manners_test.cpp.

#include <algorithm>
#include <stdexcept>

#include "broker/objects.h"
#include "cim/names.h"

namespace broker {

// Handles are const by the interface; what is behind ours is not.
Broker& Broker::of(const CMPIBroker* handle) {
    return *static_cast<Broker*>(const_cast<void*>(handle->hdl));
}

void Broker::keep(const void* handle, std::unique_ptr<Object> object) {
    const std::lock_guard lock(mutex_);
    const auto arena = arenas_.find(std::this_thread::get_id());
    if (arena == arenas_.end()) throw std::logic_error("a CMPI object is made outside of a request");
    arena->second.objects.emplace(handle, std::move(object));
    ++made_;
}

Object* Broker::find(const void* handle) const {
    const std::lock_guard lock(mutex_);
    const auto& objects = arenas_.at(std::this_thread::get_id()).objects;
    const auto found = objects.find(handle);
    return found == objects.end() ? nullptr : found->second.get();
}

void Broker::beginSession() {
    const std::lock_guard lock(mutex_);
    ++arenas_[std::this_thread::get_id()].sessions;
}

void Broker::endSession() {
    const std::lock_guard lock(mutex_);
    const auto arena = arenas_.find(std::this_thread::get_id());
    if (--arena->second.sessions > 0) return;
    freed_ += arena->second.objects.size();
    arenas_.erase(arena);
}

Broker::Scope::Scope(Broker& broker) : broker_(broker) {
    broker_.beginSession();
    try {
        context_ = broker_.make<ContextObject>().handle();
        result_ = broker_.make<ResultObject>().handle();
    } catch (...) {
        broker_.endSession();
        throw;
    }
}

Broker::Scope::~Scope() {
    broker_.endSession();
}

CMPIObjectPath* Broker::Scope::make(const ObjectPath& path) {
    return broker_.make<PathObject>(path).handle();
}

CMPIInstance* Broker::Scope::make(const Instance& instance) {
    return broker_.make<InstanceObject>(instance).handle();
}

CMPIEnumeration* Broker::Scope::makeEnumeration(const std::vector<Value>& elements) {
    return broker_.make<EnumerationObject>(EnumerationData{elements, 0}).handle();
}

const Response& Broker::Scope::response() const {
    return ResultObject::of(result_).data.response;
}

ObjectPath Broker::Scope::read(const CMPIObjectPath* path) const {
    return PathObject::of(path).data;
}

Instance Broker::Scope::read(const CMPIInstance* instance) const {
    return InstanceObject::of(instance).data;
}

CMPIrc Broker::judge(manners::Verdict verdict, const std::string& call, const std::string& what) {
    using manners::Verdict;
    if (verdict == Verdict::taken) return CMPI_RC_OK;
    const std::string complaint = call + ": " + what;
    const std::lock_guard lock(mutex_);
    if (std::find(complaints_.begin(), complaints_.end(), complaint) == complaints_.end()) {
        complaints_.push_back(complaint);
    }
    switch (verdict) {
        case Verdict::mismatch:
            return CMPI_RC_ERR_TYPE_MISMATCH;
        case Verdict::datatype:
            return CMPI_RC_ERR_INVALID_DATA_TYPE;
        case Verdict::failed:
            return CMPI_RC_ERR_FAILED;
        case Verdict::noClass:
            return CMPI_RC_ERR_INVALID_CLASS;
        case Verdict::noSuch:
            return CMPI_RC_ERR_NO_SUCH_PROPERTY;
        case Verdict::fatal:
            arenas_.at(std::this_thread::get_id()).brokenDown = true;
            return CMPI_RC_ERR_FAILED;
        default:
            return CMPI_RC_OK;
    }
}

bool Broker::brokenDown() const {
    const std::lock_guard lock(mutex_);
    return arenas_.at(std::this_thread::get_id()).brokenDown;
}

std::vector<std::string> Broker::complaints() const {
    const std::lock_guard lock(mutex_);
    return complaints_;
}

std::vector<std::string> Broker::takeComplaints() {
    const std::lock_guard lock(mutex_);
    return std::exchange(complaints_, {});
}

void Broker::answerUpcall(const std::string& className, UpcallAnswer answer) {
    const std::lock_guard lock(mutex_);
    answers_[cim::foldedName(className)] = std::move(answer);
}

std::optional<UpcallAnswer> Broker::upcallAnswer(const std::string& className) const {
    const std::lock_guard lock(mutex_);
    const auto found = answers_.find(cim::foldedName(className));
    return found == answers_.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace broker
