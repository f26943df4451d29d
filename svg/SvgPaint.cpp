// Style frames, inheritance and the paint of shapes: Fill, Stroke, Color, Gradient, Dash and Opacity.
#include "svg/SvgImporter.h"

#include <cstring>

#include "description/Literals.h"
#include "description/Primitive.h"
#include "document/Attributes.h"

struct ColorName
{
	char name[21];
	uint8_t rgb[3];
};

// The colour keywords of SVG 1.1, both grey spellings included. Searched in
// order, without regard to case.
static const ColorName kColorNames[147] =
{
	{"aliceblue", {240, 248, 255}},
	{"antiquewhite", {250, 235, 215}},
	{"aqua", {0, 255, 255}},
	{"aquamarine", {127, 255, 212}},
	{"azure", {240, 255, 255}},
	{"beige", {245, 245, 220}},
	{"bisque", {255, 228, 196}},
	{"black", {0, 0, 0}},
	{"blanchedalmond", {255, 235, 205}},
	{"blue", {0, 0, 255}},
	{"blueviolet", {138, 43, 226}},
	{"brown", {165, 42, 42}},
	{"burlywood", {222, 184, 135}},
	{"cadetblue", {95, 158, 160}},
	{"chartreuse", {127, 255, 0}},
	{"chocolate", {210, 105, 30}},
	{"coral", {255, 127, 80}},
	{"cornflowerblue", {100, 149, 237}},
	{"cornsilk", {255, 248, 220}},
	{"crimson", {220, 20, 60}},
	{"cyan", {0, 255, 255}},
	{"darkblue", {0, 0, 139}},
	{"darkcyan", {0, 139, 139}},
	{"darkgoldenrod", {184, 134, 11}},
	{"darkgray", {169, 169, 169}},
	{"darkgreen", {0, 100, 0}},
	{"darkgrey", {169, 169, 169}},
	{"darkkhaki", {189, 183, 107}},
	{"darkmagenta", {139, 0, 139}},
	{"darkolivegreen", {85, 107, 47}},
	{"darkorange", {255, 140, 0}},
	{"darkorchid", {153, 50, 204}},
	{"darkred", {139, 0, 0}},
	{"darksalmon", {233, 150, 122}},
	{"darkseagreen", {143, 188, 143}},
	{"darkslateblue", {72, 61, 139}},
	{"darkslategray", {47, 79, 79}},
	{"darkslategrey", {47, 79, 79}},
	{"darkturquoise", {0, 206, 209}},
	{"darkviolet", {148, 0, 211}},
	{"deeppink", {255, 20, 147}},
	{"deepskyblue", {0, 191, 255}},
	{"dimgray", {105, 105, 105}},
	{"dimgrey", {105, 105, 105}},
	{"dodgerblue", {30, 144, 255}},
	{"firebrick", {178, 34, 34}},
	{"floralwhite", {255, 250, 240}},
	{"forestgreen", {34, 139, 34}},
	{"fuchsia", {255, 0, 255}},
	{"gainsboro", {220, 220, 220}},
	{"ghostwhite", {248, 248, 255}},
	{"gold", {255, 215, 0}},
	{"goldenrod", {218, 165, 32}},
	{"gray", {128, 128, 128}},
	{"grey", {128, 128, 128}},
	{"green", {0, 128, 0}},
	{"greenyellow", {173, 255, 47}},
	{"honeydew", {240, 255, 240}},
	{"hotpink", {255, 105, 180}},
	{"indianred", {205, 92, 92}},
	{"indigo", {75, 0, 130}},
	{"ivory", {255, 255, 240}},
	{"khaki", {240, 230, 140}},
	{"lavender", {230, 230, 250}},
	{"lavenderblush", {255, 240, 245}},
	{"lawngreen", {124, 252, 0}},
	{"lemonchiffon", {255, 250, 205}},
	{"lightblue", {173, 216, 230}},
	{"lightcoral", {240, 128, 128}},
	{"lightcyan", {224, 255, 255}},
	{"lightgoldenrodyellow", {250, 250, 210}},
	{"lightgray", {211, 211, 211}},
	{"lightgreen", {144, 238, 144}},
	{"lightgrey", {211, 211, 211}},
	{"lightpink", {255, 182, 193}},
	{"lightsalmon", {255, 160, 122}},
	{"lightseagreen", {32, 178, 170}},
	{"lightskyblue", {135, 206, 250}},
	{"lightslategray", {119, 136, 153}},
	{"lightslategrey", {119, 136, 153}},
	{"lightsteelblue", {176, 196, 222}},
	{"lightyellow", {255, 255, 224}},
	{"lime", {0, 255, 0}},
	{"limegreen", {50, 205, 50}},
	{"linen", {250, 240, 230}},
	{"magenta", {255, 0, 255}},
	{"maroon", {128, 0, 0}},
	{"mediumaquamarine", {102, 205, 170}},
	{"mediumblue", {0, 0, 205}},
	{"mediumorchid", {186, 85, 211}},
	{"mediumpurple", {147, 112, 219}},
	{"mediumseagreen", {60, 179, 113}},
	{"mediumslateblue", {123, 104, 238}},
	{"mediumspringgreen", {0, 250, 154}},
	{"mediumturquoise", {72, 209, 204}},
	{"mediumvioletred", {199, 21, 133}},
	{"midnightblue", {25, 25, 112}},
	{"mintcream", {245, 255, 250}},
	{"mistyrose", {255, 228, 225}},
	{"moccasin", {255, 228, 181}},
	{"navajowhite", {255, 222, 173}},
	{"navy", {0, 0, 128}},
	{"oldlace", {253, 245, 230}},
	{"olive", {128, 128, 0}},
	{"olivedrab", {107, 142, 35}},
	{"orange", {255, 165, 0}},
	{"orangered", {255, 69, 0}},
	{"orchid", {218, 112, 214}},
	{"palegoldenrod", {238, 232, 170}},
	{"palegreen", {152, 251, 152}},
	{"paleturquoise", {175, 238, 238}},
	{"palevioletred", {219, 112, 147}},
	{"papayawhip", {255, 239, 213}},
	{"peachpuff", {255, 218, 185}},
	{"peru", {205, 133, 63}},
	{"pink", {255, 192, 203}},
	{"plum", {221, 160, 221}},
	{"powderblue", {176, 224, 230}},
	{"purple", {128, 0, 128}},
	{"red", {255, 0, 0}},
	{"rosybrown", {188, 143, 143}},
	{"royalblue", {65, 105, 225}},
	{"saddlebrown", {139, 69, 19}},
	{"salmon", {250, 128, 114}},
	{"sandybrown", {244, 164, 96}},
	{"seagreen", {46, 139, 87}},
	{"seashell", {255, 245, 238}},
	{"sienna", {160, 82, 45}},
	{"silver", {192, 192, 192}},
	{"skyblue", {135, 206, 235}},
	{"slateblue", {106, 90, 205}},
	{"slategray", {112, 128, 144}},
	{"slategrey", {112, 128, 144}},
	{"snow", {255, 250, 250}},
	{"springgreen", {0, 255, 127}},
	{"steelblue", {70, 130, 180}},
	{"tan", {210, 180, 140}},
	{"teal", {0, 128, 128}},
	{"thistle", {216, 191, 216}},
	{"tomato", {255, 99, 71}},
	{"turquoise", {64, 224, 208}},
	{"violet", {238, 130, 238}},
	{"wheat", {245, 222, 179}},
	{"white", {255, 255, 255}},
	{"whitesmoke", {245, 245, 245}},
	{"yellow", {255, 255, 0}},
	{"yellowgreen", {154, 205, 50}},
};

