#include "description/Primitive.h"

PrimitiveStructure::PrimitiveStructure(uint32_t type, uint32_t size, bool state)
	: Structure(type, 'PRIM'), arraySize(size), stateFlag(state)
{
}

PrimitiveStructure::~PrimitiveStructure()
{
}

template <typename T, uint32_t kTypeCode, uint32_t (*kReader)(const char**, T*)>
uint32_t DataStructure<T, kTypeCode, kReader>::ParseData(const char** text)
{
	const char* cursor = *text;
	uint32_t result = 0;

	if (arraySize == 0)
	{
		for (;;)
		{
			// A ',' before the '}' leaves the reader facing the brace, and its own code stands.
			result = kReader(&cursor, &data.AddNew());
			if (result != 0)
			{
				data.RemoveLast();
				break;
			}
			if (*cursor != ',') break;
			cursor = SkipWhitespace(cursor + 1);
		}
		*text = cursor;
		return result;
	}

	const int32_t size = int32_t(arraySize);
	uint32_t state = 0;
	for (;;)
	{
		if (stateFlag && kCharacterClass[uint8_t(*cursor)] == 1)
		{
			String identifier;
			int32_t length = 0;
			if (ReadIdentifier(cursor, &length, &identifier) == 0)
			{
				const Structure* parent = GetParent();
				if (!parent || !parent->GetStateValue(identifier, &state))
				{
					result = 'PMST';
					break;
				}
				cursor = SkipWhitespace(cursor + length);
			}
		}

		if (*cursor != '{')
		{
			result = 'PMIF';
			break;
		}
		cursor = SkipWhitespace(cursor + 1);

		int32_t first = data.GetCount();
		data.SetCount(first + size);
		if (stateFlag) states.Add(state);

		for (int32_t i = 0; i < size; i++)
		{
			if (i != 0)
			{
				if (*cursor != ',')
				{
					result = 'PMUS';
					break;
				}
				cursor = SkipWhitespace(cursor + 1);
			}
			result = kReader(&cursor, &data[first + i]);
			if (result != 0) break;
		}
		if (result != 0) break;

		if (*cursor != '}')
		{
			result = (*cursor == ',') ? 'PMOS' : 'PMIF';
			break;
		}
		cursor = SkipWhitespace(cursor + 1);

		if (*cursor != ',') break;
		cursor = SkipWhitespace(cursor + 1);
	}

	*text = cursor;
	return result;
}

template class DataStructure<bool, 'BOOL', ReadBool>;
template class DataStructure<int8_t, 'INT8', ReadInt8>;
template class DataStructure<int16_t, 'IN16', ReadInt16>;
template class DataStructure<int32_t, 'IN32', ReadInt32>;
template class DataStructure<int64_t, 'IN64', ReadInt64>;
template class DataStructure<uint8_t, 'UIN8', ReadUnsignedInt8>;
template class DataStructure<uint16_t, 'UI16', ReadUnsignedInt16>;
template class DataStructure<uint32_t, 'UI32', ReadUnsignedInt32>;
template class DataStructure<uint64_t, 'UI64', ReadUnsignedInt64>;
template class DataStructure<uint16_t, 'HALF', ReadHalf>;
template class DataStructure<float, 'FLOT', ReadFloat>;
template class DataStructure<double, 'DOUB', ReadDouble>;
template class DataStructure<String, 'STRG', ReadString>;
template class DataStructure<Reference, 'RFNC', ReadReference>;
template class DataStructure<uint32_t, 'TYPE', ReadTypeLiteral>;
template class DataStructure<BinaryData, 'BS64', ReadBase64>;

PrimitiveStructure* CreatePrimitive(uint32_t type)
{
	switch (type)
	{
		case 'BOOL': return new BoolStructure;
		case 'INT8': return new Int8Structure;
		case 'IN16': return new Int16Structure;
		case 'IN32': return new Int32Structure;
		case 'IN64': return new Int64Structure;
		case 'UIN8': return new UnsignedInt8Structure;
		case 'UI16': return new UnsignedInt16Structure;
		case 'UI32': return new UnsignedInt32Structure;
		case 'UI64': return new UnsignedInt64Structure;
		case 'HALF': return new HalfStructure;
		case 'FLOT': return new FloatStructure;
		case 'DOUB': return new DoubleStructure;
		case 'STRG': return new StringStructure;
		case 'RFNC': return new ReferenceStructure;
		case 'TYPE': return new TypeStructure;
		case 'BS64': return new Base64Structure;
		default: return nullptr;
	}
}

uint32_t ReadLiteral(uint32_t type, const char** text, void* value)
{
	switch (type)
	{
		case 'BOOL': return ReadBool(text, static_cast<bool*>(value));
		case 'INT8': return ReadInt8(text, static_cast<int8_t*>(value));
		case 'IN16': return ReadInt16(text, static_cast<int16_t*>(value));
		case 'IN32': return ReadInt32(text, static_cast<int32_t*>(value));
		case 'IN64': return ReadInt64(text, static_cast<int64_t*>(value));
		case 'UIN8': return ReadUnsignedInt8(text, static_cast<uint8_t*>(value));
		case 'UI16': return ReadUnsignedInt16(text, static_cast<uint16_t*>(value));
		case 'UI32': return ReadUnsignedInt32(text, static_cast<uint32_t*>(value));
		case 'UI64': return ReadUnsignedInt64(text, static_cast<uint64_t*>(value));
		case 'HALF': return ReadHalf(text, static_cast<uint16_t*>(value));
		case 'FLOT': return ReadFloat(text, static_cast<float*>(value));
		case 'DOUB': return ReadDouble(text, static_cast<double*>(value));
		case 'STRG': return ReadString(text, static_cast<String*>(value));
		case 'RFNC': return ReadReference(text, static_cast<Reference*>(value));
		case 'TYPE': return ReadTypeLiteral(text, static_cast<uint32_t*>(value));
		case 'BS64': return ReadBase64(text, static_cast<BinaryData*>(value));
		default: return 'PPIT';
	}
}
