#include "description/Literals.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <utility>

const uint8_t kCharacterClass[256] =
{
	0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
	0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
	0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
	1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0,
	0, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,
	1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 1,
	0, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,
	1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 2,
	2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2,
	2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2,
	2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2,
	2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2,
	2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2,
	2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2,
	2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2,
	2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2
};

struct DataTypeName
{
	const char* name;
	uint32_t type;
};

// Every spelling of each primitive type; the spellings of one code mean the same.
static const DataTypeName kDataTypeNames[] =
{
	{"bool", 'BOOL'}, {"b", 'BOOL'},
	{"int8", 'INT8'}, {"i8", 'INT8'},
	{"int16", 'IN16'}, {"i16", 'IN16'},
	{"int32", 'IN32'}, {"i32", 'IN32'},
	{"int64", 'IN64'}, {"i64", 'IN64'},
	{"unsigned_int8", 'UIN8'}, {"uint8", 'UIN8'}, {"u8", 'UIN8'},
	{"unsigned_int16", 'UI16'}, {"uint16", 'UI16'}, {"u16", 'UI16'},
	{"unsigned_int32", 'UI32'}, {"uint32", 'UI32'}, {"u32", 'UI32'},
	{"unsigned_int64", 'UI64'}, {"uint64", 'UI64'}, {"u64", 'UI64'},
	{"half", 'HALF'}, {"h", 'HALF'}, {"float16", 'HALF'}, {"f16", 'HALF'},
	{"float", 'FLOT'}, {"f", 'FLOT'}, {"float32", 'FLOT'}, {"f32", 'FLOT'},
	{"double", 'DOUB'}, {"d", 'DOUB'}, {"float64", 'DOUB'}, {"f64", 'DOUB'},
	{"string", 'STRG'}, {"s", 'STRG'},
	{"ref", 'RFNC'}, {"r", 'RFNC'},
	{"type", 'TYPE'}, {"t", 'TYPE'},
	{"base64", 'BS64'}, {"z", 'BS64'}
};

// The longest spelling above, "unsigned_int16".
static const int32_t kLongestTypeName = 14;

