#ifndef PCIINFO_TESTS_BROKER_BROKERTEST_H
#define PCIINFO_TESTS_BROKER_BROKERTEST_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "broker/broker.h"
#include "tests/broker/tinyprovider.h"

/** Objects made by hand, through the tables as a provider uses them. */
class ObjectTest : public testing::Test {
 protected:
    CMPIObjectPath* newPath(const char* className = "Test_Class") {
        return mb->eft->newObjectPath(mb, "root/kavix", className, nullptr);
    }
    CMPIInstance* newInstance() { return mb->eft->newInstance(mb, newPath(), nullptr); }
    CMPIString* newString(const char* text) { return mb->eft->newString(mb, text, nullptr); }

    static std::string text(const CMPIString* string) {
        return string == nullptr ? "(null)" : string->ft->getCharPtr(string, nullptr);
    }
    static std::string text(const CMPIData& data) { return text(data.value.string); }
    /** CMPI_chars: the text itself stands for the address of the value. */
    static const CMPIValue* chars(const char* text) { return reinterpret_cast<const CMPIValue*>(text); }

    broker::Broker broker;
    broker::Broker::Scope scope{broker};
    const CMPIBroker* mb = broker.handle();
    CMPIStatus rc{CMPI_RC_ERROR, nullptr};  // what no function sets
};

/** Requests to the tiny provider. Whatever it makes is freed by the end of the test. */
class RequestTest : public testing::Test {
 protected:
    RequestTest() { broker.attach(tiny::createInstanceMI, tiny::createAssociationMI); }
    ~RequestTest() override {
        tiny::behave(nullptr);
        EXPECT_EQ(broker.objectsMade(), broker.objectsFreed());
    }

    static broker::ObjectPath classPath(const std::string& name) { return {"root/kavix", name, {}}; }

    broker::Broker broker;
};

#endif
