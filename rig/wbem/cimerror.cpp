#include "wbem/cimerror.h"

namespace wbem {

namespace {

std::string meaning(CMPIrc code) {
    switch (code) {
        case CMPI_RC_ERR_FAILED:
            return "A general error occurred";
        case CMPI_RC_ERR_ACCESS_DENIED:
            return "Access is denied";
        case CMPI_RC_ERR_INVALID_NAMESPACE:
            return "The namespace does not exist";
        case CMPI_RC_ERR_INVALID_PARAMETER:
            return "A parameter of the operation is invalid";
        case CMPI_RC_ERR_INVALID_CLASS:
            return "The class does not exist";
        case CMPI_RC_ERR_NOT_FOUND:
            return "The object does not exist";
        case CMPI_RC_ERR_NOT_SUPPORTED:
            return "The operation is not supported";
        case CMPI_RC_ERR_CLASS_HAS_CHILDREN:
            return "The class has subclasses";
        case CMPI_RC_ERR_CLASS_HAS_INSTANCES:
            return "The class has instances";
        case CMPI_RC_ERR_INVALID_SUPERCLASS:
            return "The superclass does not exist";
        case CMPI_RC_ERR_ALREADY_EXISTS:
            return "The object exists already";
        case CMPI_RC_ERR_NO_SUCH_PROPERTY:
            return "The property does not exist";
        case CMPI_RC_ERR_TYPE_MISMATCH:
            return "The value is of another type";
        case CMPI_RC_ERR_QUERY_LANGUAGE_NOT_SUPPORTED:
            return "The query language is not supported";
        case CMPI_RC_ERR_INVALID_QUERY:
            return "The query is not valid";
        case CMPI_RC_ERR_METHOD_NOT_AVAILABLE:
            return "The method is not available";
        case CMPI_RC_ERR_METHOD_NOT_FOUND:
            return "The method does not exist";
        case CMPI_RC_ERR_SERVER_LIMITS_EXCEEDED:
            return "A limit of the server was exceeded";
        case CMPI_RC_ERR_QUERY_FEATURE_NOT_SUPPORTED:
            return "A feature of the query is not supported";
        default:
            return "The provider failed with status " + std::to_string(code);
    }
}

}  // namespace

CimError::CimError(CMPIrc code) : CimError(code, meaning(code)) {}

}  // namespace wbem
