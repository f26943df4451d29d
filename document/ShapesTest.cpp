#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "description/Primitive.h"
#include "document/DocumentTestSupport.h"
#include "document/Shapes.h"
#include "document/VectorDocument.h"
#include "support/TestSupport.h"

struct ContourRow
{
	int32_t curveCount;
	int closed;
	int implicitClose;
};

struct ShapeRow
{
	const char* text;
	uint32_t result;
	int32_t curveCount;
	std::vector<ContourRow> contours;
};

static void ExpectContours(const GeometryStructure* shape, const std::vector<ContourRow>& contours)
{
	ASSERT_EQ(shape->contours.GetCount(), int32_t(contours.size()));
	for (size_t i = 0; i < contours.size(); i++)
	{
		SCOPED_TRACE("contour " + std::to_string(i));
		EXPECT_EQ(shape->contours[int32_t(i)].curveCount, contours[i].curveCount);
		EXPECT_EQ(int(shape->contours[int32_t(i)].closedFlag), contours[i].closed);
		EXPECT_EQ(int(shape->contours[int32_t(i)].implicitCloseFlag), contours[i].implicitClose);
	}
}

// Consecutive curves of a contour join, and a closed outline ends where it began.
static void ExpectJoined(const GeometryStructure* shape)
{
	int32_t first = 0;
	for (const ContourRecord& contour : shape->contours)
	{
		for (int32_t i = first; i + 1 < first + contour.curveCount; i++)
		{
			EXPECT_EQ(shape->curves[i].p2.x, shape->curves[i + 1].p0.x) << "curve " << i;
			EXPECT_EQ(shape->curves[i].p2.y, shape->curves[i + 1].p0.y) << "curve " << i;
		}

		first += contour.curveCount;
	}
}

static void RunShapeRows(const std::vector<ShapeRow>& rows)
{
	for (const ShapeRow& row : rows)
	{
		SCOPED_TRACE(row.text);
		VectorDocument document;
		EXPECT_EQ(CodeString(document.ParseText(row.text)), CodeString(row.result));
		const GeometryStructure* shape = FindShape(document);
		ASSERT_NE(shape, nullptr);
		EXPECT_EQ(shape->curves.GetCount(), row.curveCount);
		ExpectContours(shape, row.contours);
		ExpectJoined(shape);
	}
}

static void ExpectCurve(const QuadraticCurve& curve, float x0, float y0, float x1, float y1, float x2, float y2)
{
	EXPECT_FLOAT_EQ(curve.p0.x, x0);
	EXPECT_FLOAT_EQ(curve.p0.y, y0);
	EXPECT_FLOAT_EQ(curve.p1.x, x1);
	EXPECT_FLOAT_EQ(curve.p1.y, y1);
	EXPECT_FLOAT_EQ(curve.p2.x, x2);
	EXPECT_FLOAT_EQ(curve.p2.y, y2);
}

TEST(Line, SegmentsAndImplicitClose)
{
	RunShapeRows({
		{"Line {}", 0, 0, {}},
		{"Line {float[2] {}}", 0, 0, {}},
		{"Line {float[2] {{1, 2}}}", 0, 0, {}},
		{"Line {float[2] {{1, 2}, {3, 4}}}", 0, 1, {{1, 0, 0}}},
		{"Line {float[2] {{1, 2}, {1, 2}}}", 0, 1, {{1, 0, 0}}},
		{"Line {float[2] {{0, 0}, {1, 0}, {1, 1}}}", 0, 3, {{3, 0, 1}}},
		{"Line {float[2] {{0, 0}, {1, 0}, {0, 0}}}", 0, 2, {{2, 0, 0}}},
		{"Line {float[2] {{0, 0}, {1, 0}, {1, 1}, {0, 1}, {0, 0}}}", 0, 4, {{4, 0, 0}}},
		{"Line {float[2] {{0, 0}, {1, 0}, {1, 0}, {1, 1}}}", 0, 4, {{4, 0, 1}}},
	});
}

