#include "font/FontAssembly.h"

#include <cstdlib>
#include <cstring>

#include "description/Primitive.h"
#include "document/Attributes.h"
#include "document/Processing.h"
#include "document/Shapes.h"
#include "document/VectorDocument.h"
#include "font/FontStructures.h"
#include "support/HashTable.h"

// A layer glyph filed by the hash of its curves.
struct LayerEntry : public HashElement<LayerEntry>
{
	LayerEntry(uint32_t hash, GlyphStructure* layer) : HashElement<LayerEntry>(hash), glyph(layer) {}

	// Not owned: the Font holds it.
	GlyphStructure* glyph;
};

typedef HashTable<LayerEntry> LayerTable;
typedef Array<GlyphStructure*, 0> GlyphList;

// Starting size of the layer table; it doubles at 4 entries a bucket.
static const int32_t kLayerBuckets = 32;
static const float kLayerLoad = 4.0f;

bool ReadNameValue(const char** cursor, uint32_t* code)
{
	// Digits beyond the range stop counting up, so no name of any length
	// wraps the value back into the table.
	const char* s = *cursor;
	uint32_t value = 0;
	int32_t digits = 0;
	for (;; s++, digits++)
	{
		char c = *s;
		uint32_t digit = 0;
		if ((c >= '0') && (c <= '9')) digit = uint32_t(c - '0');
		else if ((c >= 'a') && (c <= 'f')) digit = uint32_t(c - 'a' + 10);
		else if ((c >= 'A') && (c <= 'F')) digit = uint32_t(c - 'A' + 10);
		else break;

		if (value < uint32_t(kCodePointCount)) value = value * 16 + digit;
	}

	*cursor = s;
	if ((digits == 0) || (value == 0) || (value >= uint32_t(kCodePointCount))) return false;
	*code = value;
	return true;
}

static bool ColorEqual(const uint8_t* a, const uint8_t* b)
{
	return ((a[0] == b[0]) && (a[1] == b[1]) && (a[2] == b[2]) && (a[3] == b[3]));
}

// A new glyph of that index, last in the font.
static GlyphStructure* NewGlyph(FontStructure* font, uint32_t index)
{
	GlyphStructure* glyph = new GlyphStructure;
	glyph->index = index;
	font->AppendSubnode(glyph);
	return glyph;
}

static uint32_t HashCurves(const GlyphStructure* layer)
{
	uint32_t h = 0;
	for (const QuadraticCurve& curve : layer->curves)
	{
		uint32_t words[6];
		std::memcpy(words, &curve, sizeof(words));
		for (uint32_t word : words) h = ((h >> 19) | (h << 13)) ^ word;
	}

	return h;
}

// Equal as floats, so a NaN matches nothing and 0 matches -0.
static bool CurvesEqual(const GlyphStructure* a, const GlyphStructure* b)
{
	int32_t count = a->curves.GetCount();
	if (b->curves.GetCount() != count) return false;
	for (int32_t i = 0; i < count; i++)
	{
		const float* p = &a->curves[i].p0.x;
		const float* q = &b->curves[i].p0.x;
		for (int32_t j = 0; j < 6; j++)
		{
			if (!(p[j] == q[j])) return false;
		}
	}

	return true;
}

// Ends a layer glyph: its curves in the unit square, then either a place in
// the font or, when an equal outline is there already, that glyph's index in
// the drawing's index list instead of its own.
static void FinishLayer(GlyphStructure* layer, FontStructure* font, VectorDocument* document, UnsignedInt32Structure* indexList, GlyphList* glyphList, LayerTable* glyphTable)
{
	// The default processing of the children: the layer's own would check an
	// index against a glyph count that is not set yet.
	layer->Structure::ProcessData(document);
	ResolveSubtree(document, layer);

	int32_t budget = 0;
	layer->BuildCurves(font, &budget);

	uint32_t hash = HashCurves(layer);
	for (const LayerEntry* entry = glyphTable->GetFirstInBucket(hash); entry; entry = entry->GetNextInBucket())
	{
		if (!CurvesEqual(entry->glyph, layer)) continue;

		indexList->data.Last() = entry->glyph->index;
		delete layer;
		return;
	}

	glyphList->Add(layer);
	glyphTable->Insert(new LayerEntry(hash, layer));
}

