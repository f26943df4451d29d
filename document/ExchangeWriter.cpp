// Each class's text form.
#include "document/TextWriter.h"

#include "document/Attributes.h"
#include "document/Shapes.h"
#include "document/VectorDocument.h"
#include "document/VectorStructure.h"

// The text is written from the data lists and properties as they stand, never
// from what processing made of them, so a tree left half-processed by a fault
// is written as far as its lists hold data. Every list is read within its own
// element count.

static const char kPathLetters[10] = "MZLHVQTCS";

// Sub-arrays on one line of a path list before the next entry starts a new line.
constexpr int32_t kPathEntriesPerLine = 8;

static bool HasPreviousSibling(const Structure* structure)
{
	return (structure->GetPreviousSubnode() != nullptr);
}

static const PrimitiveStructure* FindDataList(const Structure* structure, uint32_t type)
{
	for (const Structure* node = structure->GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if ((node->baseStructureType == 'PRIM') && (node->structureType == type))
		{
			return static_cast<const PrimitiveStructure*>(node);
		}
	}

	return nullptr;
}

static const FloatStructure* FindFloatList(const Structure* structure)
{
	return static_cast<const FloatStructure*>(FindDataList(structure, 'FLOT'));
}

static bool HasStructureSubnode(const Structure* structure)
{
	for (const Structure* node = structure->GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if (node->baseStructureType != 'PRIM') return true;
	}

	return false;
}

// Quotes, backslashes, control bytes and bytes that are not part of a
// well-formed UTF-8 character are escaped, so that any text a structure holds
// reads back as the same bytes.
void WriteQuotedText(TextWriter* writer, const char* text)
{
	static const char kHexDigits[17] = "0123456789ABCDEF";

	writer->AppendCharacter('"');
	const char* run = text;
	const char* cursor = text;
	while (*cursor != 0)
	{
		uint8_t c = uint8_t(*cursor);
		int32_t length = 1;
		bool escape = ((c < 32) || (c == 127) || (c == '"') || (c == '\\'));
		if (c >= 128)
		{
			length = Utf8Length(cursor);
			if (length == 0)
			{
				escape = true;
				length = 1;
			}
		}

		if (escape)
		{
			writer->Append(run, uint32_t(cursor - run));
			if ((c == '"') || (c == '\\'))
			{
				char pair[2] = {'\\', char(c)};
				writer->Append(pair, 2);
			}
			else
			{
				char hex[4] = {'\\', 'x', kHexDigits[c >> 4], kHexDigits[c & 15]};
				writer->Append(hex, 4);
			}

			run = cursor + 1;
		}

		cursor += length;
	}

	writer->Append(run, uint32_t(cursor - run));
	writer->AppendCharacter('"');
}

static void WriteElement(TextWriter* writer, float value)
{
	writer->AppendFloat(value);
}

static void WriteElement(TextWriter* writer, uint8_t value)
{
	writer->AppendInteger(value);
}

// `count` elements joined by ", ".
template <typename T>
static void WriteElements(TextWriter* writer, const T* data, int32_t count)
{
	for (int32_t i = 0; i < count; i++)
	{
		if (i != 0) writer->Append(", ", 2);
		WriteElement(writer, data[i]);
	}
}

// "{{a, b}, {c, d}}": complete sub-arrays of `size` elements; a stray tail
// that does not fill a sub-array is left out.
template <typename T>
static void WriteSubArrays(TextWriter* writer, const T* data, int32_t count, int32_t size)
{
	writer->AppendCharacter('{');
	int32_t arrayCount = count / size;
	for (int32_t i = 0; i < arrayCount; i++)
	{
		writer->Append((i == 0) ? "{" : ", {");
		WriteElements(writer, data + i * size, size);
		writer->AppendCharacter('}');
	}

	writer->AppendCharacter('}');
}

// "float {a, b}" for a plain list, "float[n] {{...}, {...}}" for one with an
// array size; likewise for uint8.
template <typename T>
static void WriteTypedList(TextWriter* writer, const char* typeName, const T* data, int32_t count, uint32_t arraySize)
{
	writer->Append(typeName);
	if (arraySize == 0)
	{
		writer->Append(" {");
		WriteElements(writer, data, count);
		writer->AppendCharacter('}');
	}
	else
	{
		writer->AppendCharacter('[');
		writer->AppendInteger(arraySize);
		writer->Append("] ");
		WriteSubArrays(writer, data, count, int32_t(arraySize));
	}
}

