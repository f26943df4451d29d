// DescriptionTestSupport: exact text copies, values as text and a small vocabulary for the description tests.
#pragma once

#include <cstdio>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "description/Primitive.h"
#include "description/Structure.h"
#include "support/TestSupport.h"

// An exactly sized heap copy, so the address sanitizer reports any read behind the NUL.
inline std::vector<char> Buffer(const std::string& text) { return std::vector<char>(text.c_str(), text.c_str() + text.size() + 1); }

// A value as text: integers signed in decimal and unsigned in hexadecimal,
// floating point as its bit pattern, binary data as hexadecimal bytes.
template <typename T>
inline std::string Show(const T& value)
{
	if constexpr (std::is_same_v<T, bool>) return (value) ? "true" : "false";
	else if constexpr (std::is_signed_v<T> && std::is_integral_v<T>) return std::to_string(value);
	char text[24];
	unsigned long long bits = 0;
	std::memcpy(&bits, &value, sizeof(T));
	std::snprintf(text, sizeof(text), "%llX", bits);
	return text;
}

inline std::string Show(const String& value) { return std::string(value.GetText(), size_t(value.GetTextLength())); }

inline std::string Show(const Reference& value)
{
	if (value.names.GetCount() == 0) return "null";
	std::string text;
	for (const String& name : value.names) text += std::string((text.empty() && value.globalFlag) ? "$" : "%") + name.GetText();
	return text;
}

inline std::string Show(const BinaryData& value)
{
	std::string text;
	for (int32_t i = 0; i < value.size; i++)
	{
		if (i != 0) text += ' ';
		text += Show(value.data[i]);
	}
	return text;
}

// Group holds anything, Leaf nothing, Path only lists with states and knows the
// states M, Z and L, Inner may not stand at the top, Fail fails when processed.
// Every structure records its processing in the document.
class TestStructure : public Structure
{
	public:

		explicit TestStructure(uint32_t type) : Structure(type, 'test') {}

		bool ValidateProperty(const Document*, const String& identifier, uint32_t* type, void** value) override
		{
			struct Property { const char* name; uint32_t type; void* field; };
			const Property properties[] =
			{
				{"flag", 'BOOL', &flag}, {"count", 'UI32', &count}, {"scale", 'FLOT', &scale}, {"label", 'STRG', &label},
				{"target", 'RFNC', &target}, {"blob", 'BS64', &blob}, {"small", 'INT8', &small}, {"odd", 'ODD?', &count},
			};
			const Property* found = properties;
			while ((found < std::end(properties)) && (std::strcmp(identifier.GetText(), found->name) != 0)) found++;
			if (found == std::end(properties)) return false;
			*type = found->type;
			*value = found->field;
			return true;
		}

		bool ValidateSubstructure(const Document*, const Structure* structure) const override
		{
			// The parser attaches a structure before it asks.
			if ((structure->GetSuperNode() != this) || (structureType == 'leaf')) return false;
			if (structureType != 'path') return true;
			return (structure->baseStructureType == 'PRIM') && static_cast<const PrimitiveStructure*>(structure)->stateFlag;
		}

		bool GetStateValue(const String& identifier, uint32_t* value) const override
		{
			static const char kStates[] = "MZL";
			const char* state = std::strchr(kStates, identifier.GetText()[0]);
			if ((structureType != 'path') || (identifier.GetTextLength() != 1) || !state) return false;
			*value = uint32_t(state - kStates);
			return true;
		}

		uint32_t ProcessData(Document* document) override;

		bool flag = false;
		uint32_t count = 0;
		float scale = 0.0f;
		int8_t small = 0;
		String label;
		Reference target;
		BinaryData blob;
};

class TestDocument : public Document
{
	public:

		Structure* CreateStructure(const String& identifier) override
		{
			const char* names[] = {"Group", "Leaf", "Path", "Inner", "Fail"};
			const uint32_t types[] = {'grup', 'leaf', 'path', 'innr', 'fail'};
			for (int32_t i = 0; i < 5; i++) if (std::strcmp(identifier.GetText(), names[i]) == 0) return new TestStructure(types[i]);
			return nullptr;
		}

		bool ValidateTopLevelStructure(const Structure* structure) const override { return structure->structureType != 'innr'; }

		std::string processed;
};

inline uint32_t TestStructure::ProcessData(Document* document)
{
	static_cast<TestDocument*>(document)->processed += CodeString(structureType) + " ";
	if (structureType == 'fail') return 'FAIL';
	return Structure::ProcessData(document);
}

inline uint32_t Parse(Document* document, const std::string& text)
{
	std::vector<char> buffer = Buffer(text);
	return document->ParseText(buffer.data());
}
