// FontStructures: a font inside the document, its metrics, character maps and glyphs with their parts.
#pragma once

#include <cstdint>

#include "document/VectorStructure.h"
#include "stroke/QuadraticCurve.h"
#include "support/Array.h"
#include "support/List.h"
#include "support/Math.h"
#include "support/String.h"

class ColorStructure;
class GlyphStructure;
class FontStructure;

// Code points of Unicode: the size of every code-to-glyph table.
constexpr int32_t kCodePointCount = 1114112;

// Family 'typo': the font classes. Each holds glyph indices that
// ShiftGlyphIndices moves, and can name itself for the comments written
// beside a glyph.
class TypographyStructure : public VectorStructure
{
	public:

		// Adds `delta` to every glyph index held here and in the font
		// structures below.
		virtual void ShiftGlyphIndices(int32_t delta);

		// Appends a short text naming this structure. `depth` counts the
		// descriptions already entered; `index` is a position among several
		// targets, or -1.
		virtual void Describe(String* text, int32_t depth, int32_t index) const;

	protected:

		explicit TypographyStructure(uint32_t type);
};

// One value of the parent Font's metrics, chosen by its key.
class MetricStructure : public TypographyStructure
{
	public:

		MetricStructure();

		bool ValidateProperty(const Document* document, const String& identifier, uint32_t* type, void** value) override;
		bool ValidateSubstructure(const Document* document, const Structure* structure) const override;
		uint32_t ProcessData(Document* document) override;
		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;

		String key;
};

// Maps the codes from `char` on to the glyph indices of its list, then
// `run` further codes to the indices that follow the last one.
class CharMapStructure : public TypographyStructure
{
	public:

		CharMapStructure();

		bool ValidateProperty(const Document* document, const String& identifier, uint32_t* type, void** value) override;
		bool ValidateSubstructure(const Document* document, const Structure* structure) const override;
		uint32_t ProcessData(Document* document) override;
		void ShiftGlyphIndices(int32_t delta) override;
		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;

		uint32_t firstCode;
		uint32_t run;
};

// Advance and Bearing: one float list of one or two values, horizontal
// and vertical. `values` holds them once processed.
class AdvanceStructure : public TypographyStructure
{
	public:

		explicit AdvanceStructure(uint32_t type = 'advc');

		bool ValidateSubstructure(const Document* document, const Structure* structure) const override;
		uint32_t ProcessData(Document* document) override;
		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;

		int32_t valueCount;
		float values[2];
};

class BearingStructure : public AdvanceStructure
{
	public:

		BearingStructure();
};

// Caret positions in a float list.
class CaretStructure : public TypographyStructure
{
	public:

		CaretStructure();

		bool ValidateSubstructure(const Document* document, const Structure* structure) const override;
		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;
};

// Kerning against the glyphs of a uint32 list by the amounts of a float list.
class KernStructure : public TypographyStructure
{
	public:

		KernStructure();

		bool ValidateProperty(const Document* document, const String& identifier, uint32_t* type, void** value) override;
		bool ValidateSubstructure(const Document* document, const Structure* structure) const override;
		void ShiftGlyphIndices(int32_t delta) override;
		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;

		bool vertical;
};

// Match and Rule: one uint32 list of at least one value, with a kind.
// `list` points to it once processed (not owned).
class MatchStructure : public TypographyStructure
{
	public:

		explicit MatchStructure(uint32_t type = 'mtch');

		bool ValidateProperty(const Document* document, const String& identifier, uint32_t* type, void** value) override;
		bool ValidateSubstructure(const Document* document, const Structure* structure) const override;
		uint32_t ProcessData(Document* document) override;
		void ShiftGlyphIndices(int32_t delta) override;
		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;

		uint32_t kind;
		const PrimitiveStructure* list;
};

class RuleStructure : public MatchStructure
{
	public:

		RuleStructure();

		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;
};

// A substitution: the glyph followed by the glyphs of its Matches turns into
// the targets of its Rules, under a feature.
class SequenceStructure : public TypographyStructure
{
	public:

		SequenceStructure();

		bool ValidateProperty(const Document* document, const String& identifier, uint32_t* type, void** value) override;
		bool ValidateSubstructure(const Document* document, const Structure* structure) const override;
		uint32_t ProcessData(Document* document) override;
		void ShiftGlyphIndices(int32_t delta) override;
		void Describe(String* text, int32_t depth, int32_t index) const override;
		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;

		uint32_t feature;

		// Children, in document order (not owned).
		Array<MatchStructure*, 0> matchList;
		Array<RuleStructure*, 0> ruleList;
};

// Alternate glyphs under a feature, and the parts a glyph decomposes into:
// a uint32 list of glyph indices each.
class AlternateStructure : public TypographyStructure
{
	public:

		explicit AlternateStructure(uint32_t type = 'altr');

		bool ValidateProperty(const Document* document, const String& identifier, uint32_t* type, void** value) override;
		bool ValidateSubstructure(const Document* document, const Structure* structure) const override;
		void ShiftGlyphIndices(int32_t delta) override;
		void Describe(String* text, int32_t depth, int32_t index) const override;
		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;

		uint32_t feature;
};

// Made only by code: the factory knows no Decompose.
class DecomposeStructure : public AlternateStructure
{
	public:

		DecomposeStructure();

		void Describe(String* text, int32_t depth, int32_t index) const override;
		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;
};

// An attachment point of the glyph, a base or a mark.
class AnchorStructure : public TypographyStructure
{
	public:

		AnchorStructure();

