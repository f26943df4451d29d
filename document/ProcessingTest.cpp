#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "document/Attributes.h"
#include "document/DocumentTestSupport.h"
#include "document/Processing.h"
#include "document/Shapes.h"
#include "document/VectorDocument.h"
#include "support/TestSupport.h"

TEST(ProcessDocument, MatricesMultiplyOuterFirst)
{
	struct Row
	{
		const char* text;
		float x0, y0, x1, y1;
	};

	// The Line runs from (1, 1) to (2, 1) in its own coordinates.
	const Row rows[] =
	{
		{"Line {float[2] {{1, 1}, {2, 1}}}", 1, 1, 2, 1},
		{"Line {Translation {float[2] {{10, 0}}} float[2] {{1, 1}, {2, 1}}}", 11, 1, 12, 1},
		// Within one structure the first transform is the outermost: scale, then move.
		{"Line {Translation {float[2] {{10, 0}}} Scale {float[2] {{2, 2}}} float[2] {{1, 1}, {2, 1}}}", 12, 2, 14, 2},
		{"Line {Scale {float[2] {{2, 2}}} Translation {float[2] {{10, 0}}} float[2] {{1, 1}, {2, 1}}}", 22, 2, 24, 2},
		// A Group in a Group: the outer Group's matrix comes first.
		{"Group {Translation {float[2] {{10, 0}}} Group {Scale {float[2] {{2, 2}}} Line {float[2] {{1, 1}, {2, 1}}}}}", 12, 2, 14, 2},
		{"Group {Scale {float[2] {{2, 2}}} Group {Translation {float[2] {{10, 0}}} Line {float[2] {{1, 1}, {2, 1}}}}}", 22, 2, 24, 2},
		{"Group {Scale {float[2] {{2, 2}}} Line {Translation {float[2] {{10, 0}}} float[2] {{1, 1}, {2, 1}}}}", 22, 2, 24, 2},
		{"Group {Group {Group {Transform {float[6] {{1, 0, 0, 1, 5, 7}}} Line {float[2] {{1, 1}, {2, 1}}}}}}", 6, 8, 7, 8},
		// Layer and Object pass nothing on; a Group below them starts afresh.
		{"Layer {Group {Translation {float[2] {{5, 0}}} Line {float[2] {{1, 1}, {2, 1}}}}}", 6, 1, 7, 1},
		{"Object {Group {Scale {float[2] {{3, 3}}} Line {float[2] {{1, 1}, {2, 1}}}}}", 3, 3, 6, 3},
		{"Group {Translation {float[2] {{5, 0}}}} Line {float[2] {{1, 1}, {2, 1}}}", 1, 1, 2, 1},
		// Every transform size works through the chain.
		{"Line {Transform {float[4] {{0, 1, -1, 0}}} float[2] {{1, 1}, {2, 1}}}", -1, 1, -1, 2},
		{"Line {Transform {float[9] {{2, 0, 0, 0, 3, 0, 0, 0, 1}}} float[2] {{1, 1}, {2, 1}}}", 2, 3, 4, 3},
		{"Line {Transform {float[12] {{1, 0, 0, 0, 1, 0, 0, 0, 1, 4, 5, 6}}} float[2] {{1, 1}, {2, 1}}}", 5, 6, 6, 6},
		{"Line {Transform {float[16] {{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, -1, -1, 0, 1}}} float[2] {{1, 1}, {2, 1}}}", 0, 0, 1, 0},
		{"Line {Translation (kind = \"y\") {float {3}} float[2] {{1, 1}, {2, 1}}}", 1, 4, 2, 4},
		{"Line {Scale (kind = \"x\") {float {-1}} float[2] {{1, 1}, {2, 1}}}", -1, 1, -2, 1},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		VectorDocument document;
		ASSERT_EQ(CodeString(document.ParseText(row.text)), "0");
		const GeometryStructure* line = FindShape(document);
		ASSERT_EQ(line->curves.GetCount(), 1);
		const QuadraticCurve& curve = line->curves[0];
		EXPECT_EQ(curve.p0.x, row.x0);
		EXPECT_EQ(curve.p0.y, row.y0);
		EXPECT_EQ(curve.p1.x, row.x1);
		EXPECT_EQ(curve.p1.y, row.y1);
		EXPECT_EQ(curve.p2.x, row.x1);
		EXPECT_EQ(curve.p2.y, row.y1);
	}
}

