// DocumentTestSupport: parsing and lookups in a document, shared by the document tests.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "description/Structure.h"
#include "document/Shapes.h"
#include "document/VectorDocument.h"
#include "support/TestSupport.h"

// The structure of that type (or, with `family` true, of that family) at
// position `index` in document order, or null.
inline Structure* FindStructure(const Document& document, uint32_t code, int32_t index = 0, bool family = false)
{
	const Structure* root = &document.rootStructure;
	for (Structure* node = root->GetFirstSubnode(); node; node = ChildNode<Structure>::NextNode(root, node))
	{
		if (((family ? node->baseStructureType : node->structureType) == code) && (index-- == 0)) return node;
	}

	return nullptr;
}

template <typename T>
T* Find(const Document& document, uint32_t code, int32_t index = 0) { return static_cast<T*>(FindStructure(document, code, index)); }

inline GeometryStructure* FindShape(const Document& document, int32_t index = 0) { return static_cast<GeometryStructure*>(FindStructure(document, 'geom', index, true)); }

// A text, the code its parse gives and, for a failure, the line it names.
struct ParseRow { std::string text; uint32_t result; int32_t line; };

inline void ExpectParseRows(std::initializer_list<ParseRow> rows)
{
	for (const ParseRow& row : rows)
	{
		SCOPED_TRACE(row.text);
		VectorDocument document;
		EXPECT_EQ(CodeString(document.ParseText(row.text.c_str())), CodeString(row.result));
		if (row.result != 0) { EXPECT_EQ(document.errorLine, row.line); }
	}
}

// A text and the values a test reads from its parsed document.
struct ValueRow { std::string text; std::vector<float> values; };

// A code as a number that a row of values can hold exactly: its position in `codes`, or -1.
inline float CodePosition(std::initializer_list<uint32_t> codes, uint32_t code)
{
	const uint32_t* at = std::find(codes.begin(), codes.end(), code);
	return (at == codes.end()) ? -1.0f : float(at - codes.begin());
}

// Parses each text and compares what `read` takes from the document with the
// row's values: equal, or within `bound` of them.
template <typename Read>
void ExpectValues(std::initializer_list<ValueRow> rows, Read read, float bound = 0.0f)
{
	for (const ValueRow& row : rows)
	{
		SCOPED_TRACE(row.text);
		VectorDocument document;
		ASSERT_EQ(CodeString(document.ParseText(row.text.c_str())), "0") << "line " << document.errorLine;
		std::vector<float> values = read(document);
		ASSERT_EQ(values.size(), row.values.size());
		for (size_t i = 0; i < values.size(); i++)
			EXPECT_TRUE((values[i] == row.values[i]) || (std::fabs(values[i] - row.values[i]) <= bound)) << "value " << i << ": " << values[i] << " against " << row.values[i];
	}
}