static void WriteFloatList(TextWriter* writer, const FloatStructure* list)
{
	WriteTypedList(writer, "float", list->data.GetData(), list->data.GetCount(), list->arraySize);
}

// The one data list of a matrix, offset, opacity or radius inside braces;
// just "{}" when the list is missing.
static void WriteBracedFloatList(TextWriter* writer, const Structure* structure)
{
	writer->AppendCharacter('{');
	const FloatStructure* list = FindFloatList(structure);
	if (list) WriteFloatList(writer, list);
	writer->Append("}\n");
}

// Blank lines separate a transform from what stands before it, but not from
// the transforms of the same run.
static bool FollowsNonMatrix(const Structure* structure)
{
	const Structure* previous = structure->GetPreviousSubnode();
	return ((previous) && (previous->baseStructureType != 'mtrx'));
}

// Identifier, the kind unless it is the usual one, then the list.
static void WriteKindMatrix(const Structure* structure, TextWriter* writer, const char* identifier, const String& kind, const char* usualKind)
{
	writer->WriteIndented(identifier, 0, FollowsNonMatrix(structure));
	if (TextEqual(kind, usualKind))
	{
		writer->Append(" ");
	}
	else
	{
		writer->Append(" (kind = ");
		WriteQuotedText(writer, kind);
		writer->Append(") ");
	}

	WriteBracedFloatList(writer, structure);
}

// The points of a simple shape: "float[2]", a brace line, all points on one
// line, a closing brace, one level below the shape. An odd last float is
// left out.
static void WritePointList(TextWriter* writer, const FloatStructure* list)
{
	int32_t pointCount = list->data.GetCount() / 2;
	const float* data = list->data.GetData();

	writer->WriteIndented("float[2]\n", 1);
	writer->WriteIndented("{\n", 1);
	writer->WriteIndented("", 2);
	for (int32_t i = 0; i < pointCount; i++)
	{
		writer->Append((i == 0) ? "{" : ", {");
		WriteElements(writer, data + i * 2, 2);
		writer->AppendCharacter('}');
	}

	writer->AppendCharacter('\n');
	writer->WriteIndented("}\n", 1);
}

static void WriteShape(const Structure* structure, const VectorDocument* document, TextWriter* writer, const char* identifier)
{
	writer->WriteIndented(identifier, 0, HasPreviousSibling(structure));
	writer->AppendCharacter('\n');
	writer->WriteIndented("{\n");
	writer->WriteSubnodes(structure, document);

	const FloatStructure* list = FindFloatList(structure);
	if ((list) && (list->data.GetCount() >= 2)) WritePointList(writer, list);
	writer->WriteIndented("}\n");
}

// One point list of a path: entries of a command letter and its points,
// eight sub-arrays or more to a line. A state outside the commands, or a list
// without states, writes its point with no letter.
static void WritePathList(TextWriter* writer, const FloatStructure* list, bool newlineFirst)
{
	int32_t pointCount = list->data.GetCount() / 2;
	const float* data = list->data.GetData();
	int32_t stateCount = (list->stateFlag) ? list->states.GetCount() : 0;

	writer->WriteIndented("float[2]*\n", 1, newlineFirst);
	writer->WriteIndented("{\n", 1);
	writer->WriteIndented("", 2);

	int32_t lineCount = 0;
	int32_t index = 0;
	while (index < pointCount)
	{
		if (index != 0)
		{
			if (lineCount >= kPathEntriesPerLine)
			{
				writer->Append(",\n");
				writer->WriteIndented("", 2);
				lineCount = 0;
			}
			else
			{
				writer->Append(", ");
			}
		}

		uint32_t state = (index < stateCount) ? list->states[index] : 0xFFFFFFFFU;
		int32_t points = 1;
		if (state <= kPathSmoothCubic)
		{
			writer->AppendCharacter(kPathLetters[state]);
			if ((state == kPathQuadratic) || (state == kPathSmoothCubic)) points = 2;
			else if (state == kPathCubic) points = 3;
		}

		// An entry cut off by the end of the list writes the points it has.
		if (points > pointCount - index) points = pointCount - index;
		for (int32_t i = 0; i < points; i++)
		{
			writer->Append((i == 0) ? "{" : ", {");
			WriteElements(writer, data + (index + i) * 2, 2);
			writer->AppendCharacter('}');
		}

		index += points;
		lineCount += points;
	}

	writer->AppendCharacter('\n');
	writer->WriteIndented("}\n", 1);
}

