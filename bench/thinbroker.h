#ifndef PCIINFO_BENCH_THINBROKER_H
#define PCIINFO_BENCH_THINBROKER_H

#include <cmpi/cmpidt.h>
#include <cmpi/cmpift.h>

#include <cstddef>
#include <string>

namespace bench {

/** What a request asks for. Filters are empty where there are none. */
struct Question {
    enum class Kind { enumerate, enumerateNames, get, associators, associatorNames, references, referenceNames };

    Kind kind = Kind::enumerate;
    std::string className;
    std::string keyName;  // the one key that the provider looks at: "DeviceID" or "Tag"
    std::string keyValue;
    std::string assocClass;
    std::string resultClass;
};

/** What one request came to. */
struct Delivered {
    CMPIrc status = CMPI_RC_ERR_FAILED;
    std::size_t objects = 0;
    std::size_t calls = 0;    // of the object manager's functions by the provider
    std::size_t upcalls = 0;  // of those, requests to the provider again
};

/**
 * An object manager that costs next to nothing: objects keep what they are given, in a row in memory that is there
 * already, taken back where the request ends and, in enumerations of classes that are no associations, where an object
 * has been delivered. Nothing is checked. Requests may come from any thread.
 */
class ThinBroker {
 public:
    /** Loads the library and runs its factories. @throws std::runtime_error when it cannot. */
    explicit ThinBroker(const std::string& library);

    Delivered ask(const Question& question) const;

 private:
    CMPIInstanceMI* instances_ = nullptr;
    CMPIAssociationMI* associations_ = nullptr;
};

}  // namespace bench

#endif
