#include "stroke/StrokeDriver.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "album/Renderer.h"
#include "stroke/CurveTools.h"
#include "stroke/StrokeTestSupport.h"

// The pieces of a stroke drawn by the renderer must cover every sample near
// the centre line and nothing beyond what the joins and caps reach.

typedef std::vector<QuadraticCurve> Contour;

// A centre line as short segments, in double.
struct Polyline
{
	std::vector<double> x;
	std::vector<double> y;
	// Open ends whose caps do not reach round them (flat and triangle caps):
	// samples beyond them, or within two pixels inside, need not be covered.
	bool bareEnds;
};

static Polyline Sampled(const Contour& contour, bool bareEnds)
{
	Polyline line{{}, {}, bareEnds};
	for (const QuadraticCurve& c : contour)
	{
		for (int32_t i = (line.x.empty() ? 0 : 1); i <= 64; i++)
		{
			double t = i / 64.0;
			double u = 1.0 - t;
			line.x.push_back(u * u * double(c.p0.x) + 2.0 * u * t * double(c.p1.x) + t * t * double(c.p2.x));
			line.y.push_back(u * u * double(c.p0.y) + 2.0 * u * t * double(c.p1.y) + t * t * double(c.p2.y));
		}
	}
	return line;
}

static double Distance(const Polyline& line, double px, double py)
{
	double best = 1e30;
	for (size_t i = 0; i + 1 < line.x.size(); i++)
	{
		double dx = line.x[i + 1] - line.x[i];
		double dy = line.y[i + 1] - line.y[i];
		double length2 = dx * dx + dy * dy;
		double t = (length2 > 0.0) ? ((px - line.x[i]) * dx + (py - line.y[i]) * dy) / length2 : 0.0;
		t = std::fmin(1.0, std::fmax(0.0, t));
		best = std::fmin(best, std::hypot(px - (line.x[i] + t * dx), py - (line.y[i] + t * dy)));
	}
	return best;
}

// How far a sample lies beyond one end of the line, along the line's
// direction there; negative inside.
static double BeyondEnd(const Polyline& line, bool last, double px, double py)
{
	size_t end = last ? line.x.size() - 1 : 0;
	size_t before = last ? end - 1 : 1;
	double dx = line.x[end] - line.x[before];
	double dy = line.y[end] - line.y[before];
	double length = std::hypot(dx, dy);
	return ((px - line.x[end]) * dx + (py - line.y[end]) * dy) / length;
}

struct CoverageCase
{
	const char* text;
	Contour contour;
	uint32_t flags;
	uint32_t cap;
	uint32_t join;
	float miterLimit;
	// How far the geometry may reach, in half widths.
	float reach;
	// A bevel cuts the corner: samples within a half width of a corner point
	// need not be covered. (At a sharp corner the bevel's straight edge runs
	// along the start of the next body, just inside it.)
	bool bevelled;
	std::vector<float> dashes;
	// The dashes' centre lines, where the contour is dashed.
	std::vector<Contour> dashLines;
};

