#include "document/VectorDocument.h"

#include "document/Attributes.h"
#include "document/Shapes.h"
#include "document/VectorStructure.h"
#include "font/FontStructures.h"
#include "support/String.h"

VectorDocument::VectorDocument()
{
}

VectorDocument::~VectorDocument()
{
}

Structure* VectorDocument::CreateStructure(const String& identifier)
{
	// Compared in this order, exactly and case-sensitively.
	const char* text = identifier;
	if (TextEqual(text, "Canvas")) return new CanvasStructure;
	if (TextEqual(text, "Name")) return new NameStructure;
	if (TextEqual(text, "Message")) return new MessageStructure;
	if (TextEqual(text, "Layer")) return new LayerStructure;
	if (TextEqual(text, "Transform")) return new TransformStructure;
	if (TextEqual(text, "Translation")) return new TranslationStructure;
	if (TextEqual(text, "Rotation")) return new RotationStructure;
	if (TextEqual(text, "Scale")) return new ScaleStructure;
	if (TextEqual(text, "Offset")) return new OffsetStructure;
	if (TextEqual(text, "Range")) return new RangeStructure;
	if (TextEqual(text, "Radius")) return new RadiusStructure;
	if (TextEqual(text, "Color")) return new ColorStructure;
	if (TextEqual(text, "Gradient")) return new GradientStructure;
	if (TextEqual(text, "Opacity")) return new OpacityStructure;
	if (TextEqual(text, "Dash")) return new DashStructure;
	if (TextEqual(text, "Fill")) return new FillStructure;
	if (TextEqual(text, "Stroke")) return new StrokeStructure;
	if (TextEqual(text, "Group")) return new GroupStructure;
	if (TextEqual(text, "Object")) return new ObjectStructure;
	if (TextEqual(text, "Instance")) return new InstanceStructure;
	if (TextEqual(text, "Line")) return new LineStructure;
	if (TextEqual(text, "Rect")) return new RectStructure;
	if (TextEqual(text, "Circle")) return new CircleStructure;
	if (TextEqual(text, "Polygon")) return new PolygonStructure;
	if (TextEqual(text, "Path")) return new PathStructure;
	if (TextEqual(text, "Font")) return new FontStructure;
	if (TextEqual(text, "Metric")) return new MetricStructure;
	if (TextEqual(text, "CharMap")) return new CharMapStructure;
	if (TextEqual(text, "Advance")) return new AdvanceStructure;
	if (TextEqual(text, "Bearing")) return new BearingStructure;
	if (TextEqual(text, "Caret")) return new CaretStructure;
	if (TextEqual(text, "Kern")) return new KernStructure;
	if (TextEqual(text, "Match")) return new MatchStructure;
	if (TextEqual(text, "Rule")) return new RuleStructure;
	if (TextEqual(text, "Sequence")) return new SequenceStructure;
	if (TextEqual(text, "Alternate")) return new AlternateStructure;
	if (TextEqual(text, "Anchor")) return new AnchorStructure;
	if (TextEqual(text, "Component")) return new ComponentStructure;
	if (TextEqual(text, "Emoji")) return new EmojiStructure;
	if (TextEqual(text, "Glyph")) return new GlyphStructure;

	// Deliberate: Decompose and Paint are font classes too, but only code
	// makes them; in a text they are unknown structures.
	return nullptr;
}

bool VectorDocument::ValidateTopLevelStructure(const Structure* structure) const
{
	if (structure->baseStructureType == 'geom') return true;

	uint32_t type = structure->structureType;
	return ((type == 'canv') || (type == 'layr') || (type == 'grup') || (type == 'objc') || (type == 'inst') || (type == 'font'));
}
