#include "prep/PrepConvert.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <set>
#include <unordered_map>
#include <utility>

#include "prep/PrepGeometry.h"

namespace vorp::prep {

namespace {

// Bounds that keep every input finite in time and memory: a <use> bomb, a
// cycle the id checks miss, or pathological nesting all end at one of these.
constexpr int kMaxDepth = 200;
constexpr int kMaxUseDepth = 32;
constexpr int64_t kMaxVisits = 200000;
constexpr size_t kMaxSegments = 2000000;
constexpr int kMaxHrefChain = 16;

std::string_view Trim(std::string_view s) {
  while (!s.empty() && static_cast<unsigned char>(s.front()) <= 32) s.remove_prefix(1);
  while (!s.empty() && static_cast<unsigned char>(s.back()) <= 32) s.remove_suffix(1);
  return s;
}

bool EqualsNoCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    char x = a[i], y = b[i];
    if (x >= 'A' && x <= 'Z') x = static_cast<char>(x + 32);
    if (y >= 'A' && y <= 'Z') y = static_cast<char>(y + 32);
    if (x != y) return false;
  }
  return true;
}

// Element and attribute names without a namespace prefix: svg:rect is rect.
std::string_view LocalName(const char* name) {
  std::string_view s(name);
  size_t colon = s.rfind(':');
  return colon == std::string_view::npos ? s : s.substr(colon + 1);
}

bool IsSeparator(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == ','; }

// A number with an optional unit, in user units; percentages of `base`.
bool ParseLength(std::string_view text, double base, double* out) {
  text = Trim(text);
  size_t at = 0;
  double value;
  if (!ReadNumber(text, &at, &value)) return false;
  std::string_view unit = Trim(text.substr(at));
  double scale;
  if (unit.empty() || unit == "px") scale = 1;
  else if (unit == "%") scale = base / 100;
  else if (unit == "pt") scale = 96.0 / 72.0;
  else if (unit == "pc") scale = 16;
  else if (unit == "mm") scale = 96.0 / 25.4;
  else if (unit == "cm") scale = 96.0 / 2.54;
  else if (unit == "in") scale = 96;
  else if (unit == "em") scale = 16;  // no fonts here: the CSS default size
  else if (unit == "ex") scale = 8;
  else return false;
  *out = value * scale;
  return std::isfinite(*out);
}

// A number or a percentage, clamped to [0, 1]: opacities and offsets.
bool ParseUnitInterval(std::string_view text, double* out) {
  text = Trim(text);
  size_t at = 0;
  double value;
  if (!ReadNumber(text, &at, &value)) return false;
  std::string_view rest = Trim(text.substr(at));
  if (rest == "%") value /= 100;
  else if (!rest.empty()) return false;
  *out = value < 0 ? 0 : value > 1 ? 1 : value;
  return true;
}

// The id of url(#id), url('#id') or url("#id"), and the text after it.
bool ParseUrl(std::string_view text, std::string* id, std::string_view* fallback) {
  text = Trim(text);
  if (text.size() < 5 || !EqualsNoCase(text.substr(0, 4), "url(")) return false;
  size_t close = text.find(')');
  if (close == std::string_view::npos) return false;
  std::string_view inner = Trim(text.substr(4, close - 4));
  if (inner.size() >= 2 && (inner.front() == '\'' || inner.front() == '"') && inner.back() == inner.front()) {
    inner = Trim(inner.substr(1, inner.size() - 2));
  }
  if (inner.empty() || inner.front() != '#') return false;
  *id = std::string(inner.substr(1));
  *fallback = Trim(text.substr(close + 1));
  return true;
}

std::string HexColor(const Rgba& c) {
  static const char kDigits[] = "0123456789abcdef";
  std::string out = "#";
  for (double v : {c.r, c.g, c.b}) {
    int byte = static_cast<int>(std::lround((v < 0 ? 0 : v > 1 ? 1 : v) * 255));
    out += kDigits[byte >> 4];
    out += kDigits[byte & 15];
  }
  return out;
}

// The properties that inherit, as the file gives them (text kept where the meaning
// needs the shape's viewport or colour).
struct Style {
  std::string fill = "black";
  double fillOpacity = 1;
  bool evenOdd = false;
  std::string stroke = "none";
  double strokeOpacity = 1;
  std::string strokeWidth = "1";
  std::string lineCap = "butt";
  std::string lineJoin = "miter";
  double miterLimit = 4;
  std::string dashArray = "none";
  std::string dashOffset = "0";
  Rgba color;
  bool visible = true;
  bool marker = false;
  bool strokeFirst = false;
};

// The properties that do not inherit.
struct Local {
  double opacity = 1;
  bool displayNone = false;
  bool clipPath = false;
  bool mask = false;
  bool filter = false;
  bool blend = false;
  bool nonScalingStroke = false;
};

struct Viewport {
  double width = 100;
  double height = 100;
  double Diagonal() const { return std::sqrt((width * width + height * height) / 2); }
};

struct Context {
  Affine ctm;
  Viewport viewport;
  double opacity = 1;
  int depth = 0;
  int useDepth = 0;
};

// Paint as it will be written: none, a flat colour or a gradient element.
struct Paint {
  enum Kind { kNone, kColor, kGradient } kind = kNone;
  Rgba color;            // alpha holds the whole opacity for kColor
  std::string gradient;  // the id written for kGradient
};

struct Stop {
  double offset;
  Rgba color;
};

// The presentation attribute names this converter reads itself, besides
// those the cascade brings.
const char* const kOwnProperties[] = {
    "fill", "fill-opacity", "fill-rule", "stroke", "stroke-opacity", "stroke-width",
    "stroke-linecap", "stroke-linejoin", "stroke-miterlimit", "stroke-dasharray",
    "stroke-dashoffset", "opacity", "color", "display", "visibility", "clip-path", "mask",
    "filter", "marker", "marker-start", "marker-mid", "marker-end", "paint-order",
    "vector-effect", "mix-blend-mode", "stop-color", "stop-opacity"};

class Converter {
 public:
  Converter(std::string_view text, const PrepOptions& options, PrepResult* result)
      : text_(text), options_(options), result_(result) {}

  bool Run();

