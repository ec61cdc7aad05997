#pragma once

#include <ostream>
#include <string>

/// Lists identity, records and deletions of a vault file, with titles if it has the samples' master password. False,
/// and a line on standard error, if the file can't be read.
bool listVault(const std::string& path, std::ostream& out);
