#include "support/String.h"

#include <cmath>
#include <cstdlib>
#include <cstring>

#include "support/Math.h"

// Sizes are signed 32-bit throughout. A text this long cannot come from any
// input the system reads whole, so stopping beats a wrapped size.
static const int64_t kLargestSize = 0x7FFFFFC0;

static int32_t CheckedSize(int64_t size)
{
	if (size < 0 || size > kLargestSize) std::abort();
	return int32_t(size);
}

// Heap blocks hold the need plus some slack, rounded to 64 bytes.
static int32_t BlockCapacity(int32_t needed)
{
	return CheckedSize((int64_t(needed) + 67) & ~int64_t(63));
}

static char* AllocateBlock(int32_t capacity)
{
	char* block = static_cast<char*>(std::malloc(size_t(capacity)));
	if (!block) std::abort();
	return block;
}

// Length of `text`, but no further than `count` bytes.
static int32_t BoundedLength(const char* text, int32_t count)
{
	int32_t length = 0;
	while (length < count && text[length] != 0) length++;
	return length;
}

String::String() : length(1), capacity(16), characters(room)
{
	room[0] = 0;
}

String::String(const char* text) : length(1), capacity(16), characters(room)
{
	room[0] = 0;
	Assign(text);
}

String::String(const char* text, int32_t limit) : length(1), capacity(16), characters(room)
{
	room[0] = 0;
	Assign(text, limit);
}

String::String(const String& other) : length(1), capacity(16), characters(room)
{
	room[0] = 0;
	AssignBytes(other.characters, other.length - 1);
}

String::String(String&& other) : length(1), capacity(16), characters(room)
{
	room[0] = 0;
	TakeFrom(other);
}

String::~String()
{
	if (characters != room) std::free(characters);
}

String& String::operator=(const String& other)
{
	if (this != &other) AssignBytes(other.characters, other.length - 1);
	return *this;
}

String& String::operator=(String&& other)
{
	if (this != &other)
	{
		if (characters != room) std::free(characters);
		TakeFrom(other);
	}
	return *this;
}

String& String::operator=(const char* text)
{
	Assign(text);
	return *this;
}

void String::TakeFrom(String& other)
{
	length = other.length;
	if (other.characters == other.room)
	{
		std::memcpy(room, other.room, 16);
		capacity = 16;
		characters = room;
	}
	else
	{
		capacity = other.capacity;
		characters = other.characters;
		other.characters = other.room;
		other.capacity = 16;
		other.length = 1;
		other.room[0] = 0;
	}
}

void String::Assign(const char* text)
{
	if (!text)
	{
		Clear();
		return;
	}
	AssignBytes(text, TextLength(text));
}

void String::Assign(const char* text, int32_t count)
{
	if (!text || count <= 0)
	{
		Clear();
		return;
	}
	AssignBytes(text, BoundedLength(text, count));
}

void String::Clear()
{
	AssignBytes("", 0);
}

// The source may lie inside this string's own block, so the old block is
// freed only after the bytes have been copied out of it.
void String::AssignBytes(const char* text, int32_t count)
{
	int32_t needed = CheckedSize(int64_t(count) + 1);
	if (needed <= 16)
	{
		std::memmove(room, text, size_t(count));
		room[count] = 0;
		if (characters != room) std::free(characters);
		characters = room;
		capacity = 16;
	}
	else if (characters != room && needed <= capacity && needed >= capacity / 2)
	{
		std::memmove(characters, text, size_t(count));
		characters[count] = 0;
	}
	else
	{
		int32_t newCapacity = BlockCapacity(needed);
		char* block = AllocateBlock(newCapacity);
		std::memcpy(block, text, size_t(count));
		block[count] = 0;
		if (characters != room) std::free(characters);
		characters = block;
		capacity = newCapacity;
	}
	length = needed;
}

