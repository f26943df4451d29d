// The element loop of the SVG importer, its attribute and number readers, and the style stack.
#include "svg/SvgImporter.h"

#include <cstring>

#include "document/Shapes.h"
#include "document/VectorStructure.h"

// Nearest floats to the powers of ten that a short exponent can ask for.
static const float kPowersOfTen[16] =
{
	1e0f, 1e1f, 1e2f, 1e3f, 1e4f, 1e5f, 1e6f, 1e7f,
	1e8f, 1e9f, 1e10f, 1e11f, 1e12f, 1e13f, 1e14f, 1e15f
};

static const float kInversePowersOfTen[16] =
{
	1e0f, 1e-1f, 1e-2f, 1e-3f, 1e-4f, 1e-5f, 1e-6f, 1e-7f,
	1e-8f, 1e-9f, 1e-10f, 1e-11f, 1e-12f, 1e-13f, 1e-14f, 1e-15f
};

static bool IsWhite(char c)
{
	return (uint8_t(c) >= 1) && (uint8_t(c) <= 32);
}

static bool IsDigit(char c)
{
	return (c >= '0') && (c <= '9');
}

static bool IsLetter(char c)
{
	return ((c >= 'a') && (c <= 'z')) || ((c >= 'A') && (c <= 'Z'));
}

static char LowerCase(char c)
{
	return ((c >= 'A') && (c <= 'Z')) ? char(c + 32) : c;
}

static bool IsAttributeNameByte(char c)
{
	return IsLetter(c) || IsDigit(c) || (c == ':') || (c == '_') || (c == '-');
}

SvgImporter::SvgImporter()
	: container(nullptr), gradient(nullptr), groupDepth(0), defsDepth(0), rootStructure(nullptr), skippedGroups(0), skippedFrames(0)
{
	for (float& value : viewRect) value = 0.0f;
}

SvgImporter::~SvgImporter()
{
	while (styleStack.GetCount() > 0) PopStyle();
	delete gradient;
	gradientMap.Purge();
}

int32_t SvgImporter::SkipSpace(const char* text)
{
	const char* p = text;
	while (IsWhite(*p)) p++;
	return int32_t(p - text);
}

int32_t SvgImporter::ReadFloat(const char* text, float* out)
{
	const char* p = text;
	bool negative = false;
	if ((*p == '-') || (*p == '+'))
	{
		negative = (*p == '-');
		p++;
	}

	float value = 0.0f;
	while (IsDigit(*p))
	{
		value = value * 10.0f + float(*p - '0');
		p++;
	}

	if (*p == '.')
	{
		p++;
		float divisor = 1.0f;
		while (IsDigit(*p))
		{
			value = value * 10.0f + float(*p - '0');
			divisor *= 10.0f;
			p++;
		}

		value = value / divisor;
	}

	if ((*p == 'e') || (*p == 'E'))
	{
		// The letter is consumed even without digits, so "10em" reads "10e".
		p++;
		bool negativeExponent = false;
		if ((*p == '-') || (*p == '+'))
		{
			negativeExponent = (*p == '-');
			p++;
		}

		// Digits beyond 16 change nothing, so the count stops growing there.
		int32_t exponent = 0;
		while (IsDigit(*p))
		{
			if (exponent < 16) exponent = exponent * 10 + (*p - '0');
			p++;
		}

		if (exponent < 16)
		{
			value *= negativeExponent ? kInversePowersOfTen[exponent] : kPowersOfTen[exponent];
		}
		else
		{
			// Deliberate: a long exponent gives 0 or the constant 1e16, whatever the digits.
			value = negativeExponent ? 0.0f : 1e16f;
		}
	}

	*out = negative ? -value : value;
	return int32_t(p - text);
}

int32_t SvgImporter::ReadInteger(const char* text, int32_t* out)
{
	const char* p = text;
	bool negative = false;
	if ((*p == '-') || (*p == '+'))
	{
		negative = (*p == '-');
		p++;
	}

	// Saturates instead of overflowing: a colour channel is clamped afterwards
	// anyway, so a huge value only has to stay huge.
	int64_t value = 0;
	while (IsDigit(*p))
	{
		if (value <= 0x7FFFFFFF) value = value * 10 + (*p - '0');
		p++;
	}

	if (negative) value = -value;
	if (value > 0x7FFFFFFF) value = 0x7FFFFFFF;
	if (value < -0x7FFFFFFF - 1) value = -0x7FFFFFFF - 1;
	*out = int32_t(value);
	return int32_t(p - text);
}