// Slot names in frame order.
static const char* const kStyleNames[kStyleSlotCount] =
{
	"transform", "fill", "fill-opacity", "fill-rule", "stroke", "stroke-opacity", "stroke-width",
	"stroke-linecap", "stroke-linejoin", "stroke-miterlimit", "stroke-dasharray", "stroke-dashoffset", "opacity"
};

static bool IsDigit(char c)
{
	return (c >= '0') && (c <= '9');
}

static bool IsDeclarationNameByte(char c)
{
	return ((c >= 'a') && (c <= 'z')) || ((c >= 'A') && (c <= 'Z')) || IsDigit(c) || (c == '-');
}

static int32_t HexValue(char c)
{
	if ((c >= '0') && (c <= '9')) return c - '0';
	if ((c >= 'a') && (c <= 'f')) return c - 'a' + 10;
	if ((c >= 'A') && (c <= 'F')) return c - 'A' + 10;
	return -1;
}

void SvgImporter::AppendFloatList(Structure* parent, uint32_t arraySize, const float* values, int32_t count)
{
	FloatStructure* list = new FloatStructure(arraySize, false);
	list->data.Reserve(count);
	for (int32_t i = 0; i < count; i++) list->data.Add(values[i]);
	parent->AppendSubnode(list);
}

bool SvgImporter::ReadStyleDeclaration(const char** cursor, char* name, const char** valueStart, int32_t* valueLength)
{
	const char* p = *cursor;
	while (*p == ';')
	{
		p++;
		p += SkipSpace(p);
	}

	if (IsDigit(*p)) return false;

	const char* nameStart = p;
	while (IsDeclarationNameByte(*p)) p++;
	if (p == nameStart) return false;

	int32_t length = 0;
	for (const char* q = nameStart; (q < p) && (length < kSvgNameSize - 1); q++)
	{
		name[length++] = ((*q >= 'A') && (*q <= 'Z')) ? char(*q + 32) : *q;
	}
	name[length] = 0;

	p += SkipSpace(p);
	if (*p != ':') return false;
	p++;
	p += SkipSpace(p);

	const char* start = p;
	while ((*p != 0) && (*p != ';') && (*p != '"')) p++;

	const char* end = p;
	while ((end > start) && (uint8_t(end[-1]) >= 1) && (uint8_t(end[-1]) <= 32)) end--;
	*valueStart = start;
	*valueLength = int32_t(end - start);
	*cursor = p;
	return true;
}

