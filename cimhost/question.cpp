// Questions to an object manager, and what is said of their answers. Tests: tests/cimhost/association_test.cpp,
// commandline_test.cpp, usage_test.cpp.

#include "cimhost/question.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <utility>

#include "broker/matching.h"
#include "cim/names.h"
#include "cimhost/shortforms.h"

namespace cimhost {

namespace {

broker::ObjectPath classPath(const std::string& className) {
    return {kNamespace, className, {}};
}

template <typename Objects, typename Keep>
void keepOnly(Objects& objects, Keep keep) {
    const auto goes = [&](const auto& object) { return !keep(object); };
    objects.erase(std::remove_if(objects.begin(), objects.end(), goes), objects.end());
}

Answer got(broker::ObjectManager& manager, const broker::ObjectPath& wanted) {
    broker::Response response = manager.getInstance(wanted);
    Names delivered;
    for (const broker::Instance& instance : response.instances) delivered.push_back(instance.path);
    const broker::Wanted object(wanted);
    keepOnly(response.instances,
             [&](const broker::Instance& instance) { return broker::hasKeysOf(instance.path, object); });
    if (response.status != CMPI_RC_OK || !response.instances.empty() || wanted.keys.empty())
        return {response.status, std::move(response.instances)};
    return {CMPI_RC_ERR_NOT_FOUND, Instances(), delivered};
}

/** Gets the one of the objects that exists: of several names for one object, one does. */
Answer gotOneOf(broker::ObjectManager& manager, const Names& wanted) {
    Names others;
    for (const broker::ObjectPath& path : wanted) {
        Answer answer = got(manager, path);
        if (!answer.existing) return answer;
        others.insert(others.begin(), answer.existing->begin(), answer.existing->end());
    }
    return {CMPI_RC_ERR_NOT_FOUND, Instances(), others};
}

/** The names of the object's class where none of them is the object's; nothing where it exists, or nobody knows. */
std::optional<Names> existingInstead(broker::ObjectManager& manager, const broker::ObjectPath& object) {
    if (object.keys.empty()) return std::nullopt;
    broker::Response response = manager.enumerateInstanceNames(classPath(object.className));
    const broker::Wanted wanted(object);
    const auto isObject = [&](const broker::ObjectPath& path) { return broker::hasKeysOf(path, wanted); };
    if (response.status != CMPI_RC_OK || std::any_of(response.paths.begin(), response.paths.end(), isObject))
        return std::nullopt;
    return std::move(response.paths);
}

bool asksForNames(AssociationRequest request) {
    return request == AssociationRequest::associatorNames || request == AssociationRequest::referenceNames;
}

/** A request's answer has either names or instances. */
Answer answerOf(AssociationRequest request, broker::Response response) {
    if (asksForNames(request)) return {response.status, std::move(response.paths)};
    return {response.status, std::move(response.instances)};
}

broker::Response put(broker::ObjectManager& manager, AssociationRequest request, const broker::ObjectPath& source,
                     const broker::Filters& filters) {
    switch (request) {
        case AssociationRequest::associators:
            return manager.associators(source, filters);
        case AssociationRequest::associatorNames:
            return manager.associatorNames(source, filters);
        case AssociationRequest::references:
            return manager.references(source, filters);
        default:
            return manager.referenceNames(source, filters);
    }
}

Answer associated(broker::ObjectManager& manager, AssociationRequest request, const broker::ObjectPath& source,
                  const broker::Filters& filters) {
    Answer answer = answerOf(request, put(manager, request, source, filters));
    // A function always leads somewhere, if only to the board; an empty slot and one that is missing look the same.
    const bool isEmpty = std::visit([](const auto& objects) { return objects.empty(); }, answer.objects);
    if (answer.status == CMPI_RC_OK && isEmpty && cim::sameName(source.className, "QELTA_SystemSlot"))
        answer.existing = existingInstead(manager, source);
    return answer;
}

/** Asks about the one of the objects that exists: of several names for one object, one does. */
Answer associatedWithOneOf(broker::ObjectManager& manager, AssociationRequest request, const Names& sources,
                           const broker::Filters& filters) {
    if (sources.size() == 1) return associated(manager, request, sources.front(), filters);
    Names existing;
    for (const broker::ObjectPath& source : sources) {
        const std::optional<Names> others = existingInstead(manager, source);
        if (!others) return associated(manager, request, source, filters);
        existing.insert(existing.end(), others->begin(), others->end());
    }
    Answer answer = answerOf(request, {});
    answer.status = CMPI_RC_ERR_NOT_FOUND;
    answer.existing = existing;
    return answer;
}

/** The class that an object path, or a class's name, begins with. */
std::string classIn(const std::string& subject) {
    const std::string path = subject.substr(0, subject.find('.'));
    return wholeClassName(path.substr(path.rfind(':') + 1));
}

/** "; there are A, B, C" by the last key, which tells the objects of a class apart; of many their number alone. */
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
            "ends, e.g. cimhost associators 'QELTA_SystemSlot.Tag=\"System Slot 3\"'.",
            subject, className);
    const std::string meant = isServed(className) ? "" : nearestClass(className);
    return fmt::format("{}: the provider does not serve this class{} It serves {}.", subject,
                       meant.empty() ? "." : fmt::format("; did you mean {}?", meant),
                       fmt::join(servedClasses(), ", "));
}

