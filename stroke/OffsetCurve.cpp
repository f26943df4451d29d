#include "stroke/OffsetCurve.h"

#include <cmath>

#include "stroke/CurveTools.h"
#include "stroke/JoinCap.h"

static inline float Cross(Point2D u, Point2D v)
{
	return u.x * v.y - u.y * v.x;
}

static inline float Absolute(float value)
{
	return std::fabs(value);
}

static inline float Larger(float a, float b)
{
	return (a > b) ? a : b;
}

static inline Point2D Unit(float x, float y)
{
	float k = InverseSqrt(x * x + y * y);
	return Point2D{x * k, y * k};
}

static void SetSides(StrokeEnd* end, float w)
{
	// The left side is the tangent turned to (-y, x).
	end->left = Point2D{end->point.x + w * -end->tangent.y, end->point.y + w * end->tangent.x};
	end->right = Point2D{end->point.x - w * -end->tangent.y, end->point.y - w * end->tangent.x};
}

void PrepareSegment(const QuadraticCurve& curve, float halfWidth, StrokeSegment* segment)
{
	const Point2D& p0 = curve.p0;
	const Point2D& c = curve.p1;
	const Point2D& p2 = curve.p2;
	float near0x = c.x - p0.x;
	float near0y = c.y - p0.y;
	float spanX = p2.x - p0.x;
	float spanY = p2.y - p0.y;
	segment->start.point = p0;
	segment->end.point = p2;
	if ((near0x * near0x + near0y * near0y < kPointLimit) && (spanX * spanX + spanY * spanY < kPointLimit))
	{
		segment->start.tangent = Point2D{0.0f, 0.0f};
		segment->end.tangent = Point2D{0.0f, 0.0f};
		segment->start.left = p0;
		segment->start.right = p0;
		segment->end.left = p2;
		segment->end.right = p2;
		segment->control = Point2D{(p0.x + p2.x) * 0.5f, (p0.y + p2.y) * 0.5f};
		segment->turn = 0.0f;
		segment->degenerate = 1;
		return;
	}

	segment->degenerate = 0;
	float near2x = p2.x - c.x;
	float near2y = p2.y - c.y;
	// A control on an end makes the curve a straight line.
	if ((near0x * near0x + near0y * near0y < kPointLimit) || (near2x * near2x + near2y * near2y < kPointLimit))
	{
		segment->control = Point2D{(p0.x + p2.x) * 0.5f, (p0.y + p2.y) * 0.5f};
	}
	else
	{
		segment->control = c;
	}
	segment->start.tangent = Unit(segment->control.x - p0.x, segment->control.y - p0.y);
	segment->end.tangent = Unit(p2.x - segment->control.x, p2.y - segment->control.y);
	SetSides(&segment->start, halfWidth);
	SetSides(&segment->end, halfWidth);
	segment->turn = segment->start.tangent.x * segment->end.tangent.y - segment->start.tangent.y * segment->end.tangent.x;
}

// The normalised derivative at t, from the coefficients of (t - 1, 1 - 2t, t).
static Point2D TangentAt(const QuadraticCurve& curve, float t)
{
	float a = t - 1.0f;
	float b = 1.0f - (t + t);
	return Unit(a * curve.p0.x + b * curve.p1.x + t * curve.p2.x, a * curve.p0.y + b * curve.p1.y + t * curve.p2.y);
}

void ChooseSlices(const QuadraticCurve& curve, bool* flags)
{
	Point2D tangent0 = TangentAt(curve, 0.0f);
	Point2D tangent2 = TangentAt(curve, 0.5f);
	Point2D tangent4 = TangentAt(curve, 1.0f);
	flags[0] = true;
	flags[1] = Absolute(Cross(tangent0, tangent2)) > 0.5f;
	flags[2] = Absolute(Cross(tangent0, tangent4)) > 0.5f;
	flags[3] = Absolute(Cross(tangent2, tangent4)) > 0.5f;
	flags[4] = true;
}

