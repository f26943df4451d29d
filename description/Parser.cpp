// The parser of description texts: structure lists, property lists, ParseText.

#include "description/Structure.h"

#include "description/Literals.h"
#include "description/Primitive.h"

static int32_t CountLines(const char* text, const char* end)
{
	int32_t lines = 1;
	for (const char* c = text; c < end && *c != 0; c++)
	{
		if (*c == '\n') lines++;
	}
	return lines;
}

// Everything behind the identifier of a structure already appended to its parent, up to and
// past the '{' of its body: array size, validation, name and properties. The caller destroys
// it on failure.
static uint32_t ParseStructureHead(Document* document, const char** text, Structure* parent, Structure* structure, bool primitive, bool unknown)
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
	*text = SkipWhitespace(cursor + 1);
	return 0;
}

// Nesting has no limit but memory: the parser keeps no stack of its own. The
// structure whose body is being read is the only state, and the tree's parent
// links lead back out of every body as it closes.
uint32_t ParseStructureList(Document* document, const char** text, Structure* parent)
{
	const char* cursor = *text;
	Structure* list = parent;
	Structure* failed = nullptr;
	uint32_t result = 0;
	for (;;)
	{
		String identifier;
		int32_t length = 0;
		result = ReadIdentifier(cursor, &length, &identifier);
		if (result != 0)
		{
			failed = (list != parent) ? list : nullptr;
			break;
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
		list->AppendSubnode(structure);
		cursor = SkipWhitespace(cursor + length);

		failed = structure;
		result = ParseStructureHead(document, &cursor, list, structure, primitive, unknown);
		if (result != 0) break;

		if (*cursor != '}')
		{
			if (!primitive)
			{
				// The body is a list of its own: read it next.
				list = structure;
				continue;
			}

			result = static_cast<PrimitiveStructure*>(structure)->ParseData(&cursor);
			if (result != 0) break;
			if (*cursor != '}')
			{
				result = 'SYNT';
				break;
			}
		}

		// The cursor is on the '}' that ends `structure`. Close it, and every
		// body that ends with it.
		failed = nullptr;
		Structure* closed = structure;
		for (;;)
		{
			cursor = SkipWhitespace(cursor + 1);
			list = closed->GetParent();

			// An unknown structure needs valid syntax but leaves no trace.
			if (closed->structureType == '!UNK') delete closed;

			if ((*cursor != 0) && (*cursor != '}')) break;
			if (list == parent)
			{
				*text = cursor;
				return 0;
			}

			// The list of `list` has ended, so its own body must close here.
			if (*cursor != '}')
			{
				failed = list;
				result = 'SYNT';
				break;
			}
			closed = list;
		}
		if (result != 0) break;
	}

	// A failure destroys the structure being read and every structure whose
	// body was still open; finished older siblings stay.
	*text = cursor;
	if (failed)
	{
		while (failed->GetParent() != parent) failed = failed->GetParent();
		delete failed;
	}
	return result;
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
