#pragma once

#include "VLR_Document.h"

#include <string>

/// A vault that is read from bytes which somebody else keeps is in all things as one that is read by copying: it has
/// the same errors, checksums and deletions, and after any edits that both get alike it is written to the same bytes,
/// as one image and as pieces. What was lent stays as it was.
void expectBorrowedAsCopied(const std::string& file, VLR_DocumentReadStyle style);
