#pragma once

// PrepGeometry: the path model of vorp-prep. Everything that draws ends as
// absolute move, line, quadratic, cubic and close commands in one user space;
// this header reads SVG path and transform text into that model, turns
// elliptical arcs into cubics and bakes affine transforms into points.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vorp::prep {

struct Point {
  double x = 0.0;
  double y = 0.0;
};

// x' = a*x + c*y + e, y' = b*x + d*y + f, as in SVG's matrix(a b c d e f).
struct Affine {
  double a = 1.0, b = 0.0, c = 0.0, d = 1.0, e = 0.0, f = 0.0;

  Point Apply(Point p) const { return {a * p.x + c * p.y + e, b * p.x + d * p.y + f}; }
  // this * other: `other` applies to the point first.
  Affine Then(const Affine& other) const;
  double Determinant() const { return a * d - b * c; }
  // False, leaving *out alone, when the matrix cannot be inverted.
  bool Invert(Affine* out) const;
  // Lengths of the images of the two unit axes' singular directions: the
  // largest and smallest stretch the transform applies to any direction.
  void SingularValues(double* largest, double* smallest) const;
  bool IsIdentity() const { return a == 1 && b == 0 && c == 0 && d == 1 && e == 0 && f == 0; }
};

Affine Translate(double x, double y);
Affine Scale(double x, double y);
// Angle in degrees, about the origin.
Affine Rotate(double degrees);

// Reads an SVG transform list (matrix, translate, scale, rotate, skewX,
// skewY; commas or white space between items and numbers). On a syntax error
// the whole list is void, as browsers treat it: *out becomes the identity and
// the result is false.
bool ParseTransform(std::string_view text, Affine* out);

// One command of a flattened path. `M` and `L` use p[0]; `Q` p[0] (control)
// and p[1]; `C` p[0], p[1], p[2]; `Z` none.
struct Segment {
  char op = 'M';
  Point p[3];
};

struct Path {
  std::vector<Segment> segments;

  void MoveTo(Point p) { segments.push_back({'M', {p, {}, {}}}); }
  void LineTo(Point p) { segments.push_back({'L', {p, {}, {}}}); }
  void QuadTo(Point c, Point p) { segments.push_back({'Q', {c, p, {}}}); }
  void CubicTo(Point c1, Point c2, Point p) { segments.push_back({'C', {c1, c2, p}}); }
  void Close() { segments.push_back({'Z', {}}); }
  bool Empty() const { return segments.empty(); }
};

// Appends to `out` the cubics of the elliptical arc from `from` to `to` with
// SVG's endpoint parameters. Radii too small to reach are scaled up, a zero
// radius gives a line, coincident ends give nothing. Each cubic keeps within
// `tolerance` of the true ellipse (at most 64 pieces per arc).
void AppendArc(Point from, double rx, double ry, double xAxisDegrees, bool largeArc,
               bool sweep, Point to, double tolerance, Path* out);

// Reads SVG path data into absolute M L Q C Z commands, arcs as cubics
// within `tolerance`. Stops at the first error and keeps what came before it,
// as SVG asks. Reading also stops once `out` holds `maxSegments`; the result
// says whether the whole text was read without error or limit.
bool ParsePathData(std::string_view text, double tolerance, size_t maxSegments, Path* out);

// Every point through `m`.
void TransformPath(const Affine& m, Path* path);

// Twice the enclosed signed area, positive for counterclockwise travel with
// y up (clockwise as drawn in SVG's y-down space). Curves count exactly.
double SignedArea(const Path& path);

// Every subpath run backwards, the subpaths keeping their order.
void ReversePath(Path* path);

// For a stroke with round joins and round caps and no dashes, where a join
// draws exactly what two caps at its vertex draw: breaks subpaths into
// separate ones at joins that turn back nearly onto themselves and at the
// cusps and near-cusps inside curves, whose offsets a stroker turns into
// long spikes. Closed subpaths that break are written open, their closing
// line explicit. No piece next to a break may reach less than `shortest`
// from its start: vorp's stroker draws wedges at the ends of tiny pieces,
// which it joins well. The result says whether anything changed.
bool SplitRoundStroke(Path* path, double shortest);

// The tight box of the drawn geometry (curve extremes, not control points).
// False for a path with no point.
bool PathBounds(const Path& path, Point* min, Point* max);

// Reads a number at *cursor with SVG's grammar (sign, digits, fraction,
// exponent); advances past it. False, cursor untouched, when none is there.
bool ReadNumber(std::string_view text, size_t* cursor, double* out);

// Shortest text that reads back as the same float: the output precision.
std::string FormatNumber(double value);

}  // namespace vorp::prep
