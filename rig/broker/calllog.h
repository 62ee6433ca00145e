#ifndef PCIINFO_BROKER_CALLLOG_H
#define PCIINFO_BROKER_CALLLOG_H

#include <cmpi/cmpidt.h>

#include <cstddef>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace broker {

/** One call that the provider made into the object manager, for tests that look at order and arguments. */
struct Call {
    std::string function;       // "eft.newInstance", "objectPath.addKey", "result.returnDone", see CallLog::functions
    std::string name;           // class, property or key name where the call has one
    CMPIType type = CMPI_null;  // the type code passed, where the call has one
    std::size_t index = 0;      // element index or array size, where the call has one
};

/** The record of the provider's calls, and the faults that wait for one of them. Safe for any number of threads. */
class CallLog {
 public:
    /** The calls made by the provider since the last clearCalls(), all threads, in order. */
    std::vector<Call> calls() const;
    void clearCalls();
    /** On at first. A long run without need of the record switches it off, as it grows with every call. */
    void recordCalls(bool on);

    /**
     * Faults. Functions are named TABLE.SLOT: tables bft, eft, result, objectPath, instance, array, enumeration,
     * string, context; slots as the table declares them, e.g. "bft.enumerateInstances", "eft.newObjectPath",
     * "objectPath.getKey", "array.setElementAt". "*" stands for every one of them. The nth call (from 1, counted from
     * this moment) fails as a real object manager's would - null object, error status, not-found data - or throws:
     * a std::runtime_error, or an int where `standard` is false.
     */
    void failAt(const std::string& function, unsigned nth, CMPIrc rc = CMPI_RC_ERR_FAILED);
    void throwAt(const std::string& function, unsigned nth, bool standard = true);
    void clearFaults();
    /** Whether the fault that was set last has struck. */
    bool faultStruck() const;
    /** Every name that failAt and throwAt take, "*" left out. They throw std::invalid_argument for another. */
    static const std::vector<std::string>& functions();

    /**
     * Notes a call. Returns the status with which a fault makes it fail, nullopt where it may go on; throws where the
     * fault says so. `name` may be null. Every slot that is served begins with it.
     */
    std::optional<CMPIrc> enter(const char* function, const char* name = nullptr, CMPIType type = CMPI_null,
                                std::size_t index = 0);

 private:
    enum class Effect { status, standardException, otherException };
    struct Fault {
        std::string function;
        unsigned callsLeft;  // until it strikes; 0: it has struck
        Effect effect;
        CMPIrc rc;
    };

    void addFault(Fault fault);
    std::optional<Fault> strike(const char* function);

    mutable std::mutex mutex_;
    bool recording_ = true;
    std::vector<Call> calls_;
    std::vector<Fault> faults_;
};

}  // namespace broker

#endif
