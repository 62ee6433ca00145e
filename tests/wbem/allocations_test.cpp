// The server where memory runs out: every allocation of a request fails in turn, the provider's, the emulated host's
// and the C library's among them. An answer is whole, or it is an error.

#include <sys/resource.h>
#include <unistd.h>

#include <functional>
#include <iostream>
#include <new>
#include <set>
#include <string>

#include "cim/shortage.h"
#include "connection.h"
#include "server.h"
#include "tests/support/allocations.h"
#include "tests/support/casename.h"
#include "wbem/httpserver.h"

namespace {

using namespace client;
using namespace testsupport;
using wbem::HttpRequest;
using wbem::HttpResponse;

/** A request of one kind. */
struct Kind {
    const char* what;
    std::function<HttpRequest()> request;
};

HttpRequest asking(const std::string& operation, const std::string& parameters) {
    return client::post(client::message(operation, parameters), operation);
}

Kind kind(const char* what, const std::string& operation, const std::function<std::string()>& parameters) {
    return {what, [=] { return asking(operation, parameters()); }};
}

HttpRequest extrinsic() {
    const std::string place = R"(<LOCALNAMESPACEPATH><NAMESPACE NAME="root"/><NAMESPACE NAME="kavix"/>)"
                              "</LOCALNAMESPACEPATH>";
    HttpRequest request = client::post(
        client::envelope(R"(<SIMPLEREQ><METHODCALL NAME="Reset"><LOCALINSTANCEPATH>)" + place +
                         client::nameElement(slotPath(3)) + "</LOCALINSTANCEPATH></METHODCALL></SIMPLEREQ>"),
        "Reset");
    request.headers[3].second = broker::toString(slotPath(3));
    return request;
}

HttpRequest extended() {
    HttpRequest request = asking("EnumerateClassNames", "");
    request.method = "M-POST";
    request.headers.emplace_back("Man", "http://www.dmtf.org/cim/mapping/http/v1.0");
    return request;
}

/** Where shortages are noted, as the program does it. */
class Short : public Rack {
 protected:
    Short() {
        cim::noteMemoryShortages();
        host->onEvent([](const emulator::Event& event) {
            if (emulator::isShortage(event)) cim::noteShortage();
        });
        host->keepEvents(false);
        host->bmc().setEndOfFile(true);  // the same exchange need not fail in all places of an empty file
        manager.recordCalls(false);
    }
};

/** The sanitizers' runtimes need memory for a thread, and a descriptor to look whether there is memory at a place. */
bool isSanitized() {
    return *PCIINFO_SANITIZED != '\0';
}

class EveryAllocation : public Short, public testing::WithParamInterface<Kind> {
 protected:
    /** Lets the allocations of a request fail in turn, each `step`th of them. Adds the answers that were no errors. */
    std::size_t failInTurn(const HttpRequest& request, Allocations::Failing how, std::size_t step,
                           std::set<std::string>& answers) {
        std::size_t failed = 0;
        for (std::size_t number = 1;; number += step) {
            std::optional<HttpResponse> response;
            std::size_t struck = 0;
            {
                const Allocations allocations(number, how);
                try {
                    response = responder.answer(request);
                } catch (const std::bad_alloc&) {  // the HTTP server closes the connection
                }
                struck = allocations.failed();
            }
            failed += struck;
            if (response && response->status != 503) answers.insert(response->body);
            EXPECT_EQ(manager.objectsMade(), manager.objectsFreed()) << number;
            EXPECT_LE(host->openFiles(), 1U) << "the device, which the next transfer opens anew";
            if (struck == 0 || HasFailure()) return failed;
        }
    }
};

TEST_F(Short, OfDescriptorsTheAnswerIsWholeOrAnError) {
    if (isSanitized()) GTEST_SKIP() << "the sanitizers need descriptors themselves";
    const HttpRequest request = asking("EnumerateInstances", ofClass("QELTA_Controller"));
    const HttpResponse whole = responder.answer(request);
    const int free = dup(STDIN_FILENO);
    close(free);
    rlimit usual{};
    getrlimit(RLIMIT_NOFILE, &usual);
    for (unsigned many = 0; many < 4; ++many) {
        const rlimit few{static_cast<rlim_t>(free) + many, usual.rlim_max};
        setrlimit(RLIMIT_NOFILE, &few);
        const HttpResponse response = responder.answer(request);
        setrlimit(RLIMIT_NOFILE, &usual);
        EXPECT_EQ(response.status, many < 2 ? 503U : 200U) << many << " descriptors";
        if (response.status == 200) {
            EXPECT_EQ(response.body, whole.body);
        }
    }
}

using OverHttp = EveryAllocation;

/** The connection's thread runs out of memory: what comes is whole, an error, or no answer at all. */
TEST_P(OverHttp, EveryAllocationFailsAndTheAnswerIsWholeOrAnError) {
    if (isSanitized()) GTEST_SKIP() << "the sanitizers need memory for the connection's thread";
    wbem::HttpOptions options;
    options.port = 0;
    wbem::HttpServer server(options, [this](const HttpRequest& request) { return responder.answer(request); });
    HttpRequest request = GetParam().request();
    request.headers[0].second = server.place();
    request.headers.emplace_back("Connection", "close");
    const std::string text = client::wire(request);
    const auto ask = [&] {
        client::Connection connection(server.port());
        connection.send(text);
        return connection.receiveAll();
    };
    const std::string whole = client::bodyOf(ask());
    ASSERT_THAT(whole, testing::EndsWith("</CIM>"));
    std::size_t failed = 0;
    for (std::size_t number = 1, struck = 1; struck != 0; ++number) {
        std::string response;
        {
            const Allocations allocations(number, Allocations::Failing::one, Allocations::Of::otherThreads);
            response = ask();
            struck = allocations.failed();
        }
        failed += struck;
        if (response.rfind("HTTP/1.1 200", 0) == 0) {
            EXPECT_EQ(client::bodyOf(response), whole) << number;
            EXPECT_THAT(response, testing::HasSubstr("CIMOperation: MethodResponse")) << number;
        }
    }
    EXPECT_EQ(client::bodyOf(ask()), whole);
    std::cout << failed << " allocations failed\n";
}

INSTANTIATE_TEST_SUITE_P(Of, OverHttp,
                         testing::Values(kind("EnumerateInstances", "EnumerateInstances",
                                              [] { return ofClass("QELTA_SystemSlot"); }),
                                         kind("GetInstance", "GetInstance", [] { return named(slotPath(3)); }),
                                         kind("EnumerateClasses", "EnumerateClasses",
                                              [] { return client::value("DeepInheritance", "true"); })),
                         CaseName());

TEST_P(EveryAllocation, FailsAndTheAnswerIsWholeOrAnError) {
    const HttpRequest request = GetParam().request();
    std::set<std::string> answers;
    const std::size_t failed = failInTurn(request, Allocations::Failing::one, 1, answers) +
                               failInTurn(request, Allocations::Failing::allFromThere, 13, answers);
    EXPECT_GT(failed, 50U);
    EXPECT_THAT(answers, testing::ElementsAre(responder.answer(request).body));
    EXPECT_EQ(host->openFiles(), 0U);
    std::cout << failed << " allocations failed\n";
}

INSTANTIATE_TEST_SUITE_P(
    Of, EveryAllocation,
    testing::Values(
        kind("EnumerateInstances", "EnumerateInstances", [] { return ofClass("QELTA_Controller"); }),
        kind("EnumerateSlots", "EnumerateInstances", [] { return ofClass("QELTA_SystemSlot"); }),
        kind("EnumerateAssociations", "EnumerateInstances", [] { return ofClass("QELTA_DeviceInSlot"); }),
        kind("EnumerateInstanceNames", "EnumerateInstanceNames", [] { return ofClass("QELTA_PCIDevice"); }),
        kind("GetInstance", "GetInstance",
             [] {
                 return named(slotPath(3)) + client::list("PropertyList", {"Tag", "Number"});
             }),
        kind("GetAssociation", "GetInstance", [] { return named(inSlotPath(3, devicePath(3, 3, 0))); }),
        kind("GetProperty", "GetProperty", [] { return named(slotPath(3)) + client::value("PropertyName", "Tag"); }),
        kind("CreateInstance", "CreateInstance",
             [] {
                 return client::parameter("NewInstance",
                                          R"(<INSTANCE CLASSNAME="QELTA_SystemSlot"><PROPERTY.ARRAY NAME="a" )"
                                          R"(TYPE="uint8"><VALUE.ARRAY><VALUE>1</VALUE></VALUE.ARRAY>)"
                                          "</PROPERTY.ARRAY></INSTANCE>");
             }),
        kind("DeleteInstance", "DeleteInstance", [] { return named(slotPath(3)); }),
        kind("ExecQuery", "ExecQuery",
             [] { return client::value("QueryLanguage", "WQL") + client::value("Query", "select * from X"); }),
        kind("Associators", "Associators", [] { return from(slotPath(3)); }),
        kind("AssociatorNames", "AssociatorNames", [] { return from(boardPath()); }),
        kind("References", "References", [] { return from(slotPath(3)); }),
        kind("ReferenceNames", "ReferenceNames", [] { return from(devicePath(3, 3, 0)); }),
        kind("AssociatorsOfAClass", "Associators", [] { return client::className("ObjectName", "QELTA_SystemSlot"); }),
        kind("EnumerateClassNames", "EnumerateClassNames", [] { return std::string(); }),
        kind("EnumerateClasses", "EnumerateClasses", [] { return client::value("DeepInheritance", "true"); }),
        kind("GetClass", "GetClass", [] { return ofClass("QELTA_SystemSlot"); }),
        kind("EnumerateQualifiers", "EnumerateQualifiers", [] { return std::string(); }),
        kind("GetQualifier", "GetQualifier", [] { return client::value("QualifierName", "Key"); }),
        kind("UnknownClass", "EnumerateInstances", [] { return ofClass("QELTA_None"); }), Kind{"Method", extrinsic},
        Kind{"ExtendedPost", extended},
        Kind{"NotWellFormed",
             [] {
                 HttpRequest request = asking("GetClass", "");
                 request.body.resize(150);
                 return request;
             }}),
    CaseName());

}  // namespace
