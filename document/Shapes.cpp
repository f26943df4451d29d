#include "document/Shapes.h"

#include <cmath>

#include "document/Attributes.h"
#include "stroke/CurveTools.h"

// The unit circle in twelve arcs of 30 degrees from (1, 0) towards (0, 1):
// arc k runs from kCirclePoint[k] over kCircleControl[k] to kCirclePoint[k + 1],
// its control point where the two end tangents meet.
static const Point2D kCirclePoint[13] =
{
	{1.0f, 0.0f}, {0.866026f, 0.5f}, {0.5f, 0.866026f}, {0.0f, 1.0f},
	{-0.5f, 0.866026f}, {-0.866026f, 0.5f}, {-1.0f, 0.0f}, {-0.866026f, -0.5f},
	{-0.5f, -0.866026f}, {0.0f, -1.0f}, {0.5f, -0.866026f}, {0.866026f, -0.5f},
	{1.0f, 0.0f}
};

static const Point2D kCircleControl[12] =
{
	{1.0f, 0.26795f}, {0.73205f, 0.73205f}, {0.26795f, 1.0f}, {-0.26795f, 1.0f},
	{-0.73205f, 0.73205f}, {-1.0f, 0.26795f}, {-1.0f, -0.26795f}, {-0.73205f, -0.73205f},
	{-0.26795f, -1.0f}, {0.26795f, -1.0f}, {0.73205f, -0.73205f}, {1.0f, -0.26795f}
};

static bool SamePoint(const Point2D& a, const Point2D& b)
{
	return ((a.x == b.x) && (a.y == b.y));
}

// Point i of a float list read as pairs.
static Point2D ListPoint(const float* element, int32_t index)
{
	return Point2D{element[index * 2], element[index * 2 + 1]};
}

// A point of the ellipse with centre (cx, cy) and radii rx, ry.
static Point2D EllipsePoint(float cx, float cy, float rx, float ry, const Point2D& unit)
{
	return Point2D{cx + rx * unit.x, cy + ry * unit.y};
}

GeometryStructure::GeometryStructure(uint32_t type) : VectorStructure(type, 'geom')
{
	fill = nullptr;
	stroke = nullptr;
	bounds = Box2D{INFINITY, INFINITY, -INFINITY, -INFINITY};
}

bool GeometryStructure::ValidateShapeSubstructure(const Structure* structure)
{
	if (structure->baseStructureType == 'mtrx') return true;

	uint32_t type = structure->structureType;
	return ((type == 'opac') || (type == 'fill') || (type == 'strk'));
}

uint32_t GeometryStructure::ProcessData(Document* document)
{
	fill = nullptr;
	stroke = nullptr;

	uint32_t result = Structure::ProcessData(document);
	if (result != 0) return result;

	for (Structure* node = GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if (node->structureType == 'fill')
		{
			if (fill) return 'EXSB';
			fill = static_cast<FillStructure*>(node);
		}
		else if (node->structureType == 'strk')
		{
			if (stroke) return 'EXSB';
			stroke = static_cast<StrokeStructure*>(node);
		}
	}

	curves.SetCount(0);
	contours.SetCount(0);
	return 0;
}

const FloatStructure* GeometryStructure::FindPointList() const
{
	for (const Structure* node = GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if ((node->baseStructureType == 'PRIM') && (node->structureType == 'FLOT')) return static_cast<const FloatStructure*>(node);
	}

	return nullptr;
}

void GeometryStructure::AddSegment(const Point2D& a, const Point2D& b)
{
	curves.Add(QuadraticCurve{a, b, b});
}

void GeometryStructure::AddCurve(const Point2D& a, const Point2D& control, const Point2D& b)
{
	curves.Add(QuadraticCurve{a, control, b});
}

void GeometryStructure::AddContour(int32_t firstCurve, bool closed, bool implicitClose)
{
	int32_t count = curves.GetCount() - firstCurve;
	if (count <= 0) return;

	ContourRecord& contour = contours.AddNew();
	contour.curveCount = count;
	contour.closedFlag = closed ? 1 : 0;
	contour.implicitCloseFlag = implicitClose ? 1 : 0;
}

LineStructure::LineStructure() : GeometryStructure('line')
{
}

