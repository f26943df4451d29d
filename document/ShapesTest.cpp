#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "description/Primitive.h"
#include "document/DocumentTestSupport.h"

// A text, its result code and its first shape's contours, each as curve count,
// closed flag and implicit-close flag.
struct ShapeRow { const char* text; uint32_t result; std::vector<int32_t> contours; };

// Every curve lies in a contour, and consecutive curves of a contour join.
static void RunShapeRows(std::initializer_list<ShapeRow> rows)
{
	for (const ShapeRow& row : rows)
	{
		SCOPED_TRACE(row.text);
		VectorDocument document;
		EXPECT_EQ(CodeString(document.ParseText(row.text)), CodeString(row.result));
		const GeometryStructure* shape = FindShape(document);
		std::vector<int32_t> contours;
		int32_t first = 0;
		for (const ContourRecord& contour : shape->contours)
		{
			contours.insert(contours.end(), {contour.curveCount, int32_t(contour.closedFlag), int32_t(contour.implicitCloseFlag)});
			for (int32_t k = first; k + 1 < first + contour.curveCount; k++)
				EXPECT_TRUE((shape->curves[k].p2.x == shape->curves[k + 1].p0.x) && (shape->curves[k].p2.y == shape->curves[k + 1].p0.y)) << "curve " << k;

			first += contour.curveCount;
		}

		EXPECT_EQ(contours, row.contours);
		EXPECT_EQ(shape->curves.GetCount(), first);
	}
}

// The curve count of the first shape of `text`, and its curves from `first` on, each as x0, y0, x1, y1, x2, y2.
static void ExpectCurves(const char* text, int32_t count, int32_t first, const std::vector<std::vector<float>>& curves)
{
	SCOPED_TRACE(text);
	VectorDocument document;
	ASSERT_EQ(CodeString(document.ParseText(text)), "0");
	const GeometryStructure* shape = FindShape(document);
	ASSERT_EQ(shape->curves.GetCount(), count);
	for (size_t i = 0; i < curves.size(); i++)
	{
		const QuadraticCurve& c = shape->curves[first + int32_t(i)];
		const float actual[6] = {c.p0.x, c.p0.y, c.p1.x, c.p1.y, c.p2.x, c.p2.y};
		for (int32_t k = 0; k < 6; k++) EXPECT_FLOAT_EQ(actual[k], curves[i][k]) << "curve " << (first + int32_t(i)) << " value " << k;
	}
}

TEST(Shapes, ContoursOfLinePolygonRectAndCircle)
{
	RunShapeRows({
		{"Line {float[2] {{1, 2}}}", 0, {}},
		{"Line {float[2] {{1, 2}, {1, 2}}}", 0, {1, 0, 0}},
		{"Line {float[2] {{0, 0}, {1, 0}, {1, 1}}}", 0, {3, 0, 1}},
		{"Line {float[2] {{0, 0}, {1, 0}, {0, 0}}}", 0, {2, 0, 0}},
		{"Line {float[2] {{0, 0}, {1, 0}, {1, 0}, {1, 1}}}", 0, {4, 0, 1}},
		{"Polygon {float[2] {{0, 0}, {1, 1}}}", 0, {}},
		{"Polygon {float[2] {{0, 0}, {1, 0}, {1, 1}, {0, 0}}}", 0, {3, 1, 0}},
		{"Polygon {float[2] {{0, 0}, {1, 0}, {0, 0}}}", 0, {2, 1, 0}},
		{"Polygon {float[2] {{2, 2}, {2, 2}, {2, 2}}}", 0, {}},
		{"Rect {}", 0, {}},
		{"Rect {Radius {float[2] {{1, 0}}} float[2] {{0, 0}, {4, 4}}}", 0, {4, 1, 0}},
		{"Rect {Radius {float {-1}} float[2] {{0, 0}, {4, 4}}}", 0, {4, 1, 0}},
		{"Rect {Radius {float {1}} float[2] {{0, 0}, {4, 4}}}", 0, {16, 1, 0}},
		{"Circle {Radius {float {1}}}", 0, {}},
		{"Circle {Radius {float {1}} float[2] {{0, 0}}}", 0, {12, 1, 0}},
	});

	// A closing segment returns to the start; repeated polygon points are skipped.
	ExpectCurves("Line {float[2] {{0, 0}, {4, 0}, {4, 3}}}", 3, 0, {{0, 0, 4, 0, 4, 0}, {4, 0, 4, 3, 4, 3}, {4, 3, 0, 0, 0, 0}});
	ExpectCurves("Polygon {float[2] {{0, 0}, {0, 0}, {2, 0}, {2, 0}, {2, 2}}}", 3, 0, {{0, 0, 2, 0, 2, 0}, {2, 0, 2, 2, 2, 2}, {2, 2, 0, 0, 0, 0}});
	ExpectCurves("Rect {float[2] {{2, 3}, {0, 1}}}", 4, 0, {{0, 1, 2, 1, 2, 1}, {2, 1, 2, 3, 2, 3}, {2, 3, 0, 3, 0, 3}, {0, 3, 0, 1, 0, 1}});
}

