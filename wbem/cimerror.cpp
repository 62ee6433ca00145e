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
        case CMPI_RC_ERR_METHOD_NOT_FOUND:
            return "The method does not exist";
        default:
            return "The provider failed with status " + std::to_string(code);
    }
}

}  // namespace

CimError::CimError(CMPIrc code) : CimError(code, meaning(code)) {}

}  // namespace wbem