// The glyph of one drawing, with the index that glyphList's count gives:
// an advance of 1 and an Emoji whose Component names one layer glyph for
// each run of shapes of one colour, in painting order.
static void AddGlyphs(FontStructure* font, VectorDocument* document, GlyphList* glyphList, LayerTable* glyphTable)
{
	// The canvas maps to the unit square, shifted down by 0.125.
	float sx = 1.0f / (document->canvasMax[0] - document->canvasMin[0]);
	float sy = 1.0f / (document->canvasMax[1] - document->canvasMin[1]);
	Transform4D normal;
	normal[0] = sx;
	normal[5] = sy;
	normal[12] = -document->canvasMin[0] * sx;
	normal[13] = -0.125f - document->canvasMin[1] * sy;

	GlyphStructure* glyph = NewGlyph(font, uint32_t(glyphList->GetCount()));
	glyphList->Add(glyph);

	AdvanceStructure* advance = new AdvanceStructure;
	FloatStructure* advanceList = new FloatStructure;
	advanceList->data.Add(1.0f);
	advance->AppendSubnode(advanceList);
	glyph->AppendSubnode(advance);

	EmojiStructure* emoji = new EmojiStructure;
	glyph->AppendSubnode(emoji);
	ComponentStructure* component = new ComponentStructure;
	emoji->AppendSubnode(component);
	UnsignedInt32Structure* indexList = new UnsignedInt32Structure;
	component->AppendSubnode(indexList);
	ColorStructure* color = new ColorStructure;
	component->AppendSubnode(color);
	UnsignedInt8Structure* colorList = new UnsignedInt8Structure(4, false);
	color->AppendSubnode(colorList);

	GlyphStructure* layer = nullptr;
	uint8_t layerColor[4] = {0, 0, 0, 0};

	const Structure* root = &document->rootStructure;
	Structure* node = root->GetFirstSubnode();
	while (node)
	{
		if (node->structureType == 'grup')
		{
			node = ChildNode<Structure>::NextNode(root, node);
			continue;
		}

		// Layers, the canvas and all else that is no shape are passed over
		// with what they hold.
		Structure* next = ChildNode<Structure>::NextSibling(root, node);
		if (node->baseStructureType != 'geom')
		{
			node = next;
			continue;
		}

		GeometryStructure* shape = static_cast<GeometryStructure*>(node);
		uint8_t shapeColor[4] = {0, 0, 0, 255};
		bool colored = false;
		for (Structure* child = shape->GetFirstSubnode(); child;)
		{
			Structure* following = child->GetNextSubnode();
			if (child->structureType == 'fill')
			{
				// The Fill goes, and a gradient with it; only its solid colour stays.
				for (const Structure* paint = child->GetFirstSubnode(); (paint) && (!colored); paint = paint->GetNextSubnode())
				{
					if (paint->structureType != 'colr') continue;
					static_cast<const ColorStructure*>(paint)->GetColorBytes(0, shapeColor);
					colored = true;
				}

				colored = true;
				delete child;
			}

			child = following;
		}

		shape->fill = nullptr;

		if ((!layer) || (!ColorEqual(layerColor, shapeColor)))
		{
			if (layer) FinishLayer(layer, font, document, indexList, glyphList, glyphTable);
			indexList->data.Add(uint32_t(glyphList->GetCount()));
			for (uint8_t byte : shapeColor) colorList->data.Add(byte);
			std::memcpy(layerColor, shapeColor, 4);
			layer = NewGlyph(font, uint32_t(glyphList->GetCount()));
		}

		layer->AppendSubnode(shape);

		// The world transform, taken into the unit square, replaces the
		// shape's own transforms.
		Transform4D matrix = normal * shape->matrix;
		for (Structure* child = shape->GetFirstSubnode(); child;)
		{
			Structure* following = child->GetNextSubnode();
			if (child->baseStructureType == 'mtrx') delete child;
			child = following;
		}

		TransformStructure* transform = new TransformStructure;
		FloatStructure* values = new FloatStructure(6, false);
		static const int32_t kEntries[6] = {0, 1, 4, 5, 12, 13};
		for (int32_t entry : kEntries) values->data.Add(CanonicalNan(matrix[entry]));
		transform->AppendSubnode(values);
		shape->PrependSubnode(transform);

		node = next;
	}

	if (layer) FinishLayer(layer, font, document, indexList, glyphList, glyphTable);
}

