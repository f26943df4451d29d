// Tests of CSS colours, declaration lists, selectors and the cascade order.
#include "prep/Css.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using vorp::prep::Declaration;
using vorp::prep::IsPresentationProperty;
using vorp::prep::ParseCssColor;
using vorp::prep::ParseDeclarations;
using vorp::prep::Rgba;
using vorp::prep::StyleSheet;

TEST(ParseCssColor, ReadsEveryForm) {
  // Expected channels on the 0-255 scale, alpha on 0-1.
  struct Row {
    const char* text;
    double r, g, b, a;
  };
  const Row rows[] = {
      {"#1Ab", 17, 170, 187, 1},
      {"#0a0B0c", 10, 11, 12, 1},
      {"#f008", 255, 0, 0, 136.0 / 255.0},
      {"#11223380", 17, 34, 51, 128.0 / 255.0},
      {"  red\n", 255, 0, 0, 1},
      {"RebeccaPurple", 102, 51, 153, 1},
      {"grey", 128, 128, 128, 1},
      {"DarkSlateGray", 47, 79, 79, 1},
      {"darkslategrey", 47, 79, 79, 1},
      {"lightgoldenrodyellow", 250, 250, 210, 1},
      {"yellowgreen", 154, 205, 50, 1},
      {"TRANSPARENT", 0, 0, 0, 0},
      {"rgb(300,-5,50%)", 255, 0, 127.5, 1},
      {"RGBA( 10 , 20 , 30 , 0.5 )", 10, 20, 30, 0.5},
      {"rgb(1.5, 2.5e1, 100%)", 1.5, 25, 255, 1},
      {"rgb(+1, .5, 0)", 1, 0.5, 0, 1},
      {"rgb(1e-400, 0.0e+0, 1e2)", 0, 0, 100, 1},
      {"rgba(0,0,0,2)", 0, 0, 0, 1},
      {"rgba(0,0,0,-1)", 0, 0, 0, 0},
      {"rgb(10 20 30)", 10, 20, 30, 1},
      {"rgb(10 20 30 / 25%)", 10, 20, 30, 0.25},
      {"rgb(10 20 30/.5)", 10, 20, 30, 0.5},
      {"rgb(0 0 0 / 150%)", 0, 0, 0, 1},
      {"hsl(120, 100%, 25%)", 0, 127.5, 0, 1},
      {"hsl(480 100% 25%)", 0, 127.5, 0, 1},
      {"hsl(-240deg, 100%, 25%)", 0, 127.5, 0, 1},
      {"hsl(400grad 100% 50%)", 255, 0, 0, 1},
      {"hsl(0.5turn 100% 50%)", 0, 255, 255, 1},
      {"hsl(3.141592653589793rad 100% 50%)", 0, 255, 255, 1},
      {"hsl(240 100% 50%)", 0, 0, 255, 1},
      {"HSLA(0, 0%, 100%, 0.5)", 255, 255, 255, 0.5},
      {"hsl(0 0 50)", 127.5, 127.5, 127.5, 1},
      {"hsl(30, 200%, -10%)", 0, 0, 0, 1},
  };
  const Rgba current{0.25, 0.5, 0.75, 0.125};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    Rgba out;
    ASSERT_TRUE(ParseCssColor(row.text, current, &out));
    EXPECT_NEAR(out.r * 255.0, row.r, 1e-9);
    EXPECT_NEAR(out.g * 255.0, row.g, 1e-9);
    EXPECT_NEAR(out.b * 255.0, row.b, 1e-9);
    EXPECT_NEAR(out.a, row.a, 1e-12);
  }
  for (const char* text : {"currentColor", " CURRENTCOLOR "}) {
    Rgba out;
    ASSERT_TRUE(ParseCssColor(text, current, &out));
    EXPECT_EQ(out.g, 0.5);
    EXPECT_EQ(out.a, 0.125);
  }
}

