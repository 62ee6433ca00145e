#ifndef PCIINFO_TESTS_BROKER_TINYPROVIDER_H
#define PCIINFO_TESTS_BROKER_TINYPROVIDER_H

#include <cmpi/cmpift.h>

#include <functional>
#include <string>

/** A provider whose every operation is one function, to be set by a test before it asks. */
namespace tiny {

struct Asked {
    std::string operation;  // the slot's name
    const CMPIBroker* broker = nullptr;
    const CMPIContext* context = nullptr;
    const CMPIResult* result = nullptr;
    const CMPIObjectPath* path = nullptr;
    const CMPIInstance* instance = nullptr;
    const char* assocClass = nullptr;
    const char* resultClass = nullptr;
    const char* role = nullptr;
    const char* resultRole = nullptr;
    const char* query = nullptr;
    const char* language = nullptr;
    const char** properties = nullptr;
    int terminating = -1;

    std::string className() const;
};

using Behaviour = std::function<CMPIStatus(const Asked&)>;

void behave(Behaviour behaviour);

CMPIInstanceMI* createInstanceMI(const CMPIBroker* broker, const CMPIContext* context, CMPIStatus* rc);
CMPIAssociationMI* createAssociationMI(const CMPIBroker* broker, const CMPIContext* context, CMPIStatus* rc);

/** An instance of a class with the uint32 key Number. */
CMPIInstance* makeNumbered(const CMPIBroker* broker, const char* className, CMPIUint32 number);

constexpr CMPIStatus ok{CMPI_RC_OK, nullptr};

}  // namespace tiny

#endif
