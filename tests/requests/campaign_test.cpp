// A campaign of faults: each seed chooses a sample machine, a request, and what goes wrong in the BMC and in calls into
// the object manager. PCIINFO_CAMPAIGN_SEEDS and PCIINFO_CAMPAIGN_FIRST in the environment say how many seeds and from
// which one; the last seed that standard error tells is the one that was under way.
#include <dirent.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <sstream>
#include <stdexcept>
#include <tuple>
#include <utility>

#include "tests/requests/leftof.h"
#include "tests/requests/rack.h"

namespace {

using broker::Broker;
using broker::Filters;
using broker::ObjectPath;
using broker::Response;
using emulator::EmulatedHost;
using emulator::Occasion;
using namespace testsupport;

unsigned setting(const char* name, unsigned otherwise) {
    const char* value = std::getenv(name);
    return value == nullptr ? otherwise : static_cast<unsigned>(std::strtoul(value, nullptr, 10));
}

std::vector<std::string> sampleDirectories() {
    std::istringstream list(PCIINFO_SAMPLE_NAMES);
    std::vector<std::string> directories;
    for (std::string name; list >> name;) directories.push_back(PCIINFO_SAMPLES "/" + name);
    return directories;
}

/** Choices that a seed makes, the same everywhere. */
class Dice {
 public:
    explicit Dice(unsigned seed) : engine_(seed) {}
    /** From 0 up to, not including, `end`. */
    unsigned below(unsigned end) { return static_cast<unsigned>(engine_() % end); }
    bool oneIn(unsigned times) { return below(times) == 0; }
    template <typename Choices>
    const auto& of(const Choices& choices) {
        return *(std::begin(choices) + below(static_cast<unsigned>(std::size(choices))));
    }

 private:
    std::mt19937 engine_;
};

// --- requests ---

struct Question {
    std::string what;  // as none else of a machine
    std::function<Response(Broker&)> ask;
    bool isOfInstances = false;
};

using Questions = std::vector<Question>;

void addForClass(Questions& questions, const ObjectPath& path) {
    for (const Operation& operation : kInstanceOperations)
        questions.push_back({std::string(operation.name) + " " + broker::toString(path),
                             [=](Broker& manager) { return (manager.*operation.ask)(path); }, true});
}

/** What the provider does not do. */
void addRefused(Questions& questions, const ObjectPath& path) {
    questions.push_back({"Delete", [=](Broker& manager) { return manager.deleteInstance(path); }});
    questions.push_back({"Create", [=](Broker& manager) { return manager.createInstance(path, {path, {}}); }});
    questions.push_back({"Modify", [=](Broker& manager) { return manager.modifyInstance(path, {path, {}}); }});
    questions.push_back({"Query", [=](Broker& manager) { return manager.execQuery(path, "select *", "WQL"); }});
}

void addForSource(Questions& questions, const ObjectPath& source) {
    static constexpr const char* kFilters[] = {nullptr, "QELTA_DeviceInSlot", "QELTA_OnBoardDevice"};
    static constexpr const char* kResults[] = {nullptr, "QELTA_SystemSlot", "QELTA_DeviceInSlot"};
    for (const AssociationOperation& operation : {kAssociators, kAssociatorNames, kReferences, kReferenceNames})
        for (const char* association : kFilters)
            for (const char* result : kResults) {
                const Filters texts = filters({association, result});
                const auto word = [](const char* filter) { return std::string(filter == nullptr ? "-" : filter); };
                questions.push_back({std::string(operation.what) + " " + word(association) + " " + word(result) + " " +
                                         broker::toString(source),
                                     [=](Broker& manager) { return (manager.*operation.ask)(source, texts); }});
            }
}

/**
 * A machine with its provider, loaded anew: nothing is left of what the one before it was told. It has no catalogues:
 * names are all the same to faults, and take most of a request's time.
 */
struct Trial {
    explicit Trial(const std::string& directory) : host(directory) {
        host.setCatalogue("/no/catalogue");
        manager.recordCalls(false);
        manager.load(PROVIDER_LIBRARY);
    }
    EmulatedHost host;
    ManneredBroker manager;
};

/** Its functions, slots and board. */
Paths pathsOfMachine(const std::string& directory) {
    Trial trial(directory);
    Paths all;
    for (const char* className : {"QELTA_PCIDevice", "QELTA_PCIBridge", "QELTA_SystemSlot", "QELTA_SystemBoard"}) {
        const Paths paths = trial.manager.enumerateInstanceNames(classPath(className)).paths;
        all.insert(all.end(), paths.begin(), paths.end());
    }
    return all;
}

/** Every operation, on every class and on some of the machine's objects. */
Questions questionsFor(const std::string& directory) {
    Trial trial(directory);
    Questions questions;
    for (const ServedClass& served : kServedClasses) addForClass(questions, classPath(served.what));
    for (const char* className : {"QELTA_Unknown", "", "qelta_systemslot"})
        addForClass(questions, classPath(className));
    addRefused(questions, classPath("QELTA_PCIDevice"));
    const std::size_t withoutSource = questions.size();
    for (const char* className : {"QELTA_PCIDevice", "QELTA_PCIBridge", "QELTA_SystemSlot", "QELTA_SystemBoard"}) {
        constexpr std::size_t kEnough = 4;
        const Paths paths = trial.manager.enumerateInstanceNames(classPath(className)).paths;
        for (std::size_t i = 0; i < paths.size(); i += paths.size() / kEnough + 1) addForSource(questions, paths[i]);
        if (paths.size() > 1) addForSource(questions, renamed(paths[1], "QELTA_SSPCIController"));
    }
    ObjectPath odd = devicePath(0, 31, 2);
    odd.keys.back().value = broker::Value::string("PCI Bus 99999999999999999999, device , function %n");
    addForSource(questions, odd);
    addForSource(questions, classPath("QELTA_DeviceInSlot"));
    // As many of either kind.
    const std::size_t withSource = questions.size() - withoutSource;
    for (std::size_t i = withoutSource; i < withSource; ++i) questions.push_back(questions[i % withoutSource]);
    return questions;
}

// --- what goes wrong ---

// Delays and failing calls that requests live with end well before these, so that time which really passes is nothing
// to them.
constexpr std::uint32_t kSoonest = 1;
constexpr std::uint32_t kTooLate = 6000;
constexpr unsigned kTooMany = 100000;

/** One thing that goes wrong in a call into the object manager. */
struct BrokerFault {
    std::string function;
    unsigned nth = 1;
    unsigned effect = 0;  // 0: it fails, 1: it throws a standard exception, 2: it throws another one
};

/** All that goes wrong in a request. */
struct Script {
    std::vector<emulator::Fault> faults;
    std::size_t readLimit = 0;
    bool endOfFile = false;
    std::vector<BrokerFault> calls;

