#ifndef PCIINFO_BROKER_SLOTS_H
#define PCIINFO_BROKER_SLOTS_H

#include <cmpi/cmpift.h>

#include <string>
#include <type_traits>
#include <utility>

#include "broker/objects.h"

/** The function tables as a new broker has them, and what their slots share. */
namespace broker::slots {

CMPIBrokerFT broker();
CMPIBrokerEncFT encapsulation();
CMPIContextFT context();
CMPIResultFT result();
CMPIStringFT string();
CMPIArrayFT array();
CMPIEnumerationFT enumeration();
CMPIInstanceFT instance();
CMPIObjectPathFT objectPath();

/** Sets a status that the caller may not want. */
inline void setStatus(CMPIStatus* rc, CMPIrc code) {
    if (rc != nullptr) *rc = {code, nullptr};
}

/** What a slot answers where it fails: nothing, and the status. */
template <typename Result>
Result failed(CMPIStatus* rc, CMPIrc code) {
    setStatus(rc, code);
    Result nothing{};
    if constexpr (std::is_same_v<Result, CMPIStatus>) nothing.rc = code;
    if constexpr (std::is_same_v<Result, CMPIData>) nothing.state = CMPI_notFound;
    return nothing;
}

/** Makes an object in this thread's session and answers with its handle. */
template <typename T, typename Data>
typename T::Handle* answer(Broker& broker, CMPIStatus* rc, Data&& data) {
    setStatus(rc, CMPI_RC_OK);
    return broker.make<T>(std::forward<Data>(data)).handle();
}

inline std::string textOf(const char* text) {
    return text == nullptr ? "" : text;
}

/** Stands in every slot that our provider does not call, whatever its signature. */
struct NotServed {
    template <typename Result, typename... Parameters>
    static Result refuse(Parameters... parameters) {
        CMPIStatus* rc = nullptr;
        [[maybe_unused]] const auto note = [&rc](auto parameter) {
            if constexpr (std::is_same_v<decltype(parameter), CMPIStatus*>) rc = parameter;
        };
        (note(parameters), ...);
        return failed<Result>(rc, CMPI_RC_ERR_NOT_SUPPORTED);
    }

    template <typename Result, typename... Parameters>
    using Slot = Result (*)(Parameters...);
    template <typename Result, typename... Parameters>
    constexpr operator Slot<Result, Parameters...>() const {  // NOLINT(google-explicit-constructor)
        return refuse<Result, Parameters...>;
    }
};
constexpr NotServed kNotServed;

template <typename Handle>
constexpr const char* kRelease = "result.release";
template <>
inline constexpr const char* kRelease<CMPIArray> = "array.release";
template <>
inline constexpr const char* kRelease<CMPIContext> = "context.release";
template <>
inline constexpr const char* kRelease<CMPIEnumeration> = "enumeration.release";
template <>
inline constexpr const char* kRelease<CMPIInstance> = "instance.release";
template <>
inline constexpr const char* kRelease<CMPIObjectPath> = "objectPath.release";
template <>
inline constexpr const char* kRelease<CMPIString> = "string.release";

/** The slot release of every table: what a provider gets belongs to the object manager, and its session frees it. */
template <typename T>
CMPIStatus release(typename T::Handle* self) {
    Broker& broker = T::of(self).broker;
    constexpr const char* kFunction = kRelease<typename T::Handle>;
    if (const auto fault = broker.enter(kFunction)) return {*fault, nullptr};
    const manners::Verdict verdict = broker.behaviour(manners::kReleaseOfManagersOwn);
    return {broker.judge(verdict, kFunction, "an object that the object manager owns"), nullptr};
}

/** Has the instance's path follow its key properties, where the manners and a declaration of its class want it. */
void followKeys(const Broker& broker, Instance& instance);

}  // namespace broker::slots

#endif