void SvgImporter::StoreStyleAttribute(const char* name, const char* value, int32_t length, SvgStyle* frame, bool insideStyle)
{
	for (int32_t slot = 0; slot < kStyleSlotCount; slot++)
	{
		if (std::strcmp(name, kStyleNames[slot]) == 0)
		{
			// A later value replaces an earlier one, from style or not.
			frame->slot[slot].Assign(value, length);
			return;
		}
	}

	if (!insideStyle && (std::strcmp(name, "style") == 0))
	{
		String text(value, length);
		const char* cursor = text;
		char declaration[kSvgNameSize];
		const char* start;
		int32_t count;
		while (ReadStyleDeclaration(&cursor, declaration, &start, &count))
		{
			StoreStyleAttribute(declaration, start, count, frame, true);
		}
	}
}

const char* SvgImporter::FindInheritedStyle(int32_t slot) const
{
	int32_t count = styleStack.GetCount();
	if (count == 0) return "";

	// "inherit" is ordinary text here and stops the walk like any other.
	for (int32_t index = count - 1; index >= 1; index--)
	{
		const String& text = styleStack[index].slot[slot];
		if (!text.IsEmpty()) return text;
	}

	return styleStack[0].slot[slot];
}

bool SvgImporter::ParseColor(const char* colorText, const char* opacityText, float* out)
{
	float color[4] = {0.0f, 0.0f, 0.0f, 1.0f};

	if (colorText[0] != 0)
	{
		int32_t rgb[3];
		if (colorText[0] == '#')
		{
			int32_t digit[6];
			for (int32_t i = 0; i < 3; i++)
			{
				digit[i] = HexValue(colorText[1 + i]);
				if (digit[i] < 0) return false;
			}

			if (colorText[4] == 0)
			{
				for (int32_t i = 0; i < 3; i++) rgb[i] = digit[i] * 17;
			}
			else
			{
				for (int32_t i = 3; i < 6; i++)
				{
					digit[i] = HexValue(colorText[1 + i]);
					if (digit[i] < 0) return false;
				}

				if (colorText[7] != 0) return false;
				for (int32_t i = 0; i < 3; i++) rgb[i] = digit[i * 2] * 16 + digit[i * 2 + 1];
			}
		}
		else if (TextPrefixNoCase(colorText, "rgb(", 4))
		{
			// White space may follow a comma but not precede it.
			const char* p = colorText + 4;
			p += SkipSpace(p);
			int32_t value[3];
			bool percent[3];
			for (int32_t i = 0; i < 3; i++)
			{
				p += ReadInteger(p, &value[i]);
				percent[i] = (*p == '%');
				if (percent[i]) p++;
				if (i < 2)
				{
					if (*p != ',') return false;
					p++;
					p += SkipSpace(p);
				}
			}

			p += SkipSpace(p);
			if (*p != ')') return false;
			if ((percent[0] != percent[1]) || (percent[1] != percent[2])) return false;

			for (int32_t i = 0; i < 3; i++)
			{
				int64_t v = value[i];
				if (percent[i]) v = ((v < 100) ? v : 100) * 255 / 100;
				else v = (v < 255) ? v : 255;
				rgb[i] = (v > 0) ? int32_t(v) : 0;
			}
		}
		else
		{
			int32_t row = 0;
			while ((row < 147) && !TextEqualNoCase(colorText, kColorNames[row].name)) row++;
			if (row == 147) return false;
			for (int32_t i = 0; i < 3; i++) rgb[i] = kColorNames[row].rgb[i];
		}

		for (int32_t i = 0; i < 3; i++) color[i] = kSrgbToLinear[rgb[i]];
	}

	if (opacityText[0] != 0)
	{
		float alpha;
		if (ReadFloat(opacityText, &alpha) > 0)
		{
			// Written so that a NaN from an absurd number of digits lands on 0.
			color[3] = (alpha > 0.0f) ? ((alpha < 1.0f) ? alpha : 1.0f) : 0.0f;
		}
	}

	for (int32_t i = 0; i < 4; i++) out[i] = color[i];
	return true;
}

