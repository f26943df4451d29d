#include "document/Processing.h"

#include <cmath>

#include "document/Attributes.h"
#include "document/VectorDocument.h"
#include "font/FontStructures.h"
#include "stroke/CurveTools.h"
#include "support/Math.h"

// The structure's own transforms multiplied in order, the first outermost,
// behind the matrix of a parent of family 'node'. Layer and Object are no
// nodes, so nothing passes through them.
static Transform4D ResolveMatrix(const Structure* structure)
{
	Transform4D matrix;
	for (const Structure* node = structure->GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if (node->baseStructureType == 'mtrx') matrix = matrix * static_cast<const MatrixStructure*>(node)->matrix;
	}

	const Structure* parent = structure->GetSuperNode();
	if ((parent) && (parent->baseStructureType == 'node')) matrix = static_cast<const NodeStructure*>(parent)->matrix * matrix;
	return matrix;
}

void ResolveNode(NodeStructure* node)
{
	node->matrix = ResolveMatrix(node);
}

void ResolveGeometry(GeometryStructure* shape)
{
	shape->matrix = ResolveMatrix(shape);
	TransformGeometry(shape);
}

static Point2D MapPoint(const Transform4D& m, const Point2D& p)
{
	return Point2D{m[0] * p.x + m[4] * p.y + m[12], m[1] * p.x + m[5] * p.y + m[13]};
}

void TransformGeometry(GeometryStructure* shape)
{
	const Transform4D& matrix = shape->matrix;
	Box2D bounds = {INFINITY, INFINITY, -INFINITY, -INFINITY};

	for (QuadraticCurve& curve : shape->curves)
	{
		curve.p0 = MapPoint(matrix, curve.p0);
		curve.p1 = MapPoint(matrix, curve.p1);
		curve.p2 = MapPoint(matrix, curve.p2);

		Box2D box = CurveBounds(curve);
		if (box.xMin < bounds.xMin) bounds.xMin = box.xMin;
		if (box.yMin < bounds.yMin) bounds.yMin = box.yMin;
		if (box.xMax > bounds.xMax) bounds.xMax = box.xMax;
		if (box.yMax > bounds.yMax) bounds.yMax = box.yMax;
	}

	shape->bounds = bounds;

	FillStructure* fill = shape->fill;
	if (!fill) return;

	FillParameters& parameters = fill->parameters;
	Transform4D g = matrix;
	if (parameters.objectFlag)
	{
		// The gradient is given in units of the world box, behind the shape's matrix.
		Transform4D box;
		box[0] = bounds.xMax - bounds.xMin;
		box[5] = bounds.yMax - bounds.yMin;
		box[12] = bounds.xMin;
		box[13] = bounds.yMin;
		g = g * box;
	}

	if (parameters.gradientType == 'LINR')
	{
		Transform4D i = Inverse(g);
		float a = parameters.linearGradient[0];
		float b = parameters.linearGradient[1];
		float c = parameters.linearGradient[2];
		parameters.linearGradient[0] = a * i[0] + b * i[1];
		parameters.linearGradient[1] = a * i[4] + b * i[5];
		parameters.linearGradient[2] = a * i[12] + b * i[13] + c;
	}
	else if (parameters.gradientType == 'RADL')
	{
		Point2D center = MapPoint(g, Point2D{parameters.radialGradient[0], parameters.radialGradient[1]});
		parameters.radialGradient[0] = center.x;
		parameters.radialGradient[1] = center.y;

		float lengthX = Sqrt(g[0] * g[0] + g[1] * g[1]);
		float lengthY = Sqrt(g[4] * g[4] + g[5] * g[5]);
		parameters.radialGradient[2] = parameters.radialGradient[2] * ((lengthX > lengthY) ? lengthX : lengthY);
	}
}

void NormalizeGeometry(GeometryStructure* shape)
{
	const Box2D& bounds = shape->bounds;
	float width = bounds.xMax - bounds.xMin;
	float height = bounds.yMax - bounds.yMin;

	// Deliberate: no shape is checked for curves or extent here, so an empty
	// or flat shape computes with values that are not finite.
	float s = 1.0f / ((width > height) ? width : height);
	float ox = -s * bounds.xMin;
	float oy = -s * bounds.yMin;

	for (QuadraticCurve& curve : shape->curves)
	{
		curve.p0 = Point2D{s * curve.p0.x + ox, s * curve.p0.y + oy};
		curve.p1 = Point2D{s * curve.p1.x + ox, s * curve.p1.y + oy};
		curve.p2 = Point2D{s * curve.p2.x + ox, s * curve.p2.y + oy};
	}

	if (shape->fill)
	{
		FillParameters& parameters = shape->fill->parameters;
		if (parameters.gradientType == 'LINR')
		{
			float a = parameters.linearGradient[0] / s;
			float b = parameters.linearGradient[1] / s;
			parameters.linearGradient[0] = a;
			parameters.linearGradient[1] = b;
			parameters.linearGradient[2] = parameters.linearGradient[2] - (oy * b + ox * a);
		}
		else if (parameters.gradientType == 'RADL')
		{
			parameters.radialGradient[0] = parameters.radialGradient[0] * s + ox;
			parameters.radialGradient[1] = parameters.radialGradient[1] * s + oy;
			parameters.radialGradient[2] = parameters.radialGradient[2] * s;
		}
	}

	if (shape->stroke) shape->stroke->ScaleStroke(s);
}

// Depth first from `first`, parents before children, not climbing past
// `root`. Nothing below a shape is looked at. The walk keeps no stack, so
// depth costs nothing here.
static void ResolveWalk(const Structure* root, Structure* first)
{
	Structure* node = first;
	while (node)
	{
		if (node->baseStructureType == 'geom')
		{
			ResolveGeometry(static_cast<GeometryStructure*>(node));
			node = ChildNode<Structure>::NextSibling(root, node);
			continue;
		}

		if (node->baseStructureType == 'node') ResolveNode(static_cast<NodeStructure*>(node));
		node = ChildNode<Structure>::NextNode(root, node);
	}
}

uint32_t VectorDocument::ProcessDocument()
{
	uint32_t result = rootStructure.ProcessData(this);
	if (result != 0) return result;

	ResolveWalk(&rootStructure, rootStructure.GetFirstSubnode());
	FinishFonts(this);
	return 0;
}

void ResolveSubtree(VectorDocument*, Structure* start)
{
	ResolveWalk(start, start);
}

float InheritedOpacity(const GeometryStructure* shape)
{
	float factor = 1.0f;
	const Structure* level = shape;
	while (level)
	{
		for (const Structure* node = level->GetFirstSubnode(); node; node = node->GetNextSubnode())
		{
			if (node->structureType == 'opac')
			{
				factor = factor * static_cast<const OpacityStructure*>(node)->opacity;
				break;
			}
		}

		const Structure* parent = level->GetSuperNode();
		if ((!parent) || (parent->structureType != 'grup')) break;
		level = parent;
	}

	return factor;
}