// 10^-308 to 10^308, written out so each entry is the correctly rounded double.
static const double kPowersOfTen[617] =
{
	1e-308, 1e-307, 1e-306, 1e-305, 1e-304, 1e-303, 1e-302, 1e-301, 1e-300, 1e-299,
	1e-298, 1e-297, 1e-296, 1e-295, 1e-294, 1e-293, 1e-292, 1e-291, 1e-290, 1e-289,
	1e-288, 1e-287, 1e-286, 1e-285, 1e-284, 1e-283, 1e-282, 1e-281, 1e-280, 1e-279,
	1e-278, 1e-277, 1e-276, 1e-275, 1e-274, 1e-273, 1e-272, 1e-271, 1e-270, 1e-269,
	1e-268, 1e-267, 1e-266, 1e-265, 1e-264, 1e-263, 1e-262, 1e-261, 1e-260, 1e-259,
	1e-258, 1e-257, 1e-256, 1e-255, 1e-254, 1e-253, 1e-252, 1e-251, 1e-250, 1e-249,
	1e-248, 1e-247, 1e-246, 1e-245, 1e-244, 1e-243, 1e-242, 1e-241, 1e-240, 1e-239,
	1e-238, 1e-237, 1e-236, 1e-235, 1e-234, 1e-233, 1e-232, 1e-231, 1e-230, 1e-229,
	1e-228, 1e-227, 1e-226, 1e-225, 1e-224, 1e-223, 1e-222, 1e-221, 1e-220, 1e-219,
	1e-218, 1e-217, 1e-216, 1e-215, 1e-214, 1e-213, 1e-212, 1e-211, 1e-210, 1e-209,
	1e-208, 1e-207, 1e-206, 1e-205, 1e-204, 1e-203, 1e-202, 1e-201, 1e-200, 1e-199,
	1e-198, 1e-197, 1e-196, 1e-195, 1e-194, 1e-193, 1e-192, 1e-191, 1e-190, 1e-189,
	1e-188, 1e-187, 1e-186, 1e-185, 1e-184, 1e-183, 1e-182, 1e-181, 1e-180, 1e-179,
	1e-178, 1e-177, 1e-176, 1e-175, 1e-174, 1e-173, 1e-172, 1e-171, 1e-170, 1e-169,
	1e-168, 1e-167, 1e-166, 1e-165, 1e-164, 1e-163, 1e-162, 1e-161, 1e-160, 1e-159,
	1e-158, 1e-157, 1e-156, 1e-155, 1e-154, 1e-153, 1e-152, 1e-151, 1e-150, 1e-149,
	1e-148, 1e-147, 1e-146, 1e-145, 1e-144, 1e-143, 1e-142, 1e-141, 1e-140, 1e-139,
	1e-138, 1e-137, 1e-136, 1e-135, 1e-134, 1e-133, 1e-132, 1e-131, 1e-130, 1e-129,
	1e-128, 1e-127, 1e-126, 1e-125, 1e-124, 1e-123, 1e-122, 1e-121, 1e-120, 1e-119,
	1e-118, 1e-117, 1e-116, 1e-115, 1e-114, 1e-113, 1e-112, 1e-111, 1e-110, 1e-109,
	1e-108, 1e-107, 1e-106, 1e-105, 1e-104, 1e-103, 1e-102, 1e-101, 1e-100, 1e-99,
	1e-98, 1e-97, 1e-96, 1e-95, 1e-94, 1e-93, 1e-92, 1e-91, 1e-90, 1e-89,
	1e-88, 1e-87, 1e-86, 1e-85, 1e-84, 1e-83, 1e-82, 1e-81, 1e-80, 1e-79,
	1e-78, 1e-77, 1e-76, 1e-75, 1e-74, 1e-73, 1e-72, 1e-71, 1e-70, 1e-69,
	1e-68, 1e-67, 1e-66, 1e-65, 1e-64, 1e-63, 1e-62, 1e-61, 1e-60, 1e-59,
	1e-58, 1e-57, 1e-56, 1e-55, 1e-54, 1e-53, 1e-52, 1e-51, 1e-50, 1e-49,
	1e-48, 1e-47, 1e-46, 1e-45, 1e-44, 1e-43, 1e-42, 1e-41, 1e-40, 1e-39,
	1e-38, 1e-37, 1e-36, 1e-35, 1e-34, 1e-33, 1e-32, 1e-31, 1e-30, 1e-29,
	1e-28, 1e-27, 1e-26, 1e-25, 1e-24, 1e-23, 1e-22, 1e-21, 1e-20, 1e-19,
	1e-18, 1e-17, 1e-16, 1e-15, 1e-14, 1e-13, 1e-12, 1e-11, 1e-10, 1e-9,
	1e-8, 1e-7, 1e-6, 1e-5, 1e-4, 1e-3, 1e-2, 1e-1, 1e0, 1e1,
	1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9, 1e10, 1e11,
	1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21,
	1e22, 1e23, 1e24, 1e25, 1e26, 1e27, 1e28, 1e29, 1e30, 1e31,
	1e32, 1e33, 1e34, 1e35, 1e36, 1e37, 1e38, 1e39, 1e40, 1e41,
	1e42, 1e43, 1e44, 1e45, 1e46, 1e47, 1e48, 1e49, 1e50, 1e51,
	1e52, 1e53, 1e54, 1e55, 1e56, 1e57, 1e58, 1e59, 1e60, 1e61,
	1e62, 1e63, 1e64, 1e65, 1e66, 1e67, 1e68, 1e69, 1e70, 1e71,
	1e72, 1e73, 1e74, 1e75, 1e76, 1e77, 1e78, 1e79, 1e80, 1e81,
	1e82, 1e83, 1e84, 1e85, 1e86, 1e87, 1e88, 1e89, 1e90, 1e91,
	1e92, 1e93, 1e94, 1e95, 1e96, 1e97, 1e98, 1e99, 1e100, 1e101,
	1e102, 1e103, 1e104, 1e105, 1e106, 1e107, 1e108, 1e109, 1e110, 1e111,
	1e112, 1e113, 1e114, 1e115, 1e116, 1e117, 1e118, 1e119, 1e120, 1e121,
	1e122, 1e123, 1e124, 1e125, 1e126, 1e127, 1e128, 1e129, 1e130, 1e131,
	1e132, 1e133, 1e134, 1e135, 1e136, 1e137, 1e138, 1e139, 1e140, 1e141,
	1e142, 1e143, 1e144, 1e145, 1e146, 1e147, 1e148, 1e149, 1e150, 1e151,
	1e152, 1e153, 1e154, 1e155, 1e156, 1e157, 1e158, 1e159, 1e160, 1e161,
	1e162, 1e163, 1e164, 1e165, 1e166, 1e167, 1e168, 1e169, 1e170, 1e171,
	1e172, 1e173, 1e174, 1e175, 1e176, 1e177, 1e178, 1e179, 1e180, 1e181,
	1e182, 1e183, 1e184, 1e185, 1e186, 1e187, 1e188, 1e189, 1e190, 1e191,
	1e192, 1e193, 1e194, 1e195, 1e196, 1e197, 1e198, 1e199, 1e200, 1e201,
	1e202, 1e203, 1e204, 1e205, 1e206, 1e207, 1e208, 1e209, 1e210, 1e211,
	1e212, 1e213, 1e214, 1e215, 1e216, 1e217, 1e218, 1e219, 1e220, 1e221,
	1e222, 1e223, 1e224, 1e225, 1e226, 1e227, 1e228, 1e229, 1e230, 1e231,
	1e232, 1e233, 1e234, 1e235, 1e236, 1e237, 1e238, 1e239, 1e240, 1e241,
	1e242, 1e243, 1e244, 1e245, 1e246, 1e247, 1e248, 1e249, 1e250, 1e251,
	1e252, 1e253, 1e254, 1e255, 1e256, 1e257, 1e258, 1e259, 1e260, 1e261,
	1e262, 1e263, 1e264, 1e265, 1e266, 1e267, 1e268, 1e269, 1e270, 1e271,
	1e272, 1e273, 1e274, 1e275, 1e276, 1e277, 1e278, 1e279, 1e280, 1e281,
	1e282, 1e283, 1e284, 1e285, 1e286, 1e287, 1e288, 1e289, 1e290, 1e291,
	1e292, 1e293, 1e294, 1e295, 1e296, 1e297, 1e298, 1e299, 1e300, 1e301,
	1e302, 1e303, 1e304, 1e305, 1e306, 1e307, 1e308,
};

