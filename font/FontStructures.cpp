#include "font/FontStructures.h"

#include <cstdlib>
#include <cstring>

#include "description/Primitive.h"
#include "document/Attributes.h"
#include "document/Shapes.h"
#include "document/VectorDocument.h"
#include "stroke/CurveTools.h"
#include "support/Code.h"

// Curves that a font's glyphs may gain through Components, and component
// glyphs they may enter, all glyphs together. Components can name one glyph
// many times over several levels, so without a bound a short text could ask
// for more curves than memory holds; past the bound Components add nothing.
static const int32_t kComponentBudget = 1 << 19;

// Entries of Emoji layers taken from one Component.
static const int32_t kMaxEmojiLayers = 255;

// Targets of one Alternate or Decompose that become glyph links.
static const int32_t kMaxLinkTargets = 255;

// Descriptions stop taking further names at this length, so a glyph named by
// very many others cannot make its comment grow without end.
static const int32_t kMaxDescriptionLength = 256;

// The bearing moves an outline only when it misses the lowest x by this much.
static const float kBearingTolerance = 0.000244140625f;

static bool IsTypedList(const Structure* structure, uint32_t type)
{
	return ((structure->baseStructureType == 'PRIM') && (structure->structureType == type));
}

static bool IsIndexList(const Structure* structure)
{
	return IsTypedList(structure, 'UI32');
}

static bool IsTransform(const Structure* structure)
{
	return (structure->baseStructureType == 'mtrx');
}

// The element count and the values of a uint16 or uint32 list.
static int32_t ListCount(const PrimitiveStructure* list)
{
	if (list->structureType == 'UI16') return static_cast<const UnsignedInt16Structure*>(list)->data.GetCount();
	if (list->structureType == 'UI32') return static_cast<const UnsignedInt32Structure*>(list)->data.GetCount();
	return 0;
}

static uint32_t ListValue(const PrimitiveStructure* list, int32_t position)
{
	if (list->structureType == 'UI16') return static_cast<const UnsignedInt16Structure*>(list)->data[position];
	return static_cast<const UnsignedInt32Structure*>(list)->data[position];
}

// Adds `delta` to each value of every uint32 list directly below `structure`.
// Deliberate: the values wrap as unsigned numbers do.
static void ShiftIndexLists(Structure* structure, int32_t delta)
{
	for (Structure* node = structure->GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if (!IsIndexList(node)) continue;
		for (uint32_t& value : static_cast<UnsignedInt32Structure*>(node)->data) value += uint32_t(delta);
	}
}

// The single uint32 list of a Match or Rule: 'MSSB' with none, 'EXSB' with a
// second, 'IVDF' when it is empty.
static uint32_t FindIndexList(const Structure* structure, const PrimitiveStructure** list)
{
	*list = nullptr;
	for (const Structure* node = structure->GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if (!IsIndexList(node)) continue;
		if (*list) return 'EXSB';
		*list = static_cast<const PrimitiveStructure*>(node);
	}

	if (!*list) return 'MSSB';
	if (ListCount(*list) == 0) return 'IVDF';
	return 0;
}

static bool ValidateCodeProperty(const String& identifier, const char* name, uint32_t* field, uint32_t* type, void** value)
{
	if (!TextEqual(identifier, name)) return false;
	*type = 'UI32';
	*value = field;
	return true;
}

static bool ValidateBoolProperty(const String& identifier, const char* name, bool* field, uint32_t* type, void** value)
{
	if (!TextEqual(identifier, name)) return false;
	*type = 'BOOL';
	*value = field;
	return true;
}

// The Font that holds `structure` directly, or null.
static FontStructure* ParentFont(const Structure* structure)
{
	Structure* parent = structure->GetSuperNode();
	if ((!parent) || (parent->structureType != 'font')) return nullptr;
	return static_cast<FontStructure*>(parent);
}

// The Font of the glyph that holds `structure` directly, or null.
static const FontStructure* GlyphFont(const Structure* structure)
{
	const Structure* glyph = structure->GetSuperNode();
	if ((!glyph) || (glyph->structureType != 'glyf')) return nullptr;
	const FontStructure* font = ParentFont(glyph);
	return (font) ? font->GetOwningFont() : nullptr;
}

TypographyStructure::TypographyStructure(uint32_t type) : VectorStructure(type, 'typo')
{
}

void TypographyStructure::ShiftGlyphIndices(int32_t delta)
{
	for (Structure* node = GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if (node->baseStructureType == 'typo') static_cast<TypographyStructure*>(node)->ShiftGlyphIndices(delta);
	}
}

void TypographyStructure::Describe(String*, int32_t, int32_t) const
{
}

MetricStructure::MetricStructure() : TypographyStructure('mtrc')
{
}

bool MetricStructure::ValidateProperty(const Document*, const String& identifier, uint32_t* type, void** value)
{
	if (!TextEqual(identifier, "key")) return false;
	*type = 'STRG';
	*value = &key;
	return true;
}

bool MetricStructure::ValidateSubstructure(const Document*, const Structure* structure) const
{
	return (IsDataList(structure, 'FLOT', 0) || IsDataList(structure, 'FLOT', 2) || IsDataList(structure, 'UI32', 0));
}

struct FloatMetric
{
	const char* key;
	float FontStructure::* field;
};

struct PairMetric
{
	const char* key;
	float (FontStructure::* field)[2];
};

struct CountMetric
{
	const char* key;
	uint32_t FontStructure::* field;
};