TEST(Line, SegmentsAreStraightAndClosingOneReturnsToStart)
{
	VectorDocument document;
	ASSERT_EQ(CodeString(document.ParseText("Line {float[2] {{0, 0}, {4, 0}, {4, 3}}}")), "0");
	const GeometryStructure* line = FindShape(document);
	ASSERT_EQ(line->curves.GetCount(), 3);
	ExpectCurve(line->curves[0], 0, 0, 4, 0, 4, 0);
	ExpectCurve(line->curves[1], 4, 0, 4, 3, 4, 3);
	ExpectCurve(line->curves[2], 4, 3, 0, 0, 0, 0);
}

TEST(Polygon, SkipsRepeatedPointsAndCloses)
{
	RunShapeRows({
		{"Polygon {}", 0, 0, {}},
		{"Polygon {float[2] {{0, 0}, {1, 1}}}", 0, 0, {}},
		{"Polygon {float[2] {{0, 0}, {1, 0}, {1, 1}}}", 0, 3, {{3, 1, 0}}},
		{"Polygon {float[2] {{0, 0}, {1, 0}, {1, 1}, {0, 0}}}", 0, 3, {{3, 1, 0}}},
		{"Polygon {float[2] {{0, 0}, {0, 0}, {1, 0}, {1, 1}, {1, 1}}}", 0, 3, {{3, 1, 0}}},
		{"Polygon {float[2] {{0, 0}, {1, 0}, {0, 0}}}", 0, 2, {{2, 1, 0}}},
		{"Polygon {float[2] {{2, 2}, {2, 2}, {2, 2}}}", 0, 0, {}},
	});

	VectorDocument document;
	ASSERT_EQ(CodeString(document.ParseText("Polygon {float[2] {{0, 0}, {0, 0}, {2, 0}, {2, 0}, {2, 2}}}")), "0");
	const GeometryStructure* polygon = FindShape(document);
	ASSERT_EQ(polygon->curves.GetCount(), 3);
	ExpectCurve(polygon->curves[0], 0, 0, 2, 0, 2, 0);
	ExpectCurve(polygon->curves[1], 2, 0, 2, 2, 2, 2);
	ExpectCurve(polygon->curves[2], 2, 2, 0, 0, 0, 0);
}

TEST(Rect, PlainBoxFromEitherCorner)
{
	RunShapeRows({
		{"Rect {}", 0, 0, {}},
		{"Rect {float[2] {{2, 3}, {0, 1}}}", 0, 4, {{4, 1, 0}}},
		{"Rect {Radius {float {0}} float[2] {{0, 0}, {1, 1}}}", 0, 4, {{4, 1, 0}}},
		{"Rect {Radius {float[2] {{1, 0}}} float[2] {{0, 0}, {4, 4}}}", 0, 4, {{4, 1, 0}}},
		{"Rect {Radius {float {-1}} float[2] {{0, 0}, {4, 4}}}", 0, 4, {{4, 1, 0}}},
		{"Rect {Radius {float {1}} float[2] {{0, 0}, {4, 4}}}", 0, 16, {{16, 1, 0}}},
		{"Rect {\nfloat[2] {{0, 0}}\n}", 'IVDF', 0, {}},
		{"Rect {\nfloat[2] {{0, 0}, {1, 1}, {2, 2}}\n}", 'IVDF', 0, {}},
	});

	VectorDocument document;
	ASSERT_EQ(CodeString(document.ParseText("Rect {float[2] {{2, 3}, {0, 1}}}")), "0");
	const GeometryStructure* rect = FindShape(document);
	ASSERT_EQ(rect->curves.GetCount(), 4);
	ExpectCurve(rect->curves[0], 0, 1, 2, 1, 2, 1);
	ExpectCurve(rect->curves[1], 2, 1, 2, 3, 2, 3);
	ExpectCurve(rect->curves[2], 2, 3, 0, 3, 0, 3);
	ExpectCurve(rect->curves[3], 0, 3, 0, 1, 0, 1);
}

