// The library as a file, its factories and their records, and the operations with a fixed answer.
#include <dlfcn.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <thread>

#include "tests/requests/rack.h"

namespace {

using broker::Broker;
using broker::Response;
using testing::Each;
using testing::IsEmpty;
using testing::Matches;
using testing::StartsWith;
using testing::UnorderedElementsAre;
using namespace testsupport;

// --- the library as a file ---

/** What a shell command writes, in lines. */
Lines linesOf(const std::string& command) {
    const std::unique_ptr<FILE, int (*)(FILE*)> output(popen(command.c_str(), "r"), pclose);
    Lines lines;
    std::array<char, 1024> line{};
    while (fgets(line.data(), line.size(), output.get()) != nullptr)
        lines.emplace_back(line.data(), std::strcspn(line.data(), "\n"));
    return lines;
}

TEST(ProviderLibrary, ExportsTheTwoFactoriesAndNothingElse) {
    EXPECT_THAT(linesOf("nm -D --defined-only -j '" PROVIDER_LIBRARY "'"),
                UnorderedElementsAre("PCIInfoProvider_Create_InstanceMI", "PCIInfoProvider_Create_AssociationMI"));
}

TEST(ProviderLibrary, NeedsTheRunTimeOfItsLanguageAndOfThePlatformOnly) {
    // The sanitizers' run times come with builds that are instrumented for them.
    const std::vector<std::string> allowed = {"libstdc++.so", "libgcc_s.so", "libm.so",     "libc.so",
                                              "ld-linux",     "libasan.so",  "libubsan.so", "libtsan.so"};
    const Lines libraries = linesOf("objdump -p '" PROVIDER_LIBRARY "' | sed -n 's/^ *NEEDED *//p'");
    EXPECT_FALSE(libraries.empty());
    for (const std::string& needed : libraries) {
        EXPECT_TRUE(std::any_of(allowed.begin(), allowed.end(), [&](const std::string& name) {
            return Matches(StartsWith(name))(needed);
        })) << needed;
    }
}

TEST(ProviderLibrary, LoadsWithAllItsSymbolsBoundAtOnce) {
    void* library = dlopen(PROVIDER_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr);
    EXPECT_NE(dlsym(library, "PCIInfoProvider_Create_InstanceMI"), nullptr);
    EXPECT_NE(dlsym(library, "PCIInfoProvider_Create_AssociationMI"), nullptr);
    EXPECT_EQ(dlclose(library), 0);
}

// --- factories and their records ---

class EntryTest : public MachineTest {
 protected:
    EntryTest() {
        buildRack(files);
        host = std::make_unique<emulator::EmulatedHost>(files.directory());
    }

    void SetUp() override {
        library_.reset(dlopen(PROVIDER_LIBRARY, RTLD_NOW | RTLD_LOCAL));
        ASSERT_NE(library_, nullptr);
        createInstanceMI_ = function<Broker::CreateInstanceMI>("PCIInfoProvider_Create_InstanceMI");
        createAssociationMI_ = function<Broker::CreateAssociationMI>("PCIInfoProvider_Create_AssociationMI");
        ASSERT_NE(createInstanceMI_, nullptr);
        ASSERT_NE(createAssociationMI_, nullptr);
    }

    CMPIInstanceMI* instanceMI() { return createInstanceMI_(manager.handle(), nullptr, nullptr); }
    CMPIAssociationMI* associationMI() { return createAssociationMI_(manager.handle(), nullptr, nullptr); }

    /** Whether requests are served with the objects of that broker. */
    static testing::AssertionResult serves(Broker& broker) {
        const Response response = broker.enumerateInstanceNames(classPath("QELTA_SystemBoard"));
        if (response.paths == Paths{boardPath()}) return testing::AssertionSuccess();
        return testing::AssertionFailure() << response.paths.size() << " paths delivered";
    }

    struct CloseLibrary {
        void operator()(void* library) const { dlclose(library); }
    };
    std::unique_ptr<void, CloseLibrary> library_;
    Broker::CreateInstanceMI createInstanceMI_ = nullptr;
    Broker::CreateAssociationMI createAssociationMI_ = nullptr;

