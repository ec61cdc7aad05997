#include "VLR_DocumentIdentity.h"

#include "VLR_Document.h"
#include "VLR_SystemConversions.h"

#include <glib.h>

namespace {

constexpr std::size_t kLongestIdentity = 256; // those in use have 36

} // namespace

std::optional<std::string> VLR_DocumentIdentity(const VLR_Document* document)
{
    const std::string identity = document != nullptr ? VLRToSys(document->UniqueDocumentID()) : "";
    if (identity.empty() || identity.size() > kLongestIdentity
        || !g_utf8_validate(identity.data(), static_cast<gssize>(identity.size()), nullptr))
        return std::nullopt;
    return identity;
}