// Both sides of a curve cut in two; the halves meet at the cut.
template <class Variant>
static void SplitCurve(const QuadraticCurve& curve, const StrokeSegment& segment, const StrokeSegment& previous, const StrokeSegment& next,
	float halfWidth, const float* color, uint32_t startCap, uint32_t endCap, uint32_t join, float miterLimit, MeshCursor* meshCursor,
	TextureCursor* textureCursor, bool write, int32_t depth)
{
	QuadraticCurve first;
	QuadraticCurve second;
	if (Absolute(segment.turn) > kParallelLimit)
	{
		first = SubCurve(curve, 0.0f, 0.5f);
		second = SubCurve(curve, 0.5f, 1.0f);
	}
	else
	{
		// Anti-parallel end tangents: the curve runs out along a line and
		// back. It is cut at the turning point into two straight lines.
		const Point2D& p0 = curve.p0;
		const Point2D& c = curve.p1;
		const Point2D& p2 = curve.p2;
		Point2D d{p0.x - c.x, p0.y - c.y};
		float inverse = 1.0f / Sqrt(d.x * d.x + d.y * d.y);
		float t = (inverse * d.y * d.y + inverse * d.x * d.x) / (((p2.y - c.y) + d.y) * inverse * d.y + ((p2.x - c.x) + d.x) * inverse * d.x);
		if (t < 0.0f) t = 0.0f;
		if (t > 1.0f) t = 1.0f;
		Point2D m = EvaluateCurve(curve, t);
		first = QuadraticCurve{p0, m, m};
		second = QuadraticCurve{m, p2, p2};
	}
	StrokeSegment firstSegment;
	StrokeSegment secondSegment;
	PrepareSegment(first, halfWidth, &firstSegment);
	PrepareSegment(second, halfWidth, &secondSegment);
	StrokeCurve<Variant>(first, &firstSegment, previous, secondSegment, halfWidth, color, startCap, 0, join, miterLimit, meshCursor, textureCursor, write, depth + 1);
	StrokeCurve<Variant>(second, &secondSegment, firstSegment, next, halfWidth, color, 0, endCap, join, miterLimit, meshCursor, textureCursor, write, depth + 1);
}

// The inner vertex of a straight join: where the two offsets of that side
// meet, the point the join piece shares.
static Point2D MiterOffset(Point2D from, Point2D to, float cross, float halfWidth)
{
	float k = 1.0f / cross;
	return Point2D{(to.x - from.x) * k * halfWidth, (to.y - from.y) * k * halfWidth};
}