void String::AppendBytes(const char* text, int32_t count)
{
	if (count <= 0) return;
	int32_t needed = CheckedSize(int64_t(length) + count);
	if (needed > capacity)
	{
		// Deliberate: growth by half is not rounded, so a 192-byte block grows
		// to 288, which is no multiple of 64.
		int32_t grown = CheckedSize(int64_t(capacity) + capacity / 2);
		int32_t newCapacity = BlockCapacity(needed);
		if (grown > newCapacity) newCapacity = grown;
		char* block = AllocateBlock(newCapacity);
		std::memcpy(block, characters, size_t(length - 1));
		// `text` may point into the old block, which is still alive here.
		std::memcpy(block + length - 1, text, size_t(count));
		if (characters != room) std::free(characters);
		characters = block;
		capacity = newCapacity;
	}
	else
	{
		std::memmove(characters + length - 1, text, size_t(count));
	}
	characters[needed - 1] = 0;
	length = needed;
}

void String::Append(const String& other)
{
	AppendBytes(other.characters, other.length - 1);
}

void String::Append(const char* text)
{
	if (text) AppendBytes(text, TextLength(text));
}

// Deliberate: a NUL byte is not appended, since it would end the text and
// leave the length counting bytes nobody can see.
void String::Append(char byte)
{
	if (byte != 0) AppendBytes(&byte, 1);
}

void String::Append(int32_t value)
{
	char text[24];
	int32_t count = IntegerToText(value, text, 23);
	AppendBytes(text, count);
}

void String::Append(uint32_t value)
{
	char text[24];
	int32_t count = IntegerToText(int64_t(value), text, 23);
	AppendBytes(text, count);
}

void String::ToLower()
{
	for (int32_t i = 0; i < length - 1; i++)
	{
		char c = characters[i];
		if (c >= 'A' && c <= 'Z') characters[i] = char(c + ('a' - 'A'));
	}
}

int32_t TextLength(const char* text)
{
	int64_t length = 0;
	while (text[length] != 0)
	{
		length++;
		if (length > kLargestSize) std::abort();
	}
	return int32_t(length);
}

int32_t CopyText(const char* source, char* destination, int32_t limit)
{
	int32_t count = 0;
	if (source)
	{
		while (count < limit && source[count] != 0)
		{
			destination[count] = source[count];
			count++;
		}
	}
	destination[count] = 0;
	return count;
}

bool TextEqual(const char* a, const char* b)
{
	for (int32_t i = 0;; i++)
	{
		if (a[i] != b[i]) return false;
		if (a[i] == 0) return true;
	}
}

static uint8_t LowerByte(char c)
{
	uint8_t u = uint8_t(c);
	return (u >= 'A' && u <= 'Z') ? uint8_t(u + ('a' - 'A')) : u;
}

bool TextEqualNoCase(const char* a, const char* b)
{
	for (int32_t i = 0;; i++)
	{
		if (LowerByte(a[i]) != LowerByte(b[i])) return false;
		if (a[i] == 0) return true;
	}
}

bool TextPrefixNoCase(const char* a, const char* b, int32_t count)
{
	for (int32_t i = 0; i < count; i++)
	{
		if (LowerByte(a[i]) != LowerByte(b[i])) return false;
		if (a[i] == 0) return true;
	}
	return true;
}

bool TextLess(const char* a, const char* b)
{
	for (int32_t i = 0;; i++)
	{
		uint8_t x = uint8_t(a[i]);
		uint8_t y = uint8_t(b[i]);
		if (x != y) return x < y;
		if (x == 0) return false;
	}
}

int32_t FindChar(const char* text, char byte)
{
	if (byte == 0) return -1;
	for (int32_t i = 0; text[i] != 0; i++)
	{
		if (text[i] == byte) return i;
	}
	return -1;
}

