#ifndef PCIINFO_WBEM_PROTOCOLERROR_H
#define PCIINFO_WBEM_PROTOCOLERROR_H

#include <stdexcept>
#include <string>
#include <utility>

namespace wbem {

/** A request that gets no CIM message in answer but an HTTP error, with the CIMError header of DSP0200 where it has
 * one. */
class ProtocolError : public std::runtime_error {
 public:
    ProtocolError(unsigned status, std::string cimError, const std::string& what)
        : std::runtime_error(what), status_(status), cimError_(std::move(cimError)) {}

    unsigned status() const { return status_; }
    const std::string& cimError() const { return cimError_; }  // empty: none

 private:
    unsigned status_;
    std::string cimError_;
};

/** Of HTTP alone. */
inline ProtocolError httpError(unsigned status, const std::string& what) {
    return {status, "", what};
}

inline ProtocolError notWellFormed(const std::string& what) {
    return {400, "request-not-well-formed", what};
}

inline ProtocolError notValid(const std::string& what) {
    return {400, "request-not-valid", what};
}

}  // namespace wbem

#endif
