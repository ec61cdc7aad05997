#pragma once

#include "VLR_Document.h"

#include <string>

/// What the document must have after a read of this content of the preferences section: 34 bytes, or as many as the
/// oldest files have, 33, 32 or none. The fields of missing bytes are those of a new document.
void expectPreferencesAs(const std::string& content, const VLR_Document& document);

/// True for such a content of a known version.
bool isPreferences(const std::string& content);
