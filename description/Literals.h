// Literals: the character classes, data types and literal readers of the description language.
#pragma once

#include <cstdint>

#include "support/Array.h"
#include "support/String.h"

// Class of every byte: 0 delimiter (control codes, space, ASCII punctuation
// except underscore), 1 identifier (digits, letters, underscore), 2 illegal
// (127 and everything from 128).
extern const uint8_t kCharacterClass[256];

// The value of a reference: a chain of names and whether it starts in the
// document's global names. A reference is global unless it begins with '%';
// the empty reference (`null`) has no names.
struct Reference
{
	Array<String> names;
	bool globalFlag = true;
};

// The bytes of a base64 literal. Owns `data` (malloc'd, null when empty) and
// frees it on destruction or when a new literal is read into it.
class BinaryData
{
	public:

		BinaryData() = default;
		~BinaryData();

		BinaryData(const BinaryData&) = delete;
		BinaryData& operator=(const BinaryData&) = delete;
		BinaryData(BinaryData&& other);
		BinaryData& operator=(BinaryData&& other);

		void Clear();

		uint8_t* data = nullptr;
		int32_t size = 0;
};

// Returns the cursor behind all bytes 1 to 32 and all comments. A comment cut
// off by the end of the text ends there; the NUL is never passed.
const char* SkipWhitespace(const char* text);

// Measures the identifier at `text` into `length` and assigns it to `target`.
// Neither moves a cursor nor skips whitespace. `length` and `target` may be null.
uint32_t ReadIdentifier(const char* text, int32_t* length, String* target);

// Matches a primitive type identifier at `text`: 0 with its code, or 'TYIV'.
// `length` receives the identifier's length. Both pointers may be null.
uint32_t ReadDataType(const char* text, int32_t* length, uint32_t* type);

// Literal readers. Each returns 0 and leaves `*text` behind the literal and the
// whitespace after it, or returns a code and leaves `*text` where it was. A null
// target only checks and advances; on failure the target is left unchanged.
uint32_t ReadBool(const char** text, bool* value);

uint32_t ReadInt8(const char** text, int8_t* value);
uint32_t ReadInt16(const char** text, int16_t* value);
uint32_t ReadInt32(const char** text, int32_t* value);
uint32_t ReadInt64(const char** text, int64_t* value);

uint32_t ReadUnsignedInt8(const char** text, uint8_t* value);
uint32_t ReadUnsignedInt16(const char** text, uint16_t* value);
uint32_t ReadUnsignedInt32(const char** text, uint32_t* value);
uint32_t ReadUnsignedInt64(const char** text, uint64_t* value);

// A half is stored as its 16-bit pattern.
uint32_t ReadHalf(const char** text, uint16_t* value);
uint32_t ReadFloat(const char** text, float* value);
uint32_t ReadDouble(const char** text, double* value);

// Replaces the target's text with all joined parts.
uint32_t ReadString(const char** text, String* value);
uint32_t ReadReference(const char** text, Reference* value);
uint32_t ReadTypeLiteral(const char** text, uint32_t* value);
uint32_t ReadBase64(const char** text, BinaryData* value);
