// The face of the emulated host: its settings, and the events that it kept. Held by tests/emulator/host_test.cpp and
// device_test.cpp.
#include "emulator/emulatedhost.h"

#include <utility>

#include "emulator/host.h"

namespace emulator {

using Lock = std::lock_guard<Mutex>;

EmulatedHost::EmulatedHost(const std::string& directory) : host_(std::make_shared<Host>(directory)) {
    Host::activate(host_);
}

EmulatedHost::EmulatedHost() : host_(std::make_shared<Host>()) {
    Host::activate(host_);
}

EmulatedHost::~EmulatedHost() {
    Host::deactivate();
}

Bmc& EmulatedHost::bmc() {
    return host_->device_->bmc();
}

void EmulatedHost::setHostName(const std::string& name) {
    const Lock lock(host_->mutex_);
    host_->hostName_ = name;
}

void EmulatedHost::failHostName(bool fails) {
    const Lock lock(host_->mutex_);
    host_->hostNameFails_ = fails;
}

void EmulatedHost::useSecondDevice(bool second) {
    const Lock lock(host_->mutex_);
    host_->secondDevice_ = second;
}

void EmulatedHost::removeDevice(bool removed) {
    host_->device_->remove(removed);
}

void EmulatedHost::setRealWaits(bool real) {
    host_->device_->setRealWaits(real);
}

void EmulatedHost::setCatalogue(const std::string& directory) {
    const Lock lock(host_->mutex_);
    host_->catalogue_ = directory;
}

void EmulatedHost::onEvent(std::function<void(const Event&)> listener) {
    const Lock lock(host_->mutex_);
    host_->listener_ = std::make_shared<const Host::Listener>(std::move(listener));
}

void EmulatedHost::onFileOpen(std::function<void(const std::string&)> hook) {
    const Lock lock(host_->mutex_);
    host_->hook_ = std::make_shared<const Host::Hook>(std::move(hook));
}

std::vector<Event> EmulatedHost::events() const {
    const Lock lock(host_->mutex_);
    return host_->events_;
}

void EmulatedHost::clearEvents() {
    const Lock lock(host_->mutex_);
    host_->events_.clear();
}

void EmulatedHost::keepEvents(bool keep) {
    const Lock lock(host_->mutex_);
    host_->keepEvents_ = keep;
}

std::vector<std::string> EmulatedHost::logTexts() const {
    std::vector<std::string> texts;
    for (const LogLine& line : eventsOf<LogLine>()) texts.push_back(line.text);
    return texts;
}

unsigned EmulatedHost::interleavedExchanges() const {
    return host_->device_->interleavedExchanges();
}

std::size_t EmulatedHost::openFiles() const {
    const Lock lock(host_->mutex_);
    return host_->streams_.size() + host_->sessions_.size();
}

}  // namespace emulator
