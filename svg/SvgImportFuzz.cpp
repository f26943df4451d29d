// Fuzz target: any bytes import, process and write without a fault.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "document/TextWriter.h"
#include "document/VectorDocument.h"
#include "svg/SvgImporter.h"
#include "support/FloatMode.h"

static bool DiscardText(const void*, uint32_t, void*)
{
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
	{
		SvgImporter importer;
		importer.Import(text, &document.rootStructure);
	}

	std::free(text);
	document.ProcessDocument();

	TextWriter writer(DiscardText, nullptr);
	WriteExchangeDocument(&document, &writer);
	return 0;
}
