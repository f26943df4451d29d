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

	// Indentation stops growing at kMaxIndent tabs: nesting has no limit, and
	// indenting every line by its full depth would make a deep document's
	// text grow with the square of its depth.
	int64_t tabs = int64_t(indent) + extraIndent;
	if (tabs > kMaxIndent) tabs = kMaxIndent;
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
	indent++;
	bool written = WriteList(structure, document);
	indent--;
	return written;
}

static void WriteBlockOpening(TextWriter* writer, const char* identifier, bool newlineFirst)
{
	writer->WriteIndented(identifier, 0, newlineFirst);
	writer->AppendCharacter('\n');
	writer->WriteIndented("{\n");
}

void TextWriter::WriteBlock(const VectorStructure* structure, const VectorDocument* document)
{
	bool newlineFirst = false;
	const char* identifier = structure->BlockIdentifier(&newlineFirst);
	if (!identifier) return;
	WriteBlockOpening(this, identifier, newlineFirst);
	WriteSubnodes(structure, document);
	WriteIndented("}\n");
}

bool TextWriter::WriteList(const Structure* owner, const VectorDocument* document)
{
	// `list` is the block whose subnodes are being written; the tree's
	// parent links lead back out as each block ends.
	bool written = false;
	const Structure* list = owner;
	const Structure* node = owner->GetFirstSubnode();
	for (;;)
	{
		if (!node)
		{
			if (list == owner) return written;
			indent--;
			WriteIndented("}\n");
			node = list->GetNextSubnode();
			list = list->GetSuperNode();
			continue;
		}

		if (IsWrittenStructure(node))
		{
			if (list == owner) written = true;
			const VectorStructure* structure = static_cast<const VectorStructure*>(node);
			bool newlineFirst = false;
			const char* identifier = structure->BlockIdentifier(&newlineFirst);
			if (identifier)
			{
				WriteBlockOpening(this, identifier, newlineFirst);
				indent++;
				list = node;
				node = node->GetFirstSubnode();
				continue;
			}
			structure->WriteStructure(document, this);
		}
		node = node->GetNextSubnode();
	}
}

void WriteExchangeDocument(const VectorDocument* document, TextWriter* writer)
{
	writer->Append("// Tessary -- Tessary Vector Interchange Format -- docs/tessary.md\n\n");
	writer->WriteList(&document->rootStructure, document);
}
