#include "cimhost/session.h"

#include <exception>
#include <filesystem>
#include <utility>

#include "cimhost/library.h"
#include "cimhost/stdoutcapture.h"
#include "cimhost/text.h"
#include "mof/declaration.h"
#include "mof/embedded.h"

namespace cimhost {

namespace {

std::string libraryToLoad(const std::string& named) {
    if (named.empty()) return findLibrary(libraryPlaces()).string();
    // Made absolute, or the loader would look for a name without a slash in its own directories.
    return std::filesystem::absolute(named).string();
}

/** The provider's exceptions are told apart from those of the program. */
Answer answerOf(const Question& question, broker::Broker& manager) {
    try {
        return question.ask(manager);
    } catch (const std::exception& error) {
        throw ProviderException(error.what());
    } catch (...) {
        throw ProviderException("");
    }
}

}  // namespace

Session::Session(const Surroundings& surroundings, Tracer tracer)
    : tracer_(std::move(tracer)), broker_(surroundings.manners) {
    openHost(surroundings);
    // Without manners of its own an object manager shows just what the provider sets.
    if (surroundings.manners != broker::Manners::standard) schema::declareTo(broker_, schema::declared());
    broker_.recordCalls(false);
    broker_.load(libraryToLoad(surroundings.library));
}

Answer Session::ask(const Question& question) {
    StdoutCapture capture;
    Answer answer = answerOf(question, broker_);
    for (const std::string& line : lines(capture.finish())) trace("stdout: " + line);
    traceRefusals();
    return answer;
}

void Session::traceRefusals() {
    for (const std::string& complaint : broker_.takeComplaints()) trace("refused: " + complaint);
}

void Session::openHost(const Surroundings& surroundings) {
    if (!surroundings.hostDirectory.empty()) {
        host_.emplace(surroundings.hostDirectory);
        host_->setRealWaits(surroundings.realWaits);
    } else if (tracer_ || surroundings.watched || !surroundings.catalogue.empty()) {
        host_.emplace();  // this machine, watched
    }
    if (!host_) return;
    host_->keepEvents(false);
    if (!surroundings.catalogue.empty()) host_->setCatalogue(surroundings.catalogue);
    host_->onEvent([this](const emulator::Event& event) {
        bmc_.see(event);
        if (tracer_) trace(emulator::describe(event));
    });
}

void Session::trace(const std::string& text) {
    if (tracer_) tracer_(printable(text));
}

}  // namespace cimhost
