// Shapes: the geometry family, which turns its data into quadratic curves and contour records.
#pragma once

#include <cstdint>

#include "document/VectorStructure.h"
#include "stroke/QuadraticCurve.h"
#include "support/Array.h"
#include "support/Math.h"

class FillStructure;
class StrokeStructure;

// One contour of a shape: its curves follow those of the contours before it.
// With implicitCloseFlag the last curve only closes the outline for filling
// and is not stroked.
struct ContourRecord
{
	int32_t curveCount;
	uint8_t closedFlag;
	uint8_t implicitCloseFlag;
};

// Family 'geom'. After processing, `curves` holds the outline in source
// coordinates; document processing moves it to world coordinates, sets
// `matrix` and `bounds` (world coordinates), and the compilers bring it to a
// unit box. `fill` and `stroke` point to children (not owned) or are null.
class GeometryStructure : public VectorStructure
{
	public:

		// Runs the subnodes, files the Fill and the Stroke, and clears the
		// outline; each shape then builds its own.
		uint32_t ProcessData(Document* document) override;

		// The first float data list among the subnodes, or null.
		const FloatStructure* FindPointList() const;

		// Appends a straight segment, or a quadratic from `a` over `control` to `b`.
		void AddSegment(const Point2D& a, const Point2D& b);
		void AddCurve(const Point2D& a, const Point2D& control, const Point2D& b);

		// Closes a contour made of the curves added since `firstCurve`; nothing
		// is added when there are none.
		void AddContour(int32_t firstCurve, bool closed, bool implicitClose);

		Transform4D matrix;
		FillStructure* fill;
		StrokeStructure* stroke;
		Array<ContourRecord> contours;
		Array<QuadraticCurve, 0> curves;
		Box2D bounds;

	protected:

		explicit GeometryStructure(uint32_t type);

		// The substructures that every shape accepts besides its data.
		static bool ValidateShapeSubstructure(const Structure* structure);
};

// An open polyline, closed for filling by an implicit segment.
class LineStructure : public GeometryStructure
{
	public:

		LineStructure();

		bool ValidateSubstructure(const Document* document, const Structure* structure) const override;
		uint32_t ProcessData(Document* document) override;
		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;
};

// A box from two corners, with corners rounded by an optional Radius.
class RectStructure : public GeometryStructure
{
	public:

		RectStructure();

		bool ValidateSubstructure(const Document* document, const Structure* structure) const override;
		uint32_t ProcessData(Document* document) override;
		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;
};

// A circle or ellipse about a centre, with the radii of its Radius.
class CircleStructure : public GeometryStructure
{
	public:

		CircleStructure();

		bool ValidateSubstructure(const Document* document, const Structure* structure) const override;
		uint32_t ProcessData(Document* document) override;
		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;
};

// A closed polygon through its points.
class PolygonStructure : public GeometryStructure
{
	public:

		PolygonStructure();

		bool ValidateSubstructure(const Document* document, const Structure* structure) const override;
		uint32_t ProcessData(Document* document) override;
		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;
};

// Path commands, the state values of a path's point lists.
enum : uint32_t
{
	kPathMove = 0,
	kPathClose = 1,
	kPathLine = 2,
	kPathHorizontal = 3,
	kPathVertical = 4,
	kPathQuadratic = 5,
	kPathSmoothQuadratic = 6,
	kPathCubic = 7,
	kPathSmoothCubic = 8
};

// Subpaths in float[2]* lists whose states are the path commands M, Z, L,
// H, V, Q, T, C, S; cubics become quadratics here.
class PathStructure : public GeometryStructure
{
	public:

		PathStructure();

		bool ValidateSubstructure(const Document* document, const Structure* structure) const override;
		bool GetStateValue(const String& identifier, uint32_t* value) const override;
		uint32_t ProcessData(Document* document) override;
		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;

		// Builds the curves of one point list; 'IVDF' for a misplaced M or Z, an
		// entry cut off by the end of the list or an unknown command.
		uint32_t AddSubpath(const FloatStructure* list);
};
