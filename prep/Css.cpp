#include "prep/Css.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <iterator>

namespace vorp::prep {

// ---------------------------------------------------------------------------
// Text helpers. CSS white space is exactly these five bytes.

static bool IsSpace(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f';
}

static bool IsDigit(char c) { return c >= '0' && c <= '9'; }

static bool IsLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

static char Lower(char c) {
  return (c >= 'A' && c <= 'Z') ? char(c - 'A' + 'a') : c;
}

static std::string_view Trim(std::string_view text) {
  while (!text.empty() && IsSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsSpace(text.back())) text.remove_suffix(1);
  return text;
}

static std::string LowerCopy(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) c = Lower(c);
  return lower;
}

static bool EqualNoCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); i++) {
    if (Lower(a[i]) != Lower(b[i])) return false;
  }
  return true;
}

static bool StartsWith(std::string_view text, size_t pos, std::string_view prefix) {
  return text.substr(pos, prefix.size()) == prefix;
}

// Bytes of a CSS name; anything from 0x80 up belongs to a UTF-8 character,
// which CSS allows in names.
static bool IsNameByte(char c) {
  return IsLetter(c) || IsDigit(c) || c == '-' || c == '_' ||
         static_cast<unsigned char>(c) >= 0x80;
}

// The end of the identifier that starts at `pos`, or `pos` when there is
// none. Escapes are not read: a name with a backslash is not an identifier
// here, so the selector holding it is left out rather than misread.
static size_t ScanIdent(std::string_view text, size_t pos) {
  size_t end = pos;
  while (end < text.size() && IsNameByte(text[end])) end++;
  if (end == pos || IsDigit(text[pos])) return pos;
  if (text[pos] == '-' && (end == pos + 1 || IsDigit(text[pos + 1]))) return pos;
  return end;
}

// ---------------------------------------------------------------------------
// Colours.

struct NamedColor {
  const char* name;
  uint32_t rgb;
};