 private:
  std::vector<Declaration> Declarations(pugi::xml_node node) const;
  void ComputeStyle(pugi::xml_node node, const Style& parent, Style* style, Local* local) const;
  void ApplyDeclaration(const Declaration& d, const Style& parent, Style* style, Local* local) const;

  void Walk(pugi::xml_node node, const Context& ctx, const Style& parent);
  void WalkChildren(pugi::xml_node node, const Context& ctx, const Style& style);
  void WalkUse(pugi::xml_node node, const Context& ctx, const Style& style);
  void WalkViewport(pugi::xml_node node, pugi::xml_node sizeFrom, const Context& ctx,
                    const Style& style, double x, double y);
  bool BuildShape(pugi::xml_node node, std::string_view name, const Context& ctx, Path* path);
  void EmitShape(pugi::xml_node node, Path path, const Context& ctx, const Style& style,
                 const Local& local, bool isLine);

  Paint ResolvePaint(pugi::xml_node node, std::string_view text, const Style& style,
                     const Path& localPath, const Context& ctx, double alpha, bool forStroke);
  bool BuildGradient(pugi::xml_node use, pugi::xml_node ref, const Path& localPath,
                     const Context& ctx, double alpha, Paint* out);
  Rgba StopColor(pugi::xml_node stop) const;

  void Issue(pugi::xml_node node, const char* feature);
  int LineOf(pugi::xml_node node) const;
  pugi::xml_node Find(const std::string& id) const;
  static std::string Href(pugi::xml_node node);
  double Tolerance(const Affine& ctm) const;

  std::string_view text_;
  const PrepOptions& options_;
  PrepResult* result_;
  pugi::xml_document document_;
  StyleSheet sheet_;
  std::unordered_map<std::string, pugi::xml_node> ids_;
  std::vector<size_t> lineStarts_;
  std::set<std::pair<int, std::string>> seen_;
  std::vector<pugi::xml_node> useStack_;
  std::string defs_;
  std::string body_;
  int gradientCount_ = 0;
  int64_t visits_ = 0;
  int64_t drawn_ = 0;
  size_t segments_ = 0;
  double tolerance_ = 0.001;
};

int Converter::LineOf(pugi::xml_node node) const {
  ptrdiff_t offset = node.offset_debug();
  if (offset < 0) return 0;
  auto it = std::upper_bound(lineStarts_.begin(), lineStarts_.end(), static_cast<size_t>(offset));
  return static_cast<int>(it - lineStarts_.begin());
}

void Converter::Issue(pugi::xml_node node, const char* feature) {
  int line = LineOf(node);
  if (!seen_.insert({line, feature}).second) return;
  result_->issues.push_back({line, feature});
}

pugi::xml_node Converter::Find(const std::string& id) const {
  auto it = ids_.find(id);
  return it == ids_.end() ? pugi::xml_node() : it->second;
}

std::string Converter::Href(pugi::xml_node node) {
  for (pugi::xml_attribute a : node.attributes()) {
    if (LocalName(a.name()) == "href") {
      std::string_view v = Trim(a.value());
      if (!v.empty() && v.front() == '#') return std::string(v.substr(1));
      return std::string();
    }
  }
  return std::string();
}

double Converter::Tolerance(const Affine& ctm) const {
  double largest, smallest;
  ctm.SingularValues(&largest, &smallest);
  if (!(largest > 1e-12) || !std::isfinite(largest)) return tolerance_;
  return tolerance_ / largest;
}

std::vector<Declaration> Converter::Declarations(pugi::xml_node node) const {
  std::vector<Declaration> list;
  for (pugi::xml_attribute a : node.attributes()) {
    std::string_view name = a.name();
    for (const char* own : kOwnProperties) {
      if (name == own) {
        list.push_back({std::string(name), std::string(Trim(a.value())), false});
        break;
      }
    }
  }
  std::vector<Declaration> cascade = sheet_.Cascade(node);
  list.insert(list.end(), cascade.begin(), cascade.end());
  return list;
}

void Converter::ApplyDeclaration(const Declaration& d, const Style& parent, Style* s,
                                 Local* local) const {
  const std::string& n = d.name;
  std::string_view v = Trim(d.value);
  bool inherit = v == "inherit";
  double number;
  if (n == "fill" || n == "stroke") {
    std::string* slot = n == "fill" ? &s->fill : &s->stroke;
    if (inherit) {
      *slot = n == "fill" ? parent.fill : parent.stroke;
      return;
    }
    Rgba color;
    std::string id;
    std::string_view fallback;
    // An unreadable paint is dropped, as an invalid declaration is.
    if (v == "none" || ParseUrl(v, &id, &fallback) || ParseCssColor(v, s->color, &color)) {
      *slot = std::string(v);
    }
  } else if (n == "color") {
    if (inherit) s->color = parent.color;
    else ParseCssColor(v, parent.color, &s->color);
  } else if (n == "fill-opacity" || n == "stroke-opacity") {
    double* slot = n == "fill-opacity" ? &s->fillOpacity : &s->strokeOpacity;
    if (inherit) *slot = n == "fill-opacity" ? parent.fillOpacity : parent.strokeOpacity;
    else if (ParseUnitInterval(v, &number)) *slot = number;
  } else if (n == "fill-rule") {
    if (inherit) s->evenOdd = parent.evenOdd;
    else if (v == "evenodd") s->evenOdd = true;
    else if (v == "nonzero") s->evenOdd = false;
  } else if (n == "stroke-width") {
    s->strokeWidth = inherit ? parent.strokeWidth : std::string(v);
  } else if (n == "stroke-linecap") {
    if (inherit) s->lineCap = parent.lineCap;
    else if (v == "butt" || v == "round" || v == "square") s->lineCap = std::string(v);
  } else if (n == "stroke-linejoin") {
    if (inherit) s->lineJoin = parent.lineJoin;
    else if (v == "miter" || v == "round" || v == "bevel") s->lineJoin = std::string(v);
    else if (v == "miter-clip" || v == "arcs") s->lineJoin = "miter";
  } else if (n == "stroke-miterlimit") {
    size_t at = 0;
    if (inherit) s->miterLimit = parent.miterLimit;
    else if (ReadNumber(v, &at, &number) && number >= 1) s->miterLimit = number;
  } else if (n == "stroke-dasharray") {
    s->dashArray = inherit ? parent.dashArray : std::string(v);
  } else if (n == "stroke-dashoffset") {
    s->dashOffset = inherit ? parent.dashOffset : std::string(v);
  } else if (n == "visibility") {
    if (inherit) s->visible = parent.visible;
    else if (v == "visible") s->visible = true;
    else if (v == "hidden" || v == "collapse") s->visible = false;
  } else if (n == "marker" || n == "marker-start" || n == "marker-mid" || n == "marker-end") {
    if (inherit) s->marker = parent.marker;
    else s->marker = v != "none" && !v.empty();
  } else if (n == "paint-order") {
    if (inherit) {
      s->strokeFirst = parent.strokeFirst;
    } else {
      size_t stroke = v.find("stroke");
      size_t fill = v.find("fill");
      s->strokeFirst = stroke != std::string_view::npos &&
                       (fill == std::string_view::npos || stroke < fill);
    }
  } else if (n == "opacity") {
    if (ParseUnitInterval(v, &number)) local->opacity = number;
  } else if (n == "display") {
    local->displayNone = v == "none";
  } else if (n == "clip-path") {
    local->clipPath = v != "none" && !v.empty();
  } else if (n == "mask") {
    local->mask = v != "none" && !v.empty();
  } else if (n == "filter") {
    local->filter = v != "none" && !v.empty();
  } else if (n == "mix-blend-mode") {
    local->blend = v != "normal" && !v.empty();
  } else if (n == "vector-effect") {
    local->nonScalingStroke = v == "non-scaling-stroke";
  }
}