bool SvgImporter::AddColor(const char* colorText, const char* opacityText, Structure* parent)
{
	float color[4];
	if (!ParseColor(colorText, opacityText, color)) return false;

	// Opaque black is the default paint and is never written.
	if ((color[0] == 0.0f) && (color[1] == 0.0f) && (color[2] == 0.0f) && (color[3] == 1.0f)) return true;

	ColorStructure* colorStructure = new ColorStructure;
	parent->AppendSubnode(colorStructure);
	AppendFloatList(colorStructure, (color[3] == 1.0f) ? 3 : 4, color, (color[3] == 1.0f) ? 3 : 4);
	return true;
}

void SvgImporter::AddOpacity(const char* text, Structure* object)
{
	if (text[0] == 0) return;

	// The description language's reader: unreadable text leaves the 0.
	float value = 0.0f;
	const char* cursor = text;
	::ReadFloat(&cursor, &value);
	if (!(value < 1.0f)) return;

	OpacityStructure* opacity = new OpacityStructure;
	object->AppendSubnode(opacity);
	AppendFloatList(opacity, 0, &value, 1);
}

// The fill's gradient child, from a finished record with two stops.
static void AddGradient(const SvgGradient* record, Structure* fill)
{
	GradientStructure* gradientStructure = new GradientStructure;
	fill->AppendSubnode(gradientStructure);

	FloatStructure* position = new FloatStructure((record->type == 'LINR') ? 3 : 2, false);
	if (record->type == 'LINR')
	{
		for (int32_t i = 0; i < 3; i++) position->data.Add(record->geometry[i]);
		gradientStructure->AppendSubnode(position);
	}
	else
	{
		gradientStructure->kind = "radial";
		position->data.Add(record->geometry[0]);
		position->data.Add(record->geometry[1]);
		gradientStructure->AppendSubnode(position);

		RadiusStructure* radius = new RadiusStructure;
		gradientStructure->AppendSubnode(radius);
		FloatStructure* radiusList = new FloatStructure(0, false);
		radiusList->data.Add(record->geometry[2]);
		radius->AppendSubnode(radiusList);
	}

	gradientStructure->objectFlag = record->objectUnits;

	ColorStructure* colorStructure = new ColorStructure;
	gradientStructure->AppendSubnode(colorStructure);
	FloatStructure* colors = new FloatStructure(4, false);
	for (int32_t i = 0; i < 4; i++) colors->data.Add(record->firstStop[i]);
	for (int32_t i = 0; i < 4; i++) colors->data.Add(record->lastStop[i]);
	colorStructure->AppendSubnode(colors);
}

