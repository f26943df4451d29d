#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "description/Primitive.h"
#include "document/Attributes.h"
#include "document/DocumentTestSupport.h"
#include "document/VectorDocument.h"
#include "support/TestSupport.h"

// Parses `body` as the children of one Line and returns the result code.
static uint32_t ParseInLine(VectorDocument* document, const std::string& body)
{
	std::string text = "Line {\n" + body + "\n}\n";
	return document->ParseText(text.c_str());
}

static const float kIdentity[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

TEST(Transform, FillsTheMatrixByColumnsForEverySize)
{
	struct Row
	{
		const char* text;
		float matrix[16];
	};

	const Row rows[] =
	{
		{"Transform {float[4] {{2, 3, 4, 5}}}", {2, 3, 0, 0, 4, 5, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}},
		{"Transform {float[6] {{1, 0, 0, 1, 5, 7}}}", {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 5, 7, 0, 1}},
		{"Transform {float[9] {{1, 2, 3, 4, 5, 6, 7, 8, 9}}}", {1, 2, 3, 0, 4, 5, 6, 0, 7, 8, 9, 0, 0, 0, 0, 1}},
		{"Transform {float[12] {{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}}}", {1, 2, 3, 0, 4, 5, 6, 0, 7, 8, 9, 0, 10, 11, 12, 1}},
		{"Transform {float[16] {{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}}}", {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		VectorDocument document;
		ASSERT_EQ(CodeString(ParseInLine(&document, row.text)), "0");
		const MatrixStructure* transform = static_cast<const MatrixStructure*>(FindStructure(document, 'xfrm'));
		ASSERT_NE(transform, nullptr);
		for (int32_t i = 0; i < 16; i++) EXPECT_EQ(transform->matrix[i], row.matrix[i]) << "entry " << i;
	}
}

// Each failing row stands on line 2, the line of the structure that fails.
struct FailureRow
{
	const char* text;
	uint32_t result;
};

static void ExpectFailures(const FailureRow* rows, size_t count)
{
	for (size_t i = 0; i < count; i++)
	{
		SCOPED_TRACE(rows[i].text);
		VectorDocument document;
		EXPECT_EQ(CodeString(ParseInLine(&document, rows[i].text)), CodeString(rows[i].result));
		EXPECT_EQ(document.errorLine, 2);
	}
}

TEST(Transform, RejectsMissingExtraAndMisshapenData)
{
	const FailureRow rows[] =
	{
		{"Transform {}", 'MSSB'},
		{"Transform {float[4] {{1, 0, 0, 1}} float[4] {{1, 0, 0, 1}}}", 'EXSB'},
		{"Transform {float[4] {{1, 0, 0, 1}, {1, 0, 0, 1}}}", 'IVDF'},
		{"Transform {float[6] {}}", 'IVDF'},
	};

	ExpectFailures(rows, sizeof(rows) / sizeof(rows[0]));
}

TEST(Translation, WritesTheTranslationColumnByKind)
{
	struct Row
	{
		const char* text;
		uint32_t result;
		float x, y, z;
	};

	const Row rows[] =
	{
		{"Translation {float[2] {{3, -4}}}", 0, 3, -4, 0},
		{"Translation (kind = \"xy\") {float[2] {{3, -4}}}", 0, 3, -4, 0},
		{"Translation (kind = \"x\") {float {3}}", 0, 3, 0, 0},
		{"Translation (kind = \"y\") {float {3}}", 0, 0, 3, 0},
		{"Translation (kind = \"z\") {float {3}}", 0, 0, 0, 3},
		{"Translation (kind = \"xyz\") {float[3] {{1, 2, 3}}}", 0, 1, 2, 3},
		{"Translation (kind = \"x\") {float[2] {{1, 2}}}", 'IVDF', 0, 0, 0},
		{"Translation (kind = \"x\") {float {1, 2}}", 'IVDF', 0, 0, 0},
		{"Translation {float {1, 2}}", 'IVDF', 0, 0, 0},
		{"Translation {float[2] {{1, 2}, {3, 4}}}", 'IVDF', 0, 0, 0},
		{"Translation (kind = \"xyz\") {float[2] {{1, 2}}}", 'IVDF', 0, 0, 0},
		{"Translation (kind = \"X\") {float {1}}", 'ivtk', 0, 0, 0},
		{"Translation (kind = \"\") {float {1}}", 'ivtk', 0, 0, 0},
		{"Translation (kind = \"xz\") {float[2] {{1, 2}}}", 'ivtk', 0, 0, 0},
		{"Translation (kind = \"w\") {}", 'MSSB', 0, 0, 0},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		VectorDocument document;
		ASSERT_EQ(CodeString(ParseInLine(&document, row.text)), CodeString(row.result));
		if (row.result != 0)
		{
			EXPECT_EQ(document.errorLine, 2);
			continue;
		}

		const MatrixStructure* translation = static_cast<const MatrixStructure*>(FindStructure(document, 'xslt'));
		float expected[16];
		for (int32_t i = 0; i < 16; i++) expected[i] = kIdentity[i];
		expected[12] = row.x;
		expected[13] = row.y;
		expected[14] = row.z;
		for (int32_t i = 0; i < 16; i++) EXPECT_EQ(translation->matrix[i], expected[i]) << "entry " << i;
	}
}

TEST(Scale, SetsTheDiagonalByKind)
{
	struct Row
	{
		const char* text;
		uint32_t result;
		float x, y, z;
	};

	const Row rows[] =
	{
		{"Scale {float[2] {{2, 3}}}", 0, 2, 3, 1},
		{"Scale (kind = \"x\") {float {2}}", 0, 2, 1, 1},
		{"Scale (kind = \"y\") {float {2}}", 0, 1, 2, 1},
		{"Scale (kind = \"z\") {float {2}}", 0, 1, 1, 2},
		{"Scale (kind = \"xyz\") {float[3] {{2, 3, 4}}}", 0, 2, 3, 4},
		{"Scale (kind = \"xy\") {float {2}}", 'IVDF', 0, 0, 0},
		{"Scale (kind = \"z\") {float[3] {{1, 2, 3}}}", 'IVDF', 0, 0, 0},
		{"Scale (kind = \"uniform\") {float {2}}", 'ivsk', 0, 0, 0},
		{"Scale {}", 'MSSB', 0, 0, 0},
		{"Scale {float {1} float {2}}", 'EXSB', 0, 0, 0},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		VectorDocument document;
		ASSERT_EQ(CodeString(ParseInLine(&document, row.text)), CodeString(row.result));
		if (row.result != 0)
		{
			EXPECT_EQ(document.errorLine, 2);
			continue;
		}

		const MatrixStructure* scale = static_cast<const MatrixStructure*>(FindStructure(document, 'scal'));
		float expected[16];
		for (int32_t i = 0; i < 16; i++) expected[i] = kIdentity[i];
		expected[0] = row.x;
		expected[5] = row.y;
		expected[10] = row.z;
		for (int32_t i = 0; i < 16; i++) EXPECT_EQ(scale->matrix[i], expected[i]) << "entry " << i;
	}
}

TEST(Rotation, TurnsAboutEachAxisInOneSense)
{
	struct Row
	{
		const char* text;
		float matrix[16];
	};

	// Quarter turns: y goes to z about x, z to x about y, x to y about z.
	const Row rows[] =
	{
		{"Rotation {float {90}}", {0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}},
		{"Rotation (kind = \"z\") {float {-90}}", {0, -1, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}},
		{"Rotation (kind = \"x\") {float {90}}", {1, 0, 0, 0, 0, 0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1}},
		{"Rotation (kind = \"y\") {float {90}}", {0, 0, -1, 0, 0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 0, 1}},
		{"Rotation (kind = \"z\") {float {180}}", {-1, 0, 0, 0, 0, -1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}},
		{"Rotation (kind = \"axis\") {float[4] {{90, 0, 0, 5}}}", {0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}},
		{"Rotation (kind = \"axis\") {float[4] {{90, 0.5, 0, 0}}}", {1, 0, 0, 0, 0, 0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1}},
		{"Rotation (kind = \"axis\") {float[4] {{90, 0, -3, 0}}}", {0, 0, 1, 0, 0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 0, 1}},
		// A third of a turn about the diagonal cycles the axes: x to y, y to z, z to x.
		{"Rotation (kind = \"axis\") {float[4] {{120, 1, 1, 1}}}", {0, 1, 0, 0, 0, 0, 1, 0, 1, 0, 0, 0, 0, 0, 0, 1}},
	};

	// Bound: the table sine and cosine and the one-step inverse square root
	// are good to a few units of 1e-7.
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		VectorDocument document;
		ASSERT_EQ(CodeString(ParseInLine(&document, row.text)), "0");
		const MatrixStructure* rotation = static_cast<const MatrixStructure*>(FindStructure(document, 'rota'));
		for (int32_t i = 0; i < 16; i++) EXPECT_NEAR(rotation->matrix[i], row.matrix[i], 2e-6) << "entry " << i;
	}
}

TEST(Rotation, RejectsUnknownKindsAndWrongLists)
{
	const FailureRow rows[] =
	{
		{"Rotation (kind = \"xy\") {float {90}}", 'ivrk'},
		{"Rotation (kind = \"Axis\") {float[4] {{90, 0, 0, 1}}}", 'ivrk'},
		{"Rotation (kind = \"axis\") {float {90}}", 'IVDF'},
		{"Rotation (kind = \"z\") {float[4] {{90, 0, 0, 1}}}", 'IVDF'},
		{"Rotation {float {90, 1}}", 'IVDF'},
		{"Rotation (kind = \"axis\") {float[4] {{90, 0, 0, 1}, {90, 0, 0, 1}}}", 'IVDF'},
		{"Rotation {}", 'MSSB'},
	};

	ExpectFailures(rows, sizeof(rows) / sizeof(rows[0]));
}

TEST(Rotation, ZeroAxisGivesValuesThatAreNotFinite)
{
	VectorDocument document;
	ASSERT_EQ(CodeString(ParseInLine(&document, "Rotation (kind = \"axis\") {float[4] {{90, 0, 0, 0}}}")), "0");
	const MatrixStructure* rotation = static_cast<const MatrixStructure*>(FindStructure(document, 'rota'));
	EXPECT_FALSE(std::isfinite(rotation->matrix[0]));
}

TEST(Radius, OneValueServesBothAxes)
{
	struct Row
	{
		const char* text;
		uint32_t result;
		float x, y;
	};

	const Row rows[] =
	{
		{"Rect {\nRadius {float {3}}\n}", 0, 3, 3},
		{"Rect {\nRadius {float[2] {{3, 4}}}\n}", 0, 3, 4},
		{"Rect {\nRadius {float {3, 4}}\n}", 'IVDF', 0, 0},
		{"Rect {\nRadius {float[2] {{3, 4}, {5, 6}}}\n}", 'IVDF', 0, 0},
		{"Rect {\nRadius {float {}}\n}", 'IVDF', 0, 0},
		{"Rect {\nRadius {}\n}", 'MSSB', 0, 0},
		{"Rect {\nRadius {float {1} float {2}}\n}", 'EXSB', 0, 0},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		VectorDocument document;
		ASSERT_EQ(CodeString(document.ParseText(row.text)), CodeString(row.result));
		if (row.result != 0)
		{
			EXPECT_EQ(document.errorLine, 2);
			continue;
		}

		const RadiusStructure* radius = static_cast<const RadiusStructure*>(FindStructure(document, 'radi'));
		EXPECT_EQ(radius->radius[0], row.x);
		EXPECT_EQ(radius->radius[1], row.y);
	}
}

TEST(Opacity, HoldsExactlyOneValue)
{
	VectorDocument document;
	ASSERT_EQ(CodeString(ParseInLine(&document, "Opacity {float {0.25}}")), "0");
	EXPECT_EQ(static_cast<const OpacityStructure*>(FindStructure(document, 'opac'))->opacity, 0.25f);

	const FailureRow rows[] =
	{
		{"Opacity {}", 'MSSB'},
		{"Opacity {float {0.5, 0.5}}", 'IVDF'},
		{"Opacity {float {}}", 'IVDF'},
		{"Opacity {float {1} float {1}}", 'EXSB'},
		{"Stroke {Dash {Offset {float {}}}}", 'IVDF'},
		{"Stroke {Dash {Offset {}}}", 'MSSB'},
	};

	ExpectFailures(rows, sizeof(rows) / sizeof(rows[0]));
}

static void ExpectColor(const float* actual, float r, float g, float b, float a)
{
	EXPECT_EQ(actual[0], r);
	EXPECT_EQ(actual[1], g);
	EXPECT_EQ(actual[2], b);
	EXPECT_EQ(actual[3], a);
}

TEST(Color, ReadsFloatAndByteListsAsLinearColour)
{
	struct Row
	{
		const char* text;
		uint32_t count;
		int32_t index;
		float rgba[4];
	};

	const Row rows[] =
	{
		{"Color {uint8[3] {{255, 0, 0}}}", 1, 0, {1.0f, 0.0f, 0.0f, 1.0f}},
		{"Color {uint8[4] {{0, 255, 0, 255}}}", 1, 0, {0.0f, 1.0f, 0.0f, 1.0f}},
		{"Color {uint8[4] {{0, 0, 0, 0}, {255, 255, 255, 51}}}", 2, 1, {1.0f, 1.0f, 1.0f, 51.0f * 0.003921569f}},
		{"Color {float[3] {{0.5, 0.25, 2}}}", 1, 0, {0.5f, 0.25f, 2.0f, 1.0f}},
		{"Color {float[4] {{1, 2, 3, 4}, {5, 6, 7, 0.5}, {0, 0, 0, 0}}}", 3, 1, {5.0f, 6.0f, 7.0f, 0.5f}},
		// Out of range: opaque black.
		{"Color {float[4] {{1, 2, 3, 4}}}", 1, 1, {0.0f, 0.0f, 0.0f, 1.0f}},
		{"Color {float[4] {{1, 2, 3, 4}}}", 1, -1, {0.0f, 0.0f, 0.0f, 1.0f}},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		VectorDocument document;
		std::string text = std::string("Fill {\n") + row.text + "\n}";
		ASSERT_EQ(CodeString(ParseInLine(&document, text)), "0");
		const ColorStructure* color = static_cast<const ColorStructure*>(FindStructure(document, 'colr'));
		EXPECT_EQ(color->colorCount, row.count);

		float rgba[4];
		color->GetColor(row.index, rgba);
		ExpectColor(rgba, row.rgba[0], row.rgba[1], row.rgba[2], row.rgba[3]);
	}
}

TEST(Color, FailuresNameTheColourLine)
{
	const char* rows[][2] =
	{
		{"Color {}", "MSSB"},
		{"Color {uint8[3] {}}", "IVDF"},
		{"Color {float[4] {}}", "IVDF"},
		{"Color {uint8[3] {{1, 2, 3}} float[3] {{1, 2, 3}}}", "EXSB"},
		{"Color {uint8[3] {{1, 2, 3}} uint8[3] {}}", "EXSB"},
	};

	for (const auto& row : rows)
	{
		SCOPED_TRACE(row[0]);
		VectorDocument document;
		EXPECT_EQ(CodeString(document.ParseText((std::string("Line {\nFill {\n") + row[0] + "\n}\n}").c_str())), row[1]);
		EXPECT_EQ(document.errorLine, 3);
	}
}

TEST(Color, ReadsBytesBackFromEitherList)
{
	struct Row
	{
		const char* text;
		uint8_t rgba[4];
	};

	// 0.5 encodes to 0.735357 (x 255 = 187.52), 0.25 to 0.537099 (136.96),
	// 0.002 to 0.02584 on the linear part (6.59), 0.5 alpha to 127.5 + 0.5.
	const Row rows[] =
	{
		{"Color {uint8[3] {{12, 200, 255}}}", {12, 200, 255, 255}},
		{"Color {uint8[4] {{1, 2, 3, 4}}}", {1, 2, 3, 4}},
		{"Color {float[3] {{0, 1, 0.5}}}", {0, 255, 188, 255}},
		{"Color {float[4] {{0.25, 0.002, 1, 0.5}}}", {137, 7, 255, 128}},
		// Values outside 0 to 1 are held to the byte range.
		{"Color {float[4] {{2, -1, 100000, -3}}}", {255, 0, 255, 0}},
		{"Color {float[4] {{1e30, -1e30, 0, 1e30}}}", {255, 0, 0, 255}},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		VectorDocument document;
		ASSERT_EQ(CodeString(ParseInLine(&document, std::string("Fill {\n") + row.text + "\n}")), "0");
		const ColorStructure* color = static_cast<const ColorStructure*>(FindStructure(document, 'colr'));

		uint8_t rgba[4];
		color->GetColorBytes(0, rgba);
		for (int32_t i = 0; i < 4; i++) EXPECT_EQ(int32_t(rgba[i]), int32_t(row.rgba[i])) << "channel " << i;

		// Any index outside the list reads as opaque black.
		color->GetColorBytes(1, rgba);
		EXPECT_EQ(int32_t(rgba[0]) + int32_t(rgba[1]) + int32_t(rgba[2]), 0);
		EXPECT_EQ(int32_t(rgba[3]), 255);
	}
}

TEST(Color, EveryByteSurvivesDecodingAndEncoding)
{
	ColorStructure color;
	FloatStructure* list = new FloatStructure(3, false);
	for (int32_t i = 0; i < 256; i++)
	{
		list->data.Add(kSrgbToLinear[i]);
		list->data.Add(kSrgbToLinear[i]);
		list->data.Add(kSrgbToLinear[i]);
	}

	color.AppendSubnode(list);
	VectorDocument document;
	ASSERT_EQ(CodeString(color.ProcessData(&document)), "0");
	ASSERT_EQ(color.colorCount, 256u);

	for (int32_t i = 0; i < 256; i++)
	{
		uint8_t rgba[4];
		color.GetColorBytes(i, rgba);
		EXPECT_EQ(int32_t(rgba[0]), i);
		EXPECT_EQ(int32_t(rgba[3]), 255);
	}
}

TEST(SrgbToLinear, FollowsTheExactCurve)
{
	// Reference in double precision; the bound is 0.000008 at every byte.
	for (int32_t i = 0; i < 256; i++)
	{
		double c = i / 255.0;
		double exact = (c <= 0.04045) ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
		EXPECT_NEAR(double(kSrgbToLinear[i]), exact, 0.000008) << "byte " << i;
		if (i > 0)
		{
			EXPECT_GT(kSrgbToLinear[i], kSrgbToLinear[i - 1]) << "byte " << i;
		}
	}

	EXPECT_EQ(kSrgbToLinear[0], 0.0f);
	EXPECT_EQ(kSrgbToLinear[255], 1.0f);
}

static const char* kTwoColors = "Color {float[4] {{1, 0, 0, 1}, {0, 0, 1, 0.5}}}";

TEST(Gradient, ChecksItsChildrenAndKind)
{
	struct Row
	{
		std::string text;
		uint32_t result;
	};

	const std::string colors = kTwoColors;
	const Row rows[] =
	{
		{"Gradient {float {1, 0, 0} " + colors + "}", 0},
		{"Gradient (kind = \"radial\") {float {1, 2} Radius {float {3}} " + colors + "}", 0},
		{"Gradient {" + colors + "}", 'MSSB'},
		{"Gradient {float {1, 0, 0}}", 'MSSB'},
		{"Gradient (kind = \"radial\") {float {1, 2} " + colors + "}", 'MSSB'},
		{"Gradient {float {1, 0} " + colors + "}", 'IVDF'},
		{"Gradient {float[3] {{1, 0, 0}, {1, 0, 0}} " + colors + "}", 'IVDF'},
		{"Gradient (kind = \"radial\") {float {1, 2, 3} Radius {float {3}} " + colors + "}", 'IVDF'},
		{"Gradient {float {1, 0, 0} Color {float[3] {{1, 0, 0}}}}", 'IVDF'},
		{"Gradient {float {1, 0, 0} Color {uint8[3] {{1, 0, 0}, {1, 1, 1}, {2, 2, 2}}}}", 'IVDF'},
		{"Gradient {float {1, 0, 0} float {1, 0, 0} " + colors + "}", 'EXSB'},
		{"Gradient {float {1, 0, 0} " + colors + " " + colors + "}", 'EXSB'},
		{"Gradient {float {1, 0, 0} Radius {float {1}} Radius {float {1}} " + colors + "}", 'EXSB'},
		{"Gradient (kind = \"conic\") {float {1, 0, 0} " + colors + "}", 'ivgk'},
		{"Gradient (kind = \"Linear\") {float {1, 0, 0} " + colors + "}", 'ivgk'},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		VectorDocument document;
		EXPECT_EQ(CodeString(document.ParseText(("Line {\nFill {\n" + row.text + "\n}\n}").c_str())), CodeString(row.result));
		if (row.result != 0)
		{
			EXPECT_EQ(document.errorLine, 3);
		}
	}
}

TEST(Fill, ResolvesRuleColourAndGradient)
{
	struct Row
	{
		std::string text;
		uint32_t rule;
		uint32_t gradientType;
		float color[4];
		float geometry[3];
		bool objectFlag;
	};

	const std::string colors = kTwoColors;
	const Row rows[] =
	{
		{"Fill {}", 0, 0, {0, 0, 0, 1}, {0, 0, 0}, false},
		{"Fill (rule = \"other\") {}", 0, 0, {0, 0, 0, 1}, {0, 0, 0}, false},
		{"Fill (rule = \"EvenOdd\") {}", 0, 0, {0, 0, 0, 1}, {0, 0, 0}, false},
		{"Fill (rule = \"evenodd\") {Color {float[4] {{0.5, 0.25, 0.125, 0.75}}}}", 'EVOD', 0, {0.5f, 0.25f, 0.125f, 0.75f}, {0, 0, 0}, false},
		{"Fill {Gradient {float {1, 2, 3} " + colors + "}}", 0, 'LINR', {1, 1, 1, 1}, {1, 2, 3}, false},
		{"Fill {Gradient (kind = \"radial\", object) {float {4, 5} Radius {float[2] {{6, 7}}} " + colors + "}}", 0, 'RADL', {1, 1, 1, 1}, {4, 5, 6}, true},
		{"Fill {Color {uint8[3] {{0, 0, 255}}} Gradient {float {1, 2, 3} " + colors + "}}", 0, 'LINR', {0, 0, 1, 1}, {1, 2, 3}, false},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		VectorDocument document;
		// A unit box leaves gradients in object units as they are.
		ASSERT_EQ(CodeString(ParseInLine(&document, row.text + " float[2] {{0, 0}, {1, 1}}")), "0");
		const FillParameters& parameters = static_cast<const FillStructure*>(FindStructure(document, 'fill'))->parameters;
		EXPECT_EQ(CodeString(parameters.fillRule), CodeString(row.rule));
		EXPECT_EQ(CodeString(parameters.gradientType), CodeString(row.gradientType));
		ExpectColor(parameters.color, row.color[0], row.color[1], row.color[2], row.color[3]);
		EXPECT_EQ(parameters.objectFlag, row.objectFlag);

		const float* geometry = (row.gradientType == 'RADL') ? parameters.radialGradient : parameters.linearGradient;
		for (int32_t i = 0; i < 3; i++) EXPECT_EQ(geometry[i], row.geometry[i]);

		if (row.gradientType != 0)
		{
			ExpectColor(parameters.gradientColor0, 1, 0, 0, 1);
			ExpectColor(parameters.gradientColor1, 0, 0, 1, 0.5f);
		}
		else
		{
			ExpectColor(parameters.gradientColor0, 0, 0, 0, 1);
		}
	}
}

TEST(Fill, RejectsSecondColourOrGradient)
{
	const FailureRow rows[] =
	{
		{"Fill {Color {uint8[3] {{1, 2, 3}}} Color {uint8[3] {{1, 2, 3}}}}", 'EXSB'},
		{"Fill {Gradient {float {1, 0, 0} Color {float[4] {{1, 0, 0, 1}, {0, 0, 1, 0.5}}}} Gradient {float {1, 0, 0} Color {float[4] {{1, 0, 0, 1}, {0, 0, 1, 0.5}}}}}", 'EXSB'},
		{"Fill {} Fill {}", 'EXSB'},
		{"Stroke {} Stroke {}", 'EXSB'},
	};

	for (const FailureRow& row : rows)
	{
		SCOPED_TRACE(row.text);
		VectorDocument document;
		EXPECT_EQ(CodeString(ParseInLine(&document, row.text)), CodeString(row.result));
		EXPECT_NE(document.errorLine, 0);
	}
}

TEST(Stroke, ResolvesCapJoinMiterWidthAndColour)
{
	struct Row
	{
		const char* text;
		uint32_t cap;
		uint32_t join;
		float miterLimit;
		float width;
		float red;
	};

	const Row rows[] =
	{
		{"Stroke {}", 'FLAT', 'BEVL', 4.0f, 1.0f, 0.0f},
		{"Stroke (cap = \"triangle\") {}", 'TRIA', 'BEVL', 4.0f, 1.0f, 0.0f},
		{"Stroke (cap = \"square\") {}", 'SQUA', 'BEVL', 4.0f, 1.0f, 0.0f},
		{"Stroke (cap = \"round\", join = \"round\") {}", 'ROND', 'ROND', 4.0f, 1.0f, 0.0f},
		{"Stroke (cap = \"butt\") {}", 'FLAT', 'BEVL', 4.0f, 1.0f, 0.0f},
		{"Stroke (join = \"miter\") {}", 'FLAT', 'BEVL', 4.0f, 1.0f, 0.0f},
		{"Stroke (join = \"Round\", miter = 1.5) {}", 'FLAT', 'BEVL', 1.5f, 1.0f, 0.0f},
		{"Stroke {float {3} Color {float[3] {{0.5, 0, 0}}}}", 'FLAT', 'BEVL', 4.0f, 3.0f, 0.5f},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		VectorDocument document;
		ASSERT_EQ(CodeString(ParseInLine(&document, row.text)), "0");
		const StrokeStructure* stroke = static_cast<const StrokeStructure*>(FindStructure(document, 'strk'));
		const StrokeParameters& parameters = stroke->parameters;
		EXPECT_EQ(CodeString(parameters.cap), CodeString(row.cap));
		EXPECT_EQ(CodeString(parameters.join), CodeString(row.join));
		EXPECT_EQ(parameters.miterLimit, row.miterLimit);
		EXPECT_EQ(stroke->width, row.width);
		EXPECT_EQ(parameters.width, row.width);
		EXPECT_EQ(parameters.color[0], row.red);
		EXPECT_EQ(parameters.color[3], 1.0f);
		EXPECT_EQ(parameters.dashCount, 0);
		EXPECT_EQ(parameters.dashArray, nullptr);
	}
}

TEST(Stroke, RejectsWrongWidthAndSecondColourOrDash)
{
	const FailureRow rows[] =
	{
		{"Stroke {float {1, 2}}", 'IVDF'},
		{"Stroke {float {}}", 'IVDF'},
		{"Stroke {float[2] {{1, 2}}}", 'IVDF'},
		{"Stroke {Color {uint8[3] {{1, 2, 3}}} Color {uint8[3] {{1, 2, 3}}}}", 'EXSB'},
		{"Stroke {Dash {} Dash {}}", 'EXSB'},
	};

	ExpectFailures(rows, sizeof(rows) / sizeof(rows[0]));
}

TEST(Stroke, ReadsDashAndScalesIt)
{
	VectorDocument document;
	ASSERT_EQ(CodeString(ParseInLine(&document, "Stroke {float {2} Dash {float[2] {{1, 2}, {3, 4}} Offset {float {0.5}}}}")), "0");
	StrokeStructure* stroke = static_cast<StrokeStructure*>(FindStructure(document, 'strk'));
	const FloatStructure* lengths = static_cast<const FloatStructure*>(FindStructure(document, 'dash')->GetFirstSubnode());

	ASSERT_EQ(stroke->parameters.dashCount, 4);
	EXPECT_EQ(stroke->parameters.dashArray, lengths->data.GetData());
	EXPECT_EQ(stroke->parameters.dashOffset, 0.5f);

	stroke->ScaleStroke(0.5f);
	EXPECT_EQ(stroke->parameters.width, 1.0f);
	ASSERT_EQ(stroke->scaledDash.GetCount(), 4);
	EXPECT_EQ(stroke->parameters.dashArray, stroke->scaledDash.GetData());
	const float expected[4] = {0.5f, 1.0f, 1.5f, 2.0f};
	for (int32_t i = 0; i < 4; i++) EXPECT_EQ(stroke->parameters.dashArray[i], expected[i]);

	// The source lengths stay as written; the offset is not scaled.
	EXPECT_EQ(lengths->data[3], 4.0f);
	EXPECT_EQ(stroke->parameters.dashOffset, 0.5f);

	// Processing again starts over from the source.
	ASSERT_EQ(CodeString(stroke->ProcessData(&document)), "0");
	EXPECT_EQ(stroke->scaledDash.GetCount(), 0);
	EXPECT_EQ(stroke->parameters.dashArray, lengths->data.GetData());
	EXPECT_EQ(stroke->parameters.width, 2.0f);
}
