// Instance requests: what is delivered, logged and put out, and how exceptions end them.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <tuple>

#include "tests/requests/rack.h"

namespace {

using broker::Call;
using broker::ObjectPath;
using broker::Response;
using testing::ElementsAre;
using testing::IsEmpty;
using namespace testsupport;

/** Standard output of this process goes to a file of its own while an object of this class lives. */
class StdoutCapture {
 public:
    StdoutCapture() : file_(std::tmpfile()), kept_(dup(STDOUT_FILENO)) {
        if (file_ == nullptr || kept_ < 0) throw std::runtime_error("standard output cannot be captured");
        std::fflush(stdout);
        std::setvbuf(stdout, nullptr, _IOFBF, BUFSIZ);  // whatever it was: a terminal's lines go out one by one
        dup2(fileno(file_.get()), STDOUT_FILENO);
    }
    ~StdoutCapture() {
        std::fflush(stdout);
        dup2(kept_, STDOUT_FILENO);
        close(kept_);
    }
    StdoutCapture(const StdoutCapture&) = delete;
    StdoutCapture& operator=(const StdoutCapture&) = delete;

    /** What has reached the descriptor so far. */
    std::string written() const {
        std::string text(static_cast<std::size_t>(lseek(fileno(file_.get()), 0, SEEK_END)), '\0');
        const ssize_t got = pread(fileno(file_.get()), text.data(), text.size(), 0);
        text.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
        return text;
    }
    /** All that was put out so far. */
    std::string text() const {
        std::fflush(stdout);
        return written();
    }

