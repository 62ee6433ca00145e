// Object paths, filters and a broker that misbehaves: calls that fail or throw, and upcalls that are answered with
// whatever there is. The input's first line decides the faults; lines of text follow: class, filters, keys.
#include <algorithm>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

#include "host.h"
#include "provider.h"

namespace {

using broker::ObjectPath;
using broker::Response;
using broker::Value;
using fuzz::Digest;
using fuzz::Host;
using fuzz::Input;
using fuzz::require;

struct Request {
    std::size_t operation = 0;
    unsigned options = 0;
    unsigned effect = 0;  // 0: none; 1: a status; 2: a standard exception; 3: another one
    std::size_t function = 0;
    unsigned nth = 1;
    CMPIrc status = CMPI_RC_ERR_FAILED;
    unsigned upcall = 0;
    ObjectPath path;
    broker::Filters filters;
};

std::optional<std::string> filterIn(const std::string& line) {
    return line.empty() ? std::nullopt : std::optional<std::string>(line.substr(line.front() == '=' ? 1 : 0));
}

/** A key's value: a text, or after one character something else. */
Value valueIn(const std::string& text) {
    const char kind = text.empty() ? '"' : text.front();
    const auto number = static_cast<unsigned char>(text.size() > 1 ? text[1] : 0);
    switch (kind) {
        case '!':
            return Value::nothing(CMPI_string);
        case '#':
            return Value::uint(CMPI_uint16, number);
        case '?':
            return Value::boolean(number % 2 != 0);
        case '&':
            return Value::reference({"root/kavix", text.substr(1), {{"Tag", Value::string("System Slot 5")}}});
        case '[':
            return Value::array(CMPI_string, {Value::string(text)});
        default:
            return Value::string(text);
    }
}

Request readRequest(Input& input) {
    Request request;
    request.operation = input.below(fuzz::kAllOperations);
    request.options = input.byte();
    request.effect = input.byte() % 4;
    request.function = input.byte();
    request.nth = 1 + input.byte();
    request.status = static_cast<CMPIrc>(input.byte() % 18);
    request.upcall = input.byte();
    request.path.nameSpace = "root/kavix";
    const std::string name = input.upTo('\n');
    request.path.className =
        name.size() == 1 ? fuzz::kClasses[static_cast<unsigned char>(name.front()) % std::size(fuzz::kClasses)] : name;
    request.filters = {filterIn(input.upTo('\n')), filterIn(input.upTo('\n')), filterIn(input.upTo('\n')),
                       filterIn(input.upTo('\n'))};
    for (unsigned i = 0; i < 8 && !input.empty(); ++i) {
        const std::string line = input.upTo('\n');
        const std::size_t equals = std::min(line.find('='), line.size());
        request.path.keys.push_back({line.substr(0, equals), valueIn(line.substr(std::min(equals + 1, line.size())))});
    }
    return request;
}

/** Instances of slots as an object manager may hand them out, and what is none; the class that is answered so. */
std::string answerUpcalls(unsigned choice) {
    if (choice == 0) return "";
    broker::UpcallAnswer answer;
    answer.nullEnumeration = choice % 8 == 1;
    if (choice % 8 == 2) answer.status = CMPI_RC_ERR_ACCESS_DENIED;
    const ObjectPath path{"root/kavix", "QELTA_SystemSlot", {{"Tag", Value::string("System Slot 5")}}};
    const Value numbers[] = {Value::uint(CMPI_uint16, 5),    Value::uint(CMPI_uint16, 5 + 256),
                             Value::sint(CMPI_sint64, -251), Value::uint(CMPI_uint64, std::uint64_t{1} << 40 | 3),
                             Value::nothing(CMPI_uint16),    Value::string("5"),
                             Value::boolean(true),           Value::array(CMPI_uint16, {Value::uint(CMPI_uint16, 5)})};
    for (unsigned i = 0; i < choice / 32; ++i)
        answer.elements.push_back(Value::instance({path, {{"Number", numbers[(choice + i) % std::size(numbers)]}}}));
    if (choice % 8 == 3) answer.elements.push_back(Value::nothing(CMPI_instance));
    if (choice % 8 == 4) answer.elements.push_back(Value::instance({path, {}}));
    const std::string name = choice % 16 < 8 ? "QELTA_SystemSlot" : "QELTA_PCIDevice";
    fuzz::manager().answerUpcall(name, answer);
    return name;
}

struct Outcome {
    Response response;
    bool threw = false;
    std::vector<broker::Call> calls;
};

/** The function whose call fails. */
std::string functionOf(const Request& request) {
    const auto& functions = broker::CallLog::functions();
    return request.function < functions.size() ? functions[request.function] : "*";
}

/**
 * Whether an exception may leave the provider: a standard one where the class is asked for before anything else,
 * another one from everywhere but the walks over the objects of an upcall.
 */
bool mayLeave(const Request& request, bool standard) {
    const std::string function = functionOf(request);
    if (standard)
        return request.operation <= 2 &&
               (function == "objectPath.getClassName" || function == "string.getCharPtr" || function == "*");
    return function != "bft.enumerateInstances" && function != "enumeration.getNext" &&
           function != "enumeration.hasNext" && function != "instance.getProperty";
}

/** What came of it; delivered objects are lost where an exception of a kind of its own passes. */
Outcome perform(const Request& request, bool faulty) {
    broker::Broker& manager = fuzz::manager();
    const std::size_t made = manager.objectsMade() - manager.objectsFreed();
    const std::string function = functionOf(request);
    if (faulty && request.effect == 1) manager.failAt(function, request.nth, request.status);
    if (faulty && request.effect > 1) manager.throwAt(function, request.nth, request.effect == 2);
    manager.clearCalls();
    Outcome outcome;
    try {
        outcome.response = fuzz::ask(request.operation, request.path, request.filters);
    } catch (const std::exception&) {
        outcome.threw = true;
        require(faulty && request.effect == 2, "no exception comes of itself");
        require(mayLeave(request, true), "a standard exception stays within the provider");
    } catch (int) {
        outcome.threw = true;
        require(faulty && request.effect == 3, "no exception comes of itself");
        require(mayLeave(request, false), "no exception leaves a walk");
    }
    outcome.calls = manager.calls();
    manager.clearFaults();
    require(manager.objectsMade() - manager.objectsFreed() == made, "every object is freed");
    Host::get().expectNothingOpen();
    return outcome;
}

/**
 * The objects that the client's request had delivered when the fault struck. Those that the provider delivers to an
 * upcall of its own, up to its returnDone, are none.
 */
std::size_t deliveredBefore(const Request& request, const std::vector<broker::Call>& calls, const std::string& canned) {
    const std::string function = functionOf(request);
    std::size_t delivered = 0;
    unsigned seen = 0;
    bool upcall = false;
    for (const broker::Call& call : calls) {
        if (function == "*" || call.function == function) ++seen;
        if (seen == request.nth) break;
        if (call.function == "bft.enumerateInstances") upcall = call.name != canned;
        const bool delivers = call.function == "result.returnInstance" || call.function == "result.returnObjectPath";
        if (delivers && !upcall) ++delivered;
        if (call.function == "result.returnDone") upcall = false;
    }
    return delivered;
}

/** Whether the source is a slot whose tag is too short for a number. */
bool namesNoSlot(const ObjectPath& source) {
    const Value* tag = source.key("Tag");
    const auto* text = tag != nullptr ? std::get_if<std::string>(&tag->data) : nullptr;
    return source.className == "QELTA_SystemSlot" && (text == nullptr || text->size() <= std::strlen("System Slot "));
}

std::uint64_t digestOf(const Outcome& outcome) {
    Digest digest;
    digest.add(outcome.threw ? 1 : 0);
    fuzz::addTo(digest, outcome.response);
    digest.add(outcome.calls.size());
    return digest.value();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    Input input(bytes, size);
    const Request request = readRequest(input);
    Host& host = Host::get();
    host.reset();
    fuzz::buildRack(host);
    fuzz::renewManager();
    fuzz::manager().recordCalls(true);
    const std::string canned = answerUpcalls(request.upcall);

    const Outcome plain = perform(request, false);
    if (request.upcall == 0) fuzz::expectKeys(plain.response);
    require(plain.response.deliveredAfterDone == 0 && plain.response.doneCalls <= 1,
            "a result is closed once, at the end");
    if (request.operation > 6) {
        require(plain.response.status == CMPI_RC_ERR_NOT_SUPPORTED && fuzz::pathsOf(plain.response).empty(),
                "nothing is written");
    } else if (request.operation > 2) {
        require(plain.response.doneCalls == 1, "an association's result is closed");
        if (namesNoSlot(request.path)) require(fuzz::pathsOf(plain.response).empty(), "no number is no slot");
    }
    if (request.effect != 0) {
        const Outcome faulty = perform(request, true);
        if (!faulty.threw) {
            const std::vector<ObjectPath> before = fuzz::pathsOf(plain.response);
            const std::vector<ObjectPath> after = fuzz::pathsOf(faulty.response);
            const std::size_t stays = std::min(deliveredBefore(request, faulty.calls, canned), before.size());
            require(after.size() >= stays &&
                        std::equal(before.begin(), before.begin() + static_cast<std::ptrdiff_t>(stays), after.begin()),
                    "what was delivered before a fault stays");
        }
        if ((request.options & 1) != 0)
            require(digestOf(perform(request, true)) == digestOf(faulty), "two runs give the same");
        require(digestOf(perform(request, false)) == digestOf(plain), "the next request without faults is complete");
    }
    return 0;
}