const char* VectorStructure::BlockIdentifier(bool*) const
{
	return nullptr;
}

void CanvasStructure::WriteStructure(const VectorDocument* document, TextWriter* writer) const
{
	writer->WriteBlock(this, document);
}

const char* CanvasStructure::BlockIdentifier(bool* newlineFirst) const
{
	*newlineFirst = false;
	return "Canvas";
}

void NameStructure::WriteStructure(const VectorDocument*, TextWriter* writer) const
{
	const StringStructure* list = static_cast<const StringStructure*>(FindDataList(this, 'STRG'));
	if ((!list) || (list->data.GetCount() == 0) || (list->data[0].IsEmpty())) return;

	writer->WriteIndented("Name {string {", 0, HasPreviousSibling(this));
	for (int32_t i = 0; i < list->data.GetCount(); i++)
	{
		if (i != 0) writer->Append(", ");
		WriteQuotedText(writer, list->data[i]);
	}

	writer->Append("}}\n");
}

void MessageStructure::WriteStructure(const VectorDocument*, TextWriter* writer) const
{
	const StringStructure* list = static_cast<const StringStructure*>(FindDataList(this, 'STRG'));
	if ((!list) || (list->data.GetCount() == 0) || (list->data[0].IsEmpty())) return;

	// Messages in a run stand together without blank lines.
	const Structure* previous = GetPreviousSubnode();
	writer->WriteIndented("Message (kind = ", 0, (previous) && (previous->structureType != 'mess'));
	WriteQuotedText(writer, kind);
	writer->Append(") {string {");
	WriteQuotedText(writer, list->data[0]);
	writer->Append("}}\n");
}

void LayerStructure::WriteStructure(const VectorDocument* document, TextWriter* writer) const
{
	writer->WriteBlock(this, document);
}

const char* LayerStructure::BlockIdentifier(bool* newlineFirst) const
{
	// Deliberate: a layer always stands behind a blank line, even the first
	// structure of a file.
	*newlineFirst = true;
	return "Layer";
}

void ObjectStructure::WriteStructure(const VectorDocument* document, TextWriter* writer) const
{
	writer->WriteBlock(this, document);
}

const char* ObjectStructure::BlockIdentifier(bool* newlineFirst) const
{
	*newlineFirst = HasPreviousSibling(this);
	return "Object";
}

void GroupStructure::WriteStructure(const VectorDocument* document, TextWriter* writer) const
{
	writer->WriteBlock(this, document);
}

const char* GroupStructure::BlockIdentifier(bool* newlineFirst) const
{
	*newlineFirst = HasPreviousSibling(this);
	return "Group";
}

void InstanceStructure::WriteStructure(const VectorDocument* document, TextWriter* writer) const
{
	writer->WriteBlock(this, document);
}

const char* InstanceStructure::BlockIdentifier(bool* newlineFirst) const
{
	// Deliberate: the reference is a data list, and only the transforms are
	// written, so an instance loses its reference.
	*newlineFirst = HasPreviousSibling(this);
	return "Instance";
}

void TransformStructure::WriteStructure(const VectorDocument*, TextWriter* writer) const
{
	writer->WriteIndented("Transform ", 0, FollowsNonMatrix(this));
	WriteBracedFloatList(writer, this);
}

void TranslationStructure::WriteStructure(const VectorDocument*, TextWriter* writer) const
{
	WriteKindMatrix(this, writer, "Translation", kind, "xy");
}

void RotationStructure::WriteStructure(const VectorDocument*, TextWriter* writer) const
{
	WriteKindMatrix(this, writer, "Rotation", kind, "z");
}

