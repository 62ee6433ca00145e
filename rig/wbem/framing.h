#ifndef PCIINFO_WBEM_FRAMING_H
#define PCIINFO_WBEM_FRAMING_H

#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

#include "wbem/protocolerror.h"

namespace wbem {

/** Where a request's head stands in memory, line ends in place; texts end with a null character. */
struct RawHead {
    const char* begin;                                        // of the request line
    std::size_t size;                                         // with the empty line
    const char* version;                                      // "HTTP/1.1", the end of the request line
    std::vector<std::pair<const char*, const char*>> fields;  // names and values, in the order in which they came
};

/**
 * What is wrong with a head that another program, a proxy for instance, could see end at another place, or its body, or
 * that is for no host or several: more than one length, a length and chunks, other encodings, lines that end with a
 * line feed alone or go on in the next one, blanks before a colon, control characters. None: nothing is.
 */
std::optional<ProtocolError> framingFault(const RawHead& head);

}  // namespace wbem

#endif
