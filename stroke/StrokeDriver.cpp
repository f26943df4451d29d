#include "stroke/StrokeDriver.h"

#include <cmath>

#include "stroke/CurveTools.h"
#include "stroke/OffsetCurve.h"

// Not reentrant: every dashed contour overwrites it.
static DashWorkBuffer dashWorkBuffer;

// The segments before, at and after the curve being stroked.
struct SegmentRing
{
	StrokeSegment slot[3];
	int32_t previous;
	int32_t current;
	int32_t next;
};

// A point-like segment is skipped: it is overwritten by the next one, so the
// following join sees the last real segment.
static void AdvanceRing(SegmentRing* ring)
{
	if (ring->slot[ring->current].degenerate)
	{
		ring->slot[ring->current] = ring->slot[ring->next];
		return;
	}
	ring->previous = ring->current;
	ring->current = ring->next;
	ring->next = ring->current + 1;
	if (ring->next == 3) ring->next = 0;
}

static inline bool SamePoint(Point2D a, Point2D b)
{
	return (a.x == b.x) && (a.y == b.y);
}

static bool FiniteCurves(const QuadraticCurve* curves, int32_t count)
{
	for (int32_t i = 0; i < count; i++)
	{
		const QuadraticCurve& c = curves[i];
		float sum = c.p0.x + c.p0.y + c.p1.x + c.p1.y + c.p2.x + c.p2.y;
		// Any infinity or NaN makes the sum NaN or infinite; huge finite
		// values may overflow it too, and get the slower look.
		if (std::isfinite(sum)) continue;
		const float* values = &c.p0.x;
		for (int32_t k = 0; k < 6; k++)
		{
			if (!std::isfinite(values[k])) return false;
		}
	}
	return true;
}

// The pattern total, in order. A total that is negative or not finite draws
// solid: such a pattern never reaches the end of a curve.
static bool DashedPattern(const StrokeParameters* params, float* total)
{
	if (params->dashCount < 1 || !params->dashArray) return false;
	float sum = 0.0f;
	for (int32_t k = 0; k < params->dashCount; k++) sum = sum + params->dashArray[k];
	*total = sum;
	return (sum >= 0.0f) && std::isfinite(sum);
}

// Where the pattern stands at the start of each curve and of the end.
// Returns 'SIZE' when the steps run out.
static uint32_t MeasureDashes(const StrokeParameters* params, float total, int32_t n, const QuadraticCurve* curves, DashWorkBuffer* buffer, int32_t* dashSteps)
{
	const float* dash = params->dashArray;
	int32_t count = params->dashCount;
	for (int32_t i = 0; i < n; i++)
	{
		float length = 0.0f;
		for (int32_t k = 0; k < 16; k++) length = length + SegmentLength(curves[i], float(k) * 0.0625f, float(k + 1) * 0.0625f);
		buffer->curveLength[i] = length;
	}

	// A total of 0 makes the phase NaN; every comparison with it fails, so
	// the pattern stops at once.
	float q = (1.0f / total) * params->dashOffset;
	float whole = (std::fabs(q) > 8388608.0f) ? q : std::floor(q);
	float position = (q - whole) * total;

	int32_t k = count - 1;
	float entryStart = 0.0f;
	float sum = 0.0f;
	for (int32_t e = 0; e < count; e++)
	{
		float before = sum;
		sum = sum + dash[e];
		if (position <= sum)
		{
			k = e;
			entryStart = before;
			break;
		}
		entryStart = sum;
	}

	for (int32_t i = 0; i < n; i++)
	{
		buffer->dashIndex[i] = uint8_t(k);
		buffer->dashPosition[i] = position;
		buffer->dashStart[i] = entryStart;
		float entryEnd = entryStart + dash[k];
		float reach = entryEnd - position;
		while (reach < buffer->curveLength[i])
		{
			if (--*dashSteps < 0) return 'SIZE';
			entryStart = entryEnd;
			k = k + 1;
			if (k == count) k = 0;
			entryEnd = entryStart + dash[k];
			reach = reach + (entryEnd - entryStart);
		}
		position = entryEnd - (reach - buffer->curveLength[i]);
	}
	buffer->dashIndex[n] = uint8_t(k);
	buffer->dashPosition[n] = position;
	buffer->dashStart[n] = entryStart;
	return 0;
}

