#include "stroke/JoinCap.h"

// The sine of 22.5 degrees, not its tangent: the control distance of the
// round cap's four quadratics is meant so.
static const float kRoundControl = 0.38268343f;
static const float kHalfRoot2 = 0.70710677f;

static inline Point2D Add(Point2D a, Point2D b)
{
	return Point2D{a.x + b.x, a.y + b.y};
}

static inline Point2D Subtract(Point2D a, Point2D b)
{
	return Point2D{a.x - b.x, a.y - b.y};
}

static inline Point2D Negate(Point2D a)
{
	return Point2D{-a.x, -a.y};
}

static inline Point2D Times(float s, Point2D a)
{
	return Point2D{s * a.x, s * a.y};
}

static inline float Cross(Point2D u, Point2D v)
{
	return u.x * v.y - u.y * v.x;
}

// A tangent turned by +90 degrees.
static inline Point2D Normal(Point2D t)
{
	return Point2D{-t.y, t.x};
}

// The geometry of one corner, shared by both joins.
struct Corner
{
	Point2D a;
	Point2D b;
	Point2D nA;
	Point2D nB;
	// Left turn: the inner point is on the left, the outer side is the right.
	bool left;
	bool mitered;
	bool round;
	bool extraPair;
	Point2D inner;
	Point2D outer;
	Point2D outerA;
	Point2D outerB;
	float reach;
	Point2D u;
	Point2D apex;
	Point2D control1;
	Point2D control2;
};

static void MakeCorner(const StrokeEnd& A, const StrokeEnd& B, float w, uint32_t join, float miterLimit, Corner* corner)
{
	Point2D a = A.tangent;
	Point2D b = B.tangent;
	corner->a = a;
	corner->b = b;
	corner->nA = Normal(a);
	corner->nB = Normal(b);

	float cross = b.y * a.x - a.y * b.x;
	float k = 1.0f / cross;
	Point2D direction{(b.x - a.x) * k, (b.y - a.y) * k};
	float ratio2 = direction.x * direction.x + direction.y * direction.y;
	Point2D m = Times(w, direction);

	corner->mitered = (miterLimit * miterLimit > ratio2);
	corner->round = !corner->mitered && (join == kJoinRound);
	corner->extraPair = corner->round && (ratio2 > 1.0f);

	const Point2D& P = A.point;
	Point2D plus = Add(P, m);
	Point2D minus = Subtract(P, m);
	corner->left = (cross > 0.0f);
	if (corner->left)
	{
		corner->inner = plus;
		corner->outer = minus;
		corner->outerA = A.right;
		corner->outerB = B.right;
	}
	else
	{
		corner->inner = minus;
		corner->outer = plus;
		corner->outerA = A.left;
		corner->outerB = B.left;
	}

	float length2 = m.x * m.x + m.y * m.y;
	float length = Sqrt(length2);
	corner->reach = (length > w) ? length : w;

	if (corner->round)
	{
		float inverse = InverseSqrt(length2);
		// Out of the corner: away from the inner point.
		corner->u = corner->left ? Point2D{-m.x * inverse, -m.y * inverse} : Point2D{m.x * inverse, m.y * inverse};
		corner->apex = Add(P, Times(w, corner->u));
		Point2D chord = Subtract(corner->outerB, corner->outerA);
		float along1 = Cross(Subtract(corner->apex, corner->outerA), chord) / Cross(a, chord);
		float along2 = Cross(Subtract(corner->apex, corner->outerB), chord) / Cross(b, chord);
		corner->control1 = Add(corner->outerA, Times(along1, a));
		corner->control2 = Add(corner->outerB, Times(along2, b));
	}
}

