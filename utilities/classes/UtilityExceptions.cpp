#include "UtilityExceptions.h"

#include "NSException.h"

namespace {

constexpr char kSourceName[] = "ExtraContainerUtilities";

} // namespace

void raiseInconsistency(const std::string& message, const std::string& method, int line)
{
    NSException::raise("NSInternalInconsistencyException",
        message + ", method: " + method + ", file: " + kSourceName + ", line: " + std::to_string(line));
}

std::string placeText(const std::string& operation, int line)
{
    return operation + ":" + std::to_string(line);
}