void ScaleStructure::WriteStructure(const VectorDocument*, TextWriter* writer) const
{
	WriteKindMatrix(this, writer, "Scale", kind, "xy");
}

void OffsetStructure::WriteStructure(const VectorDocument*, TextWriter* writer) const
{
	writer->WriteIndented("Offset ", 0, HasPreviousSibling(this));
	WriteBracedFloatList(writer, this);
}

void RangeStructure::WriteStructure(const VectorDocument*, TextWriter* writer) const
{
	writer->WriteIndented("Range\n", 0, HasPreviousSibling(this));
	writer->WriteIndented("{\n");

	// The pairs (x0, x1), (y0, y1) and, with six values, (z0, z1).
	const FloatStructure* list = FindFloatList(this);
	if (list)
	{
		writer->WriteIndented("float[2] ", 1);
		WriteSubArrays(writer, list->data.GetData(), list->data.GetCount(), 2);
		writer->AppendCharacter('\n');
	}

	writer->WriteIndented("}\n");
}

void RadiusStructure::WriteStructure(const VectorDocument*, TextWriter* writer) const
{
	writer->WriteIndented("Radius ", 0, HasPreviousSibling(this));
	WriteBracedFloatList(writer, this);
}

void ColorStructure::WriteStructure(const VectorDocument*, TextWriter* writer) const
{
	// Colours of a run stand together, and so do the layers of a component.
	const Structure* previous = GetPreviousSubnode();
	const Structure* parent = GetSuperNode();
	bool newlineFirst = ((previous) && (previous->structureType != 'colr') && ((!parent) || (parent->structureType != 'comp')));

	writer->WriteIndented("Color", 0, newlineFirst);
	if (palette != 0)
	{
		writer->Append(" (palette = ");
		writer->AppendInteger(palette);
		writer->AppendCharacter(')');
	}

	writer->Append(" {");
	// The first float or uint8 list holds the colours.
	const PrimitiveStructure* list = nullptr;
	for (const Structure* node = GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if ((node->baseStructureType == 'PRIM') && ((node->structureType == 'FLOT') || (node->structureType == 'UIN8')))
		{
			list = static_cast<const PrimitiveStructure*>(node);
			break;
		}
	}

	if (list)
	{
		if (list->structureType == 'FLOT')
		{
			WriteFloatList(writer, static_cast<const FloatStructure*>(list));
		}
		else
		{
			const UnsignedInt8Structure* byteList = static_cast<const UnsignedInt8Structure*>(list);
			WriteTypedList(writer, "uint8", byteList->data.GetData(), byteList->data.GetCount(), byteList->arraySize);
		}
	}

	writer->Append("}\n");
}

void GradientStructure::WriteStructure(const VectorDocument* document, TextWriter* writer) const
{
	bool linear = TextEqual(kind, "linear");
	writer->WriteIndented("Gradient", 0, HasPreviousSibling(this));
	if ((!linear) || (objectFlag))
	{
		writer->Append(" (");
		if (!linear)
		{
			writer->Append("kind = ");
			WriteQuotedText(writer, kind);
			if (objectFlag) writer->Append(", object");
		}
		else
		{
			writer->Append("object");
		}

		writer->AppendCharacter(')');
	}

	writer->AppendCharacter('\n');
	writer->WriteIndented("{\n");

	// The position: three values for a linear gradient, a centre for a
	// radial one. A list too short for its kind, or one of an unknown kind,
	// is written as it stands.
	const FloatStructure* list = FindFloatList(this);
	if (list)
	{
		int32_t size = (linear) ? 3 : (TextEqual(kind, "radial") ? 2 : 0);
		writer->WriteIndented("", 1);
		if ((size != 0) && (list->data.GetCount() >= size))
		{
			WriteTypedList(writer, "float", list->data.GetData(), size, uint32_t(size));
		}
		else
		{
			WriteFloatList(writer, list);
		}

		writer->AppendCharacter('\n');
	}

	writer->WriteSubnodes(this, document);
	writer->WriteIndented("}\n");
}

void OpacityStructure::WriteStructure(const VectorDocument*, TextWriter* writer) const
{
	writer->WriteIndented("Opacity ", 0, HasPreviousSibling(this));
	WriteBracedFloatList(writer, this);
}