static const FloatMetric kFloatMetrics[14] =
{
	{"ascent", &FontStructure::ascent}, {"descent", &FontStructure::descent}, {"line_gap", &FontStructure::lineGap},
	{"typo_ascent", &FontStructure::typoAscent}, {"typo_descent", &FontStructure::typoDescent},
	{"typo_line_gap", &FontStructure::typoLineGap}, {"cap_height", &FontStructure::capHeight},
	{"ex_height", &FontStructure::exHeight}, {"math_axis_height", &FontStructure::mathAxisHeight},
	{"under_size", &FontStructure::underSize}, {"under_position", &FontStructure::underPosition},
	{"strike_size", &FontStructure::strikeSize}, {"strike_position", &FontStructure::strikePosition},
	{"slant_angle", &FontStructure::slantAngle}
};

static const PairMetric kPairMetrics[4] =
{
	{"sub_scale", &FontStructure::subScale}, {"sub_offset", &FontStructure::subOffset},
	{"super_scale", &FontStructure::superScale}, {"super_offset", &FontStructure::superOffset}
};

static const CountMetric kCountMetrics[2] = {{"weight_class", &FontStructure::weightClass}, {"width_class", &FontStructure::widthClass}};

uint32_t MetricStructure::ProcessData(Document*)
{
	const Structure* node = nullptr;
	uint32_t result = FindSingleDataList(this, &node);
	if (result != 0) return result;

	// The shape of the value: one float, a pair, or one count.
	const PrimitiveStructure* list = static_cast<const PrimitiveStructure*>(node);
	int32_t floatCount = 0;
	const float* floats = nullptr;
	const uint32_t* count = nullptr;
	if (list->structureType == 'UI32')
	{
		const UnsignedInt32Structure* values = static_cast<const UnsignedInt32Structure*>(list);
		if ((list->arraySize != 0) || (values->data.GetCount() != 1)) return 'IVDF';
		count = values->data.GetData();
	}
	else if (list->structureType == 'FLOT')
	{
		const FloatStructure* values = static_cast<const FloatStructure*>(list);
		floatCount = values->data.GetCount();
		if (!(((floatCount == 1) && (list->arraySize == 0)) || ((floatCount == 2) && (list->arraySize == 2)))) return 'IVDF';
		floats = values->data.GetData();
	}
	else
	{
		return 'IVDF';
	}

	FontStructure* font = ParentFont(this);

	// A known key with a value of another shape is a wrong data list; an
	// unknown key changes nothing.
	for (const FloatMetric& metric : kFloatMetrics)
	{
		if (!TextEqual(key, metric.key)) continue;
		if (floatCount != 1) return 'IVDF';
		if (font) font->*metric.field = floats[0];
		return 0;
	}

	for (const PairMetric& metric : kPairMetrics)
	{
		if (!TextEqual(key, metric.key)) continue;
		if (floatCount != 2) return 'IVDF';
		if (font)
		{
			(font->*metric.field)[0] = floats[0];
			(font->*metric.field)[1] = floats[1];
		}
		return 0;
	}

	for (const CountMetric& metric : kCountMetrics)
	{
		if (!TextEqual(key, metric.key)) continue;
		if (!count) return 'IVDF';
		if (font) font->*metric.field = count[0];
		return 0;
	}

	return 0;
}

CharMapStructure::CharMapStructure() : TypographyStructure('cmap')
{
	firstCode = 0;
	run = 0;
}

bool CharMapStructure::ValidateProperty(const Document*, const String& identifier, uint32_t* type, void** value)
{
	if (ValidateCodeProperty(identifier, "char", &firstCode, type, value)) return true;
	return ValidateCodeProperty(identifier, "run", &run, type, value);
}

bool CharMapStructure::ValidateSubstructure(const Document*, const Structure* structure) const
{
	return (IsTypedList(structure, 'UI16') || IsTypedList(structure, 'UI32'));
}

uint32_t CharMapStructure::ProcessData(Document*)
{
	// A CharMap without a list has no values; a second list is one too many.
	const PrimitiveStructure* list = nullptr;
	for (const Structure* node = GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if (!ValidateSubstructure(nullptr, node)) continue;
		if (list) return 'EXSB';
		list = static_cast<const PrimitiveStructure*>(node);
	}

	int32_t count = (list) ? ListCount(list) : 0;
	if ((count == 0) || (uint64_t(run) + firstCode + uint64_t(count) > uint64_t(kCodePointCount))) return 'ivcs';

	FontStructure* font = ParentFont(this);
	const FontStructure* owner = (font) ? font->GetOwningFont() : nullptr;
	uint32_t glyphCount = (owner) ? owner->glyphCount : 0;
	uint32_t* table = (font) ? font->charTable : nullptr;

	// The first definition of a code wins.
	uint32_t last = 0;
	for (int32_t i = 0; i < count; i++)
	{
		last = ListValue(list, i);
		if (last >= glyphCount) return 'ivgi';
		if ((table) && (table[firstCode + uint32_t(i)] == 0)) table[firstCode + uint32_t(i)] = last;
	}

	if (run > 0)
	{
		if (uint64_t(last) + run >= glyphCount) return 'ivgi';
		uint32_t code = firstCode + uint32_t(count);
		for (uint32_t i = 1; i <= run; i++, code++)
		{
			if ((table) && (table[code] == 0)) table[code] = last + i;
		}
	}

	return 0;
}

