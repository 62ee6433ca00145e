// What requests cost: time and memory in proportion to their length and to the answer's, whatever is in them.

#include <algorithm>
#include <ctime>
#include <functional>
#include <limits>

#include "server.h"
#include "tests/support/allocations.h"
#include "tests/support/casename.h"

namespace {

using namespace client;
using wbem::HttpRequest;
using wbem::HttpResponse;

/** A request of about that many bytes. */
struct Shape {
    const char* what;
    std::function<HttpRequest(std::size_t size)> request;
};

/** What `part` makes of 0, 1, 2... in a row, of that size in all. */
std::string many(std::size_t size, const std::function<std::string(std::size_t)>& part) {
    std::string all;
    for (std::size_t i = 0; all.size() < size; ++i) all += part(i);
    return all;
}

HttpRequest asking(const std::string& operation, const std::string& parameters) {
    return client::post(client::message(operation, parameters), operation);
}

HttpRequest getting(const std::string& keys) {
    return asking("GetInstance", client::parameter("InstanceName", R"(<INSTANCENAME CLASSNAME="QELTA_DeviceInSlot">)" +
                                                                       keys + "</INSTANCENAME>"));
}

std::string key(const std::string& name, const std::string& text, const std::string& type = "string") {
    return "<KEYBINDING NAME=\"" + name + R"("><KEYVALUE VALUETYPE=")" + type + "\">" + text +
           "</KEYVALUE></KEYBINDING>";
}

std::string numbered(const char* name, std::size_t number) {
    return name + std::to_string(number);
}

std::string pathText(std::size_t size) {
    return "root/kavix:X.k=1" + many(size, [](std::size_t i) { return numbered(",k", i) + "=1"; });
}

/** Both references of an association as text. */
HttpRequest gettingByText(const std::string& text) {
    return getting(key("Antecedent", text) + key("Dependent", text));
}

/** References in a namespace with a name of that length to an object whose keys are references. */
HttpRequest nestedReferences(std::size_t size, std::size_t nameLength) {
    const std::string inner = many(size, [](std::size_t i) {
        return "<KEYBINDING NAME=\"" + numbered("k", i) + R"("><VALUE.REFERENCE><INSTANCENAME CLASSNAME="a"/>)" +
               "</VALUE.REFERENCE></KEYBINDING>";
    });
    return getting(R"(<KEYBINDING NAME="Antecedent"><VALUE.REFERENCE><LOCALINSTANCEPATH><LOCALNAMESPACEPATH>)"
                   "<NAMESPACE NAME=\"" +
                   std::string(nameLength, 'n') + R"("/></LOCALNAMESPACEPATH><INSTANCENAME CLASSNAME="a">)" + inner +
                   "</INSTANCENAME></LOCALINSTANCEPATH></VALUE.REFERENCE></KEYBINDING>");
}

/** A method of an object with many keys, which are in a header too. */
HttpRequest method(std::size_t size) {
    std::string text = "root/kavix:X.k=1";
    std::string keys = key("k", "1", "numeric");
    for (std::size_t i = 0; keys.size() < size; ++i) {
        text += numbered(",k", i) + "=1";
        keys += key(numbered("k", i), "1", "numeric");
    }
    HttpRequest request =
        client::post(client::envelope(R"(<SIMPLEREQ><METHODCALL NAME="Reset"><LOCALINSTANCEPATH><LOCALNAMESPACEPATH>)"
                                      R"(<NAMESPACE NAME="root"/><NAMESPACE NAME="kavix"/></LOCALNAMESPACEPATH>)"
                                      R"(<INSTANCENAME CLASSNAME="X">)" +
                                      keys + "</INSTANCENAME></LOCALINSTANCEPATH></METHODCALL></SIMPLEREQ>"),
                     "Reset");
    request.headers[3].second = text;
    return request;
}

/** With a provider that delivers so many associations for each request. */
class Cost : public AnyProvider, public testing::WithParamInterface<Shape> {
 protected:
    static void deliverAssociations(unsigned count) {
        tiny::behave([count](const tiny::Asked& asked) {
            CMPIInstance* slot = tiny::makeNumbered(asked.broker, "QELTA_SystemSlot", 3);
            CMPIValue reference{};
            reference.ref = slot->ft->getObjectPath(slot, nullptr);
            for (unsigned i = 0; i < count; ++i) {
                CMPIObjectPath* path =
                    asked.broker->eft->newObjectPath(asked.broker, "root/kavix", "QELTA_DeviceInSlot", nullptr);
                path->ft->addKey(path, "Antecedent", &reference, CMPI_ref);
                path->ft->addKey(path, "Dependent", &reference, CMPI_ref);
                asked.result->ft->returnInstance(asked.result,
                                                 asked.broker->eft->newInstance(asked.broker, path, nullptr));
            }
            return tiny::ok;
        });
    }