// The largest string the reader builds; String counts its length in 32 bits.
static const int64_t kStringLimit = 0x7FFFFF00;

// Results of DecodeEscape besides 0.
static const int32_t kEscapeBad = 1;
static const int32_t kEscapeEnd = 2;

BinaryData::~BinaryData()
{
	std::free(data);
}

BinaryData::BinaryData(BinaryData&& other) : data(other.data), size(other.size)
{
	other.data = nullptr;
	other.size = 0;
}

BinaryData& BinaryData::operator=(BinaryData&& other)
{
	if (this != &other)
	{
		std::free(data);
		data = other.data;
		size = other.size;
		other.data = nullptr;
		other.size = 0;
	}
	return *this;
}

void BinaryData::Clear()
{
	std::free(data);
	data = nullptr;
	size = 0;
}

const char* SkipWhitespace(const char* text)
{
	for (;;)
	{
		uint8_t c = uint8_t(text[0]);
		if (c == 0) return text;
		if (c <= 32)
		{
			text++;
		}
		else if ((c == '/') && (text[1] == '/'))
		{
			text += 2;
			while (*text != 0)
			{
				if (*text++ == '\n') break;
			}
		}
		else if ((c == '/') && (text[1] == '*'))
		{
			text += 2;
			for (;;)
			{
				if (*text == 0) return text;
				if ((text[0] == '*') && (text[1] == '/'))
				{
					text += 2;
					break;
				}
				text++;
			}
		}
		else
		{
			return text;
		}
	}
}

uint32_t ReadIdentifier(const char* text, int32_t* length, String* target)
{
	uint8_t first = uint8_t(text[0]);
	uint8_t firstClass = kCharacterClass[first];
	if (firstClass == 0) return 'IDEM';
	if ((firstClass == 2) || ((first >= '0') && (first <= '9'))) return 'IDIC';

	// The count stays below the 32-bit limit; an identifier that long is refused.
	int32_t count = 1;
	while ((count < 0x7FFFFFFF) && (kCharacterClass[uint8_t(text[count])] == 1)) count++;
	if (kCharacterClass[uint8_t(text[count])] != 0) return 'IDIC';

	if (length) *length = count;
	if (target) target->Assign(text, count);
	return 0;
}

uint32_t ReadDataType(const char* text, int32_t* length, uint32_t* type)
{
	int32_t count = 0;
	while ((count <= kLongestTypeName) && (kCharacterClass[uint8_t(text[count])] == 1)) count++;
	if ((count == 0) || (count > kLongestTypeName) || (kCharacterClass[uint8_t(text[count])] != 0)) return 'TYIV';

	for (const DataTypeName& entry : kDataTypeNames)
	{
		if ((int32_t(std::strlen(entry.name)) == count) && (std::memcmp(entry.name, text, size_t(count)) == 0))
		{
			if (length) *length = count;
			if (type) *type = entry.type;
			return 0;
		}
	}

	return 'TYIV';
}

