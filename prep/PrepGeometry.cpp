#include "prep/PrepGeometry.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cmath>
#include <cstring>

namespace vorp::prep {

namespace {

constexpr double kPi = 3.14159265358979323846;

bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f'; }

void SkipSpace(std::string_view text, size_t* at) {
  while (*at < text.size() && IsSpace(text[*at])) ++*at;
}

// White space, at most one comma, white space.
void SkipSeparator(std::string_view text, size_t* at) {
  SkipSpace(text, at);
  if (*at < text.size() && text[*at] == ',') {
    ++*at;
    SkipSpace(text, at);
  }
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Exact cosine and sine for the angles that icons use most, so that a
// quarter turn leaves no 6e-17 residue in the output.
void CosSinDegrees(double degrees, double* cosine, double* sine) {
  double turn = std::fmod(degrees, 360.0);
  if (turn < 0) turn += 360.0;
  if (turn == 0) { *cosine = 1; *sine = 0; return; }
  if (turn == 90) { *cosine = 0; *sine = 1; return; }
  if (turn == 180) { *cosine = -1; *sine = 0; return; }
  if (turn == 270) { *cosine = 0; *sine = -1; return; }
  double radians = turn * (kPi / 180.0);
  *cosine = std::cos(radians);
  *sine = std::sin(radians);
}

double VectorAngle(double ux, double uy, double vx, double vy) {
  return std::atan2(ux * vy - uy * vx, ux * vx + uy * vy);
}

}  // namespace

Affine Affine::Then(const Affine& o) const {
  Affine r;
  r.a = a * o.a + c * o.b;
  r.b = b * o.a + d * o.b;
  r.c = a * o.c + c * o.d;
  r.d = b * o.c + d * o.d;
  r.e = a * o.e + c * o.f + e;
  r.f = b * o.e + d * o.f + f;
  return r;
}

bool Affine::Invert(Affine* out) const {
  double det = Determinant();
  if (!std::isfinite(det) || std::fabs(det) < 1e-300) return false;
  Affine r;
  r.a = d / det;
  r.b = -b / det;
  r.c = -c / det;
  r.d = a / det;
  r.e = -(r.a * e + r.c * f);
  r.f = -(r.b * e + r.d * f);
  *out = r;
  return true;
}

void Affine::SingularValues(double* largest, double* smallest) const {
  // Square roots of the eigenvalues of M^T M.
  double p = a * a + b * b;
  double q = a * c + b * d;
  double r = c * c + d * d;
  double mean = (p + r) / 2;
  double spread = std::sqrt(((p - r) / 2) * ((p - r) / 2) + q * q);
  *largest = std::sqrt(mean + spread);
  double low = mean - spread;
  *smallest = low > 0 ? std::sqrt(low) : 0.0;
}

Affine Translate(double x, double y) { return {1, 0, 0, 1, x, y}; }
Affine Scale(double x, double y) { return {x, 0, 0, y, 0, 0}; }
Affine Rotate(double degrees) {
  double cosine, sine;
  CosSinDegrees(degrees, &cosine, &sine);
  return {cosine, sine, -sine, cosine, 0, 0};
}

bool ReadNumber(std::string_view text, size_t* cursor, double* out) {
  size_t at = *cursor;
  size_t begin = at;
  if (at < text.size() && (text[at] == '+' || text[at] == '-')) ++at;
  size_t digits = 0;
  while (at < text.size() && IsDigit(text[at])) { ++at; ++digits; }
  if (at < text.size() && text[at] == '.') {
    size_t dot = at++;
    size_t fraction = 0;
    while (at < text.size() && IsDigit(text[at])) { ++at; ++fraction; }
    if (fraction == 0) at = dot + (digits > 0 ? 1 : 0);
    digits += fraction;
  }
  if (digits == 0) return false;
  if (at < text.size() && (text[at] == 'e' || text[at] == 'E')) {
    size_t mark = at + 1;
    if (mark < text.size() && (text[mark] == '+' || text[mark] == '-')) ++mark;
    if (mark < text.size() && IsDigit(text[mark])) {
      while (mark < text.size() && IsDigit(text[mark])) ++mark;
      at = mark;
    }
  }
  const char* first = text.data() + begin;
  if (*first == '+') ++first;
  double value = 0;
  std::from_chars_result result = std::from_chars(first, text.data() + at, value);
  if (result.ec == std::errc::result_out_of_range) {
    // Too small reads as zero; too large has no place in a drawing.
    bool tiny = false;
    for (const char* p = first; p < text.data() + at; ++p) {
      if ((*p == 'e' || *p == 'E') && p + 1 < text.data() + at && p[1] == '-') tiny = true;
    }
    if (!tiny) return false;
    value = 0;
  } else if (result.ec != std::errc()) {
    return false;
  }
  *out = value;
  *cursor = at;
  return true;
}

std::string FormatNumber(double value) {
  if (!std::isfinite(value) || std::fabs(value) < 1e-6) return "0";
  if (value > 1e9) value = 1e9;
  if (value < -1e9) value = -1e9;
  float single = static_cast<float>(value);
  char buffer[64];
  std::to_chars_result result = std::to_chars(buffer, buffer + sizeof buffer, single,
                                              std::chars_format::fixed);
  return std::string(buffer, result.ptr);
}

bool ParseTransform(std::string_view text, Affine* out) {
  Affine total;
  size_t at = 0;
  *out = Affine();
  for (;;) {
    SkipSpace(text, &at);
    while (at < text.size() && text[at] == ',') {
      ++at;
      SkipSpace(text, &at);
    }
    if (at >= text.size()) break;
    size_t nameStart = at;
    while (at < text.size() && ((text[at] >= 'a' && text[at] <= 'z') || (text[at] >= 'A' && text[at] <= 'Z'))) ++at;
    std::string_view name = text.substr(nameStart, at - nameStart);
    SkipSpace(text, &at);
    if (at >= text.size() || text[at] != '(') return false;
    ++at;
    double v[6];
    int count = 0;
    SkipSpace(text, &at);
    while (at < text.size() && text[at] != ')') {
      if (count == 6 || !ReadNumber(text, &at, &v[count])) return false;
      ++count;
      SkipSeparator(text, &at);
    }
    if (at >= text.size()) return false;
    ++at;
    Affine item;
    if (name == "matrix" && count == 6) {
      item = {v[0], v[1], v[2], v[3], v[4], v[5]};
    } else if (name == "translate" && (count == 1 || count == 2)) {
      item = Translate(v[0], count == 2 ? v[1] : 0.0);
    } else if (name == "scale" && (count == 1 || count == 2)) {
      item = Scale(v[0], count == 2 ? v[1] : v[0]);
    } else if (name == "rotate" && (count == 1 || count == 3)) {
      item = Rotate(v[0]);
      if (count == 3) item = Translate(v[1], v[2]).Then(item).Then(Translate(-v[1], -v[2]));
    } else if (name == "skewX" && count == 1) {
      double cosine, sine;
      CosSinDegrees(v[0], &cosine, &sine);
      item.c = sine / cosine;
    } else if (name == "skewY" && count == 1) {
      double cosine, sine;
      CosSinDegrees(v[0], &cosine, &sine);
      item.b = sine / cosine;
    } else {
      return false;
    }
    total = total.Then(item);
  }
  *out = total;
  return true;
}

void AppendArc(Point from, double rx, double ry, double xAxisDegrees, bool largeArc,
               bool sweep, Point to, double tolerance, Path* out) {
  if (from.x == to.x && from.y == to.y) return;
  rx = std::fabs(rx);
  ry = std::fabs(ry);
  if (!(rx > 0) || !(ry > 0) || !std::isfinite(rx) || !std::isfinite(ry) ||
      !std::isfinite(xAxisDegrees)) {
    out->LineTo(to);
    return;
  }
  double cosPhi, sinPhi;
  CosSinDegrees(xAxisDegrees, &cosPhi, &sinPhi);
  double hx = (from.x - to.x) / 2;
  double hy = (from.y - to.y) / 2;
  double x1 = cosPhi * hx + sinPhi * hy;
  double y1 = -sinPhi * hx + cosPhi * hy;
  double lambda = (x1 * x1) / (rx * rx) + (y1 * y1) / (ry * ry);
  if (lambda > 1) {
    double grow = std::sqrt(lambda);
    rx *= grow;
    ry *= grow;
  }
  double rx2 = rx * rx, ry2 = ry * ry;
  double denominator = rx2 * y1 * y1 + ry2 * x1 * x1;
  double numerator = rx2 * ry2 - denominator;
  double root = denominator > 0 && numerator > 0 ? std::sqrt(numerator / denominator) : 0.0;
  if (largeArc == sweep) root = -root;
  double cxp = root * rx * y1 / ry;
  double cyp = -root * ry * x1 / rx;
  double cx = cosPhi * cxp - sinPhi * cyp + (from.x + to.x) / 2;
  double cy = sinPhi * cxp + cosPhi * cyp + (from.y + to.y) / 2;
  double ux = (x1 - cxp) / rx, uy = (y1 - cyp) / ry;
  double vx = (-x1 - cxp) / rx, vy = (-y1 - cyp) / ry;
  double start = VectorAngle(1, 0, ux, uy);
  double delta = VectorAngle(ux, uy, vx, vy);
  if (!sweep && delta > 0) delta -= 2 * kPi;
  if (sweep && delta < 0) delta += 2 * kPi;
  if (!std::isfinite(start) || !std::isfinite(delta) || !std::isfinite(cx) || !std::isfinite(cy)) {
    out->LineTo(to);
    return;
  }
  // The radial error of one cubic over a quarter turn is 2.7253e-4 of the
  // radius and falls with the sixth power of the angle.
  double radius = rx > ry ? rx : ry;
  int pieces = static_cast<int>(std::ceil(std::fabs(delta) / (kPi / 2) - 1e-9));
  if (pieces < 1) pieces = 1;
  while (pieces < 64) {
    double share = std::fabs(delta) / pieces / (kPi / 2);
    double error = 2.8e-4 * radius * share * share * share * share * share * share;
    if (error <= tolerance) break;
    ++pieces;
  }
  double step = delta / pieces;
  double k = 4.0 / 3.0 * std::tan(step / 4);
  auto map = [&](double ex, double ey) {
    double px = rx * ex, py = ry * ey;
    return Point{cx + cosPhi * px - sinPhi * py, cy + sinPhi * px + cosPhi * py};
  };
  double angle = start;
  double cos0 = std::cos(angle), sin0 = std::sin(angle);
  for (int i = 0; i < pieces; ++i) {
    double next = start + step * (i + 1);
    double cos1 = std::cos(next), sin1 = std::sin(next);
    Point c1 = map(cos0 - k * sin0, sin0 + k * cos0);
    Point c2 = map(cos1 + k * sin1, sin1 - k * cos1);
    Point end = i + 1 == pieces ? to : map(cos1, sin1);
    out->CubicTo(c1, c2, end);
    cos0 = cos1;
    sin0 = sin1;
  }
}

bool ParsePathData(std::string_view text, double tolerance, size_t maxSegments, Path* out) {
  size_t at = 0;
  Point current, start, lastControl;
  char command = 0;
  char previous = 0;  // upper-case letter of the last command run
  bool open = false;  // a subpath has its move
  for (;;) {
    SkipSpace(text, &at);
    if (at >= text.size()) return true;
    if (out->segments.size() >= maxSegments) return false;
    char c = text[at];
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z')) {
      command = c;
      ++at;
      if (command == 'z' || command == 'Z') {
        if (open) out->Close();
        current = start;
        open = false;
        previous = 'Z';
        continue;
      }
    } else if (command == 0 || command == 'z' || command == 'Z') {
      return false;
    }
    bool relative = command >= 'a';
    char upper = relative ? static_cast<char>(command - 32) : command;
    if (previous == 0 && upper != 'M') return false;
    int wanted = 0;
    switch (upper) {
      case 'M': case 'L': case 'T': wanted = 2; break;
      case 'H': case 'V': wanted = 1; break;
      case 'S': case 'Q': wanted = 4; break;
      case 'C': wanted = 6; break;
      case 'A': wanted = 7; break;
      default: return false;
    }
    double v[7];
    for (int i = 0; i < wanted; ++i) {
      SkipSpace(text, &at);
      if (upper == 'A' && (i == 3 || i == 4)) {
        if (at >= text.size() || (text[at] != '0' && text[at] != '1')) return false;
        v[i] = text[at] == '1' ? 1 : 0;
        ++at;
      } else if (!ReadNumber(text, &at, &v[i])) {
        return false;
      }
      SkipSeparator(text, &at);
    }
    Point base = relative ? current : Point{};
    auto point = [&](int i) { return Point{base.x + v[i], base.y + v[i + 1]}; };
    if (upper != 'M' && !open) {
      out->MoveTo(current);
      open = true;
    }
    switch (upper) {
      case 'M':
        current = start = point(0);
        out->MoveTo(current);
        open = true;
        // Further pairs are lines.
        command = relative ? 'l' : 'L';
        break;
      case 'L':
        current = point(0);
        out->LineTo(current);
        break;
      case 'H':
        current.x = base.x + v[0];
        out->LineTo(current);
        break;
      case 'V':
        current.y = base.y + v[0];
        out->LineTo(current);
        break;
      case 'Q':
        lastControl = point(0);
        current = point(2);
        out->QuadTo(lastControl, current);
        break;
      case 'T': {
        Point control = current;
        if (previous == 'Q' || previous == 'T') {
          control = {2 * current.x - lastControl.x, 2 * current.y - lastControl.y};
        }
        lastControl = control;
        current = point(0);
        out->QuadTo(control, current);
        break;
      }
      case 'C':
        lastControl = point(2);
        out->CubicTo(point(0), lastControl, point(4));
        current = point(4);
        break;
      case 'S': {
        Point first = current;
        if (previous == 'C' || previous == 'S') {
          first = {2 * current.x - lastControl.x, 2 * current.y - lastControl.y};
        }
        lastControl = point(0);
        out->CubicTo(first, lastControl, point(2));
        current = point(2);
        break;
      }
      case 'A': {
        Point end = point(5);
        AppendArc(current, v[0], v[1], v[2], v[3] != 0, v[4] != 0, end, tolerance, out);
        current = end;
        break;
      }
    }
    previous = upper;
  }
}

void TransformPath(const Affine& m, Path* path) {
  for (Segment& segment : path->segments) {
    for (Point& p : segment.p) p = m.Apply(p);
  }
}

namespace {

// Twice the area swept by one piece against the origin, in y-down terms:
// the integral of x dy - y dx. Gauss-Legendre with three nodes is exact for
// the quintic integrand of a cubic.
double CurveTerm(const Point* q, int order) {
  static const double kNodes[3] = {0.5 - 0.3872983346207417 , 0.5, 0.5 + 0.3872983346207417};
  static const double kWeights[3] = {5.0 / 18, 8.0 / 18, 5.0 / 18};
  double sum = 0;
  for (int i = 0; i < 3; ++i) {
    double t = kNodes[i], s = 1 - t;
    double x, y, dx, dy;
    if (order == 2) {
      x = s * s * q[0].x + 2 * s * t * q[1].x + t * t * q[2].x;
      y = s * s * q[0].y + 2 * s * t * q[1].y + t * t * q[2].y;
      dx = 2 * (s * (q[1].x - q[0].x) + t * (q[2].x - q[1].x));
      dy = 2 * (s * (q[1].y - q[0].y) + t * (q[2].y - q[1].y));
    } else {
      x = s * s * s * q[0].x + 3 * s * s * t * q[1].x + 3 * s * t * t * q[2].x + t * t * t * q[3].x;
      y = s * s * s * q[0].y + 3 * s * s * t * q[1].y + 3 * s * t * t * q[2].y + t * t * t * q[3].y;
      dx = 3 * (s * s * (q[1].x - q[0].x) + 2 * s * t * (q[2].x - q[1].x) + t * t * (q[3].x - q[2].x));
      dy = 3 * (s * s * (q[1].y - q[0].y) + 2 * s * t * (q[2].y - q[1].y) + t * t * (q[3].y - q[2].y));
    }
    sum += kWeights[i] * (x * dy - y * dx);
  }
  return sum;
}

}  // namespace

double SignedArea(const Path& path) {
  double twice = 0;
  Point start, current;
  for (const Segment& s : path.segments) {
    switch (s.op) {
      case 'M':
        twice += current.x * start.y - start.x * current.y;
        start = current = s.p[0];
        break;
      case 'L':
        twice += current.x * s.p[0].y - s.p[0].x * current.y;
        current = s.p[0];
        break;
      case 'Q': {
        Point q[3] = {current, s.p[0], s.p[1]};
        twice += CurveTerm(q, 2);
        current = s.p[1];
        break;
      }
      case 'C': {
        Point q[4] = {current, s.p[0], s.p[1], s.p[2]};
        twice += CurveTerm(q, 3);
        current = s.p[2];
        break;
      }
      case 'Z':
        break;
    }
  }
  twice += current.x * start.y - start.x * current.y;
  // y-down sums count clockwise as positive; y up flips the sign.
  return -twice;
}

void ReversePath(Path* path) {
  std::vector<Segment> result;
  result.reserve(path->segments.size());
  const std::vector<Segment>& in = path->segments;
  size_t begin = 0;
  while (begin < in.size()) {
    size_t end = begin + 1;
    while (end < in.size() && in[end].op != 'M') ++end;
    // in[begin] is the move (the parser always starts a subpath with one).
    bool closed = in[end - 1].op == 'Z';
    size_t last = closed ? end - 1 : end;
    std::vector<Point> ends;
    for (size_t i = begin; i < last; ++i) {
      const Segment& s = in[i];
      ends.push_back(s.op == 'Q' ? s.p[1] : s.op == 'C' ? s.p[2] : s.p[0]);
    }
    result.push_back({'M', {ends.back(), {}, {}}});
    for (size_t i = last; i-- > begin + 1;) {
      const Segment& s = in[i];
      Point target = ends[i - 1 - begin];
      if (s.op == 'Q') result.push_back({'Q', {s.p[0], target, {}}});
      else if (s.op == 'C') result.push_back({'C', {s.p[1], s.p[0], target}});
      else result.push_back({'L', {target, {}, {}}});
    }
    if (closed) result.push_back({'Z', {}});
    begin = end;
  }
  path->segments.swap(result);
}

namespace {

// Joins turning by more than 150 degrees break. The joins seen to spike in
// the icon sets turn by 172 degrees or more; a break draws the same shape,
// so the margin costs only a few bytes.
constexpr double kReversalCos = -0.8660254037844386;
// A curve breaks where its speed falls below this share of its longest
// control leg. The folds seen to spike fall below 0.007.
constexpr double kCuspSpeed = 0.1;

Point Minus(Point a, Point b) { return {a.x - b.x, a.y - b.y}; }
double Dot(Point a, Point b) { return a.x * b.x + a.y * b.y; }
Point Lerp(Point a, Point b, double t) { return {a.x + (b.x - a.x) * t, a.y + (b.y - a.y) * t}; }
bool IsZero(Point a) { return a.x == 0 && a.y == 0; }

int PointCount(char op) { return op == 'C' ? 3 : op == 'Q' ? 2 : op == 'L' ? 1 : 0; }

// A drawn segment with the point it starts from.
struct Piece {
  Point from;
  Segment segment;
  bool breakBefore = false;
};

Point StartTangent(const Piece& piece) {
  for (int k = 0; k < PointCount(piece.segment.op); ++k) {
    Point d = Minus(piece.segment.p[k], piece.from);
    if (!IsZero(d)) return d;
  }
  return {};
}

Point EndTangent(const Piece& piece) {
  int n = PointCount(piece.segment.op);
  if (n == 0) return {};
  Point end = piece.segment.p[n - 1];
  for (int k = n - 1; k-- > 0;) {
    Point d = Minus(end, piece.segment.p[k]);
    if (!IsZero(d)) return d;
  }
  return Minus(end, piece.from);
}

// How far the piece reaches from its start.
double Reach(const Piece& piece) {
  double most = 0;
  for (int k = 0; k < PointCount(piece.segment.op); ++k) {
    Point d = Minus(piece.segment.p[k], piece.from);
    most = std::max(most, Dot(d, d));
  }
  return std::sqrt(most);
}

// Exact reversals are left whole: vorp's stroker folds those cleanly, and
// its caps there measure a little further from the reference than its joins.
bool TurnsBack(Point in, Point out) {
  if (IsZero(in) || IsZero(out)) return false;
  double lengths = std::sqrt(Dot(in, in)) * std::sqrt(Dot(out, out));
  double cross = in.x * out.y - in.y * out.x;
  return Dot(in, out) < kReversalCos * lengths && std::fabs(cross) > 1e-6 * lengths;
}

// The derivative's direction (a third of it for a cubic, half for a
// quadratic: only its size relative to the legs matters).
Point Velocity(const Piece& piece, double t) {
  const Point* p = piece.segment.p;
  Point a = Minus(p[0], piece.from);
  if (piece.segment.op == 'Q') return Lerp(a, Minus(p[1], p[0]), t);
  Point b = Minus(p[1], p[0]);
  Point c = Minus(p[2], p[1]);
  return Lerp(Lerp(a, b, t), Lerp(b, c, t), t);
}

// Parameters, rising, of the local speed minima slow enough to break at.
// The squared speed is a quartic at most, so a fine grid finds each of its
// minima and a golden-section search inside the grid cell pins it down.
std::vector<double> CuspParameters(const Piece& piece) {
  std::vector<double> result;
  int n = PointCount(piece.segment.op);
  if (n < 2) return result;
  double longest = 0;
  Point previous = piece.from;
  for (int k = 0; k < n; ++k) {
    Point leg = Minus(piece.segment.p[k], previous);
    longest = std::max(longest, Dot(leg, leg));
    previous = piece.segment.p[k];
  }
  if (!(longest > 0)) return result;
  constexpr int kSteps = 64;
  double speed[kSteps + 1];
  for (int i = 0; i <= kSteps; ++i) {
    Point v = Velocity(piece, static_cast<double>(i) / kSteps);
    speed[i] = Dot(v, v);
  }
  for (int i = 1; i < kSteps; ++i) {
    if (!(speed[i] <= speed[i - 1] && speed[i] < speed[i + 1])) continue;
    double lo = static_cast<double>(i - 1) / kSteps, hi = static_cast<double>(i + 1) / kSteps;
    for (int round = 0; round < 60; ++round) {
      double m1 = lo + (hi - lo) * 0.381966011250105;
      double m2 = hi - (hi - lo) * 0.381966011250105;
      Point v1 = Velocity(piece, m1), v2 = Velocity(piece, m2);
      if (Dot(v1, v1) < Dot(v2, v2)) hi = m2;
      else lo = m1;
    }
    double t = (lo + hi) / 2;
    Point v = Velocity(piece, t);
    if (!(Dot(v, v) < kCuspSpeed * kCuspSpeed * longest)) continue;
    if (t < 1e-3 || t > 1 - 1e-3) continue;
    if (!result.empty() && t - result.back() < 1e-3) continue;
    result.push_back(t);
  }
  return result;
}

// De Casteljau: `piece` keeps [0, t], the result is [t, 1].
Piece SplitPiece(Piece* piece, double t) {
  Segment& s = piece->segment;
  Piece after;
  if (s.op == 'Q') {
    Point a = Lerp(piece->from, s.p[0], t), b = Lerp(s.p[0], s.p[1], t);
    Point mid = Lerp(a, b, t);
    after.from = mid;
    after.segment = {'Q', {b, s.p[1], {}}};
    s.p[0] = a;
    s.p[1] = mid;
  } else {
    Point a = Lerp(piece->from, s.p[0], t), b = Lerp(s.p[0], s.p[1], t), c = Lerp(s.p[1], s.p[2], t);
    Point ab = Lerp(a, b, t), bc = Lerp(b, c, t);
    Point mid = Lerp(ab, bc, t);
    after.from = mid;
    after.segment = {'C', {bc, c, s.p[2]}};
    s.p[0] = a;
    s.p[1] = ab;
    s.p[2] = mid;
  }
  after.breakBefore = true;
  return after;
}

// Appends the subpath in[begin, end) to *out, broken where it must be; true
// when it was broken.
bool SplitSubpath(const std::vector<Segment>& in, size_t begin, size_t end, double shortest,
                  std::vector<Segment>* out) {
  bool closed = in[end - 1].op == 'Z';
  size_t last = closed ? end - 1 : end;
  bool plain = in[begin].op == 'M';
  for (size_t i = begin + 1; i < last; ++i) plain = plain && PointCount(in[i].op) > 0;
  std::vector<Piece> pieces;
  Point start = in[begin].p[0];
  Point at = start;
  for (size_t i = begin + 1; plain && i < last; ++i) {
    Piece piece{at, in[i]};
    at = in[i].op == 'C' ? in[i].p[2] : in[i].op == 'Q' ? in[i].p[1] : in[i].p[0];
    double done = 0;
    for (double t : CuspParameters(piece)) {
      Piece before = piece;
      Piece after = SplitPiece(&before, (t - done) / (1 - done));
      if (Reach(before) < shortest || Reach(after) < shortest) continue;
      pieces.push_back(before);
      piece = after;
      done = t;
    }
    pieces.push_back(piece);
  }
  if (closed && (at.x != start.x || at.y != start.y)) pieces.push_back({at, {'L', {start, {}, {}}}});
  bool broken = false;
  for (size_t k = 0; k < pieces.size(); ++k) {
    if (k > 0 && TurnsBack(EndTangent(pieces[k - 1]), StartTangent(pieces[k])) &&
        Reach(pieces[k - 1]) >= shortest && Reach(pieces[k]) >= shortest) {
      pieces[k].breakBefore = true;
    }
    broken = broken || pieces[k].breakBefore;
  }
  if (closed && !pieces.empty()) {
    broken = broken || (TurnsBack(EndTangent(pieces.back()), StartTangent(pieces[0])) &&
                        Reach(pieces.back()) >= shortest && Reach(pieces[0]) >= shortest);
  }
  if (!plain || !broken) {
    out->insert(out->end(), in.begin() + static_cast<std::ptrdiff_t>(begin),
                in.begin() + static_cast<std::ptrdiff_t>(end));
    return false;
  }
  // Open from here on: the caps at the start and end draw the closing join.
  out->push_back(in[begin]);
  for (const Piece& piece : pieces) {
    if (piece.breakBefore) out->push_back({'M', {piece.from, {}, {}}});
    out->push_back(piece.segment);
  }
  return true;
}

}  // namespace

bool SplitRoundStroke(Path* path, double shortest) {
  std::vector<Segment> result;
  result.reserve(path->segments.size());
  const std::vector<Segment>& in = path->segments;
  bool changed = false;
  size_t begin = 0;
  while (begin < in.size()) {
    size_t end = begin + 1;
    while (end < in.size() && in[end].op != 'M') ++end;
    if (SplitSubpath(in, begin, end, shortest, &result)) changed = true;
    begin = end;
  }
  if (changed) path->segments.swap(result);
  return changed;
}

namespace {

void Include(Point p, Point* min, Point* max) {
  if (p.x < min->x) min->x = p.x;
  if (p.y < min->y) min->y = p.y;
  if (p.x > max->x) max->x = p.x;
  if (p.y > max->y) max->y = p.y;
}

// Extremes of one coordinate of a cubic with these four values, through
// the roots of its derivative.
void CubicRoots(double p0, double p1, double p2, double p3, double* t, int* count) {
  double a = -p0 + 3 * p1 - 3 * p2 + p3;
  double b = 2 * (p0 - 2 * p1 + p2);
  double c = p1 - p0;
  *count = 0;
  if (std::fabs(a) < 1e-12) {
    if (std::fabs(b) > 1e-12) t[(*count)++] = -c / b;
    return;
  }
  double disc = b * b - 4 * a * c;
  if (disc < 0) return;
  double root = std::sqrt(disc);
  t[(*count)++] = (-b + root) / (2 * a);
  t[(*count)++] = (-b - root) / (2 * a);
}

}  // namespace

bool PathBounds(const Path& path, Point* min, Point* max) {
  bool any = false;
  Point current;
  *min = {1e300, 1e300};
  *max = {-1e300, -1e300};
  for (const Segment& s : path.segments) {
    if (s.op == 'Z') continue;
    Point end = s.op == 'Q' ? s.p[1] : s.op == 'C' ? s.p[2] : s.p[0];
    Include(end, min, max);
    any = true;
    if (s.op == 'Q') {
      for (int axis = 0; axis < 2; ++axis) {
        double p0 = axis ? current.y : current.x, p1 = axis ? s.p[0].y : s.p[0].x,
               p2 = axis ? end.y : end.x;
        double denominator = p0 - 2 * p1 + p2;
        if (std::fabs(denominator) < 1e-12) continue;
        double t = (p0 - p1) / denominator;
        if (t <= 0 || t >= 1) continue;
        double u = 1 - t;
        Include({u * u * current.x + 2 * u * t * s.p[0].x + t * t * end.x,
                 u * u * current.y + 2 * u * t * s.p[0].y + t * t * end.y}, min, max);
      }
    } else if (s.op == 'C') {
      for (int axis = 0; axis < 2; ++axis) {
        double roots[2];
        int count;
        CubicRoots(axis ? current.y : current.x, axis ? s.p[0].y : s.p[0].x,
                   axis ? s.p[1].y : s.p[1].x, axis ? end.y : end.x, roots, &count);
        for (int i = 0; i < count; ++i) {
          double t = roots[i];
          if (!(t > 0 && t < 1)) continue;
          double u = 1 - t;
          double w0 = u * u * u, w1 = 3 * u * u * t, w2 = 3 * u * t * t, w3 = t * t * t;
          Include({w0 * current.x + w1 * s.p[0].x + w2 * s.p[1].x + w3 * end.x,
                   w0 * current.y + w1 * s.p[0].y + w2 * s.p[1].y + w3 * end.y}, min, max);
        }
      }
    }
    current = end;
  }
  return any;
}

}  // namespace vorp::prep
