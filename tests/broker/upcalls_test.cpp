// What a provider asks of the object manager while it serves a request.
#include "tests/broker/brokertest.h"

using broker::ObjectPath;
using broker::Property;
using broker::Response;
using broker::UpcallAnswer;
using broker::Value;
using testing::ElementsAre;
using tiny::Asked;

namespace {

/** What one upcall gave to the provider. */
struct Seen {
    bool nullObject = true;
    CMPIrc status = CMPI_RC_ERROR;
    std::vector<CMPIData> elements;   // objects in them end with the request
    std::vector<CMPIUint64> numbers;  // their keys or properties "Number"
};

CMPIUint64 numberOf(const CMPIData& data) {
    const CMPIData number = data.type == CMPI_ref
                                ? data.value.ref->ft->getKey(data.value.ref, "Number", nullptr)
                                : data.value.inst->ft->getProperty(data.value.inst, "Number", nullptr);
    return number.value.uint32;
}

Seen drained(const CMPIEnumeration* enumeration, const CMPIStatus& rc) {
    Seen seen;
    seen.status = rc.rc;
    seen.nullObject = enumeration == nullptr;
    while (enumeration != nullptr && enumeration->ft->hasNext(enumeration, nullptr) != 0) {
        const CMPIData data = enumeration->ft->getNext(enumeration, nullptr);
        seen.elements.push_back(data);
        const bool object = data.type == CMPI_ref || data.type == CMPI_instance;
        if (object && (data.state & CMPI_nullValue) == 0) seen.numbers.push_back(numberOf(data));
    }
    return seen;
}

void deliver(const Asked& asked, CMPIUint32 number) {
    CMPIInstance* instance = tiny::makeNumbered(asked.broker, "Test_Inner", number);
    asked.result->ft->returnInstance(asked.result, instance);
    asked.result->ft->returnObjectPath(asked.result, instance->ft->getObjectPath(instance, nullptr));
}

CMPIStatus serveInner(const Asked& asked) {
    const std::string name = asked.className();
    if (name == "Test_Unknown") return {CMPI_RC_ERR_INVALID_CLASS, nullptr};
    if (name == "Test_Empty") return tiny::ok;
    deliver(asked, 7);
    deliver(asked, 8);
    return {name == "Test_Failing" ? CMPI_RC_ERR_ACCESS_DENIED : CMPI_RC_OK, nullptr};
}

}  // namespace

class UpcallTest : public RequestTest {
 protected:
    using Upcall = std::function<void(const Asked& outer, const CMPIObjectPath* inner)>;

    /** Runs `upcall` inside a request, with a path of `innerClass`; the inner requests are served by `inner`. */
    void during(const std::string& innerClass, const Upcall& upcall, const tiny::Behaviour& inner = serveInner) {
        tiny::behave([&](const Asked& asked) {
            if (asked.className() != "Test_Outer") return inner(asked);
            upcall(asked, asked.broker->eft->newObjectPath(asked.broker, "root/kavix", innerClass.c_str(), nullptr));
            return tiny::ok;
        });
        EXPECT_EQ(broker.enumerateInstances(classPath("Test_Outer")).status, CMPI_RC_OK);
    }

    Seen enumerated(const std::string& innerClass) {
        Seen seen;
        during(innerClass, [&](const Asked& asked, const CMPIObjectPath* path) {
            CMPIStatus rc{CMPI_RC_ERROR, nullptr};
            const auto* found = asked.broker->bft->enumerateInstances(asked.broker, asked.context, path, nullptr, &rc);
            seen = drained(found, rc);
        });
        return seen;
    }
};

TEST_F(UpcallTest, EnumerateInstancesReEntersTheProviderOnTheSameThread) {
    const Seen seen = enumerated("Test_Inner");
    EXPECT_EQ(seen.status, CMPI_RC_OK);
    EXPECT_THAT(seen.numbers, ElementsAre(7, 8));
    EXPECT_EQ(seen.elements[0].type, CMPI_instance);
    EXPECT_EQ(seen.elements[0].state, CMPI_goodValue);
}

TEST_F(UpcallTest, AnErrorOfTheProviderGivesAnEmptyEnumerationAndTheStatus) {
    const Seen seen = enumerated("Test_Failing");
    EXPECT_EQ(seen.status, CMPI_RC_ERR_ACCESS_DENIED);
    EXPECT_FALSE(seen.nullObject);
    EXPECT_TRUE(seen.elements.empty());
}

TEST_F(UpcallTest, AClassThatNobodyKnowsGivesNoEnumeration) {
    const Seen seen = enumerated("Test_Unknown");
    EXPECT_EQ(seen.status, CMPI_RC_ERR_INVALID_CLASS);
    EXPECT_TRUE(seen.nullObject);
}

TEST_F(UpcallTest, NothingDeliveredGivesAnEmptyEnumeration) {
    const Seen seen = enumerated("Test_Empty");
    EXPECT_EQ(seen.status, CMPI_RC_OK);
    EXPECT_FALSE(seen.nullObject);
    EXPECT_TRUE(seen.elements.empty());
}