static void CheckCoverage(const CoverageCase& row, uint32_t format)
{
	const double halfWidth = 0.1;
	const double pixel = halfWidth / 10.0;
	StrokeParameters params;
	params.width = float(halfWidth * 2.0);
	params.cap = row.cap;
	params.join = row.join;
	params.miterLimit = row.miterLimit;
	params.dashCount = int32_t(row.dashes.size());
	params.dashArray = row.dashes.data();
	params.dashOffset = row.dashes.empty() ? 0.0f : 0.25f;
	StrokeRun run = RunStroke(params, row.flags, row.contour, format, 256, 64);
	ASSERT_EQ(CheckStrokeRun(run), "");
	ASSERT_EQ(run.emitResult, 0u);

	StrokeSource source{run.Image(), format, 256, 64, run.Vertices(), 68, run.emitVertices,
		reinterpret_cast<const uint16_t*>(run.Triangles()), run.emitTriangles};
	const float color[4] = {1.0f, 1.0f, 1.0f, 1.0f};
	StrokeRenderer renderer;
	ASSERT_EQ(renderer.Prepare(&source, color), 0u);

	bool bare = (row.cap == 'FLAT' || row.cap == 'TRIA');
	Polyline whole = Sampled(row.contour, false);
	std::vector<Polyline> covered;
	if (row.dashLines.empty()) covered.push_back(Sampled(row.contour, bare && (row.flags & 1) == 0));
	for (const Contour& dash : row.dashLines) covered.push_back(Sampled(dash, bare));

	Box2D box = CurveBounds(row.contour[0]);
	for (const QuadraticCurve& c : row.contour)
	{
		Box2D b = CurveBounds(c);
		box = Box2D{std::fmin(box.xMin, b.xMin), std::fmin(box.yMin, b.yMin), std::fmax(box.xMax, b.xMax), std::fmax(box.yMax, b.yMax)};
	}
	double margin = halfWidth * double(row.reach) + 4.0 * pixel;
	double limit = halfWidth * double(row.reach) + 2.0 * pixel;
	int32_t missed = 0;
	int32_t stray = 0;
	int32_t inside = 0;
	// Samples a pixel and a half apart, on pixels of `pixel`.
	for (double y = double(box.yMin) - margin; y <= double(box.yMax) + margin; y += 1.5 * pixel)
	{
		for (double x = double(box.xMin) - margin; x <= double(box.xMax) + margin; x += 1.5 * pixel)
		{
			float rgba[4];
			renderer.Shade(float(x), float(y), float(pixel), rgba);
			bool near = false;
			for (const Polyline& line : covered)
			{
				bool atEnd = line.bareEnds && (BeyondEnd(line, false, x, y) > -2.0 * pixel || BeyondEnd(line, true, x, y) > -2.0 * pixel);
				if (Distance(line, x, y) <= 0.9 * halfWidth && !atEnd) near = true;
			}
			for (size_t c = 0; near && row.bevelled && c < row.contour.size(); c++)
			{
				Point2D corner = row.contour[c].p0;
				if (std::hypot(x - double(corner.x), y - double(corner.y)) < halfWidth) near = false;
			}
			if (near)
			{
				inside++;
				if (!(rgba[3] > 0.99f) && missed++ < 5) ADD_FAILURE() << "not covered at " << x << ", " << y << ": " << rgba[3];
			}
			if (Distance(whole, x, y) > limit && rgba[3] != 0.0f && stray++ < 5)
			{
				ADD_FAILURE() << "covered at " << x << ", " << y << ": " << rgba[3];
			}
		}
	}
	EXPECT_GT(inside, 100);
}

