#include "album/BoundingPolygon.h"

#include <cmath>

#include "album/TextureCursor.h"
#include "stroke/QuadraticCurve.h"
#include "support/Math.h"

const uint8_t kTriangulationDiagonals[kTriangulationCount][3][2] =
{
	{{0xFF, 0xFF}, {0xFF, 0xFF}, {0xFF, 0xFF}},
	{{0, 2}, {0xFF, 0xFF}, {0xFF, 0xFF}},
	{{1, 3}, {0xFF, 0xFF}, {0xFF, 0xFF}},
	{{0, 2}, {0, 3}, {0xFF, 0xFF}},
	{{1, 3}, {1, 4}, {0xFF, 0xFF}},
	{{2, 4}, {2, 0}, {0xFF, 0xFF}},
	{{3, 0}, {3, 1}, {0xFF, 0xFF}},
	{{4, 1}, {4, 2}, {0xFF, 0xFF}},
	{{0, 2}, {0, 3}, {0, 4}},
	{{1, 3}, {1, 4}, {1, 5}},
	{{2, 4}, {2, 5}, {2, 0}},
	{{3, 5}, {3, 0}, {3, 1}},
	{{4, 0}, {4, 1}, {4, 2}},
	{{5, 1}, {5, 2}, {5, 3}},
	{{0, 2}, {2, 4}, {4, 0}},
	{{1, 3}, {3, 5}, {5, 1}}
};

// The diagonals of the pentagon and the hexagon as flat lists, and each
// triangulation as places in that list, for the bounds that price every
// triangulation at once.
struct DiagonalList
{
	int32_t count;
	uint8_t ends[9][2];
	int32_t setCount;
	uint8_t sets[8][3];
};

static const DiagonalList kPentagonDiagonals = {5, {{0, 2}, {0, 3}, {1, 3}, {1, 4}, {2, 4}}, 5,
	{{0, 1}, {2, 3}, {4, 0}, {1, 2}, {3, 4}}};
static const DiagonalList kHexagonDiagonals = {9, {{0, 2}, {0, 3}, {0, 4}, {1, 3}, {1, 4}, {1, 5}, {2, 4}, {2, 5}, {3, 5}}, 8,
	{{0, 1, 2}, {3, 4, 5}, {6, 7, 0}, {8, 1, 3}, {2, 4, 6}, {5, 7, 8}, {0, 6, 2}, {3, 8, 5}}};

// Tangent lines are taken in 128 directions; the opposite of direction k is
// k + 64.
constexpr int32_t kDirectionCount = 128;
constexpr int32_t kHalfDirectionCount = 64;

// Angles are bytes: 256 to the turn.
constexpr int32_t kAngleCount = 256;

// (cos a, sin a) for a = 2 pi k / 128, k = 0 to 63, nearest floats. The
// other half of the circle is the negation, exactly.
static constexpr float kDirections[kHalfDirectionCount][2] =
{
	{1.0f, 0.0f}, {0.99879545f, 0.0490676761f}, {0.99518472f, 0.0980171412f}, {0.989176512f, 0.146730468f},
	{0.980785251f, 0.195090324f}, {0.970031261f, 0.242980182f}, {0.956940353f, 0.290284663f}, {0.941544056f, 0.336889863f},
	{0.923879504f, 0.382683426f}, {0.903989315f, 0.427555084f}, {0.881921291f, 0.471396744f}, {0.857728601f, 0.514102757f},
	{0.831469595f, 0.555570245f}, {0.803207517f, 0.59569931f}, {0.773010433f, 0.634393275f}, {0.740951121f, 0.671558976f},
	{0.707106769f, 0.707106769f}, {0.671558976f, 0.740951121f}, {0.634393275f, 0.773010433f}, {0.59569931f, 0.803207517f},
	{0.555570245f, 0.831469595f}, {0.514102757f, 0.857728601f}, {0.471396744f, 0.881921291f}, {0.427555084f, 0.903989315f},
	{0.382683426f, 0.923879504f}, {0.336889863f, 0.941544056f}, {0.290284663f, 0.956940353f}, {0.242980182f, 0.970031261f},
	{0.195090324f, 0.980785251f}, {0.146730468f, 0.989176512f}, {0.0980171412f, 0.99518472f}, {0.0490676761f, 0.99879545f},
	{0.0f, 1.0f}, {-0.0490676761f, 0.99879545f}, {-0.0980171412f, 0.99518472f}, {-0.146730468f, 0.989176512f},
	{-0.195090324f, 0.980785251f}, {-0.242980182f, 0.970031261f}, {-0.290284663f, 0.956940353f}, {-0.336889863f, 0.941544056f},
	{-0.382683426f, 0.923879504f}, {-0.427555084f, 0.903989315f}, {-0.471396744f, 0.881921291f}, {-0.514102757f, 0.857728601f},
	{-0.555570245f, 0.831469595f}, {-0.59569931f, 0.803207517f}, {-0.634393275f, 0.773010433f}, {-0.671558976f, 0.740951121f},
	{-0.707106769f, 0.707106769f}, {-0.740951121f, 0.671558976f}, {-0.773010433f, 0.634393275f}, {-0.803207517f, 0.59569931f},
	{-0.831469595f, 0.555570245f}, {-0.857728601f, 0.514102757f}, {-0.881921291f, 0.471396744f}, {-0.903989315f, 0.427555084f},
	{-0.923879504f, 0.382683426f}, {-0.941544056f, 0.336889863f}, {-0.956940353f, 0.290284663f}, {-0.970031261f, 0.242980182f},
	{-0.980785251f, 0.195090324f}, {-0.989176512f, 0.146730468f}, {-0.99518472f, 0.0980171412f}, {-0.99879545f, 0.0490676761f}
};

// The same directions as two lists, for the support loop.
struct DirectionLists
{
	float x[kHalfDirectionCount];
	float y[kHalfDirectionCount];
	constexpr DirectionLists() : x(), y()
	{
		for (int32_t k = 0; k < kHalfDirectionCount; k++)
		{
			x[k] = kDirections[k][0];
			y[k] = kDirections[k][1];
		}
	}
};
static constexpr DirectionLists kDirectionLists;
static constexpr const float* kDirectionX = kDirectionLists.x;
static constexpr const float* kDirectionY = kDirectionLists.y;

// A tangent line: every curve lies where x nx + y ny <= distance. `angle`
// is its direction in 1/256 of a turn.
struct TangentLine
{
	float nx;
	float ny;
	float distance;
	int32_t angle;
};

// The bounds on the angles of a candidate's lines, a1 < a2 < ...: a1 at most
// `firstMax`; each later angle at least the one before plus `minGap` and
// a1 + floor[i]; at most the one before plus `maxGap` and a1 + cap[i], and
// never above 255. The gaps keep every corner below half a turn, so the
// lines enclose a bounded polygon; the floors and caps leave room for the
// closing gap from the last line back to the first. For the hexagon the
// middle floors and caps follow the same rule, from the last angle back:
// floors a1 + 192 - 64 (6 - i), caps a1 + 256 - 20 (7 - i).
struct SearchBounds
{
	int32_t sides;
	int32_t firstMax;
	int32_t minGap;
	int32_t maxGap;
	int32_t floor[kMaxPolygonVertices];
	int32_t cap[kMaxPolygonVertices];
};

static const SearchBounds kTriangleBounds = {3, 112, 32, 112, {0, 0, 144}, {0, 192, 224}};
static const SearchBounds kQuadBounds = {4, 112, 8, 112, {0, 0, 32, 144}, {0, 232, 240, 248}};
static const SearchBounds kPentagonBounds = {5, 80, 20, 80, {0, 0, 16, 96, 176}, {0, 176, 196, 216, 236}};
static const SearchBounds kHexagonBounds = {6, 64, 20, 64, {0, 0, 0, 64, 128, 192}, {0, 156, 176, 196, 216, 236}};

// Candidates' consecutive lines, the closing pair included, are at most
// this far apart in every search, and at least the search's least gap.
constexpr int32_t kGreatestGap = 112;

// Kept lines are at least two angle steps apart, so a line is followed in a
// candidate only by one of the next 56 kept lines: the pair tables hold
// those, by offset in the kept list, in rows of 64 for cheap indexing.
constexpr int32_t kMostFollowers = kGreatestGap / 2 + 1;
constexpr int32_t kPairRow = 64;
static_assert(kMostFollowers <= kPairRow, "a row holds every follower");

// Corners closer than this (squared) leave their line out: it touches the
// curves at a point that its neighbours already hold.
constexpr float kCornerSeparation = 0.000001f;

// The pentagon has five priced triangulations and the hexagon eight; the
// pentagon's are padded to eight with copies, which change no least.
constexpr int32_t kSetLanes = 8;

// The price of a unit of internal edge, before the edge factor.
constexpr float kDiagonalPrice = 0.025f;

