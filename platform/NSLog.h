#pragma once

#include <functional>
#include <string_view>

/// Writes a line to the platform log: standard error, unless a sink is in place. Never fails its caller.
void NSLog(std::string_view line);

/// Where log lines go, without their line ends.
using NSLogSink = std::function<void(std::string_view line)>;

/// Puts a sink in place and returns the one before; an empty one stands for standard error.
NSLogSink setLogSink(NSLogSink sink);

/// A sink that drops every line.
void silenceLog();
