#include "cimhost/session.h"

#include <filesystem>
#include <utility>

#include "cimhost/library.h"
#include "cimhost/stdoutcapture.h"
#include "cimhost/text.h"
#include "schema/declaration.h"
#include "schema/embedded.h"

namespace cimhost {

namespace {

std::string libraryToLoad(const std::string& named) {
    if (named.empty()) return findLibrary(libraryPlaces()).string();
    // Made absolute, or the loader would look for a name without a slash in its own directories.
    return std::filesystem::absolute(named).string();
}

}  // namespace

Session::Session(const Surroundings& surroundings, Tracer tracer)
    : tracer_(std::move(tracer)), broker_(surroundings.manners) {
    openHost(surroundings);
    // Without manners of its own an object manager shows just what the provider sets.
    if (surroundings.manners != broker::Manners::standard) schema::declareTo(broker_, schema::declared());
    broker_.load(libraryToLoad(surroundings.library));
}

Answer Session::ask(const Question& question) {
    StdoutCapture capture;
    Answer answer = question.ask(broker_);
    for (const std::string& line : lines(capture.finish())) trace("stdout: " + line);
    for (const std::string& complaint : broker_.complaints()) trace("refused: " + complaint);
    broker_.clearComplaints();
    return answer;
}

void Session::openHost(const Surroundings& surroundings) {
    if (!surroundings.hostDirectory.empty()) {
        host_.emplace(surroundings.hostDirectory);
        host_->setRealWaits(surroundings.realWaits);
    } else if (tracer_) {
        host_.emplace();  // this machine, watched
    }
    if (!host_) return;
    host_->keepEvents(false);
    if (tracer_) host_->onEvent([this](const emulator::Event& event) { trace(emulator::describe(event)); });
}

void Session::trace(const std::string& text) {
    if (tracer_) tracer_(printable(text));
}

}  // namespace cimhost
