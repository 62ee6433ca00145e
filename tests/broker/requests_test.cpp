// Requests to a provider, its loading, and the tables that it is given.
#include <stdexcept>

#include "tests/broker/brokertest.h"

using broker::Filters;
using broker::Instance;
using broker::ObjectPath;
using broker::Response;
using broker::Value;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using tiny::Asked;

namespace {

CMPIStatus deliverTwo(const Asked& asked) {
    for (const CMPIUint32 number : {1U, 2U}) {
        CMPIInstance* instance = tiny::makeNumbered(asked.broker, asked.className().c_str(), number);
        asked.result->ft->returnInstance(asked.result, instance);
        asked.result->ft->returnObjectPath(asked.result, instance->ft->getObjectPath(instance, nullptr));
    }
    asked.result->ft->returnDone(asked.result);
    return tiny::ok;
}

}  // namespace

TEST_F(RequestTest, ReturnsWhatTheProviderDelivered) {
    tiny::behave(deliverTwo);
    const Response response = broker.enumerateInstances(classPath("Test_A"));
    EXPECT_EQ(response.status, CMPI_RC_OK);
    EXPECT_FALSE(response.hasMessage);
    EXPECT_EQ(response.doneCalls, 1U);
    EXPECT_EQ(response.deliveredAfterDone, 0U);
    ASSERT_EQ(response.instances.size(), 2U);
    const ObjectPath second{"root/kavix", "Test_A", {{"Number", Value::uint(CMPI_uint32, 2)}}};
    EXPECT_EQ(response.instances[1], (Instance{second, second.keys}));
    EXPECT_EQ(response.paths[1], second);
}

TEST_F(RequestTest, PassesStatusAndWhetherThereIsAMessage) {
    tiny::behave([](const Asked& asked) {
        return CMPIStatus{CMPI_RC_ERR_ACCESS_DENIED, asked.broker->eft->newString(asked.broker, "no", nullptr)};
    });
    const Response response = broker.enumerateInstanceNames(classPath("Test_A"));
    EXPECT_EQ(response.status, CMPI_RC_ERR_ACCESS_DENIED);
    EXPECT_TRUE(response.hasMessage);
}

TEST_F(RequestTest, FreesEverythingWhenItEnds) {
    tiny::behave(deliverTwo);
    broker.enumerateInstances(classPath("Test_A"));
    EXPECT_GT(broker.objectsMade(), 6U);
    EXPECT_EQ(broker.objectsMade(), broker.objectsFreed());
}

TEST_F(RequestTest, LetsAnExceptionPassAfterFreeingEverything) {
    tiny::behave([](const Asked& asked) -> CMPIStatus {
        tiny::makeNumbered(asked.broker, "Test_A", 1);
        throw std::runtime_error("from the provider");
    });
    EXPECT_THROW(broker.enumerateInstances(classPath("Test_A")), std::runtime_error);
    EXPECT_EQ(broker.objectsMade(), broker.objectsFreed());
    tiny::behave([](const Asked&) -> CMPIStatus { throw 5; });
    EXPECT_THROW(broker.enumerateInstances(classPath("Test_A")), int);
    EXPECT_EQ(broker.objectsMade(), broker.objectsFreed());
}

TEST_F(RequestTest, KeepsObjectsOfInnerRequestsUntilTheOutermostEnds) {
    CMPIString* inner = nullptr;
    tiny::behave([&](const Asked& asked) {
        if (asked.className() == "Test_Inner") {
            inner = asked.broker->eft->newString(asked.broker, "inner", nullptr);
            return tiny::ok;
        }
        CMPIObjectPath* path = asked.broker->eft->newObjectPath(asked.broker, "root/kavix", "Test_Inner", nullptr);
        asked.broker->bft->enumerateInstances(asked.broker, asked.context, path, nullptr, nullptr);
        EXPECT_STREQ(inner->ft->getCharPtr(inner, nullptr), "inner");
        return tiny::ok;
    });
    broker.enumerateInstances(classPath("Test_Outer"));
    ASSERT_NE(inner, nullptr);
    EXPECT_EQ(broker.objectsMade(), broker.objectsFreed());
}

TEST_F(RequestTest, PassesThePathAndNoPropertyListToEveryInstanceOperation) {
    std::vector<std::string> seen;
    tiny::behave([&](const Asked& asked) {
        seen.push_back(asked.operation + " " + toString(broker::Broker::Scope(broker).read(asked.path)));
        EXPECT_EQ(asked.properties, nullptr);
        EXPECT_NE(asked.context, nullptr);
        return tiny::ok;
    });
    const ObjectPath path{"root/kavix", "Test_A", {{"K", Value::uint(CMPI_uint64, 3)}}};
    broker.enumerateInstanceNames(classPath("Test_A"));
    broker.enumerateInstances(classPath("tesT_a"));
    broker.getInstance(path);
    broker.createInstance(path, Instance{path, {}});
    broker.modifyInstance(path, Instance{path, {}});
    broker.deleteInstance(path);
    EXPECT_THAT(seen, ElementsAre("enumerateInstanceNames root/kavix:Test_A", "enumerateInstances root/kavix:tesT_a",
                                  "getInstance root/kavix:Test_A.K=3", "createInstance root/kavix:Test_A.K=3",
                                  "modifyInstance root/kavix:Test_A.K=3", "deleteInstance root/kavix:Test_A.K=3"));
}