struct PolygonSearch
{
	const TangentLine* lines;
	int32_t lineCount;
	float edgeFactor;

	float bestCost;
	// What pruning holds candidates against: the best cost so far, or just
	// above the known cost of a candidate that some search will meet, if
	// that is less. A candidate of that very cost may still be the first of
	// the least cost, so only dearer ones are cut; the winner is chosen by
	// the best cost alone, as in the search that tries every candidate.
	float cut;
	int32_t bestSides;
	uint16_t bestCode;
	Point2D best[kMaxPolygonVertices];

	// The candidate being built: its lines, its vertices so far, and twice
	// its area so far, crossSum[i] summing the cross terms of V0 V1 up to
	// V(i-1) Vi in that order.
	int32_t chosen[kMaxPolygonVertices];
	Point2D vertices[kMaxPolygonVertices];
	float crossSum[kMaxPolygonVertices];

	// Where kept line i meets the line `o` places after it in the kept list
	// (cyclically), meet[i][o], for the lines no further than the greatest
	// gap; see Meet.
	Point2D meet[kDirectionCount][kPairRow];

	// Pruning, when `prune` is set. The polygon of all kept lines, whose
	// corner j is where line j meets line j + 1, lies inside every
	// candidate, and a candidate's doubled area is exactly that polygon's
	// (`outlineArea`) plus, for each pair of consecutive lines i, j, the
	// doubled area `excess[i][j]` between the corner where they meet and the
	// kept polygon's corners from i to j (cyclically). The identity is pure
	// algebra of points on common lines, so it holds for any lines; only
	// rounding separates it from the area a candidate computes, and
	// `margin` is many times the largest such rounding. A subtree is left
	// out only where even its least area, less the margin, cannot beat the
	// best so far, so the same candidates are accepted, in the same order,
	// as in the search that tries them all.
	bool pruning;
	bool prune;
	double outlineArea;
	double margin;
	double excess[kDirectionCount][kPairRow];
	// The least excess that completes the cycle from the line chosen at a
	// depth back to the first line, and the excess of the path so far.
	double completion[kMaxPolygonVertices][kDirectionCount];
	double pathExcess[kMaxPolygonVertices];
	// The least excess of a pair that starts at line i, and of one that
	// ends there: a bound for a first line before its tables are worked.
	double leastFrom[kDirectionCount];
	double leastInto[kDirectionCount];
	// The first kept line whose angle is at least a, for a = 0 to 256.
	int32_t firstAtAngle[kAngleCount + 1];
	// The kept polygon's corners, and a distance far above the rounding of
	// any meeting point off its lines.
	double cornerX[kDirectionCount];
	double cornerY[kDirectionCount];
	double reach;
	// During the quadrilateral search, where it is not 0: the price of the
	// diagonals per unit of doubled area, from more than any distance
	// between two vertices of a quadrilateral that can still cost less than
	// the cut (see CannotWin), less a thousandth.
	double quadPriceRate;
	// During the pentagon and hexagon searches: the price of the least
	// diagonals per square root of the area (see PentagonAndHexagonRootPrice).
	double rootPrice;
	// During the pentagon and hexagon searches, where `setBound` is set: the
	// least cost of each priced triangulation, t, as a sum over the pairs of
	// consecutive lines (see PrepareSetWeights). Vertex i at (x, y) adds
	// setWeightX[i][t] x + setWeightY[i][t] y, doubled like the areas;
	// setCompletion[depth][line][t] and setPath[depth][t] are `completion`
	// and `pathExcess` with those added, and setMargin is `margin` with room
	// for their rounding.
	bool setBound;
	double setMargin;
	double setWeightX[kMaxPolygonVertices][kSetLanes];
	double setWeightY[kMaxPolygonVertices][kSetLanes];
	// Those searches run over every other direction only, so over at most 64 lines.
	double setCompletion[kMaxPolygonVertices][kHalfDirectionCount][kSetLanes];
	double setPath[kMaxPolygonVertices][kSetLanes];
	// The kept lines in double precision, for the bounds that sweep many.
	double lineNx[kDirectionCount];
	double lineNy[kDirectionCount];
	double lineDistance[kDirectionCount];
	// chain[t]: the doubled signed area swept from corner 0 to corner t
	// along the kept polygon, around it twice so that paths may wrap.
	double chain[2 * kDirectionCount + 1];
};

// The place of line j in line i's row of the pair tables.
static int32_t Follower(const PolygonSearch* search, int32_t i, int32_t j)
{
	int32_t offset = j - i;
	return (offset > 0) ? offset : offset + search->lineCount;
}

static const Point2D& Meet(const PolygonSearch* search, int32_t i, int32_t j)
{
	return search->meet[i][Follower(search, i, j)];
}

static double Excess(const PolygonSearch* search, int32_t i, int32_t j)
{
	return search->excess[i][Follower(search, i, j)];
}

static float Greatest(float a, float b)
{
	return (b > a) ? b : a;
}

static int32_t Smaller(int32_t a, int32_t b)
{
	return (a < b) ? a : b;
}

static int32_t Larger(int32_t a, int32_t b)
{
	return (a > b) ? a : b;
}

static float Cross(const Point2D& a, const Point2D& b, const Point2D& c)
{
	// (b - a) x (c - b)
	return (b.x - a.x) * (c.y - b.y) - (b.y - a.y) * (c.x - b.x);
}

static float SquaredDistance(const Point2D& a, const Point2D& b)
{
	float dx = b.x - a.x;
	float dy = b.y - a.y;
	return dx * dx + dy * dy;
}

// The meeting point of two lines by Cramer's rule; parallel lines give
// values that are not finite, which every later test refuses.
static Point2D Intersect(const TangentLine& a, const TangentLine& b)
{
	float determinant = a.nx * b.ny - b.nx * a.ny;
	Point2D point;
	point.x = (a.distance * b.ny - b.distance * a.ny) / determinant;
	point.y = (a.nx * b.distance - b.nx * a.distance) / determinant;
	return point;
}

// The greatest projection of the curves on each of the 128 directions: each
// curve's start and its turning point along the direction. Ends are not
// needed, since in a closed outline every end is some curve's start; nor is
// the control point, which lies off the curve.
static void ComputeSupport(int32_t groupCount, const int32_t* counts, const QuadraticCurve* const* curveArrays, float* support)
{
	for (int32_t k = 0; k < kDirectionCount; k++) support[k] = -INFINITY;

	for (int32_t group = 0; group < groupCount; group++)
	{
		int32_t count = counts[group];
		const QuadraticCurve* curves = curveArrays[group];
		if (!curves) continue;

		for (int32_t i = 0; i < count; i++)
		{
			const QuadraticCurve& curve = curves[i];
			// Written without branches, so that compilers can take several
			// directions at once; every lane does the same float operations
			// in the same order, so the values are the same bits. A turning
			// value worked where there is none (its t out of range, or no
			// curvature to divide by) is computed and then not taken.
			for (int32_t k = 0; k < kHalfDirectionCount; k++)
			{
				float nx = kDirectionX[k];
				float ny = kDirectionY[k];
				float q0 = curve.p0.x * nx + curve.p0.y * ny;
				float q1 = curve.p1.x * nx + curve.p1.y * ny;
				float q2 = curve.p2.x * nx + curve.p2.y * ny;

				float d = q0 - (q1 + q1) + q2;
				float t = (q0 - q1) / d;
				float u = 1.0f - t;
				float value = u * u * q0 + (u * t + u * t) * q1 + t * t * q2;
				bool turns = (std::fabs(d) > kMinNormal) & (t > 0.0f) & (t < 1.0f);
				float high = (turns & (value > q0)) ? value : q0;
				float low = (turns & (value < q0)) ? value : q0;

				support[k] = Greatest(support[k], high);
				support[k + kHalfDirectionCount] = Greatest(support[k + kHalfDirectionCount], -low);
			}
		}
	}
}

// Makes the lines `step` directions apart, and keeps each one whose two
// corners, where it meets the lines before and after it in that set, lie
// apart. Returns the number kept.
static int32_t KeepLines(const float* support, int32_t step, TangentLine* kept)
{
	int32_t lineCount = kDirectionCount / step;
	TangentLine lines[kDirectionCount];
	for (int32_t j = 0; j < lineCount; j++)
	{
		int32_t k = j * step;
		float sign = (k < kHalfDirectionCount) ? 1.0f : -1.0f;
		const float* direction = kDirections[k % kHalfDirectionCount];
		lines[j].nx = direction[0] * sign;
		lines[j].ny = direction[1] * sign;
		lines[j].distance = support[k];
		lines[j].angle = k * 2;
	}

	// Corner j is where line j meets line j + 1.
	Point2D corners[kDirectionCount];
	for (int32_t j = 0; j < lineCount; j++)
	{
		corners[j] = Intersect(lines[j], lines[(j + 1) % lineCount]);
	}

	int32_t keptCount = 0;
	for (int32_t j = 0; j < lineCount; j++)
	{
		const Point2D& before = corners[(j + lineCount - 1) % lineCount];
		if (SquaredDistance(before, corners[j]) > kCornerSeparation) kept[keptCount++] = lines[j];
	}

	return keptCount;
}

