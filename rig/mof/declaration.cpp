#include "mof/declaration.h"

namespace schema {

namespace {

CMPIType elementTypeOf(mof::Type type) {
    switch (type) {
        case mof::Type::boolean:
            return CMPI_boolean;
        case mof::Type::char16:
            return CMPI_char16;
        case mof::Type::uint8:
            return CMPI_uint8;
        case mof::Type::sint8:
            return CMPI_sint8;
        case mof::Type::uint16:
            return CMPI_uint16;
        case mof::Type::sint16:
            return CMPI_sint16;
        case mof::Type::uint32:
            return CMPI_uint32;
        case mof::Type::sint32:
            return CMPI_sint32;
        case mof::Type::uint64:
            return CMPI_uint64;
        case mof::Type::sint64:
            return CMPI_sint64;
        case mof::Type::real32:
            return CMPI_real32;
        case mof::Type::real64:
            return CMPI_real64;
        case mof::Type::datetime:
            return CMPI_dateTime;
        case mof::Type::reference:
            return CMPI_ref;
        case mof::Type::string:
            break;
    }
    return CMPI_string;
}

broker::PropertyDeclaration declarationOf(const mof::Property& property) {
    const CMPIType element = elementTypeOf(property.type);
    const CMPIType type = property.array ? static_cast<CMPIType>(element | CMPI_ARRAY) : element;
    return {property.name, type, property.isKey(), property.propagated, property.referenceClass};
}

broker::ClassDeclaration declarationOf(const mof::Class& declared) {
    broker::ClassDeclaration declaration;
    declaration.name = declared.name;
    declaration.superclass = declared.superclass;
    declaration.isAbstract = declared.isAbstract();
    declaration.isAssociation = declared.isAssociation();
    for (const mof::Property& each : declared.properties) declaration.properties.push_back(declarationOf(each));
    return declaration;
}

}  // namespace

void declareTo(broker::Broker& manager, const mof::Schema& schema) {
    for (const mof::Class& each : schema.classes()) manager.declareClass(declarationOf(each));
}

}  // namespace schema
