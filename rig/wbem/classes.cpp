// The operations on classes and qualifier declarations.
// Tests: tests/wbem/operations_test.cpp, manager_test.cpp.
#include "wbem/cimerror.h"
#include "wbem/operation.h"

namespace wbem {

namespace {

/** The parameters that say what of a class is shown. */
View classView(Parameters& parameters) {
    View view;
    view.localOnly = parameters.flag("LocalOnly", true);
    view.qualifiers = parameters.flag("IncludeQualifiers", true);
    view.classOrigin = parameters.flag("IncludeClassOrigin", false);
    return view;
}

/** The classes below the one that ClassName tells, or below the top. */
std::vector<const mof::Class*> askedSubclasses(Operation& operation) {
    const std::optional<std::string> name = operation.parameters.className("ClassName");
    const bool deep = operation.parameters.flag("DeepInheritance", false);
    if (name) requireClass(operation, *name);
    return operation.space.schema.subclasses(name.value_or(""), deep);
}

}  // namespace

void enumerateClassNames(Operation& operation) {
    const std::vector<const mof::Class*> classes = askedSubclasses(operation);
    operation.parameters.refuseOthers();
    const pugi::xml_node result = operation.returnValue();
    for (const mof::Class* each : classes) operation.encoder.className(result, each->name);
}

void enumerateClasses(Operation& operation) {
    const std::vector<const mof::Class*> classes = askedSubclasses(operation);
    const View view = classView(operation.parameters);
    operation.parameters.refuseOthers();
    const pugi::xml_node result = operation.returnValue();
    for (const mof::Class* each : classes) operation.encoder.classElement(result, *each, view);
}

/** Here the class is the object that is asked for, and one that does not exist is not found. */
void getClass(Operation& operation) {
    const std::string name = operation.parameters.requiredClassName("ClassName");
    View view = classView(operation.parameters);
    view.properties = operation.parameters.propertyList();
    operation.parameters.refuseOthers();
    const mof::Class* found = operation.space.schema.find(name);
    if (found == nullptr) throw CimError(CMPI_RC_ERR_NOT_FOUND, "The class does not exist");
    operation.encoder.classElement(operation.returnValue(), *found, view);
}

void enumerateQualifiers(Operation& operation) {
    operation.parameters.refuseOthers();
    const pugi::xml_node result = operation.returnValue();
    for (const mof::QualifierDeclaration& each : operation.space.schema.qualifiers())
        operation.encoder.qualifierDeclaration(result, each);
}

void getQualifier(Operation& operation) {
    const std::string name = operation.parameters.requiredText("QualifierName");
    operation.parameters.refuseOthers();
    const mof::QualifierDeclaration* found = operation.space.schema.findQualifier(name);
    if (found == nullptr) throw CimError(CMPI_RC_ERR_NOT_FOUND, "The qualifier is not declared");
    operation.encoder.qualifierDeclaration(operation.returnValue(), *found);
}

}  // namespace wbem
