#pragma once

/// The terminal's bell, when standard error is a terminal.
void NSBeep();
