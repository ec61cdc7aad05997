#pragma once

#include <string>

/// The user's settings, from which VLR_System::GetPreference answers: a text file of this form, whose values are whole
/// numbers with the meanings of VLRPref_Type.
///
///     [Preferences]
///     DocumentFlagOverride=1
///     UseKeychainPassword=1
///     TrackLastUsedDate=1
///
/// It is read once, at the first question. A file, key or whole number that is not there gives the caller's default. A
/// file that is there but of no use (no such form, not a regular file, not readable, above 1 MiB) counts as absent and
/// costs one log line, which never quotes it.
namespace VLR_ApplicationSettings {

/// `vellorin/settings` in $XDG_CONFIG_HOME or, where that is not an absolute path, in ~/.config. Empty without either.
std::string Path();

/// Reads the file anew: for a program that has just written it.
void Load();

} // namespace VLR_ApplicationSettings