void Converter::ComputeStyle(pugi::xml_node node, const Style& parent, Style* style,
                             Local* local) const {
  *style = parent;
  *local = Local();
  // `color` first: currentColor in a fill of the same element means it.
  std::vector<Declaration> list = Declarations(node);
  for (const Declaration& d : list) {
    if (d.name == "color") ApplyDeclaration(d, parent, style, local);
  }
  for (const Declaration& d : list) {
    if (d.name != "color") ApplyDeclaration(d, parent, style, local);
  }
}

Rgba Converter::StopColor(pugi::xml_node stop) const {
  Rgba color;
  double opacity = 1;
  Rgba current = options_.currentColor;
  for (const Declaration& d : Declarations(stop)) {
    if (d.name == "color") ParseCssColor(d.value, current, &current);
  }
  for (const Declaration& d : Declarations(stop)) {
    if (d.name == "stop-color") ParseCssColor(d.value, current, &color);
    else if (d.name == "stop-opacity") ParseUnitInterval(d.value, &opacity);
  }
  color.a *= opacity;
  return color;
}

bool Converter::BuildGradient(pugi::xml_node use, pugi::xml_node ref, const Path& localPath,
                              const Context& ctx, double alpha, Paint* out) {
  std::vector<pugi::xml_node> chain;
  for (pugi::xml_node n = ref; n && static_cast<int>(chain.size()) < kMaxHrefChain;) {
    if (std::find(chain.begin(), chain.end(), n) != chain.end()) break;
    std::string_view name = LocalName(n.name());
    if (name != "linearGradient" && name != "radialGradient") break;
    chain.push_back(n);
    std::string next = Href(n);
    if (next.empty()) break;
    n = Find(next);
  }
  auto attribute = [&](const char* name) -> std::string_view {
    for (pugi::xml_node n : chain) {
      pugi::xml_attribute a = n.attribute(name);
      if (a) return Trim(a.value());
    }
    return std::string_view();
  };
  std::vector<Stop> stops;
  for (pugi::xml_node n : chain) {
    for (pugi::xml_node child : n.children()) {
      if (child.type() != pugi::node_element || LocalName(child.name()) != "stop") continue;
      double offset = 0;
      ParseUnitInterval(child.attribute("offset").value(), &offset);
      if (!stops.empty() && offset < stops.back().offset) offset = stops.back().offset;
      stops.push_back({offset, StopColor(child)});
    }
    if (!stops.empty()) break;
  }
  for (Stop& s : stops) s.color.a *= alpha;
  if (stops.empty()) {
    out->kind = Paint::kNone;
    return true;
  }
  if (stops.size() == 1) {
    out->kind = Paint::kColor;
    out->color = stops[0].color;
    return true;
  }
  bool differ = false;
  for (size_t i = 1; i + 1 < stops.size(); ++i) {
    // A middle stop matters unless it lies on the ramp of the two ends.
    const Stop& a = stops.front();
    const Stop& b = stops.back();
    double span = b.offset - a.offset;
    double t = span > 0 ? (stops[i].offset - a.offset) / span : 0;
    double expect[4] = {a.color.r + t * (b.color.r - a.color.r), a.color.g + t * (b.color.g - a.color.g),
                        a.color.b + t * (b.color.b - a.color.b), a.color.a + t * (b.color.a - a.color.a)};
    double got[4] = {stops[i].color.r, stops[i].color.g, stops[i].color.b, stops[i].color.a};
    for (int k = 0; k < 4; ++k) {
      if (std::fabs(expect[k] - got[k]) > 2.0 / 255) differ = true;
    }
  }
  if (differ) Issue(use, "gradient-stops");
  Stop first = stops.front();
  Stop last = stops.back();
  std::string_view spread = attribute("spreadMethod");
  if (!spread.empty() && spread != "pad") Issue(use, "spread-method");

  bool objectUnits = attribute("gradientUnits") != "userSpaceOnUse";
  Affine gradientTransform;
  ParseTransform(attribute("gradientTransform"), &gradientTransform);
  Affine m = ctx.ctm;
  if (objectUnits) {
    Point lo, hi;
    if (!PathBounds(localPath, &lo, &hi) || !(hi.x - lo.x > 0) || !(hi.y - lo.y > 0)) {
      // A bounding box with no area has no gradient space.
      out->kind = Paint::kNone;
      return true;
    }
    m = m.Then(Translate(lo.x, lo.y)).Then(Scale(hi.x - lo.x, hi.y - lo.y));
  }
  m = m.Then(gradientTransform);
  auto coordinate = [&](const char* name, const char* fallback, double base) {
    std::string_view text = attribute(name);
    if (text.empty()) text = fallback;
    double value = 0;
    if (objectUnits) {
      size_t at = 0;
      text = Trim(text);
      if (ReadNumber(text, &at, &value) && Trim(text.substr(at)) == "%") value /= 100;
    } else {
      ParseLength(text, base, &value);
    }
    return value;
  };
  const Viewport& vp = ctx.viewport;
  Affine inverse;
  if (!m.Invert(&inverse)) {
    out->kind = Paint::kNone;
    return true;
  }
  char text[512];
  std::string id = "g" + std::to_string(gradientCount_);
  auto stopXml = [&](const char* offset, const Rgba& c) {
    return std::string("<stop offset=\"") + offset + "\" stop-color=\"" + HexColor(c) +
           "\" stop-opacity=\"" + FormatNumber(c.a) + "\"/>";
  };
  std::string_view name = LocalName(chain.front().name());
  if (name == "linearGradient") {
    Point p1 = {coordinate("x1", "0%", vp.width), coordinate("y1", "0%", vp.height)};
    Point p2 = {coordinate("x2", "100%", vp.width), coordinate("y2", "0%", vp.height)};
    double dx = p2.x - p1.x, dy = p2.y - p1.y;
    double length2 = dx * dx + dy * dy;
    if (!(length2 > 0)) {
      out->kind = Paint::kColor;
      out->color = last.color;
      return true;
    }
    // The ramp parameter as a linear function g . p + c0 of the final
    // coordinates; any such function is the plane of one exact pair of
    // unrotated end points.
    double gx = (inverse.a * dx + inverse.b * dy) / length2;
    double gy = (inverse.c * dx + inverse.d * dy) / length2;
    double c0 = ((inverse.e - p1.x) * dx + (inverse.f - p1.y) * dy) / length2;
    double span = last.offset - first.offset;
    if (span > 0) {
      gx /= span;
      gy /= span;
      c0 = (c0 - first.offset) / span;
    } else if (first.offset > 0 || last.offset < 1) {
      Issue(use, "gradient-stops");
    }
    double g2 = gx * gx + gy * gy;
    if (!(g2 > 0) || !std::isfinite(g2)) {
      out->kind = Paint::kColor;
      out->color = last.color;
      return true;
    }
    Point q1 = {-c0 * gx / g2, -c0 * gy / g2};
    Point q2 = {q1.x + gx / g2, q1.y + gy / g2};
    std::snprintf(text, sizeof text,
                  "<linearGradient id=\"%s\" gradientUnits=\"userSpaceOnUse\" x1=\"%s\" y1=\"%s\" x2=\"%s\" y2=\"%s\">",
                  id.c_str(), FormatNumber(q1.x).c_str(), FormatNumber(q1.y).c_str(),
                  FormatNumber(q2.x).c_str(), FormatNumber(q2.y).c_str());
  } else {
    double diagonal = vp.Diagonal();
    Point c = {coordinate("cx", "50%", vp.width), coordinate("cy", "50%", vp.height)};
    double r = coordinate("r", "50%", diagonal);
    std::string_view fxText = attribute("fx"), fyText = attribute("fy");
    Point f = {fxText.empty() ? c.x : coordinate("fx", "50%", vp.width),
               fyText.empty() ? c.y : coordinate("fy", "50%", vp.height)};
    if (std::fabs(f.x - c.x) > 1e-9 * (std::fabs(c.x) + 1) ||
        std::fabs(f.y - c.y) > 1e-9 * (std::fabs(c.y) + 1)) {
      Issue(use, "focal-point");
    }
    if (!(r > 0)) {
      out->kind = Paint::kColor;
      out->color = last.color;
      return true;
    }
    double largest, smallest;
    m.SingularValues(&largest, &smallest);
    if (largest - smallest > 1e-3 * largest) Issue(use, "radial-gradient-shape");
    Point centre = m.Apply(c);
    double radius = r * std::sqrt(largest * smallest);
    if (first.offset > 1e-9) Issue(use, "gradient-stops");
    if (last.offset > 0 && last.offset < 1) radius *= last.offset;
    std::snprintf(text, sizeof text,
                  "<radialGradient id=\"%s\" gradientUnits=\"userSpaceOnUse\" cx=\"%s\" cy=\"%s\" r=\"%s\">",
                  id.c_str(), FormatNumber(centre.x).c_str(), FormatNumber(centre.y).c_str(),
                  FormatNumber(radius).c_str());
  }
  ++gradientCount_;
  defs_ += text;
  defs_ += stopXml("0", first.color);
  defs_ += stopXml("1", last.color);
  defs_ += name == "linearGradient" ? "</linearGradient>\n" : "</radialGradient>\n";
  out->kind = Paint::kGradient;
  out->gradient = id;
  // For a stroke, which has no gradient form, the mean of the ends.
  out->color = {(first.color.r + last.color.r) / 2, (first.color.g + last.color.g) / 2,
                (first.color.b + last.color.b) / 2, (first.color.a + last.color.a) / 2};
  return true;
}