 private:
    template <typename Function>
    Function function(const char* name) {
        return reinterpret_cast<Function>(dlsym(library_.get(), name));
    }
};

TEST_F(EntryTest, TheInstanceFactoryGivesARecordWithoutDataAndAFullTable) {
    const CMPIInstanceMI* record = instanceMI();
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->hdl, nullptr);
    ASSERT_NE(record->ft, nullptr);
    const CMPIInstanceMIFT& table = *record->ft;
    EXPECT_EQ(table.ftVersion, 100);
    EXPECT_EQ(table.miVersion, 100);
    EXPECT_STREQ(table.miName, "instancePCIInfoProvider");
    EXPECT_NE(table.cleanup, nullptr);
    EXPECT_NE(table.enumerateInstanceNames, nullptr);
    EXPECT_NE(table.enumerateInstances, nullptr);
    EXPECT_NE(table.getInstance, nullptr);
    EXPECT_NE(table.createInstance, nullptr);
    EXPECT_NE(table.modifyInstance, nullptr);
    EXPECT_NE(table.deleteInstance, nullptr);
    EXPECT_NE(table.execQuery, nullptr);
}

TEST_F(EntryTest, TheAssociationFactoryGivesARecordWithoutDataAndAFullTable) {
    const CMPIAssociationMI* record = associationMI();
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->hdl, nullptr);
    ASSERT_NE(record->ft, nullptr);
    const CMPIAssociationMIFT& table = *record->ft;
    EXPECT_EQ(table.ftVersion, 100);
    EXPECT_EQ(table.miVersion, 100);
    EXPECT_STREQ(table.miName, "associationPCIInfoProvider");
    EXPECT_NE(table.cleanup, nullptr);
    EXPECT_NE(table.associators, nullptr);
    EXPECT_NE(table.associatorNames, nullptr);
    EXPECT_NE(table.references, nullptr);
    EXPECT_NE(table.referenceNames, nullptr);
}

TEST_F(EntryTest, AFactoryCalledAgainGivesTheSameRecord) {
    Broker other;
    CMPIInstanceMI* instances = instanceMI();
    CMPIAssociationMI* associations = associationMI();
    EXPECT_EQ(createInstanceMI_(other.handle(), nullptr, nullptr), instances);
    EXPECT_EQ(createAssociationMI_(other.handle(), nullptr, nullptr), associations);
}

TEST_F(EntryTest, TheFactoriesReadNothingButTheBrokerAndWriteNoStatus) {
    // Read or written, these addresses would end the process.
    const auto* context = reinterpret_cast<const CMPIContext*>(8);
    auto* status = reinterpret_cast<CMPIStatus*>(8);
    EXPECT_NE(createInstanceMI_(manager.handle(), context, status), nullptr);
    EXPECT_NE(createAssociationMI_(manager.handle(), context, status), nullptr);
    EXPECT_THAT(manager.calls(), IsEmpty());
}

TEST_F(EntryTest, TheBrokerOfTheLatestFactoryCallServesBothInterfaces) {
    Broker first;
    Broker second;
    first.attach(createInstanceMI_, createAssociationMI_);
    EXPECT_TRUE(serves(first));
    second.attach(createInstanceMI_, createAssociationMI_);
    EXPECT_TRUE(serves(second));
    EXPECT_FALSE(serves(first));

    createInstanceMI_(first.handle(), nullptr, nullptr);
    EXPECT_TRUE(serves(first));
    createAssociationMI_(second.handle(), nullptr, nullptr);
    EXPECT_TRUE(serves(second));
}

TEST_F(EntryTest, TheBrokerOfTheLatestFactoryCallMayBeNull) {
    const std::vector<std::function<void()>> factoriesWithoutBroker = {
        [this] { createAssociationMI_(nullptr, nullptr, nullptr); },
        [this] { createInstanceMI_(nullptr, nullptr, nullptr); }};
    for (const auto& createWithoutBroker : factoriesWithoutBroker) {
        manager.attach(createInstanceMI_, createAssociationMI_);
        createWithoutBroker();
        for (const ServedClass& served : kServedClasses) {
            for (const Operation& operation : kInstanceOperations) {
                const Response response = (manager.*operation.ask)(classPath(served.what));
                EXPECT_EQ(response.status, CMPI_RC_OK) << served.what;
                EXPECT_THAT(delivered(response), IsEmpty()) << served.what;
            }
            EXPECT_THAT(delivered(manager.associators(classPath(served.what), {})), IsEmpty()) << served.what;
            EXPECT_THAT(delivered(manager.references(classPath(served.what), {})), IsEmpty()) << served.what;
        }
    }
}