void CharMapStructure::ShiftGlyphIndices(int32_t delta)
{
	for (Structure* node = GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if (IsTypedList(node, 'UI16'))
		{
			for (uint16_t& value : static_cast<UnsignedInt16Structure*>(node)->data) value = uint16_t(value + delta);
		}
	}

	ShiftIndexLists(this, delta);
}

AdvanceStructure::AdvanceStructure(uint32_t type) : TypographyStructure(type)
{
	valueCount = 0;
	values[0] = 0.0f;
	values[1] = 0.0f;
}

bool AdvanceStructure::ValidateSubstructure(const Document*, const Structure* structure) const
{
	return IsTypedList(structure, 'FLOT');
}

uint32_t AdvanceStructure::ProcessData(Document*)
{
	valueCount = 0;
	values[0] = 0.0f;
	values[1] = 0.0f;

	const Structure* node = nullptr;
	uint32_t result = FindSingleDataList(this, &node);
	if (result != 0) return result;

	const FloatStructure* list = static_cast<const FloatStructure*>(node);
	int32_t count = list->data.GetCount();
	if ((count != 1) && (count != 2)) return 'IVDF';

	valueCount = count;
	for (int32_t i = 0; i < count; i++) values[i] = list->data[i];
	return 0;
}

BearingStructure::BearingStructure() : AdvanceStructure('bear')
{
}

CaretStructure::CaretStructure() : TypographyStructure('cart')
{
}

bool CaretStructure::ValidateSubstructure(const Document*, const Structure* structure) const
{
	return IsTypedList(structure, 'FLOT');
}

KernStructure::KernStructure() : TypographyStructure('kern')
{
	vertical = false;
}

bool KernStructure::ValidateProperty(const Document*, const String& identifier, uint32_t* type, void** value)
{
	return ValidateBoolProperty(identifier, "vertical", &vertical, type, value);
}

bool KernStructure::ValidateSubstructure(const Document*, const Structure* structure) const
{
	return (IsIndexList(structure) || IsTypedList(structure, 'FLOT'));
}

void KernStructure::ShiftGlyphIndices(int32_t delta)
{
	ShiftIndexLists(this, delta);
}

MatchStructure::MatchStructure(uint32_t type) : TypographyStructure(type)
{
	kind = 0;
	list = nullptr;
}

bool MatchStructure::ValidateProperty(const Document*, const String& identifier, uint32_t* type, void** value)
{
	return ValidateCodeProperty(identifier, "kind", &kind, type, value);
}

bool MatchStructure::ValidateSubstructure(const Document*, const Structure* structure) const
{
	return IsIndexList(structure);
}

uint32_t MatchStructure::ProcessData(Document*)
{
	return FindIndexList(this, &list);
}

void MatchStructure::ShiftGlyphIndices(int32_t delta)
{
	ShiftIndexLists(this, delta);
}

RuleStructure::RuleStructure() : MatchStructure('rule')
{
}

SequenceStructure::SequenceStructure() : TypographyStructure('sequ')
{
	feature = 0;
}

bool SequenceStructure::ValidateProperty(const Document*, const String& identifier, uint32_t* type, void** value)
{
	return ValidateCodeProperty(identifier, "feature", &feature, type, value);
}

bool SequenceStructure::ValidateSubstructure(const Document*, const Structure* structure) const
{
	uint32_t type = structure->structureType;
	return (IsIndexList(structure) || (type == 'mtch') || (type == 'rule'));
}

uint32_t SequenceStructure::ProcessData(Document* document)
{
	matchList.Clear();
	ruleList.Clear();

	uint32_t result = Structure::ProcessData(document);
	if (result != 0) return result;

	for (Structure* node = GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if (node->structureType == 'mtch') matchList.Add(static_cast<MatchStructure*>(node));
		else if (node->structureType == 'rule') ruleList.Add(static_cast<RuleStructure*>(node));
	}

	return 0;
}

void SequenceStructure::ShiftGlyphIndices(int32_t delta)
{
	ShiftIndexLists(this, delta);
	TypographyStructure::ShiftGlyphIndices(delta);
}

AlternateStructure::AlternateStructure(uint32_t type) : TypographyStructure(type)
{
	feature = 0;
}

bool AlternateStructure::ValidateProperty(const Document*, const String& identifier, uint32_t* type, void** value)
{
	if (structureType != 'altr') return false;
	return ValidateCodeProperty(identifier, "feature", &feature, type, value);
}

bool AlternateStructure::ValidateSubstructure(const Document*, const Structure* structure) const
{
	return IsIndexList(structure);
}

void AlternateStructure::ShiftGlyphIndices(int32_t delta)
{
	ShiftIndexLists(this, delta);
}

DecomposeStructure::DecomposeStructure() : AlternateStructure('dcmp')
{
}

AnchorStructure::AnchorStructure() : TypographyStructure('anch')
{
	base = false;
	index = 0;
}

bool AnchorStructure::ValidateProperty(const Document*, const String& identifier, uint32_t* type, void** value)
{
	if (ValidateBoolProperty(identifier, "base", &base, type, value)) return true;
	return ValidateCodeProperty(identifier, "index", &index, type, value);
}

bool AnchorStructure::ValidateSubstructure(const Document*, const Structure* structure) const
{
	return IsDataList(structure, 'FLOT', 2);
}

ComponentStructure::ComponentStructure(uint32_t type) : TypographyStructure(type)
{
	list = nullptr;
	color = nullptr;
}

bool ComponentStructure::ValidateSubstructure(const Document*, const Structure* structure) const
{
	return (IsIndexList(structure) || (structure->structureType == 'colr') || IsTransform(structure));
}