uint32_t ReadBool(const char** text, bool* value)
{
	const char* s = *text;
	bool result = false;
	int32_t length = 0;

	// strncmp stops at the NUL, so a short text is never read past.
	if (std::strncmp(s, "true", 4) == 0)
	{
		result = true;
		length = 4;
	}
	else if (std::strncmp(s, "false", 5) == 0)
	{
		length = 5;
	}
	else if ((s[0] == '1') || (s[0] == '0'))
	{
		result = (s[0] == '1');
		length = 1;
	}

	if ((length == 0) || (kCharacterClass[uint8_t(s[length])] != 0)) return 'BLIV';

	if (value) *value = result;
	*text = SkipWhitespace(s + length);
	return 0;
}

// The value of a hexadecimal digit, or 16 and above for anything else.
static uint32_t DigitValue(uint8_t c)
{
	if ((c >= '0') && (c <= '9')) return uint32_t(c - '0');
	if ((c >= 'a') && (c <= 'f')) return uint32_t(c - 'a' + 10);
	if ((c >= 'A') && (c <= 'F')) return uint32_t(c - 'A' + 10);
	return 99;
}

static bool IsDecimalDigit(uint8_t c)
{
	return ((c >= '0') && (c <= '9'));
}

// Digits of one base with single underscores between two digits. 'SYNT' for no
// digit or a misplaced underscore, 'INOV' beyond 64 bits.
static uint32_t ReadDigits(const char** text, uint32_t base, uint64_t* value)
{
	const char* s = *text;
	if (DigitValue(uint8_t(s[0])) >= base) return 'SYNT';

	uint64_t result = 0;
	for (;;)
	{
		uint32_t digit = DigitValue(uint8_t(s[0]));
		if (digit < base)
		{
			if (result > (UINT64_MAX - digit) / base) return 'INOV';
			result = result * base + digit;
			s++;
		}
		else if (s[0] == '_')
		{
			if (DigitValue(uint8_t(s[1])) >= base) return 'SYNT';
			s++;
		}
		else
		{
			break;
		}
	}

	*value = result;
	*text = s;
	return 0;
}

// The base named by a 0x, 0o or 0b prefix at `s`, or 0 without one.
static uint32_t PrefixBase(const char* s)
{
	if (s[0] != '0') return 0;
	char p = s[1];
	if ((p == 'x') || (p == 'X')) return 16;
	if ((p == 'o') || (p == 'O')) return 8;
	if ((p == 'b') || (p == 'B')) return 2;
	return 0;
}

static int32_t SimpleEscape(uint8_t c)
{
	switch (c)
	{
		case '"': return '"';
		case '\'': return '\'';
		case '?': return '?';
		case '\\': return '\\';
		case 'a': return 7;
		case 'b': return 8;
		case 'f': return 12;
		case 'n': return 10;
		case 'r': return 13;
		case 't': return 9;
		case 'v': return 11;
	}
	return -1;
}

// Decodes the escape whose backslash is at `s`: a byte for the simple and \xHH
// forms, with `unicode` also a code point for \uHHHH and \UHHHHHH. Returns 0,
// kEscapeBad or kEscapeEnd when the text ends inside the escape.
static int32_t DecodeEscape(const char* s, bool unicode, uint32_t* code, int32_t* advance)
{
	uint8_t e = uint8_t(s[1]);
	if (e == 0) return kEscapeEnd;

	int32_t simple = SimpleEscape(e);
	if (simple >= 0)
	{
		*code = uint32_t(simple);
		*advance = 2;
		return 0;
	}

	int32_t digitCount = 0;
	if (e == 'x') digitCount = 2;
	else if (unicode && (e == 'u')) digitCount = 4;
	else if (unicode && (e == 'U')) digitCount = 6;
	else return kEscapeBad;

	uint32_t value = 0;
	for (int32_t i = 0; i < digitCount; i++)
	{
		uint8_t c = uint8_t(s[2 + i]);
		if (c == 0) return kEscapeEnd;
		uint32_t digit = DigitValue(c);
		if (digit >= 16) return kEscapeBad;
		value = value * 16 + digit;
	}

	if ((e != 'x') && ((value == 0) || (value > 0x10FFFF))) return kEscapeBad;

	*code = value;
	*advance = 2 + digitCount;
	return 0;
}

// A character literal from its opening quote: each character becomes the low
// byte of the value, up to eight of them.
static uint32_t ReadCharacterLiteral(const char** text, uint64_t* value)
{
	const char* s = *text + 1;
	uint64_t result = 0;
	int32_t count = 0;

	for (;;)
	{
		uint8_t c = uint8_t(s[0]);
		if (c == 0) return 'CHEF';
		if (c == '\'')
		{
			s++;
			break;
		}

		uint32_t byte = c;
		if (c == '\\')
		{
			int32_t advance = 0;
			int32_t escape = DecodeEscape(s, false, &byte, &advance);
			if (escape == kEscapeEnd) return 'CHEF';
			if (escape != 0) return 'CHIE';
			s += advance;
		}
		else if ((c < 32) || (c > 126))
		{
			return 'CHIC';
		}
		else
		{
			s++;
		}

		if (count == 8) return 'INOV';
		result = (result << 8) | byte;
		count++;
	}

	*value = result;
	*text = s;
	return 0;
}

