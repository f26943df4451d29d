// Processing: world matrices, world curves, gradients and bounds of a processed document, and the unit box of a shape.
#pragma once

#include "description/Structure.h"
#include "document/Shapes.h"
#include "document/VectorStructure.h"

class VectorDocument;

// The node's matrix: its own transforms in order, the first outermost,
// behind the parent's matrix when the parent is a node too.
void ResolveNode(NodeStructure* node);

// The shape's matrix as for a node, then TransformGeometry.
void ResolveGeometry(GeometryStructure* shape);

// Moves the curves by the shape's matrix, computes their exact bounds and
// carries the fill's gradient into the same space.
void TransformGeometry(GeometryStructure* shape);

// Brings the curves into the unit square with their box at the origin,
// keeping the aspect; the gradient and the stroke follow. A shape without
// curves or without extent is not checked: its values are not finite then.
void NormalizeGeometry(GeometryStructure* shape);

// The walk of document processing over the subtree of `start` alone.
void ResolveSubtree(VectorDocument* document, Structure* start);

// The opacity a shape is drawn with: the first Opacity child of the shape,
// times that of each enclosing Group, going up while the parent is a Group.
float InheritedOpacity(const GeometryStructure* shape);