    /** Whether a table may be taken for whole that is not the BMC's. */
    bool mayForge() const {
        return std::any_of(faults.begin(), faults.end(),
                           [](const emulator::Fault& fault) { return fault.data || fault.length || fault.countField; });
    }
    /** Whether every reading of the table succeeds nevertheless. */
    bool isHarmless() const {
        constexpr std::size_t kSmallReads = 58;
        return calls.empty() && !endOfFile && (readLimit == 0 || readLimit >= kSmallReads) &&
               std::all_of(faults.begin(), faults.end(), [](const emulator::Fault& fault) {
                   return fault.delayMs.value_or(kSoonest) < kTooLate && fault.receiveFailures.value_or(1) < kTooMany &&
                          (fault.delayMs || fault.receiveFailures);
               });
    }
    /** Whether none does. */
    bool isFatal() const {
        if (!calls.empty() || faults.size() != 1 || faults[0].from != 1 || faults[0].times != 0) return false;
        const emulator::Fault& fault = faults[0];
        const auto other = [](const auto& member, int right) { return member && *member != right; };
        return fault.on != Occasion::close &&
               (fault.missing || fault.timeout || fault.vanish || fault.pollErrno ||
                fault.delayMs.value_or(kSoonest) >= kTooLate || fault.receiveFailures.value_or(1) >= kTooMany ||
                other(fault.netfn, emulator::Bmc::kNetfn | 1) || other(fault.command, emulator::Bmc::kCommand) ||
                other(fault.receiveType, 1) || other(fault.completionCode, 0));
    }
    bool hasEffect(unsigned effect) const {
        return std::any_of(calls.begin(), calls.end(), [=](const auto& call) { return call.effect == effect; });
    }
    /** Whether a standard exception may come out of an instance request, where it reads the name of the class. */
    bool mayLetStandardOut() const {
        return std::any_of(calls.begin(), calls.end(), [](const BrokerFault& call) {
            constexpr unsigned kClassNameCalls = 2;
            const bool readsNames = call.function == "*" || call.function == "objectPath.getClassName" ||
                                    call.function == "string.getCharPtr";
            return call.effect == 1 && call.nth <= kClassNameCalls && readsNames;
        });
    }

