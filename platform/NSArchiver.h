#pragma once

#include "NSPropertyList.h"

#include <cstddef>
#include <string>
#include <string_view>

/// Property lists as bytes, in the form of docs/archive-format.md.
///
/// Both directions keep the same bounds, so that whatever can be written can be read. The bytes and values are plain
/// and not wiped: no collection that holds a secret goes this way.
namespace NSArchiver {

inline constexpr std::size_t kLargestArchive = 16 << 20; // bytes
inline constexpr std::size_t kMostValues = 1 << 16; // of all levels
inline constexpr std::size_t kDeepest = 32; // levels: a value in no collection is on level 1

/// Raises: NSException kCantArchive for a value past the bounds.
std::string archivedDataWithRootObject(const NSPropertyList& root);

/// The value, read whole or not at all. Memory stays in proportion to the bytes, whatever counts they claim.
/// Raises: NSException kCantUnarchive for anything that archivedDataWithRootObject wouldn't have written.
NSPropertyList unarchiveObjectWithData(std::string_view archive);

// Names of the exceptions; their reasons say what was wrong.
inline constexpr char kCantArchive[] = "NSInvalidArchiveOperationException";
inline constexpr char kCantUnarchive[] = "NSInvalidUnarchiveOperationException";

} // namespace NSArchiver