TEST(StrokeCoverage, PiecesCoverTheStrokeAndNothingBeyond)
{
	const Contour line{Line(0, 0, 1, 0.25f)};
	const Contour arch{QuadraticCurve{{0, 0}, {0.5f, 1}, {1, 0}}};
	const Contour wave{QuadraticCurve{{0, 0}, {0.25f, 0.5f}, {0.5f, 0}}, QuadraticCurve{{0.5f, 0}, {0.75f, -0.5f}, {1, 0}}};
	const Contour square{Line(0, 0, 1, 0), Line(1, 0, 1, 1), Line(1, 1, 0, 1), Line(0, 1, 0, 0)};
	const Contour spike{Line(0, 0, 1, 0), Line(1, 0, 0, 0.2f), Line(0, 0.2f, 0, 0)};
	// Four quadratics round the unit circle: every joint is smooth.
	const float k = 1.0f;
	const Contour circle{QuadraticCurve{{1, 0}, {k, k}, {0, 1}}, QuadraticCurve{{0, 1}, {-k, k}, {-1, 0}}, QuadraticCurve{{-1, 0}, {-k, -k}, {0, -1}},
		QuadraticCurve{{0, -1}, {k, -k}, {1, 0}}};
	const Contour hook{QuadraticCurve{{0, 0}, {0.5f, 0.5f}, {1, 0}}, Line(1, 0, 0.6f, -0.6f)};
	const CoverageCase rows[] = {
		{"line, flat caps", line, 0, 'FLAT', 'BEVL', 4.0f, 1.0f, false, {}, {}},
		{"line, square caps", line, 0, 'SQUA', 'BEVL', 4.0f, 1.42f, false, {}, {}},
		{"line, round caps", line, 0, 'ROND', 'BEVL', 4.0f, 1.0f, false, {}, {}},
		{"line, triangle caps", line, 0, 'TRIA', 'BEVL', 4.0f, 1.0f, false, {}, {}},
		{"arch, split, round caps", arch, 0, 'ROND', 'BEVL', 4.0f, 1.0f, false, {}, {}},
		{"arch, square caps as pieces", arch, 0, 'SQUA', 'BEVL', 4.0f, 1.42f, false, {}, {}},
		{"wave", wave, 0, 'TRIA', 'ROND', 1.0f, 1.0f, false, {}, {}},
		{"closed square, mitered", square, 1, 'FLAT', 'BEVL', 4.0f, 1.42f, false, {}, {}},
		{"closed square, bevelled", square, 1, 'FLAT', 'BEVL', 1.0f, 1.0f, true, {}, {}},
		{"closed square, round", square, 1, 'FLAT', 'ROND', 1.0f, 1.0f, false, {}, {}},
		{"sharp corners past the limit", spike, 1, 'FLAT', 'BEVL', 4.0f, 4.0f, true, {}, {}},
		{"sharp corners, round", spike, 1, 'FLAT', 'ROND', 1.0f, 1.0f, false, {}, {}},
		{"circle", circle, 1, 'FLAT', 'BEVL', 4.0f, 1.0f, false, {}, {}},
		{"curve meeting a line: curved join, mitered", hook, 0, 'ROND', 'BEVL', 4.0f, 2.7f, false, {}, {}},
		{"curve meeting a line: curved join, round", hook, 0, 'ROND', 'ROND', 1.0f, 1.0f, false, {}, {}},
		{"dashed line, round caps", Contour{Line(0, 0, 0.9f, 0)}, 0, 'ROND', 'BEVL', 4.0f, 1.0f, false, {0.25f, 0.25f},
			{{Line(0.25f, 0, 0.5f, 0)}, {Line(0.75f, 0, 0.9f, 0)}}},
		// A phase of 0.25: every corner and the seam are in the middle of a
		// dash.
		{"dashed square, flat caps", square, 1, 'FLAT', 'BEVL', 4.0f, 1.42f, false, {0.5f, 0.5f},
			{{Line(0.75f, 0, 1, 0), Line(1, 0, 1, 0.25f)}, {Line(1, 0.75f, 1, 1), Line(1, 1, 0.75f, 1)},
				{Line(0.25f, 1, 0, 1), Line(0, 1, 0, 0.75f)}, {Line(0, 0.25f, 0, 0), Line(0, 0, 0.25f, 0)}}},
	};
	for (const CoverageCase& row : rows)
	{
		SCOPED_TRACE(row.text);
		CheckCoverage(row, 'FLT4');
	}
	SCOPED_TRACE("half-float chains");
	CheckCoverage(rows[13], 'HLF4');
}

TEST(StrokeRenderer, PrepareRejectsPiecesOutsideTheirData)
{
	StrokeParameters params;
	params.width = 0.2f;
	StrokeRun run = RunStroke(params, 0, Contour{Line(0, 0, 1, 0)}, 'FLT4', 16, 4);
	ASSERT_EQ(run.emitVertices, 4);
	const float color[4] = {1.0f, 0.0f, 0.0f, 1.0f};
	StrokeRenderer renderer;
	StrokeSource source{run.Image(), 'FLT4', 16, 4, run.Vertices(), 68, 4, reinterpret_cast<const uint16_t*>(run.Triangles()), 2};
	EXPECT_EQ(renderer.Prepare(&source, color), 0u);
	float rgba[4];
	renderer.Shade(0.5f, 0.0f, 0.01f, rgba);
	EXPECT_EQ(rgba[3], 1.0f);
	EXPECT_EQ(rgba[0], 1.0f);

	// An index past the vertices, and a chain running off its row.
	source.vertexCount = 3;
	EXPECT_EQ(renderer.Prepare(&source, color), uint32_t('OFST'));
	renderer.Shade(0.5f, 0.0f, 0.01f, rgba);
	EXPECT_EQ(rgba[3], 0.0f);
	source.vertexCount = 4;
	source.curveWidth = 4;
	EXPECT_EQ(renderer.Prepare(&source, color), uint32_t('OFST'));
}