TEST(Rect, RoundedCornersAreThreeArcsEach)
{
	VectorDocument document;
	ASSERT_EQ(CodeString(document.ParseText("Rect {Radius {float {2}} float[2] {{0, 0}, {10, 10}}}")), "0");
	const GeometryStructure* rect = FindShape(document);
	ASSERT_EQ(rect->curves.GetCount(), 16);

	// Bottom side, then the corner about (8, 2): 2 x 0.26795 = 0.5359,
	// 2 x 0.73205 = 1.4641, 2 x 0.866026 = 1.732052.
	ExpectCurve(rect->curves[0], 2, 0, 8, 0, 8, 0);
	ExpectCurve(rect->curves[1], 8, 0, 8.5359f, 0, 9, 0.267948f);
	ExpectCurve(rect->curves[2], 9, 0.267948f, 9.4641f, 0.5359f, 9.732052f, 1);
	ExpectCurve(rect->curves[3], 9.732052f, 1, 10, 1.4641f, 10, 2);

	// Right side and the corner about (8, 8).
	ExpectCurve(rect->curves[4], 10, 2, 10, 8, 10, 8);
	ExpectCurve(rect->curves[5], 10, 8, 10, 8.5359f, 9.732052f, 9);

	// Top side runs right to left; left side downwards.
	ExpectCurve(rect->curves[8], 8, 10, 2, 10, 2, 10);
	ExpectCurve(rect->curves[12], 0, 8, 0, 2, 0, 2);

	// The last arc, about (2, 2), ends where the outline began.
	ExpectCurve(rect->curves[15], 1, 0.267948f, 1.4641f, 0, 2, 0);
	ExpectJoined(rect);
	EXPECT_EQ(rect->curves[15].p2.x, rect->curves[0].p0.x);
	EXPECT_EQ(rect->curves[15].p2.y, rect->curves[0].p0.y);
}

TEST(Rect, RadiusIsClampedToHalfOfEachSide)
{
	VectorDocument document;
	ASSERT_EQ(CodeString(document.ParseText("Rect {Radius {float[2] {{100, 100}}} float[2] {{0, 0}, {10, 4}}}")), "0");
	const GeometryStructure* rect = FindShape(document);
	ASSERT_EQ(rect->curves.GetCount(), 16);

	// rx = 5, ry = 2: the bottom and right sides have no length left.
	ExpectCurve(rect->curves[0], 5, 0, 5, 0, 5, 0);
	ExpectCurve(rect->curves[1], 5, 0, 6.33975f, 0, 7.5f, 0.267948f);
	ExpectCurve(rect->curves[3], 9.33013f, 1, 10, 1.4641f, 10, 2);
	ExpectCurve(rect->curves[4], 10, 2, 10, 2, 10, 2);
	ExpectContours(rect, {{16, 1, 0}});
}

TEST(Circle, TwelveArcsFromTheConstants)
{
	VectorDocument document;
	ASSERT_EQ(CodeString(document.ParseText("Circle {Radius {float {1}} float[2] {{0, 0}}}")), "0");
	const GeometryStructure* circle = FindShape(document);
	ASSERT_EQ(circle->curves.GetCount(), 12);
	ExpectContours(circle, {{12, 1, 0}});
	ExpectJoined(circle);

	// The constants themselves on the unit circle, exactly.
	const QuadraticCurve& first = circle->curves[0];
	EXPECT_EQ(first.p0.x, 1.0f);
	EXPECT_EQ(first.p0.y, 0.0f);
	EXPECT_EQ(first.p1.x, 1.0f);
	EXPECT_EQ(first.p1.y, 0.26795f);
	EXPECT_EQ(first.p2.x, 0.866026f);
	EXPECT_EQ(first.p2.y, 0.5f);
	const QuadraticCurve& second = circle->curves[1];
	EXPECT_EQ(second.p1.x, 0.73205f);
	EXPECT_EQ(second.p1.y, 0.73205f);
	EXPECT_EQ(second.p2.x, 0.5f);
	EXPECT_EQ(second.p2.y, 0.866026f);

	// A quarter turn on, and the last arc closes on (1, 0).
	ExpectCurve(circle->curves[3], 0, 1, -0.26795f, 1, -0.5f, 0.866026f);
	ExpectCurve(circle->curves[9], 0, -1, 0.26795f, -1, 0.5f, -0.866026f);
	ExpectCurve(circle->curves[11], 0.866026f, -0.5f, 1, -0.26795f, 1, 0);
}

