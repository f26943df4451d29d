// Fuzz target: arbitrary bytes as a Tessary document, parsed, processed and
// written back as text. Whatever the parse leaves must write without harm.

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "document/TextWriter.h"
#include "document/VectorDocument.h"
#include "support/FloatMode.h"

static bool DiscardText(const void* data, uint32_t size, void* context)
{
	// Touch every byte so the sanitizers see a read of uninitialised or freed text.
	const uint8_t* bytes = static_cast<const uint8_t*>(data);
	uint32_t* sum = static_cast<uint32_t*>(context);
	for (uint32_t i = 0; i < size; i++) *sum += bytes[i];
	return true;
}

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

	VectorDocument document;
	document.ParseText(text);
	std::free(text);

	uint32_t sum = 0;
	{
		TextWriter writer(DiscardText, &sum);
		WriteExchangeDocument(&document, &writer);
	}
	return int(sum & 0);
}
