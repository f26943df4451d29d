#include "stroke/StrokeDriver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "album/Renderer.h"
#include "stroke/StrokeTestSupport.h"

// The pieces of a stroke drawn by the renderer must cover every sample near
// the centre line and nothing beyond what the joins and caps reach.

// A centre line as short segments, in double. Where `bareEnds`, the caps do
// not reach round the open ends (flat and triangle caps): samples beyond
// them, or within two pixels inside, need not be covered.
struct Polyline
{
	std::vector<double> x, y;
	bool bareEnds;

	Polyline(const Contour& contour, bool bare) : bareEnds(bare)
	{
		for (const QuadraticCurve& c : contour)
		{
			for (int32_t i = (x.empty() ? 0 : 1); i <= 64; i++)
			{
				double t = i / 64.0, u = 1.0 - t;
				x.push_back(u * u * double(c.p0.x) + 2.0 * u * t * double(c.p1.x) + t * t * double(c.p2.x));
				y.push_back(u * u * double(c.p0.y) + 2.0 * u * t * double(c.p1.y) + t * t * double(c.p2.y));
			}
		}
	}

	double Distance(double px, double py) const
	{
		double best = 1e30;
		for (size_t i = 0; i + 1 < x.size(); i++)
		{
			double dx = x[i + 1] - x[i], dy = y[i + 1] - y[i], length2 = dx * dx + dy * dy;
			double t = (length2 > 0.0) ? std::clamp(((px - x[i]) * dx + (py - y[i]) * dy) / length2, 0.0, 1.0) : 0.0;
			best = std::fmin(best, std::hypot(px - (x[i] + t * dx), py - (y[i] + t * dy)));
		}
		return best;
	}

	// Beyond either end along the line's direction there, or within `inside` of it.
	bool AtBareEnd(double px, double py, double inside) const
	{
		for (size_t end : {size_t(0), x.size() - 1})
		{
			size_t before = (end == 0) ? 1 : end - 1;
			double dx = x[end] - x[before], dy = y[end] - y[before];
			if (bareEnds && ((px - x[end]) * dx + (py - y[end]) * dy) / std::hypot(dx, dy) > -inside) return true;
		}
		return false;
	}
};

struct CoverageCase
{
	const char* text;
	Contour contour;
	uint32_t flags, cap, join;
	float miterLimit;
	// How far the geometry may reach, in half widths.
	float reach;
	// A bevel cuts the corner: samples within a half width of a corner point
	// need not be covered. (At a sharp corner the bevel's straight edge runs
	// along the start of the next body, just inside it.)
	bool bevelled;
	std::vector<float> dashes;
	// The dashes' centre lines, where the contour is dashed at phase 0.25.
	std::vector<Contour> dashLines;
};

// Samples a pixel and a half apart, on pixels of a tenth of the half width.
static void CheckCoverage(const CoverageCase& row, uint32_t format)
{
	const double halfWidth = 0.1, pixel = halfWidth / 10.0;
	StrokeParameters params = Params(float(halfWidth * 2.0), row.cap, row.join, row.miterLimit, &row.dashes, 0.25f);
	StrokeRun run = RunStroke(params, row.flags, row.contour, format, 256, 64);
	ASSERT_EQ(CheckStrokeRun(run), "");
	ASSERT_EQ(run.emitResult, 0u);
	StrokeSource source{run.Image(), format, 256, 64, run.Vertices(), 68, run.emitVertices, reinterpret_cast<const uint16_t*>(run.Triangles()), run.emitTriangles};
	const float color[4] = {1.0f, 1.0f, 1.0f, 1.0f};
	StrokeRenderer renderer;
	ASSERT_EQ(renderer.Prepare(&source, color), 0u);

	bool bare = (row.cap == 'FLAT' || row.cap == 'TRIA');
	Polyline whole(row.contour, false);
	std::vector<Polyline> covered;
	if (row.dashLines.empty()) covered.push_back(Polyline(row.contour, bare && (row.flags & 1) == 0));
	for (const Contour& dash : row.dashLines) covered.push_back(Polyline(dash, bare));
	double margin = halfWidth * double(row.reach) + 4.0 * pixel, limit = halfWidth * double(row.reach) + 2.0 * pixel;
	int32_t missed = 0, stray = 0, inside = 0;
	for (double y = *std::min_element(whole.y.begin(), whole.y.end()) - margin; y <= *std::max_element(whole.y.begin(), whole.y.end()) + margin; y += 1.5 * pixel)
	{
		for (double x = *std::min_element(whole.x.begin(), whole.x.end()) - margin; x <= *std::max_element(whole.x.begin(), whole.x.end()) + margin; x += 1.5 * pixel)
		{
			float rgba[4];
			renderer.Shade(float(x), float(y), float(pixel), rgba);
			bool near = false;
			for (const Polyline& line : covered) near = near || (line.Distance(x, y) <= 0.9 * halfWidth && !line.AtBareEnd(x, y, 2.0 * pixel));
			for (size_t c = 0; near && row.bevelled && c < row.contour.size(); c++)
			{
				near = std::hypot(x - double(row.contour[c].p0.x), y - double(row.contour[c].p0.y)) >= halfWidth;
			}
			inside += near ? 1 : 0;
			if (near && !(rgba[3] > 0.99f) && missed++ < 5) ADD_FAILURE() << "not covered at " << x << ", " << y << ": " << rgba[3];
			if (rgba[3] != 0.0f && whole.Distance(x, y) > limit && stray++ < 5) ADD_FAILURE() << "covered at " << x << ", " << y << ": " << rgba[3];
		}
	}
	EXPECT_GT(inside, 100);
}