Paint Converter::ResolvePaint(pugi::xml_node node, std::string_view text, const Style& style,
                              const Path& localPath, const Context& ctx, double alpha,
                              bool forStroke) {
  Paint paint;
  text = Trim(text);
  if (text.empty() || text == "none") return paint;
  std::string id;
  std::string_view fallback;
  if (ParseUrl(text, &id, &fallback)) {
    pugi::xml_node ref = Find(id);
    std::string_view name = ref ? LocalName(ref.name()) : std::string_view();
    if (name == "linearGradient" || name == "radialGradient") {
      if (forStroke) {
        // Only the colour is wanted; keep the gradient out of the output.
        size_t mark = defs_.size();
        int count = gradientCount_;
        BuildGradient(node, ref, localPath, ctx, alpha, &paint);
        defs_.resize(mark);
        gradientCount_ = count;
        if (paint.kind == Paint::kGradient) {
          Issue(node, "stroke-gradient");
          paint.kind = Paint::kColor;
        }
        return paint;
      }
      BuildGradient(node, ref, localPath, ctx, alpha, &paint);
      return paint;
    }
    if (name == "pattern") Issue(node, "pattern");
    text = fallback;
    if (text.empty() || text == "none") return paint;
  }
  Rgba color;
  if (!ParseCssColor(text, style.color, &color)) return paint;
  color.a *= alpha;
  paint.kind = Paint::kColor;
  paint.color = color;
  return paint;
}