TEST(ProcessDocument, RotationMovesCurvesAndNodesKeepTheirMatrix)
{
	VectorDocument document;
	const char* text =
		"Group {Translation {float[2] {{10, 20}}}\n"
		"Instance {Rotation {float {90}} ref {$a}}\n"
		"Group {Rotation {float {90}} Line {float[2] {{1, 0}, {2, 0}}}}\n"
		"}";
	ASSERT_EQ(CodeString(document.ParseText(text)), "0");

	const NodeStructure* instance = static_cast<const NodeStructure*>(FindStructure(document, 'inst'));
	EXPECT_EQ(instance->matrix[12], 10.0f);
	EXPECT_EQ(instance->matrix[13], 20.0f);
	EXPECT_NEAR(instance->matrix[1], 1.0f, 1e-6f);
	EXPECT_NEAR(instance->matrix[4], -1.0f, 1e-6f);

	const GeometryStructure* line = FindShape(document);
	EXPECT_NEAR(line->curves[0].p0.x, 10.0f, 1e-5f);
	EXPECT_NEAR(line->curves[0].p0.y, 21.0f, 1e-5f);
	EXPECT_NEAR(line->curves[0].p2.x, 10.0f, 1e-5f);
	EXPECT_NEAR(line->curves[0].p2.y, 22.0f, 1e-5f);
}

TEST(ProcessDocument, FailureStopsBeforeAnyTransform)
{
	VectorDocument document;
	const char* text =
		"Line {Translation {float[2] {{10, 0}}} float[2] {{1, 1}, {2, 1}}}\n"
		"Rect {float[2] {{0, 0}}}\n";
	EXPECT_EQ(CodeString(document.ParseText(text)), "IVDF");
	EXPECT_EQ(document.errorLine, 2);

	// The first shape was built but stays in its own coordinates.
	const GeometryStructure* line = FindShape(document);
	ASSERT_EQ(line->curves.GetCount(), 1);
	EXPECT_EQ(line->curves[0].p0.x, 1.0f);
	EXPECT_TRUE(std::isinf(line->bounds.xMin));
}

TEST(TransformGeometry, BoundsAreExact)
{
	struct Row
	{
		const char* text;
		float xMin, yMin, xMax, yMax;
	};

	const Row rows[] =
	{
		{"Line {float[2] {{3, 1}, {-2, 5}}}", -2, 1, 3, 5},
		// The extremum of a quadratic counts, its control point does not.
		{"Path {float[2]* {M {0, 0}, Q {1, 2}, {2, 0}}}", 0, 0, 2, 1},
		{"Path {float[2]* {M {0, 0}, Q {4, 1}, {0, 2}}}", 0, 0, 2, 2},
		// A control point beyond the end gives no extremum strictly inside.
		{"Path {float[2]* {M {0, 0}, Q {2, 0}, {2, 0}}}", 0, 0, 2, 0},
		{"Circle {Radius {float {1}} float[2] {{0, 0}}}", -1, -1, 1, 1},
		{"Circle {Radius {float[2] {{2, 3}}} Translation {float[2] {{5, 5}}} float[2] {{0, 0}}}", 3, 2, 7, 8},
		{"Rect {Scale {float[2] {{2, 3}}} float[2] {{1, 1}, {2, 2}}}", 2, 3, 4, 6},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		VectorDocument document;
		ASSERT_EQ(CodeString(document.ParseText(row.text)), "0");
		const Box2D& bounds = FindShape(document)->bounds;
		EXPECT_FLOAT_EQ(bounds.xMin, row.xMin);
		EXPECT_FLOAT_EQ(bounds.yMin, row.yMin);
		EXPECT_FLOAT_EQ(bounds.xMax, row.xMax);
		EXPECT_FLOAT_EQ(bounds.yMax, row.yMax);
	}
}

TEST(TransformGeometry, ShapeWithoutCurvesKeepsInfiniteBounds)
{
	VectorDocument document;
	ASSERT_EQ(CodeString(document.ParseText("Path {float[2]* {M {1, 1}}} Line {}")), "0");
	for (int32_t i = 0; i < 2; i++)
	{
		const Box2D& bounds = FindShape(document, i)->bounds;
		EXPECT_EQ(bounds.xMin, INFINITY);
		EXPECT_EQ(bounds.yMin, INFINITY);
		EXPECT_EQ(bounds.xMax, -INFINITY);
		EXPECT_EQ(bounds.yMax, -INFINITY);
	}
}

static const char* kRedBlue = "Color {float[3] {{1, 0, 0}, {0, 0, 1}}}";

static FillParameters ProcessedFill(const std::string& text)
{
	VectorDocument document;
	EXPECT_EQ(CodeString(document.ParseText(text.c_str())), "0");
	const GeometryStructure* shape = FindShape(document);
	if ((!shape) || (!shape->fill)) return FillParameters();
	return shape->fill->parameters;
}