// Copies at most kSvgNameSize - 1 bytes of a name in lower case.
static void StoreName(const char* start, const char* end, char* name)
{
	int32_t length = 0;
	for (const char* p = start; (p < end) && (length < kSvgNameSize - 1); p++) name[length++] = LowerCase(*p);
	name[length] = 0;
}

bool SvgImporter::ReadAttribute(const char** cursor, char* name, const char** valueStart, int32_t* valueLength)
{
	const char* p = *cursor;
	if (IsDigit(*p)) return false;

	const char* nameStart = p;
	while (IsAttributeNameByte(*p)) p++;
	if (p == nameStart) return false;
	StoreName(nameStart, p, name);

	p += SkipSpace(p);
	if (*p != '=') return false;
	p++;
	p += SkipSpace(p);
	if (*p != '"') return false;
	p++;
	p += SkipSpace(p);

	const char* start = p;
	while (*p != '"')
	{
		if (*p == 0) return false;
		p++;
	}

	const char* end = p;
	while ((end > start) && IsWhite(end[-1])) end--;
	*valueStart = start;
	*valueLength = int32_t(end - start);

	p++;
	p += SkipSpace(p);
	*cursor = p;
	return true;
}

SvgStyle& SvgImporter::PushStyle()
{
	return styleStack.AddNew();
}

void SvgImporter::PopStyle()
{
	styleStack.RemoveLast();
}

SvgGradient* SvgImporter::FindGradient(const char* id) const
{
	SvgGradient* node = gradientMap.GetRoot();
	while (node)
	{
		int32_t order = std::strcmp(id, node->id);
		if (order == 0) return node;
		node = (order < 0) ? node->GetTreeLeft() : node->GetTreeRight();
	}

	return nullptr;
}

void SvgImporter::FinishGradient()
{
	SvgGradient* record = gradient;
	gradient = nullptr;
	if (!record) return;

	if (record->id.IsEmpty())
	{
		delete record;
		return;
	}

	// strcmp orders by unsigned bytes; the first definition of an id wins.
	SvgGradient* node = gradientMap.GetRoot();
	if (!node)
	{
		gradientMap.InsertRoot(record);
		return;
	}

	for (;;)
	{
		int32_t order = std::strcmp(record->id, node->id);
		if (order == 0)
		{
			delete record;
			return;
		}

		SvgGradient* next = (order < 0) ? node->GetTreeLeft() : node->GetTreeRight();
		if (!next)
		{
			if (order < 0) gradientMap.InsertLeft(node, record);
			else gradientMap.InsertRight(node, record);
			return;
		}

		node = next;
	}
}

void SvgImporter::OpenGroup(const char* cursor, const char* tagEnd)
{
	if (tagEnd[-1] == '/') return;

	int32_t level = 0;
	for (const Structure* node = container; node->GetSuperNode(); node = node->GetSuperNode()) level++;
	if ((level >= kMaxGroupLevel) || (styleStack.GetCount() >= kMaxStyleDepth))
	{
		// Too deep to keep: the content joins the current container.
		skippedGroups++;
		return;
	}

	SvgStyle& frame = PushStyle();
	bool layer = false;

	char name[kSvgNameSize];
	const char* value;
	int32_t length;
	while (ReadAttribute(&cursor, name, &value, &length))
	{
		if (std::strcmp(name, "id") == 0)
		{
			if (!container->GetSuperNode()) layer = (length >= 5) && TextPrefixNoCase(value, "layer", 5);
		}
		else
		{
			StoreStyleAttribute(name, value, length, &frame, false);
		}
	}

	if (layer && frame.slot[kStyleTransform].IsEmpty())
	{
		LayerStructure* layerStructure = new LayerStructure;
		container->AppendSubnode(layerStructure);
		container = layerStructure;
		AddOpacity(frame.slot[kStyleOpacity], layerStructure);
		return;
	}

	GroupStructure* group = new GroupStructure;
	container->AppendSubnode(group);
	container = group;
	AddTransforms(frame.slot[kStyleTransform], group);
	groupDepth++;
	AddOpacity(frame.slot[kStyleOpacity], group);
}

void SvgImporter::CloseGroup()
{
	if (skippedGroups > 0)
	{
		skippedGroups--;
		return;
	}

	// A </g> with no open group climbs out of the tree; appending then goes
	// on at the root, so the rest of the drawing is kept.
	Structure* parent = container->GetSuperNode();
	container = parent ? parent : rootStructure;
	groupDepth = (groupDepth - 1 > 0) ? groupDepth - 1 : 0;
	PopStyle();
}

