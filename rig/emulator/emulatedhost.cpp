#include "emulator/emulatedhost.h"

#include "emulator/host.h"

namespace emulator {

struct EmulatedHost::State : Host {
    using Host::Host;
};

EmulatedHost::EmulatedHost(const std::string& directory) : state_(std::make_shared<State>(directory)) {
    Host::activate(state_);
}

EmulatedHost::EmulatedHost() : state_(std::make_shared<State>()) {
    Host::activate(state_);
}

EmulatedHost::~EmulatedHost() {
    Host::deactivate();
}

Bmc& EmulatedHost::bmc() {
    return state_->bmc();
}

void EmulatedHost::setHostName(const std::string& name) {
    state_->setHostName(name);
}

void EmulatedHost::failHostName(bool fails) {
    state_->failHostName(fails);
}

void EmulatedHost::useSecondDevice(bool second) {
    state_->useSecondDevice(second);
}

void EmulatedHost::removeDevice(bool removed) {
    state_->device().remove(removed);
}

void EmulatedHost::setRealWaits(bool real) {
    state_->device().setRealWaits(real);
}

void EmulatedHost::setCatalogue(const std::string& directory) {
    state_->setCatalogue(directory);
}

void EmulatedHost::onEvent(std::function<void(const Event&)> listener) {
    state_->onEvent(std::move(listener));
}

void EmulatedHost::onFileOpen(std::function<void(const std::string&)> hook) {
    state_->onFileOpen(std::move(hook));
}

std::vector<Event> EmulatedHost::events() const {
    return state_->events();
}

void EmulatedHost::clearEvents() {
    state_->clearEvents();
}

void EmulatedHost::keepEvents(bool keep) {
    state_->keepEvents(keep);
}

std::vector<std::string> EmulatedHost::logTexts() const {
    std::vector<std::string> texts;
    for (const LogLine& line : eventsOf<LogLine>()) texts.push_back(line.text);
    return texts;
}

unsigned EmulatedHost::interleavedExchanges() const {
    return state_->device().interleavedExchanges();
}

std::size_t EmulatedHost::openFiles() const {
    return state_->openFiles();
}

}  // namespace emulator