using ClassNames = std::vector<std::string>;

const ClassNames kFunctionClasses = {"QELTA_PCIDevice", "QELTA_PCIBridge"};

/** The classes of what an enumeration of a class brings: a view has objects of other classes. */
ClassNames classesIn(const std::string& className) {
    const bool isView = isServed(className) && hasFunctions(className) &&
                        std::none_of(kFunctionClasses.begin(), kFunctionClasses.end(),
                                     [&](const std::string& each) { return cim::sameName(each, className); });
    if (isView) return kFunctionClasses;
    if (isServed(className)) return {className};
    return {"QELTA_PCIDevice",   "QELTA_PCIBridge",    "QELTA_SystemSlot",
            "QELTA_SystemBoard", "QELTA_DeviceInSlot", "QELTA_OnBoardDevice"};
}

ClassNames classesIn(const Names& paths) {
    ClassNames classes;
    for (const broker::ObjectPath& path : paths)
        for (const std::string& each : classesIn(path.className)) classes.push_back(each);
    return classes;
}

ClassNames classesAssociated(AssociationRequest request, const Names& sources) {
    if (request == AssociationRequest::references || request == AssociationRequest::referenceNames)
        return {"QELTA_DeviceInSlot", "QELTA_OnBoardDevice"};
    if (hasFunctions(sources.front().className)) return {"QELTA_SystemSlot", "QELTA_SystemBoard"};
    return kFunctionClasses;
}

}  // namespace

Question enumerateInstances(const std::string& className) {
    Question question = {className, [className](broker::ObjectManager& manager) -> Answer {
                             broker::Response response = manager.enumerateInstances(classPath(className));
                             return {response.status, std::move(response.instances)};
                         }};
    question.classes = classesIn(className);
    return question;
}

Question enumerateNames(const std::string& className) {
    Question question = {className, [className](broker::ObjectManager& manager) -> Answer {
                             broker::Response response = manager.enumerateInstanceNames(classPath(className));
                             return {response.status, std::move(response.paths)};
                         }};
    question.classes = classesIn(className);
    question.namesOnly = true;
    return question;
}

Question getInstance(const std::string& object) {
    const Names wanted = pathsNamedBy(object);
    Question question = {object, [wanted](broker::ObjectManager& manager) { return gotOneOf(manager, wanted); }, true};
    // Each of the names for one function is asked for in its turn.
    if (wanted.size() > 1) question.readings = static_cast<unsigned>(wanted.size());
    question.classes = classesIn(wanted);
    return question;
}

Question askAssociations(AssociationRequest request, const std::string& object, const broker::Filters& filters) {
    const Names sources = pathsNamedBy(object);
    Question question = {object, [=](broker::ObjectManager& manager) {
                             return associatedWithOneOf(manager, request, sources, filters);
                         }};
    question.classes = classesAssociated(request, sources);
    question.namesOnly = asksForNames(request);
    return question;
}

Question selected(Question question, const Selection& selection) {
    const auto choose = [selection](auto& objects) {
        keepOnly(objects, [&](const auto& object) { return selection.chooses(object); });
    };
    question.ask = [choose, ask = std::move(question.ask)](broker::ObjectManager& manager) {
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
    const bool unknownClass = answer.status == CMPI_RC_ERR_INVALID_CLASS && !isServed(classIn(subject));
    if (!answer.refusal.empty() && !unknownClass) return answer.refusal;
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