int32_t IntegerToText(int64_t value, char* buffer, int32_t limit)
{
	if (limit < 0) return 0;
	char text[24];
	int32_t count = 0;
	uint64_t magnitude = (value < 0) ? uint64_t(0) - uint64_t(value) : uint64_t(value);
	char digits[24];
	int32_t digitCount = 0;
	do
	{
		digits[digitCount++] = char('0' + magnitude % 10);
		magnitude /= 10;
	} while (magnitude != 0);
	if (value < 0) text[count++] = '-';
	while (digitCount > 0) text[count++] = digits[--digitCount];
	// A short buffer keeps the leading characters.
	if (count > limit) count = limit;
	std::memcpy(buffer, text, size_t(count));
	buffer[count] = 0;
	return count;
}

// Appends into a buffer of limit + 1 bytes; writes past the limit are
// dropped so that a short buffer can never be overrun.
struct TextSink
{
	char* buffer;
	int32_t length;
	int32_t limit;

	void Put(char c)
	{
		if (length < limit) buffer[length++] = c;
	}

	void Put(const char* text)
	{
		while (*text != 0) Put(*text++);
	}

	int32_t Finish()
	{
		buffer[length] = 0;
		return length;
	}
};

int32_t FloatToText(float value, char* buffer, int32_t limit)
{
	if (limit < 0) return 0;
	TextSink sink = {buffer, 0, limit};

	uint32_t bits;
	std::memcpy(&bits, &value, 4);
	uint32_t exponentField = (bits >> 23) & 0xFF;
	bool negative = (bits >> 31) != 0;

	if (exponentField == 0)
	{
		sink.Put("0.0");
		return sink.Finish();
	}
	if (exponentField == 255)
	{
		// A NaN's sign depends on the processor that made it, so it is never
		// written: every machine prints the same text.
		bool nan = (bits & 0x7FFFFF) != 0;
		if (negative && !nan) sink.Put('-');
		sink.Put(nan ? "NAN" : "INF");
		return sink.Finish();
	}

	uint32_t absoluteBits = bits & 0x7FFFFFFF;
	float a;
	std::memcpy(&a, &absoluteBits, 4);
	int32_t e = 0;
	if (a < 0.0001f || !(a < 100000.0f))
	{
		float decade = floorf(Log(a) * 0.4342945f);
		// Floats span about 83 decades; anything outside is a broken logarithm
		// and must not reach the integer conversion.
		if (decade > 60.0f) decade = 60.0f;
		if (decade < -60.0f) decade = -60.0f;
		e = int32_t(decade);
		a = a / Exp10(float(e));
	}

	if (negative) sink.Put('-');

	std::memcpy(&absoluteBits, &a, 4);
	int32_t x = int32_t((absoluteBits >> 23) & 0xFF) - 127;
	uint32_t s = (absoluteBits & 0x7FFFFF) | 0x800000;
	uint32_t fraction;
	// Shift counts are held inside 0..31 and 0..40: a mantissa from a poor
	// power of ten may land far from [1, 10).
	if (x < 0)
	{
		sink.Put("0.");
		fraction = (-x < 32) ? (s >> -x) : 0;
	}
	else
	{
		uint64_t integer = (x <= 23) ? uint64_t(s >> (23 - x)) : uint64_t(s) << ((x - 23 < 40) ? x - 23 : 40);
		char digits[24];
		IntegerToText(int64_t(integer), digits, 23);
		sink.Put(digits);
		sink.Put('.');
		fraction = ((x < 32) ? (s << x) : 0) & 0x7FFFFF;
	}
	if (sink.length >= limit) return sink.Finish();

	// Digits: the counters hold the current run of zeros and of nines.
	int32_t fractionStart = sink.length;
	int32_t zeros = 0;
	int32_t nines = 0;
	for (int32_t round = 1; sink.length < limit; round++)
	{
		fraction *= 10;
		uint32_t digit = fraction >> 23;
		sink.Put(char('0' + digit));
		zeros = (digit == 0) ? zeros + 1 : 0;
		nines = (digit == 9) ? nines + 1 : 0;
		if ((zeros >= 4 || nines >= 4) && round > 4) break;
		fraction &= 0x7FFFFF;
		if (fraction < 2 || round >= 7) break;
	}

	char* text = buffer;
	int32_t length = sink.length;
	bool finalNines = false;
	if (length - fractionStart >= 2 && text[length - 1] == '9' && text[length - 2] == '9')
	{
		finalNines = true;
		int32_t k = length - 1;
		while (text[k] == '9') k--;
		// A run that reaches the point stays as it is: no carry into the
		// integer part.
		if (text[k] != '.')
		{
			text[k]++;
			length = k + 1;
		}
	}
	else if (text[length - 1] == '0')
	{
		while (length > fractionStart && text[length - 1] == '0') length--;
	}
	sink.length = length;

	if (!finalNines && text[length - 1] == '.') sink.Put('0');

	if (e != 0 && sink.length < limit)
	{
		sink.Put('e');
		// Deliberate: with an exponent the result is the length of the
		// exponent's digits alone; callers measure the text.
		return IntegerToText(e, buffer + sink.length, limit - sink.length);
	}
	return sink.Finish();
}

