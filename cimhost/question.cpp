#include "cimhost/question.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <utility>

#include "broker/matching.h"

namespace cimhost {

namespace {

constexpr const char* kNamespace = "root/kavix";

broker::ObjectPath classPath(const std::string& className) {
    return {kNamespace, className, {}};
}

Answer answerOf(CMPIrc status, std::variant<Instances, Names> objects) {
    return {status, std::move(objects)};
}

void keepMatching(Instances& instances, const broker::ObjectPath& wanted) {
    const auto differs = [&](const broker::Instance& instance) { return !broker::hasKeysOf(instance.path, wanted); };
    instances.erase(std::remove_if(instances.begin(), instances.end(), differs), instances.end());
}

/** One of the broker's association requests; the answer is that part of the response which the request fills. */
template <class Objects>
Question askAbout(const std::string& path, const broker::Filters& filters,
                  broker::Response (broker::Broker::*request)(const broker::ObjectPath&, const broker::Filters&),
                  Objects broker::Response::*delivered) {
    return {path,
            [=, source = broker::parseObjectPath(path)](broker::Broker& manager) {
                broker::Response response = (manager.*request)(source, filters);
                return answerOf(response.status, std::move(response.*delivered));
            },
            false};
}

}  // namespace

Question enumerateInstances(const std::string& className) {
    return {className,
            [className](broker::Broker& manager) {
                broker::Response response = manager.enumerateInstances(classPath(className));
                return answerOf(response.status, std::move(response.instances));
            },
            false};
}

Question enumerateNames(const std::string& className) {
    return {className,
            [className](broker::Broker& manager) {
                broker::Response response = manager.enumerateInstanceNames(classPath(className));
                return answerOf(response.status, std::move(response.paths));
            },
            false};
}

Question getInstance(const std::string& path) {
    return {path,
            [wanted = broker::parseObjectPath(path)](broker::Broker& manager) {
                broker::Response response = manager.getInstance(wanted);
                keepMatching(response.instances, wanted);
                const bool nothingFound =
                    response.status == CMPI_RC_OK && response.instances.empty() && !wanted.keys.empty();
                return answerOf(nothingFound ? CMPI_RC_ERR_NOT_FOUND : response.status, std::move(response.instances));
            },
            true};
}

Question associators(const std::string& path, const broker::Filters& filters) {
    return askAbout(path, filters, &broker::Broker::associators, &broker::Response::instances);
}

Question associatorNames(const std::string& path, const broker::Filters& filters) {
    return askAbout(path, filters, &broker::Broker::associatorNames, &broker::Response::paths);
}

Question references(const std::string& path, const broker::Filters& filters) {
    return askAbout(path, filters, &broker::Broker::references, &broker::Response::instances);
}

Question referenceNames(const std::string& path, const broker::Filters& filters) {
    return askAbout(path, filters, &broker::Broker::referenceNames, &broker::Response::paths);
}

std::string explanation(const Answer& answer, const std::string& subject) {
    switch (answer.status) {
        case CMPI_RC_OK:
            return "";
        case CMPI_RC_ERR_INVALID_CLASS:
            return fmt::format("{}: the provider does not serve this class. It serves {}.", subject,
                               fmt::join(servedClasses(), ", "));
        case CMPI_RC_ERR_NOT_FOUND:
            return fmt::format("{}: no instance has these keys.", subject);
        default:
            return fmt::format("{}: the provider answered {}.", subject, broker::statusName(answer.status));
    }
}

const std::vector<std::string>& servedClasses() {
    static const std::vector<std::string> classes = {
        "QELTA_PCIDevice",   "QELTA_PCIBridge",     "QELTA_DeviceInSlot",    "QELTA_SystemSlot",
        "QELTA_SystemBoard", "QELTA_OnBoardDevice", "QELTA_SSPCIController", "QELTA_OBDPCIController"};
    return classes;
}

}  // namespace cimhost