uint32_t SvgImporter::Import(const char* text, Structure* root)
{
	rootStructure = root;
	container = root;
	delete gradient;
	gradient = nullptr;
	for (float& value : viewRect) value = 0.0f;
	groupDepth = 0;
	defsDepth = 0;
	skippedGroups = 0;
	skippedFrames = 0;

	bool result = true;
	if (!text || !root) return 0;

	const char* p = text;
	for (;;)
	{
		p += SkipSpace(p);
		if (*p != '<') break;

		if ((p[1] == '!') && (p[2] == '-') && (p[3] == '-'))
		{
			// Searching from the first '-' makes "<!-->" a whole comment.
			const char* q = p + 2;
			while (!((q[0] == '-') && (q[1] == '-') && (q[2] == '>')))
			{
				if (*q == 0) return result ? 0 : 'SVIV';
				q++;
			}

			// Deliberate: only white space may follow a comment; any other text ends the scan.
			p = q + 3;
			continue;
		}

		const char* q = p + 1;
		bool closing = false;
		if (*q == '/')
		{
			closing = true;
			q++;
		}

		// Element names are letters and digits only, so "svg:rect" reads as "svg".
		const char* nameStart = q;
		if (!IsDigit(*q))
		{
			while (IsLetter(*q) || IsDigit(*q)) q++;
		}

		char name[kSvgNameSize];
		StoreName(nameStart, q, name);

		const char* tagEnd = q;
		bool quoted = false;
		while (*tagEnd != 0)
		{
			if (*tagEnd == '"') quoted = !quoted;
			else if ((*tagEnd == '>') && !quoted) break;
			tagEnd++;
		}

		if (name[0] != 0)
		{
			if (closing)
			{
				if (std::strcmp(name, "g") == 0)
				{
					CloseGroup();
				}
				else if (std::strcmp(name, "svg") == 0)
				{
					if (skippedFrames > 0) skippedFrames--;
					else PopStyle();
				}
				else if (std::strcmp(name, "defs") == 0)
				{
					defsDepth = (defsDepth - 1 > 0) ? defsDepth - 1 : 0;
				}
				else if ((std::strcmp(name, "lineargradient") == 0) || (std::strcmp(name, "radialgradient") == 0))
				{
					FinishGradient();
				}
			}
			else
			{
				const char* cursor = q + SkipSpace(q);
				bool drawing = (defsDepth == 0);
				if (drawing && (std::strcmp(name, "svg") == 0))
				{
					result = ReadSvgRoot(cursor) && result;
				}
				else if (drawing && (std::strcmp(name, "line") == 0))
				{
					ReadLine(cursor);
				}
				else if (drawing && (std::strcmp(name, "rect") == 0))
				{
					ReadRect(cursor);
				}
				else if (drawing && (std::strcmp(name, "circle") == 0))
				{
					ReadCircle(cursor);
				}
				else if (drawing && (std::strcmp(name, "ellipse") == 0))
				{
					ReadEllipse(cursor);
				}
				else if (drawing && (std::strcmp(name, "polygon") == 0))
				{
					ReadPolygon(cursor, false);
				}
				else if (drawing && (std::strcmp(name, "polyline") == 0))
				{
					ReadPolygon(cursor, true);
				}
				else if (drawing && (std::strcmp(name, "path") == 0))
				{
					ReadPath(cursor);
				}
				else if (std::strcmp(name, "g") == 0)
				{
					OpenGroup(cursor, tagEnd);
				}
				else if (std::strcmp(name, "defs") == 0)
				{
					if (tagEnd[-1] != '/') defsDepth++;
				}
				else if (std::strcmp(name, "lineargradient") == 0)
				{
					delete gradient;
					gradient = new SvgGradient('LINR');
					ReadLinearGradient(cursor);
				}
				else if (std::strcmp(name, "radialgradient") == 0)
				{
					delete gradient;
					gradient = new SvgGradient('RADL');
					ReadRadialGradient(cursor);
				}
				else if ((std::strcmp(name, "stop") == 0) && gradient)
				{
					ReadStop(cursor);
				}
			}
		}

		// Text between tags is ignored.
		p = tagEnd;
		while ((*p != 0) && (*p != '<')) p++;
		if (*p == 0) break;
	}

	return result ? 0 : 'SVIV';
}