TEST(Circle, TwoRadiiMakeAnEllipseAboutTheCentre)
{
	VectorDocument document;
	ASSERT_EQ(CodeString(document.ParseText("Circle {Radius {float[2] {{2, 3}}} float[2] {{10, 20}}}")), "0");
	const GeometryStructure* circle = FindShape(document);
	ASSERT_EQ(circle->curves.GetCount(), 12);

	// 3 x 0.26795 = 0.80385, 2 x 0.866026 = 1.732052, 2 x 0.73205 = 1.4641,
	// 3 x 0.73205 = 2.19615, 3 x 0.866026 = 2.598078.
	ExpectCurve(circle->curves[0], 12, 20, 12, 20.80385f, 11.732052f, 21.5f);
	ExpectCurve(circle->curves[1], 11.732052f, 21.5f, 11.4641f, 22.19615f, 11, 22.598078f);
	ExpectCurve(circle->curves[6], 8, 20, 8, 19.19615f, 8.267948f, 18.5f);
}

TEST(Circle, NeedsRadiusAndOnePoint)
{
	RunShapeRows({
		{"Circle {\nfloat[2] {{0, 0}}\n}", 'MSSB', 0, {}},
		{"Circle {}", 'MSSB', 0, {}},
		{"Circle {Radius {float {1}}}", 0, 0, {}},
		{"Circle {\nRadius {float {1}}\nfloat[2] {{0, 0}, {1, 1}}\n}", 'IVDF', 0, {}},
		{"Circle {\nRadius {float {1}}\nfloat[2] {}\n}", 'IVDF', 0, {}},
	});
}

TEST(Path, CommandsContoursAndFlags)
{
	RunShapeRows({
		{"Path {}", 0, 0, {}},
		{"Path {float[2]* {}}", 0, 0, {}},
		{"Path {float[2]* {M {0, 0}}}", 0, 0, {}},
		{"Path {float[2]* {Z {3, 3}}}", 0, 0, {}},
		{"Path {float[2]* {M {0, 0}, L {0, 0}}}", 0, 0, {}},
		{"Path {float[2]* {M {0, 0}, L {1, 0}, L {1, 1}}}", 0, 3, {{3, 0, 1}}},
		{"Path {float[2]* {M {0, 0}, L {1, 0}, L {0, 0}}}", 0, 2, {{2, 0, 0}}},
		{"Path {float[2]* {Z {0, 0}, L {1, 0}, L {1, 1}}}", 0, 3, {{3, 1, 0}}},
		{"Path {float[2]* {Z {0, 0}, L {1, 0}, L {0, 0}}}", 0, 2, {{2, 1, 0}}},
		// Repeated L: a sub-array without a letter keeps the one before.
		{"Path {float[2]* {M {0, 0}, L {1, 0}, {1, 1}, {0, 1}}}", 0, 4, {{4, 0, 1}}},
		// No M: the subpath starts at the origin.
		{"Path {float[2]* {L {1, 0}, L {1, 1}}}", 0, 3, {{3, 0, 1}}},
		// An H or V to the current point still gives two segments.
		{"Path {float[2]* {M {0, 0}, L {1, 0}, H {1, 0}}}", 0, 4, {{4, 0, 1}}},
		{"Path {float[2]* {M {0, 0}, V {0, 0}}}", 0, 2, {{2, 0, 0}}},
		{"Path {float[2]* {Z {0, 0}, Q {1, 1}, {2, 0}}}", 0, 2, {{2, 1, 0}}},
		// Two subpaths, and children that are not point lists are passed over.
		{"Path {float[2]* {M {0, 0}, L {1, 0}, L {1, 1}} Opacity {float {1}} Fill {} float[2]* {Z {5, 5}, L {6, 5}, L {5, 5}}}", 0, 5, {{3, 0, 1}, {2, 1, 0}}},
		{"Path {float[2]* {M {0, 0}, C {1, 0}, {2, 0}, {3, 0}}}", 0, 2, {{2, 0, 1}}},
	});
}