static const NamedColor kColorNames[] = {
    {"aliceblue", 0xF0F8FF},
    {"antiquewhite", 0xFAEBD7},
    {"aqua", 0x00FFFF},
    {"aquamarine", 0x7FFFD4},
    {"azure", 0xF0FFFF},
    {"beige", 0xF5F5DC},
    {"bisque", 0xFFE4C4},
    {"black", 0x000000},
    {"blanchedalmond", 0xFFEBCD},
    {"blue", 0x0000FF},
    {"blueviolet", 0x8A2BE2},
    {"brown", 0xA52A2A},
    {"burlywood", 0xDEB887},
    {"cadetblue", 0x5F9EA0},
    {"chartreuse", 0x7FFF00},
    {"chocolate", 0xD2691E},
    {"coral", 0xFF7F50},
    {"cornflowerblue", 0x6495ED},
    {"cornsilk", 0xFFF8DC},
    {"crimson", 0xDC143C},
    {"cyan", 0x00FFFF},
    {"darkblue", 0x00008B},
    {"darkcyan", 0x008B8B},
    {"darkgoldenrod", 0xB8860B},
    {"darkgray", 0xA9A9A9},
    {"darkgreen", 0x006400},
    {"darkgrey", 0xA9A9A9},
    {"darkkhaki", 0xBDB76B},
    {"darkmagenta", 0x8B008B},
    {"darkolivegreen", 0x556B2F},
    {"darkorange", 0xFF8C00},
    {"darkorchid", 0x9932CC},
    {"darkred", 0x8B0000},
    {"darksalmon", 0xE9967A},
    {"darkseagreen", 0x8FBC8F},
    {"darkslateblue", 0x483D8B},
    {"darkslategray", 0x2F4F4F},
    {"darkslategrey", 0x2F4F4F},
    {"darkturquoise", 0x00CED1},
    {"darkviolet", 0x9400D3},
    {"deeppink", 0xFF1493},
    {"deepskyblue", 0x00BFFF},
    {"dimgray", 0x696969},
    {"dimgrey", 0x696969},
    {"dodgerblue", 0x1E90FF},
    {"firebrick", 0xB22222},
    {"floralwhite", 0xFFFAF0},
    {"forestgreen", 0x228B22},
    {"fuchsia", 0xFF00FF},
    {"gainsboro", 0xDCDCDC},
    {"ghostwhite", 0xF8F8FF},
    {"gold", 0xFFD700},
    {"goldenrod", 0xDAA520},
    {"gray", 0x808080},
    {"green", 0x008000},
    {"greenyellow", 0xADFF2F},
    {"grey", 0x808080},
    {"honeydew", 0xF0FFF0},
    {"hotpink", 0xFF69B4},
    {"indianred", 0xCD5C5C},
    {"indigo", 0x4B0082},
    {"ivory", 0xFFFFF0},
    {"khaki", 0xF0E68C},
    {"lavender", 0xE6E6FA},
    {"lavenderblush", 0xFFF0F5},
    {"lawngreen", 0x7CFC00},
    {"lemonchiffon", 0xFFFACD},
    {"lightblue", 0xADD8E6},
    {"lightcoral", 0xF08080},
    {"lightcyan", 0xE0FFFF},
    {"lightgoldenrodyellow", 0xFAFAD2},
    {"lightgray", 0xD3D3D3},
    {"lightgreen", 0x90EE90},
    {"lightgrey", 0xD3D3D3},
    {"lightpink", 0xFFB6C1},
    {"lightsalmon", 0xFFA07A},
    {"lightseagreen", 0x20B2AA},
    {"lightskyblue", 0x87CEFA},
    {"lightslategray", 0x778899},
    {"lightslategrey", 0x778899},
    {"lightsteelblue", 0xB0C4DE},
    {"lightyellow", 0xFFFFE0},
    {"lime", 0x00FF00},
    {"limegreen", 0x32CD32},
    {"linen", 0xFAF0E6},
    {"magenta", 0xFF00FF},
    {"maroon", 0x800000},
    {"mediumaquamarine", 0x66CDAA},
    {"mediumblue", 0x0000CD},
    {"mediumorchid", 0xBA55D3},
    {"mediumpurple", 0x9370DB},
    {"mediumseagreen", 0x3CB371},
    {"mediumslateblue", 0x7B68EE},
    {"mediumspringgreen", 0x00FA9A},
    {"mediumturquoise", 0x48D1CC},
    {"mediumvioletred", 0xC71585},
    {"midnightblue", 0x191970},
    {"mintcream", 0xF5FFFA},
    {"mistyrose", 0xFFE4E1},
    {"moccasin", 0xFFE4B5},
    {"navajowhite", 0xFFDEAD},
    {"navy", 0x000080},
    {"oldlace", 0xFDF5E6},
    {"olive", 0x808000},
    {"olivedrab", 0x6B8E23},
    {"orange", 0xFFA500},
    {"orangered", 0xFF4500},
    {"orchid", 0xDA70D6},
    {"palegoldenrod", 0xEEE8AA},
    {"palegreen", 0x98FB98},
    {"paleturquoise", 0xAFEEEE},
    {"palevioletred", 0xDB7093},
    {"papayawhip", 0xFFEFD5},
    {"peachpuff", 0xFFDAB9},
    {"peru", 0xCD853F},
    {"pink", 0xFFC0CB},
    {"plum", 0xDDA0DD},
    {"powderblue", 0xB0E0E6},
    {"purple", 0x800080},
    {"rebeccapurple", 0x663399},
    {"red", 0xFF0000},
    {"rosybrown", 0xBC8F8F},
    {"royalblue", 0x4169E1},
    {"saddlebrown", 0x8B4513},
    {"salmon", 0xFA8072},
    {"sandybrown", 0xF4A460},
    {"seagreen", 0x2E8B57},
    {"seashell", 0xFFF5EE},
    {"sienna", 0xA0522D},
    {"silver", 0xC0C0C0},
    {"skyblue", 0x87CEEB},
    {"slateblue", 0x6A5ACD},
    {"slategray", 0x708090},
    {"slategrey", 0x708090},
    {"snow", 0xFFFAFA},
    {"springgreen", 0x00FF7F},
    {"steelblue", 0x4682B4},
    {"tan", 0xD2B48C},
    {"teal", 0x008080},
    {"thistle", 0xD8BFD8},
    {"tomato", 0xFF6347},
    {"turquoise", 0x40E0D0},
    {"violet", 0xEE82EE},
    {"wheat", 0xF5DEB3},
    {"white", 0xFFFFFF},
    {"whitesmoke", 0xF5F5F5},
    {"yellow", 0xFFFF00},
    {"yellowgreen", 0x9ACD32},
};
// The 147 names SVG 1.1 knew and rebeccapurple.
static_assert(std::size(kColorNames) == 148);