// The unsigned number forms: prefixed digits, a character literal or decimal digits.
static uint32_t ReadUnsignedCore(const char** text, uint64_t* value)
{
	const char* s = *text;
	uint32_t base = PrefixBase(s);
	uint32_t result = 0;

	if (base != 0)
	{
		s += 2;
		result = ReadDigits(&s, base, value);
	}
	else if (s[0] == '\'')
	{
		result = ReadCharacterLiteral(&s, value);
	}
	else
	{
		result = ReadDigits(&s, 10, value);
	}

	if (result != 0) return result;
	*text = s;
	return 0;
}

// One optional sign, then any whitespace and comments before the number.
static const char* ReadSign(const char* s, bool* negative)
{
	*negative = (s[0] == '-');
	if ((s[0] == '-') || (s[0] == '+')) return SkipWhitespace(s + 1);
	return s;
}

// `positiveLimit` is the largest value of the type; its negative limit is one further.
static uint32_t ReadSignedInteger(const char** text, uint64_t positiveLimit, int64_t* value)
{
	bool negative = false;
	const char* s = ReadSign(*text, &negative);

	uint64_t magnitude = 0;
	uint32_t result = ReadUnsignedCore(&s, &magnitude);
	if (result != 0) return result;

	uint64_t limit = (negative) ? positiveLimit + 1 : positiveLimit;
	if (magnitude > limit) return 'INOV';

	// Modular conversion, so the magnitude 2^63 of the lowest int64 comes out right.
	*value = (negative) ? int64_t(0 - magnitude) : int64_t(magnitude);
	*text = SkipWhitespace(s);
	return 0;
}

// Deliberate: unsigned readers never check the range. The value is negated if
// negative and then cut to the width by the caller, so 300 as uint8 is 44 and -1 is 255.
static uint32_t ReadUnsignedInteger(const char** text, uint64_t* value)
{
	bool negative = false;
	const char* s = ReadSign(*text, &negative);

	uint64_t magnitude = 0;
	uint32_t result = ReadUnsignedCore(&s, &magnitude);
	if (result != 0) return result;

	*value = (negative) ? 0 - magnitude : magnitude;
	*text = SkipWhitespace(s);
	return 0;
}

uint32_t ReadInt8(const char** text, int8_t* value)
{
	int64_t number = 0;
	uint32_t result = ReadSignedInteger(text, 127, &number);
	if ((result == 0) && (value)) *value = int8_t(number);
	return result;
}

uint32_t ReadInt16(const char** text, int16_t* value)
{
	int64_t number = 0;
	uint32_t result = ReadSignedInteger(text, 32767, &number);
	if ((result == 0) && (value)) *value = int16_t(number);
	return result;
}

uint32_t ReadInt32(const char** text, int32_t* value)
{
	int64_t number = 0;
	uint32_t result = ReadSignedInteger(text, 2147483647, &number);
	if ((result == 0) && (value)) *value = int32_t(number);
	return result;
}

uint32_t ReadInt64(const char** text, int64_t* value)
{
	int64_t number = 0;
	uint32_t result = ReadSignedInteger(text, 9223372036854775807ULL, &number);
	if ((result == 0) && (value)) *value = number;
	return result;
}

uint32_t ReadUnsignedInt8(const char** text, uint8_t* value)
{
	uint64_t number = 0;
	uint32_t result = ReadUnsignedInteger(text, &number);
	if ((result == 0) && (value)) *value = uint8_t(number);
	return result;
}

uint32_t ReadUnsignedInt16(const char** text, uint16_t* value)
{
	uint64_t number = 0;
	uint32_t result = ReadUnsignedInteger(text, &number);
	if ((result == 0) && (value)) *value = uint16_t(number);
	return result;
}

uint32_t ReadUnsignedInt32(const char** text, uint32_t* value)
{
	uint64_t number = 0;
	uint32_t result = ReadUnsignedInteger(text, &number);
	if ((result == 0) && (value)) *value = uint32_t(number);
	return result;
}

uint32_t ReadUnsignedInt64(const char** text, uint64_t* value)
{
	uint64_t number = 0;
	uint32_t result = ReadUnsignedInteger(text, &number);
	if ((result == 0) && (value)) *value = number;
	return result;
}

