// TestSupport: helpers shared by the test executables.
#pragma once

#include <cstdint>
#include <string>

#include "support/Code.h"

// A result code as its four characters, so a failed expectation reads 'SYNT'
// rather than 1398361684. Zero reads as "0".
inline std::string CodeString(uint32_t code)
{
	if (code == 0) return "0";
	char text[5];
	CodeText(code, text);
	return std::string(text);
}
