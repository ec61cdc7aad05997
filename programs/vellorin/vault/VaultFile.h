#pragma once

#include "NSData.h"

#include <string>

// Vaults as files that a command writes without taking locks or telling anybody. Each operation raises CommandFailure
// with the path, the system's words and what was left as it was.

/// Makes a file at one stroke. Raises: kRefused if there is one, also if it came this moment; kFailed.
/// Throws Interrupted.
void writeNewVault(const std::string& path, const NSData& bytes);

/// Makes a file, or replaces one, at one stroke. Raises: kFailed. Throws Interrupted.
void replaceVault(const std::string& path, const NSData& bytes);

/// Whether both paths lead to one file that is there.
bool areOneFile(const std::string& a, const std::string& b);