// Where two lines meet, exactly enough that the point lies on both lines
// far below the pruning margin.
static void IntersectPrecisely(const TangentLine& a, const TangentLine& b, double* x, double* y)
{
	double determinant = double(a.nx) * double(b.ny) - double(b.nx) * double(a.ny);
	*x = (double(a.distance) * double(b.ny) - double(b.distance) * double(a.ny)) / determinant;
	*y = (double(a.nx) * double(b.distance) - double(b.nx) * double(a.distance)) / determinant;
}

// The greatest of `largest` and the magnitudes of x and y; all are finite.
static double GreatestMagnitude(double largest, double x, double y)
{
	double a = std::fabs(x);
	double b = std::fabs(y);
	if (a > largest) largest = a;
	if (b > largest) largest = b;
	return largest;
}

// Sets up the excess table and the margin. Leaves `prune` clear, so that
// every candidate is tried, where anything is not finite or the edge factor
// could make a cost less than its area.
// The kept polygon of the search's lines: its corners, the chain of its
// area and the lines by angle. Returns false where a corner is not finite;
// otherwise `outLargest` is the greatest magnitude of the corners and the
// lines' distances.
static bool TraceOutline(PolygonSearch* search, double* outLargest)
{
	int32_t lineCount = search->lineCount;
	double* cornerX = search->cornerX;
	double* cornerY = search->cornerY;
	double largest = 0.0;
	for (int32_t j = 0; j < lineCount; j++)
	{
		IntersectPrecisely(search->lines[j], search->lines[(j + 1) % lineCount], &cornerX[j], &cornerY[j]);
		if (!std::isfinite(cornerX[j]) || !std::isfinite(cornerY[j])) return false;
		largest = GreatestMagnitude(largest, cornerX[j], cornerY[j]);
		largest = GreatestMagnitude(largest, double(search->lines[j].distance), 0.0);
	}

	double* chain = search->chain;
	chain[0] = 0.0;
	for (int32_t t = 0; t < 2 * lineCount; t++)
	{
		int32_t a = t % lineCount;
		int32_t b = (t + 1) % lineCount;
		chain[t + 1] = chain[t] + (cornerX[a] * cornerY[b] - cornerX[b] * cornerY[a]);
	}
	search->outlineArea = chain[lineCount];

	int32_t index = 0;
	for (int32_t a = 0; a <= kAngleCount; a++)
	{
		while (index < lineCount && search->lines[index].angle < a) index++;
		search->firstAtAngle[a] = index;
	}
	*outLargest = largest;
	return true;
}

// The excess of lines i and j, which meet at (x, y): the path corner i, ...,
// corner j - 1, then the meeting point, runs against the polygon's
// direction, so the excess is its negated doubled area.
static double PairExcess(const PolygonSearch* search, int32_t i, int32_t j, double x, double y)
{
	const double* cornerX = search->cornerX;
	const double* cornerY = search->cornerY;
	int32_t pathEnd = (j > i) ? j : j + search->lineCount;
	int32_t last = (pathEnd - 1) % search->lineCount;
	double swept = (search->chain[pathEnd - 1] - search->chain[i]) + (cornerX[last] * y - x * cornerY[last]) + (x * cornerY[i] - cornerX[i] * y);
	return -swept;
}

static void PreparePruning(PolygonSearch* search, int32_t leastGap)
{
	search->prune = false;
	int32_t lineCount = search->lineCount;
	if (!search->pruning || lineCount < 3 || !(search->edgeFactor >= 0.0f)) return;

	double largest;
	if (!TraceOutline(search, &largest)) return;

	// Only lines between the least and the greatest gap apart ever follow
	// one another in a candidate; the range of angles may wrap.
	for (int32_t i = 0; i < lineCount; i++)
	{
		search->leastFrom[i] = double(INFINITY);
		search->leastInto[i] = double(INFINITY);
	}
	for (int32_t i = 0; i < lineCount; i++)
	{
		int32_t angle = search->lines[i].angle;
		for (int32_t part = 0; part < 2; part++)
		{
			int32_t from = angle + leastGap - part * kAngleCount;
			int32_t to = angle + kGreatestGap - part * kAngleCount;
			if (from < 0) from = 0;
			if (to > kAngleCount - 1) to = kAngleCount - 1;
			if (from > to) continue;
			for (int32_t j = search->firstAtAngle[from], end = search->firstAtAngle[to + 1]; j < end; j++)
			{
				const Point2D& meet = Meet(search, i, j);
				double x = double(meet.x);
				double y = double(meet.y);
				if (!std::isfinite(x) || !std::isfinite(y)) return;
				largest = GreatestMagnitude(largest, x, y);

				double excess = PairExcess(search, i, j, x, y);
				search->excess[i][Follower(search, i, j)] = excess;
				if (excess < search->leastFrom[i]) search->leastFrom[i] = excess;
				if (excess < search->leastInto[j]) search->leastInto[j] = excess;
			}
		}
	}

	// What separates a candidate's doubled area in floats from these tables,
	// with L the largest magnitude above, at worst: the float sum of at most
	// six cross terms is off by under 100 units of 2^-24 L^2, 2^-17.3 L^2;
	// a float meeting point is off its exact place by under 37 units of
	// 2^-24 L (the determinant is at least sin 11.25 degrees, for lines 8
	// angle steps apart), and the identity turns that into at most four
	// times the offset times the perimeter, itself under 8 L: 2^-13.3 L^2.
	// The tables' own double rounding is far smaller. This margin is nine
	// times the sum; the absolute part covers values flushed to zero.
	search->margin = largest * largest * 0x1p-10 + 0x1p-100;
	search->reach = largest * 0x1p-12;
	for (int32_t i = 0; i < lineCount; i++)
	{
		search->lineNx[i] = double(search->lines[i].nx);
		search->lineNy[i] = double(search->lines[i].ny);
		search->lineDistance[i] = double(search->lines[i].distance);
	}
	if (!std::isfinite(search->margin) || !std::isfinite(search->outlineArea)) return;

	search->prune = true;
}

// Fills the pair tables for the searches over `lineCount` kept lines, whose
// consecutive lines are at least `leastGap` apart.
static void PrepareSearch(PolygonSearch* search, int32_t lineCount, int32_t leastGap)
{
	// Only lines between the least and the greatest gap apart meet in a
	// candidate. Swapping two lines negates every term of Cramer's rule
	// exactly, so the order the pair is given in does not matter; the lower
	// index goes first.
	search->lineCount = lineCount;
	for (int32_t i = 0; i < lineCount; i++)
	{
		int32_t angle = search->lines[i].angle;
		for (int32_t offset = 1; offset < kMostFollowers && offset < lineCount; offset++)
		{
			int32_t j = (i + offset < lineCount) ? i + offset : i + offset - lineCount;
			int32_t gap = search->lines[j].angle - angle;
			if (gap <= 0) gap += kAngleCount;
			if (gap < leastGap) continue;
			if (gap > kGreatestGap) break;
			search->meet[i][offset] = (i < j) ? Intersect(search->lines[i], search->lines[j]) : Intersect(search->lines[j], search->lines[i]);
		}
	}
	PreparePruning(search, leastGap);
}

static float CrossTerm(const Point2D& a, const Point2D& b)
{
	return a.x * b.y - b.x * a.y;
}

