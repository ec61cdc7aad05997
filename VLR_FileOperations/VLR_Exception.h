#pragma once

#include "VLR_String.h"

/// Codes of the failures that a caller may want to tell apart; everything else is raised with a text and code 0.
enum VLR_ExceptionCodeType : int32_t {
    VLR_ExceptionMessage = 0,
    VLR_ExceptionFile = 5,
    VLR_ExceptionWrongPassword = 6,
    VLR_ExceptionInternal = 7,
    VLR_ExceptionCancelled = 8,
    VLR_ExceptionMastersIncompatible = 9,
    VLR_ExceptionDictionaryOpen = 11,
    VLR_ExceptionRecordEncrypted = 21
};

/// The one exception type of the core, raised and caught by value or reference.
///
/// `message` is for the log only: the report that leaves a run is made of file, function, line and code.
class VLR_Exception {
public:
    /// A failure told by its text; the code is 0. Logs the text and the place as its last act, so each raise leaves
    /// one log line even if somebody catches it.
    VLR_Exception(const char* message, const char* file, const char* function, int line);

    /// A failure told by its code. Does not log.
    VLR_Exception(VLR_ExceptionCodeType code, const char* file, const char* function, int line);

    /// A failure with code and text but without a place. Does not log.
    VLR_Exception(VLR_ExceptionCodeType code, const VLR_String& message);

    /// True for the report of a failed allocation.
    bool IsShortageOfMemory() const;

    VLR_String message;
    VLR_String file;
    VLR_String function;
    int32_t line = 0;
    VLR_ExceptionCodeType code = VLR_ExceptionMessage;
    VLR_String detail; // always empty
};

/// Inside a handler that goes on after failures: passes on the one being handled if memory has run out. What a record
/// lost to that is no damage of the file, and must not be taken for it.
void VLR_RethrowShortageOfMemory();

/// Does nothing: a place for a debugger to stop.
void Breakpoint();

// Macros, because the report carries the bare name of the raising function, which std::source_location does not give.
#define VLR_RAISE(message) throw VLR_Exception(message, __FILE__, __func__, __LINE__)
#define VLR_RAISE_CODE(code) throw VLR_Exception(code, __FILE__, __func__, __LINE__)