// A Color whose one list holds no colours: in a Component it stands for the
// colours of an empty index list, which a drawing without shapes gives.
static bool IsEmptyColor(const Structure* structure)
{
	const Structure* list = structure->GetFirstSubnode();
	if ((!list) || (list->GetNextSubnode()) || (list->baseStructureType != 'PRIM')) return false;
	if (list->structureType == 'FLOT') return (static_cast<const FloatStructure*>(list)->data.GetCount() == 0);
	if (list->structureType == 'UIN8') return (static_cast<const UnsignedInt8Structure*>(list)->data.GetCount() == 0);
	return false;
}

static bool IsIdentity(const Transform4D& matrix)
{
	Transform4D identity;
	for (int32_t i = 0; i < 16; i++)
	{
		if (matrix[i] != identity[i]) return false;
	}

	return true;
}

// The transform children multiplied in order, the first outermost.
static Transform4D MultiplyTransforms(const Structure* structure)
{
	Transform4D matrix;
	for (const Structure* node = structure->GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if (IsTransform(node)) matrix = matrix * static_cast<const MatrixStructure*>(node)->matrix;
	}

	return matrix;
}

uint32_t ComponentStructure::ProcessData(Document* document)
{
	list = nullptr;
	color = nullptr;
	matrix = Transform4D();

	// The children as the default runs them, except that an empty Color is
	// left as zero colours instead of failing.
	for (Structure* node = GetFirstSubnode(); node;)
	{
		Structure* next = node->GetNextSubnode();
		if ((node->structureType != 'colr') || (!IsEmptyColor(node)))
		{
			uint32_t result = node->ProcessData(document);
			if (result != 0)
			{
				if (!document->errorStructure) document->errorStructure = node;
				return result;
			}
		}

		node = next;
	}

	matrix = MultiplyTransforms(this);
	for (const Structure* node = GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if (IsIndexList(node))
		{
			if (list) return 'EXSB';
			list = static_cast<const PrimitiveStructure*>(node);
		}
		else if (node->structureType == 'colr')
		{
			const ColorStructure* nodeColor = static_cast<const ColorStructure*>(node);
			if (nodeColor->palette != 0) continue;
			if (color) return 'EXSB';
			color = nodeColor;
		}
	}

	if (!list) return 'MSSB';
	if ((color) && (color->colorCount != uint32_t(ListCount(list)))) return 'dcmm';
	return 0;
}

void ComponentStructure::ShiftGlyphIndices(int32_t delta)
{
	ShiftIndexLists(this, delta);
}

PaintStructure::PaintStructure() : ComponentStructure('pant')
{
}

uint32_t PaintStructure::ProcessData(Document* document)
{
	matrix = Transform4D();
	uint32_t result = Structure::ProcessData(document);
	if (result != 0) return result;

	matrix = MultiplyTransforms(this);
	return 0;
}

EmojiStructure::EmojiStructure() : TypographyStructure('emoj')
{
}

bool EmojiStructure::ValidateSubstructure(const Document*, const Structure* structure) const
{
	uint32_t type = structure->structureType;
	if (structure->baseStructureType == 'geom') return true;
	return ((type == 'grup') || (type == 'inst') || (type == 'comp') || (type == 'pant'));
}

uint32_t EmojiStructure::ProcessData(Document* document)
{
	layerList.Clear();
	colorList.Clear();

	uint32_t result = Structure::ProcessData(document);
	if (result != 0) return result;

	for (const Structure* node = GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if (node->structureType != 'comp') continue;

		const ComponentStructure* component = static_cast<const ComponentStructure*>(node);
		if (!component->color) return 'MSSB';

		int32_t count = ListCount(component->list);
		if (count > kMaxEmojiLayers) count = kMaxEmojiLayers;
		for (int32_t i = 0; i < count; i++)
		{
			layerList.Add(ListValue(component->list, i));

			uint8_t rgba[4];
			component->color->GetColorBytes(i, rgba);
			for (uint8_t byte : rgba) colorList.Add(byte);
		}
	}

	return 0;
}

GlyphStructure::GlyphStructure() : TypographyStructure('glyf')
{
	index = 0;
	advance[0] = 0.0f;
	advance[1] = 0.0f;
	bearing[0] = 0.0f;
	bearing[1] = 0.0f;
	caret = nullptr;
	emoji = nullptr;
	alias = nullptr;
	bounds = Box2D{0.0f, 0.0f, 0.0f, 0.0f};
	lowestX = 0.0f;
	highestY = 0.0f;
	curveStackFlag = false;
}

bool GlyphStructure::ValidateProperty(const Document*, const String& identifier, uint32_t* type, void** value)
{
	return ValidateCodeProperty(identifier, "index", &index, type, value);
}

bool GlyphStructure::ValidateSubstructure(const Document*, const Structure* structure) const
{
	if (structure->baseStructureType == 'geom') return true;

	static const uint32_t kTypes[12] = {'grup', 'inst', 'emoj', 'comp', 'name', 'advc', 'bear', 'cart', 'kern', 'altr', 'sequ', 'anch'};
	for (uint32_t type : kTypes)
	{
		if (structure->structureType == type) return true;
	}

	return false;
}

