// What clients read of each CIM status code.
// Tests: tests/wbem/operations_test.cpp.
#include "wbem/cimerror.h"

namespace wbem {

namespace {

struct Meaning {
    CMPIrc code;
    const char* text;
};

constexpr Meaning kMeanings[] = {
    {CMPI_RC_ERR_FAILED, "A general error occurred"},
    {CMPI_RC_ERR_ACCESS_DENIED, "Access is denied"},
    {CMPI_RC_ERR_INVALID_NAMESPACE, "The namespace does not exist"},
    {CMPI_RC_ERR_INVALID_PARAMETER, "A parameter of the operation is invalid"},
    {CMPI_RC_ERR_INVALID_CLASS, "The class does not exist"},
    {CMPI_RC_ERR_NOT_FOUND, "The object does not exist"},
    {CMPI_RC_ERR_NOT_SUPPORTED, "The operation is not supported"},
    {CMPI_RC_ERR_CLASS_HAS_CHILDREN, "The class has subclasses"},
    {CMPI_RC_ERR_CLASS_HAS_INSTANCES, "The class has instances"},
    {CMPI_RC_ERR_INVALID_SUPERCLASS, "The superclass does not exist"},
    {CMPI_RC_ERR_ALREADY_EXISTS, "The object exists already"},
    {CMPI_RC_ERR_NO_SUCH_PROPERTY, "The property does not exist"},
    {CMPI_RC_ERR_TYPE_MISMATCH, "The value is of another type"},
    {CMPI_RC_ERR_QUERY_LANGUAGE_NOT_SUPPORTED, "The query language is not supported"},
    {CMPI_RC_ERR_INVALID_QUERY, "The query is not valid"},
    {CMPI_RC_ERR_METHOD_NOT_AVAILABLE, "The method is not available"},
    {CMPI_RC_ERR_METHOD_NOT_FOUND, "The method does not exist"},
    {CMPI_RC_ERR_SERVER_LIMITS_EXCEEDED, "A limit of the server was exceeded"},
    {CMPI_RC_ERR_QUERY_FEATURE_NOT_SUPPORTED, "A feature of the query is not supported"},
};

std::string meaning(CMPIrc code) {
    for (const Meaning& each : kMeanings)
        if (each.code == code) return each.text;
    return "The provider failed with status " + std::to_string(code);
}

}  // namespace

CimError::CimError(CMPIrc code) : CimError(code, meaning(code)) {}

}  // namespace wbem