bool LineStructure::ValidateSubstructure(const Document*, const Structure* structure) const
{
	return (IsDataList(structure, 'FLOT', 2) || ValidateShapeSubstructure(structure));
}

uint32_t LineStructure::ProcessData(Document* document)
{
	uint32_t result = GeometryStructure::ProcessData(document);
	if (result != 0) return result;

	const FloatStructure* list = FindPointList();
	if (!list) return 0;

	int32_t count = list->data.GetCount() / 2;
	if (count < 2) return 0;

	const float* element = list->data.GetData();
	for (int32_t i = 0; i + 1 < count; i++) AddSegment(ListPoint(element, i), ListPoint(element, i + 1));

	// A line is open; the segment back to its start only closes it for filling.
	Point2D first = ListPoint(element, 0);
	Point2D last = ListPoint(element, count - 1);
	bool implicitClose = ((count >= 3) && (!SamePoint(last, first)));
	if (implicitClose) AddSegment(last, first);

	AddContour(0, false, implicitClose);
	return 0;
}

RectStructure::RectStructure() : GeometryStructure('rect')
{
}

bool RectStructure::ValidateSubstructure(const Document*, const Structure* structure) const
{
	return (IsDataList(structure, 'FLOT', 2) || (structure->structureType == 'radi') || ValidateShapeSubstructure(structure));
}

uint32_t RectStructure::ProcessData(Document* document)
{
	uint32_t result = GeometryStructure::ProcessData(document);
	if (result != 0) return result;

	const FloatStructure* list = FindPointList();
	if (!list) return 0;
	if (list->data.GetCount() != 4) return 'IVDF';

	float radiusX = 0.0f;
	float radiusY = 0.0f;
	for (const Structure* node = GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if (node->structureType == 'radi')
		{
			radiusX = static_cast<const RadiusStructure*>(node)->radius[0];
			radiusY = static_cast<const RadiusStructure*>(node)->radius[1];
			break;
		}
	}

	const float* element = list->data.GetData();
	float minX = (element[0] < element[2]) ? element[0] : element[2];
	float maxX = (element[0] < element[2]) ? element[2] : element[0];
	float minY = (element[1] < element[3]) ? element[1] : element[3];
	float maxY = (element[1] < element[3]) ? element[3] : element[1];

	float halfWidth = (maxX - minX) / 2.0f;
	float halfHeight = (maxY - minY) / 2.0f;
	float rx = (radiusX < halfWidth) ? radiusX : halfWidth;
	float ry = (radiusY < halfHeight) ? radiusY : halfHeight;
	float smaller = (rx < ry) ? rx : ry;

	if (smaller <= 0.0f)
	{
		Point2D corner[4] = {{minX, minY}, {maxX, minY}, {maxX, maxY}, {minX, maxY}};
		for (int32_t i = 0; i < 4; i++) AddSegment(corner[i], corner[(i + 1) & 3]);
	}
	else
	{
		// Counterclockwise from the bottom edge: each side, then the three arcs
		// of the corner behind it, about that corner's centre. Every point comes
		// from a corner centre, so each side joins its arcs exactly.
		struct Corner
		{
			float centerX;
			float centerY;
			int32_t firstArc;
		};

		const Corner corner[4] =
		{
			{maxX - rx, minY + ry, 9},
			{maxX - rx, maxY - ry, 0},
			{minX + rx, maxY - ry, 3},
			{minX + rx, minY + ry, 6}
		};

		Point2D current = EllipsePoint(corner[3].centerX, corner[3].centerY, rx, ry, kCirclePoint[9]);
		for (int32_t i = 0; i < 4; i++)
		{
			const Corner& c = corner[i];
			Point2D arcStart = EllipsePoint(c.centerX, c.centerY, rx, ry, kCirclePoint[c.firstArc]);
			AddSegment(current, arcStart);
			current = arcStart;

			for (int32_t k = c.firstArc; k < c.firstArc + 3; k++)
			{
				Point2D control = EllipsePoint(c.centerX, c.centerY, rx, ry, kCircleControl[k]);
				Point2D end = EllipsePoint(c.centerX, c.centerY, rx, ry, kCirclePoint[k + 1]);
				AddCurve(current, control, end);
				current = end;
			}
		}
	}

	AddContour(0, true, false);
	return 0;
}

CircleStructure::CircleStructure() : GeometryStructure('circ')
{
}

