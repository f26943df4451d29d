// The text forms of the font classes.
#include "font/FontStructures.h"

#include "description/Primitive.h"
#include "document/TextWriter.h"
#include "document/VectorDocument.h"

// Values on one line of a long CharMap list, and the count above which a
// list is written as a block.
static const int32_t kCharMapValuesPerLine = 32;

// Structures written as blocks have a blank line before them when something
// precedes them.
static bool HasPreviousSibling(const Structure* structure)
{
	return (structure->GetPreviousSubnode() != nullptr);
}

// One-line forms stand together, and behind a block they stand after a blank line.
static bool FollowsBlock(const Structure* structure)
{
	static const uint32_t kLineTypes[12] = {'mtrc', 'cmap', 'advc', 'bear', 'cart', 'mtch', 'rule', 'altr', 'dcmp', 'anch', 'name', 'mess'};
	const Structure* previous = structure->GetPreviousSubnode();
	if ((!previous) || (previous->baseStructureType == 'PRIM')) return false;
	for (uint32_t type : kLineTypes)
	{
		if (previous->structureType == type) return false;
	}

	return true;
}

static const PrimitiveStructure* FindList(const Structure* structure, uint32_t type)
{
	for (const Structure* node = structure->GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if ((node->baseStructureType == 'PRIM') && (node->structureType == type)) return static_cast<const PrimitiveStructure*>(node);
	}

	return nullptr;
}

static int32_t ValueCount(const PrimitiveStructure* list)
{
	if (list->structureType == 'UI16') return static_cast<const UnsignedInt16Structure*>(list)->data.GetCount();
	if (list->structureType == 'UI32') return static_cast<const UnsignedInt32Structure*>(list)->data.GetCount();
	return static_cast<const FloatStructure*>(list)->data.GetCount();
}

// Value `i` of a uint16, uint32 or float list.
static void WriteValue(TextWriter* writer, const PrimitiveStructure* list, int32_t i)
{
	if (list->structureType == 'UI16') writer->AppendInteger(static_cast<const UnsignedInt16Structure*>(list)->data[i]);
	else if (list->structureType == 'UI32') writer->AppendInteger(static_cast<const UnsignedInt32Structure*>(list)->data[i]);
	else writer->AppendFloat(static_cast<const FloatStructure*>(list)->data[i]);
}

static const char* TypeName(const PrimitiveStructure* list)
{
	if (list->structureType == 'UI16') return "uint16";
	if (list->structureType == 'UI32') return "uint32";
	return "float";
}

// Values `first` to `last` - 1 joined by ", ".
static void WriteValueRun(TextWriter* writer, const PrimitiveStructure* list, int32_t first, int32_t last)
{
	for (int32_t i = first; i < last; i++)
	{
		if (i != first) writer->Append(", ");
		WriteValue(writer, list, i);
	}
}

// "uint32 {a, b}": all values as one plain list, whatever the array size.
static void WritePlainList(TextWriter* writer, const PrimitiveStructure* list)
{
	writer->Append(TypeName(list));
	writer->Append(" {");
	WriteValueRun(writer, list, 0, ValueCount(list));
	writer->AppendCharacter('}');
}

// "type[n] {{a, b}, {c, d}}": whole sub-arrays; a tail that fills none is left out.
static void WriteSubArrayList(TextWriter* writer, const PrimitiveStructure* list)
{
	int32_t size = int32_t(list->arraySize);
	int32_t arrayCount = ValueCount(list) / size;
	writer->Append(TypeName(list));
	writer->AppendCharacter('[');
	writer->AppendInteger(size);
	writer->Append("] {");
	for (int32_t i = 0; i < arrayCount; i++)
	{
		writer->Append((i == 0) ? "{" : ", {");
		WriteValueRun(writer, list, i * size, (i + 1) * size);
		writer->AppendCharacter('}');
	}

	writer->AppendCharacter('}');
}

// " {" the list "}" and a line feed, or " {}" without a list.
static void WriteBracedList(TextWriter* writer, const PrimitiveStructure* list)
{
	writer->Append(" {");
	if (list) WritePlainList(writer, list);
	writer->Append("}\n");
}

