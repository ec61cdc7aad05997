#pragma once

#include <string>
#include <vector>

/// A failure text of the action ("<...>") in words for people: what is wrong, with which file, and what to do about it.
std::string inWords(const std::string& actionFailure, const std::vector<std::string>& paths);