template <class Variant>
void EmitStraightJoin(const StrokeEnd& A, const StrokeEnd& B, float scale, Point2D offset, float halfWidth, const float* color,
	uint32_t join, float miterLimit, MeshCursor* meshCursor, TextureCursor* textureCursor, bool write)
{
	Corner c;
	MakeCorner(A, B, halfWidth, join, miterLimit, &c);

	// The seams bulge past the mesh, so its edge never shows as an edge.
	Point2D cA = Point2D{(c.inner.x + c.outerA.x) * 0.5f - c.reach * c.a.x, (c.inner.y + c.outerA.y) * 0.5f - c.reach * c.a.y};
	Point2D cB = Point2D{(c.inner.x + c.outerB.x) * 0.5f + c.reach * c.b.x, (c.inner.y + c.outerB.y) * 0.5f + c.reach * c.b.y};

	// The chain runs inner, A side, outer part, B side on a left turn and the
	// other way round on a right one.
	Point2D first = c.left ? c.outerA : c.outerB;
	Point2D last = c.left ? c.outerB : c.outerA;
	Point2D firstSeam = c.left ? cA : cB;
	Point2D lastSeam = c.left ? cB : cA;
	Point2D points[9];
	int32_t curves;
	if (c.mitered || !c.round)
	{
		points[0] = c.inner;
		points[1] = firstSeam;
		points[2] = first;
		if (c.mitered)
		{
			points[3] = c.outer;
			points[4] = c.outer;
			points[5] = last;
			points[6] = last;
			points[7] = lastSeam;
			points[8] = c.inner;
			curves = 4;
		}
		else
		{
			points[3] = last;
			points[4] = last;
			points[5] = lastSeam;
			points[6] = c.inner;
			curves = 3;
		}
	}
	else
	{
		points[0] = c.inner;
		points[1] = firstSeam;
		points[2] = first;
		points[3] = c.left ? c.control1 : c.control2;
		points[4] = c.apex;
		points[5] = c.left ? c.control2 : c.control1;
		points[6] = last;
		points[7] = lastSeam;
		points[8] = c.inner;
		curves = 4;
	}

	StrokePiece<Variant> piece(points, curves, scale, offset, color, meshCursor, textureCursor, write);
	Point2D sum = Add(c.nA, c.nB);
	if (c.left)
	{
		piece.Vertex(c.inner, sum);
		piece.Vertex(c.outerB, Negate(c.nB));
		piece.Vertex(c.outerA, Negate(c.nA));
	}
	else
	{
		piece.Vertex(c.inner, Negate(sum));
		piece.Vertex(c.outerA, c.nA);
		piece.Vertex(c.outerB, c.nB);
	}
	piece.Triangle(0, 1, 2);
	if (!c.mitered && !c.round) return;

	if (c.extraPair)
	{
		if (c.left)
		{
			piece.Vertex(c.control2, Subtract(c.u, c.nB));
			piece.Vertex(c.control1, Subtract(c.u, c.nA));
		}
		else
		{
			piece.Vertex(c.control1, Add(c.u, c.nA));
			piece.Vertex(c.control2, Add(c.u, c.nB));
		}
		piece.Triangle(1, 3, 4);
		piece.Triangle(1, 4, 2);
	}
	else
	{
		piece.Vertex(c.outer, c.left ? Negate(sum) : sum);
		piece.Triangle(1, 3, 2);
	}
}

template <class Variant>
void EmitCurvedJoin(const StrokeEnd& A, const StrokeEnd& B, float scale, Point2D offset, float halfWidth, const float* color,
	uint32_t join, float miterLimit, MeshCursor* meshCursor, TextureCursor* textureCursor, bool write)
{
	Corner c;
	MakeCorner(A, B, halfWidth, join, miterLimit, &c);

	// The bodies end on their own offset points, so the seams cross from one
	// end edge to the other.
	Point2D cA2;
	Point2D cB2;
	if (c.left)
	{
		cA2 = Point2D{(B.left.x + A.right.x) * 0.5f - c.reach * c.a.x, (B.left.y + A.right.y) * 0.5f - c.reach * c.a.y};
		cB2 = Point2D{(A.left.x + B.right.x) * 0.5f + c.reach * c.b.x, (A.left.y + B.right.y) * 0.5f + c.reach * c.b.y};
	}
	else
	{
		cB2 = Point2D{(B.left.x + A.right.x) * 0.5f + c.reach * c.b.x, (B.left.y + A.right.y) * 0.5f + c.reach * c.b.y};
		cA2 = Point2D{(A.left.x + B.right.x) * 0.5f - c.reach * c.a.x, (A.left.y + B.right.y) * 0.5f - c.reach * c.a.y};
	}

	// Left turn: B.left, cA2, A.right, the outer part, B.right, cB2, A.left,
	// B.left. A right turn mirrors it with the sides exchanged.
	Point2D start = c.left ? B.left : A.right;
	Point2D firstSeam = c.left ? cA2 : cB2;
	Point2D first = c.left ? A.right : B.left;
	Point2D last = c.left ? B.right : A.left;
	Point2D lastSeam = c.left ? cB2 : cA2;
	Point2D closing = c.left ? A.left : B.right;
	Point2D points[11];
	int32_t curves;
	points[0] = start;
	points[1] = firstSeam;
	points[2] = first;
	if (!c.mitered && !c.round)
	{
		points[3] = last;
		points[4] = last;
		points[5] = lastSeam;
		points[6] = closing;
		points[7] = start;
		points[8] = start;
		curves = 4;
	}
	else
	{
		if (c.mitered)
		{
			points[3] = c.outer;
			points[4] = c.outer;
			points[5] = last;
		}
		else
		{
			points[3] = c.left ? c.control1 : c.control2;
			points[4] = c.apex;
			points[5] = c.left ? c.control2 : c.control1;
		}
		points[6] = last;
		points[7] = lastSeam;
		points[8] = closing;
		points[9] = start;
		points[10] = start;
		curves = 5;
	}

	StrokePiece<Variant> piece(points, curves, scale, offset, color, meshCursor, textureCursor, write);
	piece.Vertex(A.left, c.nA);
	piece.Vertex(A.right, Negate(c.nA));
	piece.Vertex(B.left, c.nB);
	piece.Vertex(B.right, Negate(c.nB));
	if (c.left)
	{
		piece.Triangle(0, 1, 2);
		piece.Triangle(0, 3, 1);
	}
	else
	{
		piece.Triangle(0, 2, 1);
		piece.Triangle(0, 1, 3);
	}
	if (!c.mitered && !c.round) return;

	Point2D sum = Add(c.nA, c.nB);
	if (c.extraPair)
	{
		if (c.left)
		{
			piece.Vertex(c.control1, Subtract(c.u, c.nA));
			piece.Vertex(c.control2, Subtract(c.u, c.nB));
		}
		else
		{
			piece.Vertex(c.control1, Add(c.u, c.nA));
			piece.Vertex(c.control2, Add(c.u, c.nB));
		}
	}
	else
	{
		piece.Vertex(c.outer, c.left ? Negate(sum) : sum);
	}
	if (c.left) piece.Triangle(1, 3, 4);
	else piece.Triangle(0, 4, 2);
	if (c.extraPair)
	{
		if (c.left) piece.Triangle(3, 5, 4);
		else piece.Triangle(2, 4, 5);
	}
}