static Rgba FromBytes(uint32_t rgb, uint32_t alpha) {
  return Rgba{double((rgb >> 16) & 0xFF) / 255.0, double((rgb >> 8) & 0xFF) / 255.0,
              double(rgb & 0xFF) / 255.0, double(alpha) / 255.0};
}

static int HexValue(char c) {
  if (IsDigit(c)) return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;  // the text is lower case already
}

// The digits after '#': 3, 4, 6 or 8 of them.
static bool ParseHexColor(std::string_view digits, Rgba* out) {
  size_t count = digits.size();
  if (count != 3 && count != 4 && count != 6 && count != 8) return false;
  uint32_t bytes[4] = {0, 0, 0, 255};
  bool shortForm = count <= 4;
  size_t channels = shortForm ? count : count / 2;
  for (size_t i = 0; i < channels; i++) {
    if (shortForm) {
      int digit = HexValue(digits[i]);
      if (digit < 0) return false;
      bytes[i] = uint32_t(digit) * 17;  // #abc is #aabbcc
    } else {
      int high = HexValue(digits[2 * i]);
      int low = HexValue(digits[2 * i + 1]);
      if (high < 0 || low < 0) return false;
      bytes[i] = uint32_t(high * 16 + low);
    }
  }
  *out = FromBytes((bytes[0] << 16) | (bytes[1] << 8) | bytes[2], bytes[3]);
  return true;
}

// Reads a CSS number (sign, digits, fraction, exponent) at *pos. It scans
// the grammar itself because from_chars would also take "inf" and "nan". A
// number too large for a double is refused; one too small to hold reads as
// zero, as in a browser.
static bool ScanNumber(std::string_view text, size_t* pos, double* value) {
  size_t start = *pos;
  size_t i = start;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) i++;
  size_t digits = 0;
  bool wholeIsZero = true;
  while (i < text.size() && IsDigit(text[i])) {
    wholeIsZero = wholeIsZero && text[i] == '0';
    i++, digits++;
  }
  if (i + 1 < text.size() && text[i] == '.' && IsDigit(text[i + 1])) {
    i++;
    while (i < text.size() && IsDigit(text[i])) i++, digits++;
  }
  if (digits == 0) return false;
  bool negativeExponent = false;
  // An 'e' without digits after it starts a unit instead.
  if (i < text.size() && (text[i] == 'e' || text[i] == 'E')) {
    size_t j = i + 1;
    if (j < text.size() && (text[j] == '+' || text[j] == '-')) j++;
    if (j < text.size() && IsDigit(text[j])) {
      negativeExponent = text[i + 1] == '-';
      while (j < text.size() && IsDigit(text[j])) j++;
      i = j;
    }
  }
  size_t from = (text[start] == '+') ? start + 1 : start;
  const char* end = text.data() + i;
  std::from_chars_result read = std::from_chars(text.data() + from, end, *value);
  if (read.ptr != end) return false;
  if (read.ec == std::errc::result_out_of_range && (wholeIsZero || negativeExponent)) {
    *value = 0.0;
  } else if (read.ec != std::errc()) {
    return false;
  }
  *pos = i;
  return true;
}

