// Tests of the svg root, the shape elements and the readers of points and path data.
#include "svg/SvgTestSupport.h"

TEST(SvgReadSvgRoot, CanvasFromSizeOrViewBox)
{
	ExpectAll({
		{"<svg width=\"100\" height=\"50\" viewBox=\"0 0 10 5\">", "canv{rang{F2{0,100,0,50}}}"},
		// The page flip of a top-level object or group is y0 + y1 of the view rect.
		{"<svg viewBox=\"0 5 10 20\">$<g><circle r=\"1\"/></g><g id=\"layer\"><line/></g></svg>", "canv{rang{F2{0,10,5,25}}} rect{flip(30) fill{} F2{0,0,1,1}} grup{flip(30) circ{fill{} radi{F{1}} F2{0,0}}} layr{line{flip(30) fill{} F2{0,0,0,0}}}"},
		{"<svg width=\"100 %\" height=\"50\" viewBox=\"0 0 10 5\">", "canv{rang{F2{0,10,0,5}}}"},
		{"<svg x=\"5\" y=\"6\" width=\"100\" viewBox=\" 1 , 2 , 3 , 4 \">", "canv{rang{F2{1,4,2,6}}}"},
		{"<svg viewBox=\"0 0 -10 5\">", "SVIV: "},
		{"<svg x=\"5\" y=\"6\" width=\"10mm\" height=\"20pt\">", "canv{rang{F2{5,15,6,26}}}"},
		{"<svg width=\"10\" height=\"5\" viewBox=\"0 0 0 0\">", "canv{rang{F2{0,10,0,5}}}"},
		{"<svg width=\"10\">$</svg>", "SVIV: rect{flip(0) fill{} F2{0,0,1,1}}"},
		{"<svg width=\"1\" height=\"1\"/><svg height=\"1\"/><svg width=\"1\" height=\"1\"/>", "SVIV: canv{rang{F2{0,1,0,1}}} canv{rang{F2{0,1,0,1}}}"},
		{"<defs><svg></svg></defs>", ""},
		{"<rect/><path d=\"A\"/><g x='1'><linearGradient/><stop/>", "rect{flip(0) fill{} F2{0,0,0,0}} path{flip(0) fill{} F2*{}} grup{flip(0)}"},
	});
}

TEST(SvgShapes, ElementsAndTheirTests)
{
	ExpectAll({
		{"<line x1=\"1\" y1=\"2\" x2=\"3\" y2=\"4\"/>", "line{flip(0) fill{} F2{1,2,3,4}}"},
		{"<line x1=\"1\" x1=\"50%\" y1=\"2em\" x2=\"abc\"/>", "line{flip(0) fill{} F2{50,2,0,0}}"},
		{"<rect x=\"1\" y=\"2\" width=\"3\" height=\"4\"/>", "rect{flip(0) fill{} F2{1,2,4,6}}"},
		{"<rect width=\"0\" height=\"0\"/>", "rect{flip(0) fill{} F2{0,0,0,0}}"},
		{"<rect width=\"-1\" height=\"4\"/>", ""},
		{"<rect width=\"1\" height=\"-4\"/>", ""},
		{"<rect rx=\"5\" width=\"10\" height=\"10\"/>", "rect{flip(0) fill{} radi{F{5}} F2{0,0,10,10}}"},
		{"<rect ry=\"5\" width=\"10\" height=\"10\"/>", "rect{flip(0) fill{} radi{F{5}} F2{0,0,10,10}}"},
		{"<rect rx=\"2\" ry=\"3\" width=\"10\" height=\"10\"/>", "rect{flip(0) fill{} radi{F2{2,3}} F2{0,0,10,10}}"},
		{"<rect rx=\"0\" ry=\"5\" width=\"10\" height=\"10\"/>", "rect{flip(0) fill{} F2{0,0,10,10}}"},
		{"<rect rx=\"-1\" ry=\"1\" width=\"10\" height=\"10\"/>", ""},
		{"<rect ry=\"-1\" rx=\"1\" width=\"10\" height=\"10\"/>", ""},
		{"<circle cx=\"1\" cy=\"2\" r=\"3\"/>", "circ{flip(0) fill{} radi{F{3}} F2{1,2}}"},
		{"<circle r=\"0\"/>", "circ{flip(0) fill{} radi{F{0}} F2{0,0}}"},
		{"<circle r=\"-1\"/><line/>", "line{flip(0) fill{} F2{0,0,0,0}}"},
		{"<ellipse cx=\"1\" cy=\"2\" rx=\"3\" ry=\"4\"/>", "circ{flip(0) fill{} radi{F2{3,4}} F2{1,2}}"},
		{"<ellipse rx=\"3\"/>", "circ{flip(0) fill{} radi{F2{3,0}} F2{0,0}}"},
		{"<ellipse rx=\"3\" ry=\"-4\"/>", ""},
		{"<ellipse rx=\"-3\" ry=\"4\"/>", ""},
		{"<polygon points=\"0,0 10,0 10,10\"/>", "poly{flip(0) fill{} F2{0,0,10,0,10,10}}"},
		{"<polyline points=\"0 0 5 5\"/>", "line{flip(0) fill{} F2{0,0,5,5}}"},
		{"<polygon/><polygon points=\"\"/>", ""},
		{"<polygon points=\"1,2 3\"/>", "poly{flip(0) fill{} F2{1,2}}"},
		{"<polygon points=\"1 , 2\"/>", "poly{flip(0) fill{} F2{}}"},
		{"<polygon points=\"1-2-3,4\"/>", "poly{flip(0) fill{} F2{1,-2,-3,4}}"},
		{"<polygon points=\"1 2\" points=\"3 4\"/>", "poly{flip(0) fill{} F2{1,2}}"},
		{"<polygon points=\"\" points=\"3 4\"/>", "poly{flip(0) fill{} F2{3,4}}"},
		{"<path/><path d=\"\"/>", ""},
		{"<path d=\"M1 2\" d=\"M3 4\"/>", "path{flip(0) fill{} F2*{M:1,2}}"},
		{"<path d=\"M1 2\" transform=\"scale(2)\" opacity=\"0.5\" fill=\"red\"/>", "path{flip(0) scal{F2{2,2}} opac{F{0.5}} fill{colr{F3{1,0,0}}} F2*{M:1,2}}"},
	});
}

