// Tests of the svg root, the shape elements and the readers of points and path data.
#include "svg/SvgImporter.h"

#include <gtest/gtest.h>

#include <string>

#include "support/TestSupport.h"
#include "svg/SvgTestSupport.h"

TEST(SvgReadSvgRoot, CanvasFromSizeOrViewBox)
{
	struct Row
	{
		const char* text;
		const char* result;
		const char* tree;
	};

	const Row rows[] =
	{
		{"<svg width=\"100\" height=\"50\" viewBox=\"0 0 10 5\">", "0", "canv{rang{F2{0,100,0,50}}}"},
		{"<svg width=\"100%\" height=\"100%\" viewBox=\"0 0 10 5\">", "0", "canv{rang{F2{0,10,0,5}}}"},
		{"<svg width=\"100 %\" height=\"50\" viewBox=\"0 0 10 5\">", "0", "canv{rang{F2{0,10,0,5}}}"},
		{"<svg width=\"100\">", "SVIV", ""},
		{"<svg width=\"100\" viewBox=\"1 2 3 4\">", "0", "canv{rang{F2{1,4,2,6}}}"},
		{"<svg viewBox=\"1,2,3,4\">", "0", "canv{rang{F2{1,4,2,6}}}"},
		{"<svg viewBox=\" 1 , 2 , 3 , 4 \">", "0", "canv{rang{F2{1,4,2,6}}}"},
		{"<svg viewBox=\"0 0 10\">", "SVIV", ""},
		{"<svg viewBox=\"0 0 -10 5\">", "SVIV", ""},
		{"<svg x=\"5\" y=\"6\" width=\"10mm\" height=\"20pt\">", "0", "canv{rang{F2{5,15,6,26}}}"},
		{"<svg x=\"5\" y=\"6\" viewBox=\"1 2 3 4\">", "0", "canv{rang{F2{1,4,2,6}}}"},
		{"<svg width=\"-10\" height=\"5\">", "SVIV", ""},
		{"<svg width=\"10\" height=\"5\" viewBox=\"0 0 0 0\">", "0", "canv{rang{F2{0,10,0,5}}}"},
		{"<svg:svg width=\"10\" height=\"5\">", "SVIV", ""},
		{"<svg width=\"1e3\" height=\"2\">", "0", "canv{rang{F2{0,1000,0,2}}}"},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		uint32_t result = 1;
		EXPECT_EQ(ImportTree(row.text, &result), row.tree);
		EXPECT_EQ(CodeString(result), row.result);
	}
}

TEST(SvgReadSvgRoot, CanvasReachesTheDocument)
{
	VectorDocument document;
	ImportInto(&document, "<svg viewBox=\"10 20 30 40\"></svg>");
	ASSERT_EQ(document.ProcessDocument(), 0u);
	EXPECT_EQ(document.canvasMin[0], 10.0f);
	EXPECT_EQ(document.canvasMin[1], 20.0f);
	EXPECT_EQ(document.canvasMax[0], 40.0f);
	EXPECT_EQ(document.canvasMax[1], 60.0f);
}

