// Instance requests: the eight classes, and who delivers their objects. Tests: tests/requests/instances_test.cpp.
#include <memory>
#include <string>

#include "board/tsysbrd.h"
#include "pci/pcidevinfo.h"
#include "provider/dispatch.h"
#include "slots/tslotinfo.h"
#include "utils/contained.h"
#include "utils/delivery.h"
#include "utils/providerutils.h"

namespace tPCIInfo {

namespace {

void deliverPciFunctions(const Delivery& to, const char* className) {
    const auto pci = std::make_unique<TPciDevInfo>(className);
    pci->GetCIMInstance(to.broker, to.context, to.result, className, to.namesOnly);
}

void deliverSlots(const Delivery& to, const char* className) {
    TSlotInfo().GetCIMInstances(to.broker, to.result, className, to.namesOnly);
}

void deliverBoard(const Delivery& to, const char* className) {
    TSysBrd().GetCIMInstances(to.broker, to.result, to.context, className, to.namesOnly);
}

void deliverSlotControllers(const Delivery& to, const char*) {
    const auto pci = std::make_unique<TPciDevInfo>(kPciBridgeClass);
    pci->GetDeviceFromSlotAssocInstances(to.broker, to.context, to.result, nullptr, to.namesOnly);
}

void deliverBoardControllers(const Delivery& to, const char*) {
    const auto pci = std::make_unique<TPciDevInfo>(kPciDeviceClass);
    pci->GetOnboardDeviceAssocInstances(to.broker, to.context, to.result, to.namesOnly);
}

/** One class of the dispatch chain. The two controller views leave the result open. */
struct ServedClass {
    const char* name;
    void (*deliver)(const Delivery&, const char* className);
    bool closesResult;
};

constexpr ServedClass kServedClasses[] = {
    {kPciDeviceClass, deliverPciFunctions, true},
    {kPciBridgeClass, deliverPciFunctions, true},
    {kDeviceInSlotClass, deliverPciFunctions, true},
    {kSystemSlotClass, deliverSlots, true},
    {kSystemBoardClass, deliverBoard, true},
    {kOnBoardDeviceClass, deliverBoard, true},
    {kSlotControllerClass, deliverSlotControllers, false},
    {kBoardControllerClass, deliverBoardControllers, false},
};

const ServedClass* findClass(const std::string& className) {
    const std::string wanted = lower(className);
    for (const ServedClass& served : kServedClasses) {
        if (wanted == lower(served.name)) return &served;
    }
    return nullptr;
}

}  // namespace

CMPIStatus serveInstances(const Delivery& to, const std::string& className) {
    CMPIStatus status = kOk;
    containedStandard([&] {
        if (const ServedClass* served = findClass(className)) {
            served->deliver(to, served->name);
            if (served->closesResult && !to.namesOnly) to.done();
        } else {
            status = kInvalidClass;
        }
    });
    return status;
}

}  // namespace tPCIInfo