bool SvgImporter::AddPaint(Structure* object)
{
	bool result = true;

	const char* fillText = FindInheritedStyle(kStyleFill);
	if (!TextEqualNoCase(fillText, "none"))
	{
		FillStructure* fill = new FillStructure;
		object->AppendSubnode(fill);
		if (TextEqualNoCase(FindInheritedStyle(kStyleFillRule), "evenodd")) fill->rule = "evenodd";

		if (TextPrefixNoCase(fillText, "url(#", 5))
		{
			// A fallback colour after the ")" is ignored; an unknown or
			// one-stop gradient leaves the default paint.
			const char* idStart = fillText + 5;
			const char* idEnd = std::strchr(idStart, ')');
			if (idEnd && (idEnd > idStart))
			{
				String id(idStart, int32_t(idEnd - idStart));
				const SvgGradient* record = FindGradient(id);
				if (record && (record->stopCount >= 2)) AddGradient(record, fill);
			}
		}
		else if (!AddColor(fillText, FindInheritedStyle(kStyleFillOpacity), fill))
		{
			result = false;
		}
	}

	const char* strokeText = FindInheritedStyle(kStyleStroke);
	if ((strokeText[0] == 0) || TextEqualNoCase(strokeText, "none")) return result;

	float width = 1.0f;
	const char* widthText = FindInheritedStyle(kStyleStrokeWidth);
	if (widthText[0] != 0)
	{
		width = 0.0f;
		const char* cursor = widthText;
		::ReadFloat(&cursor, &width);
		if (!(width > 0.0f)) return result;
	}

	const char* capText = FindInheritedStyle(kStyleStrokeLinecap);
	const char* cap = nullptr;
	if (TextEqualNoCase(capText, "square")) cap = "square";
	else if (TextEqualNoCase(capText, "round")) cap = "round";

	// A miter join is a bevel with a limit above 1; a true bevel has limit 1.
	const char* joinText = FindInheritedStyle(kStyleStrokeLinejoin);
	bool roundJoin = false;
	float limit = 1.0f;
	if ((joinText[0] == 0) || TextEqualNoCase(joinText, "miter"))
	{
		limit = 4.0f;
		const char* limitText = FindInheritedStyle(kStyleStrokeMiterlimit);
		if (limitText[0] != 0)
		{
			limit = 0.0f;
			const char* cursor = limitText;
			::ReadFloat(&cursor, &limit);

			// Written so that a NaN limit is raised to 1 as well.
			if (!(limit >= 1.0f)) limit = 1.0f;
		}
	}
	else if (TextEqualNoCase(joinText, "round"))
	{
		roundJoin = true;
	}

	StrokeStructure* stroke = new StrokeStructure;
	object->AppendSubnode(stroke);
	if (cap) stroke->cap = cap;
	if (roundJoin) stroke->join = "round";
	stroke->miter = limit;

	if (width != 1.0f) AppendFloatList(stroke, 0, &width, 1);

	// Every "url(#" is unreadable here: strokes have no gradient form.
	if (!AddColor(strokeText, FindInheritedStyle(kStyleStrokeOpacity), stroke)) result = false;

	const char* dashText = FindInheritedStyle(kStyleStrokeDasharray);
	if (dashText[0] == 0) return result;

	Array<float, 8> dashes;
	const char* p = dashText;
	for (;;)
	{
		float value;
		int32_t count = ReadFloat(p, &value);
		if (count == 0) break;
		p += count;
		dashes.Add(value);
		p += SkipSpace(p);
		if (*p == ',')
		{
			p++;
			p += SkipSpace(p);
		}

		if (*p == 0) break;
	}

	int32_t dashCount = dashes.GetCount();
	if (dashCount == 0) return result;

	// An odd pattern is repeated once, so that dashes and gaps keep their meaning.
	if (dashCount & 1)
	{
		for (int32_t i = 0; i < dashCount; i++) dashes.Add(dashes[i]);
	}

	DashStructure* dash = new DashStructure;
	stroke->AppendSubnode(dash);

	float offset;
	ReadFloat(FindInheritedStyle(kStyleStrokeDashoffset), &offset);
	if (offset != 0.0f)
	{
		OffsetStructure* offsetStructure = new OffsetStructure;
		dash->AppendSubnode(offsetStructure);
		AppendFloatList(offsetStructure, 0, &offset, 1);
	}

	AppendFloatList(dash, 2, dashes.GetData(), dashes.GetCount());
	return result;
}
