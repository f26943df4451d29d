#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "description/Primitive.h"
#include "document/Attributes.h"
#include "document/DocumentTestSupport.h"

// `body` on line 2 inside a Rect, which takes every attribute. Its unit box
// leaves gradients in object units as they are.
static std::string InShape(const std::string& body) { return "Rect {\n" + body + " float[2] {{0, 0}, {1, 1}}\n}\n"; }

static const std::string kColors = "Color {float[4] {{1, 0, 0, 1}, {0, 0, 1, 0.5}}}";

static std::vector<float> FirstMatrix(const VectorDocument& document)
{
	const float* matrix = &static_cast<const MatrixStructure*>(FindStructure(document, 'mtrx', 0, true))->matrix[0];
	return std::vector<float>(matrix, matrix + 16);
}

TEST(MatrixStructure, FillsItsEntriesForEveryFormAndKind)
{
	ExpectValues({
		{InShape("Transform {float[4] {{2, 3, 4, 5}}}"), {2, 3, 0, 0, 4, 5, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}},
		{InShape("Transform {float[6] {{1, 0, 0, 1, 5, 7}}}"), {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 5, 7, 0, 1}},
		{InShape("Transform {float[9] {{1, 2, 3, 4, 5, 6, 7, 8, 9}}}"), {1, 2, 3, 0, 4, 5, 6, 0, 7, 8, 9, 0, 0, 0, 0, 1}},
		{InShape("Transform {float[12] {{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}}}"), {1, 2, 3, 0, 4, 5, 6, 0, 7, 8, 9, 0, 10, 11, 12, 1}},
		{InShape("Transform {float[16] {{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}}}"), {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}},
		{InShape("Translation {float[2] {{3, -4}}}"), {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 3, -4, 0, 1}},
		{InShape("Translation (kind = \"y\") {float {3}}"), {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 3, 0, 1}},
		{InShape("Translation (kind = \"xyz\") {float[3] {{1, 2, 3}}}"), {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 1, 2, 3, 1}},
		{InShape("Scale (kind = \"y\") {float {2}}"), {1, 0, 0, 0, 0, 2, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}},
		{InShape("Scale (kind = \"xyz\") {float[3] {{2, 3, 4}}}"), {2, 0, 0, 0, 0, 3, 0, 0, 0, 0, 4, 0, 0, 0, 0, 1}},
	}, FirstMatrix);

	// Quarter turns: y goes to z about x, z to x about y, x to y about z. Bound: the
	// table sine and cosine and the one-step inverse square root.
	ExpectValues({
		{InShape("Rotation {float {90}}"), {0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}},
		{InShape("Rotation (kind = \"x\") {float {90}}"), {1, 0, 0, 0, 0, 0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1}},
		{InShape("Rotation (kind = \"y\") {float {90}}"), {0, 0, -1, 0, 0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 0, 1}},
		{InShape("Rotation (kind = \"axis\") {float[4] {{90, 0, 0, 5}}}"), {0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}},
		// A third of a turn about the diagonal cycles the axes: x to y, y to z, z to x.
		{InShape("Rotation (kind = \"axis\") {float[4] {{120, 1, 1, 1}}}"), {0, 1, 0, 0, 0, 0, 1, 0, 1, 0, 0, 0, 0, 0, 0, 1}},
	}, FirstMatrix, 2e-6f);

	// Deliberate: a zero axis is not checked and gives entries that are not finite.
	VectorDocument document;
	ASSERT_EQ(CodeString(document.ParseText(InShape("Rotation (kind = \"axis\") {float[4] {{90, 0, 0, 0}}}").c_str())), "0");
	EXPECT_FALSE(std::isfinite(FirstMatrix(document)[0]));
}

