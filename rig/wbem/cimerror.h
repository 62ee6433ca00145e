#ifndef PCIINFO_WBEM_CIMERROR_H
#define PCIINFO_WBEM_CIMERROR_H

#include <cmpi/cmpidt.h>

#include <stdexcept>
#include <string>

namespace wbem {

/** A CIM operation that failed: what the ERROR element of its response tells. The codes are those of CMPIrc. */
class CimError : public std::runtime_error {
 public:
    /** With the meaning of the code as description. */
    explicit CimError(CMPIrc code);
    CimError(CMPIrc code, const std::string& description) : std::runtime_error(description), code_(code) {}

    CMPIrc code() const { return code_; }

 private:
    CMPIrc code_;
};

inline CimError invalidParameter(const std::string& description) {
    return {CMPI_RC_ERR_INVALID_PARAMETER, description};
}

}  // namespace wbem

#endif
