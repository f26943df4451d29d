// Fuzz target: arbitrary bytes as a description text, parsed into a document
// that knows no structure classes, so every non-primitive is an unknown
// structure whose syntax is still checked.

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "description/Structure.h"
#include "support/FloatMode.h"

class BareDocument : public Document
{
};

// Fuzzed inputs run in the floating-point mode of the tool itself.
extern "C" int LLVMFuzzerInitialize(int*, char***)
{
	SetFlushToZero();
	return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
	char* text = static_cast<char*>(std::malloc(size + 1));
	if (!text) return 0;
	if (size != 0) std::memcpy(text, data, size);
	text[size] = 0;

	BareDocument document;
	uint32_t result = document.ParseText(text);

	// A fault leaves nothing behind and names a line of the text.
	if (result != 0)
	{
		int32_t lines = 1;
		for (size_t i = 0; i < size && text[i] != 0; i++) lines += (text[i] == '\n');
		if (document.rootStructure.GetFirstSubnode() || document.errorLine < 1 || document.errorLine > lines) std::abort();
	}

	std::free(text);
	return 0;
}
