#include "broker/core.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "broker/objects.h"
#include "broker/slots.h"
#include "cim/names.h"

namespace broker {

Tables::Tables()
    : broker(slots::broker()),
      encapsulation(slots::encapsulation()),
      extension(slots::extension()),
      context(slots::context()),
      result(slots::result()),
      string(slots::string()),
      array(slots::array()),
      enumeration(slots::enumeration()),
      instance(slots::instance()),
      objectPath(slots::objectPath()) {}

Core::Core(Manners ownManners)
    : manners(ownManners), record{this, &tables.broker, &tables.encapsulation, &tables.extension} {}

// Threads that never ended their session leave objects behind, and those need the rest of the core while they go.
Core::~Core() {
    arenas_.clear();
}

// Handles are const by the interface; what is behind ours is not.
Core& Core::of(const CMPIBroker* handle) {
    return *static_cast<Core*>(const_cast<void*>(handle->hdl));
}

void Core::keep(std::unique_ptr<Object> object) {
    const std::lock_guard lock(mutex_);
    const auto arena = arenas_.find(std::this_thread::get_id());
    if (arena == arenas_.end()) throw std::logic_error("a CMPI object is made outside of a request");
    arena->second.objects.push_back(std::move(object));
}

void Core::beginSession() {
    const std::lock_guard lock(mutex_);
    ++arenas_[std::this_thread::get_id()].sessions;
}

void Core::endSession() {
    std::vector<std::unique_ptr<Object>> objects;  // freed without the lock, which they take on their way out
    const std::lock_guard lock(mutex_);
    const auto arena = arenas_.find(std::this_thread::get_id());
    if (--arena->second.sessions > 0) return;
    objects = std::move(arena->second.objects);
    arenas_.erase(arena);
}

bool Core::attachThread() {
    beginSession();
    {
        const std::lock_guard lock(mutex_);
        Arena& arena = arenas_[std::this_thread::get_id()];
        if (!arena.attached) return arena.attached = true;
    }
    endSession();
    return false;
}

bool Core::detachThread() {
    {
        const std::lock_guard lock(mutex_);
        const auto arena = arenas_.find(std::this_thread::get_id());
        if (arena == arenas_.end() || !arena->second.attached) return false;
        arena->second.attached = false;
    }
    endSession();
    return true;
}

void Core::add(const void* handle, Object* object) {
    const std::lock_guard lock(mutex_);
    living_.emplace(handle, object);
    ++made;
}

void Core::remove(const void* handle) {
    const std::lock_guard lock(mutex_);
    living_.erase(handle);
    ++freed;
}

Object* Core::find(const void* handle) const {
    const std::lock_guard lock(mutex_);
    const auto found = living_.find(handle);
    return found == living_.end() ? nullptr : found->second;
}

void Core::complain(const std::string& call, const std::string& what) {
    const std::string complaint = call + ": " + what;
    const std::lock_guard lock(mutex_);
    if (std::find(complaints_.begin(), complaints_.end(), complaint) == complaints_.end()) {
        complaints_.push_back(complaint);
    }
}

CMPIrc Core::judge(manners::Verdict verdict, const std::string& call, const std::string& what) {
    using manners::Verdict;
    if (verdict == Verdict::taken) return CMPI_RC_OK;
    complain(call, what);
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
        case Verdict::fatal: {
            const std::lock_guard lock(mutex_);
            const auto arena = arenas_.find(std::this_thread::get_id());
            if (arena != arenas_.end()) arena->second.brokenDown = true;
            return CMPI_RC_ERR_FAILED;
        }
        default:
            return CMPI_RC_OK;
    }
}

std::vector<std::string> Core::complaints() const {
    const std::lock_guard lock(mutex_);
    return complaints_;
}

std::vector<std::string> Core::takeComplaints() {
    const std::lock_guard lock(mutex_);
    return std::exchange(complaints_, {});
}

bool Core::brokenDown() const {
    const std::lock_guard lock(mutex_);
    const auto arena = arenas_.find(std::this_thread::get_id());
    return arena != arenas_.end() && arena->second.brokenDown;
}

void Core::setUpcallAnswer(const std::string& className, UpcallAnswer answer) {
    const std::lock_guard lock(mutex_);
    answers_[cim::foldedName(className)] = std::move(answer);
}

void Core::clearUpcallAnswers() {
    const std::lock_guard lock(mutex_);
    answers_.clear();
}

std::optional<UpcallAnswer> Core::upcallAnswer(const std::string& className) const {
    const std::lock_guard lock(mutex_);
    const auto found = answers_.find(cim::foldedName(className));
    return found == answers_.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace broker