TEST(SvgShapes, ElementsAndTheirTests)
{
	struct Row
	{
		const char* text;
		const char* tree;
	};

	const Row rows[] =
	{
		{"<line x1=\"1\" y1=\"2\" x2=\"3\" y2=\"4\"/>", "line{flip(0) fill{} F2{1,2,3,4}}"},
		{"<line x1=\"1\" x1=\"5\"/>", "line{flip(0) fill{} F2{5,0,0,0}}"},
		{"<line x1=\"50%\" y1=\"2em\" x2=\"abc\"/>", "line{flip(0) fill{} F2{50,2,0,0}}"},
		{"<rect x=\"1\" y=\"2\" width=\"3\" height=\"4\"/>", "rect{flip(0) fill{} F2{1,2,4,6}}"},
		{"<rect/>", "rect{flip(0) fill{} F2{0,0,0,0}}"},
		{"<rect width=\"-1\" height=\"4\"/>", ""},
		{"<rect width=\"1\" height=\"-4\"/>", ""},
		{"<rect rx=\"5\" width=\"10\" height=\"10\"/>", "rect{flip(0) fill{} radi{F{5}} F2{0,0,10,10}}"},
		{"<rect ry=\"5\" width=\"10\" height=\"10\"/>", "rect{flip(0) fill{} radi{F{5}} F2{0,0,10,10}}"},
		{"<rect rx=\"2\" ry=\"3\" width=\"10\" height=\"10\"/>", "rect{flip(0) fill{} radi{F2{2,3}} F2{0,0,10,10}}"},
		{"<rect rx=\"0\" ry=\"5\" width=\"10\" height=\"10\"/>", "rect{flip(0) fill{} F2{0,0,10,10}}"},
		{"<rect rx=\"-1\" width=\"10\" height=\"10\"/>", ""},
		{"<rect rx=\"50\" width=\"10\" height=\"10\"/>", "rect{flip(0) fill{} radi{F{50}} F2{0,0,10,10}}"},
		{"<circle cx=\"1\" cy=\"2\" r=\"3\"/>", "circ{flip(0) fill{} radi{F{3}} F2{1,2}}"},
		{"<circle r=\"0\"/>", "circ{flip(0) fill{} radi{F{0}} F2{0,0}}"},
		{"<circle r=\"-1\"/><line/>", "line{flip(0) fill{} F2{0,0,0,0}}"},
		{"<ellipse cx=\"1\" cy=\"2\" rx=\"3\" ry=\"4\"/>", "circ{flip(0) fill{} radi{F2{3,4}} F2{1,2}}"},
		{"<ellipse rx=\"3\"/>", "circ{flip(0) fill{} radi{F2{3,0}} F2{0,0}}"},
		{"<ellipse rx=\"3\" ry=\"-4\"/>", ""},
		{"<polygon points=\"0,0 10,0 10,10\"/>", "poly{flip(0) fill{} F2{0,0,10,0,10,10}}"},
		{"<polyline points=\"0 0 5 5\"/>", "line{flip(0) fill{} F2{0,0,5,5}}"},
		{"<polygon points=\"\"/>", ""},
		{"<polygon/>", ""},
		{"<polygon points=\"1,2 3\"/>", "poly{flip(0) fill{} F2{1,2}}"},
		{"<polygon points=\"1 , 2\"/>", "poly{flip(0) fill{} F2{}}"},
		{"<polygon points=\"1,2,3,4\"/>", "poly{flip(0) fill{} F2{1,2,3,4}}"},
		{"<polygon points=\"1-2-3-4\"/>", "poly{flip(0) fill{} F2{1,-2,-3,-4}}"},
		{"<polygon points=\"1,,2\"/>", "poly{flip(0) fill{} F2{}}"},
		{"<polygon points=\"a\"/>", "poly{flip(0) fill{} F2{}}"},
		{"<polygon points=\"1 2\" points=\"3 4\"/>", "poly{flip(0) fill{} F2{1,2}}"},
		{"<polygon points=\"\" points=\"3 4\"/>", "poly{flip(0) fill{} F2{3,4}}"},
		{"<path/>", ""},
		{"<path d=\"\"/>", ""},
		{"<path d=\"M1 2\" d=\"M3 4\"/>", "path{flip(0) fill{} F2*{M:1,2}}"},
		{"<path d=\"M1 2\" transform=\"scale(2)\" opacity=\"0.5\" fill=\"red\"/>",
				"path{flip(0) scal{F2{2,2}} opac{F{0.5}} fill{colr{F3{1,0,0}}} F2*{M:1,2}}"},
		{"<g><rect width=\"1\" height=\"1\" transform=\"translate(1)\"/></g>", "grup{flip(0) rect{xslt(x){F{1}} fill{} F2{0,0,1,1}}}"},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		EXPECT_EQ(ImportTree(row.text), row.tree);
	}
}

// The path reader alone: the point lists of one path element.
static std::string PathLists(const char* data)
{
	std::string text = std::string("<path fill=\"none\" d=\"") + data + "\"/>";
	VectorDocument document;
	ImportInto(&document, text.c_str());
	const Structure* path = document.rootStructure.GetFirstSubnode();
	if (!path) return "no path";

	std::string lists;
	for (const Structure* node = path->GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if (node->structureType != 'FLOT') continue;
		if (!lists.empty()) lists += ' ';
		lists += Describe(node);
	}

	return lists;
}