bool Converter::BuildShape(pugi::xml_node node, std::string_view name, const Context& ctx,
                           Path* path) {
  const Viewport& vp = ctx.viewport;
  double diagonal = vp.Diagonal();
  auto length = [&](const char* attr, double base, double fallback) {
    double value = fallback;
    pugi::xml_attribute a = node.attribute(attr);
    if (a && !ParseLength(a.value(), base, &value)) value = fallback;
    return value;
  };
  double tolerance = Tolerance(ctx.ctm);
  if (name == "path") {
    size_t budget = kMaxSegments > segments_ ? kMaxSegments - segments_ : 0;
    if (!ParsePathData(node.attribute("d").value(), tolerance, budget, path) &&
        path->segments.size() >= budget) {
      Issue(node, "path-limit");
    }
    return true;
  }
  if (name == "rect") {
    double x = length("x", vp.width, 0), y = length("y", vp.height, 0);
    double w = length("width", vp.width, 0), h = length("height", vp.height, 0);
    bool hasRx = node.attribute("rx") && Trim(node.attribute("rx").value()) != "auto";
    bool hasRy = node.attribute("ry") && Trim(node.attribute("ry").value()) != "auto";
    double rx = length("rx", vp.width, 0), ry = length("ry", vp.height, 0);
    if (!(w > 0) || !(h > 0)) return false;
    if (hasRx && !hasRy) ry = rx;
    if (hasRy && !hasRx) rx = ry;
    if (rx < 0) rx = 0;
    if (ry < 0) ry = 0;
    rx = std::min(rx, w / 2);
    ry = std::min(ry, h / 2);
    if (rx > 0 && ry > 0) {
      path->MoveTo({x + rx, y});
      path->LineTo({x + w - rx, y});
      AppendArc({x + w - rx, y}, rx, ry, 0, false, true, {x + w, y + ry}, tolerance, path);
      path->LineTo({x + w, y + h - ry});
      AppendArc({x + w, y + h - ry}, rx, ry, 0, false, true, {x + w - rx, y + h}, tolerance, path);
      path->LineTo({x + rx, y + h});
      AppendArc({x + rx, y + h}, rx, ry, 0, false, true, {x, y + h - ry}, tolerance, path);
      path->LineTo({x, y + ry});
      AppendArc({x, y + ry}, rx, ry, 0, false, true, {x + rx, y}, tolerance, path);
    } else {
      path->MoveTo({x, y});
      path->LineTo({x + w, y});
      path->LineTo({x + w, y + h});
      path->LineTo({x, y + h});
    }
    path->Close();
    return true;
  }
  if (name == "circle" || name == "ellipse") {
    double cx = length("cx", vp.width, 0), cy = length("cy", vp.height, 0);
    double rx, ry;
    if (name == "circle") {
      rx = ry = length("r", diagonal, 0);
    } else {
      bool autoX = !node.attribute("rx") || Trim(node.attribute("rx").value()) == "auto";
      bool autoY = !node.attribute("ry") || Trim(node.attribute("ry").value()) == "auto";
      rx = length("rx", vp.width, 0);
      ry = length("ry", vp.height, 0);
      if (autoX && !autoY) rx = ry;
      if (autoY && !autoX) ry = rx;
    }
    if (!(rx > 0) || !(ry > 0)) return false;
    Point p[4] = {{cx + rx, cy}, {cx, cy + ry}, {cx - rx, cy}, {cx, cy - ry}};
    path->MoveTo(p[0]);
    for (int i = 0; i < 4; ++i) {
      AppendArc(p[i], rx, ry, 0, false, true, p[(i + 1) % 4], tolerance, path);
    }
    path->Close();
    return true;
  }
  if (name == "line") {
    path->MoveTo({length("x1", vp.width, 0), length("y1", vp.height, 0)});
    path->LineTo({length("x2", vp.width, 0), length("y2", vp.height, 0)});
    return true;
  }
  // polygon, polyline: pairs until the first thing that is not a number.
  std::string_view points = node.attribute("points").value();
  size_t at = 0;
  double pair[2];
  int count = 0;
  while (segments_ + path->segments.size() < kMaxSegments) {
    while (at < points.size() && IsSeparator(points[at])) ++at;
    if (!ReadNumber(points, &at, &pair[count])) break;
    if (++count == 2) {
      if (path->Empty()) path->MoveTo({pair[0], pair[1]});
      else path->LineTo({pair[0], pair[1]});
      count = 0;
    }
  }
  if (segments_ + path->segments.size() >= kMaxSegments) Issue(node, "path-limit");
  if (name == "polygon" && !path->Empty()) path->Close();
  return true;
}

void AppendPathData(const Path& path, std::string* out) {
  // Moves with nothing after them draw nothing; they are left out.
  const std::vector<Segment>& s = path.segments;
  for (size_t i = 0; i < s.size(); ++i) {
    if (s[i].op == 'M' && (i + 1 == s.size() || s[i + 1].op == 'M')) continue;
    if (!out->empty()) *out += ' ';
    *out += s[i].op;
    int count = s[i].op == 'Z' ? 0 : s[i].op == 'Q' ? 2 : s[i].op == 'C' ? 3 : 1;
    for (int k = 0; k < count; ++k) {
      *out += ' ';
      *out += FormatNumber(s[i].p[k].x);
      *out += ' ';
      *out += FormatNumber(s[i].p[k].y);
    }
  }
}

