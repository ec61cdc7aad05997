#pragma once

#include "VLR_Document.h"

#include <string>

/// The walk over a vault's frames refuses these bytes, or finds in them what the core found in `kept`, with the same
/// number of errors; and it calls what would be lost damage just where the test for what is carried whole does. What
/// its repair saves is read without an error.
void expectSameContents(const std::string& file, const VLR_Document& kept, bool isKept, uint32_t errors);