template <class Variant>
void StrokeCurve(const QuadraticCurve& curve, StrokeSegment* segment, const StrokeSegment& previous, const StrokeSegment& next, float halfWidth,
	const float* color, uint32_t startCap, uint32_t endCap, uint32_t join, float miterLimit, MeshCursor* meshCursor, TextureCursor* textureCursor,
	bool write, int32_t depth)
{
	StrokeEnd& start = segment->start;
	StrokeEnd& end = segment->end;
	float w = halfWidth;

	// A curve that turns by more than 60 degrees is cut, so that one curve
	// makes four bodies at most.
	float dot = start.tangent.x * end.tangent.x + start.tangent.y * end.tangent.y;
	if (!segment->degenerate && dot < 0.5f && depth <= 1)
	{
		SplitCurve<Variant>(curve, *segment, previous, next, halfWidth, color, startCap, endCap, join, miterLimit, meshCursor, textureCursor, write, depth);
		return;
	}

	// The local frame is the centre line's box; offset points fall outside
	// the unit square by up to a half width.
	CurveRange rangeX = CurveExtentX(curve);
	CurveRange rangeY = CurveExtentY(curve);
	float size = Larger(Larger(rangeX.max - rangeX.min, rangeY.max - rangeY.min), halfWidth);
	float scale = 1.0f / size;
	Point2D offset{-rangeX.min * scale, -rangeY.min * scale};

	uint32_t startKind = startCap;
	bool startJoin = false;
	if (startCap == 0)
	{
		Point2D a = previous.end.tangent;
		Point2D b = start.tangent;
		if (Absolute(b.x * a.y - b.y * a.x) <= kParallelLimit)
		{
			// No corner. Straight on, the sides continue those of the curve
			// before bit for bit; back on the spot, the tip takes a cap.
			if (a.x * b.x + a.y * b.y > 0.0f)
			{
				start.tangent = previous.end.tangent;
				start.left = previous.end.left;
				start.right = previous.end.right;
			}
			else
			{
				start.tangent = Point2D{-a.x, -a.y};
				start.left = previous.end.right;
				start.right = previous.end.left;
				startKind = (join == kJoinRound) ? kCapRound : kCapFlat;
			}
			start.point = previous.end.point;
		}
		else if (Larger(Absolute(segment->turn), Absolute(previous.turn)) > kParallelLimit)
		{
			EmitCurvedJoin<Variant>(previous.end, start, scale, offset, w, color, join, miterLimit, meshCursor, textureCursor, write);
		}
		else
		{
			EmitStraightJoin<Variant>(previous.end, start, scale, offset, w, color, join, miterLimit, meshCursor, textureCursor, write);
			startJoin = true;
		}
	}

	// A straight join at the end is made by the next curve; only the end
	// vertices here depend on it.
	uint32_t endKind = endCap;
	bool endJoin = (endCap == 0) && (Absolute(Cross(end.tangent, next.start.tangent)) > kParallelLimit)
		&& (Larger(Absolute(segment->turn), Absolute(next.turn)) <= kParallelLimit);

	Point2D leftControl;
	Point2D rightControl;
	bool straight = (Absolute(segment->turn) <= kParallelLimit);
	if (straight)
	{
		// A square end on a straight body is the body made longer.
		if (startKind == kCapSquare)
		{
			startKind = kCapFlat;
			Point2D back{w * start.tangent.x, w * start.tangent.y};
			start.point = Point2D{start.point.x - back.x, start.point.y - back.y};
			start.left = Point2D{start.left.x - back.x, start.left.y - back.y};
			start.right = Point2D{start.right.x - back.x, start.right.y - back.y};
		}
		if (endKind == kCapSquare)
		{
			endKind = kCapFlat;
			Point2D forward{w * end.tangent.x, w * end.tangent.y};
			end.point = Point2D{end.point.x + forward.x, end.point.y + forward.y};
			end.left = Point2D{end.left.x + forward.x, end.left.y + forward.y};
			end.right = Point2D{end.right.x + forward.x, end.right.y + forward.y};
		}
		leftControl = start.left;
		rightControl = end.right;
	}
	else
	{
		// Each side's control is where its two end tangents meet.
		float k = 1.0f / segment->turn;
		Point2D ts = start.tangent;
		Point2D te = end.tangent;
		float a = Cross(Point2D{end.left.x - start.left.x, end.left.y - start.left.y}, te) * k;
		leftControl = Point2D{start.left.x + a * ts.x, start.left.y + a * ts.y};
		float b = Cross(Point2D{start.right.x - end.right.x, start.right.y - end.right.y}, ts) * k;
		rightControl = Point2D{end.right.x - b * te.x, end.right.y - b * te.y};
	}

	if (!segment->degenerate)
	{
		// Where the stroke goes on past the body, the chain bulges out past
		// the mesh, so pieces meet without an antialiased seam.
		Point2D points[9];
		points[0] = start.right;
		points[1] = rightControl;
		points[2] = end.right;
		points[3] = (endKind == kCapFlat) ? end.left : Point2D{end.point.x + w * end.tangent.x, end.point.y + w * end.tangent.y};
		points[4] = end.left;
		points[5] = leftControl;
		points[6] = start.left;
		points[7] = (startKind == kCapFlat) ? start.right : Point2D{start.point.x - w * start.tangent.x, start.point.y - w * start.tangent.y};
		points[8] = start.right;
		StrokePiece<Variant> piece(points, 4, scale, offset, color, meshCursor, textureCursor, write);

		Point2D ts = start.tangent;
		Point2D n{-ts.y, ts.x};
		if (startJoin)
		{
			Point2D a = previous.end.tangent;
			float c = ts.y * a.x - ts.x * a.y;
			Point2D m = MiterOffset(a, ts, c, w);
			Point2D nA{-a.y, a.x};
			const Point2D& corner = previous.end.point;
			if (c <= 0.0f)
			{
				piece.Vertex(start.left, n);
				piece.Vertex(Point2D{corner.x - m.x, corner.y - m.y}, Point2D{-(n.x + nA.x), -(n.y + nA.y)});
			}
			else
			{
				piece.Vertex(Point2D{corner.x + m.x, corner.y + m.y}, Point2D{n.x + nA.x, n.y + nA.y});
				piece.Vertex(start.right, Point2D{-n.x, -n.y});
			}
		}
		else if (startKind == kCapFlat)
		{
			piece.Vertex(start.left, Point2D{n.x - ts.x, n.y - ts.y});
			piece.Vertex(start.right, Point2D{-n.x - ts.x, -n.y - ts.y});
		}
		else
		{
			piece.Vertex(start.left, n);
			piece.Vertex(start.right, Point2D{-n.x, -n.y});
		}

		if (straight)
		{
			piece.Triangle(0, 3, 1);
			piece.Triangle(0, 2, 3);
		}
		else
		{
			// Slices: each new vertex sits where the last slice's offset
			// tangent meets this one's, on the side that bends outward.
			bool flags[5];
			ChooseSlices(curve, flags);
			Point2D previousL = start.left;
			Point2D previousR = start.right;
			Point2D previousT = ts;
			Point2D previousN = n;
			int32_t a = 0;
			int32_t b = 1;
			for (int32_t i = 1; i <= 4; i++)
			{
				if (!flags[i]) continue;
				float t = float(i) * 0.25f;
				Point2D point = EvaluateCurve(curve, t);
				Point2D T = TangentAt(curve, t);
				Point2D N{-T.y, T.x};
				Point2D L{point.x + w * N.x, point.y + w * N.y};
				Point2D R{point.x - w * N.x, point.y - w * N.y};
				float k = 1.0f / Cross(previousT, T);
				float along = Cross(Point2D{L.x - previousL.x, L.y - previousL.y}, T) * k;
				float back = Cross(Point2D{previousR.x - R.x, previousR.y - R.y}, previousT) * k;
				int32_t A = piece.NextVertex();
				int32_t c = A + 1;
				int32_t d = A + 2;
				if (segment->turn <= 0.0f)
				{
					piece.Vertex(Point2D{previousL.x + previousT.x * along, previousL.y + previousT.y * along},
						Point2D{previousN.x + N.x, previousN.y + N.y});
				}
				else
				{
					piece.Vertex(Point2D{R.x - T.x * back, R.y - T.y * back}, Point2D{-(previousN.x + N.x), -(previousN.y + N.y)});
				}
				piece.Triangle(a, A, b);
				piece.Triangle(c, d, A);
				if (segment->turn <= 0.0f) piece.Triangle(b, A, d);
				else piece.Triangle(a, c, A);
				if (i != 4)
				{
					piece.Vertex(L, N);
					piece.Vertex(R, Point2D{-N.x, -N.y});
					a = c;
					b = d;
					previousL = L;
					previousR = R;
					previousT = T;
					previousN = N;
				}
			}
		}

		Point2D te = end.tangent;
		Point2D ne{-te.y, te.x};
		if (endJoin)
		{
			Point2D b = next.start.tangent;
			float c = b.y * te.x - b.x * te.y;
			Point2D m = MiterOffset(te, b, c, w);
			Point2D nB{-b.y, b.x};
			const Point2D& corner = next.start.point;
			if (c > 0.0f)
			{
				piece.Vertex(Point2D{corner.x + m.x, corner.y + m.y}, Point2D{ne.x + nB.x, ne.y + nB.y});
				piece.Vertex(end.right, Point2D{-ne.x, -ne.y});
			}
			else
			{
				piece.Vertex(end.left, ne);
				piece.Vertex(Point2D{corner.x - m.x, corner.y - m.y}, Point2D{-(ne.x + nB.x), -(ne.y + nB.y)});
			}
		}
		else if (endKind == kCapFlat)
		{
			piece.Vertex(end.left, Point2D{ne.x + te.x, ne.y + te.y});
			piece.Vertex(end.right, Point2D{-ne.x + te.x, -ne.y + te.y});
		}
		else
		{
			piece.Vertex(end.left, ne);
			piece.Vertex(end.right, Point2D{-ne.x, -ne.y});
		}
	}

	if (startKind != 0)
	{
		StrokeEnd reversed{start.point, Point2D{-start.tangent.x, -start.tangent.y}, start.right, start.left};
		EmitCap<Variant>(reversed, scale, offset, w, color, startKind, meshCursor, textureCursor, write);
	}
	if (endKind != 0) EmitCap<Variant>(end, scale, offset, w, color, endKind, meshCursor, textureCursor, write);
}

template void StrokeCurve<StrokeVariant<false, false, false>>(const QuadraticCurve&, StrokeSegment*, const StrokeSegment&, const StrokeSegment&, float,
	const float*, uint32_t, uint32_t, uint32_t, float, MeshCursor*, TextureCursor*, bool, int32_t);
template void StrokeCurve<StrokeVariant<true, false, false>>(const QuadraticCurve&, StrokeSegment*, const StrokeSegment&, const StrokeSegment&, float,
	const float*, uint32_t, uint32_t, uint32_t, float, MeshCursor*, TextureCursor*, bool, int32_t);

const StrokeGenerator kStrokeGenerators[8] =
{
	StrokeCurve<StrokeVariant<false, false, false>>,
	StrokeCurve<StrokeVariant<false, false, true>>,
	StrokeCurve<StrokeVariant<false, true, false>>,
	StrokeCurve<StrokeVariant<false, true, true>>,
	StrokeCurve<StrokeVariant<true, false, false>>,
	StrokeCurve<StrokeVariant<true, false, true>>,
	StrokeCurve<StrokeVariant<true, true, false>>,
	StrokeCurve<StrokeVariant<true, true, true>>,
};
