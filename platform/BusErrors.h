#pragma once

#include <cstdint>
#include <string>

/// The classic error number for the name of an error on the bus. Whatever else the other side says, it did not handle
/// what it was sent: errAEEventNotHandled.
int16_t errorNumberOfBusError(const std::string& busError);