    void apply(Trial& trial) const {
        for (const emulator::Fault& fault : faults) trial.host.bmc().addFault(fault);
        trial.host.bmc().setReadLimit(readLimit);
        trial.host.bmc().setEndOfFile(endOfFile);
        for (const BrokerFault& call : calls) {
            if (call.effect == 0) trial.manager.failAt(call.function, call.nth);
            if (call.effect != 0) trial.manager.throwAt(call.function, call.nth, call.effect == 1);
        }
    }
    static void takeBack(Trial& trial) {
        trial.host.bmc().clearFaults();
        trial.host.bmc().setReadLimit(0);
        trial.host.bmc().setEndOfFile(false);
        trial.manager.clearFaults();
    }
};

emulator::Bytes anyBytes(Dice& dice) {
    emulator::Bytes bytes(dice.below(300));
    for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(dice.oneIn(3) ? dice.below(256) : 0);
    return bytes;
}

emulator::Fault bmcFault(Dice& dice) {
    static constexpr Occasion kOccasions[] = {Occasion::open,  Occasion::read,      Occasion::read,
                                              Occasion::close, Occasion::any,       Occasion::querySize,
                                              Occasion::any,   Occasion::deviceOpen};
    static constexpr unsigned kLimits[] = {1, 1, 2, 5, 400, 1200};
    static constexpr std::uint32_t kDelays[] = {kSoonest, 40, 4000, kTooLate, 1U << 31};
    static constexpr std::uint16_t kCounts[] = {0, 20, 57, 58, 100, 199, 201, 65535};
    static constexpr unsigned kFailures[] = {1, 50, 3000, kTooMany};
    emulator::Fault fault;
    fault.on = dice.of(kOccasions);
    fault.from = 1 + dice.below(dice.of(kLimits));
    fault.times = dice.below(4);
    fault.missing = fault.on == Occasion::deviceOpen;
    if (fault.missing) return fault;
    switch (dice.below(12)) {
        case 0:
        case 1:
            fault.completionCode = static_cast<std::uint8_t>(dice.oneIn(4) ? 0xA0 : dice.below(256));
            break;
        case 2:
            fault.length = static_cast<std::uint16_t>(dice.below(300));
            break;
        case 3:
            fault.netfn = static_cast<std::uint8_t>(dice.below(64));
            break;
        case 4:
            fault.command = static_cast<std::uint8_t>(dice.below(256));
            break;
        case 5:
            fault.receiveType = static_cast<int>(dice.below(6));
            break;
        case 6:
            fault.countField = dice.of(kCounts);
            break;
        case 7:
            fault.data = anyBytes(dice);
            break;
        case 8:
            fault.receiveFailures = dice.of(kFailures);
            fault.receiveErrno = static_cast<int>(1 + dice.below(40));
            if (*fault.receiveFailures > kFailures[1]) fault.times = 1;  // they take real time
            break;
        case 9:
            fault.delayMs = dice.of(kDelays);
            break;
        case 10:
            fault.pollErrno = static_cast<int>(1 + dice.below(40));
            break;
        default:
            (dice.oneIn(2) ? fault.timeout : fault.vanish) = true;
    }
    return fault;
}

Script scriptOf(Dice& dice) {
    static constexpr std::size_t kReadLimits[] = {1, 57, 58, 100, 199};
    Script script;
    for (unsigned count = dice.below(5); count > 0; --count) script.faults.push_back(bmcFault(dice));
    if (dice.oneIn(6)) script.readLimit = dice.of(kReadLimits);
    script.endOfFile = dice.oneIn(20);
    for (unsigned count = dice.oneIn(2) ? 1 + dice.below(2) : 0; count > 0; --count) {
        static constexpr unsigned kTurns[] = {3, 30, 300, 3000};
        const std::string function = dice.oneIn(3) ? "*" : dice.of(Broker::functions());
        script.calls.push_back({function, 1 + dice.below(dice.of(kTurns)), dice.below(3)});
    }
    return script;
}

// --- what has to hold ---

/** All that can be seen of a request but how often receive calls failed, which real time decides. */
struct Outcome {
    Response response;
    bool threw = false;
    std::string events;
    unsigned exchanges = 0;
};

/** Appends what tells an event from others; that of messages is their bytes, as there are many. */
void note(const emulator::Event& event, std::string& events) {
    const auto message = [&](char kind, const emulator::Bytes& data) {
        events += kind;
        events.append(data.begin(), data.end());
    };
    if (const auto* sent = std::get_if<emulator::Sent>(&event))
        message('>', sent->request.data);
    else if (const auto* received = std::get_if<emulator::Received>(&event))
        message('<', received->answer.data);
    else if (!std::holds_alternative<emulator::ReceiveFailed>(event))
        events += describe(event);
}

Outcome outcomeOf(Trial& trial, const Question& question, const Script& script) {
    Outcome outcome;
    trial.host.clearEvents();
    try {
        outcome.response = question.ask(trial.manager);
    } catch (const std::runtime_error& error) {
        outcome.threw = true;
        EXPECT_TRUE(question.isOfInstances && script.mayLetStandardOut()) << error.what();
        EXPECT_NE(std::string(error.what()).find("made to throw"), std::string::npos) << error.what();
    } catch (int) {
        outcome.threw = true;
        EXPECT_TRUE(script.hasEffect(2));
    }
    for (const emulator::Event& event : trial.host.events()) {
        if (std::holds_alternative<emulator::Waited>(event)) ++outcome.exchanges;
        note(event, outcome.events);
    }
    EXPECT_EQ(trial.manager.objectsMade(), trial.manager.objectsFreed());
    return outcome;
}

std::size_t openDescriptors() {
    const std::unique_ptr<DIR, int (*)(DIR*)> directory(opendir("/proc/self/fd"), closedir);
    std::size_t count = 0;
    while (readdir(directory.get()) != nullptr) ++count;
    return count;
}

/** The answers where readings of the SMBIOS table fail as the bits say: the first, the second, both, none of them. */
std::vector<Response> references(const std::string& directory, const Question& question) {
    std::vector<Response> answers;
    for (const unsigned failing : {0U, 1U, 2U, 3U}) {
        Trial trial(directory);
        for (const unsigned reading : {1U, 2U}) {
            emulator::Fault fault;
            fault.on = Occasion::deviceOpen;
            fault.from = reading;
            fault.missing = true;
            if ((failing & reading) != 0) trial.host.bmc().addFault(fault);
        }
        answers.push_back(question.ask(trial.manager));
    }
    return answers;
}

/** Whether a path has all of the keys that its class has; a part of it only, where one that makes paths failed. */
bool hasItsKeys(const ObjectPath& path) {
    std::set<std::string> expected = {"SystemCreationClassName", "SystemName", "CreationClassName", "DeviceID"};
    if (path.className == "QELTA_SystemSlot") {
        expected.erase("DeviceID");
        expected.insert("Tag");
    }
    if (path.className == "QELTA_DeviceInSlot" || path.className == "QELTA_OnBoardDevice")
        expected = {"Antecedent", "Dependent"};
    std::set<std::string> names;
    bool whole = true;
    for (const broker::Property& key : path.keys) {
        names.insert(key.name);
        const auto* reference = std::get_if<std::shared_ptr<ObjectPath>>(&key.value.data);
        whole = whole && !key.value.null && (reference == nullptr || hasItsKeys(**reference));
    }
    return whole && names == expected;
}

/** Whether a path, or those that an association links, is what is left of a path of the machine, or of a slot. */
bool isOfMachine(const ObjectPath& path, const Paths& machine, bool anySlot) {
    if (path.className == "QELTA_DeviceInSlot" || path.className == "QELTA_OnBoardDevice")
        return std::all_of(path.keys.begin(), path.keys.end(), [&](const broker::Property& key) {
            const auto* reference = std::get_if<std::shared_ptr<ObjectPath>>(&key.value.data);
            return key.value.null || (reference != nullptr && isOfMachine(**reference, machine, anySlot));
        });
    return (anySlot && path.className == "QELTA_SystemSlot") ||
           std::any_of(machine.begin(), machine.end(), [&](const ObjectPath& whole) { return isLeftOf(path, whole); });
}

class Campaign : public testing::Test {
 protected:
    /** A machine of the samples, with what was found out about it. */
    struct Machine {
        std::string directory;
        Questions questions;
        Paths paths;
        std::map<std::string, std::vector<Response>> references;  // by questions
    };

