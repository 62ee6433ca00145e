#ifndef PCIINFO_TESTS_BROKER_BROKERTEST_H
#define PCIINFO_TESTS_BROKER_BROKERTEST_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "broker/broker.h"
#include "tests/broker/tinyprovider.h"

/** CMPI_chars: the text itself stands for the address of the value. */
inline const CMPIValue* chars(const char* text) {
    return reinterpret_cast<const CMPIValue*>(text);
}

/** Objects made by hand, through the tables as a provider uses them. */
class ObjectTest : public testing::Test {
 protected:
    explicit ObjectTest(broker::Manners manners = broker::Manners::standard) : broker(manners) {}

    CMPIObjectPath* newPath(const char* className = "Test_Class") {
        return mb->eft->newObjectPath(mb, "root/kavix", className, nullptr);
    }
    CMPIInstance* newInstance() { return mb->eft->newInstance(mb, newPath(), nullptr); }
    CMPIString* newString(const char* text) { return mb->eft->newString(mb, text, nullptr); }

    static CMPIrc addKey(CMPIObjectPath* path, const char* name, const char* text) {
        return path->ft->addKey(path, name, chars(text), CMPI_chars).rc;
    }
    static CMPIrc set(CMPIInstance* instance, const char* name, const CMPIValue* value, CMPIType type) {
        return instance->ft->setProperty(instance, name, value, type).rc;
    }
    static CMPIrc set(CMPIInstance* instance, const char* name, const char* text) {
        return set(instance, name, chars(text), CMPI_chars);
    }
    /** What an instance holds under that name; Value(), a null, where there is nothing. */
    broker::Value stored(const CMPIInstance* instance, const std::string& name) const {
        const broker::Instance plain = scope->read(instance);
        const broker::Value* value = plain.property(name);
        return value == nullptr ? broker::Value() : *value;
    }

    static std::string text(const CMPIString* string) {
        return string == nullptr ? "(null)" : string->ft->getCharPtr(string, nullptr);
    }
    static std::string text(const CMPIData& data) { return text(data.value.string); }

    broker::Broker broker;
    std::optional<broker::Broker::Scope> scope{std::in_place, broker};
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
