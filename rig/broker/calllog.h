#ifndef PCIINFO_BROKER_CALLLOG_H
#define PCIINFO_BROKER_CALLLOG_H

#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "broker/broker.h"

namespace broker {

/** The record of the provider's calls, and the faults that wait for one of them. Safe for any number of threads. */
class CallLog {
 public:
    enum class Effect { status, standardException, otherException };

    /**
     * Notes a call. Returns the status with which a fault makes it fail, nullopt where it may go on; throws where the
     * fault says so. `name` may be null.
     */
    std::optional<CMPIrc> enter(const char* function, const char* name, CMPIType type, std::size_t index);

    /** The names of all functions that enter is called with. */
    static const std::vector<std::string>& functions();

    void record(bool on);
    std::vector<Call> calls() const;
    void clear();

    void addFault(const std::string& function, unsigned nth, Effect effect, CMPIrc rc);
    void clearFaults();
    bool faultStruck() const;

 private:
    struct Fault {
        std::string function;
        unsigned callsLeft;  // until it strikes; 0: it has struck
        Effect effect;
        CMPIrc rc;
    };

    std::optional<Fault> strike(const char* function);

    mutable std::mutex mutex_;
    bool recording_ = true;
    std::vector<Call> calls_;
    std::vector<Fault> faults_;
};

}  // namespace broker

#endif