TEST_F(RequestTest, PassesInstancesToCreateAndModify) {
    tiny::behave([&](const Asked& asked) {
        EXPECT_EQ(asked.instance->ft->getProperty(asked.instance, "Speed", nullptr).value.uint32, 66U);
        return tiny::ok;
    });
    const Instance instance{classPath("Test_A"), {{"Speed", Value::uint(CMPI_uint32, 66)}}};
    EXPECT_EQ(broker.createInstance(instance.path, instance).status, CMPI_RC_OK);
    EXPECT_EQ(broker.modifyInstance(instance.path, instance).status, CMPI_RC_OK);
}

TEST_F(RequestTest, PassesQueryAndLanguage) {
    tiny::behave([&](const Asked& asked) {
        EXPECT_STREQ(asked.query, "SELECT * FROM Test_A");
        EXPECT_STREQ(asked.language, "WQL");
        return CMPIStatus{CMPI_RC_ERR_NOT_SUPPORTED, nullptr};
    });
    EXPECT_EQ(broker.execQuery(classPath("Test_A"), "SELECT * FROM Test_A", "WQL").status, CMPI_RC_ERR_NOT_SUPPORTED);
}

TEST_F(RequestTest, PassesFiltersAndNullWhereThereIsNone) {
    std::vector<std::string> seen;
    const auto shown = [](const char* filter) { return std::string(filter == nullptr ? "-" : filter) + " "; };
    tiny::behave([&](const Asked& asked) {
        seen.push_back(asked.operation + " " + shown(asked.assocClass) + shown(asked.resultClass) + shown(asked.role) +
                       shown(asked.resultRole));
        return tiny::ok;
    });
    const Filters all{"Test_Link", "Test_B", "From", "To"};
    broker.associators(classPath("Test_A"), all);
    broker.associatorNames(classPath("Test_A"), all);
    broker.references(classPath("Test_A"), all);
    broker.referenceNames(classPath("Test_A"), all);
    broker.associators(classPath("Test_A"), {});
    Filters empty;
    empty.role = "";
    broker.references(classPath("Test_A"), empty);
    EXPECT_THAT(seen, ElementsAre("associators Test_Link Test_B From To ", "associatorNames Test_Link Test_B From To ",
                                  "references - Test_B From - ", "referenceNames - Test_B From - ",
                                  "associators - - - - ", "references - -  - "));
}

TEST_F(RequestTest, CleansUpBothInterfacesAndAnswersTheFirstBadStatus) {
    int calls = 0;
    tiny::behave([&](const Asked& asked) {
        EXPECT_EQ(asked.terminating, 1);
        return CMPIStatus{++calls == 2 ? CMPI_RC_DO_NOT_UNLOAD : CMPI_RC_OK, nullptr};
    });
    EXPECT_EQ(broker.cleanup(true), CMPI_RC_DO_NOT_UNLOAD);
    EXPECT_EQ(calls, 2);
    tiny::behave([&](const Asked& asked) {
        EXPECT_EQ(asked.terminating, 0);
        return CMPIStatus{calls++ == 2 ? CMPI_RC_NEVER_UNLOAD : CMPI_RC_DO_NOT_UNLOAD, nullptr};
    });
    EXPECT_EQ(broker.cleanup(false), CMPI_RC_NEVER_UNLOAD);
}

TEST(Attach, WithoutAProviderNobodyKnowsAClass) {
    broker::Broker broker;
    EXPECT_EQ(broker.enumerateInstances({"root/kavix", "Test_A", {}}).status, CMPI_RC_ERR_INVALID_CLASS);
    EXPECT_EQ(broker.references({"root/kavix", "Test_A", {}}, {}).status, CMPI_RC_ERR_INVALID_CLASS);
    EXPECT_EQ(broker.cleanup(true), CMPI_RC_OK);
    EXPECT_EQ(broker.objectsMade(), broker.objectsFreed());
}