// The cheapest triangulation of a pentagon or hexagon among the numbered
// ones: its index, and the total length of its diagonals in `outSum`.
// Returns 0 when even the shortest diagonals, however combined, would cost
// at least `against`; the lengths are then left unworked.
static int32_t CheapestTriangulation(const PolygonSearch* search, const Point2D* v, int32_t sides, float area, float against, float* outSum)
{
	int32_t first = (sides == 5) ? (kPolygonPentagonFirst >> 8) : (kPolygonHexagonFirst >> 8);
	int32_t count = (sides == 5) ? 5 : 8;

	float squared[kMaxPolygonVertices][kMaxPolygonVertices];
	float shortest = INFINITY;
	for (int32_t a = 0; a < sides; a++)
	{
		for (int32_t b = a + 2; b < sides; b++)
		{
			if (a == 0 && b == sides - 1) continue;
			squared[a][b] = SquaredDistance(v[a], v[b]);
			if (squared[a][b] < shortest) shortest = squared[a][b];
		}
	}

	// Every triangulation has sides - 3 diagonals, none shorter than the
	// shortest. With a margin far above the rounding of the lengths, a
	// polygon that fails against this bound fails against its true cost.
	float bound = float(sides - 3) * Sqrt(shortest) * 0.99f;
	if (area + kDiagonalPrice * search->edgeFactor * bound >= against) return 0;

	// A closer bound before the lengths are worked: every triangulation's
	// sum from correctly rounded roots, less a thousandth, which is far
	// more than the fast roots and the sums can differ from them. Only a
	// price that cannot lower the cost may refuse on it.
	if (search->edgeFactor >= 0.0f)
	{
		float low[kMaxPolygonVertices][kMaxPolygonVertices];
		bool finite = true;
		for (int32_t a = 0; a < sides; a++)
		{
			for (int32_t b = a + 2; b < sides; b++)
			{
				if (a == 0 && b == sides - 1) continue;
				float value = squared[a][b];
				finite = finite && (value <= 3.4e38f);
				low[a][b] = (value < kMinNormal) ? 0.0f : float(std::sqrt(double(value)));
				low[b][a] = low[a][b];
			}
		}
		if (finite)
		{
			float leastSum = INFINITY;
			for (int32_t t = first; t < first + count; t++)
			{
				float sum = 0.0f;
				for (int32_t d = 0; d < sides - 3; d++) sum += low[kTriangulationDiagonals[t][d][0]][kTriangulationDiagonals[t][d][1]];
				if (sum < leastSum) leastSum = sum;
			}
			if (area + kDiagonalPrice * search->edgeFactor * (leastSum * 0.999f) >= against) return 0;
		}
	}

	float length[kMaxPolygonVertices][kMaxPolygonVertices];
	for (int32_t a = 0; a < sides; a++)
	{
		for (int32_t b = a + 2; b < sides; b++)
		{
			if (a == 0 && b == sides - 1) continue;
			length[a][b] = Sqrt(squared[a][b]);
			length[b][a] = length[a][b];
		}
	}

	// Ties stay with the lower index.
	int32_t bestIndex = 0;
	float bestSum = 0.0f;
	for (int32_t t = first; t < first + count; t++)
	{
		float sum = 0.0f;
		for (int32_t d = 0; d < sides - 3; d++)
		{
			const uint8_t* diagonal = kTriangulationDiagonals[t][d];
			sum += length[diagonal[0]][diagonal[1]];
		}
		if (bestIndex == 0 || sum < bestSum)
		{
			bestIndex = t;
			bestSum = sum;
		}
	}

	*outSum = bestSum;
	return bestIndex;
}

// The cost of the candidate in `search->vertices`, whose doubled area is
// `twiceArea`, and its code in `outCode`; +infinity when it is refused or
// cannot cost less than `against`.
static float CandidateCost(const PolygonSearch* search, int32_t sides, float twiceArea, float against, uint16_t* outCode)
{
	const Point2D* v = search->vertices;
	float area = twiceArea * 0.5f;

	// Tangent lines in ascending directions always enclose a positive area;
	// rounding in a flat or tiny outline is the only way to anything else,
	// and such a polygon would enclose nothing.
	if (!(area > 0.0f) || !(area < against)) return INFINITY;

	// Needle-like corners are refused: the shortest edge must not be tiny
	// next to the polygon's size.
	float shortest = INFINITY;
	for (int32_t i = 0; i < sides; i++)
	{
		float edge = SquaredDistance(v[i], v[(i + 1 < sides) ? i + 1 : 0]);
		if (edge < shortest) shortest = edge;
	}
	float limit = area / 16.0f;
	if (!(shortest > limit * limit)) return INFINITY;

	float cost = area;
	uint16_t code = kPolygonTriangle;
	if (sides == 4)
	{
		float d02 = SquaredDistance(v[0], v[2]);
		float d13 = SquaredDistance(v[1], v[3]);
		float diagonal;
		if (d13 >= d02)
		{
			code = kPolygonQuadDiagonal02;
			diagonal = Sqrt(d02);
		}
		else
		{
			code = kPolygonQuadDiagonal13;
			diagonal = Sqrt(d13);
		}
		cost = area + kDiagonalPrice * search->edgeFactor * diagonal;
	}
	else if (sides > 4)
	{
		float diagonalSum;
		int32_t triangulation = CheapestTriangulation(search, v, sides, area, against, &diagonalSum);
		if (triangulation == 0) return INFINITY;
		code = uint16_t((triangulation << 8) | sides);
		cost = area + kDiagonalPrice * search->edgeFactor * diagonalSum;
	}

	*outCode = code;
	return (cost == cost) ? cost : INFINITY;
}

// Tests the candidate in `search->vertices`, whose doubled area is
// `twiceArea`, against the best so far and takes it if it is cheaper.
static void TryCandidate(PolygonSearch* search, int32_t sides, float twiceArea)
{
	// Most candidates fail on their area alone; that test comes first, here.
	float area = twiceArea * 0.5f;
	if (!(area > 0.0f) || !(area < search->cut)) return;

	uint16_t code = 0;
	float cost = CandidateCost(search, sides, twiceArea, search->cut, &code);
	if (!(cost < search->bestCost)) return;

	search->bestCost = cost;
	if (cost < search->cut) search->cut = cost;
	search->bestSides = sides;
	search->bestCode = code;
	for (int32_t i = 0; i < sides; i++) search->best[i] = search->vertices[i];
}

// The angles that line `depth` may take after line `previous`, for a
// candidate whose first line has angle `first`.
static void AngleWindow(const SearchBounds& bounds, int32_t depth, int32_t first, int32_t previousAngle, int32_t* low, int32_t* high)
{
	*low = Larger(previousAngle + bounds.minGap, first + bounds.floor[depth]);
	*high = Smaller(Smaller(previousAngle + bounds.maxGap, first + bounds.cap[depth]), kAngleCount - 1);
}

// The kept lines [from, to) that line number `depth` of a candidate whose
// first line is `first` may be, by the angle bounds alone; false when none.
static bool LinesAtDepth(const PolygonSearch* search, const SearchBounds& bounds, int32_t first, int32_t depth, int32_t* from, int32_t* to)
{
	*from = first;
	*to = first + 1;
	if (depth == 0) return true;
	int32_t firstAngle = search->lines[first].angle;
	int32_t low = firstAngle + Larger(depth * bounds.minGap, bounds.floor[depth]);
	int32_t high = Smaller(Smaller(firstAngle + depth * bounds.maxGap, firstAngle + bounds.cap[depth]), kAngleCount - 1);
	if (low > high) return false;
	*from = search->firstAtAngle[low];
	*to = search->firstAtAngle[high + 1];
	return true;
}

// Fills `completion` for the candidates whose first line is `first`, from
// the last depth back: the least excess over every way the angle bounds let
// the cycle close from each line that a depth can reach.
static void ComputeCompletions(PolygonSearch* search, const SearchBounds& bounds, int32_t first)
{
	int32_t firstAngle = search->lines[first].angle;
	int32_t last = bounds.sides - 1;
	for (int32_t depth = last; depth >= 0; depth--)
	{
		int32_t from;
		int32_t to;
		if (!LinesAtDepth(search, bounds, first, depth, &from, &to)) continue;

		for (int32_t x = from; x < to; x++)
		{
			if (depth == last)
			{
				search->completion[depth][x] = Excess(search, x, first);
				continue;
			}
			int32_t low;
			int32_t high;
			AngleWindow(bounds, depth + 1, firstAngle, search->lines[x].angle, &low, &high);
			// Four running minima, which agree with one: every value is a
			// number or +infinity.
			double least[4] = {double(INFINITY), double(INFINITY), double(INFINITY), double(INFINITY)};
			if (low <= high)
			{
				// The window lies after x without wrapping: angles rise and
				// stay below a turn.
				const double* row = search->excess[x];
				int32_t y = search->firstAtAngle[low];
				int32_t end = search->firstAtAngle[high + 1];
				const double* next = search->completion[depth + 1] + y;
				int32_t count = end - y;
				row += y - x;
				int32_t k = 0;
				for (; k + 4 <= count; k += 4)
				{
					for (int32_t lane = 0; lane < 4; lane++)
					{
						double value = row[k + lane] + next[k + lane];
						least[lane] = (value < least[lane]) ? value : least[lane];
					}
				}
				for (; k < count; k++)
				{
					double value = row[k] + next[k];
					least[0] = (value < least[0]) ? value : least[0];
				}
			}
			double pair0 = (least[1] < least[0]) ? least[1] : least[0];
			double pair1 = (least[3] < least[2]) ? least[3] : least[2];
			search->completion[depth][x] = (pair1 < pair0) ? pair1 : pair0;
		}
	}
}

// The unit vector k 128ths of a turn round, k taken cyclically.
static void DirectionAt(int32_t k, double* x, double* y)
{
	k &= kDirectionCount - 1;
	double sign = (k < kHalfDirectionCount) ? 1.0 : -1.0;
	*x = sign * double(kDirectionX[k & (kHalfDirectionCount - 1)]);
	*y = sign * double(kDirectionY[k & (kHalfDirectionCount - 1)]);
}