// Identifier, a block of the subnodes, and `list` as the block's first line.
static void WriteListBlock(const Structure* structure, const VectorDocument* document, TextWriter* writer, const char* identifier, const PrimitiveStructure* list)
{
	writer->WriteIndented(identifier, 0, HasPreviousSibling(structure));
	writer->AppendCharacter('\n');
	writer->WriteIndented("{\n");
	if (list)
	{
		writer->WriteIndented("", 1);
		WritePlainList(writer, list);
		writer->AppendCharacter('\n');
	}

	writer->WriteSubnodes(structure, document);
	writer->WriteIndented("}\n");
}

// "0x" and at least four upper-case hexadecimal digits.
static void WriteHexCode(TextWriter* writer, uint32_t code)
{
	static const char kDigits[17] = "0123456789ABCDEF";
	char text[11];
	int32_t count = 0;
	do
	{
		text[count++] = kDigits[code & 15];
		code >>= 4;
	}
	while ((code != 0) || (count < 4));

	writer->Append("0x");
	while (count > 0) writer->AppendCharacter(text[--count]);
}

void FontStructure::WriteStructure(const VectorDocument* document, TextWriter* writer) const
{
	writer->WriteIndented("Font", 0, HasPreviousSibling(this));
	if (glyphCount != 0)
	{
		writer->Append(" (glyph_count = ");
		writer->AppendInteger(glyphCount);
		writer->AppendCharacter(')');
	}

	writer->AppendCharacter('\n');
	writer->WriteIndented("{\n");
	writer->WriteSubnodes(this, document);
	writer->WriteIndented("}\n");
}

void MetricStructure::WriteStructure(const VectorDocument*, TextWriter* writer) const
{
	// The value as the first list holds it; no value, no Metric.
	const Structure* node = GetFirstSubnode();
	if ((!node) || (node->baseStructureType != 'PRIM')) return;

	const PrimitiveStructure* list = static_cast<const PrimitiveStructure*>(node);
	bool pair = ((list->structureType == 'FLOT') && (list->arraySize == 2));
	int32_t count = ((list->structureType == 'FLOT') || (list->structureType == 'UI32')) ? ValueCount(list) : 0;
	if (count < ((pair) ? 2 : 1)) return;

	writer->WriteIndented("Metric (key = ", 0, FollowsBlock(this));
	WriteQuotedText(writer, key);
	if (pair)
	{
		writer->Append(") {float[2] {{");
		WriteValueRun(writer, list, 0, 2);
		writer->Append("}}}\n");
		return;
	}

	writer->Append((list->structureType == 'FLOT') ? ") {float {" : ") {uint32 {");
	WriteValue(writer, list, 0);
	writer->Append("}}\n");
}

void CharMapStructure::WriteStructure(const VectorDocument*, TextWriter* writer) const
{
	const PrimitiveStructure* list = FindList(this, 'UI16');
	if (!list) list = FindList(this, 'UI32');
	int32_t count = (list) ? ValueCount(list) : 0;
	bool block = (count > kCharMapValuesPerLine);

	writer->WriteIndented("CharMap (char = ", 0, (block) ? HasPreviousSibling(this) : FollowsBlock(this));
	WriteHexCode(writer, firstCode);
	if (run != 0)
	{
		writer->Append(", run = ");
		writer->AppendInteger(run);
	}

	writer->AppendCharacter(')');
	if (!block)
	{
		WriteBracedList(writer, list);
		return;
	}

	writer->AppendCharacter('\n');
	writer->WriteIndented("{\n");
	writer->WriteIndented(TypeName(list), 1);
	writer->AppendCharacter('\n');
	writer->WriteIndented("{\n", 1);
	for (int32_t first = 0; first < count; first += kCharMapValuesPerLine)
	{
		int32_t last = (count - first > kCharMapValuesPerLine) ? first + kCharMapValuesPerLine : count;
		writer->WriteIndented("", 2);
		WriteValueRun(writer, list, first, last);
		writer->Append((last < count) ? ",\n" : "\n");
	}

	writer->WriteIndented("}\n", 1);
	writer->WriteIndented("}\n");
}

void AdvanceStructure::WriteStructure(const VectorDocument*, TextWriter* writer) const
{
	writer->WriteIndented((structureType == 'advc') ? "Advance" : "Bearing", 0, FollowsBlock(this));
	WriteBracedList(writer, FindList(this, 'FLOT'));
}

void CaretStructure::WriteStructure(const VectorDocument*, TextWriter* writer) const
{
	writer->WriteIndented("Caret", 0, FollowsBlock(this));
	WriteBracedList(writer, FindList(this, 'FLOT'));
}