TEST(Path, MisplacedOrCutOffEntriesFail)
{
	RunShapeRows({
		{"Path {\nfloat[2]* {M {0, 0}, M {1, 1}}\n}", 'IVDF', 0, {}},
		{"Path {\nfloat[2]* {L {0, 0}, Z {1, 1}}\n}", 'IVDF', 0, {}},
		{"Path {\nfloat[2]* {M {0, 0}, {1, 1}}\n}", 'IVDF', 0, {}},
		{"Path {\nfloat[2]* {M {0, 0}, Q {1, 1}}\n}", 'IVDF', 0, {}},
		{"Path {\nfloat[2]* {M {0, 0}, C {1, 1}, {2, 2}}\n}", 'IVDF', 0, {}},
		{"Path {\nfloat[2]* {M {0, 0}, S {1, 1}}\n}", 'IVDF', 0, {}},
		// A failing subpath leaves the curves of those before it.
		{"Path {\nfloat[2]* {M {0, 0}, L {1, 0}, L {1, 1}}\nfloat[2]* {M {0, 0}, L {2, 2}, M {1, 1}}\n}", 'IVDF', 3, {{3, 0, 1}}},
	});

	VectorDocument document;
	EXPECT_EQ(CodeString(document.ParseText("Path {\nfloat[2]* {M {0, 0}, X {1, 1}}\n}")), "PMST");
	EXPECT_EQ(document.errorLine, 2);
	EXPECT_EQ(CodeString(document.ParseText("Path {\n\nfloat[2]* {M {0, 0}, L {1, 1}, Z {2, 2}}\n}")), "IVDF");
	EXPECT_EQ(document.errorLine, 1);
}

TEST(Path, StateIdentifiers)
{
	PathStructure path;
	const char* letters = "MZLHVQTCS";
	for (uint32_t i = 0; i < 9; i++)
	{
		char identifier[2] = {letters[i], 0};
		uint32_t value = 99;
		EXPECT_TRUE(path.GetStateValue(String(identifier), &value)) << identifier;
		EXPECT_EQ(value, i) << identifier;
	}

	for (const char* other : {"m", "A", "MZ", "", "l"})
	{
		uint32_t value = 99;
		EXPECT_FALSE(path.GetStateValue(String(other), &value)) << other;
		EXPECT_EQ(value, 99u);
	}

	LineStructure line;
	uint32_t value = 0;
	EXPECT_FALSE(line.GetStateValue(String("M"), &value));
}

TEST(Path, HorizontalAndVerticalTurnAtTheCorner)
{
	VectorDocument document;
	ASSERT_EQ(CodeString(document.ParseText("Path {float[2]* {M {0, 0}, H {2, 3}, V {5, 7}}}")), "0");
	const GeometryStructure* path = FindShape(document);
	ASSERT_EQ(path->curves.GetCount(), 5);
	ExpectCurve(path->curves[0], 0, 0, 2, 0, 2, 0);
	ExpectCurve(path->curves[1], 2, 0, 2, 3, 2, 3);
	ExpectCurve(path->curves[2], 2, 3, 2, 7, 2, 7);
	ExpectCurve(path->curves[3], 2, 7, 5, 7, 5, 7);
	ExpectCurve(path->curves[4], 5, 7, 0, 0, 0, 0);
}

TEST(Path, SmoothQuadraticsMirrorOnlyAfterQuadratics)
{
	struct Row
	{
		const char* text;
		int32_t curve;
		float controlX, controlY;
	};

	const Row rows[] =
	{
		{"Path {float[2]* {M {0, 0}, Q {1, 1}, {2, 0}, T {4, 0}}}", 1, 3, -1},
		{"Path {float[2]* {M {0, 0}, Q {1, 1}, {2, 0}, T {4, 0}, T {6, 0}}}", 2, 5, 1},
		{"Path {float[2]* {M {0, 0}, L {1, 0}, T {2, 5}}}", 1, 1, 0},
		{"Path {float[2]* {M {3, 4}, T {2, 5}}}", 0, 3, 4},
		{"Path {float[2]* {M {0, 0}, C {0, 1}, {1, 1}, {1, 0}, T {2, 5}}}", -1, 1, 0},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		VectorDocument document;
		ASSERT_EQ(CodeString(document.ParseText(row.text)), "0");
		const GeometryStructure* path = FindShape(document);

		// -1: the T is the curve before the closing segment.
		int32_t index = (row.curve >= 0) ? row.curve : path->curves.GetCount() - 2;
		ASSERT_LT(index, path->curves.GetCount());
		EXPECT_EQ(path->curves[index].p1.x, row.controlX);
		EXPECT_EQ(path->curves[index].p1.y, row.controlY);
	}
}