TEST(StrokeCoverage, PiecesCoverTheStrokeAndNothingBeyond)
{
	const Contour line{Line(0, 0, 1, 0.25f)};
	const Contour arch{QuadraticCurve{{0, 0}, {0.5f, 1}, {1, 0}}};
	const Contour wave{QuadraticCurve{{0, 0}, {0.25f, 0.5f}, {0.5f, 0}}, QuadraticCurve{{0.5f, 0}, {0.75f, -0.5f}, {1, 0}}};
	const Contour square = Square(1.0f);
	const Contour spike{Line(0, 0, 1, 0), Line(1, 0, 0, 0.2f), Line(0, 0.2f, 0, 0)};
	// Four quadratics round the unit circle: every joint is smooth.
	const Contour circle{QuadraticCurve{{1, 0}, {1, 1}, {0, 1}}, QuadraticCurve{{0, 1}, {-1, 1}, {-1, 0}}, QuadraticCurve{{-1, 0}, {-1, -1}, {0, -1}},
		QuadraticCurve{{0, -1}, {1, -1}, {1, 0}}};
	// A curve meeting a line: a curved join turning right, and mirrored, left.
	const Contour hook{QuadraticCurve{{0, 0}, {0.5f, 0.5f}, {1, 0}}, Line(1, 0, 0.6f, -0.6f)};
	const Contour leftHook{QuadraticCurve{{0, 0}, {0.5f, -0.5f}, {1, 0}}, Line(1, 0, 0.6f, 0.6f)};
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
		{"curved join turning right, mitered", hook, 0, 'ROND', 'BEVL', 4.0f, 2.7f, false, {}, {}},
		{"curved join turning right, round", hook, 0, 'ROND', 'ROND', 1.0f, 1.0f, false, {}, {}},
		{"curved join turning left, mitered", leftHook, 0, 'ROND', 'BEVL', 4.0f, 2.7f, false, {}, {}},
		{"curved join turning left, bevelled", leftHook, 0, 'ROND', 'BEVL', 1.0f, 1.0f, true, {}, {}},
		{"dashed line, round caps", Contour{Line(0, 0, 0.9f, 0)}, 0, 'ROND', 'BEVL', 4.0f, 1.0f, false, {0.25f, 0.25f},
			{{Line(0.25f, 0, 0.5f, 0)}, {Line(0.75f, 0, 0.9f, 0)}}},
		// Every corner and the seam are in the middle of a dash.
		{"dashed square, flat caps", square, 1, 'FLAT', 'BEVL', 4.0f, 1.42f, false, {0.5f, 0.5f},
			{{Line(0.75f, 0, 1, 0), Line(1, 0, 1, 0.25f)}, {Line(1, 0.75f, 1, 1), Line(1, 1, 0.75f, 1)}, {Line(0.25f, 1, 0, 1), Line(0, 1, 0, 0.75f)},
				{Line(0, 0.25f, 0, 0), Line(0, 0, 0.25f, 0)}}},
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
	StrokeRun run = RunStroke(Params(0.2f, 'FLAT', 'BEVL', 4.0f), 0, Contour{Line(0, 0, 1, 0)}, 'FLT4', 16, 4);
	ASSERT_EQ(run.emitVertices, 4);
	const float red[4] = {1.0f, 0.0f, 0.0f, 1.0f};
	StrokeRenderer renderer;
	StrokeSource source{run.Image(), 'FLT4', 16, 4, run.Vertices(), 68, 4, reinterpret_cast<const uint16_t*>(run.Triangles()), 2};
	float rgba[4];
	EXPECT_EQ(renderer.Prepare(&source, red), 0u);
	renderer.Shade(0.5f, 0.0f, 0.01f, rgba);
	EXPECT_EQ(std::vector<float>(rgba, rgba + 4), std::vector<float>(red, red + 4));
	// An index past the vertices draws nothing; a chain running off its row
	// is refused too.
	source.vertexCount = 3;
	EXPECT_EQ(renderer.Prepare(&source, red), uint32_t('OFST'));
	renderer.Shade(0.5f, 0.0f, 0.01f, rgba);
	EXPECT_EQ(rgba[3], 0.0f);
	source.vertexCount = 4;
	source.curveWidth = 4;
	EXPECT_EQ(renderer.Prepare(&source, red), uint32_t('OFST'));
}