TEST(ParseCssColor, RejectsOthersAndLeavesTheTarget) {
  const char* const rows[] = {
      "", "  ", "none", "inherit", "url(#a)", "red x", "redd", "currentColour",
      "#", "#12", "#12345", "#1234567", "#123456789", "#ggg", "# 123",
      "rgb(1,2)", "rgb(1,2,3,4,5)", "rgb(1 2,3)", "rgb(1,2,3 / 0.5)", "rgb(1 2 3 4)",
      "rgb(1 / 2 3)", "rgb(1 2 3 /)", "rgb(1,2,3,)", "rgb(1,,2,3)", "rgb(1,2,3",
      "rgb (1,2,3)", "rgb(1,2,3))", "rgb(1px,2,3)", "rgb(1,2,3,4deg)", "rgb(1-2-3)",
      "rgb(inf,0,0)", "rgb(nan,0,0)", "rgb(0x10,0,0)", "rgb(1e400,0,0)", "rgb()",
      "rgb(none 0 0)", "hsl(120,50,50)", "hsl(120foo,50%,50%)", "hsl(1e308turn 0% 0%)",
      "hsl(120 50% 50px)", "cmyk(1,2,3)", "rgb(1,2,3)x",
  };
  for (const char* text : rows) {
    SCOPED_TRACE(text);
    Rgba out{0.125, 0.25, 0.375, 0.5};
    EXPECT_FALSE(ParseCssColor(text, Rgba{}, &out));
    EXPECT_EQ(out.r, 0.125);
    EXPECT_EQ(out.g, 0.25);
    EXPECT_EQ(out.b, 0.375);
    EXPECT_EQ(out.a, 0.5);
  }
}

// Declarations as "name=value", "!" after an important one, joined by '|'.
static std::string Joined(const std::vector<Declaration>& declarations) {
  std::string text;
  for (const Declaration& d : declarations) {
    if (!text.empty()) text += '|';
    text += d.name + "=" + d.value + (d.important ? "!" : "");
  }
  return text;
}

