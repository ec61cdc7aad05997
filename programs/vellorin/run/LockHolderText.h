#pragma once

#include "LockHolder.h"

#include <string>

/// Who holds a write lock, in words for people: "vellorin-sync, process 4711 on laptop, since 2026-11-21 10:36:08".
/// What stands in a lock may be anything: it goes to a terminal through `printable`.
std::string describe(const LockHolder& holder);
