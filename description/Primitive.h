// PrimitiveStructure: the typed data lists at the leaves of the description tree.
#pragma once

#include <cstdint>

#include "description/Literals.h"
#include "description/Structure.h"
#include "support/Array.h"
#include "support/String.h"

// A flat list of values of one primitive type, grouped into sub-arrays of
// arraySize values when arraySize is not 0. baseStructureType is 'PRIM' and
// structureType the data type code ('FLOT', 'UI32', ...).
class PrimitiveStructure : public Structure
{
	public:

		explicit PrimitiveStructure(uint32_t type, uint32_t size = 0, bool state = false);
		~PrimitiveStructure() override;

		// Reads the data list at `*text` (the body between the braces) and
		// leaves `*text` behind it, or at the fault on failure.
		virtual uint32_t ParseData(const char** text) = 0;

		// 0 for a plain list, else the length of each sub-array, 1 to 256.
		uint32_t arraySize;

		// The '*' mark: each sub-array carries a state value.
		bool stateFlag;
};

// One typed class per data type: `data` holds all elements flat (its count is
// the number of scalars), `states` one value per sub-array when stateFlag is set.
template <typename T, uint32_t kTypeCode, uint32_t (*kReader)(const char**, T*)>
class DataStructure : public PrimitiveStructure
{
	public:

		DataStructure() : PrimitiveStructure(kTypeCode) {}
		DataStructure(uint32_t size, bool state) : PrimitiveStructure(kTypeCode, size, state) {}

		uint32_t ParseData(const char** text) override;

		// Number of sub-arrays, or of elements for a plain list.
		int32_t GetArrayCount() const
		{
			return (arraySize != 0) ? data.GetCount() / int32_t(arraySize) : data.GetCount();
		}

		Array<T> data;
		Array<uint32_t> states;
};

typedef DataStructure<bool, 'BOOL', ReadBool> BoolStructure;
typedef DataStructure<int8_t, 'INT8', ReadInt8> Int8Structure;
typedef DataStructure<int16_t, 'IN16', ReadInt16> Int16Structure;
typedef DataStructure<int32_t, 'IN32', ReadInt32> Int32Structure;
typedef DataStructure<int64_t, 'IN64', ReadInt64> Int64Structure;
typedef DataStructure<uint8_t, 'UIN8', ReadUnsignedInt8> UnsignedInt8Structure;
typedef DataStructure<uint16_t, 'UI16', ReadUnsignedInt16> UnsignedInt16Structure;
typedef DataStructure<uint32_t, 'UI32', ReadUnsignedInt32> UnsignedInt32Structure;
typedef DataStructure<uint64_t, 'UI64', ReadUnsignedInt64> UnsignedInt64Structure;
typedef DataStructure<uint16_t, 'HALF', ReadHalf> HalfStructure;
typedef DataStructure<float, 'FLOT', ReadFloat> FloatStructure;
typedef DataStructure<double, 'DOUB', ReadDouble> DoubleStructure;
typedef DataStructure<String, 'STRG', ReadString> StringStructure;
typedef DataStructure<Reference, 'RFNC', ReadReference> ReferenceStructure;
typedef DataStructure<uint32_t, 'TYPE', ReadTypeLiteral> TypeStructure;
typedef DataStructure<BinaryData, 'BS64', ReadBase64> Base64Structure;

// A new empty primitive of a data type code with arraySize 0, or null for a
// code that is not one of the sixteen.
PrimitiveStructure* CreatePrimitive(uint32_t type);

// Reads one literal of a data type into `value` (null only checks), for a
// property of that type. A code outside the sixteen gives 'PPIT'.
uint32_t ReadLiteral(uint32_t type, const char** text, void* value);

extern template class DataStructure<bool, 'BOOL', ReadBool>;
extern template class DataStructure<int8_t, 'INT8', ReadInt8>;
extern template class DataStructure<int16_t, 'IN16', ReadInt16>;
extern template class DataStructure<int32_t, 'IN32', ReadInt32>;
extern template class DataStructure<int64_t, 'IN64', ReadInt64>;
extern template class DataStructure<uint8_t, 'UIN8', ReadUnsignedInt8>;
extern template class DataStructure<uint16_t, 'UI16', ReadUnsignedInt16>;
extern template class DataStructure<uint32_t, 'UI32', ReadUnsignedInt32>;
extern template class DataStructure<uint64_t, 'UI64', ReadUnsignedInt64>;
extern template class DataStructure<uint16_t, 'HALF', ReadHalf>;
extern template class DataStructure<float, 'FLOT', ReadFloat>;
extern template class DataStructure<double, 'DOUB', ReadDouble>;
extern template class DataStructure<String, 'STRG', ReadString>;
extern template class DataStructure<Reference, 'RFNC', ReadReference>;
extern template class DataStructure<uint32_t, 'TYPE', ReadTypeLiteral>;
extern template class DataStructure<BinaryData, 'BS64', ReadBase64>;
