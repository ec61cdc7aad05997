#pragma once

#include "VLR_Array.h"
#include "VLR_String.h"

class VLR_Document;

/// The category names in use in a document, for menus.
class VLR_Categories : public VLR_Object {
public:
    /// The document is borrowed.
    explicit VLR_Categories(VLR_Document* document)
        : document(document)
    {
    }

    /// Fills `names` anew: each category once (exact), the empty one never, in caseless order.
    /// Cost: linear in the records, and a sort of the names.
    void Harvest();

    /// Puts `to` into every record of the category `from` (exact). It goes past the setter: a renamed category is no
    /// edit, so no record gets a new identity. `names` stays until the next Harvest.
    void RenameCategory(const VLR_String& from, const VLR_String& to);

    VLR_Document* document;
    VLR_Array<VLR_String> names;
};