TEST(ParseDeclarations, SplitsTrimsAndSkipsJunk) {
  struct Row {
    const char* text;
    const char* expected;
  };
  const Row rows[] = {
      {"fill: red; stroke:blue", "fill=red|stroke=blue"},
      {"  FILL :  Red  ;;; ;", "fill=Red"},
      {"fill: url(data:image/png;base64,AA==) ; x:y", "fill=url(data:image/png;base64,AA==)|x=y"},
      {"font-family: 'a;b', \"c;\\\"d\"; fill: red", "font-family='a;b', \"c;\\\"d\"|fill=red"},
      {"fill: red !important; stroke: blue!IMPORTANT; opacity: 1 ! Important",
       "fill=red!|stroke=blue!|opacity=1!"},
      {"fill: red important; stroke: !important", "fill=red important"},
      {"fill/* c; */: red; /* x */ stroke: blue /* y */", "fill=red|stroke=blue"},
      {"fill: red; /* never closed; stroke: blue", "fill=red"},
      {"fill red; : blue; stroke:; x y: z; 1a: b; a.b: c", ""},
      {"--custom: 1; fill:a:b", "--custom=1|fill=a:b"},
      {"fill: red; .a { stroke: blue }; opacity: 0", "fill=red|opacity=0"},
      {"fill: url(#a; stroke: red", "fill=url(#a; stroke: red"},
      {"", ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(Joined(ParseDeclarations(row.text)), row.expected);
  }
}

// A small drawing for the selector tests; every element of interest has an id.
static const char kDrawing[] =
    "<svg xmlns='http://www.w3.org/2000/svg' xmlns:svg='http://www.w3.org/2000/svg'>"
    "  <g id='top' class='group  outer'>"
    "    <g class='inner'>"
    "      <path id='p' class='a\tb' fill='green' stroke-width='2' transform='scale(2)'"
    "            onclick='x' Fill='no'/>"
    "    </g>"
    "  </g>"
    "  <svg:circle id='c' class='a'/>"
    "  <rect id='r' fill=' ' style='fill: s1; stroke: s0; fill: s2 !important'/>"
    "</svg>";

static pugi::xml_node ById(const pugi::xml_document& document, const char* id) {
  return document.find_node([id](pugi::xml_node node) {
    return std::string(node.attribute("id").value()) == id;
  });
}

// The values `name` takes in the cascade of `node`, lowest priority first.
static std::string Values(const StyleSheet& sheet, pugi::xml_node node, const char* name) {
  std::string text;
  for (const Declaration& d : sheet.Cascade(node)) {
    if (d.name != name) continue;
    if (!text.empty()) text += ' ';
    text += d.value;
  }
  return text;
}

TEST(StyleSheet, MatchesSelectors) {
  pugi::xml_document document;
  ASSERT_TRUE(document.load_string(kDrawing));
  pugi::xml_node path = ById(document, "p");
  struct Row {
    const char* selector;
    bool matches;
  };
  const Row rows[] = {
      {"path", true},           {"PATH", false},          {"*", true},
      {"*.a", true},            {".a", true},             {".a.b", true},
      {".b.a", true},           {".a.c", false},          {".a\tb", false},
      {"#p", true},             {"path#p.a", true},       {".a#p#q", false},
      {"g path", true},         {"svg path", true},       {"#top path", true},
      {"#top > path", false},   {".inner > path", true},  {"g>g>path", true},
      {"svg > g path", true},   {"svg > path", false},    {".outer .inner path", true},
      {".inner .outer path", false}, {"g g path", true},  {"g g g path", false},
      {".group", false},        {"rect, path", true},     {"path, rect", true},
      {"path[fill]", false},    {"path:hover", false},    {"path::before", false},
      {"g + path", false},      {"g ~ path", false},      {"svg|path", false},
      {"#p > *", false},        {"> path", false},        {"path >", false},
      {"pa\\th", false},        {"", false},              {"path,", true},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.selector);
    StyleSheet sheet;
    sheet.Add(std::string(row.selector) + " { fill: blue }");
    EXPECT_EQ(Values(sheet, path, "fill"), row.matches ? "green blue" : "green");
  }

  // A prefixed element name matches by its local name.
  StyleSheet sheet;
  sheet.Add("circle { fill: blue }");
  EXPECT_EQ(Values(sheet, ById(document, "c"), "fill"), "blue");
}

TEST(StyleSheet, CountsWhatItLeavesOut) {
  pugi::xml_document document;
  ASSERT_TRUE(document.load_string(kDrawing));
  StyleSheet sheet;
  sheet.Add(
      "a[x] { fill: red }\n"
      "path:hover, path { fill: blue }\n"
      "@media print { .a { fill: red } .b { fill: red } }\n"
      "@import url(x.css);\n"
      "@font-face { src: url('a;}b') }\n"
      "d + e, f ~ g, .a { stroke: red }\n");
  EXPECT_EQ(sheet.UnsupportedRules(), 7);
  pugi::xml_node path = ById(document, "p");
  EXPECT_EQ(Values(sheet, path, "fill"), "green blue");
  EXPECT_EQ(Values(sheet, path, "stroke"), "red");
}

TEST(StyleSheet, OrdersBySpecificityThenSource) {
  pugi::xml_document document;
  ASSERT_TRUE(document.load_string(kDrawing));
  pugi::xml_node path = ById(document, "p");

  StyleSheet sheet;
  sheet.Add("#p { fill: c1 } .a.b { fill: c2 } path { fill: c3 } .a { fill: c4 }");
  sheet.Add("g > path { fill: c5 } svg g g path { fill: c6 } .b, #top #p { fill: c7 }");
  EXPECT_EQ(Values(sheet, path, "fill"), "green c3 c5 c6 c4 c2 c1 c7");

  StyleSheet ties;
  ties.Add(".b { fill: x }");
  ties.Add(".a { fill: y } .b { fill: z }");
  EXPECT_EQ(Values(ties, path, "fill"), "green x y z");

  // Only presentation properties come from attributes, names compared exactly;
  // a blank attribute value gives nothing.
  std::vector<Declaration> all = StyleSheet().Cascade(path);
  EXPECT_EQ(Joined(all), "fill=green|stroke-width=2");
  EXPECT_EQ(Values(sheet, ById(document, "r"), "fill"), "s1 s2");
  EXPECT_TRUE(StyleSheet().Cascade(document).empty());
}