TEST(SvgReadPath, Commands)
{
	struct Row
	{
		const char* data;
		const char* lists;
	};

	const Row rows[] =
	{
		{"L 10 10", "F2*{M:0,0 L:10,10}"},
		{"10 20 30 40", "F2*{M:10,20 L:30,40}"},
		{"m 1 1 2 2", "F2*{M:1,1 L:3,3}"},
		{"M 1 1 l 2 2 3 3", "F2*{M:1,1 L:3,3 L:6,6}"},
		{"M1,2L3,4", "F2*{M:1,2 L:3,4}"},
		{"M1-2-3-4", "F2*{M:1,-2 L:-3,-4}"},
		{"M.5.5", "F2*{M:0.5,0.5}"},
		{"M 0 0 H 5 6 7 V 1", "F2*{M:0,0 L:5,0 L:5,1}"},
		{"M 1 1 h 5 v -2", "F2*{M:1,1 L:6,1 L:6,-1}"},
		{"M 0 0 H 5 6 7", "F2*{M:0,0 L:5,0}"},
		{"M 0 0 H 5 x", "F2*{M:0,0 L:5,0}"},
		{"M 0 0 Q 1 2 3 4 5 6 7 8", "F2*{M:0,0 Q:1,2 Q:3,4 Q:5,6 Q:7,8}"},
		{"M 1 1 q 1 2 3 4", "F2*{M:1,1 Q:2,3 Q:4,5}"},
		{"M 1 1 T 2 2 t 1 1", "F2*{M:1,1 T:2,2 T:3,3}"},
		{"M 0 0 C 1 2 3 4 5 6", "F2*{M:0,0 C:1,2 C:3,4 C:5,6}"},
		{"M 1 1 c 1 1 2 2 3 3 s 1 1 2 2", "F2*{M:1,1 C:2,2 C:3,3 C:4,4 S:5,5 S:6,6}"},
		{"M 0 0 S 1 2 3 4", "F2*{M:0,0 S:1,2 S:3,4}"},
		{"M 0 0 C 1 2 3 4 5", "F2*{M:0,0}"},
		{"M 0 0 L 1 1 A 5 5 0 0 1 9 9 L 2 2", "F2*{M:0,0 L:1,1}"},
		{"M 0 0 L 1 1 a 5 5 0 0 1 9 9", "F2*{M:0,0 L:1,1}"},
		{"M 0 0 L 1 1 x", "F2*{M:0,0 L:1,1}"},
		{"M 0 0 L 1 1 Z", "F2*{Z:0,0 L:1,1}"},
		{"M 0 0 L 1 0 L 0.0001 0 Z", "F2*{Z:0,0 L:1,0 L:0,0}"},
		{"M 0 0 L 1 0 L 0.01 0 Z", "F2*{Z:0,0 L:1,0 L:0.01,0}"},
		{"M 5 5 L 6 5 L 5 5.0005 z", "F2*{Z:5,5 L:6,5 L:5,5}"},
		{"M 0 0 M 1 1", "F2*{M:0,0} F2*{M:1,1}"},
		{"M 0 0 m 1 1", "F2*{M:0,0} F2*{M:1,1}"},
		{"M 1 2 , 3 4", "F2*{M:1,2}"},
		{"M 1 2, 3 4", "F2*{M:1,2 L:3,4}"},
		{"M 1,,2", "F2*{}"},
		{"Z M 0 0", "F2*{} F2*{M:0,0}"},
		{"Z", "F2*{}"},
		{"M 1 1 L 2 2 Z 5 5", "F2*{Z:1,1 L:2,2} F2*{M:5,5}"},
		{"M 1 1 L 2 2 z 5 5 6 6", "F2*{Z:1,1 L:2,2} F2*{M:5,5 L:6,6}"},
		{"M 1 1 L 2 2 Z L 3 3", "F2*{Z:1,1 L:2,2} F2*{M:1,1 L:3,3}"},
		{"M 1 1 L 2 2 z l 3 3", "F2*{Z:1,1 L:2,2} F2*{M:1,1 L:4,4}"},
		{"m 1 1 l 1 0 z m 1 1 l 1 0", "F2*{Z:1,1 L:2,1} F2*{M:2,2 L:3,2}"},
		{"M 1 1 L 2 2 Z Z", "F2*{Z:1,1 L:2,2} F2*{}"},
		{"M 1 1 Z   ", "F2*{Z:1,1}"},
		{"M 0 0 L 1", "F2*{M:0,0}"},
		{"M 1e1 2E-1 L -.5e+1 0", "F2*{M:10,0.2 L:-5,0}"},
		{"M 0 0 L 1e 1", "F2*{M:0,0 L:1,1}"},
		{"M 0 0 L - 1", "F2*{M:0,0 L:0,1}"},
		{"M 0 0 L 1 2 3", "F2*{M:0,0 L:1,2}"},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.data);
		EXPECT_EQ(PathLists(row.data), row.lists);
	}
}

TEST(SvgReadPath, ImportedPathsProcess)
{
	// The lists the reader leaves are accepted by path processing, closes,
	// repeats and cut-off commands included.
	const char* const data[] =
	{
		"M 0 0 L 10 0 L 10 10 Z",
		"M 0 0 C 1 2 3 4 5 6 S 7 8 9 10 Q 1 1 2 2 T 3 3 H 5 V 5 z m 1 1 l 1 1",
		"Z M 0 0",
		"M 0 0 L 1 1 A 5 5 0 0 1 9 9",
		"M 0 0 C 1 2 3",
	};

	for (const char* d : data)
	{
		SCOPED_TRACE(d);
		std::string text = std::string("<path d=\"") + d + "\"/>";
		VectorDocument document;
		ImportInto(&document, text.c_str());
		EXPECT_EQ(CodeString(document.ProcessDocument()), "0");
	}
}
