#pragma once

// PrepConvert: one SVG document in, one SVG document out that vorp's
// importer draws as the original draws, plus the list of what could not be
// kept.

#include <string>
#include <string_view>
#include <vector>

#include "prep/Css.h"

namespace vorp::prep {

struct PrepOptions {
  // What currentColor means where the document sets no `color`.
  Rgba currentColor{0.0, 0.0, 0.0, 1.0};
};

// One feature that the output does not draw as the input did.
struct PrepIssue {
  int line = 0;          // 1-based line of the element in the input
  std::string feature;   // a fixed lower-case name such as "clip-path"
};

struct PrepResult {
  std::string svg;                  // the converted document
  std::vector<PrepIssue> issues;    // in document order, no repeats
  std::string error;                // why the input was unreadable
};

// False, with `error` set and `svg` empty, when the text is not XML or not
// an SVG document. Every other defect is converted as well as it can be and
// listed in `issues`. Work is bounded for any input: <use> depth and total
// element visits, element nesting and path segments all have limits, and
// hitting one is an issue.
bool ConvertSvg(std::string_view text, const PrepOptions& options, PrepResult* result);

}  // namespace vorp::prep
