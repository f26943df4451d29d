#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "document/Attributes.h"
#include "document/DocumentTestSupport.h"
#include "document/Processing.h"

static const std::string kColors = "Color {float[3] {{1, 0, 0}, {0, 0, 1}}}";

static std::vector<float> FirstCurve(const VectorDocument& document)
{
	const GeometryStructure* shape = FindShape(document);
	EXPECT_EQ(shape->curves.GetCount(), 1);
	const QuadraticCurve& c = shape->curves[0];
	return {c.p0.x, c.p0.y, c.p1.x, c.p1.y, c.p2.x, c.p2.y};
}

TEST(ProcessDocument, MatricesMultiplyOuterFirst)
{
	// The Line runs from (1, 1) to (2, 1) in its own coordinates.
	ExpectValues({
		{"Line {float[2] {{1, 1}, {2, 1}}}", {1, 1, 2, 1, 2, 1}},
		// Within one structure the first transform is the outermost: scale, then move.
		{"Line {Translation {float[2] {{10, 0}}} Scale {float[2] {{2, 2}}} float[2] {{1, 1}, {2, 1}}}", {12, 2, 14, 2, 14, 2}},
		// A Group in a Group: the outer Group's matrix comes first.
		{"Group {Translation {float[2] {{10, 0}}} Group {Scale {float[2] {{2, 2}}} Line {float[2] {{1, 1}, {2, 1}}}}}", {12, 2, 14, 2, 14, 2}},
		{"Group {Scale {float[2] {{2, 2}}} Line {Translation {float[2] {{10, 0}}} float[2] {{1, 1}, {2, 1}}}}", {22, 2, 24, 2, 24, 2}},
		// Layer passes nothing on; a Group below it starts afresh. Siblings do not count.
		{"Layer {Group {Translation {float[2] {{5, 0}}} Line {float[2] {{1, 1}, {2, 1}}}}}", {6, 1, 7, 1, 7, 1}},
		{"Group {Translation {float[2] {{5, 0}}}} Line {float[2] {{1, 1}, {2, 1}}}", {1, 1, 2, 1, 2, 1}},
		// Both columns of the linear part reach the points.
		{"Line {Transform {float[4] {{0, 1, -1, 0}}} float[2] {{1, 1}, {2, 1}}}", {-1, 1, -1, 2, -1, 2}},
	}, FirstCurve);
}

TEST(ProcessDocument, NodesKeepTheirMatrixAndFailureStopsBeforeAnyTransform)
{
	// An Instance holds its parent's matrix times its own: the move, then the quarter turn.
	ExpectValues({{"Group {Translation {float[2] {{10, 20}}} Instance {Rotation {float {90}} ref {$a}}}", {10, 20, 1, -1}}}, [](const VectorDocument& document)
		{ const Transform4D& m = Find<NodeStructure>(document, 'inst')->matrix; return std::vector<float>{m[12], m[13], m[1], m[4]}; }, 1e-6f);

	// The first shape was built but stays in its own coordinates.
	VectorDocument document;
	EXPECT_EQ(CodeString(document.ParseText("Line {Translation {float[2] {{10, 0}}} float[2] {{1, 1}, {2, 1}}}\nRect {float[2] {{0, 0}}}\n")), "IVDF");
	EXPECT_EQ(document.errorLine, 2);
	const GeometryStructure* line = FindShape(document);
	ASSERT_EQ(line->curves.GetCount(), 1);
	EXPECT_EQ(line->curves[0].p0.x, 1.0f);
	EXPECT_TRUE(std::isinf(line->bounds.xMin));
}

TEST(TransformGeometry, BoundsAreExact)
{
	ExpectValues({
		{"Line {float[2] {{3, 1}, {-2, 5}}}", {-2, 1, 3, 5}},
		// The extremum of a quadratic counts, its control point does not.
		{"Path {float[2]* {M {0, 0}, Q {1, 2}, {2, 0}}}", {0, 0, 2, 1}},
		{"Path {float[2]* {M {0, 0}, Q {4, 1}, {0, 2}}}", {0, 0, 2, 2}},
		// A control point beyond the end gives no extremum strictly inside.
		{"Path {float[2]* {M {0, 0}, Q {2, 0}, {2, 0}}}", {0, 0, 2, 0}},
		{"Circle {Radius {float[2] {{2, 3}}} Translation {float[2] {{5, 5}}} float[2] {{0, 0}}}", {3, 2, 7, 8}},
		// No curves: the bounds stay infinite.
		{"Path {float[2]* {M {1, 1}}}", {INFINITY, INFINITY, -INFINITY, -INFINITY}},
	}, [](const VectorDocument& document)
	{
		const Box2D& bounds = FindShape(document)->bounds;
		return std::vector<float>{bounds.xMin, bounds.yMin, bounds.xMax, bounds.yMax};
	});
}