TEST(TransformGeometry, GradientsFollowTheShape)
{
	struct Row
	{
		std::string text;
		uint32_t type;
		float value[3];
	};

	const std::string colors = kRedBlue;
	const Row rows[] =
	{
		// t = x in the shape's space; moved by 10 it is x - 10 in the world.
		{"Rect {Translation {float[2] {{10, 0}}} Fill {Gradient {float {1, 0, 0} " + colors + "}} float[2] {{0, 0}, {1, 1}}}", 'LINR', {1, 0, -10}},
		{"Rect {Scale {float[2] {{2, 4}}} Fill {Gradient {float {1, 1, 0} " + colors + "}} float[2] {{0, 0}, {1, 1}}}", 'LINR', {0.5f, 0.25f, 0}},
		// In object units the gradient spans the world box (2, 1) to (6, 3).
		{"Rect {Fill {Gradient (object) {float {1, 0, 0} " + colors + "}} float[2] {{2, 1}, {6, 3}}}", 'LINR', {0.25f, 0, -0.5f}},
		{"Rect {Translation {float[2] {{1, 1}}} Fill {Gradient (object) {float {0, 1, 0} " + colors + "}} float[2] {{1, 0}, {5, 2}}}", 'LINR', {0, 0.5f, -1}},
		// Radial: the centre is mapped, the radius grows by the longer axis.
		{"Rect {Translation {float[2] {{1, 2}}} Scale {float[2] {{2, 3}}} Fill {Gradient (kind = \"radial\") {float {1, 1} Radius {float {2}} " + colors + "}} float[2] {{0, 0}, {1, 1}}}", 'RADL', {3, 5, 6}},
		{"Rect {Fill {Gradient (kind = \"radial\", object) {float {0.5, 0.5} Radius {float {0.5}} " + colors + "}} float[2] {{2, 2}, {10, 6}}}", 'RADL', {6, 4, 4}},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		FillParameters parameters = ProcessedFill(row.text);
		EXPECT_EQ(CodeString(parameters.gradientType), CodeString(row.type));
		const float* value = (row.type == 'RADL') ? parameters.radialGradient : parameters.linearGradient;
		for (int32_t i = 0; i < 3; i++) EXPECT_FLOAT_EQ(value[i], row.value[i]) << "value " << i;
	}
}

TEST(TransformGeometry, ObjectGradientOnRotatedShapeUsesTheWorldBox)
{
	// The box (0, 0) to (4, 2) turned a quarter about z spans (-2, 0) to (0, 4).
	// Its gradient units map behind the rotation: u = (y + 2) / 2 along the
	// world's y axis before turning, which is t = 0.5 y + 1 in the world.
	FillParameters parameters = ProcessedFill(std::string("Rect {Rotation {float {90}} Fill {Gradient (object) {float {1, 0, 0} ") + kRedBlue + "}} float[2] {{0, 0}, {4, 2}}}");
	EXPECT_EQ(CodeString(parameters.gradientType), "LINR");
	EXPECT_NEAR(parameters.linearGradient[0], 0.0f, 1e-6f);
	EXPECT_NEAR(parameters.linearGradient[1], 0.5f, 1e-6f);
	EXPECT_NEAR(parameters.linearGradient[2], 1.0f, 1e-6f);
}

TEST(NormalizeGeometry, BringsTheShapeToTheUnitSquare)
{
	VectorDocument document;
	std::string text = std::string("Rect {Fill {Gradient {float {1, 0, -2} ") + kRedBlue + "}} Stroke {float {2} Dash {float[2] {{4, 8}}}} float[2] {{2, 1}, {6, 3}}}";
	ASSERT_EQ(CodeString(document.ParseText(text.c_str())), "0");
	GeometryStructure* rect = FindShape(document);
	NormalizeGeometry(rect);

	// Scale 1/4 and offset (-0.5, -0.25); the box keeps its aspect.
	const float expected[4][2] = {{0, 0}, {1, 0}, {1, 0.5f}, {0, 0.5f}};
	ASSERT_EQ(rect->curves.GetCount(), 4);
	for (int32_t i = 0; i < 4; i++)
	{
		EXPECT_EQ(rect->curves[i].p0.x, expected[i][0]) << "curve " << i;
		EXPECT_EQ(rect->curves[i].p0.y, expected[i][1]) << "curve " << i;
	}

	// t = x - 2 in the world is 4 u in unit coordinates.
	const FillParameters& fill = rect->fill->parameters;
	EXPECT_EQ(fill.linearGradient[0], 4.0f);
	EXPECT_EQ(fill.linearGradient[1], 0.0f);
	EXPECT_EQ(fill.linearGradient[2], 0.0f);

	const StrokeParameters& stroke = rect->stroke->parameters;
	EXPECT_EQ(stroke.width, 0.5f);
	ASSERT_EQ(stroke.dashCount, 2);
	EXPECT_EQ(stroke.dashArray[0], 1.0f);
	EXPECT_EQ(stroke.dashArray[1], 2.0f);

	// Bounds stay in world coordinates.
	EXPECT_EQ(rect->bounds.xMax, 6.0f);
}