// One argument of rgb() or hsl(): a number and its unit ("", "%", "deg"...).
struct ColorArgument {
  double value = 0.0;
  std::string_view unit;
};

enum class Separator { kSpace, kComma, kSlash };

// Reads the arguments between the parentheses: three or four separated by
// commas, or three separated by white space with an optional "/ alpha".
static bool ParseColorArguments(std::string_view inside, ColorArgument args[4],
                                size_t* count, bool* commas) {
  Separator separators[4];  // one may follow a fourth number before it is refused
  size_t n = 0;
  size_t i = 0;
  while (i < inside.size() && IsSpace(inside[i])) i++;
  for (;;) {
    if (n == 4) return false;
    if (!ScanNumber(inside, &i, &args[n].value)) return false;
    size_t unitStart = i;
    if (i < inside.size() && inside[i] == '%') {
      i++;
    } else {
      while (i < inside.size() && IsLetter(inside[i])) i++;
    }
    args[n].unit = inside.substr(unitStart, i - unitStart);
    n++;
    bool space = false;
    while (i < inside.size() && IsSpace(inside[i])) i++, space = true;
    if (i == inside.size()) break;
    if (inside[i] == ',') {
      separators[n - 1] = Separator::kComma;
      i++;
    } else if (inside[i] == '/') {
      separators[n - 1] = Separator::kSlash;
      i++;
    } else if (space) {
      separators[n - 1] = Separator::kSpace;
    } else {
      return false;
    }
    while (i < inside.size() && IsSpace(inside[i])) i++;
  }
  if (n < 3) return false;
  bool allCommas = true;
  for (size_t s = 0; s + 1 < n; s++) allCommas = allCommas && separators[s] == Separator::kComma;
  bool spaced = separators[0] == Separator::kSpace && separators[1] == Separator::kSpace &&
                (n == 3 || separators[2] == Separator::kSlash);
  if (!allCommas && !spaced) return false;
  *count = n;
  *commas = allCommas;
  return true;
}

static double Clamp(double value, double low, double high) {
  return std::min(std::max(value, low), high);
}

// A bare number from 0 to `full`, or a percentage, as a fraction.
static bool FractionValue(const ColorArgument& arg, double full, double* out) {
  if (arg.unit.empty()) {
    *out = Clamp(arg.value, 0.0, full) / full;
  } else if (arg.unit == "%") {
    *out = Clamp(arg.value, 0.0, 100.0) / 100.0;
  } else {
    return false;
  }
  return true;
}

// A red, green or blue channel: 0-255 or a percentage. Not rounded to a
// byte: rgb(0.5 0 0) keeps its half step.
static bool ChannelValue(const ColorArgument& arg, double* out) { return FractionValue(arg, 255.0, out); }

static bool AlphaValue(const ColorArgument& arg, double* out) { return FractionValue(arg, 1.0, out); }

// Saturation or lightness as a fraction. The comma form insists on '%'; the
// space form also takes a bare number meaning the same.
static bool PercentValue(const ColorArgument& arg, bool numberAllowed, double* out) {
  if (arg.unit != "%" && !(numberAllowed && arg.unit.empty())) return false;
  *out = Clamp(arg.value, 0.0, 100.0) / 100.0;
  return true;
}

// The hue in degrees, wrapped into [0, 360).
static bool HueValue(const ColorArgument& arg, double* out) {
  constexpr double kPi = 3.14159265358979323846;
  double degrees;
  if (arg.unit.empty() || arg.unit == "deg") {
    degrees = arg.value;
  } else if (arg.unit == "rad") {
    degrees = arg.value * 180.0 / kPi;
  } else if (arg.unit == "grad") {
    degrees = arg.value * 360.0 / 400.0;  // 0.9 is inexact: 400grad would miss 360
  } else if (arg.unit == "turn") {
    degrees = arg.value * 360.0;
  } else {
    return false;
  }
  if (!std::isfinite(degrees)) return false;
  degrees = std::fmod(degrees, 360.0);
  if (degrees < 0.0) degrees += 360.0;
  *out = degrees;
  return true;
}

