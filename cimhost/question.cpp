#include "cimhost/question.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "broker/matching.h"
#include "cimhost/classes.h"
#include "cimhost/shortforms.h"
#include "cim/names.h"

namespace cimhost {

namespace {

constexpr const char* kNamespace = "root/kavix";

broker::ObjectPath classPath(const std::string& className) {
    return {kNamespace, className, {}};
}

Names pathsOf(const Instances& instances) {
    Names paths;
    for (const broker::Instance& instance : instances) paths.push_back(instance.path);
    return paths;
}

template <class Objects, class Keep>
void keepOnly(Objects& objects, Keep keep) {
    const auto goes = [&](const auto& object) { return !keep(object); };
    objects.erase(std::remove_if(objects.begin(), objects.end(), goes), objects.end());
}

Answer got(broker::Broker& manager, const broker::ObjectPath& wanted) {
    broker::Response response = manager.getInstance(wanted);
    const Names delivered = pathsOf(response.instances);
    keepOnly(response.instances,
             [&](const broker::Instance& instance) { return broker::hasKeysOf(instance.path, wanted); });
    if (response.status != CMPI_RC_OK || !response.instances.empty() || wanted.keys.empty())
        return {response.status, std::move(response.instances)};
    return {CMPI_RC_ERR_NOT_FOUND, std::move(response.instances), delivered};
}

/** The names of the object's class where none of them is the object's; nothing where it exists, or nobody knows. */
std::optional<Names> existingInstead(broker::Broker& manager, const broker::ObjectPath& object) {
    if (object.keys.empty()) return std::nullopt;
    broker::Response response = manager.enumerateInstanceNames(classPath(object.className));
    const auto isObject = [&](const broker::ObjectPath& path) { return broker::hasKeysOf(path, object); };
    if (response.status != CMPI_RC_OK || std::any_of(response.paths.begin(), response.paths.end(), isObject))
        return std::nullopt;
    return std::move(response.paths);
}

bool isSlot(const broker::ObjectPath& path) {
    return cim::sameName(path.className, "QELTA_SystemSlot");
}

/** One of the broker's association requests; the answer is that part of the response which the request fills. */
template <class Objects>
struct AssociationRequest {
    broker::Response (broker::Broker::*request)(const broker::ObjectPath&, const broker::Filters&);
    Objects broker::Response::*delivered;