TEST(NormalizeGeometry, RadialGradientScalesWithTheShape)
{
	VectorDocument document;
	std::string text = std::string("Circle {Radius {float {2}} Fill {Gradient (kind = \"radial\") {float {4, 2} Radius {float {2}} ") + kRedBlue + "}} float[2] {{4, 2}}}";
	ASSERT_EQ(CodeString(document.ParseText(text.c_str())), "0");
	GeometryStructure* circle = FindShape(document);
	NormalizeGeometry(circle);

	const FillParameters& fill = circle->fill->parameters;
	EXPECT_FLOAT_EQ(fill.radialGradient[0], 0.5f);
	EXPECT_FLOAT_EQ(fill.radialGradient[1], 0.5f);
	EXPECT_FLOAT_EQ(fill.radialGradient[2], 0.5f);
	EXPECT_FLOAT_EQ(circle->curves[0].p0.x, 1.0f);
	EXPECT_FLOAT_EQ(circle->curves[0].p0.y, 0.5f);
}

TEST(NormalizeGeometry, EmptyOrFlatShapesAreNotChecked)
{
	VectorDocument document;
	ASSERT_EQ(CodeString(document.ParseText("Line {Stroke {}} Line {float[2] {{1, 1}, {1, 1}}}")), "0");

	// No curves: the scale is 1 / -infinity, which zeroes the stroke width.
	GeometryStructure* empty = FindShape(document, 0);
	NormalizeGeometry(empty);
	EXPECT_EQ(empty->curves.GetCount(), 0);
	EXPECT_EQ(empty->stroke->parameters.width, 0.0f);

	// No extent: the scale is infinite and the points are not finite.
	GeometryStructure* point = FindShape(document, 1);
	NormalizeGeometry(point);
	EXPECT_FALSE(std::isfinite(point->curves[0].p0.x));
}

TEST(ResolveSubtree, ResolvesOneStructureAlone)
{
	VectorDocument document;
	ASSERT_EQ(CodeString(document.ParseText("Group {Translation {float[2] {{0, 5}}} Group {Scale {float[2] {{2, 2}}} Line {float[2] {{1, 1}, {2, 1}}}}}")), "0");

	// Rebuild the outline in its own coordinates, then resolve the inner
	// Group alone: the outer Group's matrix is still in place above it.
	GeometryStructure* line = FindShape(document);
	ASSERT_EQ(CodeString(line->ProcessData(&document)), "0");
	EXPECT_EQ(line->curves[0].p0.x, 1.0f);

	Structure* inner = FindStructure(document, 'grup', 1);
	ResolveSubtree(&document, inner);
	EXPECT_EQ(line->curves[0].p0.x, 2.0f);
	EXPECT_EQ(line->curves[0].p0.y, 7.0f);
	EXPECT_EQ(line->bounds.xMax, 4.0f);

	// A shape on its own resolves from its own transforms and its parent.
	ASSERT_EQ(CodeString(line->ProcessData(&document)), "0");
	ResolveSubtree(&document, line);
	EXPECT_EQ(line->curves[0].p2.x, 4.0f);
	EXPECT_EQ(line->curves[0].p2.y, 7.0f);
}

TEST(InheritedOpacity, MultipliesUpThroughGroups)
{
	struct Row
	{
		const char* text;
		float opacity;
	};

	const Row rows[] =
	{
		{"Line {}", 1.0f},
		{"Line {Opacity {float {0.5}}}", 0.5f},
		{"Group {Opacity {float {0.5}} Line {Opacity {float {0.5}}}}", 0.25f},
		// Only the first Opacity of each level counts.
		{"Group {Opacity {float {0.5}} Opacity {float {0}} Line {Opacity {float {0.5}} Opacity {float {0}}}}", 0.25f},
		{"Group {Opacity {float {0.5}} Group {Group {Opacity {float {0.25}} Line {}}}}", 0.125f},
		// The climb stops at the first parent that is not a Group.
		{"Group {Opacity {float {0.5}}} Layer {Group {Opacity {float {0.5}} Line {}}}", 0.5f},
		{"Object {Group {Opacity {float {0.25}} Line {Opacity {float {2}}}}}", 0.5f},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		VectorDocument document;
		ASSERT_EQ(CodeString(document.ParseText(row.text)), "0");
		EXPECT_EQ(InheritedOpacity(FindShape(document)), row.opacity);
	}
}