// For the pentagons and hexagons whose first line is `first`. A diagonal
// from vertex a to vertex b is at least as long as its projection on a
// unit vector u, (Vb - Va) . u, which is linear in the vertices. So each
// triangulation's diagonals are at least a sum over the vertices of dot
// products with fixed vectors; vertex i is where lines i and i + 1 meet, so
// that sum, like the area, adds up over pairs of consecutive lines, and its
// least with the area over every completion is found as the least area is
// (ComputeSetCompletions). Any unit vectors make a bound; the closest come
// from the directions the diagonals have in the polygon of equal turns from
// this first line, which is what round outlines, the ones that need this
// most, are best enclosed by. As in the other bounds on the diagonals, the
// price is a thousandth less, far more than the candidates' fast roots and
// float sums can stray; the vectors are a little shorter than one, and
// `setMargin` adds to the area's margin what rounding the products in
// double can cost, and the length of a diagonal whose square the candidate
// flushes to zero.
static void PrepareSetWeights(PolygonSearch* search, const SearchBounds& bounds, int32_t first)
{
	search->setBound = false;
	int32_t sides = bounds.sides;
	if (!search->prune || sides < 5 || search->lineCount > kHalfDirectionCount || !(search->edgeFactor > 0.0f)) return;
	const DiagonalList& list = (sides == 5) ? kPentagonDiagonals : kHexagonDiagonals;
	double price = 2.0 * double(kDiagonalPrice) * double(search->edgeFactor) * 0.999 * (1.0 - 0x1p-20);
	int32_t firstAngle = search->lines[first].angle;
	for (int32_t i = 0; i < sides; i++)
	{
		for (int32_t t = 0; t < kSetLanes; t++)
		{
			search->setWeightX[i][t] = 0.0;
			search->setWeightY[i][t] = 0.0;
		}
	}
	for (int32_t t = 0; t < kSetLanes; t++)
	{
		int32_t set = (t < list.setCount) ? t : 0;
		for (int32_t k = 0; k < sides - 3; k++)
		{
			// In the polygon of equal turns, vertex i lies at angle
			// first + (i + 1/2) turn / sides from the centre, and the chord
			// from a to b points a quarter turn past the mean of its ends'
			// angles: the nearest of the 128 directions to that.
			int32_t d = list.sets[set][k];
			int32_t a = list.ends[d][0];
			int32_t b = list.ends[d][1];
			int32_t twiceSteps = sides * (firstAngle + 64) + 128 * (a + b + 1);
			double ux;
			double uy;
			DirectionAt((twiceSteps + sides) / (2 * sides), &ux, &uy);
			search->setWeightX[b][t] += price * ux;
			search->setWeightY[b][t] += price * uy;
			search->setWeightX[a][t] -= price * ux;
			search->setWeightY[a][t] -= price * uy;
		}
	}
	double largest = search->reach * 0x1p12;
	search->setMargin = search->margin + price * double(sides - 3) * (largest * 0x1p-40 + 0x1p-60);
	search->setBound = std::isfinite(search->setMargin);
}

// `out` takes `path` with the pair that ends at vertex i added: its excess
// and its vertex, met at `meet`, priced for every triangulation.
static void AddSetPair(const PolygonSearch* search, const double* path, int32_t i, double excess, const Point2D& meet, double* out)
{
	double x = double(meet.x);
	double y = double(meet.y);
	for (int32_t t = 0; t < kSetLanes; t++) out[t] = path[t] + excess + search->setWeightX[i][t] * x + search->setWeightY[i][t] * y;
}

// Fills `setCompletion` for the candidates whose first line is `first`, as
// ComputeCompletions fills `completion`, over the same windows.
static void ComputeSetCompletions(PolygonSearch* search, const SearchBounds& bounds, int32_t first)
{
	static const double kNothing[kSetLanes] = {};
	int32_t firstAngle = search->lines[first].angle;
	int32_t last = bounds.sides - 1;
	for (int32_t depth = last; depth >= 0; depth--)
	{
		int32_t from;
		int32_t to;
		if (!LinesAtDepth(search, bounds, first, depth, &from, &to)) continue;

		for (int32_t x = from; x < to; x++)
		{
			double* least = search->setCompletion[depth][x];
			if (depth == last)
			{
				AddSetPair(search, kNothing, depth, Excess(search, x, first), Meet(search, x, first), least);
				continue;
			}
			for (int32_t t = 0; t < kSetLanes; t++) least[t] = double(INFINITY);
			int32_t low;
			int32_t high;
			AngleWindow(bounds, depth + 1, firstAngle, search->lines[x].angle, &low, &high);
			if (low > high) continue;
			for (int32_t y = search->firstAtAngle[low], end = search->firstAtAngle[high + 1]; y < end; y++)
			{
				int32_t offset = Follower(search, x, y);
				double value[kSetLanes];
				AddSetPair(search, search->setCompletion[depth + 1][y], depth, search->excess[x][offset], search->meet[x][offset], value);
				for (int32_t t = 0; t < kSetLanes; t++) least[t] = (value[t] < least[t]) ? value[t] : least[t];
			}
		}
	}
}

// True when, for every triangulation, the least cost of a candidate that
// goes on from `path`, with the line at `depth` being `index`, is at least
// the cut.
static bool SetsCannotWin(const PolygonSearch* search, const double* path, int32_t depth, int32_t index)
{
	const double* rest = search->setCompletion[depth][index];
	auto least = [](double a, double b) { return (b < a) ? b : a; };
	auto pair = [&](int32_t t) { return least(path[t] + rest[t], path[t + 1] + rest[t + 1]); };
	static_assert(kSetLanes == 8, "eight lanes");
	double value = least(least(pair(0), pair(2)), least(pair(4), pair(6)));
	return search->outlineArea + value - search->setMargin >= 2.0 * double(search->cut);
}

// The least total length of a triangulation's diagonals, given the length
// of each diagonal in the order of `list`.
static double LeastTriangulation(const DiagonalList& list, const double* length)
{
	// Written out for each polygon: this runs for most nodes near the
	// leaves, and the sums must come in the same order whichever is used.
	auto least = [](double a, double b) { return (b < a) ? b : a; };
	auto sum3 = [&](int32_t t) { return length[list.sets[t][0]] + length[list.sets[t][1]] + length[list.sets[t][2]]; };
	if (list.count == 5)
	{
		auto sum2 = [&](int32_t t) { return length[list.sets[t][0]] + length[list.sets[t][1]]; };
		return least(least(least(sum2(0), sum2(1)), least(sum2(2), sum2(3))), sum2(4));
	}
	return least(least(least(sum3(0), sum3(1)), least(sum3(2), sum3(3))), least(least(sum3(4), sum3(5)), least(sum3(6), sum3(7))));
}

// The least distance from (x, y) to the ray from (ox, oy) along (tx, ty), a
// unit vector, less the rounding allowance.
static double RayDistance(double x, double y, double ox, double oy, double tx, double ty, double reach)
{
	double along = (x - ox) * tx + (y - oy) * ty;
	if (along < 0.0) along = 0.0;
	double dx = x - ox - along * tx;
	double dy = y - oy - along * ty;
	double distance = std::sqrt(dx * dx + dy * dy) - reach;
	return (distance > 0.0) ? distance : 0.0;
}

// With three lines of a quadrilateral chosen, the last of them `index` at
// `depth` 2, true when no fourth line can give a cheaper candidate: its
// least area plus the price of the shorter diagonal. The last two vertices
// are unknown, but each lies on a known line: vertex 2 on line `index`, no
// nearer than where the first allowed fourth line meets it; vertex 3 on the
// first line, no nearer than where the last allowed fourth line meets it.
// (Support lines of one convex outline meet ever further along a line as
// the other turns away.) Each diagonal is at least the distance from its
// known end to its other end's ray.
static bool DiagonalsCannotWin(const PolygonSearch* search, int32_t depth, int32_t index)
{
	const Point2D* v = search->vertices;
	int32_t first = search->chosen[0];

	int32_t low;
	int32_t high;
	AngleWindow(kQuadBounds, depth + 1, search->lines[first].angle, search->lines[index].angle, &low, &high);
	if (low > high) return true;
	int32_t nearest = search->firstAtAngle[low];
	int32_t farthest = search->firstAtAngle[high + 1] - 1;
	if (nearest > farthest) return true;

	// Vertex 2 runs forwards along line `index`, vertex 3 backwards along
	// the first line.
	const TangentLine& last = search->lines[index];
	const TangentLine& firstLine = search->lines[first];
	const Point2D& start = Meet(search, index, nearest);
	const Point2D& end = Meet(search, farthest, first);
	double diagonal02 = RayDistance(double(v[0].x), double(v[0].y), double(start.x), double(start.y), -double(last.ny), double(last.nx), search->reach);
	double diagonal13 = RayDistance(double(v[1].x), double(v[1].y), double(end.x), double(end.y), double(firstLine.ny), -double(firstLine.nx), search->reach);

	double least = (diagonal02 < diagonal13) ? diagonal02 : diagonal13;
	double leastArea = (search->outlineArea + search->pathExcess[depth] + search->completion[depth][index] - search->margin) * 0.5;
	double price = double(kDiagonalPrice) * double(search->edgeFactor) * least * 0.999;
	return leastArea + price >= double(search->cut);
}