TEST(Shapes, FailuresNameTheirLine)
{
	ExpectParseRows({
		{"Rect {\nfloat[2] {{0, 0}}\n}", 'IVDF', 1},
		{"Rect {\nfloat[2] {{0, 0}, {1, 1}, {2, 2}}\n}", 'IVDF', 1},
		{"Circle {\nfloat[2] {{0, 0}}\n}", 'MSSB', 1},
		{"Circle {\nRadius {float {1}}\nfloat[2] {{0, 0}, {1, 1}}\n}", 'IVDF', 1},
		{"Line {\nFill {}\nFill {}\n}", 'EXSB', 1},
		{"Line {\nStroke {}\nStroke {}\n}", 'EXSB', 1},
		{"Path {\n\nfloat[2]* {M {0, 0}, L {1, 1}, Z {2, 2}}\n}", 'IVDF', 1},
		// Command letters are the nine capitals, in a Path only.
		{"Path {\nfloat[2]* {M {0, 0}, X {1, 1}}\n}", 'PMST', 2},
		{"Path {\nfloat[2]* {m {0, 0}}\n}", 'PMST', 2},
		{"Path {\nfloat[2]* {MZ {0, 0}}\n}", 'PMST', 2},
		{"Line {\nfloat[2]* {M {0, 0}}\n}", 'PMST', 2},
	});
}

TEST(Shapes, RoundedCornersAndEllipsesComeFromTheCircleConstants)
{
	// The corner about (8, 2): 2 x 0.26795 = 0.5359, 2 x 0.73205 = 1.4641, 2 x 0.866026 = 1.732052.
	const char* rounded = "Rect {Radius {float {2}} float[2] {{0, 0}, {10, 10}}}";
	ExpectCurves(rounded, 16, 0, {{2, 0, 8, 0, 8, 0}, {8, 0, 8.5359f, 0, 9, 0.267948f}, {9, 0.267948f, 9.4641f, 0.5359f, 9.732052f, 1},
		{9.732052f, 1, 10, 1.4641f, 10, 2}, {10, 2, 10, 8, 10, 8}, {10, 8, 10, 8.5359f, 9.732052f, 9}});
	// The left side runs downwards; the last arc ends where the outline began.
	ExpectCurves(rounded, 16, 12, {{0, 8, 0, 2, 0, 2}, {0, 2, 0, 1.4641f, 0.267948f, 1}, {0.267948f, 1, 0.5359f, 0.5359f, 1, 0.267948f}, {1, 0.267948f, 1.4641f, 0, 2, 0}});

	// Clamped to rx = 5, ry = 2: the bottom and right sides have no length left.
	const char* clamped = "Rect {Radius {float[2] {{100, 100}}} float[2] {{0, 0}, {10, 4}}}";
	ExpectCurves(clamped, 16, 0, {{5, 0, 5, 0, 5, 0}, {5, 0, 6.33975f, 0, 7.5f, 0.267948f}});
	ExpectCurves(clamped, 16, 3, {{9.33013f, 1, 10, 1.4641f, 10, 2}, {10, 2, 10, 2, 10, 2}});

	// The constants themselves on the unit circle; a quarter turn on, and the last arc closes on (1, 0).
	const char* unit = "Circle {Radius {float {1}} float[2] {{0, 0}}}";
	ExpectCurves(unit, 12, 0, {{1, 0, 1, 0.26795f, 0.866026f, 0.5f}, {0.866026f, 0.5f, 0.73205f, 0.73205f, 0.5f, 0.866026f}});
	ExpectCurves(unit, 12, 3, {{0, 1, -0.26795f, 1, -0.5f, 0.866026f}});
	ExpectCurves(unit, 12, 11, {{0.866026f, -0.5f, 1, -0.26795f, 1, 0}});

	// 3 x 0.26795 = 0.80385, 2 x 0.73205 = 1.4641, 3 x 0.73205 = 2.19615, 3 x 0.866026 = 2.598078.
	const char* ellipse = "Circle {Radius {float[2] {{2, 3}}} float[2] {{10, 20}}}";
	ExpectCurves(ellipse, 12, 0, {{12, 20, 12, 20.80385f, 11.732052f, 21.5f}, {11.732052f, 21.5f, 11.4641f, 22.19615f, 11, 22.598078f}});
}

