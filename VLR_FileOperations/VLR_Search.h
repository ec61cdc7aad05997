#pragma once

#include "VLR_Object.h"
#include "VLR_String.h"

#include <cstdint>

/// Kinds of find. Any other value finds nothing and changes nothing.
enum VLR_SearchKind : uint32_t {
    VLR_SearchAll = 1,
    VLR_SearchContains = 2,
    VLR_SearchCategory = 3
};

/// A find: what a document's viewable list shows, or what VLR_Document::FindParams is asked for.
class VLR_Search : public VLR_Object {
public:
    uint32_t searchKind = VLR_SearchAll;
    bool addToResults = false; // keep what the viewable list already holds
    VLR_String searchText;
};