TEST(StrokeRenderer, PieceWhoseCoverageIsNotANumberLeavesTheOthers)
{
	// Along x to a corner at (1, 0), then up; the join is the piece that
	// names neither the first nor the last vertex's chain.
	const double halfWidth = 0.1, pixel = halfWidth / 10.0;
	StrokeRun run = RunStroke(Params(0.2f, 'FLAT', 'ROND', 1.0f), 0, Contour{Line(0, 0, 1, 0), Line(1, 0, 1, 1)}, 'FLT4', 64, 4);
	ASSERT_EQ(CheckStrokeRun(run), "");
	auto chainOf = [&](int32_t vertex)
	{
		uint32_t words[2];
		std::memcpy(words, run.Vertices() + int64_t(vertex) * 68 + 24, 8);
		return std::vector<uint32_t>{words[0] & 0xFFFF, words[0] >> 16, words[1] >> 25};
	};
	std::vector<uint32_t> first = chainOf(0), last = chainOf(run.emitVertices - 1), join;
	for (int32_t v = 0; v < run.emitVertices && join.empty(); v++)
	{
		if (chainOf(v) != first && chainOf(v) != last) join = chainOf(v);
	}
	ASSERT_FALSE(join.empty());

	const float color[4] = {1.0f, 1.0f, 1.0f, 1.0f};
	StrokeSource source{run.Image(), 'FLT4', 64, 4, run.Vertices(), 68, run.emitVertices, reinterpret_cast<const uint16_t*>(run.Triangles()), run.emitTriangles};
	StrokeRenderer clean;
	ASSERT_EQ(clean.Prepare(&source, color), 0u);
	std::vector<uint8_t> image(run.Image(), run.Image() + 64 * 4 * 16);
	// The round part's first control, as a near-parallel corner can make it.
	const float control[2] = {NAN, -INFINITY};
	std::memcpy(image.data() + (join[1] * 64 + join[0] + 1) * 16 + 8, control, 8);
	source.curveData = image.data();
	StrokeRenderer damaged;
	ASSERT_EQ(damaged.Prepare(&source, color), 0u);

	// Away from the corner nothing changes; near it the join may be missing,
	// but the bodies still cover what they cover.
	int32_t compared = 0;
	for (double y = -2.0 * halfWidth; y <= 2.0 * halfWidth; y += pixel)
	{
		for (double x = 1.0 - 3.0 * halfWidth; x <= 1.0 + 2.0 * halfWidth; x += pixel)
		{
			float expected[4], actual[4];
			clean.Shade(float(x), float(y), float(pixel), expected);
			damaged.Shade(float(x), float(y), float(pixel), actual);
			ASSERT_FALSE(std::isnan(actual[3])) << x << ", " << y;
			bool body = (x < 1.0 - 1.5 * halfWidth && std::fabs(y) < 0.5 * halfWidth) || (y > 1.5 * halfWidth && std::fabs(x - 1.0) < 0.5 * halfWidth);
			if (!body) continue;
			EXPECT_EQ(actual[3], expected[3]) << x << ", " << y;
			compared++;
		}
	}
	EXPECT_GT(compared, 50);
}