uint32_t GlyphStructure::ProcessData(Document* document)
{
	advance[0] = 0.0f;
	advance[1] = 0.0f;
	bearing[0] = 0.0f;
	bearing[1] = 0.0f;
	caret = nullptr;
	emoji = nullptr;
	alias = nullptr;
	codeList.Clear();
	horizontalKerns.Clear();
	verticalKerns.Clear();
	alternateList.Clear();
	sequenceList.Clear();
	decomposeList.Clear();
	baseAnchors.Clear();
	markAnchors.Clear();
	referenceList.Clear();

	uint32_t result = Structure::ProcessData(document);
	if (result != 0) return result;

	const FontStructure* font = ParentFont(this);
	const FontStructure* owner = (font) ? font->GetOwningFont() : nullptr;
	if ((!owner) || (index >= owner->glyphCount)) return 'ivgi';

	// A table shorter than the count means the font lacks glyphs anyway, and
	// its check reports that.
	if (int64_t(index) < int64_t(owner->glyphTableSize)) owner->glyphTable[index] = this;

	for (Structure* node = GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		switch (node->structureType)
		{
			case 'advc':
			case 'bear':
			{
				const AdvanceStructure* values = static_cast<const AdvanceStructure*>(node);
				float* target = (node->structureType == 'advc') ? advance : bearing;
				for (int32_t i = 0; i < values->valueCount; i++) target[i] = values->values[i];
				break;
			}

			case 'cart':
				if (caret) return 'EXSB';
				caret = static_cast<const CaretStructure*>(node);
				break;

			case 'emoj':
				if (emoji) return 'EXSB';
				emoji = static_cast<const EmojiStructure*>(node);
				break;

			case 'kern':
			{
				KernStructure* kern = static_cast<KernStructure*>(node);
				if (kern->vertical) verticalKerns.Add(kern);
				else horizontalKerns.Add(kern);
				break;
			}

			case 'altr':
				alternateList.Add(static_cast<AlternateStructure*>(node));
				break;

			case 'sequ':
				sequenceList.Add(static_cast<SequenceStructure*>(node));
				break;

			case 'dcmp':
				decomposeList.Add(static_cast<DecomposeStructure*>(node));
				break;

			case 'anch':
			{
				AnchorStructure* anchor = static_cast<AnchorStructure*>(node);
				if (anchor->base) baseAnchors.Add(anchor);
				else markAnchors.Add(anchor);
				break;
			}

			default:
				break;
		}
	}

	return 0;
}

void GlyphStructure::ShiftGlyphIndices(int32_t delta)
{
	index += uint32_t(delta);
	TypographyStructure::ShiftGlyphIndices(delta);
}

// One level of curve collection: a glyph, where its walk stands, the
// Component whose glyphs are being collected and the next position in its
// list, and where the curves of this glyph began.
struct CurveFrame
{
	const GlyphStructure* glyph;
	const Structure* node;
	const ComponentStructure* component;
	int32_t position;
	int32_t firstCurve;
};

void GlyphStructure::BuildCurves(const FontStructure* font, int32_t* budget)
{
	curves.Clear();
	alias = nullptr;

	// The recursion over Components runs on an explicit stack, which is also
	// the guard against cycles: a glyph already on it is skipped.
	Array<CurveFrame, 8> stack;
	curveStackFlag = true;
	stack.Add(CurveFrame{this, GetFirstSubnode(), nullptr, 0, 0});
	while (stack.GetCount() > 0)
	{
		int32_t top = stack.GetCount() - 1;
		CurveFrame& frame = stack[top];
		if (frame.component)
		{
			const PrimitiveStructure* list = frame.component->list;
			if ((!list) || (frame.position >= ListCount(list)))
			{
				frame.component = nullptr;
				continue;
			}

			uint32_t glyphIndex = ListValue(list, frame.position++);
			const GlyphStructure* glyph = (font) ? font->GetGlyph(glyphIndex) : nullptr;
			if ((!glyph) || (*budget <= 0)) continue;

			if (glyph->curveStackFlag) continue;

			(*budget)--;
			glyph->curveStackFlag = true;
			stack.Add(CurveFrame{glyph, glyph->GetFirstSubnode(), nullptr, 0, curves.GetCount()});
			continue;
		}

		const Structure* node = frame.node;
		if (!node)
		{
			// The curves gained from a component glyph take the Component's matrix.
			int32_t firstCurve = frame.firstCurve;
			frame.glyph->curveStackFlag = false;
			stack.RemoveLast();
			if (top == 0) break;

			const Transform4D& matrix = stack[top - 1].component->matrix;
			for (int32_t i = firstCurve; i < curves.GetCount(); i++)
			{
				QuadraticCurve& curve = curves[i];
				curve.p0 = matrix.TransformPoint2D(curve.p0);
				curve.p1 = matrix.TransformPoint2D(curve.p1);
				curve.p2 = matrix.TransformPoint2D(curve.p2);
			}

			continue;
		}

		const Structure* root = frame.glyph;
		if (node->baseStructureType == 'geom')
		{
			const GeometryStructure* shape = static_cast<const GeometryStructure*>(node);
			int32_t count = shape->curves.GetCount();
			if (top > 0)
			{
				if (*budget < count) count = (*budget > 0) ? *budget : 0;
				*budget -= count;
			}

			for (int32_t i = 0; i < count; i++) curves.Add(shape->curves[i]);
			frame.node = ChildNode<Structure>::NextSibling(root, node);
		}
		else if (node->structureType == 'grup')
		{
			frame.node = ChildNode<Structure>::NextNode(root, node);
		}
		else
		{
			if ((node->structureType == 'comp') && (node->GetSuperNode() == root))
			{
				frame.component = static_cast<const ComponentStructure*>(node);
				frame.position = 0;
			}

			frame.node = ChildNode<Structure>::NextSibling(root, node);
		}
	}

	// One Component naming one glyph with no transform makes this glyph an alias.
	const ComponentStructure* single = nullptr;
	int32_t componentCount = 0;
	for (const Structure* node = GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if (node->structureType != 'comp') continue;
		componentCount++;
		single = static_cast<const ComponentStructure*>(node);
	}

	if ((componentCount == 1) && (single->list) && (ListCount(single->list) == 1) && (IsIdentity(single->matrix))) alias = single;

	bounds = Box2D{0.0f, 0.0f, 0.0f, 0.0f};
	lowestX = 0.0f;
	highestY = 0.0f;
	if (curves.GetCount() == 0) return;

	bounds = CurveBounds(curves[0]);
	lowestX = curves[0].p0.x;
	highestY = curves[0].p0.y;
	for (const QuadraticCurve& curve : curves)
	{
		Box2D box = CurveBounds(curve);
		if (box.xMin < bounds.xMin) bounds.xMin = box.xMin;
		if (box.yMin < bounds.yMin) bounds.yMin = box.yMin;
		if (box.xMax > bounds.xMax) bounds.xMax = box.xMax;
		if (box.yMax > bounds.yMax) bounds.yMax = box.yMax;

		const Point2D* point = &curve.p0;
		for (int32_t i = 0; i < 3; i++)
		{
			if (point[i].x < lowestX) lowestX = point[i].x;
			if (point[i].y > highestY) highestY = point[i].y;
		}
	}

	// The outline starts at the bearing; the lowest x stays as found.
	float difference = bearing[0] - lowestX;
	if ((bearing[0] > 0.0f) && ((difference >= kBearingTolerance) || (difference <= -kBearingTolerance)))
	{
		for (QuadraticCurve& curve : curves)
		{
			curve.p0.x = curve.p0.x + difference;
			curve.p1.x = curve.p1.x + difference;
			curve.p2.x = curve.p2.x + difference;
		}

		bounds.xMin = bounds.xMin + difference;
		bounds.xMax = bounds.xMax + difference;
	}
}

