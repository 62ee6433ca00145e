// What the provider answers about a sample machine.
#include "tests/samples/sample.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <sstream>
#include <stdexcept>

#include "emulator/emulatedhost.h"

namespace samples {
namespace {

/** Loads the provider, sends one request about the class, and returns the answer. */
broker::Response ask(const std::string& hostDirectory, const std::string& className,
                     broker::Response (broker::Broker::*request)(const broker::ObjectPath&)) {
    const emulator::EmulatedHost host(hostDirectory);
    broker::Broker objectManager;
    objectManager.load(PCIINFO_LIBRARY);
    broker::Response response = (objectManager.*request)({"root/kavix", className, {}});
    if (response.status != CMPI_RC_OK) throw std::runtime_error(className + ": " + broker::statusName(response.status));
    return response;
}

}  // namespace

std::vector<std::string> names() {
    std::istringstream list(PCIINFO_SAMPLE_NAMES);
    return {std::istream_iterator<std::string>(list), {}};
}

std::vector<broker::Instance> instances(const std::string& hostDirectory, const std::string& className) {
    return ask(hostDirectory, className, &broker::Broker::enumerateInstances).instances;
}

std::vector<broker::ObjectPath> instanceNames(const std::string& hostDirectory, const std::string& className) {
    return ask(hostDirectory, className, &broker::Broker::enumerateInstanceNames).paths;
}

std::string shown(const broker::Instance& instance, const std::string& property) {
    const broker::Value* value = instance.property(property);
    if (value == nullptr || value->null) return "unset";
    return broker::typeName(value->type) + " " + broker::toString(*value);
}

std::string shownArray(const std::string& elementType, const std::vector<unsigned>& elements) {
    if (elements.empty()) return "unset";
    return fmt::format("{}[] {}", elementType, fmt::join(elements, ", "));
}

std::string SampleTest::directory() const {
    return PCIINFO_SAMPLES "/" + GetParam();
}

std::string caseName(const ::testing::TestParamInfo<std::string>& info) {
    std::string name = info.param;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

}  // namespace samples
