// SvgTestSupport: imports SVG text and describes the tree it builds, for the importer's tests.
#pragma once

#include <cstdio>
#include <string>

#include "description/Primitive.h"
#include "document/Attributes.h"
#include "document/Shapes.h"
#include "document/TextWriter.h"
#include "document/VectorDocument.h"
#include "support/Code.h"
#include "svg/SvgImporter.h"

inline std::string FormatNumber(float value)
{
	char text[32];
	std::snprintf(text, sizeof(text), "%g", double(value));
	return text;
}

// A compact form of one structure: its code, the properties that differ from
// their defaults in parentheses, then its subnodes in braces. Float lists are
// F, F2, F2* (with states, written as letters) and so on; the page flip
// Transform {1, 0, 0, -1, 0, t} reads flip(t).
inline std::string Describe(const Structure* structure);

inline std::string DescribeSubnodes(const Structure* structure)
{
	std::string text;
	for (const Structure* node = structure->GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if (!text.empty()) text += ' ';
		text += Describe(node);
	}

	return text;
}

inline std::string Describe(const Structure* structure)
{
	if (structure->baseStructureType == 'PRIM')
	{
		if (structure->structureType != 'FLOT') return "?";
		const FloatStructure* list = static_cast<const FloatStructure*>(structure);
		std::string text = "F";
		if (list->arraySize != 0) text += std::to_string(list->arraySize);
		if (list->stateFlag) text += '*';
		text += '{';
		int32_t count = list->data.GetCount();
		for (int32_t i = 0; i < count; i++)
		{
			bool subArrayStart = list->stateFlag && (i % 2 == 0);
			if (i != 0) text += subArrayStart ? " " : ",";
			if (subArrayStart)
			{
				uint32_t state = list->states[i / 2];
				text += (state < 9) ? "MZLHVQTCS"[state] : '?';
				text += ':';
			}
			text += FormatNumber(list->data[i]);
		}
		return text + '}';
	}

	char code[5];
	CodeText(structure->structureType, code);
	std::string text = code;

	if (structure->structureType == 'xfrm')
	{
		const Structure* node = structure->GetFirstSubnode();
		if (node && !node->GetNextSubnode() && (node->structureType == 'FLOT'))
		{
			const FloatStructure* list = static_cast<const FloatStructure*>(node);
			if ((list->arraySize == 6) && (list->data.GetCount() == 6) && (list->data[0] == 1.0f) && (list->data[1] == 0.0f)
					&& (list->data[2] == 0.0f) && (list->data[3] == -1.0f) && (list->data[4] == 0.0f))
			{
				return "flip(" + FormatNumber(list->data[5]) + ")";
			}
		}
	}
	else if (structure->structureType == 'xslt')
	{
		const String& kind = static_cast<const TranslationStructure*>(structure)->kind;
		if (!TextEqual(kind, "xy")) text += "(" + std::string(kind.GetText()) + ")";
	}
	else if (structure->structureType == 'scal')
	{
		const String& kind = static_cast<const ScaleStructure*>(structure)->kind;
		if (!TextEqual(kind, "xy")) text += "(" + std::string(kind.GetText()) + ")";
	}
	else if (structure->structureType == 'rota')
	{
		const String& kind = static_cast<const RotationStructure*>(structure)->kind;
		if (!TextEqual(kind, "z")) text += "(" + std::string(kind.GetText()) + ")";
	}
	else if (structure->structureType == 'fill')
	{
		const String& rule = static_cast<const FillStructure*>(structure)->rule;
		if (!TextEqual(rule, "nonzero")) text += "(" + std::string(rule.GetText()) + ")";
	}
	else if (structure->structureType == 'grad')
	{
		const GradientStructure* gradient = static_cast<const GradientStructure*>(structure);
		text += "(" + std::string(gradient->kind.GetText()) + (gradient->objectFlag ? " object" : "") + ")";
	}
	else if (structure->structureType == 'strk')
	{
		const StrokeStructure* stroke = static_cast<const StrokeStructure*>(structure);
		text += "(" + std::string(stroke->cap.GetText()) + " " + std::string(stroke->join.GetText()) + " "
				+ FormatNumber(stroke->miter) + ")";
	}

	return text + "{" + DescribeSubnodes(structure) + "}";
}

// Imports `text` into `document` and returns the description of its top level.
inline std::string ImportInto(VectorDocument* document, const char* text, uint32_t* result = nullptr)
{
	SvgImporter importer;
	uint32_t code = importer.Import(text, &document->rootStructure);
	if (result) *result = code;
	return DescribeSubnodes(&document->rootStructure);
}

inline std::string ImportTree(const char* text, uint32_t* result = nullptr)
{
	VectorDocument document;
	return ImportInto(&document, text, result);
}

// Writer callback that gathers the text into a std::string.
inline bool CollectText(const void* data, uint32_t size, void* context)
{
	static_cast<std::string*>(context)->append(static_cast<const char*>(data), size);
	return true;
}

// The exchange text of a document, as -g writes it.
inline std::string WriteText(const VectorDocument& document)
{
	std::string text;
	{
		TextWriter writer(CollectText, &text);
		WriteExchangeDocument(&document, &writer);
	}

	return text;
}
