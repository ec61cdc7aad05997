#pragma once

#include "VLR_String.h"

/// A file that the host reads on the core's behalf: its path, and its content once VLR_System::ReadFromOSFile has run.
class VLR_OSFile : public VLR_Object {
public:
    VLR_String path;
    VLR_MemoryBlock data;
};