static Rgba HslToRgb(double hue, double saturation, double lightness, double alpha) {
  double chroma = saturation * std::min(lightness, 1.0 - lightness);
  auto channel = [&](double n) {
    double k = std::fmod(n + hue / 30.0, 12.0);
    double step = std::max(-1.0, std::min({k - 3.0, 9.0 - k, 1.0}));
    return lightness - chroma * step;  // within [0, 1] since chroma <= min(l, 1 - l)
  };
  return Rgba{channel(0.0), channel(8.0), channel(4.0), alpha};
}

bool ParseCssColor(std::string_view text, const Rgba& currentColor, Rgba* out) {
  std::string lower = LowerCopy(Trim(text));
  std::string_view color = lower;
  if (color.empty()) return false;
  if (color.front() == '#') return ParseHexColor(color.substr(1), out);
  if (color == "transparent") {
    *out = Rgba{0.0, 0.0, 0.0, 0.0};
    return true;
  }
  if (color == "currentcolor") {
    *out = currentColor;
    return true;
  }
  size_t open = color.find('(');
  if (open == std::string_view::npos) {
    for (const NamedColor& named : kColorNames) {
      if (color == named.name) {
        *out = FromBytes(named.rgb, 255);
        return true;
      }
    }
    return false;
  }
  if (color.back() != ')') return false;
  std::string_view function = color.substr(0, open);
  std::string_view inside = color.substr(open + 1, color.size() - open - 2);
  ColorArgument args[4];
  size_t count = 0;
  bool commas = false;
  if (!ParseColorArguments(inside, args, &count, &commas)) return false;
  double alpha = 1.0;
  if (count == 4 && !AlphaValue(args[3], &alpha)) return false;
  if (function == "rgb" || function == "rgba") {
    Rgba rgb;
    if (!ChannelValue(args[0], &rgb.r) || !ChannelValue(args[1], &rgb.g) ||
        !ChannelValue(args[2], &rgb.b)) {
      return false;
    }
    rgb.a = alpha;
    *out = rgb;
    return true;
  }
  if (function == "hsl" || function == "hsla") {
    double hue, saturation, lightness;
    if (!HueValue(args[0], &hue) || !PercentValue(args[1], !commas, &saturation) ||
        !PercentValue(args[2], !commas, &lightness)) {
      return false;
    }
    *out = HslToRgb(hue, saturation, lightness, alpha);
    return true;
  }
  return false;
}

// ---------------------------------------------------------------------------
// Declarations.

// A property name: an identifier, or a custom property ("--x").
static bool IsPropertyName(std::string_view name) {
  return !name.empty() && ScanIdent(name, 0) == name.size();
}

// Takes a trailing "! important" (any case and spacing) off `value`.
static bool StripImportant(std::string_view* value) {
  size_t bang = value->rfind('!');
  if (bang == std::string_view::npos) return false;
  if (!EqualNoCase(Trim(value->substr(bang + 1)), "important")) return false;
  *value = Trim(value->substr(0, bang));
  return true;
}

// Adds "name: value" unless it is junk. An empty value is junk too: CSS
// drops such a declaration rather than setting the property to nothing.
static void AddDeclaration(std::string_view text, std::vector<Declaration>* out) {
  size_t colon = text.find(':');
  if (colon == std::string_view::npos) return;
  std::string_view name = Trim(text.substr(0, colon));
  if (!IsPropertyName(name)) return;
  std::string_view value = Trim(text.substr(colon + 1));
  bool important = StripImportant(&value);
  if (value.empty()) return;
  out->push_back(Declaration{LowerCopy(name), std::string(value), important});
}

