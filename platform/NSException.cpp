#include "NSException.h"

#include <utility>

NSException::NSException(std::string name, std::string reason)
    : name_(std::move(name))
    , reason_(std::move(reason))
{
}

void NSException::raise(const std::string& name, const std::string& reason)
{
    throw NSException(name, reason);
}
