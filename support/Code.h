// Code: four-character codes, the system's names for types, families and results.
#pragma once

#include <cstdint>

// A multi-character literal puts its first character in the most significant
// byte; every code in the system relies on that.
static_assert('ABCD' == 0x41424344, "four-character codes need big-endian packing");

// Writes the four characters of a code and a terminator; bytes outside printable
// ASCII show as '?', so a garbage code still prints as four characters.
void CodeText(uint32_t code, char text[5]);