std::vector<Declaration> ParseDeclarations(std::string_view text) {
  std::vector<Declaration> out;
  std::string piece;  // the current declaration without its comments
  char quote = 0;
  int depth = 0;  // brackets of any kind: a data URL may hold ';'
  for (size_t i = 0; i < text.size(); i++) {
    char c = text[i];
    if (quote != 0) {
      piece += c;
      if (c == '\\' && i + 1 < text.size()) {
        piece += text[++i];
      } else if (c == quote) {
        quote = 0;
      }
      continue;
    }
    if (c == '/' && i + 1 < text.size() && text[i + 1] == '*') {
      size_t end = text.find("*/", i + 2);
      if (end == std::string_view::npos) break;
      i = end + 1;
      continue;
    }
    if (c == '"' || c == '\'') {
      quote = c;
    } else if (c == '(' || c == '[' || c == '{') {
      depth++;
    } else if ((c == ')' || c == ']' || c == '}') && depth > 0) {
      depth--;
    } else if (c == ';' && depth == 0) {
      AddDeclaration(piece, &out);
      piece.clear();
      continue;
    }
    piece += c;
  }
  AddDeclaration(piece, &out);
  return out;
}

// ---------------------------------------------------------------------------
// Selectors.

namespace {

// One compound selector such as path.a.b#c; an empty type matches any.
struct Compound {
  std::string type;
  std::vector<std::string> classes;
  std::vector<std::string> ids;
};

// How much a selector weighs: ids, then classes, then types.
struct Specificity {
  int ids = 0;
  int classes = 0;
  int types = 0;

  bool operator<(const Specificity& other) const {
    if (ids != other.ids) return ids < other.ids;
    if (classes != other.classes) return classes < other.classes;
    return types < other.types;
  }
};

// Compounds left to right; childOf[i] says compound i must be a child of
// compound i - 1 rather than any descendant (childOf[0] is unused).
struct Selector {
  std::vector<Compound> compounds;
  std::vector<bool> childOf;
  Specificity specificity;
};

}  // namespace

struct StyleSheet::Rule {
  std::vector<Selector> selectors;
  std::vector<Declaration> declarations;
};

StyleSheet::~StyleSheet() {
  for (Rule* rule : rules_) delete rule;
}

// Reads one selector of a list. False for anything outside the forms
// handled, so that the caller can leave it out.
static bool ParseSelector(std::string_view text, Selector* out) {
  size_t i = 0;
  bool child = false;
  if (text.empty()) return false;
  for (;;) {
    Compound compound;
    bool any = false;
    if (i < text.size() && text[i] == '*') {
      i++;
      any = true;
    } else {
      size_t end = ScanIdent(text, i);
      if (end != i) {
        compound.type = std::string(text.substr(i, end - i));
        out->specificity.types++;
        any = true;
        i = end;
      }
    }
    while (i < text.size() && (text[i] == '.' || text[i] == '#')) {
      size_t end = ScanIdent(text, i + 1);
      if (end == i + 1) return false;
      std::string name(text.substr(i + 1, end - i - 1));
      if (text[i] == '.') {
        compound.classes.push_back(name);
        out->specificity.classes++;
      } else {
        compound.ids.push_back(name);
        out->specificity.ids++;
      }
      any = true;
      i = end;
    }
    if (!any) return false;
    out->compounds.push_back(std::move(compound));
    out->childOf.push_back(child);
    bool space = false;
    while (i < text.size() && IsSpace(text[i])) i++, space = true;
    if (i == text.size()) return true;
    if (text[i] == '>') {
      child = true;
      i++;
      while (i < text.size() && IsSpace(text[i])) i++;
    } else if (space) {
      child = false;
    } else {
      return false;  // attribute, pseudo-class, sibling combinator, ...
    }
  }
}

// The element name without a namespace prefix: svg:path matches "path".
static std::string_view LocalName(const char* name) {
  std::string_view full(name);
  size_t colon = full.rfind(':');
  return colon == std::string_view::npos ? full : full.substr(colon + 1);
}