void DashStructure::WriteStructure(const VectorDocument* document, TextWriter* writer) const
{
	writer->WriteIndented("Dash\n", 0, HasPreviousSibling(this));
	writer->WriteIndented("{\n");
	writer->WriteSubnodes(this, document);

	// Lengths go in pairs of dash and gap; an odd last length is dropped.
	const FloatStructure* list = FindFloatList(this);
	if ((list) && (list->data.GetCount() >= 2))
	{
		writer->WriteIndented("float[2] ", 1);
		WriteSubArrays(writer, list->data.GetData(), list->data.GetCount(), 2);
		writer->AppendCharacter('\n');
	}

	writer->WriteIndented("}\n");
}

void FillStructure::WriteStructure(const VectorDocument* document, TextWriter* writer) const
{
	writer->WriteIndented("Fill", 0, HasPreviousSibling(this));
	if (!TextEqual(rule, "nonzero"))
	{
		writer->Append(" (rule = ");
		WriteQuotedText(writer, rule);
		writer->AppendCharacter(')');
	}

	if (!HasStructureSubnode(this))
	{
		writer->Append(" {}\n");
		return;
	}

	writer->AppendCharacter('\n');
	writer->WriteIndented("{\n");
	writer->WriteSubnodes(this, document);
	writer->WriteIndented("}\n");
}

void StrokeStructure::WriteStructure(const VectorDocument* document, TextWriter* writer) const
{
	writer->WriteIndented("Stroke", 0, HasPreviousSibling(this));

	// Only the properties that differ from their defaults, in this order.
	const char* separator = " (";
	if (!TextEqual(cap, "flat"))
	{
		writer->Append(separator);
		writer->Append("cap = ");
		WriteQuotedText(writer, cap);
		separator = ", ";
	}

	if (!TextEqual(join, "bevel"))
	{
		writer->Append(separator);
		writer->Append("join = ");
		WriteQuotedText(writer, join);
		separator = ", ";
	}

	if (miter != 4.0f)
	{
		writer->Append(separator);
		writer->Append("miter = ");
		writer->AppendFloat(miter);
		separator = ", ";
	}

	if (separator[0] == ',') writer->AppendCharacter(')');
	writer->AppendCharacter('\n');
	writer->WriteIndented("{\n");

	// The width is the last plain list of one value, as processing reads it;
	// it is taken from the list so that an unprocessed tree keeps it too.
	const FloatStructure* widthList = nullptr;
	for (const Structure* node = GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if (IsDataList(node, 'FLOT', 0))
		{
			const FloatStructure* list = static_cast<const FloatStructure*>(node);
			if (list->data.GetCount() == 1) widthList = list;
		}
	}

	if ((widthList) && (widthList->data[0] != 1.0f))
	{
		writer->WriteIndented("float {", 1);
		writer->AppendFloat(widthList->data[0]);
		writer->Append("}\n");
	}

	writer->WriteSubnodes(this, document);
	writer->WriteIndented("}\n");
}

void LineStructure::WriteStructure(const VectorDocument* document, TextWriter* writer) const
{
	WriteShape(this, document, writer, "Line");
}

void RectStructure::WriteStructure(const VectorDocument* document, TextWriter* writer) const
{
	WriteShape(this, document, writer, "Rect");
}

void CircleStructure::WriteStructure(const VectorDocument* document, TextWriter* writer) const
{
	WriteShape(this, document, writer, "Circle");
}

void PolygonStructure::WriteStructure(const VectorDocument* document, TextWriter* writer) const
{
	WriteShape(this, document, writer, "Polygon");
}

void PathStructure::WriteStructure(const VectorDocument* document, TextWriter* writer) const
{
	writer->WriteIndented("Path\n", 0, HasPreviousSibling(this));
	writer->WriteIndented("{\n");
	bool newlineFirst = writer->WriteSubnodes(this, document);

	// Each point list is a subpath. A list without points draws nothing but
	// is written all the same, so the text holds every list the path holds.
	for (const Structure* node = GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if (!IsDataList(node, 'FLOT', 2)) continue;

		WritePathList(writer, static_cast<const FloatStructure*>(node), newlineFirst);
		newlineFirst = false;
	}

	writer->WriteIndented("}\n");
}