TEST(Path, CommandsContoursAndFlags)
{
	RunShapeRows({
		{"Path {float[2]* {}}", 0, {}},
		{"Path {float[2]* {M {0, 0}}}", 0, {}},
		{"Path {float[2]* {M {0, 0}, L {0, 0}}}", 0, {}},
		{"Path {float[2]* {M {0, 0}, L {1, 0}, L {1, 1}}}", 0, {3, 0, 1}},
		{"Path {float[2]* {M {0, 0}, L {1, 0}, L {0, 0}}}", 0, {2, 0, 0}},
		{"Path {float[2]* {Z {0, 0}, L {1, 0}, L {1, 1}}}", 0, {3, 1, 0}},
		// Repeated L: a sub-array without a letter keeps the one before.
		{"Path {float[2]* {M {0, 0}, L {1, 0}, {1, 1}, {0, 1}}}", 0, {4, 0, 1}},
		// No M: the subpath starts at the origin.
		{"Path {float[2]* {L {1, 0}, L {1, 1}}}", 0, {3, 0, 1}},
		// An H or V to the current point still gives two segments.
		{"Path {float[2]* {M {0, 0}, L {1, 0}, H {1, 0}}}", 0, {4, 0, 1}},
		{"Path {float[2]* {M {0, 0}, V {0, 0}}}", 0, {2, 0, 0}},
		// Two subpaths, and children that are not point lists are passed over.
		{"Path {float[2]* {M {0, 0}, L {1, 0}, L {1, 1}} Opacity {float {1}} Fill {} float[2]* {Z {5, 5}, L {6, 5}, L {5, 5}}}", 0, {3, 0, 1, 2, 1, 0}},
		// Misplaced or cut-off entries fail; a failing subpath leaves those before it.
		{"Path {float[2]* {M {0, 0}, M {1, 1}}}", 'IVDF', {}},
		{"Path {float[2]* {L {0, 0}, Z {1, 1}}}", 'IVDF', {}},
		{"Path {float[2]* {M {0, 0}, {1, 1}}}", 'IVDF', {}},
		{"Path {float[2]* {M {0, 0}, Q {1, 1}}}", 'IVDF', {}},
		{"Path {float[2]* {M {0, 0}, C {1, 1}, {2, 2}}}", 'IVDF', {}},
		{"Path {float[2]* {M {0, 0}, L {1, 0}, L {1, 1}} float[2]* {M {0, 0}, L {2, 2}, M {1, 1}}}", 'IVDF', {3, 0, 1}},
	});
}