FontStructure::FontStructure() : TypographyStructure('font')
{
	glyphCount = 0;
	inverseScale = 1.0f;
	scaleX = 1.0f;
	scaleY = 1.0f;
	glyphTable = nullptr;
	glyphTableSize = 0;
	charTable = nullptr;
	ascent = 0.0f;
	descent = 0.0f;
	lineGap = 0.0f;
	typoAscent = 0.0f;
	typoDescent = 0.0f;
	typoLineGap = 0.0f;
	capHeight = 0.0f;
	exHeight = 0.0f;
	mathAxisHeight = 0.0f;
	subScale[0] = 0.65f;
	subScale[1] = 0.65f;
	subOffset[0] = 0.0f;
	subOffset[1] = -0.15f;
	superScale[0] = 0.65f;
	superScale[1] = 0.65f;
	superOffset[0] = 0.0f;
	superOffset[1] = 0.45f;
	weightClass = 0;
	widthClass = 0;
	slantAngle = 0.0f;
	underSize = 0.05f;
	underPosition = -0.1f;
	strikeSize = 0.05f;
	strikePosition = 0.1746f;
}

FontStructure::~FontStructure()
{
	std::free(glyphTable);
	std::free(charTable);
}

bool FontStructure::ValidateProperty(const Document*, const String& identifier, uint32_t* type, void** value)
{
	return ValidateCodeProperty(identifier, "glyph_count", &glyphCount, type, value);
}

bool FontStructure::ValidateSubstructure(const Document*, const Structure* structure) const
{
	uint32_t type = structure->structureType;
	return ((type == 'glyf') || (type == 'cmap') || (type == 'name') || (type == 'mess') || (type == 'mtrc') || (type == 'scal'));
}

void FontStructure::ResetGlyphTable()
{
	// The count comes from the text and may be far larger than the glyphs
	// there; since every index below it needs a glyph, a table for the glyphs
	// that exist decides as well, and its size follows the text's.
	// Glyphs stand in this Font and in the Fonts it holds.
	int64_t glyphs = 0;
	for (const Structure* node = GetFirstSubnode(); node;)
	{
		if (node->structureType == 'glyf') glyphs++;
		if (node->structureType == 'font') node = ChildNode<Structure>::NextNode(this, node);
		else node = ChildNode<Structure>::NextSibling(this, node);
	}

	int64_t size = ((int64_t(glyphCount) < glyphs) ? int64_t(glyphCount) : glyphs) + 10;
	std::free(glyphTable);
	glyphTable = static_cast<GlyphStructure**>(std::calloc(size_t(size), sizeof(GlyphStructure*)));
	if (!glyphTable) std::abort();
	glyphTableSize = int32_t(size);
}

uint32_t FontStructure::ProcessData(Document* document)
{
	// Tables are rebuilt on every run, so no pointer outlives a glyph.
	if (glyphCount != 0)
	{
		ResetGlyphTable();
	}
	else
	{
		std::free(glyphTable);
		glyphTable = nullptr;
		glyphTableSize = 0;
	}

	std::free(charTable);
	charTable = nullptr;
	for (const Structure* node = GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if (node->structureType != 'cmap') continue;
		charTable = static_cast<uint32_t*>(std::calloc(size_t(kCodePointCount), sizeof(uint32_t)));
		if (!charTable) std::abort();
		break;
	}

	uint32_t result = Structure::ProcessData(document);
	if (result != 0) return result;

	for (uint32_t i = 0; i < glyphCount; i++)
	{
		if ((int64_t(i) >= int64_t(glyphTableSize)) || (!glyphTable[i])) return 'mgly';
	}

	scaleX = 1.0f;
	scaleY = 1.0f;
	inverseScale = 1.0f;
	const ScaleStructure* scale = nullptr;
	for (const Structure* node = GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if (node->structureType != 'scal') continue;
		if (scale) return 'EXSB';
		scale = static_cast<const ScaleStructure*>(node);
		if (!TextEqual(scale->kind, "xy")) return 'ivsk';
		scaleX = scale->matrix[0];
		scaleY = scale->matrix[5];
		inverseScale = 1.0f / scaleX;
	}

	return 0;
}

