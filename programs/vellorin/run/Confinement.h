#pragma once

#include <string>
#include <vector>

class Journal;
struct ActionPartners;

/// From here on the process reaches the folders of these files and the journal's alone, should a vault take hold of it
/// (Sandbox.h); for the rest of its life. What is to be known of the system, and lies elsewhere, is asked before: the
/// partners of Linux are made, which are answered. Best effort, and nothing in a program that isn't to be confined.
ActionPartners& confineTo(const std::vector<std::string>& paths, const Journal& journal);