TEST(Path, SmoothCubicsMirrorOnlyAfterCubics)
{
	// (0, 0) (2, 2) (4, 2) (6, 0) is a raised quadratic with control (3, 3);
	// the S gets its first control (2, 2) by mirroring (-2, -2).
	VectorDocument document;
	ASSERT_EQ(CodeString(document.ParseText("Path {float[2]* {M {-6, 0}, C {-4, -2}, {-2, -2}, {0, 0}, S {4, 2}, {6, 0}}}")), "0");
	const GeometryStructure* path = FindShape(document);
	ASSERT_EQ(path->curves.GetCount(), 3);
	ExpectCurve(path->curves[0], -6, 0, -3, -3, 0, 0);
	ExpectCurve(path->curves[1], 0, 0, 3, 3, 6, 0);
	ExpectCurve(path->curves[2], 6, 0, -6, 0, -6, 0);

	// After a Q the first control is the current point, which puts this
	// cubic on the x axis: one straight curve.
	ASSERT_EQ(CodeString(document.ParseText("Path {float[2]* {M {0, 0}, Q {1, 1}, {2, 0}, S {4, 0}, {6, 0}}}")), "0");
	path = FindShape(document);
	ASSERT_EQ(path->curves.GetCount(), 3);
	ExpectCurve(path->curves[1], 2, 0, 6, 0, 6, 0);
}

TEST(Path, CubicsBecomeQuadraticsInCommandOrder)
{
	VectorDocument document;
	ASSERT_EQ(CodeString(document.ParseText("Path {float[2]* {M {0, 0}, L {1, 0}, C {1, 1}, {2, 1}, {2, 0}, L {3, 0}, C {4, 0}, {4, 2}, {5, 3}}}")), "0");
	const GeometryStructure* path = FindShape(document);
	ASSERT_GE(path->curves.GetCount(), 5);
	ExpectJoined(path);

	// The straight L segments keep their places between the converted cubics.
	ExpectCurve(path->curves[0], 0, 0, 1, 0, 1, 0);
	int32_t count = path->curves.GetCount();
	int32_t lineAfterCubic = -1;
	for (int32_t i = 1; i < count; i++)
	{
		if ((path->curves[i].p0.x == 2.0f) && (path->curves[i].p0.y == 0.0f) && (path->curves[i].p2.x == 3.0f))
		{
			lineAfterCubic = i;
		}
	}

	ASSERT_GT(lineAfterCubic, 1);
	EXPECT_EQ(path->curves[lineAfterCubic - 1].p2.x, 2.0f);

	// The last cubic ends at its end point exactly, then the outline closes.
	EXPECT_EQ(path->curves[count - 2].p2.x, 5.0f);
	EXPECT_EQ(path->curves[count - 2].p2.y, 3.0f);
	ExpectCurve(path->curves[count - 1], 5, 3, 0, 0, 0, 0);
	ExpectContours(path, {{count, 0, 1}});
}

TEST(Path, ListsWithoutStatesFailWithoutReadingPastThem)
{
	// A list built in code may carry fewer states than points.
	VectorDocument document;
	PathStructure* path = new PathStructure;
	FloatStructure* list = new FloatStructure(2, true);
	for (float value : {0.0f, 0.0f, 1.0f, 0.0f, 1.0f, 1.0f}) list->data.Add(value);
	list->states.Add(kPathMove);
	path->AppendSubnode(list);
	document.rootStructure.AppendSubnode(path);

	EXPECT_EQ(CodeString(path->ProcessData(&document)), "IVDF");
	EXPECT_EQ(path->curves.GetCount(), 0);

	// An unknown command value fails the same way.
	list->states.Add(kPathLine);
	list->states.Add(42);
	EXPECT_EQ(CodeString(path->ProcessData(&document)), "IVDF");

	list->states[2] = kPathLine;
	EXPECT_EQ(CodeString(path->ProcessData(&document)), "0");
	EXPECT_EQ(path->curves.GetCount(), 3);
}