void Converter::EmitShape(pugi::xml_node node, Path path, const Context& ctx, const Style& style,
                          const Local& local, bool isLine) {
  if (path.Empty() || !style.visible) return;
  if (style.marker) Issue(node, "marker");
  double opacity = ctx.opacity * local.opacity;
  Paint fill;
  if (!isLine) fill = ResolvePaint(node, style.fill, style, path, ctx, style.fillOpacity * opacity, false);
  if (fill.kind == Paint::kColor && !(fill.color.a > 0)) fill.kind = Paint::kNone;
  Paint stroke = ResolvePaint(node, style.stroke, style, path, ctx, style.strokeOpacity * opacity, true);
  if (stroke.kind == Paint::kColor && !(stroke.color.a > 0)) stroke.kind = Paint::kNone;

  // Stroke width and dashes in final units: vorp draws a stroke at the width
  // written, whatever transform stands over it.
  double largest, smallest;
  ctx.ctm.SingularValues(&largest, &smallest);
  double strokeScale = local.nonScalingStroke ? 1.0 : std::sqrt(largest * smallest);
  double width = 1;
  std::string dashes;
  double dashOffset = 0;
  if (stroke.kind != Paint::kNone) {
    if (!ParseLength(style.strokeWidth, ctx.viewport.Diagonal(), &width)) width = 1;
    if (!(width > 0)) stroke.kind = Paint::kNone;
  }
  if (stroke.kind != Paint::kNone) {
    if (!local.nonScalingStroke && largest - smallest > 1e-3 * largest) Issue(node, "non-uniform-stroke");
    width *= strokeScale;
    std::vector<double> list;
    std::string_view text = style.dashArray;
    size_t at = 0;
    bool valid = Trim(text) != "none";
    double sum = 0;
    while (valid) {
      while (at < text.size() && IsSeparator(text[at])) ++at;
      if (at >= text.size()) break;
      size_t end = at;
      while (end < text.size() && !IsSeparator(text[end])) ++end;
      double value;
      if (!ParseLength(text.substr(at, end - at), ctx.viewport.Diagonal(), &value) || value < 0 ||
          list.size() >= 64) {
        valid = false;
        break;
      }
      list.push_back(value * strokeScale);
      sum += value;
      at = end;
    }
    if (valid && sum > 0) {
      for (double value : list) {
        if (!dashes.empty()) dashes += ' ';
        dashes += FormatNumber(value);
      }
      if (ParseLength(style.dashOffset, ctx.viewport.Diagonal(), &dashOffset)) dashOffset *= strokeScale;
    }
  }
  if (fill.kind == Paint::kNone && stroke.kind == Paint::kNone) return;
  if (opacity < 1 && fill.kind != Paint::kNone && stroke.kind != Paint::kNone) Issue(node, "shape-opacity");
  if (local.clipPath) Issue(node, "clip-path");
  if (local.mask) Issue(node, "mask");
  if (local.filter) Issue(node, "filter");
  if (local.blend) Issue(node, "blend-mode");

  TransformPath(ctx.ctm, &path);
  // One orientation for every non-zero fill: an album merges the shapes of
  // one colour into one outline, where opposite turns would cancel.
  Path filled = path;
  bool reversed = false;
  if (fill.kind != Paint::kNone && !style.evenOdd && SignedArea(path) < 0) {
    ReversePath(&filled);
    reversed = true;
  }
  // Round joins and caps let the stroke break where vorp's stroker would
  // spike; the fill, if any, keeps the whole outline.
  Path stroked = path;
  bool broken = stroke.kind != Paint::kNone && style.lineJoin == "round" && style.lineCap == "round" &&
                dashes.empty() && SplitRoundStroke(&stroked, width / 32);
  std::string fillData, strokeData;
  AppendPathData(fill.kind == Paint::kNone ? stroked : filled, &fillData);
  if (fillData.empty()) return;
  segments_ += path.segments.size();
  ++drawn_;

  auto fillAttributes = [&]() {
    std::string a;
    if (fill.kind == Paint::kNone) return std::string(" fill=\"none\"");
    if (fill.kind == Paint::kGradient) {
      a = " fill=\"url(#" + fill.gradient + ")\"";
    } else {
      a = " fill=\"" + HexColor(fill.color) + "\"";
      if (fill.color.a < 1) a += " fill-opacity=\"" + FormatNumber(fill.color.a) + "\"";
    }
    if (style.evenOdd) a += " fill-rule=\"evenodd\"";
    return a;
  };
  auto strokeAttributes = [&]() {
    if (stroke.kind == Paint::kNone) return std::string();
    std::string a = " stroke=\"" + HexColor(stroke.color) + "\"";
    if (stroke.color.a < 1) a += " stroke-opacity=\"" + FormatNumber(stroke.color.a) + "\"";
    a += " stroke-width=\"" + FormatNumber(width) + "\"";
    if (style.lineCap != "butt") a += " stroke-linecap=\"" + style.lineCap + "\"";
    if (style.lineJoin != "miter") a += " stroke-linejoin=\"" + style.lineJoin + "\"";
    if (style.lineJoin == "miter" && style.miterLimit != 4) {
      a += " stroke-miterlimit=\"" + FormatNumber(style.miterLimit) + "\"";
    }
    if (!dashes.empty()) {
      a += " stroke-dasharray=\"" + dashes + "\"";
      if (dashOffset != 0) a += " stroke-dashoffset=\"" + FormatNumber(dashOffset) + "\"";
    }
    return a;
  };
  // The stroke keeps the direction it was drawn in (where its dashes
  // start), so a reversed fill and a stroke become two elements; so do
  // shapes whose stroke is painted under the fill, and broken strokes.
  bool split = stroke.kind != Paint::kNone && fill.kind != Paint::kNone &&
               ((reversed && !dashes.empty()) || style.strokeFirst || broken);
  if (!split) {
    body_ += "<path d=\"" + fillData + "\"" + fillAttributes() + strokeAttributes() + "/>\n";
    return;
  }
  AppendPathData(stroked, &strokeData);
  std::string fillElement = "<path d=\"" + fillData + "\"" + fillAttributes() + "/>\n";
  std::string strokeElement = "<path d=\"" + strokeData + "\" fill=\"none\"" + strokeAttributes() + "/>\n";
  body_ += style.strokeFirst ? strokeElement + fillElement : fillElement + strokeElement;
}

