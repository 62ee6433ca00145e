// The server where memory runs out: every allocation of a request fails in turn, the provider's, the emulated host's
// and the C library's among them. An answer is whole, or it is an error.

#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <iostream>
#include <new>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "cim/shortage.h"
#include "cimhost/page.h"
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

/** A machine that has been read for the page. */
class ShortPage : public testing::Test {
 protected:
    ShortPage() { readings.once(std::chrono::seconds(10)); }

    static HttpRequest get() { return {"GET", "/", {}, "", std::nullopt, "", {}, {}}; }

    /** Without what is another each time: the nonce, and the age. */
    static std::string lasting(std::string page) {
        const auto without = [&page](const std::string& begin, const std::string& end) {
            for (auto at = page.find(begin); at != std::string::npos; at = page.find(begin, at))
                page.erase(at, page.find(end, at) - at);
        };
        without(" nonce=\"", ">");
        without("<span id=\"age\"", " ago");
        return page;
    }

    cimhost::Readings readings{[](const cimhost::Readings::Unwanted&) {
        cimhost::Reading made;
        made.inventory.host = "host";
        made.inventory.slots = {{1, "PCIe Slot 1", "in use", "x8", {{"16:00.0", "C", "8086:1", "02:00", "NIC", {}}}}};
        made.inventory.onBoard = {{"00:00.0", "C", "8086:2", "06:00", "Host bridge", {}}};
        made.inventory.status = CMPI_RC_ERR_FAILED;
        made.inventory.subject = "QELTA_PCIDevice";
        return made;
    }};
};

TEST_F(ShortPage, OfMemoryIsWholeOrAnError) {
    const std::string whole = lasting(cimhost::answerPage(get(), readings).body);
    ASSERT_THAT(whole, testing::AllOf(testing::HasSubstr("PCIe Slot 1"), testing::EndsWith("</html>")));
    std::size_t failed = 0;
    for (const auto& [how, step] :
         {std::pair(Allocations::Failing::one, 1U), std::pair(Allocations::Failing::allFromThere, 13U)}) {
        std::size_t unanswered = 0;
        for (std::size_t number = 1, struck = 1; struck != 0; number += step) {
            std::optional<HttpResponse> response;
            {
                const Allocations allocations(number, how);
                try {
                    response = cimhost::answerPage(get(), readings);
                } catch (const std::bad_alloc&) {  // the HTTP server closes the connection
                    ++unanswered;
                }
                struck = allocations.failed();
            }
            failed += struck;
            if (response && response->status == 200) {
                ASSERT_EQ(lasting(response->body), whole) << number;
            } else if (response) {
                ASSERT_EQ(response->status, 503U);
                ASSERT_THAT(response->summary, testing::StartsWith("GET /: HTTP 503, memory or descriptors ran out"));
            }
        }
        if (how == Allocations::Failing::one) {
            EXPECT_EQ(unanswered, 0U);
        }
    }
    EXPECT_GT(failed, 50U);
    std::cout << failed << " allocations failed\n";
}

TEST(PageOfAMachine, WhoseReadingEndsForWantOfMemorySaysSo) {
    if (isSanitized()) GTEST_SKIP() << "the sanitizers need memory for the reading's thread";
    cimhost::Readings readings([](const cimhost::Readings::Unwanted&) -> cimhost::Reading { throw cim::Shortage(); });
    {
        const Allocations allocations(1, Allocations::Failing::allFromThere, Allocations::Of::otherThreads);
        readings.once(std::chrono::seconds(10));
        EXPECT_GT(allocations.failed(), 0U);
    }
    EXPECT_EQ(readings.state().failure, "no memory");
}

TEST(PageWithoutThreads, IsAnError) {
    if (isSanitized()) GTEST_SKIP() << "the sanitizers look at stacks themselves";
    cimhost::Readings readings([](const cimhost::Readings::Unwanted&) { return cimhost::Reading(); });
    pthread_attr_t usual;
    pthread_attr_t tooLarge;
    ASSERT_EQ(pthread_getattr_default_np(&usual), 0);
    ASSERT_EQ(pthread_getattr_default_np(&tooLarge), 0);
    pthread_attr_setstacksize(&tooLarge, std::size_t{1} << 50);
    ASSERT_EQ(pthread_setattr_default_np(&tooLarge), 0);
    const HttpRequest request{"GET", "/", {}, "", std::nullopt, "", {}, {}};
    std::optional<HttpResponse> response;
    EXPECT_NO_THROW(response = cimhost::answerPage(request, readings));
    pthread_setattr_default_np(&usual);
    ASSERT_TRUE(response);
    EXPECT_EQ(response->status, 503U);
    EXPECT_THAT(response->summary, testing::StartsWith("GET /: HTTP 503, "));
    EXPECT_EQ(cimhost::answerPage(request, readings).status, 200U);
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