template <class Variant>
void EmitCap(const StrokeEnd& frame, float scale, Point2D offset, float w, const float* color, uint32_t capKind,
	MeshCursor* meshCursor, TextureCursor* textureCursor, bool write)
{
	if (capKind != kCapTriangle && capKind != kCapSquare && capKind != kCapRound) return;
	Point2D t = frame.tangent;
	Point2D n = Normal(t);
	const Point2D& point = frame.point;
	const Point2D& left = frame.left;
	const Point2D& right = frame.right;
	Point2D leftOut{left.x + w * t.x, left.y + w * t.y};
	Point2D rightOut{right.x + w * t.x, right.y + w * t.y};
	Point2D apex{point.x + w * t.x, point.y + w * t.y};

	// Every chain starts with the seam, bulging back into the stroke.
	Point2D points[11];
	points[0] = left;
	points[1] = Point2D{point.x - w * t.x, point.y - w * t.y};
	points[2] = right;
	int32_t curves;
	if (capKind == kCapTriangle)
	{
		points[3] = apex;
		points[4] = apex;
		points[5] = left;
		points[6] = left;
		curves = 3;
	}
	else if (capKind == kCapSquare)
	{
		points[3] = rightOut;
		points[4] = rightOut;
		points[5] = leftOut;
		points[6] = leftOut;
		points[7] = left;
		points[8] = left;
		curves = 4;
	}
	else
	{
		// Four quadratics of 45 degrees each, from the right side round to
		// the left.
		Point2D r = Negate(n);
		float sw = kRoundControl * w;
		float hw = kHalfRoot2 * w;
		points[3] = Point2D{right.x + sw * t.x, right.y + sw * t.y};
		points[4] = Point2D{point.x + hw * (t.x + r.x), point.y + hw * (t.y + r.y)};
		points[5] = Point2D{apex.x + sw * r.x, apex.y + sw * r.y};
		points[6] = apex;
		points[7] = Point2D{apex.x - sw * r.x, apex.y - sw * r.y};
		points[8] = Point2D{point.x + hw * (t.x + n.x), point.y + hw * (t.y + n.y)};
		points[9] = Point2D{left.x + sw * t.x, left.y + sw * t.y};
		points[10] = left;
		curves = 5;
	}

	// The mesh is the cap's full reach whatever its shape.
	StrokePiece<Variant> piece(points, curves, scale, offset, color, meshCursor, textureCursor, write);
	piece.Vertex(left, n);
	piece.Vertex(right, Negate(n));
	piece.Vertex(leftOut, Add(n, t));
	piece.Vertex(rightOut, Subtract(t, n));
	piece.Triangle(0, 3, 1);
	piece.Triangle(0, 2, 3);
}

// Every variant, for the generator table.
#define VORP_JOIN_CAP_VARIANT(texels, colors, indices) \
	template void EmitStraightJoin<StrokeVariant<texels, colors, indices>>(const StrokeEnd&, const StrokeEnd&, float, Point2D, float, const float*, uint32_t, float, MeshCursor*, TextureCursor*, bool); \
	template void EmitCurvedJoin<StrokeVariant<texels, colors, indices>>(const StrokeEnd&, const StrokeEnd&, float, Point2D, float, const float*, uint32_t, float, MeshCursor*, TextureCursor*, bool); \
	template void EmitCap<StrokeVariant<texels, colors, indices>>(const StrokeEnd&, float, Point2D, float, const float*, uint32_t, MeshCursor*, TextureCursor*, bool);

VORP_JOIN_CAP_VARIANT(false, false, false)
VORP_JOIN_CAP_VARIANT(false, false, true)
VORP_JOIN_CAP_VARIANT(false, true, false)
VORP_JOIN_CAP_VARIANT(false, true, true)
VORP_JOIN_CAP_VARIANT(true, false, false)
VORP_JOIN_CAP_VARIANT(true, false, true)
VORP_JOIN_CAP_VARIANT(true, true, false)
VORP_JOIN_CAP_VARIANT(true, true, true)
