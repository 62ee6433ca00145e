// A loaded provider on its host, and what the trace tells of it. Tests: tests/cimhost/session_test.cpp.

#include "cimhost/session.h"

#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <iostream>
#include <system_error>
#include <utility>

#include "cim/shortage.h"
#include "cimhost/places.h"
#include "cimhost/printable.h"
#include "mof/declaration.h"
#include "mof/embedded.h"

namespace cimhost {

namespace {

/** A provider may write with stdio or with iostreams; either may still hold text back. */
void flushStreams() {
    std::cout.flush();
    std::fflush(stdout);
}

std::string contents(int descriptor) {
    std::string text;
    std::array<char, 4096> piece{};
    ssize_t got = 0;
    while ((got = pread(descriptor, piece.data(), piece.size(), static_cast<off_t>(text.size()))) > 0)
        text.append(piece.data(), static_cast<std::size_t>(got));
    return text;
}

/**
 * Takes what code of others writes to standard output, from here to finish() or the end of the object: the descriptor
 * leads to a file in memory. Throws std::system_error when the system gives none.
 */
class StdoutCapture {
 public:
    StdoutCapture() {
        flushStreams();
        if (original_ < 0 || memory_ < 0 || dup2(memory_, STDOUT_FILENO) < 0) {
            const char* const what = original_ < 0 ? "standard output" : "diverting standard output";
            const std::system_error failure(errno, std::generic_category(), what);
            close(memory_);
            close(original_);
            throw failure;
        }
    }
    ~StdoutCapture() {
        restore();
        close(memory_);
        close(original_);
    }
    StdoutCapture(const StdoutCapture&) = delete;
    StdoutCapture& operator=(const StdoutCapture&) = delete;

    /** Standard output leads again to where it led before. Returns all that was written meanwhile. */
    std::string finish() {
        restore();
        return contents(memory_);
    }

 private:
    void restore() const {
        flushStreams();
        dup2(original_, STDOUT_FILENO);
    }

    const int original_ = dup(STDOUT_FILENO);
    const int memory_ = memfd_create("stdout", MFD_CLOEXEC);
};

std::string libraryToLoad(const std::string& named) {
    if (named.empty()) return findLibrary(libraryPlaces()).string();
    // Made absolute, or the loader would look for a name without a slash in its own directories.
    return std::filesystem::absolute(named).string();
}

/** The provider's exceptions are told apart from those of the program. */
Answer answerOf(const Question& question, broker::ObjectManager& manager) {
    try {
        return cim::whole([&] { return question.ask(manager); });
    } catch (const cim::Shortage&) {
        throw;
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

Answer Session::askBeside(const Question& question) {
    Answer answer = answerOf(question, broker_);
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
    } else {
        host_.emplace();  // this machine, watched
    }
    host_->keepEvents(false);
    if (!surroundings.catalogue.empty()) host_->setCatalogue(surroundings.catalogue);
    host_->onEvent([this](const emulator::Event& event) {
        if (emulator::isShortage(event)) cim::noteShortage();
        bmc_.see(event);
        if (tracer_) trace(emulator::describe(event));
    });
}

void Session::trace(const std::string& text) {
    if (tracer_) tracer_(printable(text));
}

}  // namespace cimhost