// The point lists of a path with `data`, and whether path processing accepts them.
static std::string PathLists(const char* data)
{
	VectorDocument document;
	ImportInto(&document, (std::string("<path fill=\"none\" d=\"") + data + "\"/>").c_str());
	const Structure* path = document.rootStructure.GetFirstSubnode();
	if (!path) return "no path";
	std::string lists = DescribeSubnodes(path);
	return lists.substr(lists.find(' ') + 1) + ((document.ProcessDocument() == 0) ? "" : " not processed");
}

TEST(SvgReadPath, Commands)
{
	ExpectAll({
		{"L 10 10", "F2*{M:0,0 L:10,10}"},
		{"10 20 30 40", "F2*{M:10,20 L:30,40}"},
		{"m 1 1 2 2", "F2*{M:1,1 L:3,3}"},
		{"M1-2-3-4", "F2*{M:1,-2 L:-3,-4}"},
		{"M 0 0 H 5 6 7 V 1", "F2*{M:0,0 L:5,0 L:5,1}"},
		{"M 1 1 h 5 v -2", "F2*{M:1,1 L:6,1 L:6,-1}"},
		{"M 0 0 Q 1 2 3 4 5 6 7 8", "F2*{M:0,0 Q:1,2 Q:3,4 Q:5,6 Q:7,8}"},
		{"M 1 1 q 1 2 3 4", "F2*{M:1,1 Q:2,3 Q:4,5}"},
		{"M 1 1 T 2 2 t 1 1", "F2*{M:1,1 T:2,2 T:3,3}"},
		{"M 1 1 c 1 1 2 2 3 3 s 1 1 2 2", "F2*{M:1,1 C:2,2 C:3,3 C:4,4 S:5,5 S:6,6}"},
		{"M 0 0 C 1 2 3 4 5", "F2*{M:0,0}"},
		{"M 0 0 L 1 1 a 5 5 0 0 1 9 9 L 2 2", "F2*{M:0,0 L:1,1}"},
		{"M 0 0 L 1 1 Z", "F2*{Z:0,0 L:1,1}"},
		{"M 0 0 L 1 0 L 0.0009 0 Z", "F2*{Z:0,0 L:1,0 L:0,0}"},
		{"M 0 0 L 1 0 L 0.001 0 Z", "F2*{Z:0,0 L:1,0 L:0.001,0}"},
		{"M 5 5 L 6 5 L 5 5.0005 z", "F2*{Z:5,5 L:6,5 L:5,5}"},
		{"M 0 0 m 1 1", "F2*{M:0,0} F2*{M:1,1}"},
		{"M 1 2 , 3 4", "F2*{M:1,2}"},
		{"M 1 2, 3 4", "F2*{M:1,2 L:3,4}"},
		{"Z M 0 0", "F2*{} F2*{M:0,0}"},
		{"M 1 1 L 2 2 z 5 5 6 6", "F2*{Z:1,1 L:2,2} F2*{M:5,5 L:6,6}"},
		{"M 1 1 L 2 2 z l 3 3", "F2*{Z:1,1 L:2,2} F2*{M:1,1 L:4,4}"},
		{"m 1 1 l 1 0 z m 1 1 l 1 0", "F2*{Z:1,1 L:2,1} F2*{M:2,2 L:3,2}"},
		{"M 1 1 L 2 2 Z Z", "F2*{Z:1,1 L:2,2} F2*{}"},
		{"M 1 1 Z   ", "F2*{Z:1,1}"},
	}, PathLists);
}
