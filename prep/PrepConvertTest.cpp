#include "prep/PrepConvert.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include <pugixml.hpp>

namespace vorp::prep {
namespace {

using Attributes = std::map<std::string, std::string>;

struct Converted {
  bool ok = false;
  PrepResult result;
  std::vector<Attributes> paths;
  std::vector<Attributes> gradients;  // each with its stops' colours appended
};

Converted Convert(const std::string& body, const std::string& svgAttributes = "viewBox=\"0 0 100 100\"",
                  PrepOptions options = PrepOptions()) {
  Converted c;
  std::string text = "<svg xmlns=\"http://www.w3.org/2000/svg\" xmlns:xlink=\"http://www.w3.org/1999/xlink\" " +
                     svgAttributes + ">\n" + body + "\n</svg>\n";
  c.ok = ConvertSvg(text, options, &c.result);
  if (!c.ok) return c;
  pugi::xml_document out;
  EXPECT_TRUE(out.load_string(c.result.svg.c_str()));
  for (pugi::xml_node n : out.document_element().children()) {
    if (std::string(n.name()) == "path") {
      Attributes a;
      for (pugi::xml_attribute at : n.attributes()) a[at.name()] = at.value();
      c.paths.push_back(a);
    }
  }
  for (pugi::xml_node g : out.document_element().child("defs").children()) {
    Attributes a;
    for (pugi::xml_attribute at : g.attributes()) a[at.name()] = at.value();
    for (pugi::xml_node s : g.children()) {
      a["stops"] += std::string(s.attribute("stop-color").value()) + "/" + s.attribute("stop-opacity").value() + " ";
    }
    c.gradients.push_back(a);
  }
  return c;
}

std::string Features(const PrepResult& result) {
  std::string out;
  for (const PrepIssue& issue : result.issues) out += std::to_string(issue.line) + ":" + issue.feature + " ";
  return out;
}

TEST(ConvertSvg, UnreadableInput) {
  struct Row {
    const char* text;
    const char* error;
  } rows[] = {
      {"", "not XML"},
      {"hello", "not XML"},
      {"<svg><g></svg>", "not XML"},
      {"<html><body/></html>", "not SVG"},
      {"<?xml version=\"1.0\"?><!-- only -->", "not"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    PrepResult result;
    EXPECT_FALSE(ConvertSvg(row.text, PrepOptions(), &result));
    EXPECT_TRUE(result.svg.empty());
    EXPECT_EQ(result.error.rfind(row.error, 0), 0u) << result.error;
  }
}

TEST(ConvertSvg, XmlTrimmingsAreTolerated) {
  PrepResult result;
  std::string text =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE svg PUBLIC \"-//W3C//DTD SVG 1.1//EN\" \"x.dtd\">\n"
      "<!-- c --><svg:svg xmlns:svg=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 10 10\">"
      "<svg:path d=\"M0 0H5V5Z\" fill=\"&#x23;00ff00\"/><svg:style><![CDATA[ path { stroke: red } ]]></svg:style></svg:svg>";
  ASSERT_TRUE(ConvertSvg(text, PrepOptions(), &result));
  EXPECT_NE(result.svg.find("fill=\"#00ff00\" stroke=\"#ff0000\""), std::string::npos) << result.svg;
}

TEST(ConvertSvg, EntityBombIsNotExpanded) {
  std::string text = "<?xml version=\"1.0\"?><!DOCTYPE svg [<!ENTITY a \"aaaaaaaaaa\">";
  for (int i = 1; i < 10; ++i) {
    std::string e = "&e" + std::to_string(i - 1) + ";";
    text += "<!ENTITY e" + std::to_string(i) + " \"" + (i == 1 ? std::string("&a;&a;&a;") : e + e + e + e + e + e + e + e) + "\">";
  }
  text += "]><svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 10 10\"><path d=\"M0 0H1V1Z\" fill=\"&e9;\"/></svg>";
  PrepResult result;
  ASSERT_TRUE(ConvertSvg(text, PrepOptions(), &result));
  EXPECT_LT(result.svg.size(), 1000u);
}

TEST(ConvertSvg, UseCyclesAndBombsEnd) {
  struct Row {
    const char* body;
    const char* feature;
  } rows[] = {
      {"<use id=\"u\" href=\"#u\"/>", "use-cycle"},
      {"<g id=\"a\"><rect width=\"1\" height=\"1\"/><use href=\"#a\"/></g>", "use-cycle"},
      {"<defs><g id=\"a\"><use href=\"#b\"/></g><g id=\"b\"><use xlink:href=\"#a\"/></g></defs><use href=\"#a\"/>",
       "use-cycle"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.body);
    Converted c = Convert(row.body);
    ASSERT_TRUE(c.ok);
    EXPECT_NE(Features(c.result).find(row.feature), std::string::npos) << Features(c.result);
  }
  // Ten uses of ten uses of ... nine levels deep: 10^9 shapes if expanded.
  std::string bomb = "<defs><rect id=\"l0\" width=\"1\" height=\"1\"/>";
  for (int level = 1; level < 10; ++level) {
    bomb += "<g id=\"l" + std::to_string(level) + "\">";
    for (int i = 0; i < 10; ++i) bomb += "<use href=\"#l" + std::to_string(level - 1) + "\"/>";
    bomb += "</g>";
  }
  bomb += "</defs><use href=\"#l9\"/>";
  Converted c = Convert(bomb);
  ASSERT_TRUE(c.ok);
  EXPECT_NE(Features(c.result).find("element-limit"), std::string::npos);
  EXPECT_LE(c.paths.size(), 200000u);
}

TEST(ConvertSvg, DeepNestingAndHugePathsAreBounded) {
  std::string deep;
  for (int i = 0; i < 20000; ++i) deep += "<g>";
  deep += "<rect width=\"1\" height=\"1\"/>";
  for (int i = 0; i < 20000; ++i) deep += "</g>";
  Converted c = Convert(deep);
  ASSERT_TRUE(c.ok);
  EXPECT_NE(Features(c.result).find("nesting-depth"), std::string::npos);
  EXPECT_TRUE(c.paths.empty());

  std::string d = "M0 0";
  d.reserve(3000000 * 4);
  for (int i = 0; i < 3000000; ++i) d += (i & 1) ? "L1 1" : "L0 1";
  Converted big = Convert("<path d=\"" + d + "\"/>");
  ASSERT_TRUE(big.ok);
  EXPECT_NE(Features(big.result).find("path-limit"), std::string::npos);
  EXPECT_LT(big.result.svg.size(), 100000000u);
}

TEST(ConvertSvg, Colours) {
  struct Row {
    const char* fill;
    const char* color;
    const char* opacity;
  } rows[] = {
      {"fill=\"currentColor\"", "#ff8000", ""},
      {"fill=\"rgba(0, 0, 255, 0.5)\"", "#0000ff", "0.5"},
      {"fill=\"#f008\"", "#ff0000", "0.53333336"},
      {"fill=\"#00ff0040\" fill-opacity=\"0.5\"", "#00ff00", "0.1254902"},
      {"fill=\"hsl(120, 100%, 25%)\"", "#008000", ""},
      {"style=\"fill: teal\" fill=\"red\"", "#008080", ""},
      {"fill=\"bogus\"", "#000000", ""},
      {"color=\"blue\" fill=\"currentColor\"", "#0000ff", ""},
  };
  PrepOptions options;
  options.currentColor = {1, 0.5, 0, 1};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.fill);
    Converted c = Convert(std::string("<rect width=\"5\" height=\"5\" ") + row.fill + "/>", "viewBox=\"0 0 10 10\"", options);
    ASSERT_TRUE(c.ok);
    ASSERT_EQ(c.paths.size(), 1u);
    EXPECT_EQ(c.paths[0]["fill"], row.color);
    EXPECT_EQ(c.paths[0]["fill-opacity"], row.opacity);
  }
  Converted none = Convert("<rect width=\"5\" height=\"5\" fill=\"transparent\"/>");
  EXPECT_TRUE(none.paths.empty());
}

TEST(ConvertSvg, StyleSheetAndInheritance) {
  Converted c = Convert(
      "<style>.a { fill: #123456 } g > .b { stroke: red; stroke-width: 3 } #c { fill: none }</style>"
      "<g fill=\"blue\" stroke-linecap=\"round\"><rect class=\"a\" width=\"1\" height=\"1\"/>"
      "<rect class=\"b\" width=\"1\" height=\"1\"/><rect id=\"c\" class=\"b\" fill=\"red\" width=\"1\" height=\"1\"/>"
      "<rect fill=\"inherit\" width=\"1\" height=\"1\" style=\"display:none\"/></g>");
  ASSERT_TRUE(c.ok);
  ASSERT_EQ(c.paths.size(), 3u);
  EXPECT_EQ(c.paths[0]["fill"], "#123456");
  EXPECT_EQ(c.paths[1]["fill"], "#0000ff");
  EXPECT_EQ(c.paths[1]["stroke"], "#ff0000");
  EXPECT_EQ(c.paths[1]["stroke-width"], "3");
  EXPECT_EQ(c.paths[1]["stroke-linecap"], "round");
  EXPECT_EQ(c.paths[2]["fill"], "none");
}

TEST(ConvertSvg, OpacityFolding) {
  Converted one = Convert("<g opacity=\"0.5\"><rect width=\"1\" height=\"1\" fill-opacity=\"0.5\"/></g>");
  ASSERT_EQ(one.paths.size(), 1u);
  EXPECT_EQ(one.paths[0]["fill-opacity"], "0.25");
  EXPECT_TRUE(one.result.issues.empty());
  Converted two = Convert("<g opacity=\"0.5\">\n<rect width=\"1\" height=\"1\"/><circle r=\"1\"/></g>");
  ASSERT_EQ(two.paths.size(), 2u);
  EXPECT_EQ(two.paths[1]["fill-opacity"], "0.5");
  EXPECT_EQ(Features(two.result), "2:group-opacity ");
}

TEST(ConvertSvg, TransformsUnitsAndViewports) {
  struct Row {
    const char* svg;
    const char* body;
    const char* d;
  } rows[] = {
      {"viewBox=\"10 20 100 100\"", "<path d=\"M10 20H15\" stroke=\"red\"/>", "M 0 0 L 5 0"},
      {"viewBox=\"0 0 100 100\"", "<g transform=\"translate(1 2)\"><path transform=\"scale(2)\" d=\"M1 1H2\" stroke=\"red\"/></g>",
       "M 3 4 L 5 4"},
      {"viewBox=\"0 0 100 100\"", "<path transform=\"skewX(45)\" d=\"M0 2H1\" stroke=\"red\"/>", "M 2 2 L 3 2"},
      {"width=\"1in\" height=\"10mm\"", "<line x1=\"50%\" y1=\"0\" x2=\"1in\" y2=\"100%\" stroke=\"red\"/>",
       "M 48 0 L 96 37.795277"},
      {"viewBox=\"0 0 100 100\"",
       "<defs><rect id=\"r\" width=\"2\" height=\"1\" stroke=\"red\" fill=\"none\"/></defs><use href=\"#r\" x=\"3\" y=\"4\"/>",
       "M 3 4 L 5 4 L 5 5 L 3 5 Z"},
      {"viewBox=\"0 0 100 100\"",
       "<symbol id=\"s\" viewBox=\"0 0 10 10\"><path d=\"M0 0H10\" stroke=\"red\"/></symbol>"
       "<use xlink:href=\"#s\" x=\"5\" width=\"20\" height=\"20\"/>",
       "M 5 0 L 25 0"},
      {"viewBox=\"0 0 100 100\"", "<svg x=\"10\" width=\"50\" height=\"50\" viewBox=\"0 0 5 5\"><path d=\"M0 1H1\" stroke=\"red\"/></svg>",
       "M 10 10 L 20 10"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.body);
    Converted c = Convert(row.body, row.svg);
    ASSERT_TRUE(c.ok);
    ASSERT_EQ(c.paths.size(), 1u) << c.result.svg;
    EXPECT_EQ(c.paths[0]["d"], row.d);
  }
}

TEST(ConvertSvg, StrokesFollowTheirTransform) {
  Converted c = Convert("<g transform=\"scale(2)\"><path d=\"M0 0H4\" stroke=\"red\" stroke-width=\"3\" "
                        "stroke-dasharray=\"1, 2 5\" stroke-dashoffset=\"1\"/></g>");
  ASSERT_EQ(c.paths.size(), 1u);
  EXPECT_EQ(c.paths[0]["stroke-width"], "6");
  EXPECT_EQ(c.paths[0]["stroke-dasharray"], "2 4 10");
  EXPECT_EQ(c.paths[0]["stroke-dashoffset"], "2");
  EXPECT_TRUE(c.result.issues.empty());
  Converted skewed = Convert("<path transform=\"scale(2 1)\" d=\"M0 0H4\" stroke=\"red\"/>");
  EXPECT_EQ(Features(skewed.result), "2:non-uniform-stroke ");
}

TEST(ConvertSvg, NonZeroFillsTurnOneWay) {
  // Both squares drawn clockwise on screen; the result runs the other way.
  Converted c = Convert("<path d=\"M0 0H10V10H0Z\"/><path d=\"M0 0H10V10H0Z\" fill-rule=\"evenodd\"/>"
                        "<path d=\"M0 0V10H10V0Z\"/>");
  ASSERT_EQ(c.paths.size(), 3u);
  EXPECT_EQ(c.paths[0]["d"], "M 0 10 L 10 10 L 10 0 L 0 0 Z");
  EXPECT_EQ(c.paths[1]["d"], "M 0 0 L 10 0 L 10 10 L 0 10 Z");
  EXPECT_EQ(c.paths[2]["d"], "M 0 0 L 0 10 L 10 10 L 10 0 Z");
}

TEST(ConvertSvg, PaintOrderAndVisibility) {
  Converted c = Convert(
      "<path d=\"M0 0H4V4Z\" fill=\"red\" stroke=\"blue\" paint-order=\"stroke\"/>"
      "<g visibility=\"hidden\"><rect width=\"1\" height=\"1\"/><rect width=\"2\" height=\"2\" visibility=\"visible\"/></g>"
      "<switch><foreignObject/><circle r=\"1\"/><rect width=\"3\" height=\"3\"/></switch>");
  ASSERT_EQ(c.paths.size(), 4u);
  EXPECT_EQ(c.paths[0]["fill"], "none");
  EXPECT_EQ(c.paths[0]["stroke"], "#0000ff");
  EXPECT_EQ(c.paths[1]["fill"], "#ff0000");
  EXPECT_EQ(c.paths[1]["stroke"], "");
  EXPECT_EQ(c.paths[2]["d"], "M 0 2 L 2 2 L 2 0 L 0 0 Z");
  EXPECT_EQ(c.paths[3]["d"].substr(0, 6), "M 1 0 ");
}

TEST(ConvertSvg, Gradients) {
  Converted c = Convert(
      "<defs><linearGradient id=\"base\"><stop offset=\"0\" stop-color=\"red\"/>"
      "<stop offset=\"1\" stop-color=\"blue\" stop-opacity=\"0.5\"/></linearGradient>"
      "<linearGradient id=\"g\" xlink:href=\"#base\" x1=\"0\" y1=\"0\" x2=\"0\" y2=\"1\"/></defs>"
      "<rect x=\"10\" y=\"20\" width=\"30\" height=\"40\" fill=\"url(#g)\" opacity=\"0.5\"/>");
  ASSERT_EQ(c.paths.size(), 1u);
  ASSERT_EQ(c.gradients.size(), 1u);
  EXPECT_EQ(c.paths[0]["fill"], "url(#" + c.gradients[0]["id"] + ")");
  EXPECT_EQ(c.gradients[0]["gradientUnits"], "userSpaceOnUse");
  EXPECT_EQ(c.gradients[0]["x1"] + "," + c.gradients[0]["y1"] + " " + c.gradients[0]["x2"] + "," + c.gradients[0]["y2"],
            "0,20 0,60");
  EXPECT_EQ(c.gradients[0]["stops"], "#ff0000/0.5 #0000ff/0.25 ");
  EXPECT_TRUE(c.result.issues.empty()) << Features(c.result);

  // Offsets inside the ramp move its ends; a rotated user-space gradient
  // becomes plain end points; a third colour is lost.
  Converted moved = Convert(
      "<linearGradient id=\"g\" gradientUnits=\"userSpaceOnUse\" x1=\"0\" x2=\"10\" gradientTransform=\"rotate(90)\">"
      "<stop offset=\"0.2\" stop-color=\"red\"/><stop offset=\"0.6\" stop-color=\"blue\"/></linearGradient>"
      "<rect width=\"10\" height=\"10\" fill=\"url(#g)\"/>\n"
      "<linearGradient id=\"h\"><stop stop-color=\"red\"/><stop offset=\".5\" stop-color=\"lime\"/><stop offset=\"1\" stop-color=\"blue\"/></linearGradient>"
      "<rect width=\"10\" height=\"10\" fill=\"url(#h)\"/>");
  ASSERT_EQ(moved.gradients.size(), 2u);
  EXPECT_EQ(moved.gradients[0]["x1"] + "," + moved.gradients[0]["y1"] + " " + moved.gradients[0]["x2"] + "," +
                moved.gradients[0]["y2"],
            "0,2 0,6");
  EXPECT_EQ(Features(moved.result), "3:gradient-stops ");

  Converted radial = Convert(
      "<radialGradient id=\"r\" fx=\"0.2\"><stop stop-color=\"red\"/><stop offset=\"1\" stop-color=\"blue\"/></radialGradient>"
      "<rect width=\"10\" height=\"20\" fill=\"url(#r)\" stroke=\"url(#r)\"/>");
  ASSERT_EQ(radial.gradients.size(), 1u);
  EXPECT_EQ(radial.gradients[0]["cx"] + " " + radial.gradients[0]["cy"], "5 10");
  EXPECT_EQ(radial.paths[0]["stroke"], "#800080");
  EXPECT_EQ(Features(radial.result), "2:focal-point 2:radial-gradient-shape 2:stroke-gradient ");
}

TEST(ConvertSvg, RoundStrokesBreakAtReversals) {
  const std::string round = " stroke=\"#000\" stroke-linecap=\"round\" stroke-linejoin=\"round\"";
  const std::string data = "M12 11L15 7L11 11";
  const std::string broken = "M 12 11 L 15 7 M 15 7 L 11 11";
  struct Row {
    std::string attributes;
    std::vector<std::string> expected;  // d of each path written, "fill" for the fill alone
  } rows[] = {
      {"fill=\"none\"" + round, {broken}},
      // The fill keeps its outline; the stroke goes apart after it.
      {"fill=\"#f00\"" + round, {"fill", broken}},
      {"fill=\"#f00\" paint-order=\"stroke\"" + round, {broken, "fill"}},
      // Other joins, caps and dashed strokes draw differently when broken.
      {"fill=\"none\" stroke=\"#000\" stroke-linecap=\"square\" stroke-linejoin=\"round\"", {"M 12 11 L 15 7 L 11 11"}},
      {"fill=\"none\" stroke=\"#000\" stroke-linecap=\"round\"", {"M 12 11 L 15 7 L 11 11"}},
      {"fill=\"none\" stroke-dasharray=\"1 1\"" + round, {"M 12 11 L 15 7 L 11 11"}},
  };
  Converted fillOnly = Convert("<path d=\"" + data + "\" fill=\"#f00\"/>");
  ASSERT_TRUE(fillOnly.ok);
  ASSERT_EQ(fillOnly.paths.size(), 1u);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.attributes);
    Converted c = Convert("<path d=\"" + data + "\" " + row.attributes + "/>");
    ASSERT_TRUE(c.ok);
    ASSERT_EQ(c.paths.size(), row.expected.size());
    for (size_t i = 0; i < c.paths.size(); ++i) {
      if (row.expected[i] == "fill") {
        EXPECT_EQ(c.paths[i], fillOnly.paths[0]);
      } else {
        EXPECT_EQ(c.paths[i]["d"], row.expected[i]);
        EXPECT_EQ(c.paths[i]["fill"], "none");
        EXPECT_EQ(c.paths[i]["stroke"], "#000000");
      }
    }
  }
}

TEST(ConvertSvg, ReportNamesWhatIsLost) {
  Converted c = Convert(
      "<clipPath id=\"c\"><rect width=\"5\" height=\"5\"/></clipPath>\n"
      "<rect width=\"9\" height=\"9\" clip-path=\"url(#c)\"/>\n"
      "<text>hello</text>\n"
      "<g filter=\"url(#f)\"><image href=\"x.png\"/></g>\n"
      "<rect width=\"9\" height=\"9\" fill=\"url(#p)\"/><pattern id=\"p\"/>\n"
      "<style>rect:hover { fill: red }</style>");
  ASSERT_TRUE(c.ok);
  EXPECT_EQ(Features(c.result), "3:clip-path 4:text 5:image 6:pattern 7:css-rule ");
  // The pattern without a fallback paints nothing, as a missing reference does.
  EXPECT_EQ(c.paths.size(), 1u);
}

}  // namespace
}  // namespace vorp::prep