// With every line chosen, true when the candidate, of doubled area
// `twiceArea` as the search works it, cannot cost less than the cut. That
// area is the one its cost is made of, so it needs no allowance; its
// diagonals are taken from the same squared lengths as its cost, rooted
// correctly in double precision and less a thousandth, far more than the
// fast roots and the float sums can differ from them (a length too small
// to root counts nothing, as it does there). This is much cheaper than
// working its cost, which only the few candidates near the best need.
static bool CandidateCannotWin(const PolygonSearch* search, int32_t sides, float twiceArea)
{
	float area = twiceArea * 0.5f;
	if (!(area > 0.0f) || !(area < search->cut)) return true;

	const Point2D* v = search->vertices;
	auto root = [](float squared) { return (squared < kMinNormal) ? 0.0 : std::sqrt(double(squared)); };
	double least;
	if (sides == 4)
	{
		// The shorter diagonal is priced.
		float a = SquaredDistance(v[0], v[2]);
		float b = SquaredDistance(v[1], v[3]);
		least = root((a < b) ? a : b);
	}
	else
	{
		const DiagonalList& list = (sides == 5) ? kPentagonDiagonals : kHexagonDiagonals;
		double length[9];
		for (int32_t d = 0; d < list.count; d++) length[d] = root(SquaredDistance(v[list.ends[d][0]], v[list.ends[d][1]]));
		least = LeastTriangulation(list, length);
	}
	if (!std::isfinite(least)) return false;

	double price = double(kDiagonalPrice) * double(search->edgeFactor) * least * 0.999;
	return double(area) + price >= double(search->cut);
}

// True when a candidate whose doubled area is at least `least` must cost at
// least the cut.
static bool LeastCostCannotWin(const PolygonSearch* search, double least)
{
	if (least >= 2.0 * double(search->cut)) return true;
	if (!(least > 0.0)) return false;
	if (search->quadPriceRate > 0.0) return least * (0.5 + search->quadPriceRate) >= double(search->cut);
	if (search->rootPrice > 0.0) return least * 0.5 + search->rootPrice * std::sqrt(least * 0.5) >= double(search->cut);
	return false;
}

// The least price of a pentagon's or hexagon's diagonals, per square root of
// its area. Each triangulation priced is a fan from one vertex, or for the
// hexagon also the triangle of every other vertex. In a fan, the two end
// triangles have a diagonal for base and a vertex of the polygon for apex,
// whose angle is a half turn less the turn g between its lines: such a
// triangle holds at most base squared times tan(g / 2) / 4 (at most when it
// is isosceles). A triangle between two diagonals holds at most half their
// product. With the diagonals adding up to D, that leaves an area of at most
// D squared times tan(g / 2) / 4 for the pentagon, whose lines turn at most
// 80 steps (tan 56.25 degrees < 1.5), and D squared / 4 for the hexagon (64
// steps, tan 45 degrees = 1); the hexagon's triangle of diagonals, at most
// D squared times 3^(1/2) / 36, and its three end triangles, together at
// most D squared / 8, hold less. So D is at least 2 (area / t)^(1/2). The
// turns are taken a thousandth larger and the price a thousandth smaller, far
// more than the candidate's float vertices and sums can stray.
static double PentagonAndHexagonRootPrice(const PolygonSearch* search, int32_t sides)
{
	if (!search->prune || !(search->edgeFactor > 0.0f)) return 0.0;
	double turn = (sides == 5) ? 1.5 : (sides == 6) ? 1.0 : 0.0;
	if (turn == 0.0) return 0.0;
	double price = double(kDiagonalPrice) * double(search->edgeFactor) * 0.999 * 2.0 / std::sqrt(turn * 1.001);
	return std::isfinite(price) ? price : 0.0;
}

// True when every candidate below the lines chosen so far, the last of them
// `index` at `depth`, must cost at least the cut: by its least area and, for
// a quadrilateral, the least diagonal that area allows. A quadrilateral's
// area is half the cross product of its diagonals, so no more than half
// their product, and so its shorter diagonal is at least twice its area over
// the longer one, which is no longer than the span.
static bool CannotWin(PolygonSearch* search, int32_t depth, int32_t index)
{
	double least = search->outlineArea + search->pathExcess[depth] + search->completion[depth][index] - search->margin;
	return LeastCostCannotWin(search, least);
}

// The place in line i's row of the pair tables of the first line after it
// at least `gap` angle steps on (cyclically), or the row's end.
static int32_t FollowerAtGap(const PolygonSearch* search, int32_t i, int32_t gap)
{
	int32_t target = search->lines[i].angle + gap;
	int32_t before = (target <= kAngleCount) ? search->firstAtAngle[target] - (i + 1) : search->lineCount - (i + 1) + search->firstAtAngle[target - kAngleCount];
	int32_t offset = before + 1;
	int32_t most = (kMostFollowers < search->lineCount) ? kMostFollowers : search->lineCount;
	return (offset < most) ? offset : most;
}

// Sets `quadPriceRate` for the quadrilateral search, from a span of twice the
// greatest distance from the kept polygon's mean corner to any meeting point
// a quadrilateral that can still beat the cut may have. A meeting point whose
// pair alone brings the least area to the cut, with every other pair at the
// least excess of any, is left out: a quadrilateral with it cannot win
// whatever its diagonal. Every later cut is lower still.
//
// Along a line, the meeting points with the lines after it move one way as
// those turn further, and their pockets only grow; so those left in are the
// first ones of the line's row, and the farthest of them from any point is
// at an end of that run (distance along a line has no inner greatest).
static void PrepareQuadSpan(PolygonSearch* search, int32_t leastGap)
{
	search->quadPriceRate = 0.0;
	int32_t lineCount = search->lineCount;
	if (!search->prune || !(search->cut < INFINITY) || !(search->edgeFactor > 0.0f)) return;

	double centerX = 0.0;
	double centerY = 0.0;
	for (int32_t i = 0; i < lineCount; i++)
	{
		centerX += search->cornerX[i];
		centerY += search->cornerY[i];
	}
	centerX /= double(lineCount);
	centerY /= double(lineCount);

	double leastExcess = 0.0;
	for (int32_t i = 0; i < lineCount; i++) leastExcess = (search->leastFrom[i] < leastExcess) ? search->leastFrom[i] : leastExcess;
	// Past a pocket this far above the limit, more than any rounding can
	// move one, no later pocket of the row is below it.
	double limit = 2.0 * double(search->cut) - search->outlineArea + search->margin - 3.0 * leastExcess;
	double beyond = limit + 2.0 * search->margin;

	double farthest = 0.0;
	for (int32_t i = 0; i < lineCount; i++)
	{
		int32_t from = FollowerAtGap(search, i, leastGap);
		int32_t to = FollowerAtGap(search, i, kGreatestGap + 1);
		if (from >= to || !(search->excess[i][from] < beyond)) continue;
		// The first place at least `beyond`, by halving.
		int32_t low = from + 1;
		int32_t high = to;
		while (low < high)
		{
			int32_t middle = (low + high) / 2;
			if (search->excess[i][middle] < beyond) low = middle + 1;
			else high = middle;
		}
		const int32_t ends[2] = {from, low - 1};
		for (int32_t offset : ends)
		{
			const Point2D& meet = search->meet[i][offset];
			double dx = double(meet.x) - centerX;
			double dy = double(meet.y) - centerY;
			double squared = dx * dx + dy * dy;
			if (!std::isfinite(squared)) return;
			farthest = (squared > farthest) ? squared : farthest;
		}
	}
	// Far more than the rounding of the distances and of the meeting points.
	double span = 2.0 * std::sqrt(farthest) * (1.0 + 0x1p-16) + 0x1p-100;
	double rate = double(kDiagonalPrice) * double(search->edgeFactor) * 0.999 / span;
	if (std::isfinite(rate)) search->quadPriceRate = rate;
}