// The placement of a viewBox in a viewport, with preserveAspectRatio.
Affine ViewBoxTransform(std::string_view viewBox, std::string_view aspect, double width,
                        double height, bool* valid, double* boxWidth, double* boxHeight) {
  double v[4];
  size_t at = 0;
  *valid = false;
  for (int i = 0; i < 4; ++i) {
    while (at < viewBox.size() && IsSeparator(viewBox[at])) ++at;
    if (!ReadNumber(viewBox, &at, &v[i])) return Affine();
  }
  if (!(v[2] > 0) || !(v[3] > 0)) return Affine();
  *valid = true;
  *boxWidth = v[2];
  *boxHeight = v[3];
  double sx = width / v[2], sy = height / v[3];
  aspect = Trim(aspect);
  if (aspect.substr(0, 5) == "defer") aspect = Trim(aspect.substr(5));
  if (aspect.substr(0, 4) == "none") return Scale(sx, sy).Then(Translate(-v[0], -v[1]));
  bool slice = aspect.find("slice") != std::string_view::npos;
  double s = slice ? std::max(sx, sy) : std::min(sx, sy);
  double ax = 0.5, ay = 0.5;
  if (aspect.find("xMin") != std::string_view::npos) ax = 0;
  if (aspect.find("xMax") != std::string_view::npos) ax = 1;
  if (aspect.find("YMin") != std::string_view::npos) ay = 0;
  if (aspect.find("YMax") != std::string_view::npos) ay = 1;
  double tx = (width - v[2] * s) * ax;
  double ty = (height - v[3] * s) * ay;
  return Translate(tx, ty).Then(Scale(s, s)).Then(Translate(-v[0], -v[1]));
}

void Converter::WalkChildren(pugi::xml_node node, const Context& ctx, const Style& style) {
  for (pugi::xml_node child : node.children()) {
    if (child.type() == pugi::node_element) Walk(child, ctx, style);
  }
}

void Converter::WalkViewport(pugi::xml_node node, pugi::xml_node sizeFrom, const Context& ctx,
                             const Style& style, double x, double y) {
  Context inner = ctx;
  // The first of the two nodes that gives a readable length wins.
  auto dimension = [&](const char* name, double reference) {
    for (pugi::xml_node n : {sizeFrom, node}) {
      double value;
      if (n && n.attribute(name) && ParseLength(n.attribute(name).value(), reference, &value)) return value;
    }
    return reference;
  };
  double width = dimension("width", ctx.viewport.width);
  double height = dimension("height", ctx.viewport.height);
  if (!(width > 0) || !(height > 0)) return;
  bool valid;
  double boxWidth = width, boxHeight = height;
  Affine box = ViewBoxTransform(node.attribute("viewBox").value(),
                                node.attribute("preserveAspectRatio").value(), width, height,
                                &valid, &boxWidth, &boxHeight);
  inner.ctm = ctx.ctm.Then(Translate(x, y)).Then(box);
  inner.viewport = {boxWidth, boxHeight};
  WalkChildren(node, inner, style);
}

void Converter::WalkUse(pugi::xml_node node, const Context& ctx, const Style& style) {
  std::string id = Href(node);
  pugi::xml_node target = Find(id);
  if (!target) return;  // SVG draws nothing for a missing reference either
  for (pugi::xml_node n = node; n; n = n.parent()) {
    if (n == target) {
      Issue(node, "use-cycle");
      return;
    }
  }
  if (std::find(useStack_.begin(), useStack_.end(), target) != useStack_.end()) {
    Issue(node, "use-cycle");
    return;
  }
  if (ctx.useDepth >= kMaxUseDepth) {
    Issue(node, "use-limit");
    return;
  }
  double x = 0, y = 0;
  ParseLength(node.attribute("x").value(), ctx.viewport.width, &x);
  ParseLength(node.attribute("y").value(), ctx.viewport.height, &y);
  Context inner = ctx;
  inner.useDepth = ctx.useDepth + 1;
  useStack_.push_back(target);
  std::string_view name = LocalName(target.name());
  if (name == "symbol" || name == "svg") {
    Style symbolStyle;
    Local symbolLocal;
    ComputeStyle(target, style, &symbolStyle, &symbolLocal);
    if (!symbolLocal.displayNone || name == "symbol") {
      Affine own;
      if (name == "svg") ParseTransform(target.attribute("transform").value(), &own);
      inner.opacity = ctx.opacity * symbolLocal.opacity;
      inner.ctm = ctx.ctm.Then(own);
      if (symbolLocal.clipPath) Issue(target, "clip-path");
      if (symbolLocal.mask) Issue(target, "mask");
      if (symbolLocal.filter) Issue(target, "filter");
      double ox = 0, oy = 0;
      if (name == "svg") {
        ParseLength(target.attribute("x").value(), ctx.viewport.width, &ox);
        ParseLength(target.attribute("y").value(), ctx.viewport.height, &oy);
      }
      WalkViewport(target, node, inner, symbolStyle, x + ox, y + oy);
    }
  } else {
    inner.ctm = ctx.ctm.Then(Translate(x, y));
    Walk(target, inner, style);
  }
  useStack_.pop_back();
}

void Converter::Walk(pugi::xml_node node, const Context& ctx, const Style& parent) {
  if (++visits_ > kMaxVisits) {
    if (visits_ == kMaxVisits + 1) Issue(node, "element-limit");
    return;
  }
  if (ctx.depth >= kMaxDepth) {
    Issue(node, "nesting-depth");
    return;
  }
  std::string_view name = LocalName(node.name());
  static const char* const kContainers[] = {"g", "a", "switch", "svg", "use"};
  static const char* const kShapes[] = {"path", "rect", "circle", "ellipse", "line", "polyline", "polygon"};
  static const char* const kLost[] = {"text", "image", "foreignObject", "video", "audio", "canvas", "iframe"};
  bool container = false, shape = false;
  for (const char* n : kContainers) container = container || name == n;
  for (const char* n : kShapes) shape = shape || name == n;
  if (!container && !shape) {
    for (const char* n : kLost) {
      if (name == n) Issue(node, n);
    }
    return;  // definitions, metadata and unknown elements draw nothing
  }
  Style style;
  Local local;
  ComputeStyle(node, parent, &style, &local);
  if (local.displayNone) return;
  Affine own;
  if (!ParseTransform(node.attribute("transform").value(), &own)) own = Affine();
  Context inner = ctx;
  inner.depth = ctx.depth + 1;
  inner.ctm = ctx.ctm.Then(own);
  if (!(std::fabs(inner.ctm.Determinant()) > 0)) return;  // a singular transform draws nothing
  if (shape) {
    Path path;
    if (BuildShape(node, name, inner, &path)) EmitShape(node, std::move(path), inner, style, local, name == "line");
    return;
  }
  inner.opacity = ctx.opacity * local.opacity;
  int64_t before = drawn_;
  if (name == "use") {
    WalkUse(node, inner, style);
  } else if (name == "svg") {
    double x = 0, y = 0;
    ParseLength(node.attribute("x").value(), ctx.viewport.width, &x);
    ParseLength(node.attribute("y").value(), ctx.viewport.height, &y);
    WalkViewport(node, pugi::xml_node(), inner, style, x, y);
  } else if (name == "switch") {
    // The first child that can draw stands for the whole switch.
    for (pugi::xml_node child : node.children()) {
      if (child.type() != pugi::node_element || LocalName(child.name()) == "foreignObject") continue;
      Walk(child, inner, style);
      break;
    }
  } else {
    WalkChildren(node, inner, style);
  }
  bool drewSomething = drawn_ > before;
  if (drewSomething) {
    if (local.opacity < 1 && drawn_ - before > 1) Issue(node, "group-opacity");
    if (local.clipPath) Issue(node, "clip-path");
    if (local.mask) Issue(node, "mask");
    if (local.filter) Issue(node, "filter");
    if (local.blend) Issue(node, "blend-mode");
  }
}