TEST(TransformGeometry, GradientsFollowTheShape)
{
	// Values: 1 for linear or 2 for radial, then the gradient's three numbers.
	ExpectValues({
		// t = x in the shape's space; moved by 10 it is x - 10 in the world.
		{"Rect {Translation {float[2] {{10, 0}}} Fill {Gradient {float {1, 0, 0} " + kColors + "}} float[2] {{0, 0}, {1, 1}}}", {1, 1, 0, -10}},
		{"Rect {Scale {float[2] {{2, 4}}} Fill {Gradient {float {1, 1, 0} " + kColors + "}} float[2] {{0, 0}, {1, 1}}}", {1, 0.5f, 0.25f, 0}},
		// In object units the gradient spans the world box (2, 1) to (6, 3).
		{"Rect {Fill {Gradient (object) {float {1, 0, 0} " + kColors + "}} float[2] {{2, 1}, {6, 3}}}", {1, 0.25f, 0, -0.5f}},
		// The box (0, 0) to (4, 2) turned a quarter about z spans (-2, 0) to (0, 4); its
		// units map behind the rotation: u = (y + 2) / 2 before turning, t = 0.5 y + 1.
		{"Rect {Rotation {float {90}} Fill {Gradient (object) {float {1, 0, 0} " + kColors + "}} float[2] {{0, 0}, {4, 2}}}", {1, 0, 0.5f, 1}},
		// Radial: the centre is mapped, the radius grows by the longer axis.
		{"Rect {Translation {float[2] {{1, 2}}} Scale {float[2] {{2, 3}}} Fill {Gradient (kind = \"radial\") {float {1, 1} Radius {float {2}} " + kColors + "}} float[2] {{0, 0}, {1, 1}}}", {2, 3, 5, 6}},
		{"Rect {Fill {Gradient (kind = \"radial\", object) {float {0.5, 0.5} Radius {float {0.5}} " + kColors + "}} float[2] {{2, 2}, {10, 6}}}", {2, 6, 4, 4}},
	}, [](const VectorDocument& document)
	{
		const FillParameters& p = FindShape(document)->fill->parameters;
		const float* value = (p.gradientType == 'RADL') ? p.radialGradient : p.linearGradient;
		return std::vector<float>{CodePosition({0, 'LINR', 'RADL'}, p.gradientType), value[0], value[1], value[2]};
	}, 1e-6f);
}

TEST(NormalizeGeometry, BringsTheShapeToTheUnitSquare)
{
	// Values: the starts of curves 0 and 2, the gradient's three numbers, the stroke
	// width and dash lengths in unit coordinates, and the box's right edge in the world.
	ExpectValues({
		// Scale 1/4 and offset (-0.5, -0.25): the box keeps its aspect, and t = x - 2 in the world is 4 u.
		{"Rect {Fill {Gradient {float {1, 0, -2} " + kColors + "}} Stroke {float {2} Dash {float[2] {{4, 8}}}} float[2] {{2, 1}, {6, 3}}}", {0, 0, 1, 0.5f, 4, 0, 0, 0.5f, 1, 2, 6}},
		// Scale 1/4 and offset (-0.5, 0) about the circle's box (2, 0) to (6, 4).
		{"Circle {Radius {float {2}} Fill {Gradient (kind = \"radial\") {float {4, 2} Radius {float {2}} " + kColors + "}} Stroke {} float[2] {{4, 2}}}", {1, 0.5f, 0.75f, 0.9330127f, 0.5f, 0.5f, 0.5f, 0.25f, 6}},
	}, [](const VectorDocument& document)
	{
		GeometryStructure* shape = FindShape(document);
		NormalizeGeometry(shape);
		const FillParameters& fill = shape->fill->parameters;
		const float* g = (fill.gradientType == 'RADL') ? fill.radialGradient : fill.linearGradient;
		const StrokeParameters& stroke = shape->stroke->parameters;
		std::vector<float> values = {shape->curves[0].p0.x, shape->curves[0].p0.y, shape->curves[2].p0.x, shape->curves[2].p0.y, g[0], g[1], g[2], stroke.width};
		values.insert(values.end(), stroke.dashArray, stroke.dashArray + stroke.dashCount);
		values.push_back(shape->bounds.xMax);
		return values;
	}, 1e-6f);

	// Deliberate: nothing is checked. Without curves the scale is 1 / -infinity,
	// which zeroes the stroke width; without extent the points are not finite.
	VectorDocument document;
	ASSERT_EQ(CodeString(document.ParseText("Line {Stroke {}} Line {float[2] {{1, 1}, {1, 1}}}")), "0");
	for (int32_t i : {0, 1}) NormalizeGeometry(FindShape(document, i));
	EXPECT_EQ(FindShape(document, 0)->stroke->parameters.width, 0.0f);
	EXPECT_FALSE(std::isfinite(FindShape(document, 1)->curves[0].p0.x));
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
	ResolveSubtree(&document, FindStructure(document, 'grup', 1));
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
	ExpectValues({
		{"Line {}", {1}},
		// Only the first Opacity of each level counts.
		{"Group {Opacity {float {0.5}} Opacity {float {0}} Line {Opacity {float {0.5}} Opacity {float {0}}}}", {0.25f}},
		{"Group {Opacity {float {0.5}} Group {Group {Opacity {float {0.25}} Line {}}}}", {0.125f}},
		// The climb stops at the first parent that is not a Group.
		{"Group {Opacity {float {0.5}}} Layer {Group {Opacity {float {0.5}} Line {}}}", {0.5f}},
		{"Object {Group {Opacity {float {0.25}} Line {Opacity {float {2}}}}}", {0.5f}},
	}, [](const VectorDocument& document) { return std::vector<float>{InheritedOpacity(FindShape(document))}; });
}