    std::size_t bytesFor(const HttpRequest& request) const {
        const testsupport::Allocations allocations;
        responder.answer(request);
        return allocations.bytes();
    }

    /** The CPU time of the thread: the least of several runs. */
    long nanosecondsFor(const HttpRequest& request) const {
        const auto now = [] {
            timespec time{};
            clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
            return time.tv_sec * 1'000'000'000L + time.tv_nsec;
        };
        long least = std::numeric_limits<long>::max();
        for (int run = 0; run < 5; ++run) {
            const long start = now();
            responder.answer(request);
            least = std::min(least, now() - start);
        }
        return least;
    }
};

/** Four times the length: what grows with its square costs sixteen times as much. */
TEST_P(Cost, IsInProportionToTheLengthOfTheRequest) {
    constexpr std::size_t kSize = 100'000;
    deliverAssociations(20);
    const HttpRequest small = GetParam().request(kSize);
    const HttpRequest large = GetParam().request(4 * kSize);
    ASSERT_NEAR(static_cast<double>(large.body.size()) / static_cast<double>(small.body.size()), 4, 1);
    responder.answer(small);
    EXPECT_LT(bytesFor(large), 6 * bytesFor(small));
    EXPECT_LT(nanosecondsFor(large), 9 * nanosecondsFor(small));
}

INSTANTIATE_TEST_SUITE_P(
    Of, Cost,
    testing::Values(
        Shape{"ReferencesAsText", [](std::size_t size) { return gettingByText(pathText(size / 2)); }},
        Shape{"ReferencesAsWrongText", [](std::size_t size) { return gettingByText(pathText(size / 2) + "!"); }},
        Shape{"Keys",
              [](std::size_t size) {
                  return getting(many(size, [](std::size_t i) { return key(numbered("k", i), "1"); }));
              }},
        Shape{"NestedReferences", [](std::size_t size) { return nestedReferences(size, 1000); }},
        Shape{"NestedReferencesInALongNamespace",
              [](std::size_t size) { return nestedReferences(size / 2, size / 2); }},
        Shape{"KeysInAHeaderToo", method},
        Shape{"PropertyList",
              [](std::size_t size) {
                  return asking("EnumerateInstances",
                                ofClass("QELTA_DeviceInSlot") +
                                    client::parameter("PropertyList",
                                                      "<VALUE.ARRAY>" + many(size, [](std::size_t i) {
                                                          return "<VALUE>" + numbered("Dependen", i % 10) + "</VALUE>";
                                                      }) + "</VALUE.ARRAY>"));
              }},
        Shape{"Parameters",
              [](std::size_t size) {
                  return asking("GetInstance",
                                many(size, [](std::size_t i) { return client::parameter(numbered("p", i), ""); }));
              }},
        Shape{"PropertiesOfAnInstance",
              [](std::size_t size) {
                  return asking(
                      "CreateInstance",
                      client::parameter("NewInstance",
                                        R"(<INSTANCE CLASSNAME="QELTA_DeviceInSlot">)" + many(size, [](std::size_t i) {
                                            return "<PROPERTY NAME=\"" + numbered("p", i) +
                                                   R"(" TYPE="uint8"><VALUE>1</VALUE></PROPERTY>)";
                                        }) + "</INSTANCE>"));
              }},
        Shape{"Digits", [](std::size_t size) { return getting(key("a", "0." + std::string(size, '1'), "numeric")); }},
        Shape{"Attributes",
              [](std::size_t size) {
                  return asking("GetClass", R"(<IPARAMVALUE NAME="a")" + many(size, [](std::size_t i) {
                                                return numbered(" a", i) + "=\"1\"";
                                            }) + "/>");
              }},
        Shape{"AttributesUnderADocumentType",
              [](std::size_t size) {
                  HttpRequest request =
                      asking("GetClass",
                             many(size, [](std::size_t i) { return client::parameter(numbered("&lt;&#65;", i), ""); }));
                  request.body.insert(request.body.find("<CIM "), "<!DOCTYPE CIM SYSTEM \"x.dtd\">");
                  return request;
              }},
        Shape{"TextInPieces",
              [](std::size_t size) {
                  return asking("GetClass", client::value("a", many(size, [](std::size_t) {
                                                              return std::string("x<!-- -->&lt;<![CDATA[x]]>");
                                                          })));
              }}),
    testsupport::CaseName());

/** Many objects to compare with do not make it be read again. */
TEST_F(Cost, ReferencesAreReadOnceForAllObjects) {
    const HttpRequest request = gettingByText(pathText(100'000));
    const auto bytesAmong = [&](unsigned objects) {
        deliverAssociations(objects);
        return bytesFor(request);
    };
    bytesAmong(1);
    const std::size_t one = bytesAmong(1);
    EXPECT_LT(bytesAmong(51), one + 50 * request.body.size() / 10);
}

}  // namespace