static const char kHexDigits[] = "0123456789ABCDEF";

static void WriteHex(uint32_t value, char* buffer, int32_t digitCount)
{
	for (int32_t i = digitCount - 1; i >= 0; i--)
	{
		buffer[i] = kHexDigits[value & 15];
		value >>= 4;
	}
}

void Hex2(uint32_t value, char* buffer)
{
	WriteHex(value, buffer, 2);
}

void Hex4(uint32_t value, char* buffer)
{
	WriteHex(value, buffer, 4);
}

void Hex8(uint32_t value, char* buffer)
{
	WriteHex(value, buffer, 8);
}

// Continuation bytes are read only while the ones before them were valid, so
// a NUL inside a sequence stops the read at the terminator.
int32_t Utf8Length(const char* text)
{
	const uint8_t* bytes = reinterpret_cast<const uint8_t*>(text);
	uint32_t lead = bytes[0];
	int32_t count;
	uint32_t code;
	uint32_t smallest;
	if (lead == 0) return 0;
	if (lead < 0x80) return 1;
	if (lead < 0xC0) return 0;
	if (lead < 0xE0)
	{
		count = 2;
		code = lead & 0x1F;
		smallest = 0x80;
	}
	else if (lead < 0xF0)
	{
		count = 3;
		code = lead & 0x0F;
		smallest = 0x800;
	}
	else if (lead < 0xF8)
	{
		count = 4;
		code = lead & 0x07;
		smallest = 0x10000;
	}
	else
	{
		return 0;
	}
	for (int32_t i = 1; i < count; i++)
	{
		uint32_t c = bytes[i];
		if ((c & 0xC0) != 0x80) return 0;
		code = (code << 6) | (c & 0x3F);
	}
	if (code < smallest || code > 0x10FFFF) return 0;
	if (code >= 0xD800 && code <= 0xDFFF) return 0;
	return count;
}

int32_t EncodeUtf8(char* buffer, uint32_t code)
{
	if (code < 0x80)
	{
		buffer[0] = char(code);
		return 1;
	}
	if (code < 0x800)
	{
		buffer[0] = char(0xC0 | (code >> 6));
		buffer[1] = char(0x80 | (code & 0x3F));
		return 2;
	}
	if (code < 0x10000)
	{
		buffer[0] = char(0xE0 | (code >> 12));
		buffer[1] = char(0x80 | ((code >> 6) & 0x3F));
		buffer[2] = char(0x80 | (code & 0x3F));
		return 3;
	}
	if (code <= 0x10FFFF)
	{
		buffer[0] = char(0xF0 | (code >> 18));
		buffer[1] = char(0x80 | ((code >> 12) & 0x3F));
		buffer[2] = char(0x80 | ((code >> 6) & 0x3F));
		buffer[3] = char(0x80 | (code & 0x3F));
		return 4;
	}
	// No character lies above this; nothing is written.
	return 0;
}