 private:
    struct CloseStream {
        void operator()(FILE* stream) const { std::fclose(stream); }
    };
    std::unique_ptr<FILE, CloseStream> file_;
    int kept_;
};

std::string lines(unsigned count) {
    std::string text;
    for (unsigned line = 0; line < count; ++line) text += "enumerating instances\n";
    return text;
}

class InstanceTest : public RackTest {
 protected:
    static bool isEntryLine(const std::string& line) { return line.rfind("PCI_enuminstances", 0) == 0; }
};

// --- every class in every operation ---

using ClassAndOperation = std::tuple<ServedClass, Operation>;

class EveryClassTest : public InstanceTest, public testing::WithParamInterface<ClassAndOperation> {
 protected:
    const ServedClass& served() const { return std::get<ServedClass>(GetParam()); }
    const Operation& operation() const { return std::get<Operation>(GetParam()); }
    bool closes() const { return served().closesResult && !operation().namesOnly; }
    /** All of the class's objects, or as many of them as the operation's result takes. */
    Paths taken() const { return operation().isGet() ? takenOfGet(served().objects()) : served().objects(); }
};

std::string nameOf(const testing::TestParamInfo<ClassAndOperation>& info) {
    return std::get<ServedClass>(info.param).shortName() + "_" + std::get<Operation>(info.param).name;
}

INSTANTIATE_TEST_SUITE_P(Instances, EveryClassTest,
                         testing::Combine(testing::ValuesIn(kServedClasses), testing::ValuesIn(kInstanceOperations)),
                         nameOf);

TEST_P(EveryClassTest, IsLoggedByTheEnumerationOfInstancesAloneWithTheNameAsGiven) {
    for (const std::string& spelling : spellings(served().what)) {
        SCOPED_TRACE(spelling);
        ask(operation(), spelling);
        Lines lines = log();
        const std::string line = "PCI_enuminstances - in the routine with classname [" + spelling + "]";
        if (std::string(operation().name) == "Enumerate") {
            ASSERT_FALSE(lines.empty());
            EXPECT_EQ(lines.front(), line);
            lines.erase(lines.begin());
        }
        // What is left of such lines comes from enumerations that the provider asks for itself.
        EXPECT_EQ(std::count_if(lines.begin(), lines.end(), isEntryLine), served().upcalls);
    }
}

TEST_P(EveryClassTest, PutsOutOneLineForEachEnumerationOfInstances) {
    const bool enumerates = std::string(operation().name) == "Enumerate";
    const StdoutCapture capture;
    ask(operation(), served().what);
    EXPECT_EQ(capture.written(), "");  // the stream is not flushed
    EXPECT_EQ(capture.text(), lines(served().upcalls + (enumerates ? 1 : 0)));
}

TEST_P(EveryClassTest, ReadsTheClassNameOfThePathAndNothingElse) {
    ObjectPath path = functionPath(served().what, 200, 31, 7);
    path.nameSpace = "root/elsewhere";
    path.keys.push_back({"Tag", broker::Value::string("System Slot 99")});
    const auto refuse = [](const CMPIObjectPath*, CMPIStatus*) -> CMPIString* {
        ADD_FAILURE() << "the namespace or the host is asked for";
        return nullptr;
    };
    manager.objectPathTable().getNameSpace = refuse;
    manager.objectPathTable().getHostname = refuse;
    const Response response = (manager.*operation().ask)(path);
    EXPECT_EQ(response.status, CMPI_RC_OK);
    EXPECT_EQ(delivered(response), taken());
    for (const Call& call : manager.calls()) EXPECT_NE(call.function, "objectPath.getKey");
}

TEST_P(EveryClassTest, IsAnsweredOkWithFewerObjectsOnAnEmptyHost) {
    files.remove("proc").remove("bmc");
    host->removeDevice(true);
    const Response response = ask(operation(), served().what);
    EXPECT_EQ(response.status, CMPI_RC_OK);
    const bool isBoard = std::string(served().what) == "QELTA_SystemBoard";
    EXPECT_EQ(delivered(response), isBoard ? board() : Paths());
    EXPECT_EQ(response.doneCalls, closes() ? 1U : 0U);
}

TEST_P(EveryClassTest, KeepsWhatWasDeliveredBeforeAStandardException) {
    const bool atTheFirst = served().objects().size() < 2;
    if (operation().namesOnly) {
        manager.throwAt("result.returnObjectPath", atTheFirst ? 1 : 2);
    } else {
        manager.throwAt("result.returnInstance", served().upcallObjects + (atTheFirst ? 1 : 2));
    }
    const Response response = ask(operation(), served().what);
    EXPECT_TRUE(manager.faultStruck());
    EXPECT_EQ(response.status, CMPI_RC_OK);
    EXPECT_FALSE(response.hasMessage);
    const Paths objects = served().objects();
    EXPECT_EQ(delivered(response), atTheFirst ? Paths() : Paths{objects.front()});
    // The walks over slots and over the board's functions keep exceptions to themselves: the result is closed then.
    const bool caughtBelow = served().upcalls != 0;
    EXPECT_EQ(response.doneCalls, closes() && caughtBelow ? 1U : 0U);
    expectNothingLeft();
}

TEST_P(EveryClassTest, LetsOtherExceptionsPassUnlessItsOwnWalkKeepsThem) {
    const char* function = operation().namesOnly ? "result.returnObjectPath" : "result.returnInstance";
    manager.throwAt(function, 1 + (operation().namesOnly ? 0 : served().upcallObjects), false);
    if (served().upcalls != 0) {
        EXPECT_EQ(ask(operation(), served().what).status, CMPI_RC_OK);
    } else {
        EXPECT_THROW(ask(operation(), served().what), int);
    }
    EXPECT_TRUE(manager.faultStruck());
    expectNothingLeft();
    manager.clearFaults();
    EXPECT_EQ(delivered(ask(operation(), served().what)), taken());
}

TEST_P(EveryClassTest, LetsExceptionsOfReadingTheClassNamePass) {
    for (const char* function : {"objectPath.getClassName", "string.getCharPtr"}) {
        SCOPED_TRACE(function);
        manager.throwAt(function, 1);
        EXPECT_THROW(ask(operation(), served().what), std::runtime_error);
        EXPECT_THAT(log(), IsEmpty());
        expectNothingLeft();
        manager.clearFaults();
    }
}

TEST_F(InstanceTest, WhatBecomesOfClosingTheResultChangesNothing) {
    const auto expectBoard = [this] {
        for (const Operation& operation : kInstanceOperations) {
            const Response response = ask(operation, "QELTA_SystemBoard");
            EXPECT_EQ(response.status, CMPI_RC_OK) << operation.name;
            EXPECT_EQ(delivered(response), board()) << operation.name;
        }
    };
    manager.failAt("result.returnDone", 1);
    manager.throwAt("result.returnDone", 2);
    expectBoard();
    EXPECT_TRUE(manager.faultStruck());
}

// --- what tells the operations apart ---

TEST_F(InstanceTest, NamesOfBridgesOnAHostWithoutBridgesAreOkEmptyAndLeftOpen) {
    files.setFile("proc/bus/pci/devices", devicesLine(deviceAt(0, 2, 0)));
    const Response response = manager.enumerateInstanceNames(classPath("QELTA_PCIBridge"));
    EXPECT_EQ(response.status, CMPI_RC_OK);
    EXPECT_THAT(delivered(response), IsEmpty());
    EXPECT_EQ(response.doneCalls, 0U);
}

TEST_F(InstanceTest, GettingADeviceThatDoesNotExistDeliversEveryDevice) {
    const Response response = manager.getInstance(devicePath(99, 9, 7));
    EXPECT_EQ(response.status, CMPI_RC_OK);
    EXPECT_EQ(delivered(response), takenOfGet(rack::devices()));
    EXPECT_EQ(response.doneCalls, 1U);
}

TEST_F(InstanceTest, GettingDeliversTheSameInstancesAsEnumerating) {
    for (const ServedClass& served : kServedClasses) {
        const Response enumerated = manager.enumerateInstances(classPath(served.what));
        EXPECT_EQ(manager.getInstance(classPath(served.what)).instances, takenOfGet(enumerated.instances))
            << served.what;
    }
}

TEST_F(InstanceTest, OnlyItsOwnLineTellsTheLogOfEnumeratingFromThatOfGetting) {
    for (const ServedClass& served : kServedClasses) {
        SCOPED_TRACE(served.what);
        ask(kInstanceOperations[1], served.what);
        Lines enumerating = log();
        ASSERT_FALSE(enumerating.empty());
        enumerating.erase(enumerating.begin());
        ask(kInstanceOperations[2], served.what);
        EXPECT_EQ(log(), enumerating);
    }
}

TEST_F(InstanceTest, NamesAndGettingOfTheBoardWriteNoLogLineAndNoOutput) {
    const StdoutCapture capture;
    manager.enumerateInstanceNames(classPath("QELTA_SystemBoard"));
    manager.getInstance(classPath("QELTA_SystemBoard"));
    EXPECT_THAT(log(), IsEmpty());
    EXPECT_EQ(capture.text(), "");
}

TEST_F(InstanceTest, AnUnknownClassIsPutOutAndLoggedByTheEnumerationOfInstances) {
    const StdoutCapture capture;
    const Response response = manager.enumerateInstances(classPath("QELTA_Unknown"));
    EXPECT_EQ(capture.text(), lines(1));
    EXPECT_THAT(log(), ElementsAre("PCI_enuminstances - in the routine with classname [QELTA_Unknown]"));
    EXPECT_EQ(response.status, CMPI_RC_ERR_INVALID_CLASS);
    EXPECT_FALSE(response.hasMessage);
    EXPECT_EQ(response.doneCalls, 0U);
}

TEST_F(InstanceTest, AnUnknownClassLeavesNoTraceInTheOtherOperations) {
    const StdoutCapture capture;
    EXPECT_EQ(manager.enumerateInstanceNames(classPath("QELTA_Unknown")).status, CMPI_RC_ERR_INVALID_CLASS);
    EXPECT_EQ(manager.getInstance(classPath("QELTA_Unknown")).status, CMPI_RC_ERR_INVALID_CLASS);
    EXPECT_EQ(capture.text(), "");
    EXPECT_THAT(host->events(), IsEmpty());
}

TEST_F(InstanceTest, TheOutputLineIsWrittenBeforeTheClassNameIsRead) {
    manager.throwAt("objectPath.getClassName", 1);
    const StdoutCapture capture;
    EXPECT_THROW(manager.enumerateInstances(classPath("QELTA_SystemBoard")), std::runtime_error);
    EXPECT_EQ(capture.text(), lines(1));
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(InstanceTest, AFormatInTheClassNameIsLoggedAsItStands) {
    manager.enumerateInstances(classPath("%s%n%d"));
    EXPECT_THAT(log(), ElementsAre("PCI_enuminstances - in the routine with classname [%s%n%d]"));
}

// --- arguments ---

TEST_F(InstanceTest, TheInterfaceRecordAndThePropertyListAreNotRead) {
    broker::Broker::Scope enumeration(manager);
    broker::Broker::Scope get(manager);
    const CMPIInstanceMIFT& table = *manager.instanceMI()->ft;
    const CMPIContext* context = get.context();
    const CMPIObjectPath* path = get.make(classPath("QELTA_SystemBoard"));
    auto** const properties = reinterpret_cast<const char**>(8);  // read, it would end the process
    EXPECT_EQ(table.enumerateInstanceNames(nullptr, context, enumeration.result(), path).rc, CMPI_RC_OK);
    EXPECT_EQ(table.enumerateInstances(nullptr, context, enumeration.result(), path, properties).rc, CMPI_RC_OK);
    EXPECT_EQ(table.getInstance(nullptr, context, get.result(), path, properties).rc, CMPI_RC_OK);
    EXPECT_EQ(enumeration.response().paths, board());
    EXPECT_EQ(enumeration.response().instances.size(), 1U);
    EXPECT_EQ(get.response().instances.size(), 1U);
}

/** What the provider handed to the object manager. */
struct Handed {
    bool classNameStatus = false;
    const CMPIBroker* broker = nullptr;
    const CMPIContext* context = nullptr;
    const char** properties = nullptr;
};
Handed handed;
decltype(CMPIObjectPathFT::getClassName) getClassNameOfBroker = nullptr;

TEST_F(InstanceTest, TheClassNameIsReadWithoutStatusPointer) {
    handed = {};
    getClassNameOfBroker = manager.objectPathTable().getClassName;
    manager.objectPathTable().getClassName = [](const CMPIObjectPath* path, CMPIStatus* rc) {
        handed.classNameStatus = handed.classNameStatus || rc != nullptr;
        return getClassNameOfBroker(path, rc);
    };
    for (const Operation& operation : kInstanceOperations) {
        EXPECT_EQ(ask(operation, "QELTA_SystemBoard").status, CMPI_RC_OK);
    }
    EXPECT_FALSE(handed.classNameStatus);
}

TEST_F(InstanceTest, TheContextAndTheBrokerArePassedOn) {
    static const char* unexpected = nullptr;
    handed = {false, nullptr, nullptr, &unexpected};
    manager.brokerTable().enumerateInstances = [](const CMPIBroker* broker, const CMPIContext* context,
                                                  const CMPIObjectPath*, const char** properties,
                                                  CMPIStatus*) -> CMPIEnumeration* {
        handed = {false, broker, context, properties};
        return nullptr;
    };
    broker::Broker::Scope scope(manager);
    for (const char* name : {"QELTA_DeviceInSlot", "QELTA_OnBoardDevice", "QELTA_SSPCIController"}) {
        SCOPED_TRACE(name);
        const CMPIObjectPath* path = scope.make(classPath(name));
        EXPECT_EQ(manager.instanceMI()->ft->getInstance(nullptr, scope.context(), scope.result(), path, nullptr).rc,
                  CMPI_RC_OK);
        EXPECT_EQ(handed.broker, manager.handle());
        EXPECT_EQ(handed.context, scope.context());
        EXPECT_EQ(handed.properties, nullptr);
        handed = {false, nullptr, nullptr, &unexpected};
    }
}

// --- exceptions of the scan ---

TEST_F(InstanceTest, AnInventoryThatCannotBeMadeEndsInOkWithNothingDelivered) {
    host->onFileOpen([](const std::string&) { throw std::runtime_error("made to fail"); });
    for (const char* name : {"QELTA_PCIDevice", "QELTA_PCIBridge", "QELTA_DeviceInSlot", "QELTA_SSPCIController",
                             "QELTA_OBDPCIController"}) {
        for (const Operation& operation : kInstanceOperations) {
            SCOPED_TRACE(std::string(name) + " " + operation.name);
            const Response response = ask(operation, name);
            EXPECT_EQ(response.status, CMPI_RC_OK);
            EXPECT_THAT(delivered(response), IsEmpty());
            EXPECT_EQ(response.doneCalls, 0U);
        }
    }
}

TEST_F(InstanceTest, AnExceptionOfAnotherTypeInTheScanPassesOut) {
    host->onFileOpen([](const std::string&) { throw 5; });
    for (const Operation& operation : kInstanceOperations) {
        EXPECT_THROW(ask(operation, "QELTA_PCIDevice"), int) << operation.name;
        expectNothingLeft();
    }
    host->onFileOpen(nullptr);
    EXPECT_EQ(delivered(manager.getInstance(classPath("QELTA_PCIDevice"))), takenOfGet(rack::devices()));
}

}  // namespace