		bool ValidateProperty(const Document* document, const String& identifier, uint32_t* type, void** value) override;
		bool ValidateSubstructure(const Document* document, const Structure* structure) const override;
		void Describe(String* text, int32_t depth, int32_t index) const override;
		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;

		bool base;
		uint32_t index;
};

// Glyphs drawn under one matrix: the uint32 list names them, an optional
// Color of palette 0 gives each its colour. Paint is the same without the
// checks, and made only by code.
class ComponentStructure : public TypographyStructure
{
	public:

		explicit ComponentStructure(uint32_t type = 'comp');

		bool ValidateSubstructure(const Document* document, const Structure* structure) const override;
		uint32_t ProcessData(Document* document) override;
		void ShiftGlyphIndices(int32_t delta) override;
		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;

		// The transform children multiplied in order.
		Transform4D matrix;

		// Not owned; null before processing or without them.
		const PrimitiveStructure* list;
		const ColorStructure* color;
};

class PaintStructure : public ComponentStructure
{
	public:

		PaintStructure();

		uint32_t ProcessData(Document* document) override;
		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;
};

// The colour layers of a glyph: from its Components, up to 255 glyph indices
// with a colour each.
class EmojiStructure : public TypographyStructure
{
	public:

		EmojiStructure();

		bool ValidateSubstructure(const Document* document, const Structure* structure) const override;
		uint32_t ProcessData(Document* document) override;
		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;

		Array<uint32_t, 0> layerList;
		Array<uint8_t, 0> colorList;
};

// Something a glyph can turn into another glyph by: a Sequence, Alternate or
// Decompose (not owned), and the target's position among its targets, or -1
// where it has one target.
struct GlyphReference
{
	const TypographyStructure* source;
	int32_t position;
};

class GlyphStructure : public TypographyStructure
{
	public:

		GlyphStructure();

		bool ValidateProperty(const Document* document, const String& identifier, uint32_t* type, void** value) override;
		bool ValidateSubstructure(const Document* document, const Structure* structure) const override;
		uint32_t ProcessData(Document* document) override;
		void ShiftGlyphIndices(int32_t delta) override;
		void Describe(String* text, int32_t depth, int32_t index) const override;
		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;

		// Collects the curves of its shapes and of the glyphs its Components
		// name, from `font`'s glyph table, then its box and extremes. Curves
		// and glyphs gained through Components count down `budget`.
		void BuildCurves(const FontStructure* font, int32_t* budget);

		// Whether its description is made of other glyphs' names.
		bool IsComposed() const;

		uint32_t index;
		float advance[2];
		float bearing[2];

		// Children, or null (not owned).
		const CaretStructure* caret;
		const EmojiStructure* emoji;
		const ComponentStructure* alias;

		Array<uint32_t> codeList;
		Array<KernStructure*, 0> horizontalKerns;
		Array<KernStructure*, 0> verticalKerns;
		Array<AlternateStructure*, 0> alternateList;
		Array<SequenceStructure*, 0> sequenceList;
		Array<DecomposeStructure*, 0> decomposeList;
		Array<AnchorStructure*, 0> baseAnchors;
		Array<AnchorStructure*, 0> markAnchors;

		// What refers to this glyph, filled when the font is finished.
		Array<GlyphReference, 0> referenceList;

		Array<QuadraticCurve, 0> curves;
		Box2D bounds;
		float lowestX;
		float highestY;

		// Set while the glyph's curves are being collected, which guards
		// against Components that lead back to it.
		mutable bool curveStackFlag;
};

class FontStructure : public TypographyStructure, public ListElement<FontStructure>
{
	public:

		FontStructure();
		~FontStructure() override;

		bool ValidateProperty(const Document* document, const String& identifier, uint32_t* type, void** value) override;
		bool ValidateSubstructure(const Document* document, const Structure* structure) const override;
		uint32_t ProcessData(Document* document) override;
		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;

		// The post-load step: glyph curves, code lists, derived metrics and
		// glyph links; the font joins the document's or its parent's list.
		void FinishFont(VectorDocument* document);

		// Replaces the glyph table by a cleared one for glyphCount + 10 entries.
		void ResetGlyphTable();

		// The glyph of that index, or null.
		GlyphStructure* GetGlyph(uint32_t glyphIndex) const;

		// The outermost Font that holds this one: the owner of the glyph
		// table and the glyph count that indices are checked against.
		const FontStructure* GetOwningFont() const;

		uint32_t glyphCount;
		float inverseScale;
		float scaleX;
		float scaleY;

		// Owned. glyphTable has glyphTableSize entries (not owned glyphs);
		// charTable has kCodePointCount entries, 0 for an unmapped code.
		GlyphStructure** glyphTable;
		int32_t glyphTableSize;
		uint32_t* charTable;

		float ascent;
		float descent;
		float lineGap;
		float typoAscent;
		float typoDescent;
		float typoLineGap;
		float capHeight;
		float exHeight;
		float mathAxisHeight;
		float subScale[2];
		float subOffset[2];
		float superScale[2];
		float superOffset[2];
		uint32_t weightClass;
		uint32_t widthClass;
		float slantAngle;
		float underSize;
		float underPosition;
		float strikeSize;
		float strikePosition;

		// Nested Fonts, once finished (not owned).
		List<FontStructure> subFonts;
};

// Adds to `glyph` a Sequence under `feature` that turns the glyph followed
// by the `count` glyphs into `result`.
void AddSequenceRule(GlyphStructure* glyph, uint32_t feature, int32_t count, const uint32_t* glyphs, uint32_t result);

// The post-load step of the document's top-level Fonts.
void FinishFonts(VectorDocument* document);