TEST(VectorStructure, FailuresNameTheLineOfTheFailingStructure)
{
	ExpectParseRows({
		{InShape("Transform {}"), 'MSSB', 2},
		{InShape("Transform {float[4] {{1, 0, 0, 1}} float[4] {{1, 0, 0, 1}}}"), 'EXSB', 2},
		{InShape("Transform {float[4] {{1, 0, 0, 1}, {1, 0, 0, 1}}}"), 'IVDF', 2},
		{InShape("Translation (kind = \"x\") {float[2] {{1, 2}}}"), 'IVDF', 2},
		{InShape("Translation (kind = \"xz\") {float[2] {{1, 2}}}"), 'ivtk', 2},
		{InShape("Scale (kind = \"uniform\") {float {2}}"), 'ivsk', 2},
		{InShape("Rotation (kind = \"Axis\") {float[4] {{90, 0, 0, 1}}}"), 'ivrk', 2},
		{InShape("Rotation (kind = \"axis\") {float {90}}"), 'IVDF', 2},
		{InShape("Rotation (kind = \"z\") {float[4] {{90, 0, 0, 1}}}"), 'IVDF', 2},
		{InShape("Radius {float {3, 4}}"), 'IVDF', 2},
		{InShape("Opacity {float {0.5, 0.5}}"), 'IVDF', 2},
		{InShape("Stroke {Dash {Offset {float {}}}}"), 'IVDF', 2},
		{InShape("Fill {Color {}}"), 'MSSB', 2},
		{InShape("Fill {Color {uint8[3] {}}}"), 'IVDF', 2},
		{InShape("Fill {Color {uint8[3] {{1, 2, 3}} uint8[3] {}}}"), 'EXSB', 2},
		{InShape("Fill {Gradient {" + kColors + "}}"), 'MSSB', 2},
		{InShape("Fill {Gradient {float {1, 0, 0}}}"), 'MSSB', 2},
		{InShape("Fill {Gradient (kind = \"radial\") {float {1, 2} " + kColors + "}}"), 'MSSB', 2},
		{InShape("Fill {Gradient {float {1, 0} " + kColors + "}}"), 'IVDF', 2},
		{InShape("Fill {Gradient (kind = \"radial\") {float {1, 2, 3} Radius {float {3}} " + kColors + "}}"), 'IVDF', 2},
		{InShape("Fill {Gradient {float {1, 0, 0} Color {uint8[3] {{1, 0, 0}, {1, 1, 1}, {2, 2, 2}}}}}"), 'IVDF', 2},
		{InShape("Fill {Gradient {float {1, 0, 0} float {1, 0, 0} " + kColors + "}}"), 'EXSB', 2},
		{InShape("Fill {Gradient {float {1, 0, 0} " + kColors + " " + kColors + "}}"), 'EXSB', 2},
		{InShape("Fill {Gradient {float {1, 0, 0} Radius {float {1}} Radius {float {1}} " + kColors + "}}"), 'EXSB', 2},
		{InShape("Fill {Gradient (kind = \"conic\") {float {1, 0, 0} " + kColors + "}}"), 'ivgk', 2},
		{InShape("Fill {Color {uint8[3] {{1, 2, 3}}} Color {uint8[3] {{1, 2, 3}}}}"), 'EXSB', 2},
		{InShape("Fill {Gradient {float {1, 0, 0} " + kColors + "} Gradient {float {1, 0, 0} " + kColors + "}}"), 'EXSB', 2},
		{InShape("Stroke {float {1, 2}}"), 'IVDF', 2},
		{InShape("Stroke {Color {uint8[3] {{1, 2, 3}}} Color {uint8[3] {{1, 2, 3}}}}"), 'EXSB', 2},
		{InShape("Stroke {Dash {} Dash {}}"), 'EXSB', 2},
	});
}

