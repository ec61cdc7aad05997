#include "UtilityExceptions.h"

#include "NSException.h"

namespace {

constexpr char kSourceName[] = "ExtraContainerUtilities"; // of the operations that have stood in one file

} // namespace

void raiseInconsistency(const std::string& message, const std::string& method, int line)
{
    raiseInconsistency(message, method, kSourceName, line);
}

void raiseInconsistency(const std::string& message, const std::string& method, const std::string& sourceName, int line)
{
    NSException::raise("NSInternalInconsistencyException",
        message + ", method: " + method + ", file: " + sourceName + ", line: " + std::to_string(line));
}

void raisePlain(const std::string& operation, int line, const std::string& message)
{
    NSException::raise(placeText(operation, line), message);
}

std::string placeText(const std::string& operation, int line)
{
    return operation + ":" + std::to_string(line);
}