TEST(StyleSheet, ImportantComesLast) {
  pugi::xml_document document;
  ASSERT_TRUE(document.load_string(kDrawing));
  StyleSheet sheet;
  sheet.Add("#r { fill: r1 !important; stroke: r4 } rect { fill: r2 ! IMPORTANT; stroke: r3 }");
  EXPECT_EQ(Joined(sheet.Cascade(ById(document, "r"))),
            "stroke=r3|stroke=r4|fill=s1|stroke=s0|fill=r2!|fill=r1!|fill=s2!");
}

TEST(StyleSheet, SurvivesGarbage) {
  pugi::xml_document document;
  ASSERT_TRUE(document.load_string(kDrawing));
  pugi::xml_node path = ById(document, "p");
  const std::string mega = std::string(1 << 20, '{');
  struct Row {
    std::string text;
    const char* fill;
  };
  const Row rows[] = {
      {"<![CDATA[ .a { fill: x } ]]>", "green x"},
      {"<!-- .a { fill: x } -->", "green x"},
      {".a { fill: x", "green x"},
      {".a { fill: x; .b { fill: y } stroke: z }", "green x"},
      {"/* unterminated .a { fill: x }", "green"},
      {".a fill: x }", "green"},
      {"}}}} .a { fill: x }", "green"},
      {"@media { .a { fill: x }", "green"},
      {"@media", "green"},
      {"{ fill: x } .a { fill: y }", "green y"},
      {mega, "green"},
      {".a" + mega, "green"},
      {std::string(1 << 20, '}'), "green"},
      {std::string(1 << 20, '('), "green"},
      {".a { fill: x; stroke: " + std::string(1 << 20, '('), "green x"},
      {std::string(1 << 20, '@'), "green"},
      {std::string(1 << 20, '"'), "green"},
      {".a { fill: x }" + std::string(1 << 20, '/'), "green x"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text.substr(0, 40));
    StyleSheet sheet;
    sheet.Add(row.text);
    EXPECT_EQ(Values(sheet, path, "fill"), row.fill);
  }
}

TEST(StyleSheet, DeepChainsStayLinear) {
  // 300 nested groups around a path, and selectors of 150 descendant steps
  // whose first step matches nothing: a backtracking matcher would try every
  // way of placing the other steps on the ancestors.
  std::string xml;
  for (int i = 0; i < 300; i++) xml += "<g>";
  xml += "<path id='p'/>";
  for (int i = 0; i < 300; i++) xml += "</g>";
  pugi::xml_document document;
  ASSERT_TRUE(document.load_string(xml.c_str()));
  pugi::xml_node path = ById(document, "p");

  std::string steps;
  for (int i = 0; i < 150; i++) steps += "g ";
  StyleSheet sheet;
  sheet.Add(".x " + steps + "path { fill: x } " + steps + "path { fill: y }");
  std::string deepest;
  for (int i = 0; i < 300; i++) deepest += "g > ";
  sheet.Add(deepest + "path { fill: z }");
  sheet.Add("g > " + deepest + "path { fill: w }");
  EXPECT_EQ(Values(sheet, path, "fill"), "y z");
}

TEST(IsPresentationProperty, KnowsTheAttributeNames) {
  for (const char* name : {"fill", "fill-rule", "stroke-dasharray", "stop-color", "opacity",
                           "clip-path", "mask", "font-size", "display", "visibility"}) {
    EXPECT_TRUE(IsPresentationProperty(name)) << name;
  }
  for (const char* name : {"transform", "Fill", "style", "class", "d", "", "fill "}) {
    EXPECT_FALSE(IsPresentationProperty(name)) << name;
  }
}