TEST(ColorStructure, ReadsLinearColourAndBytesFromEachList)
{
	// Values: the count, then the last colour as linear floats and as bytes.
	// 0.5 encodes to 0.735357 (x 255 = 187.52), 0.25 to 0.537099 (136.96),
	// 0.002 to 0.02584 on the linear part (6.59), 0.5 alpha to 127.5 + 0.5.
	ExpectValues({
		{InShape("Fill {Color {uint8[3] {{255, 0, 12}}}}"), {1, 1, 0, 0.00367650739f, 1, 255, 0, 12, 255}},
		{InShape("Fill {Color {uint8[4] {{0, 0, 0, 0}, {255, 255, 255, 51}}}}"), {2, 1, 1, 1, 0.2f, 255, 255, 255, 51}},
		{InShape("Fill {Color {float[3] {{0, 1, 0.5}}}}"), {1, 0, 1, 0.5f, 1, 0, 255, 188, 255}},
		{InShape("Fill {Color {float[4] {{1, 2, 3, 4}, {0.25, 0.002, 1, 0.5}}}}"), {2, 0.25f, 0.002f, 1, 0.5f, 137, 7, 255, 128}},
		// Bytes outside 0 to 255 are held to the range.
		{InShape("Fill {Color {float[4] {{2, -1, 100000, -3}}}}"), {1, 2, -1, 100000, -3, 255, 0, 255, 0}},
	}, [](const VectorDocument& document)
	{
		const ColorStructure* color = Find<ColorStructure>(document, 'colr');
		int32_t count = int32_t(color->colorCount);
		float rgba[4];
		uint8_t bytes[4];
		// Any index outside the list reads as opaque black; the last one is read last.
		for (int32_t index : {-1, count, count - 1})
		{
			color->GetColor(index, rgba);
			color->GetColorBytes(index, bytes);
			if (index != count - 1) { EXPECT_TRUE((rgba[0] + rgba[1] + rgba[2] == 0) && (rgba[3] == 1) && (bytes[0] + bytes[1] + bytes[2] == 0) && (bytes[3] == 255)) << index; }
		}

		return std::vector<float>{float(count), rgba[0], rgba[1], rgba[2], rgba[3], float(bytes[0]), float(bytes[1]), float(bytes[2]), float(bytes[3])};
	}, 1e-6f);
}

TEST(ColorStructure, EveryByteSurvivesDecodingAndEncoding)
{
	// Green runs through the 256 decoded bytes; encoding must give each byte back.
	ColorStructure color;
	FloatStructure* list = new FloatStructure(3, false);
	for (int32_t i = 0; i < 256 * 3; i++) list->data.Add(kSrgbToLinear[i / 3]);
	color.AppendSubnode(list);
	VectorDocument document;
	ASSERT_EQ(CodeString(color.ProcessData(&document)), "0");
	uint8_t rgba[4];
	for (int32_t i = 0; i < 256; i++) { color.GetColorBytes(i, rgba); EXPECT_EQ(int32_t(rgba[1]), i); }
}

TEST(SrgbToLinear, FollowsTheExactCurve)
{
	// Reference in double precision; the bound is 0.000008 at every byte.
	for (int32_t i = 0; i < 256; i++)
	{
		double c = i / 255.0;
		double exact = (c <= 0.04045) ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
		EXPECT_NEAR(double(kSrgbToLinear[i]), exact, 0.000008) << "byte " << i;
	}

	EXPECT_EQ(kSrgbToLinear[0], 0.0f);
	EXPECT_EQ(kSrgbToLinear[255], 1.0f);
}

TEST(FillStructure, ResolvesRuleColourAndGradient)
{
	// Values: even-odd, gradient type (none, linear, radial), object units, the
	// colour, the gradient's three numbers, and its two colours' red and alpha.
	ExpectValues({
		{InShape("Fill {}"), {0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 1}},
		{InShape("Fill (rule = \"EvenOdd\") {}"), {0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 1}},
		{InShape("Fill (rule = \"evenodd\") {Color {float[4] {{0.5, 0.25, 0.125, 0.75}}}}"), {1, 0, 0, 0.5f, 0.25f, 0.125f, 0.75f, 0, 0, 0, 0, 1, 0, 1}},
		// A gradient without a colour of its own is drawn at full strength.
		{InShape("Fill {Gradient {float {1, 2, 3} " + kColors + "}}"), {0, 1, 0, 1, 1, 1, 1, 1, 2, 3, 1, 1, 0, 0.5f}},
		{InShape("Fill {Gradient (kind = \"radial\", object) {float {4, 5} Radius {float[2] {{6, 7}}} " + kColors + "}}"), {0, 2, 1, 1, 1, 1, 1, 4, 5, 6, 1, 1, 0, 0.5f}},
		{InShape("Fill {Color {uint8[3] {{0, 0, 255}}} Gradient {float {1, 2, 3} " + kColors + "}}"), {0, 1, 0, 0, 0, 1, 1, 1, 2, 3, 1, 1, 0, 0.5f}},
	}, [](const VectorDocument& document)
	{
		const FillParameters& p = Find<FillStructure>(document, 'fill')->parameters;
		const float* g = (p.gradientType == 'RADL') ? p.radialGradient : p.linearGradient;
		return std::vector<float>{CodePosition({0, 'EVOD'}, p.fillRule), CodePosition({0, 'LINR', 'RADL'}, p.gradientType), float(p.objectFlag),
			p.color[0], p.color[1], p.color[2], p.color[3], g[0], g[1], g[2],
			p.gradientColor0[0], p.gradientColor0[3], p.gradientColor1[0], p.gradientColor1[3]};
	});
}

