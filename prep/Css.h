#pragma once

// Style sheets, the cascade and CSS colours for vorp-prep: everything that
// decides the specified value of a presentation property on one element.

#include <string>
#include <string_view>
#include <vector>

#include <pugixml.hpp>

namespace vorp::prep {

// A colour with straight (not premultiplied) alpha, every channel in [0, 1].
struct Rgba {
  double r = 0.0;
  double g = 0.0;
  double b = 0.0;
  double a = 1.0;
};

// Reads any CSS colour: #rgb, #rgba, #rrggbb, #rrggbbaa, rgb()/rgba() with
// numbers or percentages (comma or space syntax, "/ alpha"), hsl()/hsla(),
// the CSS named colours, "transparent" and "currentColor" (which gives
// `currentColor`). Case-insensitive, surrounding white space ignored. Returns
// false for anything else ("none", "url(#a)", "inherit", garbage), leaving
// *out untouched.
bool ParseCssColor(std::string_view text, const Rgba& currentColor, Rgba* out);

// One "name: value" pair; names are lower case, values trimmed and without
// "!important".
struct Declaration {
  std::string name;
  std::string value;
  bool important = false;
};

// Splits the body of a style attribute or rule ("fill: red; stroke:blue")
// into declarations, in order. Tolerates comments, missing semicolons at the
// end, empty declarations and junk (skipped).
std::vector<Declaration> ParseDeclarations(std::string_view text);

// The rules of every <style> element of a document, in document order.
// Selectors handled: type, universal, .class, #id, compound forms of these
// (path.a.b#c), descendant (g .a) and child (g > .a) combinators, and
// selector lists (a, b). A selector that uses anything else (attribute
// selectors, pseudo-classes, sibling combinators) is kept out of its list
// and counted in `UnsupportedRules`, the rest of the list still applies;
// @media and other at-rules are skipped and counted too.
class StyleSheet {
 public:
  // Adds the text of one <style> element (CDATA or plain text).
  void Add(std::string_view cssText);

  // The declarations that apply to `element`, lowest priority first, so
  // that the last of a name wins: presentation attributes of the element
  // (every attribute whose name is a known presentation property: fill,
  // stroke, opacity, stop-color, ...), then the sheet's matching rules in
  // order of specificity and then source order, then the element's style
  // attribute, then every !important declaration of the sheet in the same
  // order, then the style attribute's !important ones.
  std::vector<Declaration> Cascade(pugi::xml_node element) const;

  // How many selectors, at-rules and unreadable rules were left out, for the
  // report.
  int UnsupportedRules() const { return unsupported_; }

 private:
  struct Rule;
  std::vector<Rule*> rules_;  // owned; see the destructor
  int unsupported_ = 0;

 public:
  StyleSheet() = default;
  StyleSheet(const StyleSheet&) = delete;
  StyleSheet& operator=(const StyleSheet&) = delete;
  ~StyleSheet();
};

// True for the names the cascade takes from attributes as presentation
// attributes (lower case).
bool IsPresentationProperty(std::string_view name);

}  // namespace vorp::prep