    Campaign() {
        for (const std::string& directory : sampleDirectories())
            machines.push_back({directory, questionsFor(directory), pathsOfMachine(directory), {}});
    }

    void play(unsigned seed) {
        Dice dice(seed);
        Machine& machine = machines[dice.below(static_cast<unsigned>(machines.size()))];
        const Question& question = dice.of(machine.questions);
        const Script script = scriptOf(dice);
        SCOPED_TRACE("seed " + std::to_string(seed) + ": " + question.what + " of " + machine.directory);
        const auto known = machine.references.find(question.what);
        const std::vector<Response>& expected =
            known != machine.references.end()
                ? known->second
                : machine.references.emplace(question.what, references(machine.directory, question)).first->second;

        const Outcome first = playOnce(machine, question, script, expected);
        const Outcome again = playOnce(machine, question, script, expected);
        EXPECT_TRUE(first.events == again.events);
        EXPECT_TRUE(same(first.response, again.response) && first.threw == again.threw);
        exchanges += first.exchanges;
        disturbed += first.threw || !same(first.response, expected.front()) ? 1 : 0;
    }

    Outcome playOnce(const Machine& machine, const Question& question, const Script& script,
                     const std::vector<Response>& expected) {
        Trial trial(machine.directory);
        const std::size_t descriptors = openDescriptors();
        script.apply(trial);
        const Outcome outcome = outcomeOf(trial, question, script);
        // The device may stay open, where the file could not be opened, and nothing else.
        EXPECT_LE(trial.host.openFiles(), 1U);
        if (!outcome.threw) expectPromised(machine, outcome.response, script, expected);

        Script::takeBack(trial);
        trial.host.keepEvents(false);
        const Outcome after = outcomeOf(trial, question, {});
        EXPECT_TRUE(same(after.response, expected.front())) << "the request that follows is not answered as ever";
        EXPECT_EQ(trial.host.openFiles(), 0U);
        EXPECT_EQ(openDescriptors(), descriptors);
        EXPECT_EQ(trial.host.bmc().openFiles(), 0U);
        EXPECT_EQ(trial.host.bmc().interleavedTransfers(), 0U);
        return outcome;
    }