TEST_F(UpcallTest, DoesNotMixInnerAndOuterResults) {
    tiny::behave([](const Asked& asked) {
        if (asked.className() != "Test_Outer") return serveInner(asked);
        const auto* path = asked.broker->eft->newObjectPath(asked.broker, "root/kavix", "Test_Inner", nullptr);
        asked.broker->bft->enumerateInstances(asked.broker, asked.context, path, nullptr, nullptr);
        deliver(asked, 1);
        return tiny::ok;
    });
    const Response response = broker.enumerateInstances(classPath("Test_Outer"));
    ASSERT_EQ(response.instances.size(), 1U);
    EXPECT_EQ(*response.instances[0].property("Number"), Value::uint(CMPI_uint32, 1));
}

TEST_F(UpcallTest, PassesThePropertyListAndTheContext) {
    const char* wanted[] = {"Number", nullptr};
    const CMPIContext* outerContext = nullptr;
    during(
        "Test_Inner",
        [&](const Asked& asked, const CMPIObjectPath* path) {
            outerContext = asked.context;
            asked.broker->bft->enumerateInstances(asked.broker, asked.context, path, wanted, nullptr);
            outerContext = nullptr;
            asked.broker->bft->enumerateInstances(asked.broker, nullptr, path, wanted, nullptr);
        },
        [&](const Asked& asked) {
            EXPECT_EQ(asked.properties, wanted);
            EXPECT_NE(asked.context, nullptr);
            if (outerContext != nullptr) {
                EXPECT_EQ(asked.context, outerContext);
            }
            return tiny::ok;
        });
}

TEST_F(UpcallTest, TheAskedSideGetsACopyOfThePath) {
    during(
        "Test_Inner",
        [](const Asked& asked, const CMPIObjectPath* path) {
            asked.broker->bft->enumerateInstances(asked.broker, asked.context, path, nullptr, nullptr);
            EXPECT_EQ(path->ft->getKey(path, "Number", nullptr).state, CMPI_notFound);
        },
        [](const Asked& asked) {
            asked.path->ft->addKey(asked.path, "Number", nullptr, CMPI_uint32);
            return tiny::ok;
        });
}

TEST_F(UpcallTest, WithoutAPathIsRefused) {
    during("Test_Inner", [](const Asked& asked, const CMPIObjectPath*) {
        CMPIStatus rc{CMPI_RC_OK, nullptr};
        EXPECT_EQ(asked.broker->bft->enumerateInstances(asked.broker, asked.context, nullptr, nullptr, &rc), nullptr);
        EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_PARAMETER);
    });
}

TEST_F(UpcallTest, AnExceptionOfTheInnerRequestPassesThroughTheOuter) {
    tiny::behave([](const Asked& asked) -> CMPIStatus {
        if (asked.className() == "Test_Inner") throw std::runtime_error("inner");
        const auto* path = asked.broker->eft->newObjectPath(asked.broker, "root/kavix", "Test_Inner", nullptr);
        asked.broker->bft->enumerateInstances(asked.broker, asked.context, path, nullptr, nullptr);
        return tiny::ok;
    });
    EXPECT_THROW(broker.enumerateInstances(classPath("Test_Outer")), std::runtime_error);
    EXPECT_EQ(broker.objectsMade(), broker.objectsFreed());
}

TEST_F(UpcallTest, ACannedAnswerStandsInForTheProvider) {
    const ObjectPath path{"n", "Test_Inner", {{"Number", Value::uint(CMPI_uint32, 5)}}};
    broker.answerUpcall("TEST_inner", {false,
                                       CMPI_RC_OK,
                                       {Value::instance({path, path.keys}), Value::nothing(CMPI_instance),
                                        Value::string("odd"), Value::nothing(CMPI_null), Value::reference(path)}});
    for (int again = 0; again < 2; ++again) {
        const Seen seen = enumerated("Test_Inner");
        EXPECT_EQ(seen.status, CMPI_RC_OK);
        ASSERT_EQ(seen.elements.size(), 5U);
        EXPECT_THAT(seen.numbers, ElementsAre(5, 5));
        EXPECT_EQ(seen.elements[1].type, CMPI_instance);
        EXPECT_EQ(seen.elements[1].state, CMPI_nullValue);
        EXPECT_EQ(seen.elements[2].type, CMPI_string);
        EXPECT_EQ(seen.elements[3].type, CMPI_null);
        EXPECT_EQ(seen.elements[4].type, CMPI_ref);
    }
    EXPECT_THAT(enumerated("Test_Other").numbers, ElementsAre(7, 8));
}

TEST_F(UpcallTest, ACannedAnswerMayBeAStatusWithOrWithoutAnEnumeration) {
    broker.answerUpcall("Test_Inner", {true, CMPI_RC_ERR_INVALID_NAMESPACE, {}});
    Seen seen = enumerated("Test_Inner");
    EXPECT_TRUE(seen.nullObject);
    EXPECT_EQ(seen.status, CMPI_RC_ERR_INVALID_NAMESPACE);
    broker.answerUpcall("Test_Inner", {false, CMPI_RC_ERR_FAILED, {}});
    seen = enumerated("Test_Inner");
    EXPECT_FALSE(seen.nullObject);
    EXPECT_EQ(seen.status, CMPI_RC_ERR_FAILED);
}

TEST_F(UpcallTest, ARequestIsNotACannedUpcall) {
    broker.answerUpcall("Test_Inner", {true, CMPI_RC_ERR_FAILED, {}});
    tiny::behave(serveInner);
    EXPECT_EQ(broker.enumerateInstances(classPath("Test_Inner")).instances.size(), 2U);
}