// The last line of a pruned search, from `start` on within the angles `low`
// to `high`: each candidate is tried as ExtendCandidate tries it, after the
// least cost of its pairs.
static void CloseCandidates(PolygonSearch* search, const SearchBounds& bounds, int32_t start, int32_t low, int32_t high)
{
	if (low > high) return;
	int32_t depth = bounds.sides - 1;
	int32_t first = search->chosen[0];
	int32_t previous = search->chosen[depth - 1];
	double path = search->outlineArea + search->pathExcess[depth - 1] - search->margin;
	const double* closing = search->completion[depth];
	Point2D* v = search->vertices;
	int32_t from = search->firstAtAngle[low];
	for (int32_t index = (from > start) ? from : start; index < search->lineCount; index++)
	{
		if (search->lines[index].angle > high) break;
		if (LeastCostCannotWin(search, path + Excess(search, previous, index) + closing[index])) continue;
		if (search->setBound)
		{
			double setPath[kSetLanes];
			AddSetPair(search, search->setPath[depth - 1], depth - 1, Excess(search, previous, index), Meet(search, previous, index), setPath);
			if (SetsCannotWin(search, setPath, depth, index)) continue;
		}

		search->chosen[depth] = index;
		v[depth - 1] = Meet(search, previous, index);
		search->crossSum[depth - 1] = search->crossSum[depth - 2] + CrossTerm(v[depth - 2], v[depth - 1]);
		v[depth] = Meet(search, index, first);
		float twiceArea = search->crossSum[depth - 1] + CrossTerm(v[depth - 1], v[depth]) + CrossTerm(v[depth], v[0]);
		if (bounds.sides >= 4 && CandidateCannotWin(search, bounds.sides, twiceArea)) continue;
		TryCandidate(search, bounds.sides, twiceArea);
	}
}

// Chooses line number `depth` of the candidate among the kept lines from
// `start` on, within the angle bounds, and goes deeper; the last line closes
// the polygon and the candidate is tried. Angles rise along the kept list,
// so the first angle past the cap ends the loop. The depth is at most six.
static void ExtendCandidate(PolygonSearch* search, const SearchBounds& bounds, int32_t depth, int32_t start)
{
	int32_t low = 0;
	int32_t high = bounds.firstMax;
	int32_t previous = 0;
	if (depth > 0)
	{
		int32_t first = search->lines[search->chosen[0]].angle;
		previous = search->chosen[depth - 1];
		AngleWindow(bounds, depth, first, search->lines[previous].angle, &low, &high);
	}
	if (search->prune && depth == bounds.sides - 1)
	{
		CloseCandidates(search, bounds, start, low, high);
		return;
	}

	for (int32_t index = start; index < search->lineCount; index++)
	{
		int32_t angle = search->lines[index].angle;
		if (angle < low) continue;
		if (angle > high) break;

		search->chosen[depth] = index;
		if (depth == 0)
		{
			if (search->prune)
			{
				// Every candidate has a pair from its first line and one
				// back to it; that alone often rules the line out.
				double least = search->outlineArea + search->leastFrom[index] + search->leastInto[index];
				if (least - search->margin >= 2.0 * double(search->cut)) continue;
				ComputeCompletions(search, bounds, index);
				search->pathExcess[0] = 0.0;
				if (CannotWin(search, 0, index)) continue;
				PrepareSetWeights(search, bounds, index);
				if (search->setBound)
				{
					ComputeSetCompletions(search, bounds, index);
					for (int32_t t = 0; t < kSetLanes; t++) search->setPath[0][t] = 0.0;
					if (SetsCannotWin(search, search->setPath[0], 0, index)) continue;
				}
			}
			search->crossSum[0] = 0.0f;
			ExtendCandidate(search, bounds, 1, index + 1);
			continue;
		}

		if (search->prune)
		{
			search->pathExcess[depth] = search->pathExcess[depth - 1] + Excess(search, previous, index);
			if (CannotWin(search, depth, index)) continue;
			if (search->setBound)
			{
				AddSetPair(search, search->setPath[depth - 1], depth - 1, Excess(search, previous, index), Meet(search, previous, index), search->setPath[depth]);
				if (SetsCannotWin(search, search->setPath[depth], depth, index)) continue;
			}
		}

		// Vertex depth - 1 is where this line meets the one before.
		Point2D* v = search->vertices;
		v[depth - 1] = Meet(search, previous, index);
		if (depth >= 2) search->crossSum[depth - 1] = search->crossSum[depth - 2] + CrossTerm(v[depth - 2], v[depth - 1]);

		if (search->prune && bounds.sides == 4 && depth == 2 && DiagonalsCannotWin(search, depth, index)) continue;

		if (depth + 1 < bounds.sides)
		{
			ExtendCandidate(search, bounds, depth + 1, index + 1);
			continue;
		}

		// The last line closes the polygon on the first.
		v[depth] = Meet(search, index, search->chosen[0]);
		float twiceArea = search->crossSum[depth - 1] + CrossTerm(v[depth - 1], v[depth]) + CrossTerm(v[depth], v[0]);
		if (search->prune && bounds.sides >= 4 && CandidateCannotWin(search, bounds.sides, twiceArea)) continue;
		TryCandidate(search, bounds.sides, twiceArea);
	}
}

// The doubled area of the candidate in `search->vertices`, summed in the
// order the search sums it, so that the same lines give the same bits.
static float CandidateTwiceArea(const Point2D* v, int32_t sides)
{
	float crossSum = 0.0f;
	for (int32_t d = 1; d <= sides - 2; d++) crossSum = crossSum + CrossTerm(v[d - 1], v[d]);
	return crossSum + CrossTerm(v[sides - 2], v[sides - 1]) + CrossTerm(v[sides - 1], v[0]);
}

// Lowers the cut to just above the cost of the near-regular candidates
// among `lines`: for each first line, the lines nearest to equal turns after
// it. Round outlines, where pruning has most to do, are best enclosed by
// such polygons. Only a candidate that the search for `bounds` over these
// same lines would try counts, and its cost is worked exactly as there.
static void SeedCut(PolygonSearch* search, const TangentLine* lines, int32_t lineCount, const SearchBounds& bounds)
{
	int32_t sides = bounds.sides;
	if (lineCount < sides) return;

	// The kept line nearest to each angle, the lower on a tie.
	int32_t nearest[kAngleCount];
	int32_t next = 0;
	for (int32_t a = 0; a < kAngleCount; a++)
	{
		while (next + 1 < lineCount && lines[next + 1].angle <= a) next++;
		int32_t chosen = next;
		if (next + 1 < lineCount && lines[next + 1].angle - a < a - lines[next].angle) chosen = next + 1;
		nearest[a] = chosen;
	}

	for (int32_t first = 0; first < lineCount && lines[first].angle <= bounds.firstMax; first++)
	{
		int32_t firstAngle = lines[first].angle;
		int32_t path[kMaxPolygonVertices];
		path[0] = first;
		int32_t depth = 1;
		for (; depth < sides; depth++)
		{
			int32_t target = firstAngle + (kAngleCount * depth + sides / 2) / sides;
			if (target >= kAngleCount) break;
			int32_t line = nearest[target];
			int32_t low;
			int32_t high;
			AngleWindow(bounds, depth, firstAngle, lines[path[depth - 1]].angle, &low, &high);
			if (line <= path[depth - 1] || lines[line].angle < low || lines[line].angle > high) break;
			path[depth] = line;
		}
		if (depth < sides) continue;

		Point2D* v = search->vertices;
		for (int32_t d = 0; d < sides; d++)
		{
			int32_t a = path[d];
			int32_t b = (d + 1 < sides) ? path[d + 1] : first;
			v[d] = (a < b) ? Intersect(lines[a], lines[b]) : Intersect(lines[b], lines[a]);
		}
		uint16_t code = 0;
		float cost = CandidateCost(search, sides, CandidateTwiceArea(v, sides), INFINITY, &code);
		if (cost < INFINITY)
		{
			float cut = std::nextafter(cost, INFINITY);
			if (cut < search->cut) search->cut = cut;
		}
	}
}