// 10^e from the table; beyond it infinity above and 0.0 below.
static double PowerOfTen(int32_t e)
{
	if (e > 308) return HUGE_VAL;
	if (e < -308) return 0.0;
	return kPowersOfTen[e + 308];
}

// Walks a run of decimal digits with single underscores between two digits,
// handing each digit to `take`. False for a misplaced underscore.
template <typename Take>
static bool ReadDecimalRun(const char** text, bool* found, Take take)
{
	const char* s = *text;
	if (s[0] == '_') return false;
	for (;;)
	{
		if (IsDecimalDigit(uint8_t(s[0])))
		{
			take(uint32_t(s[0] - '0'));
			*found = true;
			s++;
		}
		else if (s[0] == '_')
		{
			if (!IsDecimalDigit(uint8_t(s[1]))) return false;
			s++;
		}
		else
		{
			break;
		}
	}
	*text = s;
	return true;
}

// The decimal float form, accumulated in a double.
static uint32_t ReadDecimalFloat(const char** text, double* number)
{
	const char* s = *text;
	double value = 0.0;
	bool integerDigits = false;
	bool fractionDigits = false;

	if (!ReadDecimalRun(&s, &integerDigits, [&](uint32_t digit) { value = value * 10.0 + double(digit); })) return 'FLIV';

	if (s[0] == '.')
	{
		s++;
		// The place counter stops at 309, where the power is infinite and a digit adds nothing.
		int32_t place = 0;
		auto addFraction = [&](uint32_t digit)
		{
			if (place < 309) place++;
			value = value + double(digit) / PowerOfTen(place);
		};
		if (!ReadDecimalRun(&s, &fractionDigits, addFraction)) return 'FLIV';
	}

	if (!integerDigits && !fractionDigits) return 'FLIV';

	if ((s[0] == 'e') || (s[0] == 'E'))
	{
		s++;
		bool negativeExponent = (s[0] == '-');
		if ((s[0] == '-') || (s[0] == '+')) s++;

		// The exponent is held in 16 bits, clamped at 65535.
		int32_t exponent = 0;
		bool exponentDigits = false;
		auto addExponent = [&](uint32_t digit)
		{
			exponent = exponent * 10 + int32_t(digit);
			if (exponent > 65535) exponent = 65535;
		};
		if (!ReadDecimalRun(&s, &exponentDigits, addExponent)) return 'FLIV';
		if (!exponentDigits) return 'FLIV';

		// Deliberate: the power is taken as it stands, so 0e400 is 0 times
		// infinity and reads as NaN, while 1e400 is infinity and 1e-400 is 0.
		value = value * PowerOfTen((negativeExponent) ? -exponent : exponent);
	}

	*number = value;
	*text = s;
	return 0;
}

// The sign, then a raw bit pattern (`*raw` set) or a decimal value. A malformed
// raw form is a malformed float; overflow of 64 bits passes through as 'INOV'.
static uint32_t ReadFloatForms(const char** text, bool* negative, bool* raw, uint64_t* bits, double* number)
{
	const char* s = ReadSign(*text, negative);
	uint32_t base = PrefixBase(s);

	if (base != 0)
	{
		s += 2;
		uint32_t result = ReadDigits(&s, base, bits);
		if (result == 'SYNT') return 'FLIV';
		if (result != 0) return result;
		*raw = true;
	}
	else
	{
		uint32_t result = ReadDecimalFloat(&s, number);
		if (result != 0) return result;
		*raw = false;
	}

	*text = s;
	return 0;
}

// Rounds a double to the nearest half, ties to even, straight from the double's
// bits so that no value is rounded twice. Values below the smallest normal half
// become half subnormals, since the half is stored and never computed with.
static uint16_t DoubleToHalf(double number)
{
	uint64_t bits = 0;
	std::memcpy(&bits, &number, sizeof(bits));

	uint32_t sign = uint32_t(bits >> 48) & 0x8000;
	int32_t exponentField = int32_t((bits >> 52) & 0x7FF);
	uint64_t fraction = bits & 0x000FFFFFFFFFFFFFULL;

	if (exponentField == 0x7FF) return uint16_t(sign | ((fraction != 0) ? 0x7E00 : 0x7C00));
	// Zero, and double subnormals, which lie far below the smallest half.
	if (exponentField == 0) return uint16_t(sign);

	int32_t exponent = exponentField - 1023;
	if (exponent > 15) return uint16_t(sign | 0x7C00);

	uint64_t significand = fraction | (uint64_t(1) << 52);
	int32_t shift = 42;
	uint32_t base = uint32_t(exponent + 14) << 10;
	if (exponent < -14)
	{
		shift = 42 + (-14 - exponent);
		base = 0;
		if (shift > 63) return uint16_t(sign);
	}

	uint64_t kept = significand >> shift;
	uint64_t rest = significand & ((uint64_t(1) << shift) - 1);
	uint64_t halfway = uint64_t(1) << (shift - 1);
	if ((rest > halfway) || ((rest == halfway) && ((kept & 1) != 0))) kept++;

	// A carry out of the significand moves into the exponent; from 65520 on it
	// reaches 0x7C00, which is infinity.
	return uint16_t(sign | (base + uint32_t(kept)));
}

