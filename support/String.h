// String: the text class, and the free functions on NUL-terminated bytes.
#pragma once

#include <cstdint>

// Text is bytes. `length` counts the terminating NUL, so an empty string has
// length 1. Up to 15 characters live in the inline room; heap blocks are
// sized in multiples of 64, and appending grows them by half or to the rounded
// need, whichever is more.
class String
{
	public:

		String();
		String(const char* text);
		String(const char* text, int32_t limit);
		String(const String& other);
		String(String&& other);
		~String();

		String& operator=(const String& other);
		String& operator=(String&& other);
		String& operator=(const char* text);

		void Assign(const char* text);
		void Assign(const char* text, int32_t count);
		void Clear();

		void Append(const String& other);
		void Append(const char* text);
		void Append(char byte);
		void Append(int32_t value);
		void Append(uint32_t value);

		// A to Z only, in place.
		void ToLower();

		// Characters without the terminator.
		int32_t GetTextLength() const { return length - 1; }
		int32_t GetCapacity() const { return capacity; }
		bool IsEmpty() const { return length <= 1; }

		const char* GetText() const { return characters; }
		char* GetData() { return characters; }
		operator const char*() const { return characters; }

	private:

		int32_t length;
		int32_t capacity;
		char* characters;
		char room[16];

		// Byte counts exclude the terminator; `text` may lie inside this string.
		void AssignBytes(const char* text, int32_t count);
		void AppendBytes(const char* text, int32_t count);
		void TakeFrom(String& other);
};

int32_t TextLength(const char* text);

// Copies at most `limit` bytes and always writes a terminator behind them, so
// `destination` needs limit + 1 bytes. Returns the count copied.
int32_t CopyText(const char* source, char* destination, int32_t limit);

bool TextEqual(const char* a, const char* b);
bool TextEqualNoCase(const char* a, const char* b);
bool TextPrefixNoCase(const char* a, const char* b, int32_t count);
bool TextLess(const char* a, const char* b);
int32_t FindChar(const char* text, char byte);

// Both write at most `limit` characters and a terminator, so the buffer needs
// limit + 1 bytes.
int32_t IntegerToText(int64_t value, char* buffer, int32_t limit);
int32_t FloatToText(float value, char* buffer, int32_t limit);

// Exactly 2, 4 or 8 upper-case hexadecimal digits, no terminator.
void Hex2(uint32_t value, char* buffer);
void Hex4(uint32_t value, char* buffer);
void Hex8(uint32_t value, char* buffer);

int32_t Utf8Length(const char* text);
int32_t EncodeUtf8(char* buffer, uint32_t code);