TEST_F(EntryTest, RequestsWithoutAResultAreServedInVain) {
    manager.attach(createInstanceMI_, createAssociationMI_);
    CMPIInstanceMI* instances = instanceMI();
    CMPIAssociationMI* associations = associationMI();
    broker::Broker::Scope scope(manager);
    const CMPIContext* context = scope.context();
    for (const ServedClass& served : kServedClasses) {
        const CMPIObjectPath* path = scope.make(classPath(served.what));
        EXPECT_EQ(instances->ft->enumerateInstanceNames(instances, context, nullptr, path).rc, CMPI_RC_OK)
            << served.what;
        EXPECT_EQ(instances->ft->enumerateInstances(instances, context, nullptr, path, nullptr).rc, CMPI_RC_OK)
            << served.what;
        EXPECT_EQ(instances->ft->getInstance(instances, context, nullptr, path, nullptr).rc, CMPI_RC_OK) << served.what;
    }
    const CMPIObjectPath* path = scope.make(devicePath(3, 3, 0));
    for (const char* resultClass : {"QELTA_SystemSlot", "QELTA_SystemBoard"})
        EXPECT_EQ(associations->ft
                      ->associatorNames(associations, context, nullptr, path, nullptr, resultClass, nullptr, nullptr)
                      .rc,
                  CMPI_RC_OK);
    for (const char* resultClass : {"QELTA_DeviceInSlot", "QELTA_OnBoardDevice"})
        EXPECT_EQ(associations->ft->references(associations, context, nullptr, path, resultClass, nullptr, nullptr).rc,
                  CMPI_RC_OK);
}

TEST_F(EntryTest, RequestsWithoutAPathAreOfNoClass) {
    manager.attach(createInstanceMI_, createAssociationMI_);
    CMPIInstanceMI* instances = instanceMI();
    CMPIAssociationMI* associations = associationMI();
    broker::Broker::Scope scope(manager);
    EXPECT_EQ(instances->ft->enumerateInstances(instances, scope.context(), scope.result(), nullptr, nullptr).rc,
              CMPI_RC_ERR_INVALID_CLASS);
    EXPECT_EQ(associations->ft
                  ->associators(associations, scope.context(), scope.result(), nullptr, nullptr, nullptr, nullptr,
                                nullptr, nullptr)
                  .rc,
              CMPI_RC_ERR_INVALID_CLASS);
    EXPECT_EQ(scope.response().doneCalls, 1U) << "of the association request alone";
}

TEST_F(EntryTest, NoRequestWritesTheRecordsOrTheTables) {
    manager.attach(createInstanceMI_, createAssociationMI_);
    const CMPIInstanceMI instances = *instanceMI();
    const CMPIAssociationMI associations = *associationMI();
    const CMPIInstanceMIFT instanceTable = *instances.ft;
    const CMPIAssociationMIFT associationTable = *associations.ft;
    for (const ServedClass& served : kServedClasses) {
        for (const Operation& operation : kInstanceOperations) (manager.*operation.ask)(classPath(served.what));
        manager.associators(classPath(served.what), {});
        manager.references(classPath(served.what), {});
    }
    EXPECT_EQ(manager.cleanup(true), CMPI_RC_OK);
    EXPECT_EQ(std::memcmp(&instances, instanceMI(), sizeof instances), 0);
    EXPECT_EQ(std::memcmp(&associations, associationMI(), sizeof associations), 0);
    EXPECT_EQ(std::memcmp(&instanceTable, instances.ft, sizeof instanceTable), 0);
    EXPECT_EQ(std::memcmp(&associationTable, associations.ft, sizeof associationTable), 0);
}

