// SvgTestSupport: imports SVG text and describes the tree it builds, for the importer's tests.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

#include "document/Attributes.h"
#include "document/Shapes.h"
#include "document/TextWriter.h"
#include "document/VectorDocument.h"
#include "support/TestSupport.h"
#include "svg/SvgImporter.h"

// One case of a table: an input and the text it must give.
struct SvgCase { const char* text; const char* expected; };

// Any NaN reads "nan", whatever its sign.
inline std::string FormatNumber(float value)
{
	if (std::isnan(value)) return "nan";
	char text[32];
	std::snprintf(text, sizeof(text), "%g", double(value));
	return text;
}

// A float list: F, then its array size, '*' with states (written as letters
// before each sub-array), then its values.
inline std::string DescribeList(const FloatStructure* list)
{
	std::string text = "F";
	if (list->arraySize != 0) text += std::to_string(list->arraySize);
	if (list->stateFlag) text += '*';
	text += '{';
	for (int32_t i = 0; i < list->data.GetCount(); i++)
	{
		bool subArrayStart = list->stateFlag && (i % 2 == 0);
		if (i != 0) text += subArrayStart ? " " : ",";
		if (subArrayStart) text += std::string(1, (list->states[i / 2] < 9) ? "MZLHVQTCS"[list->states[i / 2]] : '?') + ':';
		text += FormatNumber(list->data[i]);
	}

	return text + '}';
}

// The kind words of a structure in parentheses, where they differ from the defaults.
inline std::string DescribeKind(const Structure* structure)
{
	auto word = [](const String& kind, const char* usual) { return TextEqual(kind, usual) ? std::string() : "(" + std::string(kind.GetText()) + ")"; };
	switch (structure->structureType)
	{
		case 'xslt': return word(static_cast<const TranslationStructure*>(structure)->kind, "xy");
		case 'scal': return word(static_cast<const ScaleStructure*>(structure)->kind, "xy");
		case 'rota': return word(static_cast<const RotationStructure*>(structure)->kind, "z");
		case 'fill': return word(static_cast<const FillStructure*>(structure)->rule, "nonzero");
		case 'grad': { const GradientStructure* gradient = static_cast<const GradientStructure*>(structure); return "(" + std::string(gradient->kind.GetText()) + (gradient->objectFlag ? " object" : "") + ")"; }
		case 'strk': { const StrokeStructure* stroke = static_cast<const StrokeStructure*>(structure); return "(" + std::string(stroke->cap.GetText()) + " " + stroke->join.GetText() + " " + FormatNumber(stroke->miter) + ")"; }
		default: return "";
	}
}

inline std::string Describe(const Structure* structure);

inline std::string DescribeSubnodes(const Structure* structure)
{
	std::string text;
	for (const Structure* node = structure->GetFirstSubnode(); node; node = node->GetNextSubnode()) text += (text.empty() ? "" : " ") + Describe(node);
	return text;
}

// A compact form of one structure: its code, its kind words, then its
// subnodes in braces. The page flip Transform {1, 0, 0, -1, 0, t} reads flip(t).
inline std::string Describe(const Structure* structure)
{
	if (structure->baseStructureType == 'PRIM') return (structure->structureType == 'FLOT') ? DescribeList(static_cast<const FloatStructure*>(structure)) : "?";
	char code[5];
	CodeText(structure->structureType, code);
	std::string inner = DescribeSubnodes(structure);
	bool flip = (structure->structureType == 'xfrm') && (inner.compare(0, 14, "F6{1,0,0,-1,0,") == 0) && (inner.find(' ') == std::string::npos);
	if (flip) return "flip(" + inner.substr(14, inner.size() - 15) + ")";
	return code + DescribeKind(structure) + "{" + inner + "}";
}

// Imports `text` (each '$' a unit square) into `document` and describes its top level.
inline std::string ImportInto(VectorDocument* document, const char* text, uint32_t* result = nullptr)
{
	std::string source;
	for (const char* p = text; *p; p++) source += (*p == '$') ? std::string("<rect width=\"1\" height=\"1\"/>") : std::string(1, *p);
	SvgImporter importer;
	uint32_t code = importer.Import(source.c_str(), &document->rootStructure);
	if (result) *result = code;
	return DescribeSubnodes(&document->rootStructure);
}

// The description of what `text` imports, after "SVIV: " when the import reports it.
inline std::string ImportTree(const char* text)
{
	VectorDocument document;
	uint32_t result = 0;
	std::string tree = ImportInto(&document, text, &result);
	return (result != 0) ? CodeString(result) + ": " + tree : tree;
}

// Checks that `describe` gives each row's expected text.
template <size_t count>
void ExpectAll(const SvgCase (&rows)[count], std::string (*describe)(const char*) = ImportTree)
{
	for (const SvgCase& row : rows)
	{
		SCOPED_TRACE(row.text);
		EXPECT_EQ(describe(row.text), row.expected);
	}
}

// What the attribute reader finds at the start of `text`: "name=value|rest", or "none".
inline std::string ReadPair(const char* text)
{
	char name[kSvgNameSize];
	const char* value;
	int32_t length;
	if (!SvgImporter::ReadAttribute(&text, name, &value, &length)) return "none";
	return std::string(name) + "=" + std::string(value, size_t(length)) + "|" + text;
}

// The exchange text of a document, as -g writes it; the writer hands on its rest when it ends.
inline std::string WriteText(const VectorDocument& document)
{
	std::string text;
	{
		TextWriter writer([](const void* data, uint32_t size, void* context) { static_cast<std::string*>(context)->append(static_cast<const char*>(data), size); return true; }, &text);
		WriteExchangeDocument(&document, &writer);
	}

	return text;
}
