// A schema's classes, declared to an object manager.
// Tests: tests/requests, under the manners of each object manager.
#include "mof/declaration.h"

namespace schema {

namespace {

broker::ClassDeclaration declarationOf(const mof::Class& declared) {
    broker::ClassDeclaration declaration;
    declaration.name = declared.name;
    declaration.superclass = declared.superclass;
    declaration.isAbstract = declared.isAbstract();
    declaration.isAssociation = declared.isAssociation();
    for (const mof::Property& each : declared.properties) {
        const auto type = static_cast<CMPIType>(each.array ? each.type | CMPI_ARRAY : each.type);
        declaration.properties.push_back({each.name, type, each.isKey(), each.propagated, each.referenceClass});
    }
    return declaration;
}

}  // namespace

void declareTo(broker::Broker& manager, const mof::Schema& schema) {
    for (const mof::Class& each : schema.classes()) manager.declareClass(declarationOf(each));
}

}  // namespace schema