uint32_t StrokeContour(const StrokeParameters* params, uint32_t flags, int32_t curveCount, const QuadraticCurve* curves, TextureCursor* textureCursor,
	MeshCursor* meshCursor, DashWorkBuffer* workBuffer, bool write, int32_t* dashSteps)
{
	if (curveCount <= 0) return 0;

	// Zero-length curves at either end have no direction to stroke.
	int32_t first = 0;
	while (first < curveCount && SamePoint(curves[first].p0, curves[first].p2)) first++;
	if (first == curveCount) return 0;
	int32_t last = curveCount - 1;
	while (last > first && SamePoint(curves[last].p0, curves[last].p2)) last--;
	curves += first;
	int32_t n = last - first + 1;
	if (n > kMaxStrokeCurves) n = kMaxStrokeCurves;

	float halfWidth = params->width * 0.5f;
	if (!(halfWidth > 0.0f) || !std::isfinite(halfWidth)) return 0;
	if (!FiniteCurves(curves, n)) return 0;

	SegmentRing ring;
	PrepareSegment(curves[n - 1], halfWidth, &ring.slot[0]);
	PrepareSegment(curves[0], halfWidth, &ring.slot[1]);
	ring.previous = 0;
	ring.current = 1;
	ring.next = 2;

	int32_t slot = ((textureCursor->format == 'FLT4') ? 4 : 0) + ((meshCursor->floatColor == 1) ? 2 : 0) + ((meshCursor->wideIndex == 1) ? 1 : 0);
	StrokeGenerator generator = kStrokeGenerators[slot];

	bool closed = ((flags & kStrokeClosed) != 0) && SamePoint(curves[0].p0, curves[n - 1].p2);
	const float* color = params->color;
	uint32_t cap = params->cap;

	float total = 0.0f;
	if (!DashedPattern(params, &total))
	{
		uint32_t capUsed = closed ? 0 : cap;
		for (int32_t i = 0; i < n; i++)
		{
			PrepareSegment(curves[(i + 1 < n) ? i + 1 : 0], halfWidth, &ring.slot[ring.next]);
			generator(curves[i], &ring.slot[ring.current], ring.slot[ring.previous], ring.slot[ring.next], halfWidth, color,
				(i == 0) ? capUsed : 0, (i == n - 1) ? capUsed : 0, params->join, params->miterLimit, meshCursor, textureCursor, write, 0);
			if (ChainImageFull(textureCursor)) return 'SIZE';
			AdvanceRing(&ring);
		}
		return 0;
	}

	DashWorkBuffer* buffer = workBuffer ? workBuffer : &dashWorkBuffer;
	uint32_t result = MeasureDashes(params, total, n, curves, buffer, dashSteps);
	if (result != 0) return result;
	// A gap at the seam opens the contour: both ends get caps.
	if (closed && (((buffer->dashIndex[0] & 1) != 0) || ((buffer->dashIndex[n] & 1) != 0))) closed = false;

	const float* dash = params->dashArray;
	for (int32_t i = 0; i < n; i++)
	{
		const QuadraticCurve& curve = curves[i];
		float length = buffer->curveLength[i];
		PrepareSegment(curves[(i + 1 < n) ? i + 1 : 0], halfWidth, &ring.slot[ring.next]);
		float distance = 0.0f;
		int32_t pieces = 0;
		float tStart = 0.0f;
		int32_t k = buffer->dashIndex[i];
		float position = buffer->dashPosition[i];
		float entryStart = buffer->dashStart[i];
		for (;;)
		{
			if (--*dashSteps < 0) return 'SIZE';
			float entryEnd = entryStart + dash[k];
			distance = distance + (entryEnd - position);
			float t = 1.0f;
			if ((k & 1) != 0)
			{
				if (distance >= length) break;
				t = ParameterAtLength(curve, distance);
			}
			else
			{
				// A dash that goes on from the curve before has no cap here.
				uint32_t startCap = ((entryStart == position) || (i == 0 && !closed)) ? cap : 0;
				if (i == 0 && pieces == 0 && closed) startCap = 0;
				bool inside = (distance < length);
				uint32_t endCap = cap;
				if (inside) t = ParameterAtLength(curve, distance);
				else endCap = (i == n - 1 && !closed) ? cap : 0;
				QuadraticCurve piece = SubCurve(curve, tStart, t);
				StrokeSegment segment;
				PrepareSegment(piece, halfWidth, &segment);
				generator(piece, &segment, ring.slot[ring.previous], ring.slot[ring.next], halfWidth, color, startCap, endCap, params->join,
					params->miterLimit, meshCursor, textureCursor, write, 0);
				if (ChainImageFull(textureCursor)) return 'SIZE';
				if (!inside) break;
			}
			pieces = pieces + 1;
			entryStart = entryEnd;
			position = entryEnd;
			tStart = t;
			k = k + 1;
			if (k >= params->dashCount) k = 0;
		}
		AdvanceRing(&ring);
	}
	return 0;
}

// Runs each closed contour of a run on its own when flag bit 1 asks for it.
static uint32_t StrokeRun(const StrokeParameters* params, uint32_t flags, int32_t curveCount, const QuadraticCurve* curves, TextureCursor* textureCursor,
	MeshCursor* meshCursor, DashWorkBuffer* workBuffer, bool write)
{
	int32_t dashSteps = kMaxDashSteps;
	if ((flags & kStrokeSeveral) == 0) return StrokeContour(params, flags, curveCount, curves, textureCursor, meshCursor, workBuffer, write, &dashSteps);
	int32_t first = 0;
	while (first < curveCount)
	{
		Point2D start = curves[first].p0;
		int32_t last = first;
		while (last < curveCount - 1 && !SamePoint(curves[last].p2, start)) last++;
		uint32_t result = StrokeContour(params, flags, last - first + 1, curves + first, textureCursor, meshCursor, workBuffer, write, &dashSteps);
		if (result != 0) return result;
		first = last + 1;
	}
	return 0;
}

uint32_t CountStroke(const StrokeParameters* params, uint32_t flags, int32_t curveCount, const QuadraticCurve* curves, const int32_t* textureSize,
	int32_t* textureCursor, int32_t* vertexCount, int32_t* triangleCount, DashWorkBuffer* workBuffer)
{
	TextureCursor texture{nullptr, 0, textureSize[0], textureSize[1], textureCursor[0], textureCursor[1]};
	MeshCursor mesh{nullptr, nullptr, 0, 0, 0};
	uint32_t result = StrokeRun(params, flags, curveCount, curves, &texture, &mesh, workBuffer, false);
	textureCursor[0] = texture.column;
	textureCursor[1] = texture.row;
	*vertexCount = mesh.nextIndex;
	*triangleCount = int32_t(reinterpret_cast<uintptr_t>(mesh.triangles) / sizeof(StrokeTriangle));
	return result;
}

uint32_t EmitStroke(const StrokeParameters* params, uint32_t flags, int32_t curveCount, const QuadraticCurve* curves, TextureCursor* textureCursor,
	MeshCursor* meshCursor, DashWorkBuffer* workBuffer)
{
	return StrokeRun(params, flags, curveCount, curves, textureCursor, meshCursor, workBuffer, true);
}