// The values of a '-' sequence name; false when one of them is invalid.
static bool ReadNameSequence(const char* name, Array<uint32_t, 16>* codes)
{
	const char* cursor = name;
	for (;;)
	{
		uint32_t code = 0;
		if (!ReadNameValue(&cursor, &code)) return false;
		codes->Add(code);
		if (*cursor != '-') return true;
		cursor++;
	}
}

void AssembleFont(const DirectoryList& list, VectorDocument* const* documents, VectorDocument* outputDocument)
{
	uint32_t* charTable = static_cast<uint32_t*>(std::calloc(size_t(kCodePointCount), sizeof(uint32_t)));
	if (!charTable) std::abort();

	FontStructure* font = new FontStructure;
	outputDocument->rootStructure.AppendSubnode(font);

	// Glyph 0 stays empty; drawings start at 1.
	GlyphList glyphList;
	glyphList.Add(NewGlyph(font, 0));

	LayerTable glyphTable(kLayerBuckets, kLayerLoad);
	int32_t count = list.GetCount();

	// Single code points first, so that sequences find the glyphs of their
	// first codes. A later file takes the code; the earlier glyph stays.
	for (int32_t i = 0; i < count; i++)
	{
		const char* name = list[i].name;
		if ((!documents[i]) || (FindChar(name, '-') >= 0)) continue;

		const char* cursor = name;
		uint32_t code = 0;
		if (!ReadNameValue(&cursor, &code)) continue;

		charTable[code] = uint32_t(glyphList.GetCount());
		AddGlyphs(font, documents[i], &glyphList, &glyphTable);
	}

	for (int32_t i = 0; i < count; i++)
	{
		const char* name = list[i].name;
		if ((!documents[i]) || (FindChar(name, '-') < 0)) continue;

		Array<uint32_t, 16> codes;
		if ((!ReadNameSequence(name, &codes)) || (codes.GetCount() < 2)) continue;

		uint32_t base = charTable[codes[0]];
		if (base == 0) continue;

		// A code after the first without a drawing of its own gets an empty glyph.
		Array<uint32_t, 16> matches;
		for (int32_t j = 1; j < codes.GetCount(); j++)
		{
			uint32_t& entry = charTable[codes[j]];
			if (entry == 0)
			{
				entry = uint32_t(glyphList.GetCount());
				glyphList.Add(NewGlyph(font, entry));
			}

			matches.Add(entry);
		}

		AddSequenceRule(glyphList[int32_t(base)], 'ccmp', matches.GetCount(), matches.GetData(), uint32_t(glyphList.GetCount()));
		AddGlyphs(font, documents[i], &glyphList, &glyphTable);
	}

	// Deliberate: a run that reaches the last code point is left out, and
	// the map keeps the low 16 bits of each glyph index.
	int32_t code = 0;
	while (code < kCodePointCount)
	{
		if (charTable[code] == 0)
		{
			code++;
			continue;
		}

		int32_t first = code;
		while ((code < kCodePointCount) && (charTable[code] != 0)) code++;
		if (code == kCodePointCount) break;

		CharMapStructure* charMap = new CharMapStructure;
		charMap->firstCode = uint32_t(first);
		UnsignedInt16Structure* values = new UnsignedInt16Structure;
		for (int32_t c = first; c < code; c++) values->data.Add(uint16_t(charTable[c]));
		charMap->AppendSubnode(values);
		font->AppendSubnode(charMap);
	}

	font->glyphCount = uint32_t(glyphList.GetCount());
	font->ResetGlyphTable();

	// A drawing that failed its own processing may fail here too; the font
	// is written as it stands all the same.
	outputDocument->ProcessDocument();

	glyphTable.Purge();
	std::free(charTable);
}
