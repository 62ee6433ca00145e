// The operations Associators and References, with names or objects, of instances and of classes.
// Tests: tests/wbem/operations_test.cpp, manager_test.cpp.
#include <algorithm>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "cim/names.h"
#include "wbem/cimerror.h"
#include "wbem/operation.h"

namespace wbem {

namespace {

using broker::Broker;
using broker::Filters;
using broker::ObjectPath;
using broker::Response;

enum class Sought { associators, references };

/** What an association request asks for. */
struct Question {
    ObjectPath source;
    bool ofClass = false;  // the source is a class, and so is what is associated with it
    Filters filters;       // of references, resultClass is the class of the association
};

/** A path without keys names a class, too: some clients ask so. */
Question readQuestion(Parameters& parameters, Sought sought) {
    Question question;
    std::tie(question.source, question.ofClass) = parameters.requiredObjectName("ObjectName");
    question.ofClass = question.ofClass || question.source.keys.empty();
    question.filters.resultClass = parameters.className("ResultClass");
    question.filters.role = parameters.text("Role");
    if (sought == Sought::associators) {
        question.filters.assocClass = parameters.className("AssocClass");
        question.filters.resultRole = parameters.text("ResultRole");
    }
    return question;
}

/**
 * Whether there can be an answer, as far as the classes tell that filter it; without one the provider is not asked. An
 * association class that does not exist is CIM_ERR_NOT_FOUND, in references too, where ResultClass names it.
 */
bool classFiltersMayMatch(const mof::Schema& schema, const Filters& filters, Sought sought) {
    const bool ofReferences = sought == Sought::references;
    if (const std::optional<std::string>& name = ofReferences ? filters.resultClass : filters.assocClass) {
        const mof::Class* association = schema.find(*name);
        if (association == nullptr) throw CimError(CMPI_RC_ERR_NOT_FOUND, "The association class does not exist");
        if (!association->isAssociation()) return false;
    }
    return !filters.resultClass || schema.find(*filters.resultClass) != nullptr;
}

// --- of instances ---

Response askAbout(const Operation& operation, const Question& question, Sought sought, bool namesOnly) {
    requireClass(operation, question.source.className);
    const bool associationsExist = operation.space.manager != nullptr;
    if (!classFiltersMayMatch(operation.space.schema, question.filters, sought) || !associationsExist) return {};
    return askProvider(operation, [&](Broker& manager) {
        const ObjectPath& source = question.source;
        if (sought == Sought::associators)
            return namesOnly ? manager.associatorNames(source, question.filters)
                             : manager.associators(source, question.filters);
        return namesOnly ? manager.referenceNames(source, question.filters)
                         : manager.references(source, question.filters);
    });
}

// --- of classes ---

using Classes = std::vector<const mof::Class*>;

bool passes(const std::optional<std::string>& role, const mof::Property& reference) {
    return !role || cim::sameName(*role, reference.name);
}

bool passes(const mof::Schema& schema, const std::optional<std::string>& className, const mof::Class& found) {
    return !className || schema.isA(found.name, *className);
}

void addOnce(Classes& classes, const mof::Class& found) {
    if (std::find(classes.begin(), classes.end(), &found) == classes.end()) classes.push_back(&found);
}

/** Adds what an association leads to from its reference to the source. */
void addFarEnds(const mof::Schema& schema, const mof::Class& association, const mof::Property& near,
                const Filters& filters, Classes& ends) {
    for (const mof::Property& far : association.properties) {
        if (&far == &near || far.type != CMPI_ref || !passes(filters.resultRole, far)) continue;
        const mof::Class& end = *schema.find(far.referenceClass);
        if (passes(schema, filters.resultClass, end)) addOnce(ends, end);
    }
}

/** By the declarations: an association is one of a class where a reference may refer to the class's instances. */
Classes associatedClasses(const Operation& operation, const Question& question, Sought sought) {
    const mof::Schema& schema = operation.space.schema;
    const Filters& filters = question.filters;
    const std::string source = requireClass(operation, question.source.className).name;
    Classes found;
    if (!classFiltersMayMatch(schema, filters, sought)) return found;
    for (const mof::Class& association : schema.classes()) {
        const bool wanted =
            passes(schema, sought == Sought::references ? filters.resultClass : filters.assocClass, association);
        for (const mof::Property& near : association.properties) {
            const bool fits = near.type == CMPI_ref && schema.isA(source, near.referenceClass);
            if (!wanted || !fits || !passes(filters.role, near)) continue;
            if (sought == Sought::references)
                addOnce(found, association);
            else
                addFarEnds(schema, association, near, filters, found);
        }
    }
    return found;
}

// --- both ---

void objects(Operation& operation, Sought sought) {
    const Question question = readQuestion(operation.parameters, sought);
    const View view = question.ofClass ? objectView(operation.parameters) : instanceView(operation);
    operation.parameters.refuseOthers();
    const Encoder& encoder = operation.encoder;
    if (question.ofClass) {
        const Classes classes = associatedClasses(operation, question, sought);
        const pugi::xml_node result = operation.returnValue();
        for (const mof::Class* each : classes) {
            const pugi::xml_node element = addElement(result, "VALUE.OBJECTWITHPATH");
            encoder.classPath(element, operation.nameSpace, each->name);
            encoder.classElement(element, *each, view);
        }
        return;
    }
    const Response answer = askAbout(operation, question, sought, false);
    const pugi::xml_node result = operation.returnValue();
    for (const broker::Instance& instance : answer.instances) {
        operation.goOn();
        const pugi::xml_node element = addElement(result, "VALUE.OBJECTWITHPATH");
        encoder.instancePath(element, instance.path);
        encoder.instance(element, instance, view);
    }
}

void names(Operation& operation, Sought sought) {
    const Question question = readQuestion(operation.parameters, sought);
    operation.parameters.refuseOthers();
    const Encoder& encoder = operation.encoder;
    if (question.ofClass) {
        const Classes classes = associatedClasses(operation, question, sought);
        const pugi::xml_node result = operation.returnValue();
        for (const mof::Class* each : classes)
            encoder.classPath(addElement(result, "OBJECTPATH"), operation.nameSpace, each->name);
        return;
    }
    const Response answer = askAbout(operation, question, sought, true);
    const pugi::xml_node result = operation.returnValue();
    for (const ObjectPath& path : answer.paths) {
        operation.goOn();
        encoder.instancePath(addElement(result, "OBJECTPATH"), path);
    }
}

}  // namespace

void associators(Operation& operation) {
    objects(operation, Sought::associators);
}

void associatorNames(Operation& operation) {
    names(operation, Sought::associators);
}

void references(Operation& operation) {
    objects(operation, Sought::references);
}

void referenceNames(Operation& operation) {
    names(operation, Sought::references);
}

}  // namespace wbem
