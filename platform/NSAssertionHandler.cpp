#include "NSAssertionHandler.h"

#include "NSException.h"

void NSAssertionHandler::handleFailureInMethod(const std::string&, const std::string& description)
{
    NSException::raise("NSInternalInconsistencyException", description);
}