TEST(Attach, GivesTheFactoriesBrokerContextAndStatus) {
    broker::Broker broker;
    broker.attach(
        [](const CMPIBroker* mb, const CMPIContext* context, CMPIStatus* rc) {
            EXPECT_NE(context, nullptr);
            EXPECT_EQ(rc->rc, CMPI_RC_OK);
            return tiny::createInstanceMI(mb, context, rc);
        },
        tiny::createAssociationMI);
    EXPECT_NE(broker.instanceMI(), nullptr);
    EXPECT_NE(broker.associationMI(), nullptr);
    EXPECT_EQ(broker.objectsMade(), broker.objectsFreed());
}

TEST(Attach, ThrowsWhereAFactoryGivesNoInterface) {
    broker::Broker broker;
    const auto none = [](const CMPIBroker*, const CMPIContext*, CMPIStatus*) -> CMPIInstanceMI* { return nullptr; };
    const auto bad = [](const CMPIBroker* mb, const CMPIContext* context, CMPIStatus* rc) {
        rc->rc = CMPI_RC_ERR_FAILED;
        return tiny::createInstanceMI(mb, context, rc);
    };
    EXPECT_THROW(broker.attach(none, tiny::createAssociationMI), std::runtime_error);
    EXPECT_THROW(broker.attach(bad, tiny::createAssociationMI), std::runtime_error);
    EXPECT_EQ(broker.instanceMI(), nullptr);
}

namespace {

std::string loadComplaint(const std::string& library, const std::string& name) {
    broker::Broker broker;
    try {
        broker.load(library, name);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "(loaded)";
}

}  // namespace

TEST(Load, TakesALibraryByTheNameOfItsFactories) {
    broker::Broker broker;
    broker.load(TINYPROVIDER_LIBRARY, "Tiny");
    EXPECT_EQ(broker.enumerateInstances({"root/kavix", "Test_A", {}}).status, CMPI_RC_ERR_NOT_SUPPORTED);
    EXPECT_EQ(broker.objectsMade(), broker.objectsFreed());
}

TEST(Load, SaysWhatTheLoaderMisses) {
    EXPECT_THAT(loadComplaint("/nowhere/libNothing.so", "Tiny"), HasSubstr("/nowhere/libNothing.so"));
    EXPECT_THAT(loadComplaint(TINYPROVIDER_LIBRARY, "Other"), HasSubstr("Other_Create_InstanceMI"));
    EXPECT_THAT(loadComplaint(TINYPROVIDER_LIBRARY, "Half"), HasSubstr("Half_Create_AssociationMI"));
    EXPECT_THAT(loadComplaint(TINYPROVIDER_LIBRARY, "Refusing"), HasSubstr("CMPI_RC_ERR_ACCESS_DENIED"));
}

TEST(Tables, AreCompleteButForThatOfThreads) {
    broker::Broker broker;
    const auto nulls = [](const auto& table) {
        const auto* slots = reinterpret_cast<void* const*>(&table);
        std::size_t count = 0;
        for (std::size_t i = 1; i < sizeof table / sizeof *slots; ++i) count += slots[i] == nullptr ? 1U : 0U;
        return count;
    };
    EXPECT_EQ(nulls(broker.brokerTable()), 0U);
    EXPECT_EQ(nulls(broker.encapsulationTable()), 0U);
    EXPECT_EQ(nulls(broker.resultTable()), 0U);
    EXPECT_EQ(nulls(broker.objectPathTable()), 0U);
    EXPECT_EQ(nulls(broker.instanceTable()), 0U);
    EXPECT_EQ(nulls(broker.arrayTable()), 0U);
    EXPECT_EQ(nulls(broker.enumerationTable()), 0U);
    EXPECT_EQ(nulls(broker.stringTable()), 0U);
    EXPECT_EQ(nulls(broker.contextTable()), 0U);
    EXPECT_EQ(broker.handle()->xft, nullptr);
}

TEST(Tables, BelongToOneBrokerAndItsObjects) {
    broker::Broker first;
    broker::Broker second;
    first.objectPathTable().addKey = nullptr;
    first.encapsulationTable().newArray = nullptr;
    first.brokerRecord().bft = nullptr;
    const broker::Broker::Scope scope(first);
    const broker::Broker::Scope other(second);
    const CMPIBroker* mb = first.handle();
    EXPECT_EQ(mb->eft->newObjectPath(mb, "n", "Test_A", nullptr)->ft->addKey, nullptr);
    EXPECT_EQ(mb->eft->newArray, nullptr);
    EXPECT_EQ(mb->bft, nullptr);
    EXPECT_NE(second.handle()->bft, nullptr);
    mb = second.handle();
    EXPECT_NE(mb->eft->newObjectPath(mb, "n", "Test_A", nullptr)->ft->addKey, nullptr);
}

TEST(Tables, NameTheirVersion) {
    broker::Broker broker;
    EXPECT_EQ(broker.encapsulationTable().ftVersion, 100);
    EXPECT_EQ(broker.brokerTable().brokerVersion, 100);
    EXPECT_STREQ(broker.brokerTable().brokerName, "in-process broker");
}