TEST_F(EntryTest, FactoriesMayRunOnSeveralThreadsAtOnce) {
    constexpr int kThreads = 8;
    constexpr int kCalls = 500;
    const CMPIInstanceMI* instances = instanceMI();
    const CMPIAssociationMI* associations = associationMI();
    std::vector<int> strangeRecords(kThreads, 0);
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int& strange : strangeRecords) {
        threads.emplace_back([&, this] {
            for (int call = 0; call < kCalls; ++call) {
                if (instanceMI() != instances) ++strange;
                if (associationMI() != associations) ++strange;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_THAT(strangeRecords, Each(0));
    manager.attach(createInstanceMI_, createAssociationMI_);
    EXPECT_TRUE(serves(manager));
}

TEST_F(EntryTest, TheFirstFactoryCallsMayRunOnSeveralThreadsAtOnce) {
    constexpr int kThreads = 8;
    std::vector<const CMPIInstanceMI*> records(kThreads, nullptr);
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (const CMPIInstanceMI*& record : records) threads.emplace_back([&record, this] { record = instanceMI(); });
    for (std::thread& thread : threads) thread.join();
    EXPECT_NE(records.front(), nullptr);
    EXPECT_THAT(records, Each(records.front()));
}

// --- operations with a fixed answer ---

void expectStatus(const CMPIStatus& status, CMPIrc expected) {
    EXPECT_EQ(status.rc, expected);
    EXPECT_EQ(status.msg, nullptr);
}

TEST_F(EntryTest, CleanupIsOkWhetherTheObjectManagerEndsOrNot) {
    manager.attach(createInstanceMI_, createAssociationMI_);
    for (const bool terminating : {false, true}) {
        const auto flag = static_cast<CMPIBoolean>(terminating ? 1 : 0);
        expectStatus(instanceMI()->ft->cleanup(nullptr, nullptr, flag), CMPI_RC_OK);
        expectStatus(associationMI()->ft->cleanup(nullptr, nullptr, flag), CMPI_RC_OK);
        EXPECT_EQ(manager.cleanup(terminating), CMPI_RC_OK);
    }
    EXPECT_THAT(manager.calls(), IsEmpty());
}

TEST_F(EntryTest, RequestsAreStillServedAfterCleanup) {
    manager.attach(createInstanceMI_, createAssociationMI_);
    EXPECT_EQ(manager.cleanup(false), CMPI_RC_OK);
    EXPECT_TRUE(serves(manager));
}

TEST_F(EntryTest, CreateModifyDeleteAndQueryAreNotSupportedAndTouchNoArgument) {
    const CMPIInstanceMIFT& table = *instanceMI()->ft;
    expectStatus(table.createInstance(nullptr, nullptr, nullptr, nullptr, nullptr), CMPI_RC_ERR_NOT_SUPPORTED);
    expectStatus(table.modifyInstance(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), CMPI_RC_ERR_NOT_SUPPORTED);
    expectStatus(table.deleteInstance(nullptr, nullptr, nullptr, nullptr), CMPI_RC_ERR_NOT_SUPPORTED);
    expectStatus(table.execQuery(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), CMPI_RC_ERR_NOT_SUPPORTED);
}

// --- class names ---

class ClassNameTest : public RackTest {
 protected:
    void expectUnknown() {
        for (const Operation& operation : kInstanceOperations) {
            SCOPED_TRACE(operation.name);
            const Response response = ask(operation, "QELTA_SystemBoard");
            EXPECT_EQ(response.status, CMPI_RC_ERR_INVALID_CLASS);
            EXPECT_FALSE(response.hasMessage);
            EXPECT_THAT(delivered(response), IsEmpty());
            EXPECT_EQ(response.doneCalls, 0U);
        }
    }
};

TEST_F(ClassNameTest, AMissingClassNameMatchesNoClass) {
    manager.stringTable().getCharPtr = [](const CMPIString*, CMPIStatus*) -> const char* { return nullptr; };
    expectUnknown();
    manager.objectPathTable().getClassName = [](const CMPIObjectPath*, CMPIStatus*) -> CMPIString* { return nullptr; };
    expectUnknown();
}

}  // namespace
