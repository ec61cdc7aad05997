#pragma once

#include "VLR_Array.h"
#include "VLR_String.h"

class VLR_Document;

/// A place for the names of the browsers in use in a document. A front end fills it.
class VLR_Browser : public VLR_Object {
public:
    /// The document is borrowed.
    explicit VLR_Browser(VLR_Document* document)
        : document(document)
    {
    }

    VLR_Document* document;
    VLR_Array<VLR_String> names;
};
