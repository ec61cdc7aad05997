#pragma once

/// Opens those of the descriptors 0 to 2 that the program was started without, for nothing: the next file that it opens
/// would get one of their numbers, and be read or written as standard input, output or error. Writing to such a
/// descriptor fails. Call it before anything opens a file.
void occupyStandardDescriptors();
