#include "prep/PrepGeometry.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

namespace vorp::prep {
namespace {

constexpr double kPi = 3.14159265358979323846;

Point EndOf(const Segment& s) { return s.op == 'Q' ? s.p[1] : s.op == 'C' ? s.p[2] : s.p[0]; }

Point CubicAt(Point p0, const Segment& s, double t) {
  double u = 1 - t;
  double w0 = u * u * u, w1 = 3 * u * u * t, w2 = 3 * u * t * t, w3 = t * t * t;
  return {w0 * p0.x + w1 * s.p[0].x + w2 * s.p[1].x + w3 * s.p[2].x,
          w0 * p0.y + w1 * s.p[0].y + w2 * s.p[1].y + w3 * s.p[2].y};
}

// The arc is checked against the ellipse found a second way: in the frame
// where the ellipse is a unit circle, the centre lies on the perpendicular
// bisector of the two ends. Both candidates are tried; the flags must then
// agree with the angle the samples sweep around the one that fits.
TEST(AppendArc, RandomArcsStayOnTheEllipse) {
  std::mt19937 random(12345);
  std::uniform_real_distribution<double> coordinate(-100, 100);
  std::uniform_real_distribution<double> radius(0.5, 150);
  std::uniform_real_distribution<double> angle(-360, 360);
  const double tolerance = 0.001;
  double worst = 0;
  for (int trial = 0; trial < 5000; ++trial) {
    Point from{coordinate(random), coordinate(random)};
    Point to{coordinate(random), coordinate(random)};
    double rx = radius(random), ry = radius(random), phi = angle(random);
    bool large = random() & 1, sweep = random() & 1;
    Path path;
    AppendArc(from, rx, ry, phi, large, sweep, to, tolerance, &path);
    ASSERT_FALSE(path.Empty());
    ASSERT_EQ(EndOf(path.segments.back()).x, to.x);
    ASSERT_EQ(EndOf(path.segments.back()).y, to.y);
    double c = std::cos(phi * kPi / 180), s = std::sin(phi * kPi / 180);
    auto normal = [&](Point p, double scale) {
      return Point{(c * p.x + s * p.y) / (rx * scale), (-s * p.x + c * p.y) / (ry * scale)};
    };
    Point a = normal(from, 1), b = normal(to, 1);
    double half = std::hypot(b.x - a.x, b.y - a.y) / 2;
    double scale = half > 1 ? half : 1;
    a = normal(from, scale);
    b = normal(to, scale);
    half = std::hypot(b.x - a.x, b.y - a.y) / 2;
    double offset = std::sqrt(std::fmax(0, 1 - half * half));
    Point mid{(a.x + b.x) / 2, (a.y + b.y) / 2};
    Point perpendicular{-(b.y - a.y) / (2 * half), (b.x - a.x) / (2 * half)};
    double errors[2], swepts[2];
    for (int pick = 0; pick < 2; ++pick) {
      double sign = pick == 0 ? 1 : -1;
      Point centre{mid.x + sign * offset * perpendicular.x, mid.y + sign * offset * perpendicular.y};
      double error = 0, swept = 0;
      Point previous = from;
      double lastAngle = std::atan2(a.y - centre.y, a.x - centre.x);
      for (const Segment& segment : path.segments) {
        ASSERT_EQ(segment.op, 'C');
        for (int k = 1; k <= 16; ++k) {
          Point q = normal(CubicAt(previous, segment, k / 16.0), scale);
          double r = std::hypot(q.x - centre.x, q.y - centre.y);
          error = std::fmax(error, std::fabs(r - 1) * std::fmax(rx, ry) * scale);
          double at = std::atan2(q.y - centre.y, q.x - centre.x);
          double step = at - lastAngle;
          if (step > kPi) step -= 2 * kPi;
          if (step < -kPi) step += 2 * kPi;
          swept += step;
          lastAngle = at;
        }
        previous = segment.p[2];
      }
      errors[pick] = error;
      swepts[pick] = swept;
    }
    int best = errors[0] <= errors[1] ? 0 : 1;
    worst = std::fmax(worst, errors[best]);
    EXPECT_LE(errors[best], tolerance * 1.01) << "trial " << trial;
    // Where both centres fit (a flat arc, a half turn) the flags cannot be
    // told apart by looking.
    if (errors[1 - best] > 10 * tolerance) {
      EXPECT_EQ(swepts[best] > 0, sweep) << "trial " << trial;
      EXPECT_EQ(std::fabs(swepts[best]) > kPi, large) << "trial " << trial;
    }
  }
  EXPECT_LE(worst, tolerance * 1.01);
}

TEST(AppendArc, DegenerateForms) {
  Path line;
  AppendArc({0, 0}, 0, 5, 0, false, true, {10, 0}, 0.001, &line);
  ASSERT_EQ(line.segments.size(), 1u);
  EXPECT_EQ(line.segments[0].op, 'L');
  Path nothing;
  AppendArc({3, 3}, 5, 5, 0, false, true, {3, 3}, 0.001, &nothing);
  EXPECT_TRUE(nothing.Empty());
  // Radius 1 cannot span 10 units: it grows to 5, a half circle about (5, 0).
  Path half;
  AppendArc({0, 0}, 1, 1, 0, false, true, {10, 0}, 0.001, &half);
  ASSERT_FALSE(half.Empty());
  Point previous{0, 0};
  for (const Segment& s : half.segments) {
    for (int k = 0; k <= 8; ++k) {
      Point p = CubicAt(previous, s, k / 8.0);
      EXPECT_NEAR(std::hypot(p.x - 5, p.y), 5, 0.001);
      EXPECT_LE(p.y, 1e-9);  // sweep 1 from left to right passes y < 0
    }
    previous = s.p[2];
  }
}

std::string Describe(const Path& path) {
  std::string out;
  for (const Segment& s : path.segments) {
    out += s.op;
    int count = s.op == 'Z' ? 0 : s.op == 'Q' ? 2 : s.op == 'C' ? 3 : 1;
    for (int k = 0; k < count; ++k) {
      out += ' ' + FormatNumber(s.p[k].x) + ',' + FormatNumber(s.p[k].y);
    }
    out += ';';
  }
  return out;
}

TEST(ParsePathData, Commands) {
  struct Row {
    const char* d;
    bool complete;
    const char* expected;
  } rows[] = {
      {"M1 2 3 4", true, "M 1,2;L 3,4;"},
      {"m1 2 3 4", true, "M 1,2;L 4,6;"},
      {"M0 0H5V6h-1v-1", true, "M 0,0;L 5,0;L 5,6;L 4,6;L 4,5;"},
      {"M0 0Q1 1 2 0T4 0", true, "M 0,0;Q 1,1 2,0;Q 3,-1 4,0;"},
      {"M0 0C0 1 1 1 1 0S2 -1 2 0", true, "M 0,0;C 0,1 1,1 1,0;C 1,-1 2,-1 2,0;"},
      {"M0 0S1 1 2 0", true, "M 0,0;C 0,0 1,1 2,0;"},
      {"M1 1L2 2ZL3 3", true, "M 1,1;L 2,2;Z;M 1,1;L 3,3;"},
      {"M1.5.5-1e1 2", true, "M 1.5,0.5;L -10,2;"},
      {"M0,0 L1,1 X 2 2", false, "M 0,0;L 1,1;"},
      {"M0 0 L1", false, "M 0,0;"},
      {"L1 1", false, ""},
      {"M0 0a1 1 0 1 1 0 0", true, "M 0,0;"},
      {"M0 0A0 0 0 0 1 5 5", true, "M 0,0;L 5,5;"},
      {"M0 0a5 5 0 01", false, "M 0,0;"},
      {"M0 0a5 5 0 2 1 2 0", false, "M 0,0;"},
      {"", true, ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.d);
    Path path;
    EXPECT_EQ(ParsePathData(row.d, 0.001, 1000, &path), row.complete);
    EXPECT_EQ(Describe(path), row.expected);
  }
}

TEST(ParsePathData, CompactArcFlags) {
  // Flags need no separator: "0 01" reads as large 0, sweep 1, then x.
  Path compact, spaced;
  ASSERT_TRUE(ParsePathData("M0 0a5 5 0 0110 0", 0.001, 1000, &compact));
  ASSERT_TRUE(ParsePathData("M0 0a5 5 0 0 1 10 0", 0.001, 1000, &spaced));
  EXPECT_EQ(Describe(compact), Describe(spaced));
  EXPECT_EQ(FormatNumber(EndOf(compact.segments.back()).x), "10");
}

TEST(ParsePathData, SegmentLimitStopsReading) {
  std::string d = "M0 0";
  for (int i = 0; i < 100; ++i) d += " L1 1";
  Path path;
  EXPECT_FALSE(ParsePathData(d, 0.001, 10, &path));
  EXPECT_LE(path.segments.size(), 11u);
}

TEST(ParseTransform, Lists) {
  struct Row {
    const char* text;
    bool ok;
    Point from;
    Point to;
  } rows[] = {
      {"translate(10)", true, {1, 1}, {11, 1}},
      {"translate(1,2) scale(3)", true, {1, 1}, {4, 5}},
      {"scale(2,3)", true, {1, 1}, {2, 3}},
      {"rotate(90)", true, {1, 0}, {0, 1}},
      {"rotate(180 5 5)", true, {0, 0}, {10, 10}},
      {"skewX(45)", true, {0, 1}, {1, 1}},
      {"skewY(45)", true, {1, 0}, {1, 1}},
      {"matrix(1 0 0 1 7 8)", true, {0, 0}, {7, 8}},
      {"translate(1,2),scale(2)", true, {1, 1}, {3, 4}},
      {"translate(1,2) foo(3)", false, {1, 1}, {1, 1}},
      {"scale(1,2,3)", false, {1, 1}, {1, 1}},
      {"rotate(10", false, {1, 1}, {1, 1}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    Affine m;
    EXPECT_EQ(ParseTransform(row.text, &m), row.ok);
    Point p = m.Apply(row.from);
    EXPECT_NEAR(p.x, row.to.x, 1e-12);
    EXPECT_NEAR(p.y, row.to.y, 1e-12);
  }
}

TEST(SignedArea, OrientationAndCurves) {
  Path square;  // clockwise on screen, so clockwise with y up after the flip
  ASSERT_TRUE(ParsePathData("M0 0H2V2H0Z", 0.001, 100, &square));
  EXPECT_DOUBLE_EQ(SignedArea(square), -8);
  ReversePath(&square);
  EXPECT_DOUBLE_EQ(SignedArea(square), 8);
  EXPECT_EQ(Describe(square), "M 0,2;L 2,2;L 2,0;L 0,0;Z;");
  Path circle;  // counterclockwise on screen: over the top first
  ASSERT_TRUE(ParsePathData("M10 0A10 10 0 0 0 -10 0A10 10 0 0 0 10 0Z", 0.0001, 100, &circle));
  EXPECT_NEAR(SignedArea(circle), 2 * kPi * 100, 0.01);
  // A reversed cubic keeps its shape: the same area with the other sign.
  Path curve;
  ASSERT_TRUE(ParsePathData("M0 0C0 5 5 5 5 0Q3 -2 0 0ZM10 10L11 10", 0.001, 100, &curve));
  double before = SignedArea(curve);
  ReversePath(&curve);
  EXPECT_NEAR(SignedArea(curve), -before, 1e-12);
  EXPECT_EQ(Describe(curve), "M 0,0;Q 3,-2 5,0;C 5,5 0,5 0,0;Z;M 11,10;L 10,10;");
}

// Points rounded to 1e-4, so that a break found by search reads as the
// exact parameter worked by hand.
std::string DescribeRounded(Path path) {
  for (Segment& s : path.segments) {
    for (Point& p : s.p) {
      p.x = std::round(p.x * 1e4) / 1e4 + 0.0;
      p.y = std::round(p.y * 1e4) / 1e4 + 0.0;
    }
  }
  return Describe(path);
}

TEST(SplitRoundStroke, BreaksAtReversalsAndCusps) {
  struct Row {
    const char* data;
    const char* expected;  // empty: left as it was
  } rows[] = {
      // The join turns by 172 degrees.
      {"M12 11L15 7L11 11", "M 12,11;L 15,7;M 15,7;L 11,11;"},
      // 90 and 135 degrees: the stroker draws these well.
      {"M0 0L10 0L10 10", ""},
      {"M0 0L10 0L0 10", ""},
      // An exact reversal folds cleanly and is left whole.
      {"M0 0L10 0L0 0", ""},
      // A closed subpath that breaks is written open, its closing line explicit.
      {"M0 0L10 0L0 1Z", "M 0,0;L 10,0;M 10,0;L 0,1;L 0,0;"},
      // The closing join alone turns back.
      {"M0 0L10 1L10 0Z", "M 0,0;L 10,1;L 10,0;L 0,0;"},
      // A cubic whose speed vanishes at t = 1/2, at (1, 1.5).
      {"M0 0C2 2 0 2 2 0", "M 0,0;C 1,1 1,1.5 1,1.5;M 1,1.5;C 1,1.5 1,1 2,0;"},
      // A quadratic folding back onto itself at t = 2/3.
      {"M0 0Q10 0 5 0", "M 0,0;Q 6.6667,0 6.6667,0;M 6.6667,0;Q 6.6667,0 5,0;"},
      // Smooth curves, and a control point on an end, stay whole.
      {"M0 0C5 10 5 -10 10 0", ""},
      {"M0 0C0 0 10 10 10 0Q20 0 20 10", ""},
      // Zero-length pieces have no direction to turn back from.
      {"M0 0L0 0L5 0L5 0Z", ""},
      // Nor do pieces shorter than the least reach, 0.1 here.
      {"M0 0L5 0L5.05 0L5 0L10 1", ""},
      {"M0 0C2 2 0 2 2 0M0 0C0.1 0.1 0 0.1 0.1 0", "M 0,0;C 1,1 1,1.5 1,1.5;M 1,1.5;C 1,1.5 1,1 2,0;M 0,0;C 0.1,0.1 0,0.1 0.1,0;"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.data);
    Path path;
    ASSERT_TRUE(ParsePathData(row.data, 0.001, 100, &path));
    std::string before = Describe(path);
    bool changed = SplitRoundStroke(&path, 0.1);
    EXPECT_EQ(changed, *row.expected != '\0');
    EXPECT_EQ(changed ? DescribeRounded(path) : Describe(path), *row.expected ? row.expected : before);
  }
}

TEST(SplitRoundStroke, NearCuspsBreakOnTheCurve) {
  // The middle of a DNA helix icon: a cubic that runs out, back and out
  // again along nearly one line, with two near-stops.
  Path path;
  ASSERT_TRUE(ParsePathData("M11.992 12.014C8.664 14.004 15.328 10.014 12 12", 0.001, 100, &path));
  Segment whole = path.segments[1];
  ASSERT_TRUE(SplitRoundStroke(&path, 0.1));
  ASSERT_EQ(path.segments.size(), 6u);
  Point from = {11.992, 12.014};
  for (size_t i = 0; i < path.segments.size(); i += 2) {
    ASSERT_EQ(path.segments[i].op, 'M');
    ASSERT_EQ(path.segments[i + 1].op, 'C');
    Point start = path.segments[i].p[0];
    // Each piece starts where the last one ended, on the original curve.
    EXPECT_NEAR(start.x, from.x, 1e-12);
    EXPECT_NEAR(start.y, from.y, 1e-12);
    bool onCurve = false;
    for (int k = 0; k <= 10000 && !onCurve; ++k) {
      Point q = CubicAt({11.992, 12.014}, whole, k / 10000.0);
      onCurve = std::hypot(q.x - start.x, q.y - start.y) < 2e-3;
    }
    EXPECT_TRUE(onCurve);
    from = EndOf(path.segments[i + 1]);
  }
  EXPECT_NEAR(from.x, 12, 1e-12);
  EXPECT_NEAR(from.y, 12, 1e-12);
}

TEST(PathBounds, CurveExtremesNotControlPoints) {
  Path path;
  ASSERT_TRUE(ParsePathData("M0 0C0 4 4 4 4 0", 0.001, 100, &path));
  Point lo, hi;
  ASSERT_TRUE(PathBounds(path, &lo, &hi));
  EXPECT_DOUBLE_EQ(hi.y, 3);
  EXPECT_DOUBLE_EQ(lo.x, 0);
  EXPECT_DOUBLE_EQ(hi.x, 4);
  Path empty;
  EXPECT_FALSE(PathBounds(empty, &lo, &hi));
}

TEST(FormatNumber, ShortestFloatText) {
  struct Row {
    double value;
    const char* text;
  } rows[] = {{0.1, "0.1"},      {-2.5, "-2.5"},   {1.0 / 3, "0.33333334"}, {1e-9, "0"},
              {NAN, "0"},        {1e300, "1000000000"}, {123456.7, "123456.7"}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(FormatNumber(row.value), row.text);
  }
}

}  // namespace
}  // namespace vorp::prep
