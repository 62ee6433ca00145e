#ifndef PCIINFO_WBEM_RESPONDER_H
#define PCIINFO_WBEM_RESPONDER_H

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "wbem/operations.h"
#include "wbem/protocolerror.h"

namespace wbem {

/** Names and values. Header names are as they were sent; their letter case does not count. */
using Headers = std::vector<std::pair<std::string, std::string>>;

struct HttpRequest {
    std::string method;  // "POST", "M-POST"
    std::string target;  // "/cimom", or absolute: "http://host:5988/cimom"; without the query
    Headers headers;
    std::string body;
    std::optional<ProtocolError>
        refusal;         // what it is to be answered with as it stands; the body is not all there then
    std::string client;  // numeric address; empty: unknown
    /**
     * Whether nobody waits for the answer any more, so that it need not be finished. Cheap enough to be asked before
     * each object; on the thread that answers. Empty: somebody waits.
     */
    std::function<bool()> abandoned = {};
    Headers arguments = {};  // of the target's query, decoded, in the order in which they came
};

/** The path of its target, which may be absolute. */
std::string pathOf(const HttpRequest& request);

struct HttpResponse {
    unsigned status = 200;
    Headers headers;
    std::string body;
    /** What was asked and what became of it: "GetClass root/kavix:QELTA_SystemSlot: status 0, 1 object". */
    std::string summary;
};

/**
 * Answers HTTP requests as DSP0200 has a CIM server do it: operations with 200 and a CIM message, also where they fail;
 * all other requests with another status, a CIMError header where DSP0200 has one, and a line of
 * text. An answer that is not whole for want of memory or descriptors is an error (503); where there is no memory for
 * that either, std::bad_alloc is thrown, and nothing else ever. May be used from any number of threads at once.
 */
class Responder {
 public:
    /**
     * place: the host that paths tell where a request has no Host header. others: what else is served here, for who
     * asks at another path ("a page at /").
     */
    Responder(const Operations& operations, std::string place, std::string others = "")
        : operations_(operations), place_(std::move(place)), others_(std::move(others)) {}

    HttpResponse answer(const HttpRequest& request) const;

 private:
    HttpResponse wholeAnswer(const HttpRequest& request) const;
    HttpResponse perform(const HttpRequest& request, const std::string& prefix) const;

    const Operations& operations_;
    std::string place_;
    std::string others_;
};

}  // namespace wbem

#endif
