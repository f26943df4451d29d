// IconOutlines: the outlines of real drawings in icon space, for the album tests and benchmarks.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "description/Structure.h"
#include "document/Shapes.h"
#include "document/VectorDocument.h"
#include "stroke/QuadraticCurve.h"
#include "svg/SvgImporter.h"

typedef std::vector<QuadraticCurve> Outline;

// The filled curves of each icon entry of the SVG drawing at `path`: the
// whole drawing, or each Layer at the top where there are several. Curves
// are moved into the canvas frame as the icon compiler moves them, though
// not through the unit box, so the values may differ in the last bits. An
// unreadable or invalid file gives none.
inline std::vector<Outline> IconOutlines(const std::string& path)
{
	std::vector<Outline> outlines;
	std::FILE* file = std::fopen(path.c_str(), "rb");
	if (!file) return outlines;
	std::string text;
	char block[65536];
	for (size_t read; (read = std::fread(block, 1, sizeof(block), file)) > 0;) text.append(block, read);
	std::fclose(file);

	VectorDocument document;
	SvgImporter importer;
	if (importer.Import(text.c_str(), &document.rootStructure) != 0) return outlines;
	document.ProcessDocument();

	auto gather = [&](const Structure* container)
	{
		Outline outline;
		for (const Structure* node = container->GetFirstSubnode(); node;)
		{
			bool shape = node->baseStructureType == 'geom';
			if (shape)
			{
				const GeometryStructure* geometry = static_cast<const GeometryStructure*>(node);
				if (geometry->fill)
				{
					for (const QuadraticCurve& curve : geometry->curves)
					{
						auto move = [&](Point2D p) { return Point2D{(p.x - document.canvasOrigin[0]) * document.canvasScale, (p.y - document.canvasOrigin[1]) * document.canvasScale}; };
						outline.push_back({move(curve.p0), move(curve.p1), move(curve.p2)});
					}
				}
			}
			node = shape ? ChildNode<Structure>::NextSibling(container, node) : ChildNode<Structure>::NextNode(container, node);
		}
		if (!outline.empty()) outlines.push_back(outline);
	};

	std::vector<const Structure*> layers;
	for (const Structure* node = document.rootStructure.GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if (node->structureType == 'layr') layers.push_back(node);
	}
	if (layers.size() < 2) gather(&document.rootStructure);
	else for (const Structure* layer : layers) gather(layer);
	return outlines;
}