bool CircleStructure::ValidateSubstructure(const Document*, const Structure* structure) const
{
	return (IsDataList(structure, 'FLOT', 2) || (structure->structureType == 'radi') || ValidateShapeSubstructure(structure));
}

uint32_t CircleStructure::ProcessData(Document* document)
{
	uint32_t result = GeometryStructure::ProcessData(document);
	if (result != 0) return result;

	const RadiusStructure* radius = nullptr;
	for (const Structure* node = GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if (node->structureType == 'radi')
		{
			radius = static_cast<const RadiusStructure*>(node);
			break;
		}
	}

	if (!radius) return 'MSSB';

	const FloatStructure* list = FindPointList();
	if (!list) return 0;
	if (list->data.GetCount() != 2) return 'IVDF';

	float cx = list->data[0];
	float cy = list->data[1];
	float rx = radius->radius[0];
	float ry = radius->radius[1];
	for (int32_t k = 0; k < 12; k++)
	{
		AddCurve(EllipsePoint(cx, cy, rx, ry, kCirclePoint[k]), EllipsePoint(cx, cy, rx, ry, kCircleControl[k]), EllipsePoint(cx, cy, rx, ry, kCirclePoint[k + 1]));
	}

	AddContour(0, true, false);
	return 0;
}

PolygonStructure::PolygonStructure() : GeometryStructure('poly')
{
}

bool PolygonStructure::ValidateSubstructure(const Document*, const Structure* structure) const
{
	return (IsDataList(structure, 'FLOT', 2) || ValidateShapeSubstructure(structure));
}

uint32_t PolygonStructure::ProcessData(Document* document)
{
	uint32_t result = GeometryStructure::ProcessData(document);
	if (result != 0) return result;

	const FloatStructure* list = FindPointList();
	if (!list) return 0;

	int32_t count = list->data.GetCount() / 2;
	if (count < 3) return 0;

	const float* element = list->data.GetData();
	Point2D first = ListPoint(element, 0);
	Point2D last = first;
	for (int32_t i = 1; i < count; i++)
	{
		Point2D point = ListPoint(element, i);
		if (SamePoint(point, last)) continue;
		AddSegment(last, point);
		last = point;
	}

	if (!SamePoint(last, first)) AddSegment(last, first);

	// Points that all coincide leave no curve and so no contour.
	AddContour(0, true, false);
	return 0;
}

PathStructure::PathStructure() : GeometryStructure('path')
{
}

bool PathStructure::ValidateSubstructure(const Document*, const Structure* structure) const
{
	if (IsDataList(structure, 'FLOT', 2)) return static_cast<const PrimitiveStructure*>(structure)->stateFlag;
	return ValidateShapeSubstructure(structure);
}

bool PathStructure::GetStateValue(const String& identifier, uint32_t* value) const
{
	static const char kCommands[10] = "MZLHVQTCS";

	if (identifier.GetTextLength() != 1) return false;
	int32_t index = FindChar(kCommands, identifier.GetText()[0]);
	if ((index < 0) || (index >= 9)) return false;

	*value = uint32_t(index);
	return true;
}

uint32_t PathStructure::ProcessData(Document* document)
{
	uint32_t result = GeometryStructure::ProcessData(document);
	if (result != 0) return result;

	for (const Structure* node = GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if (!IsDataList(node, 'FLOT', 2)) continue;

		const FloatStructure* list = static_cast<const FloatStructure*>(node);
		if (!list->stateFlag) continue;

		result = AddSubpath(list);
		if (result != 0) return result;
	}

	return 0;
}

// The temporary lists of one subpath. Quadratics and cubics are kept apart
// and `order` records their sequence: n >= 0 is quadratic n, n < 0 is cubic
// -n - 1. The arrays free themselves on every way out.
struct SubpathBuilder
{
	Array<QuadraticCurve, 0> quadratics;
	Array<CubicCurve, 0> cubics;
	Array<int32_t, 0> order;

	void AddQuadratic(const Point2D& a, const Point2D& control, const Point2D& b)
	{
		order.Add(quadratics.GetCount());
		quadratics.Add(QuadraticCurve{a, control, b});
	}

	void AddCubic(const Point2D& a, const Point2D& control1, const Point2D& control2, const Point2D& b)
	{
		order.Add(-cubics.GetCount() - 1);
		cubics.Add(CubicCurve{a, control1, control2, b});
	}
};