GlyphStructure* FontStructure::GetGlyph(uint32_t glyphIndex) const
{
	const FontStructure* owner = GetOwningFont();
	if ((glyphIndex >= owner->glyphCount) || (int64_t(glyphIndex) >= int64_t(owner->glyphTableSize))) return nullptr;
	return owner->glyphTable[glyphIndex];
}

const FontStructure* FontStructure::GetOwningFont() const
{
	const FontStructure* font = this;
	while (const FontStructure* parent = ParentFont(font)) font = parent;
	return font;
}

// The glyph of a code in the font's own table, or null; entry 0 is no glyph.
static const GlyphStructure* CodeGlyph(const FontStructure* font, uint32_t code)
{
	uint32_t entry = font->charTable[code];
	return (entry != 0) ? font->GetGlyph(entry) : nullptr;
}

// The targets of one glyph link source, each entered in its glyph's list.
static void LinkTargets(const FontStructure* font, const TypographyStructure* source, const uint32_t* targets, int32_t count)
{
	for (int32_t i = 0; i < count; i++)
	{
		GlyphStructure* target = font->GetGlyph(targets[i]);
		if (target) target->referenceList.Add(GlyphReference{source, (count == 1) ? -1 : i});
	}
}

static void LinkListTargets(const FontStructure* font, const TypographyStructure* source)
{
	for (const Structure* node = source->GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if (!IsIndexList(node)) continue;

		const UnsignedInt32Structure* list = static_cast<const UnsignedInt32Structure*>(node);
		int32_t count = list->data.GetCount();
		LinkTargets(font, source, list->data.GetData(), (count > kMaxLinkTargets) ? kMaxLinkTargets : count);
		return;
	}
}

void FontStructure::FinishFont(VectorDocument* document)
{
	const FontStructure* owner = GetOwningFont();
	for (Structure* node = GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if (node->structureType != 'glyf') continue;
		GlyphStructure* glyph = static_cast<GlyphStructure*>(node);
		glyph->codeList.Clear();
		glyph->referenceList.Clear();
	}

	int32_t budget = kComponentBudget;
	for (Structure* node = GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if (node->structureType == 'glyf') static_cast<GlyphStructure*>(node)->BuildCurves(owner, &budget);
		else if (node->structureType == 'font') static_cast<FontStructure*>(node)->FinishFont(document);
	}

	FontStructure* parent = ParentFont(this);
	if (parent) parent->subFonts.Append(this);
	else document->assemblyList.Append(this);

	if (charTable)
	{
		// Unicode keeps the script small l at U+2113, in the gap of U+1D4C1.
		if ((charTable[0x1D4C0] != 0) && (charTable[0x1D4C1] == 0)) charTable[0x1D4C1] = charTable[0x2113];

		for (int32_t code = 0; code < kCodePointCount; code++)
		{
			if (charTable[code] == 0) continue;
			GlyphStructure* glyph = GetGlyph(charTable[code]);
			if (glyph) glyph->codeList.Add(uint32_t(code));
		}

		const GlyphStructure* glyph = CodeGlyph(this, 'H');
		if ((capHeight == 0.0f) && (glyph)) capHeight = glyph->bounds.yMax;
		glyph = CodeGlyph(this, 'x');
		if ((exHeight == 0.0f) && (glyph)) exHeight = glyph->bounds.yMax;
		glyph = CodeGlyph(this, '=');
		if ((mathAxisHeight == 0.0f) && (glyph)) mathAxisHeight = (glyph->bounds.yMax + glyph->bounds.yMin) * 0.5f;
	}

	if (typoAscent == 0.0f)
	{
		typoAscent = ascent;
		typoDescent = descent;
		typoLineGap = lineGap;
	}

	for (Structure* node = GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if (node->structureType != 'glyf') continue;

		const GlyphStructure* glyph = static_cast<const GlyphStructure*>(node);
		for (const SequenceStructure* sequence : glyph->sequenceList)
		{
			// Each Rule turns into the last value of its first sub-array.
			Array<uint32_t, 8> targets;
			for (const RuleStructure* rule : sequence->ruleList)
			{
				if (!rule->list)
				{
					targets.Add(0xFFFFFFFFU);
					continue;
				}

				uint32_t position = (rule->list->arraySize != 0) ? rule->list->arraySize - 1 : 0;
				bool present = (int64_t(position) < int64_t(ListCount(rule->list)));
				targets.Add((present) ? ListValue(rule->list, int32_t(position)) : 0xFFFFFFFFU);
			}

			LinkTargets(owner, sequence, targets.GetData(), targets.GetCount());
		}

		for (const AlternateStructure* alternate : glyph->alternateList) LinkListTargets(owner, alternate);
		for (const DecomposeStructure* decompose : glyph->decomposeList) LinkListTargets(owner, decompose);
	}
}