static bool HasClass(std::string_view classList, std::string_view name) {
  size_t i = 0;
  while (i < classList.size()) {
    while (i < classList.size() && IsSpace(classList[i])) i++;
    size_t start = i;
    while (i < classList.size() && !IsSpace(classList[i])) i++;
    if (i > start && classList.substr(start, i - start) == name) return true;
  }
  return false;
}

static bool MatchesCompound(const Compound& compound, pugi::xml_node node) {
  if (!compound.type.empty() && LocalName(node.name()) != compound.type) return false;
  for (const std::string& id : compound.ids) {
    if (id != node.attribute("id").value()) return false;
  }
  std::string_view classList = node.attribute("class").value();
  for (const std::string& name : compound.classes) {
    if (!HasClass(classList, name)) return false;
  }
  return true;
}

// Whether `selector` matches chain[0], where chain[d] is its ancestor d
// levels up. Descendant combinators could make a naive search backtrack
// exponentially on chains like "g g g g ... path", so this fills one row of
// "compound j matches here with everything to its left satisfied" per
// compound: compounds times depth steps.
static bool MatchesSelector(const Selector& selector, const std::vector<pugi::xml_node>& chain) {
  size_t last = selector.compounds.size() - 1;
  if (!MatchesCompound(selector.compounds[last], chain[0])) return false;
  size_t depth = chain.size();
  std::vector<char> row(depth), next(depth);
  for (size_t d = 0; d < depth; d++) row[d] = MatchesCompound(selector.compounds[0], chain[d]);
  for (size_t j = 1; j <= last; j++) {
    bool anyAbove = false;  // row[d'] for some d' > d
    for (size_t d = depth; d-- > 0;) {
      bool left = selector.childOf[j] ? (d + 1 < depth && row[d + 1]) : anyAbove;
      next[d] = left && MatchesCompound(selector.compounds[j], chain[d]);
      anyAbove = anyAbove || row[d];
    }
    row.swap(next);
  }
  return row[0] != 0;
}

// ---------------------------------------------------------------------------
// Sheets.

// The position after the string that opens at `pos`, or the end of the text.
static size_t SkipString(std::string_view text, size_t pos) {
  char quote = text[pos];
  for (size_t i = pos + 1; i < text.size(); i++) {
    if (text[i] == '\\') {
      i++;
    } else if (text[i] == quote) {
      return i + 1;
    }
  }
  return text.size();
}

// The position after the comment that opens at `pos`, or the end of the text.
static size_t SkipComment(std::string_view text, size_t pos) {
  size_t end = text.find("*/", pos + 2);
  return end == std::string_view::npos ? text.size() : end + 2;
}

// The first byte of `stops` at bracket depth zero from `pos` on, passing
// over strings and comments; the end of the text when there is none.
static size_t FindAtTopLevel(std::string_view text, size_t pos, std::string_view stops) {
  int depth = 0;
  while (pos < text.size()) {
    char c = text[pos];
    if (depth == 0 && stops.find(c) != std::string_view::npos) return pos;
    if (c == '"' || c == '\'') {
      pos = SkipString(text, pos);
      continue;
    }
    if (StartsWith(text, pos, "/*")) {
      pos = SkipComment(text, pos);
      continue;
    }
    if (c == '(' || c == '[' || c == '{') {
      depth++;
    } else if ((c == ')' || c == ']' || c == '}') && depth > 0) {
      depth--;
    }
    pos++;
  }
  return text.size();
}

