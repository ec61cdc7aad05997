#pragma once

#include <optional>
#include <string>

class VLR_Document;

/// A document's identity, fit for the bus: absent for no document, for one without identity, and for one whose file
/// brought something that no program writes there (above 256 bytes, not UTF-8, a zero byte).
std::optional<std::string> VLR_DocumentIdentity(const VLR_Document* document);
