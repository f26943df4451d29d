// TextWriter: buffered Tessary text output, and the writing of a whole document.
#pragma once

#include <cstdint>

class Structure;
class VectorDocument;
class VectorStructure;

// Receives each run of finished text; false means the text could not be
// taken, and it is then lost.
typedef bool (*TextWriteCallback)(const void* data, uint32_t size, void* context);

// The deepest indentation written, in tabs.
constexpr int32_t kMaxIndent = 256;

// Size of the collecting buffer; text reaching this size is handed on.
constexpr uint32_t kTextBufferSize = 65536;

class TextWriter
{
	public:

		TextWriter(TextWriteCallback callback, void* context);

		// Hands on what is still buffered and frees the buffer.
		~TextWriter();

		// Collects `length` bytes. A run of kTextBufferSize bytes or more goes
		// straight to the callback, ahead of what is still buffered.
		void Append(const char* text, uint32_t length);

		// Collects a NUL-terminated text.
		void Append(const char* text);

		// An optional line feed, then indent + extraIndent tabs, then `text`.
		void WriteIndented(const char* text, int32_t extraIndent = 0, bool newlineFirst = false);

		void AppendCharacter(char c);
		void AppendInteger(int64_t value);

		// The number style of all written text: at most 15 characters.
		void AppendFloat(float value);

		// 'abcd' when all four bytes are printable ASCII, else the decimal value.
		void WriteCode(uint32_t code);

		// Writes every non-primitive subnode of `structure` one level deeper;
		// true when there was at least one.
		bool WriteSubnodes(const Structure* structure, const VectorDocument* document);

		// A structure that has a block identifier: the identifier, braces on
		// lines of their own, and the subnodes between them.
		void WriteBlock(const VectorStructure* structure, const VectorDocument* document);

		// Writes the written subnodes of `owner` at the current indent, walking
		// into blocks without recursion; true when there was at least one.
		bool WriteList(const Structure* owner, const VectorDocument* document);

		TextWriteCallback writeCallback;
		void* callbackContext;
		char* buffer;
		uint32_t count;
		int32_t indent;

		TextWriter(const TextWriter&) = delete;
		TextWriter& operator=(const TextWriter&) = delete;
};

// A string literal in double quotes that reads back as the same bytes.
void WriteQuotedText(TextWriter* writer, const char* text);

// The header comment, a blank line, then every top-level structure.
void WriteExchangeDocument(const VectorDocument* document, TextWriter* writer);
