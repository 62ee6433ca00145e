#include "cimhost/question.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <utility>

namespace cimhost {

namespace {

constexpr const char* kNamespace = "root/kavix";

broker::ObjectPath classPath(const std::string& className) {
    return {kNamespace, className, {}};
}

Answer answerOf(CMPIrc status, std::variant<Instances, Names> objects) {
    return {status, std::move(objects)};
}

/** Integers in the form in which all of them can be compared: the sign and the magnitude. */
struct Integer {
    bool negative = false;
    std::uint64_t magnitude = 0;
    bool operator==(const Integer& other) const { return negative == other.negative && magnitude == other.magnitude; }
};

std::optional<Integer> integerOf(const broker::Value& value) {
    if (const auto* number = std::get_if<std::uint64_t>(&value.data)) return Integer{false, *number};
    if (const auto* number = std::get_if<std::int64_t>(&value.data)) {
        const auto bits = static_cast<std::uint64_t>(*number);
        return *number < 0 ? Integer{true, ~bits + 1} : Integer{false, bits};
    }
    return std::nullopt;
}

const broker::ObjectPath* referenceOf(const broker::Value& value) {
    const auto* reference = std::get_if<std::shared_ptr<broker::ObjectPath>>(&value.data);
    return reference ? reference->get() : nullptr;
}

bool sameReference(const broker::ObjectPath& reference, const broker::Value& wanted) {
    if (const broker::ObjectPath* path = referenceOf(wanted)) return sameObject(reference, *path);
    // Within a path a reference is written as quoted text, so it may have been read as a text.
    const auto* text = std::get_if<std::string>(&wanted.data);
    if (!text) return false;
    try {
        return sameObject(reference, broker::parseObjectPath(*text));
    } catch (const std::invalid_argument&) {
        return false;
    }
}

bool sameKeyValue(const broker::Value& value, const broker::Value& wanted) {
    if (value.null || wanted.null) return value.null && wanted.null;
    if (const broker::ObjectPath* reference = referenceOf(value)) return sameReference(*reference, wanted);
    const std::optional<Integer> number = integerOf(value);
    return number ? number == integerOf(wanted) : value.data == wanted.data;
}

void keepMatching(Instances& instances, const broker::ObjectPath& wanted) {
    const auto differs = [&](const broker::Instance& instance) { return !hasKeysOf(instance.path, wanted); };
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

bool hasKeysOf(const broker::ObjectPath& path, const broker::ObjectPath& wanted) {
    return std::all_of(wanted.keys.begin(), wanted.keys.end(), [&](const broker::Property& key) {
        const broker::Value* value = path.key(key.name);
        return value && sameKeyValue(*value, key.value);
    });
}

bool sameObject(const broker::ObjectPath& left, const broker::ObjectPath& right) {
    return hasKeysOf(left, right) && hasKeysOf(right, left);
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