void FinishFonts(VectorDocument* document)
{
	for (Structure* node = document->rootStructure.GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if (node->structureType == 'font') static_cast<FontStructure*>(node)->FinishFont(document);
	}
}

// Describing ---------------------------------------------------------------

// "U+" and at least four hexadecimal digits.
static void AppendCodePoint(String* text, uint32_t code)
{
	static const char kDigits[17] = "0123456789ABCDEF";
	char digits[9];
	int32_t count = 0;
	do
	{
		digits[count++] = kDigits[code & 15];
		code >>= 4;
	}
	while ((code != 0) || (count < 4));

	text->Append("U+");
	while (count > 0) text->Append(digits[--count]);
}

static void AppendFeature(String* text, uint32_t feature)
{
	char characters[5];
	CodeText(feature, characters);
	text->Append(characters);
}

static void AppendPosition(String* text, int32_t position)
{
	if (position < 0) return;
	text->Append('[');
	text->Append(position);
	text->Append(']');
}

bool GlyphStructure::IsComposed() const
{
	return ((codeList.GetCount() == 0) && (referenceList.GetCount() != 0));
}

// A glyph's name inside another description, in parentheses when it is
// itself made of names.
static void AppendGlyphName(String* text, const FontStructure* font, uint32_t glyphIndex, int32_t depth)
{
	const GlyphStructure* glyph = (font) ? font->GetGlyph(glyphIndex) : nullptr;
	if (!glyph)
	{
		text->Append('<');
		text->Append(glyphIndex);
		text->Append('>');
		return;
	}

	bool composed = ((depth < 2) && (glyph->IsComposed()));
	if (composed) text->Append('(');
	glyph->Describe(text, depth, -1);
	if (composed) text->Append(')');
}

static void AppendOwnerName(String* text, const Structure* structure, int32_t depth)
{
	const Structure* glyph = structure->GetSuperNode();
	if ((!glyph) || (glyph->structureType != 'glyf')) return;
	AppendGlyphName(text, GlyphFont(structure), static_cast<const GlyphStructure*>(glyph)->index, depth);
}

void GlyphStructure::Describe(String* text, int32_t depth, int32_t) const
{
	int32_t start = text->GetTextLength();
	for (uint32_t code : codeList)
	{
		if (text->GetTextLength() >= kMaxDescriptionLength) break;
		if (text->GetTextLength() != start) text->Append(", ");
		AppendCodePoint(text, code);
	}

	if ((codeList.GetCount() == 0) && (depth < 2))
	{
		for (const GlyphReference& reference : referenceList)
		{
			if (text->GetTextLength() >= kMaxDescriptionLength) break;
			if (text->GetTextLength() != start) text->Append(", ");
			reference.source->Describe(text, depth + 1, reference.position);
		}
	}

	if (text->GetTextLength() == start)
	{
		text->Append('<');
		text->Append(index);
		text->Append('>');
	}
}

void SequenceStructure::Describe(String* text, int32_t depth, int32_t position) const
{
	const FontStructure* font = GlyphFont(this);
	text->Append('{');
	AppendOwnerName(text, this, depth);
	for (const MatchStructure* match : matchList)
	{
		if (text->GetTextLength() >= kMaxDescriptionLength) break;
		text->Append(" # ");
		if ((match->list) && (ListCount(match->list) != 0)) AppendGlyphName(text, font, ListValue(match->list, 0), depth);
	}

	text->Append("}.");
	AppendFeature(text, feature);
	AppendPosition(text, position);
}

void AlternateStructure::Describe(String* text, int32_t depth, int32_t position) const
{
	AppendOwnerName(text, this, depth);
	text->Append('.');
	AppendFeature(text, feature);
	AppendPosition(text, position);
}

void DecomposeStructure::Describe(String* text, int32_t depth, int32_t position) const
{
	AppendOwnerName(text, this, depth);
	text->Append("->");
	if (position >= 0) text->Append(position);
}

void AnchorStructure::Describe(String* text, int32_t depth, int32_t) const
{
	AppendOwnerName(text, this, depth);
	text->Append(':');
	text->Append(index);
}

// Building ------------------------------------------------------------------

static UnsignedInt32Structure* NewIndexList(const uint32_t* values, int32_t count)
{
	UnsignedInt32Structure* list = new UnsignedInt32Structure;
	for (int32_t i = 0; i < count; i++) list->data.Add(values[i]);
	return list;
}

void AddSequenceRule(GlyphStructure* glyph, uint32_t feature, int32_t count, const uint32_t* glyphs, uint32_t result)
{
	SequenceStructure* sequence = new SequenceStructure;
	sequence->feature = feature;

	Structure* lastSequence = nullptr;
	for (Structure* node = glyph->GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if (node->structureType == 'sequ') lastSequence = node;
	}

	if (lastSequence) glyph->InsertSubnodeAfter(sequence, lastSequence);
	else glyph->AppendSubnode(sequence);
	glyph->sequenceList.Add(sequence);

	for (int32_t i = 0; i < count; i++)
	{
		MatchStructure* match = new MatchStructure;
		sequence->matchList.Add(match);
		sequence->AppendSubnode(match);
		UnsignedInt32Structure* list = NewIndexList(&glyphs[i], 1);
		match->AppendSubnode(list);
		match->list = list;
	}

	RuleStructure* rule = new RuleStructure;
	rule->kind = 'rall';
	sequence->ruleList.Add(rule);
	sequence->AppendSubnode(rule);
	UnsignedInt32Structure* list = NewIndexList(&result, 1);
	rule->AppendSubnode(list);
	rule->list = list;
}
