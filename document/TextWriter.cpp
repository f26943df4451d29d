#include "document/TextWriter.h"

#include <cstring>

#include "document/VectorDocument.h"
#include "document/VectorStructure.h"
#include "support/String.h"

static const char kTabRun[17] = "\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t";

TextWriter::TextWriter(TextWriteCallback callback, void* context)
{
	writeCallback = callback;
	callbackContext = context;
	buffer = new char[kTextBufferSize];
	count = 0;
	indent = 0;
}

TextWriter::~TextWriter()
{
	if ((count != 0) && (writeCallback)) writeCallback(buffer, count, callbackContext);
	delete[] buffer;
}

void TextWriter::Append(const char* text, uint32_t length)
{
	if (length == 0) return;

	// Deliberate: a run too large for the buffer overtakes what is still
	// buffered, so it reaches the callback before that text.
	if (length >= kTextBufferSize)
	{
		if (writeCallback) writeCallback(text, length, callbackContext);
		return;
	}

	if (count + length >= kTextBufferSize)
	{
		bool taken = (writeCallback) ? writeCallback(buffer, count, callbackContext) : false;
		count = 0;
		if (!taken) return;
	}

	std::memcpy(buffer + count, text, length);
	count += length;
}

void TextWriter::Append(const char* text)
{
	Append(text, uint32_t(TextLength(text)));
}

void TextWriter::WriteIndented(const char* text, int32_t extraIndent, bool newlineFirst)
{
	if (newlineFirst) AppendCharacter('\n');

	int64_t tabs = int64_t(indent) + extraIndent;
	while (tabs >= 16)
	{
		Append(kTabRun, 16);
		tabs -= 16;
	}

	if (tabs > 0) Append(kTabRun, uint32_t(tabs));
	Append(text);
}

void TextWriter::AppendCharacter(char c)
{
	Append(&c, 1);
}

void TextWriter::AppendInteger(int64_t value)
{
	char text[24];
	IntegerToText(value, text, 22);
	Append(text);
}

void TextWriter::AppendFloat(float value)
{
	// The routine's return value is not the whole length in scientific form,
	// so the text is measured.
	char text[16];
	FloatToText(value, text, 15);
	Append(text);
}

void TextWriter::WriteCode(uint32_t code)
{
	char text[6];
	for (int32_t i = 0; i < 4; i++)
	{
		uint32_t c = (code >> (24 - i * 8)) & 0xFF;
		if ((c < 32) || (c > 126))
		{
			AppendInteger(int64_t(code));
			return;
		}

		text[i + 1] = char(c);
	}

	text[0] = '\'';
	text[5] = '\'';
	Append(text, 6);
}

// Every structure of a vector document other than a data list is made by its
// factory and writes itself. A plain structure (type 0, or an unknown one
// that a parser kept) has no writer and is passed over.
static bool IsWrittenStructure(const Structure* structure)
{
	uint32_t type = structure->structureType;
	return ((structure->baseStructureType != 'PRIM') && (type != 0) && (type != '!UNK'));
}

bool TextWriter::WriteSubnodes(const Structure* structure, const VectorDocument* document)
{
	// The depth of this recursion is the nesting depth of the tree, which
	// the parser bounds.
	bool written = false;
	indent++;
	for (const Structure* node = structure->GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if (!IsWrittenStructure(node)) continue;

		static_cast<const VectorStructure*>(node)->WriteStructure(document, this);
		written = true;
	}

	indent--;
	return written;
}

void WriteExchangeDocument(const VectorDocument* document, TextWriter* writer)
{
	writer->Append("// Tessary -- Tessary Vector Interchange Format -- docs/tessary.md\n\n");

	const Structure* root = &document->rootStructure;
	for (const Structure* node = root->GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if (!IsWrittenStructure(node)) continue;
		static_cast<const VectorStructure*>(node)->WriteStructure(document, writer);
	}
}
