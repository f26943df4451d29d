// The parser of description texts: structure lists, property lists, ParseText.

#include "description/Structure.h"

#include "description/Literals.h"
#include "description/Primitive.h"

// Number of structures from `node` up to (not counting) the top of its tree,
// counted no further than the limit.
static int32_t NestingDepth(const Structure* node)
{
	int32_t depth = 0;
	for (const Structure* up = node->GetParent(); up && depth <= kMaxNestingDepth; up = up->GetParent()) depth++;
	return depth;
}

static int32_t CountLines(const char* text, const char* end)
{
	int32_t lines = 1;
	for (const char* c = text; c < end && *c != 0; c++)
	{
		if (*c == '\n') lines++;
	}
	return lines;
}

// Everything behind the identifier of a structure already appended to its parent: array size,
// validation, name, properties and body. The caller destroys it on failure.
static uint32_t ParseStructureBody(Document* document, const char** text, Structure* parent, Structure* structure, bool primitive, bool unknown)
{
	const char* cursor = *text;
	uint32_t result = 0;

	if (primitive && *cursor == '[')
	{
		cursor = SkipWhitespace(cursor + 1);
		if (*cursor == '-')
		{
			*text = cursor;
			return 'PMAS';
		}
		uint64_t size = 0;
		result = ReadUnsignedInt64(&cursor, &size);
		if (result != 0)
		{
			*text = cursor;
			return result;
		}
		if (size < 1 || size > 256)
		{
			*text = cursor;
			return 'PMAS';
		}
		if (*cursor != ']')
		{
			*text = cursor;
			return 'PMSE';
		}
		cursor = SkipWhitespace(cursor + 1);
		PrimitiveStructure* data = static_cast<PrimitiveStructure*>(structure);
		data->arraySize = uint32_t(size);
		if (*cursor == '*')
		{
			data->stateFlag = true;
			cursor = SkipWhitespace(cursor + 1);
		}
	}

	if (!unknown && !parent->ValidateSubstructure(document, structure))
	{
		*text = cursor;
		return 'IVST';
	}

	if (*cursor == '$' || *cursor == '%')
	{
		bool global = (*cursor == '$');
		int32_t length = 0;
		result = ReadIdentifier(cursor + 1, &length, &structure->structureName);
		if (result != 0)
		{
			*text = cursor + 1;
			return result;
		}
		structure->globalNameFlag = global;
		if (!structure->FileName(global ? &document->globalMap : &parent->localMap))
		{
			*text = cursor;
			return 'STNE';
		}
		cursor = SkipWhitespace(cursor + 1 + length);
	}

	// A primitive with '(' falls through to the brace check.
	if (!primitive && *cursor == '(')
	{
		cursor = SkipWhitespace(cursor + 1);
		if (*cursor != ')')
		{
			result = ParsePropertyList(document, &cursor, structure);
			if (result != 0)
			{
				*text = cursor;
				return result;
			}
			if (*cursor != ')')
			{
				*text = cursor;
				return 'PPSE';
			}
		}
		cursor = SkipWhitespace(cursor + 1);
	}

	if (*cursor != '{')
	{
		*text = cursor;
		return 'SYNT';
	}
	cursor = SkipWhitespace(cursor + 1);

	if (*cursor != '}')
	{
		if (primitive) result = static_cast<PrimitiveStructure*>(structure)->ParseData(&cursor);
		else result = ParseStructureList(document, &cursor, structure);
		if (result != 0)
		{
			*text = cursor;
			return result;
		}
		if (*cursor != '}')
		{
			*text = cursor;
			return 'SYNT';
		}
	}
	*text = SkipWhitespace(cursor + 1);
	return 0;
}

