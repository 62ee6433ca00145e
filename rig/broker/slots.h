#ifndef PCIINFO_BROKER_SLOTS_H
#define PCIINFO_BROKER_SLOTS_H

#include <cmpi/cmpift.h>

/** The function tables as a new broker has them. */
namespace broker::slots {

CMPIBrokerFT broker();
CMPIBrokerEncFT encapsulation();
CMPIBrokerExtFT extension();
CMPIContextFT context();
CMPIResultFT result();
CMPIStringFT string();
CMPIArrayFT array();
CMPIEnumerationFT enumeration();
CMPIInstanceFT instance();
CMPIObjectPathFT objectPath();

// Slots of the broker's table that belong to the threads of a provider.
CMPIContext* prepareAttachThread(const CMPIBroker* broker, const CMPIContext* context);
CMPIStatus attachThread(const CMPIBroker* broker, const CMPIContext* context);
CMPIStatus detachThread(const CMPIBroker* broker, const CMPIContext* context);

}  // namespace broker::slots

#endif
