#pragma once

#include <array>
#include <cstdint>
#include <string>

/// The platform's opaque reference to a file system object: device and file number, so that any two paths of one object
/// give the same value.
struct FSRef {
    std::array<uint8_t, 80> hidden = {};
};

/// 0, -43 if there is no such file, or another error of the classic kind.
int16_t FSPathMakeRef(const std::string& path, FSRef& ref);

/// 0 if both mean the same object.
int16_t FSCompareFSRefs(const FSRef& a, const FSRef& b);
