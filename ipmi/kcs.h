#ifndef PCIINFO_IPMI_KCS_H
#define PCIINFO_IPMI_KCS_H

#include <cstddef>
#include <cstdint>
#include <mutex>

namespace tPCIInfo {

// Transport: one IPMI request and its response through the Linux driver's character device (linux/ipmi.h).
//
// Every function may be called from any thread. While a device is open, a lock covers each call of connect_kcs and
// disconnect_kcs, each exchange and, in IpmiDataStore, each whole transfer; it is held while the BMC is waited for,
// never while the object manager is called. Without a device it is not held while waiting: exchanges and transfers
// that found none run side by side.
//
// The lock does not span calls. Between connect_kcs and an exchange, a WriteFile or a data store's single operations,
// another thread's connect_kcs, disconnect_kcs or ReadFile can close the device or open it anew: what follows then
// fails as without a device, or finds a BMC that has been asked other things since. A caller who needs several calls in
// a row keeps other threads away meanwhile. ReadFile alone opens the device within its one call, and closes it there
// unless the file could not be opened or its size asked for.

/** The open descriptor of the IPMI device, -1 when none is open. The process has one; not to be read beside calls. */
extern std::int32_t kcs_fd;

/** The largest response that the driver carries, completion code included. */
constexpr std::size_t kMaxResponse = 272;

/** Opens /dev/ipmi0, else /dev/ipmidev/0, after closing what was open. 0 when a device is open afterwards, else 1. */
int connect_kcs();

/** Closes the device if one is open. */
void disconnect_kcs();

/**
 * Sends one request to the BMC and waits for its response: at most 5 s for it to arrive and 5 s for a receive call to
 * succeed after that.
 *
 * `response` must have room for kMaxResponse bytes: whatever came is copied, completion code first, and `responseLen`
 * set to its length. Returns 0; or 1, with the response area untouched, when nothing came in time or what came is no
 * response to this network function and command.
 */
std::uint32_t sendIPMICMD(std::uint8_t cmd, std::uint8_t* data, std::uint16_t dataLen, std::uint8_t* response,
                          std::uint16_t& responseLen, std::uint8_t netfn);

/**
 * sendIPMICMD, and the first byte of the response area as completion code: after a failed exchange that is whatever
 * the caller's area held.
 */
std::uint32_t sendIPMI(std::uint8_t cmd, std::uint8_t* data, std::uint16_t dataLen, std::uint8_t* response,
                       std::uint16_t& responseLen, std::uint8_t& completionCode, std::uint8_t netfn);

// --- for transfers of several exchanges ---

constexpr std::int32_t kNoDevice = -1;

using DeviceLock = std::unique_lock<std::recursive_mutex>;

/** Guards kcs_fd and the device: one transfer, and one exchange, at a time. */
std::recursive_mutex& deviceMutex();

/** sendIPMICMD on the device that is given; on kNoDevice it fails after the same calls and the same wait. */
std::uint32_t exchangeOn(std::int32_t device, std::uint8_t cmd, std::uint8_t* data, std::uint16_t dataLen,
                         std::uint8_t* response, std::uint16_t& responseLen, std::uint8_t netfn);

}  // namespace tPCIInfo

#endif
