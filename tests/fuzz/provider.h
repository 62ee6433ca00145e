#ifndef PCIINFO_TESTS_FUZZ_PROVIDER_H
#define PCIINFO_TESTS_FUZZ_PROVIDER_H

#include <string>
#include <vector>

#include "broker/broker.h"
#include "host.h"

/** The provider under the in-process object manager, linked in. */
namespace fuzz {

constexpr const char* kClasses[] = {
    "QELTA_PCIDevice",   "QELTA_PCIBridge",     "QELTA_DeviceInSlot",    "QELTA_SystemSlot",
    "QELTA_SystemBoard", "QELTA_OnBoardDevice", "QELTA_SSPCIController", "QELTA_OBDPCIController",
};

/** The one object manager of the process, the provider attached, without a record of calls. */
broker::Broker& manager();
/** In its place another one, without the settings that the last one was given. */
void renewManager();

/**
 * Asks one of the operations: enumerations (0 and 1), get (2), those of associations (3 to 6), and those that are not
 * supported, create, modify, delete and query (7 to 10).
 */
constexpr std::size_t kOperations = 7;
constexpr std::size_t kAllOperations = 11;
broker::Response ask(std::size_t operation, const broker::ObjectPath& path, const broker::Filters& filters = {});
/** The same of a class, without keys. */
broker::Response ask(std::size_t operation, const std::string& className);

/** The paths of all that was delivered. */
std::vector<broker::ObjectPath> pathsOf(const broker::Response& response);

/** Each path that was delivered has its keys, each with a value. */
void expectKeys(const broker::Response& response);

/** What was delivered, for comparisons. */
void addTo(Digest& digest, const broker::Response& response);

/** A machine of nine functions and three slots, on the board, in slots and in none: files and the SMBIOS table. */
void buildRack(Host& host);

}  // namespace fuzz

#endif