    Answer ask(broker::Broker& manager, const broker::ObjectPath& source, const broker::Filters& filters) const {
        broker::Response response = (manager.*request)(source, filters);
        Objects objects = std::move(response.*delivered);
        // A function always leads somewhere, if only to the board; an empty slot and one that is missing look the same.
        const bool inDoubt = response.status == CMPI_RC_OK && objects.empty() && isSlot(source);
        return {response.status, std::move(objects), inDoubt ? existingInstead(manager, source) : std::nullopt};
    }
};

/** Asks about the one of the objects that exists: of several names for one object, one does. */
template <class Objects>
Answer askAboutOneOf(broker::Broker& manager, const Names& sources, const broker::Filters& filters,
                     const AssociationRequest<Objects>& request) {
    if (sources.size() == 1) return request.ask(manager, sources.front(), filters);
    Names existing;
    for (const broker::ObjectPath& source : sources) {
        const std::optional<Names> others = existingInstead(manager, source);
        if (!others) return request.ask(manager, source, filters);
        existing.insert(existing.end(), others->begin(), others->end());
    }
    return {CMPI_RC_ERR_NOT_FOUND, Objects(), existing};
}

template <class Objects>
Question askAbout(const std::string& object, const broker::Filters& filters,
                  const AssociationRequest<Objects>& request) {
    return {object,
            [=, sources = pathsNamedBy(object)](broker::Broker& manager) {
                return askAboutOneOf(manager, sources, filters, request);
            },
            false};
}

constexpr AssociationRequest<Instances> kAssociators = {&broker::Broker::associators, &broker::Response::instances};
constexpr AssociationRequest<Names> kAssociatorNames = {&broker::Broker::associatorNames, &broker::Response::paths};
constexpr AssociationRequest<Instances> kReferences = {&broker::Broker::references, &broker::Response::instances};
constexpr AssociationRequest<Names> kReferenceNames = {&broker::Broker::referenceNames, &broker::Response::paths};

/** The class that an object path, or a class's name, begins with. */
std::string classIn(const std::string& subject) {
    const std::string path = subject.substr(0, subject.find('.'));
    return wholeClassName(path.substr(path.rfind(':') + 1));
}

/** "; there are A, B, C" by the last key, which tells the objects of a class apart; a number only where they are many.
 */
std::string enumerationOf(const Names& paths) {
    constexpr std::size_t kMany = 12;
    if (paths.empty()) return "; there are none";
    if (paths.size() > kMany) return fmt::format("; there are {} others", paths.size());
    std::vector<std::string> keys;
    for (const broker::ObjectPath& path : paths)
        if (!path.keys.empty()) keys.push_back(broker::toString(path.keys.back().value));
    return fmt::format("; there are {}", fmt::join(keys, ", "));
}

/** What to say about a class that the provider does not take. */
std::string refusal(const std::string& subject) {
    const std::string className = classIn(subject);
    if (isAssociation(className))
        return fmt::format(
            "{}: {} is an association, and no association request starts at one. Start at the object at one of its "
            "ends, "
            "e.g. cimhost associators 'QELTA_SystemSlot.Tag=\"System Slot 3\"'.",
            subject, className);
    const std::string meant = isServed(className) ? "" : nearestClass(className);
    return fmt::format("{}: the provider does not serve this class{} It serves {}.", subject,
                       meant.empty() ? "." : fmt::format("; did you mean {}?", meant),
                       fmt::join(servedClasses(), ", "));
}

}  // namespace

Question enumerateInstances(const std::string& className) {
    return {className,
            [className](broker::Broker& manager) -> Answer {
                broker::Response response = manager.enumerateInstances(classPath(className));
                return {response.status, std::move(response.instances)};
            },
            false};
}

Question enumerateNames(const std::string& className) {
    return {className,
            [className](broker::Broker& manager) -> Answer {
                broker::Response response = manager.enumerateInstanceNames(classPath(className));
                return {response.status, std::move(response.paths)};
            },
            false};
}

Question getInstance(const std::string& object) {
    const Names named = pathsNamedBy(object);
    Question question = {object,
                         [wanted = named](broker::Broker& manager) {
                             Answer answer = got(manager, wanted.front());
                             for (auto path = wanted.begin() + 1; path != wanted.end() && answer.existing; ++path) {
                                 const Names others = std::move(*answer.existing);
                                 answer = got(manager, *path);
                                 if (answer.existing)
                                     answer.existing->insert(answer.existing->end(), others.begin(), others.end());
                             }
                             return answer;
                         },
                         true};
    // Each of the names for one function is asked for in its turn.
    if (named.size() > 1) question.readings = static_cast<unsigned>(named.size());
    return question;
}

Question associators(const std::string& object, const broker::Filters& filters) {
    return askAbout(object, filters, kAssociators);
}

Question associatorNames(const std::string& object, const broker::Filters& filters) {
    return askAbout(object, filters, kAssociatorNames);
}

Question references(const std::string& object, const broker::Filters& filters) {
    return askAbout(object, filters, kReferences);
}

Question referenceNames(const std::string& object, const broker::Filters& filters) {
    return askAbout(object, filters, kReferenceNames);
}

Question selected(Question question, const Selection& selection) {
    const auto choose = [selection](auto& objects) {
        keepOnly(objects, [&](const auto& object) { return selection.chooses(object); });
    };
    question.ask = [choose, ask = std::move(question.ask)](broker::Broker& manager) {
        Answer answer = ask(manager);
        std::visit(choose, answer.objects);
        return answer;
    };
    return question;
}

std::vector<std::string> doubts(const Question& question) {
    std::vector<std::string> sentences;
    for (const std::string& filter : question.unservedFilters)
        sentences.push_back(
            fmt::format("{}: this is none of the classes that the provider serves, and is asked for as it is. They are "
                        "{}.",
                        filter, fmt::join(servedClasses(), ", ")));
    return sentences;
}

std::string explanation(const Answer& answer, const Question& question) {
    const bool refusedClass = answer.status == CMPI_RC_ERR_NOT_FOUND && !answer.existing;
    if (refusedClass && !question.associationFilter.empty())
        return fmt::format("{}: the object manager knows no such class.", question.associationFilter);
    return explanation(answer, question.subject);
}

std::string explanation(const Answer& answer, const std::string& subject) {
    if (answer.existing)
        return fmt::format("{}: no instance has these keys{}.", subject, enumerationOf(*answer.existing));
    switch (answer.status) {
        case CMPI_RC_OK:
            return "";
        case CMPI_RC_ERR_INVALID_CLASS:
            return refusal(subject);
        case CMPI_RC_ERR_NOT_FOUND:
            return fmt::format("{}: no instance has these keys.", subject);
        default:
            return fmt::format("{}: the provider answered {}.", subject, broker::statusName(answer.status));
    }
}

}  // namespace cimhost