TEST(Path, CurveCommandsPlaceTheirPoints)
{
	// H and V turn at the corner.
	ExpectCurves("Path {float[2]* {M {0, 0}, H {2, 3}, V {5, 7}}}", 5, 0, {{0, 0, 2, 0, 2, 0}, {2, 0, 2, 3, 2, 3}, {2, 3, 2, 7, 2, 7}, {2, 7, 5, 7, 5, 7}, {5, 7, 0, 0, 0, 0}});
	// A T mirrors the control only after a Q or T; else the control is the current point.
	ExpectCurves("Path {float[2]* {M {0, 0}, Q {1, 1}, {2, 0}, T {4, 0}, T {6, 0}}}", 4, 1, {{2, 0, 3, -1, 4, 0}, {4, 0, 5, 1, 6, 0}});
	ExpectCurves("Path {float[2]* {M {0, 0}, L {1, 0}, T {2, 5}}}", 3, 1, {{1, 0, 1, 0, 2, 5}});
	ExpectCurves("Path {float[2]* {M {3, 4}, T {2, 5}}}", 2, 0, {{3, 4, 3, 4, 2, 5}});
	// (0, 0) (2, 2) (4, 2) (6, 0) is a raised quadratic with control (3, 3);
	// the S gets its first control (2, 2) by mirroring (-2, -2).
	ExpectCurves("Path {float[2]* {M {-6, 0}, C {-4, -2}, {-2, -2}, {0, 0}, S {4, 2}, {6, 0}}}", 3, 0, {{-6, 0, -3, -3, 0, 0}, {0, 0, 3, 3, 6, 0}, {6, 0, -6, 0, -6, 0}});
	// After a Q the first control is the current point: one straight curve on the x axis.
	ExpectCurves("Path {float[2]* {M {0, 0}, Q {1, 1}, {2, 0}, S {4, 0}, {6, 0}}}", 3, 1, {{2, 0, 6, 0, 6, 0}});
}

TEST(Path, CubicsBecomeQuadraticsInCommandOrder)
{
	// Neither cubic is a raised quadratic, so each needs more than one piece; every
	// piece joins the next exactly, the last cubic's on (5, 3) and the closing side on the start.
	VectorDocument document;
	ASSERT_EQ(CodeString(document.ParseText("Path {float[2]* {M {0, 0}, L {1, 0}, C {1, 1}, {2, 1}, {2, 0}, L {3, 0}, C {4, 0}, {4, 2}, {5, 3}}}")), "0");
	const GeometryStructure* path = FindShape(document);
	int32_t count = path->curves.GetCount(), lineAfterCubic = -1;
	ASSERT_GE(count, 7);
	for (int32_t i = 0; i < count; i++)
	{
		const QuadraticCurve& c = path->curves[i], & next = path->curves[(i + 1) % count];
		EXPECT_TRUE((c.p2.x == next.p0.x) && (c.p2.y == next.p0.y)) << "curve " << i;
		if ((c.p0.x == 2.0f) && (c.p0.y == 0.0f) && (c.p2.x == 3.0f)) lineAfterCubic = i;
	}

	// The straight L segments keep their places between the converted cubics.
	EXPECT_EQ(path->curves[0].p2.x, 1.0f);
	EXPECT_GT(lineAfterCubic, 2);
	EXPECT_LT(lineAfterCubic, count - 3);
	EXPECT_EQ(path->curves[count - 1].p0.x, 5.0f);
	EXPECT_EQ(path->curves[count - 1].p0.y, 3.0f);
}

TEST(Path, ListsWithoutStatesFailWithoutReadingPastThem)
{
	// A list built in code may carry fewer states than points, or an unknown command value.
	VectorDocument document;
	PathStructure* path = new PathStructure;
	FloatStructure* list = new FloatStructure(2, true);
	for (float value : {0.0f, 0.0f, 1.0f, 0.0f, 1.0f, 1.0f}) list->data.Add(value);
	path->AppendSubnode(list);
	document.rootStructure.AppendSubnode(path);
	const struct { std::vector<uint32_t> states; const char* result; int32_t curves; } rows[] = {{{kPathMove}, "IVDF", 0}, {{kPathMove, kPathLine, 42}, "IVDF", 0}, {{kPathMove, kPathLine, kPathLine}, "0", 3}};
	for (const auto& row : rows)
	{
		list->states.Clear();
		for (uint32_t state : row.states) list->states.Add(state);
		EXPECT_EQ(CodeString(path->ProcessData(&document)), row.result);
		EXPECT_EQ(path->curves.GetCount(), row.curves);
	}
}
