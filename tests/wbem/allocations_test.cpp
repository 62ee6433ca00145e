// The server where memory runs out: every allocation of a request fails in turn, the provider's, the emulated host's
// and the C library's among them. An answer is whole, or it is an error.

#include <functional>
#include <iostream>
#include <new>
#include <set>
#include <string>

#include "cim/shortage.h"
#include "server.h"
#include "tests/support/allocations.h"
#include "tests/support/casename.h"

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

class EveryAllocation : public Rack, public testing::WithParamInterface<Kind> {
 protected:
    EveryAllocation() {
        cim::noteMemoryShortages();
        host->onEvent([](const emulator::Event& event) {
            if (emulator::isShortage(event)) cim::noteShortage();
        });
        host->keepEvents(false);
        host->bmc().setEndOfFile(true);  // the same exchange need not fail in all places of an empty file
        manager.recordCalls(false);
    }

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