bool Converter::Run() {
  pugi::xml_parse_result parsed = document_.load_buffer(text_.data(), text_.size(), pugi::parse_default);
  if (!parsed) {
    int line = 1;
    for (ptrdiff_t i = 0; i < parsed.offset && i < static_cast<ptrdiff_t>(text_.size()); ++i) {
      if (text_[i] == '\n') ++line;
    }
    result_->error = std::string("not XML: ") + parsed.description() + " at line " + std::to_string(line);
    return false;
  }
  pugi::xml_node root = document_.document_element();
  if (!root || LocalName(root.name()) != "svg") {
    result_->error = root ? "not SVG: the root element is <" + std::string(root.name()) + ">"
                          : std::string("not SVG: no root element");
    return false;
  }
  lineStarts_.push_back(0);
  // Offsets point into pugixml's own copy, which holds the same bytes for
  // UTF-8 input.
  for (size_t i = 0; i < text_.size(); ++i) {
    if (text_[i] == '\n') lineStarts_.push_back(i + 1);
  }
  pugi::xml_node firstStyle;
  for (pugi::xml_node n = root; n;) {
    if (n.type() == pugi::node_element) {
      pugi::xml_attribute id = n.attribute("id");
      if (id && *id.value() != 0) ids_.emplace(id.value(), n);
      if (LocalName(n.name()) == "style") {
        std::string css;
        for (pugi::xml_node t : n.children()) {
          if (t.type() == pugi::node_pcdata || t.type() == pugi::node_cdata) css += t.value();
        }
        sheet_.Add(css);
        if (!firstStyle) firstStyle = n;
      }
    }
    // Document order without recursion: nesting depth is the input's.
    if (n.first_child()) {
      n = n.first_child();
      continue;
    }
    while (n && n != root && !n.next_sibling()) n = n.parent();
    if (!n || n == root) break;
    n = n.next_sibling();
  }
  if (sheet_.UnsupportedRules() > 0) Issue(firstStyle, "css-rule");

  // The canvas: the viewBox when there is one, moved to the origin; else the
  // width and height (the browsers' 100 by 100 when they are missing).
  double width = 100, height = 100;
  double value;
  if (root.attribute("width") && ParseLength(root.attribute("width").value(), 100, &value) && value > 0 &&
      Trim(root.attribute("width").value()).back() != '%') {
    width = value;
  }
  if (root.attribute("height") && ParseLength(root.attribute("height").value(), 100, &value) && value > 0 &&
      Trim(root.attribute("height").value()).back() != '%') {
    height = value;
  }
  Context ctx;
  std::string_view viewBox = root.attribute("viewBox").value();
  double v[4];
  size_t at = 0;
  bool hasBox = true;
  for (int i = 0; i < 4 && hasBox; ++i) {
    while (at < viewBox.size() && IsSeparator(viewBox[at])) ++at;
    hasBox = ReadNumber(viewBox, &at, &v[i]);
  }
  if (hasBox && v[2] > 0 && v[3] > 0 && std::isfinite(v[2]) && std::isfinite(v[3])) {
    width = v[2];
    height = v[3];
    ctx.ctm = Translate(-v[0], -v[1]);
  }
  ctx.viewport = {width, height};
  tolerance_ = 1e-4 * std::max(width, height);

  Style rootStyle;
  rootStyle.color = options_.currentColor;
  Style style;
  Local local;
  ComputeStyle(root, rootStyle, &style, &local);
  if (!local.displayNone) {
    Affine own;
    if (ParseTransform(root.attribute("transform").value(), &own)) ctx.ctm = ctx.ctm.Then(own);
    ctx.opacity = local.opacity;
    int64_t before = drawn_;
    WalkChildren(root, ctx, style);
    if (local.opacity < 1 && drawn_ - before > 1) Issue(root, "group-opacity");
    if (local.clipPath) Issue(root, "clip-path");
    if (local.mask) Issue(root, "mask");
    if (local.filter) Issue(root, "filter");
  }

  std::string w = FormatNumber(width), h = FormatNumber(height);
  std::string& out = result_->svg;
  out = "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + w + "\" height=\"" + h +
        "\" viewBox=\"0 0 " + w + " " + h + "\">\n";
  if (!defs_.empty()) out += "<defs>\n" + defs_ + "</defs>\n";
  out += body_;
  out += "</svg>\n";
  std::stable_sort(result_->issues.begin(), result_->issues.end(),
                   [](const PrepIssue& a, const PrepIssue& b) { return a.line < b.line; });
  return true;
}

}  // namespace

bool ConvertSvg(std::string_view text, const PrepOptions& options, PrepResult* result) {
  *result = PrepResult();
  Converter converter(text, options, result);
  if (!converter.Run()) {
    result->svg.clear();
    return false;
  }
  return true;
}

}  // namespace vorp::prep