// `current` moved by the step from `control` to it: the mirrored control of a smooth curve.
static Point2D Reflect(const Point2D& current, const Point2D& control)
{
	return Point2D{current.x + (current.x - control.x), current.y + (current.y - control.y)};
}

uint32_t PathStructure::AddSubpath(const FloatStructure* list)
{
	int32_t pointCount = list->data.GetCount() / 2;
	if (pointCount < 1) return 0;

	// Lists made without text may lack states; a point without one is no command.
	if (list->states.GetCount() < pointCount) return 'IVDF';

	const float* element = list->data.GetData();
	const uint32_t* state = list->states.GetData();

	SubpathBuilder builder;
	Point2D start = {0.0f, 0.0f};
	Point2D current = {0.0f, 0.0f};
	Point2D lastControl = {0.0f, 0.0f};
	uint32_t previous = 0xFFFFFFFF;
	bool closed = false;

	int32_t index = 0;
	while (index < pointCount)
	{
		uint32_t command = state[index];

		// Points that an entry uses, all of which must lie in the list.
		int32_t used = 1;
		if ((command == kPathQuadratic) || (command == kPathSmoothCubic)) used = 2;
		else if (command == kPathCubic) used = 3;
		if (index + used > pointCount) return 'IVDF';

		Point2D p0 = ListPoint(element, index);
		Point2D p1 = (used > 1) ? ListPoint(element, index + 1) : p0;
		Point2D p2 = (used > 2) ? ListPoint(element, index + 2) : p1;

		switch (command)
		{
			case kPathMove:
			case kPathClose:

				if (index != 0) return 'IVDF';
				start = p0;
				current = p0;
				lastControl = p0;
				closed = (command == kPathClose);
				break;

			case kPathLine:

				if (!SamePoint(p0, current)) builder.AddQuadratic(current, p0, p0);
				current = p0;
				lastControl = p0;
				break;

			case kPathHorizontal:
			case kPathVertical:
			{
				// Two segments always, also where one of them has no length.
				Point2D corner = (command == kPathHorizontal) ? Point2D{p0.x, current.y} : Point2D{current.x, p0.y};
				builder.AddQuadratic(current, corner, corner);
				builder.AddQuadratic(corner, p0, p0);
				current = p0;
				lastControl = p0;
				break;
			}

			case kPathQuadratic:

				builder.AddQuadratic(current, p0, p1);
				lastControl = p0;
				current = p1;
				break;

			case kPathSmoothQuadratic:
			{
				bool smooth = ((previous == kPathQuadratic) || (previous == kPathSmoothQuadratic));
				Point2D control = smooth ? Reflect(current, lastControl) : current;
				builder.AddQuadratic(current, control, p0);
				lastControl = control;
				current = p0;
				break;
			}

			case kPathCubic:

				builder.AddCubic(current, p0, p1, p2);
				lastControl = p1;
				current = p2;
				break;

			case kPathSmoothCubic:
			{
				bool smooth = ((previous == kPathCubic) || (previous == kPathSmoothCubic));
				Point2D control = smooth ? Reflect(current, lastControl) : current;
				builder.AddCubic(current, control, p0, p1);
				lastControl = p0;
				current = p1;
				break;
			}

			default:

				return 'IVDF';
		}

		previous = command;
		index += used;
	}

	// An open path is closed for filling by a segment that is not stroked; a
	// closed one gets a real closing side.
	bool implicitClose = false;
	if (!SamePoint(current, start))
	{
		builder.AddQuadratic(current, start, start);
		implicitClose = !closed;
	}

	int32_t firstCurve = curves.GetCount();
	for (int32_t entry : builder.order)
	{
		if (entry >= 0)
		{
			curves.Add(builder.quadratics[entry]);
		}
		else
		{
			QuadraticCurve piece[kMaxCubicQuadratics];
			int32_t count = CubicToQuadratics(builder.cubics[-entry - 1], kCubicTolerance, piece);
			if (count > kMaxCubicQuadratics) count = kMaxCubicQuadratics;
			for (int32_t i = 0; i < count; i++) curves.Add(piece[i]);
		}
	}

	AddContour(firstCurve, closed, implicitClose);
	return 0;
}