void KernStructure::WriteStructure(const VectorDocument*, TextWriter* writer) const
{
	writer->WriteIndented((vertical) ? "Kern (vertical)\n" : "Kern\n", 0, HasPreviousSibling(this));
	writer->WriteIndented("{\n");

	const PrimitiveStructure* lists[2] = {FindList(this, 'UI32'), FindList(this, 'FLOT')};
	for (const PrimitiveStructure* list : lists)
	{
		if (!list) continue;
		writer->WriteIndented("", 1);
		WritePlainList(writer, list);
		writer->AppendCharacter('\n');
	}

	writer->WriteIndented("}\n");
}

void MatchStructure::WriteStructure(const VectorDocument*, TextWriter* writer) const
{
	writer->WriteIndented("Match ", 0, FollowsBlock(this));
	if (kind != 0)
	{
		writer->Append("(kind = ");
		writer->WriteCode(kind);
		writer->Append(") ");
	}

	writer->AppendCharacter('{');
	const PrimitiveStructure* values = FindList(this, 'UI32');
	if (values) WritePlainList(writer, values);
	writer->Append("}\n");
}

void RuleStructure::WriteStructure(const VectorDocument*, TextWriter* writer) const
{
	writer->WriteIndented("Rule (kind = ", 0, FollowsBlock(this));
	writer->WriteCode(kind);
	writer->Append(") {");

	// Pairs keep their array size, so they read back as pairs.
	const PrimitiveStructure* values = FindList(this, 'UI32');
	if ((values) && (values->arraySize == 2)) WriteSubArrayList(writer, values);
	else if (values) WritePlainList(writer, values);
	writer->Append("}\n");
}

void SequenceStructure::WriteStructure(const VectorDocument* document, TextWriter* writer) const
{
	writer->WriteIndented("Sequence (feature = ", 0, HasPreviousSibling(this));
	writer->WriteCode(feature);
	writer->AppendCharacter(')');
	writer->AppendCharacter('\n');
	writer->WriteIndented("{\n");

	const PrimitiveStructure* values = FindList(this, 'UI32');
	if (values)
	{
		writer->WriteIndented("", 1);
		WritePlainList(writer, values);
		writer->AppendCharacter('\n');
	}

	writer->WriteSubnodes(this, document);
	writer->WriteIndented("}\n");
}

void AlternateStructure::WriteStructure(const VectorDocument*, TextWriter* writer) const
{
	writer->WriteIndented("Alternate (feature = ", 0, FollowsBlock(this));
	writer->WriteCode(feature);
	writer->AppendCharacter(')');
	WriteBracedList(writer, FindList(this, 'UI32'));
}

void DecomposeStructure::WriteStructure(const VectorDocument*, TextWriter* writer) const
{
	writer->WriteIndented("Decompose", 0, FollowsBlock(this));
	WriteBracedList(writer, FindList(this, 'UI32'));
}

void AnchorStructure::WriteStructure(const VectorDocument*, TextWriter* writer) const
{
	writer->WriteIndented((base) ? "Anchor (base, index = " : "Anchor (index = ", 0, FollowsBlock(this));
	writer->AppendInteger(index);
	writer->Append(") {");

	const PrimitiveStructure* point = FindList(this, 'FLOT');
	if ((point) && (point->arraySize == 2)) WriteSubArrayList(writer, point);
	writer->Append("}\n");
}

void ComponentStructure::WriteStructure(const VectorDocument* document, TextWriter* writer) const
{
	WriteListBlock(this, document, writer, "Component", FindList(this, 'UI32'));
}

void PaintStructure::WriteStructure(const VectorDocument* document, TextWriter* writer) const
{
	WriteListBlock(this, document, writer, "Paint", FindList(this, 'UI32'));
}

void EmojiStructure::WriteStructure(const VectorDocument* document, TextWriter* writer) const
{
	WriteListBlock(this, document, writer, "Emoji", nullptr);
}

void GlyphStructure::WriteStructure(const VectorDocument* document, TextWriter* writer) const
{
	writer->WriteIndented("Glyph (index = ", 0, HasPreviousSibling(this));
	writer->AppendInteger(index);
	writer->AppendCharacter(')');

	String description;
	Describe(&description, 0, -1);
	if (!description.IsEmpty())
	{
		writer->Append("\t\t// ");
		writer->Append(description);
	}

	writer->AppendCharacter('\n');
	writer->WriteIndented("{\n");
	writer->WriteSubnodes(this, document);
	writer->WriteIndented("}\n");
}