// The bit pattern of a float literal at `width` bits: 16, 32 or 64. Raw forms
// wider than the type give 'FLOV'; for doubles they fill all 64 bits, so their
// only overflow is the integer 'INOV'. The sign flips the top bit.
static uint32_t ReadFloatPattern(const char** text, int32_t width, uint64_t* pattern)
{
	const char* s = *text;
	bool negative = false;
	bool raw = false;
	uint64_t bits = 0;
	double number = 0.0;

	uint32_t result = ReadFloatForms(&s, &negative, &raw, &bits, &number);
	if (result == 'INOV' && width < 64) return 'FLOV';
	if (result != 0) return result;

	if (raw)
	{
		if (width < 64 && (bits >> width) != 0) return 'FLOV';
	}
	else if (width == 16)
	{
		bits = DoubleToHalf(number);
	}
	else if (width == 32)
	{
		float rounded = float(number);
		uint32_t single = 0;
		std::memcpy(&single, &rounded, sizeof(single));
		bits = single;
	}
	else
	{
		std::memcpy(&bits, &number, sizeof(bits));
	}
	if (negative) bits ^= uint64_t(1) << (width - 1);

	*pattern = bits;
	*text = SkipWhitespace(s);
	return 0;
}

uint32_t ReadHalf(const char** text, uint16_t* value)
{
	uint64_t bits = 0;
	uint32_t result = ReadFloatPattern(text, 16, &bits);
	if (result == 0 && value) *value = uint16_t(bits);
	return result;
}

uint32_t ReadFloat(const char** text, float* value)
{
	uint64_t bits = 0;
	uint32_t result = ReadFloatPattern(text, 32, &bits);
	if (result == 0 && value)
	{
		uint32_t single = uint32_t(bits);
		std::memcpy(value, &single, sizeof(single));
	}
	return result;
}

uint32_t ReadDouble(const char** text, double* value)
{
	uint64_t bits = 0;
	uint32_t result = ReadFloatPattern(text, 64, &bits);
	if (result == 0 && value) std::memcpy(value, &bits, sizeof(bits));
	return result;
}

// One part of a string, from its opening quote to behind its closing one. With
// a null `output` it checks and measures; otherwise it copies what the checking
// pass has measured, so both passes walk the same bytes.
static uint32_t ScanStringPart(const char** text, char* output, int64_t* length)
{
	const uint8_t* s = reinterpret_cast<const uint8_t*>(*text) + 1;
	int64_t count = 0;

	for (;;)
	{
		uint8_t c = s[0];
		if (c == '"')
		{
			s++;
			break;
		}
		if (c == 0) return 'STIV';

		if (c == '\\')
		{
			uint32_t code = 0;
			int32_t advance = 0;
			int32_t escape = DecodeEscape(reinterpret_cast<const char*>(s), true, &code, &advance);
			if (escape == kEscapeEnd) return 'STIV';
			if (escape != 0) return 'STIE';
			// A string cannot hold a zero byte, so \x00 is refused like \u0000.
			if (code == 0) return 'STIE';

			char bytes[4];
			int32_t byteCount = 1;
			bytes[0] = char(code);
			// Deliberate: \u and \U encode any value from 1 to 0x10FFFF, surrogates
			// included, just as \xHH may write any byte.
			if ((s[1] == 'u') || (s[1] == 'U')) byteCount = EncodeUtf8(bytes, code);

			if (output) std::memcpy(output + count, bytes, size_t(byteCount));
			count += byteCount;
			s += advance;
		}
		else if ((c < 32) || (c == 127))
		{
			return 'STIC';
		}
		else if (c < 128)
		{
			if (output) output[count] = char(c);
			count++;
			s++;
		}
		else
		{
			// A lead byte of 128 or above: a well-formed sequence of 2 to 4 bytes,
			// checked byte by byte so a NUL ends the check.
			int32_t sequence = Utf8Length(reinterpret_cast<const char*>(s));
			if (sequence == 0) return 'STIC';
			if (output) std::memcpy(output + count, s, size_t(sequence));
			count += sequence;
			s += sequence;
		}

		if (count > kStringLimit) return 'STIV';
	}

	*length = count;
	*text = reinterpret_cast<const char*>(s);
	return 0;
}

