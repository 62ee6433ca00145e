// What requests cost at most, whatever the BMC does: exchanges and virtual time, beside the tables in the manual.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <fstream>
#include <functional>
#include <iterator>

#include "ipmi/IpmiDataStore.h"
#include "tests/support/emulatedtime.h"
#include "tests/support/machine.h"
#include "tests/unit/bmchost.h"

extern "C" {
CMPIInstanceMI* PCIInfoProvider_Create_InstanceMI(const CMPIBroker*, const CMPIContext*, CMPIStatus*);
CMPIAssociationMI* PCIInfoProvider_Create_AssociationMI(const CMPIBroker*, const CMPIContext*, CMPIStatus*);
}

namespace {

using broker::Broker;
using broker::ObjectPath;
using broker::Response;
using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::HasSubstr;
using namespace testsupport;

// --- what the product's limits are, and what follows from them ---

constexpr seconds kWait{5};       // for a message, in every exchange
constexpr seconds kReceiving{5};  // of a message that came and that receive calls do not bring
constexpr milliseconds kNearly{4999};
constexpr unsigned kArea = tPCIInfo::kFileArea;
constexpr unsigned kEmptyAnswers = 16;  // in a row, that are put up with
constexpr unsigned kSmallPiece = 58;
constexpr unsigned kAround = 3;  // open and query size before the reads, close after them

constexpr unsigned readsOf(unsigned piece) {
    return (kArea + piece - 1) / piece;
}

const unsigned kPiece = tPCIInfo::MAX_KCS_BUFF_SIZE;  // as it is at load

Fault delayed(milliseconds delay, Fault fault = {}) {
    fault.delayMs = static_cast<std::uint32_t>(delay.count());
    return fault;
}
/** Messages come at the last moment, and cannot be received then. */
Fault outOfReach() {
    Fault fault = delayed(kNearly);
    fault.receiveFailures = 1000000;
    return fault;
}
/** The same for a second less than would be too long: machines under load do not count every millisecond. */
Fault receivedLate() {
    Fault fault = delayed(kNearly);
    fault.receiveFailures = 4000;
    return fault;
}
/** A fault, changed in one member. */
template <typename Member, typename Content>
Fault having(Member Fault::*member, Content content, Fault fault = {}) {
    fault.*member = content;
    return fault;
}

using Faults = std::vector<Fault>;

const Fault kSlow = at(Occasion::any, delayed(kNearly));
const Fault kOneByte = at(Occasion::read, having(&Fault::countField, 1));

/** A way to behave. */
struct Way {
    Faults faults;
    milliseconds shortfall{1};  // of each exchange, to the most that one of the kind takes
    bool dripping = false;      // the most empty answers before each byte
};

/** A kind of BMC, as the manual tells it, and one reading of the SMBIOS table from it. */
struct Kind {
    const char* name;
    unsigned exchanges;
    seconds each;
    std::vector<Way> ways;

    seconds most() const { return exchanges * each; }
    friend void PrintTo(const Kind& kind, std::ostream* out) { *out << kind.name; }
};

const std::vector<Kind>& kinds() {
    static const unsigned reads = readsOf(kPiece);
    static const unsigned drips = kArea * (kEmptyAnswers + 1);
    static const Fault refusedOnce = at(Occasion::read, refusal(0xC3), 1, 1);
    static const std::vector<Kind> all = {
        {"is not there, or may not be opened", 1, kWait, {{{at(Occasion::deviceOpen, having(&Fault::missing, true))}}}},
        {"is silent",
         1,
         kWait,
         {{{at(Occasion::any, timeOut())}},
          {{at(Occasion::any, delayed(kWait + seconds(1)))}},
          {{at(Occasion::any, having(&Fault::vanish, true))}},
          {{at(Occasion::any, having(&Fault::pollErrno, EINTR))}, kWait}}},
        {"answers what was not asked",
         1,
         kWait,
         {{{at(Occasion::any, having(&Fault::receiveType, 3, delayed(kNearly)))}},
          {{at(Occasion::any, having(&Fault::netfn, 0x2D, delayed(kNearly)))}},
          {{at(Occasion::any, having(&Fault::command, 0x91, delayed(kNearly)))}}}},
        {"cannot be received from", 1, kWait + kReceiving, {{{at(Occasion::any, outOfReach())}}}},
        {"refuses the file",
         2,
         kWait,
         {{{kSlow, at(Occasion::querySize, refusal(0x0C))}}, {{kSlow, at(Occasion::querySize, timeOut())}}}},
        {"refuses every read",
         kAround + 2,
         kWait,
         {{{kSlow, at(Occasion::read, refusal(0xC3))}}, {{kSlow, at(Occasion::read, answerLength(5))}}}},
        {"gives no bytes", kAround + kEmptyAnswers + 1, kWait, {{{kSlow, at(Occasion::read, emptyRead())}}}},
        {"falls silent at any time",
         kAround + reads,
         kWait,
         {{{kSlow, at(Occasion::read, timeOut(), reads), at(Occasion::close, timeOut())}}}},
        {"answers in time", kAround + reads, kWait, {{{kSlow}}}},
        {"answers, and can be received from late",
         kAround + reads,
         kWait + kReceiving,
         {{{at(Occasion::any, receivedLate())}, seconds(1) + (kWait - kNearly)}}},
        {"refuses reads of 200 bytes", kAround + 1 + readsOf(kSmallPiece), kWait, {{{kSlow, refusedOnce}}}},
        {"gives one byte at a time", kAround + kArea, kWait, {{{kSlow, kOneByte}}}},
        {"gives nothing 16 times before each byte", kAround + drips, kWait, {{{}, kWait, true}}},
        {"has all of these faults",
         kAround + 1 + drips,
         kWait + kReceiving,
         {{{refusedOnce}, kWait + kReceiving, true}}},
    };
    return all;
}

/** Requests through the provider's factories, on a host whose exchanges are counted. */
class WorstCase : public BmcHostTest {
 protected:
    WorstCase() {
        buildRack(files);
        bmc().putFile("smbios-table", slotTable({5, 3, 9}));
        manager.attach(PCIInfoProvider_Create_InstanceMI, PCIInfoProvider_Create_AssociationMI);
        manager.recordCalls(false);
        host.keepEvents(false);
        host.onEvent([this](const emulator::Event& event) {
            // Every exchange waits once, one without a device too.
            if (std::holds_alternative<emulator::Waited>(event)) ++exchanges;
            if (const auto* sent = std::get_if<emulator::Sent>(&event); sent != nullptr)
                opens += sent->request.data.at(3) == tPCIInfo::IpmiDataStore::kDataStoreOpenOp ? 1 : 0;
            if (dripping && std::holds_alternative<emulator::Received>(event)) drip();
        });
    }
    ~WorstCase() override { host.onEvent({}); }