// True when no triangle over the search's lines can cost less than the cut,
// found without the pair tables. A pocket only grows as its second line
// turns away (that line cuts a triangle off the larger pocket), so a pocket
// whose lines are at least g apart is at least the least pocket of any line
// with its first follower g or more away. A triangle's three gaps lie
// between 32 and 112 and sum to a turn; the least pockets at a few steps of
// gap, taken over every way three gaps can add up, bound its area. The
// candidates' meeting points are not worked, so the margin is taken for the
// largest magnitude they can have: lines 32 to 112 angle steps apart meet
// within 4 (|d_i| + |d_j|) of the origin.
static bool TrianglesCannotWin(PolygonSearch* search)
{
	const SearchBounds& bounds = kTriangleBounds;
	int32_t lineCount = search->lineCount;
	if (!search->pruning || lineCount < 3 || !(search->edgeFactor >= 0.0f) || !(search->cut < INFINITY)) return false;

	double largest;
	if (!TraceOutline(search, &largest)) return false;
	double distance = 0.0;
	for (int32_t i = 0; i < lineCount; i++) distance = GreatestMagnitude(distance, double(search->lines[i].distance), 0.0);
	double reach = (8.0 * distance > largest) ? 8.0 * distance : largest;
	double margin = reach * reach * 0x1p-10 + 0x1p-100;
	if (!std::isfinite(margin) || !std::isfinite(search->outlineArea)) return false;

	// Gap levels: level k holds the gaps from kLevelGap[k] up to the next.
	constexpr int32_t kLevels = 6;
	static const int32_t kLevelGap[kLevels + 1] = {32, 48, 64, 80, 96, 112, 113};
	double least[kLevels];
	for (int32_t k = 0; k < kLevels; k++)
	{
		least[k] = double(INFINITY);
		for (int32_t i = 0; i < lineCount; i++)
		{
			int32_t target = search->lines[i].angle + kLevelGap[k];
			int32_t j = (target < kAngleCount) ? search->firstAtAngle[target] : lineCount;
			if (j >= lineCount)
			{
				// Past the last line the search goes on from the first,
				// a turn later.
				int32_t wrapped = target - kAngleCount;
				j = search->firstAtAngle[(wrapped > 0) ? wrapped : 0];
				if (j >= i) continue;
			}
			int32_t gap = search->lines[j].angle - search->lines[i].angle;
			if (gap <= 0) gap += kAngleCount;
			if (gap > kGreatestGap) continue;
			Point2D meet = (i < j) ? Intersect(search->lines[i], search->lines[j]) : Intersect(search->lines[j], search->lines[i]);
			double x = double(meet.x);
			double y = double(meet.y);
			if (!std::isfinite(x) || !std::isfinite(y)) return false;
			double excess = PairExcess(search, i, j, x, y);
			if (excess < least[k]) least[k] = excess;
		}
	}

	// The least sum over the levels of three gaps that can make a turn.
	double bound = double(INFINITY);
	for (int32_t a = 0; a < kLevels; a++)
	{
		for (int32_t b = a; b < kLevels; b++)
		{
			for (int32_t c = b; c < kLevels; c++)
			{
				int32_t low = kLevelGap[a] + kLevelGap[b] + kLevelGap[c];
				int32_t high = kLevelGap[a + 1] + kLevelGap[b + 1] + kLevelGap[c + 1] - 3;
				if (low > kAngleCount || high < kAngleCount) continue;
				double sum = least[a] + least[b] + least[c];
				if (sum < bound) bound = sum;
			}
		}
	}
	if (bounds.minGap != kLevelGap[0]) return false;
	return search->outlineArea + bound - margin >= 2.0 * double(search->cut);
}

static void SearchPolygons(PolygonSearch* search, const SearchBounds& bounds)
{
	if (search->lineCount < bounds.sides) return;
	search->rootPrice = PentagonAndHexagonRootPrice(search, bounds.sides);
	search->setBound = false;
	ExtendCandidate(search, bounds, 0, 0);
	search->setBound = false;
	search->rootPrice = 0.0;
}

static void StoreVertices(const Point2D* vertices, int32_t count, uint16_t* outVertices)
{
	for (int32_t i = 0; i < count; i++)
	{
		FloatToHalf(&outVertices[i * 2], vertices[i].x);
		FloatToHalf(&outVertices[i * 2 + 1], vertices[i].y);
	}
}

static bool AllLines(int32_t count, const QuadraticCurve* curves)
{
	for (int32_t i = 0; i < count; i++)
	{
		if (curves[i].p1.x != curves[i].p2.x || curves[i].p1.y != curves[i].p2.y) return false;
	}
	return true;
}

// A triangle or quadrilateral of straight lines is its own polygon, through
// the lines' end points.
static uint16_t ExactPolygon(int32_t count, const QuadraticCurve* curves, uint16_t* outVertices)
{
	Point2D a = curves[0].p1;
	Point2D b = curves[1].p1;
	Point2D c = curves[2].p1;

	if (count == 3)
	{
		Point2D ordered[3] = {c, b, a};
		if (Cross(a, b, c) > 0.0f)
		{
			ordered[0] = a;
			ordered[2] = c;
		}
		StoreVertices(ordered, 3, outVertices);
		return kPolygonTriangle;
	}

	Point2D d = curves[3].p1;
	float cB = Cross(a, b, c);
	float cC = Cross(b, c, d);
	float cD = Cross(c, d, a);
	float cA = Cross(d, a, b);
	float minAC = (cA < cC) ? cA : cC;
	float minBD = (cB < cD) ? cB : cD;

	uint16_t code;
	if (cB + cD > 0.0f)
	{
		Point2D ordered[4] = {a, b, c, d};
		StoreVertices(ordered, 4, outVertices);
		if (minAC < 0.0f) code = kPolygonQuadDiagonal02;
		else if (minBD < 0.0f) code = kPolygonQuadDiagonal13;
		else code = (SquaredDistance(b, d) >= SquaredDistance(a, c)) ? kPolygonQuadDiagonal02 : kPolygonQuadDiagonal13;
	}
	else
	{
		// Reversed, V0 V2 is D B and V1 V3 is C A.
		Point2D ordered[4] = {d, c, b, a};
		StoreVertices(ordered, 4, outVertices);
		if (minBD > 0.0f) code = kPolygonQuadDiagonal02;
		else if (minAC > 0.0f) code = kPolygonQuadDiagonal13;
		else code = (SquaredDistance(a, c) >= SquaredDistance(b, d)) ? kPolygonQuadDiagonal02 : kPolygonQuadDiagonal13;
	}
	return code;
}

static uint16_t FindBoundingPolygon(int32_t groupCount, const int32_t* counts, const QuadraticCurve* const* curveArrays,
	uint16_t* outVertices, int32_t maxVertices, float edgeFactor, bool pruning)
{
	if (maxVertices == 0) return 0;
	if (groupCount <= 0 || !counts || !curveArrays) return 0;

	int64_t total = 0;
	for (int32_t group = 0; group < groupCount; group++)
	{
		if (counts[group] > 0 && curveArrays[group]) total += counts[group];
	}
	if (total == 0) return 0;

	if (groupCount == 1)
	{
		int32_t count = counts[0];
		if (count < 3) return 0;
		if (count <= 4 && AllLines(count, curveArrays[0])) return ExactPolygon(count, curveArrays[0], outVertices);
	}

	float support[kDirectionCount];
	ComputeSupport(groupCount, counts, curveArrays, support);

	// The search holds tables of 128 x 128 points and excesses, some 260 KB;
	// they live here, on the stack, so that the computation stays reentrant.
	TangentLine kept[kDirectionCount];
	PolygonSearch search;
	search.lines = kept;
	search.edgeFactor = edgeFactor;
	search.bestCost = INFINITY;
	search.cut = INFINITY;
	search.bestSides = 0;
	search.bestCode = 0;
	search.pruning = pruning;
	search.quadPriceRate = 0.0;
	search.rootPrice = 0.0;

	// A few near-regular candidates of the larger polygons first, for the
	// cut that every search prunes against. Only a price that cannot lower
	// a cost below its area lets the cut stand in for the best cost.
	if (pruning && edgeFactor >= 0.0f)
	{
		TangentLine even[kDirectionCount];
		int32_t evenCount = KeepLines(support, 2, even);
		SeedCut(&search, even, evenCount, kQuadBounds);
		if (maxVertices >= 5) SeedCut(&search, even, evenCount, kPentagonBounds);
		if (maxVertices >= 6) SeedCut(&search, even, evenCount, kHexagonBounds);
	}

	// Round outlines rule out every triangle against the cut; the pair
	// tables of their 128 lines, the largest of the run, are then not built.
	search.lineCount = KeepLines(support, 1, kept);
	if (!TrianglesCannotWin(&search))
	{
		PrepareSearch(&search, search.lineCount, kTriangleBounds.minGap);
		SearchPolygons(&search, kTriangleBounds);
	}

	// The larger polygons choose among every other direction only, which
	// keeps their searches short.
	// The quadrilateral's least gap is the least of the three searches.
	PrepareSearch(&search, KeepLines(support, 2, kept), kQuadBounds.minGap);
	PrepareQuadSpan(&search, kQuadBounds.minGap);
	SearchPolygons(&search, kQuadBounds);
	search.quadPriceRate = 0.0;
	if (maxVertices >= 5) SearchPolygons(&search, kPentagonBounds);
	if (maxVertices >= 6) SearchPolygons(&search, kHexagonBounds);

	if (search.bestSides == 0) return 0;
	StoreVertices(search.best, search.bestSides, outVertices);
	return search.bestCode;
}

uint16_t ComputeBoundingPolygon(int32_t groupCount, const int32_t* counts, const QuadraticCurve* const* curveArrays,
	uint16_t* outVertices, int32_t maxVertices, float edgeFactor)
{
	return FindBoundingPolygon(groupCount, counts, curveArrays, outVertices, maxVertices, edgeFactor, true);
}

uint16_t ComputeBoundingPolygonExhaustive(int32_t groupCount, const int32_t* counts, const QuadraticCurve* const* curveArrays,
	uint16_t* outVertices, int32_t maxVertices, float edgeFactor)
{
	return FindBoundingPolygon(groupCount, counts, curveArrays, outVertices, maxVertices, edgeFactor, false);
}