uint32_t ReadString(const char** text, String* value)
{
	const char* s = *text;
	if (s[0] != '"') return 'STIV';

	int64_t total = 0;
	for (;;)
	{
		int64_t length = 0;
		uint32_t result = ScanStringPart(&s, nullptr, &length);
		if (result != 0) return result;
		total += length;
		if (total > kStringLimit) return 'STIV';

		s = SkipWhitespace(s);
		if (s[0] != '"') break;
	}

	if (value)
	{
		Array<char, 64> buffer;
		buffer.SetCount(int32_t(total + 1));

		const char* part = *text;
		char* output = buffer.GetData();
		for (;;)
		{
			int64_t length = 0;
			ScanStringPart(&part, output, &length);
			output += length;
			part = SkipWhitespace(part);
			if (part[0] != '"') break;
		}

		value->Assign(buffer.GetData(), int32_t(total));
	}

	*text = s;
	return 0;
}

uint32_t ReadReference(const char** text, Reference* value)
{
	const char* s = *text;
	Reference reference;

	if ((s[0] == 'n') && (std::strncmp(s, "null", 4) == 0) && (kCharacterClass[uint8_t(s[4])] == 0))
	{
		s += 4;
	}
	else
	{
		// '&' is a global reference, the same as '$' or no mark at all.
		if (s[0] == '%')
		{
			reference.globalFlag = false;
			s++;
		}
		else if ((s[0] == '$') || (s[0] == '&'))
		{
			s++;
		}

		for (;;)
		{
			int32_t length = 0;
			String* name = (value) ? &reference.names.AddNew() : nullptr;
			if (ReadIdentifier(s, &length, name) != 0) return 'RFIV';
			s = SkipWhitespace(s + length);
			if (s[0] != '%') break;
			s++;
		}
	}

	if (value) *value = std::move(reference);
	*text = SkipWhitespace(s);
	return 0;
}

uint32_t ReadTypeLiteral(const char** text, uint32_t* value)
{
	int32_t length = 0;
	uint32_t type = 0;
	uint32_t result = ReadDataType(*text, &length, &type);
	if (result != 0) return result;

	if (value) *value = type;
	*text = SkipWhitespace(*text + length);
	return 0;
}

// The value of a base64 character, or -1 outside the alphabet.
static int32_t Base64Value(uint8_t c)
{
	if ((c >= 'A') && (c <= 'Z')) return c - 'A';
	if ((c >= 'a') && (c <= 'z')) return c - 'a' + 26;
	if ((c >= '0') && (c <= '9')) return c - '0' + 52;
	if (c == '+') return 62;
	if (c == '/') return 63;
	return -1;
}

uint32_t ReadBase64(const char** text, BinaryData* value)
{
	const char* s = *text;
	int64_t count = 0;
	for (;;)
	{
		uint8_t c = uint8_t(s[0]);
		if (Base64Value(c) >= 0) count++;
		else if ((c == 0) || (c > 32)) break;
		s++;
	}
	const char* dataEnd = s;

	int64_t remainder = count % 4;
	if (remainder == 1) return 'BSIV';
	// The byte count is held in 32 bits.
	if (count * 6 / 8 > 0x7FFFFFFF) return 'BSIV';

	s = SkipWhitespace(s);
	if (s[0] == '=')
	{
		if (remainder == 0) return 'BSIV';
		s = SkipWhitespace(s + 1);
		if (s[0] == '=')
		{
			if (remainder == 3) return 'BSIV';
			s = SkipWhitespace(s + 1);
		}
	}

	if (value)
	{
		int32_t size = int32_t(count * 6 / 8);
		uint8_t* data = nullptr;
		if (size > 0)
		{
			data = static_cast<uint8_t*>(std::malloc(size_t(size)));
			if (!data) std::abort();
		}

		uint32_t accumulator = 0;
		int32_t bitCount = 0;
		int32_t written = 0;
		for (const char* p = *text; p < dataEnd; p++)
		{
			int32_t sextet = Base64Value(uint8_t(p[0]));
			if (sextet < 0) continue;
			accumulator = (accumulator << 6) | uint32_t(sextet);
			bitCount += 6;
			if (bitCount >= 8)
			{
				bitCount -= 8;
				data[written++] = uint8_t(accumulator >> bitCount);
				accumulator &= (uint32_t(1) << bitCount) - 1;
			}
		}

		value->Clear();
		value->data = data;
		value->size = size;
	}

	*text = s;
	return 0;
}