TEST(StrokeStructure, ResolvesCapJoinMiterWidthAndColour)
{
	// Values: cap (flat, triangle, square, round), join (bevel, round), miter
	// limit, width as read and as handed on, red and alpha.
	ExpectValues({
		{InShape("Stroke {}"), {0, 0, 4, 1, 1, 0, 1}},
		{InShape("Stroke (cap = \"triangle\") {}"), {1, 0, 4, 1, 1, 0, 1}},
		{InShape("Stroke (cap = \"square\", join = \"miter\") {}"), {2, 0, 4, 1, 1, 0, 1}},
		{InShape("Stroke (cap = \"round\", join = \"round\") {}"), {3, 1, 4, 1, 1, 0, 1}},
		{InShape("Stroke (cap = \"Round\", join = \"Round\", miter = 1.5) {}"), {0, 0, 1.5f, 1, 1, 0, 1}},
		{InShape("Stroke {float {3} Color {float[3] {{0.5, 0, 0}}}}"), {0, 0, 4, 3, 3, 0.5f, 1}},
	}, [](const VectorDocument& document)
	{
		const StrokeStructure* stroke = Find<StrokeStructure>(document, 'strk');
		const StrokeParameters& p = stroke->parameters;
		EXPECT_EQ(p.dashArray, nullptr);
		return std::vector<float>{CodePosition({'FLAT', 'TRIA', 'SQUA', 'ROND'}, p.cap), CodePosition({'BEVL', 'ROND'}, p.join),
			p.miterLimit, stroke->width, p.width, p.color[0], p.color[3]};
	});
}

TEST(StrokeStructure, ReadsDashAndScalesIt)
{
	VectorDocument document;
	ASSERT_EQ(CodeString(document.ParseText(InShape("Stroke {float {2} Dash {float[2] {{1, 2}, {3, 4}} Offset {float {0.5}}}}").c_str())), "0");
	StrokeStructure* stroke = Find<StrokeStructure>(document, 'strk');
	const FloatStructure* lengths = static_cast<const FloatStructure*>(FindStructure(document, 'dash')->GetFirstSubnode());
	ASSERT_EQ(stroke->parameters.dashCount, 4);
	EXPECT_EQ(stroke->parameters.dashArray, lengths->data.GetData());
	EXPECT_EQ(stroke->parameters.dashOffset, 0.5f);

	// The scaled lengths are the stroke's own and the source stays as written;
	// the offset scales with the lengths, being a length along the pattern.
	stroke->ScaleStroke(0.5f);
	EXPECT_EQ(stroke->parameters.width, 1.0f);
	ASSERT_EQ(stroke->scaledDash.GetCount(), 4);
	EXPECT_EQ(stroke->parameters.dashArray, stroke->scaledDash.GetData());
	for (int32_t i = 0; i < 4; i++) EXPECT_EQ(stroke->parameters.dashArray[i], 0.5f * float(i + 1));
	EXPECT_EQ(lengths->data[3], 4.0f);
	EXPECT_EQ(stroke->parameters.dashOffset, 0.25f);

	// Processing again starts over from the source.
	ASSERT_EQ(CodeString(stroke->ProcessData(&document)), "0");
	EXPECT_EQ(stroke->scaledDash.GetCount(), 0);
	EXPECT_EQ(stroke->parameters.dashArray, lengths->data.GetData());
	EXPECT_EQ(stroke->parameters.width, 2.0f);
	EXPECT_EQ(stroke->parameters.dashOffset, 0.5f);
}