uint32_t ParseStructureList(Document* document, const char** text, Structure* parent)
{
	// Each level of the text costs a level of recursion here and in every walk
	// of the tree, so the depth is bounded.
	if (NestingDepth(parent) >= kMaxNestingDepth) return 'DEEP';

	const char* cursor = *text;
	for (;;)
	{
		String identifier;
		int32_t length = 0;
		uint32_t result = ReadIdentifier(cursor, &length, &identifier);
		if (result != 0)
		{
			*text = cursor;
			return result;
		}

		Structure* structure = nullptr;
		bool primitive = false;
		bool unknown = false;
		uint32_t type = 0;
		if (ReadDataType(cursor, nullptr, &type) == 0)
		{
			structure = CreatePrimitive(type);
			primitive = true;
		}
		else
		{
			structure = document->CreateStructure(identifier);
			if (!structure)
			{
				structure = new Structure('!UNK');
				unknown = true;
			}
		}

		structure->textLocation = cursor;
		parent->AppendSubnode(structure);
		cursor = SkipWhitespace(cursor + length);

		result = ParseStructureBody(document, &cursor, parent, structure, primitive, unknown);
		if (result != 0)
		{
			delete structure;
			*text = cursor;
			return result;
		}

		// An unknown structure needs valid syntax but leaves no trace.
		if (unknown) delete structure;

		if (*cursor == 0 || *cursor == '}')
		{
			*text = cursor;
			return 0;
		}
	}
}

uint32_t ParsePropertyList(Document* document, const char** text, Structure* structure)
{
	const char* cursor = *text;
	for (;;)
	{
		String identifier;
		int32_t length = 0;
		uint32_t result = ReadIdentifier(cursor, &length, &identifier);
		if (result != 0)
		{
			*text = cursor;
			return result;
		}
		cursor = SkipWhitespace(cursor + length);

		uint32_t type = 0;
		void* value = nullptr;
		if (!structure->ValidateProperty(document, identifier, &type, &value))
		{
			if (*cursor == '=')
			{
				cursor = SkipWhitespace(cursor + 1);

				// The first reader that accepts the value decides how far it goes.
				static const uint32_t kUnknownValueTypes[] = {'BOOL', 'STRG', 'RFNC', 'TYPE', 'UI64', 'DOUB', 'BS64'};
				bool read = false;
				for (uint32_t valueType : kUnknownValueTypes)
				{
					if (ReadLiteral(valueType, &cursor, nullptr) == 0)
					{
						read = true;
						break;
					}
				}
				if (!read)
				{
					*text = cursor;
					return 'PPSE';
				}
			}
		}
		else if (type == 'BOOL' && *cursor != '=')
		{
			// A bool property may stand by its name alone.
			if (value) *static_cast<bool*>(value) = true;
		}
		else
		{
			if (*cursor != '=')
			{
				*text = cursor;
				return 'PPSE';
			}
			cursor = SkipWhitespace(cursor + 1);
			result = ReadLiteral(type, &cursor, value);
			if (result != 0)
			{
				*text = cursor;
				return result;
			}
		}

		if (*cursor != ',')
		{
			*text = cursor;
			return 0;
		}
		cursor = SkipWhitespace(cursor + 1);
	}
}

uint32_t Document::ParseText(const char* text)
{
	rootStructure.PurgeChildren();
	errorStructure = nullptr;
	errorLine = 0;
	if (!text) text = "";

	const char* cursor = SkipWhitespace(text);
	uint32_t result = 0;
	if (*cursor != 0)
	{
		result = ParseStructureList(this, &cursor, &rootStructure);
		if (result == 0 && *cursor != 0) result = 'SYNT';
	}
	if (result != 0)
	{
		rootStructure.PurgeChildren();
		errorLine = CountLines(text, cursor);
		return result;
	}

	const char* end = cursor;
	result = ProcessDocument();
	if (result != 0 && errorStructure)
	{
		// Only a location inside this text can be counted; structures made
		// elsewhere have none.
		const char* location = errorStructure->textLocation;
		if (location && uintptr_t(location) >= uintptr_t(text) && uintptr_t(location) <= uintptr_t(end)) errorLine = CountLines(text, location);
	}
	return result;
}