void StyleSheet::Add(std::string_view cssText) {
  std::string_view text = cssText;
  size_t pos = 0;
  while (pos < text.size()) {
    if (IsSpace(text[pos])) {
      pos++;
      continue;
    }
    if (StartsWith(text, pos, "/*")) {
      pos = SkipComment(text, pos);
      continue;
    }
    // Markup a style element may leave in its text.
    bool markup = false;
    for (std::string_view token : {"<![CDATA[", "]]>", "<!--", "-->"}) {
      if (!markup && StartsWith(text, pos, token)) {
        pos += token.size();
        markup = true;
      }
    }
    if (markup) continue;
    if (text[pos] == '@') {
      unsupported_++;
      size_t end = FindAtTopLevel(text, pos, ";{");
      if (end < text.size() && text[end] == '{') end = FindAtTopLevel(text, end + 1, "}");
      pos = std::min(end + 1, text.size());
      continue;
    }
    size_t open = FindAtTopLevel(text, pos, "{");
    if (open == text.size()) {
      unsupported_++;  // trailing text that never opens a block
      return;
    }
    // A block left open at the end closes there, as in a browser.
    size_t close = FindAtTopLevel(text, open + 1, "}");
    std::string_view prelude = text.substr(pos, open - pos);
    std::string_view body = text.substr(open + 1, close - open - 1);
    pos = std::min(close + 1, text.size());

    Rule rule;
    size_t start = 0;
    while (start <= prelude.size()) {
      size_t comma = FindAtTopLevel(prelude, start, ",");
      Selector selector;
      if (ParseSelector(Trim(prelude.substr(start, comma - start)), &selector)) {
        rule.selectors.push_back(std::move(selector));
      } else {
        unsupported_++;
      }
      start = comma + 1;
    }
    if (rule.selectors.empty()) continue;
    rule.declarations = ParseDeclarations(body);
    if (!rule.declarations.empty()) rules_.push_back(new Rule(std::move(rule)));
  }
}

std::vector<Declaration> StyleSheet::Cascade(pugi::xml_node element) const {
  std::vector<Declaration> out;
  if (element.type() != pugi::node_element) return out;
  for (pugi::xml_attribute attribute : element.attributes()) {
    std::string_view value = Trim(attribute.value());
    if (IsPresentationProperty(attribute.name()) && !value.empty()) {
      out.push_back(Declaration{attribute.name(), std::string(value), false});
    }
  }

  std::vector<pugi::xml_node> chain;
  for (pugi::xml_node node = element; node.type() == pugi::node_element; node = node.parent()) {
    chain.push_back(node);
  }
  // A rule weighs as much as the heaviest of its selectors that matches.
  struct Match {
    Specificity specificity;
    const Rule* rule;
  };
  std::vector<Match> matches;
  for (const Rule* rule : rules_) {
    bool matched = false;
    Specificity best;
    for (const Selector& selector : rule->selectors) {
      if (MatchesSelector(selector, chain) && (!matched || best < selector.specificity)) {
        best = selector.specificity;
        matched = true;
      }
    }
    if (matched) matches.push_back(Match{best, rule});
  }
  // Stable, so that equal weights keep source order.
  std::stable_sort(matches.begin(), matches.end(), [](const Match& a, const Match& b) {
    return a.specificity < b.specificity;
  });

  std::vector<Declaration> style = ParseDeclarations(element.attribute("style").value());
  for (bool important : {false, true}) {
    for (const Match& match : matches) {
      for (const Declaration& declaration : match.rule->declarations) {
        if (declaration.important == important) out.push_back(declaration);
      }
    }
    for (const Declaration& declaration : style) {
      if (declaration.important == important) out.push_back(declaration);
    }
  }
  return out;
}

bool IsPresentationProperty(std::string_view name) {
  // Deliberately without transform: the tool reads it as an attribute of its
  // own, so it must not enter the cascade as a property.
  static const std::string_view kPresentationProperties[] = {
      "clip-path", "clip-rule", "color", "display", "fill", "fill-opacity", "fill-rule",
      "filter", "font-size", "mask", "opacity", "stop-color", "stop-opacity", "stroke",
      "stroke-dasharray", "stroke-dashoffset", "stroke-linecap", "stroke-linejoin",
      "stroke-miterlimit", "stroke-opacity", "stroke-width", "visibility",
  };
  for (std::string_view property : kPresentationProperties) {
    if (name == property) return true;
  }
  return false;
}

}  // namespace vorp::prep