    static void expectPromised(const Machine& machine, const Response& response, const Script& script,
                               const std::vector<Response>& expected) {
        const Response& whole = expected.front();
        const bool isKnown = std::any_of(expected.begin(), expected.end(),
                                         [&](const Response& answer) { return same(answer, response); });
        EXPECT_FALSE(response.hasMessage);
        EXPECT_TRUE(isKnown || !script.calls.empty() || script.mayForge())
            << "not an answer with and without the slots of either reading";
        EXPECT_TRUE(same(response, whole) || !script.isHarmless()) << "delays alone are no reason for another answer";
        EXPECT_TRUE(same(response, expected.back()) || !script.isFatal()) << "there is no table to read slots from";
        // The class may not be read, and an exception leaves the status as it stood.
        const bool statusIsLost = (script.hasEffect(0) && response.status == CMPI_RC_ERR_INVALID_CLASS) ||
                                  (script.hasEffect(1) && response.status == CMPI_RC_OK);
        EXPECT_TRUE(response.status == whole.status || statusIsLost) << broker::statusName(response.status);
        EXPECT_LE(response.deliveredAfterDone, whole.deliveredAfterDone);
        for (const ObjectPath& path : delivered(response)) {
            EXPECT_TRUE(isOfMachine(path, machine.paths, script.mayForge())) << testing::PrintToString(path);
            EXPECT_TRUE(script.hasEffect(0) || hasItsKeys(path)) << testing::PrintToString(path);
        }
        // A call that fails may be one that reads the request, or a slot's number; what throws ends the work.
        if (script.mayForge() || script.hasEffect(0)) return;
        EXPECT_TRUE(std::any_of(expected.begin(), expected.end(), [&](const Response& answer) {
            return areAmong(response.instances, answer.instances) && areAmong(response.paths, answer.paths);
        })) << testing::PrintToString(delivered(response));
    }

    std::vector<Machine> machines;
    unsigned long exchanges = 0;
    unsigned disturbed = 0;
};

TEST_F(Campaign, OfSeededFaults) {
    const unsigned first = setting("PCIINFO_CAMPAIGN_FIRST", 1);
    const unsigned seeds = setting("PCIINFO_CAMPAIGN_SEEDS", 100);
    for (unsigned seed = first; seed < first + seeds; ++seed) {
        std::fprintf(stderr, "\rseed %u ", seed);
        play(seed);
    }
    std::fprintf(stderr, "\n%u seeds, %u answers disturbed, %lu exchanges\n", seeds, disturbed, exchanges);
    EXPECT_GE(disturbed, seeds / 10) << "faults that disturb nothing test nothing";
}

}  // namespace