    void behave(const Way& way) {
        tPCIInfo::MAX_KCS_BUFF_SIZE = static_cast<std::uint16_t>(kPiece);
        bmc().clearFaults();
        for (const Fault& fault : way.faults) bmc().addFault(fault);
        dripping = way.dripping;
        received = 0;
        refusals = static_cast<unsigned>(way.faults.size());
        exchanges = 0;
        opens = 0;
    }

    /** Before the next answer: so many of no bytes, then one of one. */
    void drip() {
        constexpr unsigned kBeforeReads = kAround - 1;
        if (++received < kBeforeReads + refusals) return;
        const unsigned place = (received - kBeforeReads - refusals) % (kEmptyAnswers + 1);
        if (place > 0 && place < kEmptyAnswers) return;  // as before
        bmc().clearFaults();
        bmc().addFault(at(Occasion::read, having(&Fault::countField, place == kEmptyAnswers ? 1 : 0)));
    }

    Broker manager;
    unsigned exchanges = 0;
    unsigned opens = 0;

 private:
    bool dripping = false;
    unsigned received = 0;
    unsigned refusals = 0;
};

class Reading : public WorstCase, public testing::WithParamInterface<Kind> {};

TEST_P(Reading, CostsWhatTheManualSaysAndNoMore) {
    const Kind& kind = GetParam();
    for (const Way& way : kind.ways) {
        behave(way);
        const auto began = std::chrono::steady_clock::now();
        const milliseconds aheadBefore = ahead();
        manager.enumerateInstanceNames(classPath("QELTA_SystemSlot"));
        EXPECT_EQ(exchanges, kind.exchanges);
        // Real time passes beside the virtual one. A millisecond is what the emulator takes for a receive call.
        const milliseconds slack = exchanges * milliseconds(1);
        EXPECT_LE(ahead() - aheadBefore, kind.most() + slack);
        EXPECT_GE(std::chrono::steady_clock::now() - began, kind.exchanges * (kind.each - way.shortfall));
    }
}

INSTANTIATE_TEST_SUITE_P(FromABmcThat, Reading, testing::ValuesIn(kinds()), [](const auto& kind) {
    std::string letters = kind.param.name;
    const auto isOther = [](unsigned char c) { return std::isalnum(c) == 0; };
    letters.erase(std::remove_if(letters.begin(), letters.end(), isOther), letters.end());
    return letters;
});

// --- how often requests read the table ---

using Ask = std::function<void(Broker&)>;

/** Requests of a kind, as the manual tells it. */
struct RequestKind {
    const char* name;
    unsigned readings;
    std::vector<Ask> requests;
};

std::vector<Ask> ofClasses(const std::vector<const char*>& classNames) {
    std::vector<Ask> requests;
    for (const char* className : classNames) {
        for (const auto ask : {&Broker::enumerateInstanceNames, &Broker::enumerateInstances, &Broker::getInstance})
            requests.emplace_back([=](Broker& manager) { (manager.*ask)(classPath(className)); });
    }
    return requests;
}

using AskAssociation = Response (Broker::*)(const ObjectPath&, const broker::Filters&);
const std::vector<AskAssociation> kAssociators = {&Broker::associators, &Broker::associatorNames};
const std::vector<AskAssociation> kReferences = {&Broker::references, &Broker::referenceNames};

std::vector<Ask> from(const std::vector<ObjectPath>& sources, const std::vector<AskAssociation>& operations,
                      const std::vector<broker::Filters>& filters = {{}}) {
    std::vector<Ask> requests;
    for (const ObjectPath& source : sources)
        for (const AskAssociation ask : operations)
            for (const broker::Filters& filter : filters)
                requests.emplace_back([=](Broker& manager) { (manager.*ask)(source, filter); });
    return requests;
}

std::vector<RequestKind> requestKinds() {
    const std::vector<ObjectPath> functions = {devicePath(3, 3, 0), bridgePath(5, 5, 0), devicePath(0, 31, 2)};
    const ObjectPath inNoSlot = bridgePath(0, 0, 0);
    const std::vector<broker::Filters> toSlot = {{"QELTA_DeviceInSlot", {}, {}, {}}, {{}, "QELTA_SystemSlot", {}, {}}};
    const std::vector<broker::Filters> toLink = {{{}, "QELTA_DeviceInSlot", {}, {}}};
    return {
        {"enumerate or get the board", 0, ofClasses({"QELTA_SystemBoard"})},
        {"enumerate or get slots or functions", 1,
         ofClasses({"QELTA_SystemSlot", "QELTA_PCIDevice", "QELTA_PCIBridge", "QELTA_OBDPCIController"})},
        {"enumerate or get associations or functions in slots", 2,
         ofClasses({"QELTA_DeviceInSlot", "QELTA_OnBoardDevice", "QELTA_SSPCIController"})},
        {"associators of a slot or of the board", 1, from({slotPath(3), slotPath(9), boardPath()}, kAssociators)},
        {"associators of a function: the board", 0, from(functions, kAssociators)},
        {"associators of a function: its slot", 2, from(functions, kAssociators, toSlot)},
        {"references of a slot or of the board", 2, from({slotPath(3), slotPath(9), boardPath()}, kReferences)},
        {"references of a function: to the board", 1, from(functions, kReferences)},
        {"references of a function: to its slot", 2, from(functions, kReferences, toLink)},
        {"the slot of a function with device number 0", 1, from({inNoSlot}, kAssociators, toSlot)},
    };
}

TEST_F(WorstCase, RequestsReadTheTableAsOftenAsTheManualSays) {
    for (const RequestKind& kind : requestKinds()) {
        for (const Ask& ask : kind.requests) {
            behave({});
            ask(manager);
            EXPECT_EQ(opens, kind.readings) << kind.name;
            EXPECT_EQ(exchanges, kind.readings * (kAround + readsOf(kPiece))) << kind.name;
        }
    }
}

TEST_F(WorstCase, NoRequestReadsTheTableMoreThanTwice) {
    std::vector<broker::Filters> all;
    const std::vector<std::optional<std::string>> associations = {{}, "QELTA_DeviceInSlot", "QELTA_OnBoardDevice"};
    std::vector<std::optional<std::string>> results = associations;
    for (const char* className : {"QELTA_SystemSlot", "QELTA_SystemBoard", "QELTA_SSPCIController",
                                  "QELTA_OBDPCIController", "QELTA_PCIDevice"})
        results.emplace_back(className);
    for (const auto& association : associations)
        for (const auto& result : results) all.push_back({association, result, {}, {}});
    std::vector<ObjectPath> sources = {devicePath(3, 3, 0), devicePath(0, 31, 2), bridgePath(0, 0, 0), slotPath(3),
                                       boardPath()};
    for (const char* className : {"QELTA_SSPCIController", "QELTA_OBDPCIController", "QELTA_DeviceInSlot"})
        sources.push_back(functionPath(className, 3, 3, 0));
    std::vector<AskAssociation> operations = kAssociators;
    operations.insert(operations.end(), kReferences.begin(), kReferences.end());

    unsigned most = 0;
    for (const Fault& fault : {Fault{}, timeOut(), refusal(0xC3)}) {
        for (const Ask& ask : from(sources, operations, all)) {
            behave({{at(Occasion::any, fault)}});
            ask(manager);
            most = std::max(most, opens);
        }
    }
    EXPECT_EQ(most, 2U);
}

// --- the manual ---

TEST(WorstCaseInTheManual, IsWhatTheTestsHold) {
    std::ifstream file(PCIINFO_MANUAL);
    const std::string manual{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    std::size_t rows = 0;
    const auto expectRow = [&](const std::string& row) {
        EXPECT_THAT(manual, HasSubstr("\n.It " + row + "\n"));
        ++rows;
    };
    for (const RequestKind& kind : requestKinds()) expectRow(fmt::format("{} Ta {}", kind.name, kind.readings));
    for (const Kind& kind : kinds())
        expectRow(fmt::format("{} Ta {} Ta {}", kind.name, kind.exchanges, kind.most().count()));
    std::size_t told = 0;
    for (std::size_t place = 0; (place = manual.find(" Ta ", place)) != std::string::npos;
         place = manual.find('\n', place))
        ++told;
    EXPECT_EQ(told, rows + 2) << "every row is held by a test, but for the headings";
}

}  // namespace
