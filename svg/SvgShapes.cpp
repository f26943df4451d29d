// The drawing elements: the svg root and its canvas, line, rect, circle, ellipse, polygon, polyline and path.
#include "svg/SvgImporter.h"

#include <cstring>

#include "description/Primitive.h"
#include "document/Attributes.h"
#include "document/Shapes.h"

// Two points closer than this (squared distance, 2^-20) close onto the start.
static const float kCloseSnapDistance = 0.00000095367431640625f;

static bool IsLetter(char c)
{
	return ((c >= 'a') && (c <= 'z')) || ((c >= 'A') && (c <= 'Z'));
}

// Reads the number of a geometry attribute; units and "%" are not looked at.
static float ReadGeometry(const char* value)
{
	float result;
	SvgImporter::ReadFloat(value, &result);
	return result;
}

bool SvgImporter::ReadSvgRoot(const char* cursor)
{
	// The frame stays until </svg>. Past the depth limit the attributes go to
	// a frame that is thrown away, and </svg> counts the skip down instead.
	SvgStyle spare;
	SvgStyle* frame = &spare;
	if (styleStack.GetCount() < kMaxStyleDepth) frame = &PushStyle();
	else skippedFrames++;

	float x = 0.0f;
	float y = 0.0f;
	float width = 0.0f;
	float height = 0.0f;
	float view[4] = {0.0f, 0.0f, 0.0f, 0.0f};

	char name[kSvgNameSize];
	const char* value;
	int32_t length;
	while (ReadAttribute(&cursor, name, &value, &length))
	{
		if (std::strcmp(name, "viewbox") == 0)
		{
			const char* p = value;
			for (int32_t i = 0; i < 4; i++)
			{
				p += ReadFloat(p, &view[i]);
				p += SkipSpace(p);
				if (*p == ',')
				{
					p++;
					p += SkipSpace(p);
				}
			}
		}
		else if (std::strcmp(name, "x") == 0)
		{
			x = ReadGeometry(value);
		}
		else if (std::strcmp(name, "y") == 0)
		{
			y = ReadGeometry(value);
		}
		else if ((std::strcmp(name, "width") == 0) || (std::strcmp(name, "height") == 0))
		{
			// A percentage counts as no size at all.
			float size;
			const char* p = value + ReadFloat(value, &size);
			p += SkipSpace(p);
			if (*p == '%') size = 0.0f;
			if (name[0] == 'w') width = size;
			else height = size;
		}
		else
		{
			StoreStyleAttribute(name, value, length, frame, false);
		}
	}

	if ((width == 0.0f) || (height == 0.0f))
	{
		x = view[0];
		y = view[1];
		width = view[2];
		height = view[3];
	}

	// Written so that a NaN size counts as no size.
	if (!(width > 0.0f) || !(height > 0.0f)) return false;

	viewRect[0] = x;
	viewRect[1] = y;
	viewRect[2] = x + width;
	viewRect[3] = y + height;

	CanvasStructure* canvas = new CanvasStructure;
	container->AppendSubnode(canvas);
	RangeStructure* range = new RangeStructure;
	canvas->AppendSubnode(range);
	float bounds[4] = {viewRect[0], viewRect[2], viewRect[1], viewRect[3]};
	AppendFloatList(range, 2, bounds, 4);
	return true;
}

void SvgImporter::AppendShape(GeometryStructure* shape, const SvgStyle& frame)
{
	container->AppendSubnode(shape);
	AddTransforms(frame.slot[kStyleTransform], shape);
	AddOpacity(frame.slot[kStyleOpacity], shape);
	AddPaint(shape);
}

void SvgImporter::ReadLine(const char* cursor)
{
	SvgStyle& frame = PushStyle();
	float point[4] = {0.0f, 0.0f, 0.0f, 0.0f};

	char name[kSvgNameSize];
	const char* value;
	int32_t length;
	while (ReadAttribute(&cursor, name, &value, &length))
	{
		if (std::strcmp(name, "x1") == 0) point[0] = ReadGeometry(value);
		else if (std::strcmp(name, "y1") == 0) point[1] = ReadGeometry(value);
		else if (std::strcmp(name, "x2") == 0) point[2] = ReadGeometry(value);
		else if (std::strcmp(name, "y2") == 0) point[3] = ReadGeometry(value);
		else StoreStyleAttribute(name, value, length, &frame, false);
	}

	LineStructure* line = new LineStructure;
	AppendShape(line, frame);
	AppendFloatList(line, 2, point, 4);
	PopStyle();
}

void SvgImporter::ReadRect(const char* cursor)
{
	SvgStyle& frame = PushStyle();
	float x = 0.0f;
	float y = 0.0f;
	float width = 0.0f;
	float height = 0.0f;
	float rx = 0.0f;
	float ry = 0.0f;
	bool rxGiven = false;
	bool ryGiven = false;

	char name[kSvgNameSize];
	const char* value;
	int32_t length;
	while (ReadAttribute(&cursor, name, &value, &length))
	{
		if (std::strcmp(name, "x") == 0)
		{
			x = ReadGeometry(value);
		}
		else if (std::strcmp(name, "y") == 0)
		{
			y = ReadGeometry(value);
		}
		else if (std::strcmp(name, "width") == 0)
		{
			width = ReadGeometry(value);
		}
		else if (std::strcmp(name, "height") == 0)
		{
			height = ReadGeometry(value);
		}
		else if (std::strcmp(name, "rx") == 0)
		{
			rx = ReadGeometry(value);
			rxGiven = true;
		}
		else if (std::strcmp(name, "ry") == 0)
		{
			ry = ReadGeometry(value);
			ryGiven = true;
		}
		else
		{
			StoreStyleAttribute(name, value, length, &frame, false);
		}
	}

	// Presence counts, not value: rx="0" alone still sets ry.
	if (rxGiven && !ryGiven) ry = rx;
	if (ryGiven && !rxGiven) rx = ry;

	if ((width >= 0.0f) && (height >= 0.0f) && (rx >= 0.0f) && (ry >= 0.0f))
	{
		RectStructure* rect = new RectStructure;
		AppendShape(rect, frame);

		float smaller = (rx < ry) ? rx : ry;
		if (smaller > 0.0f)
		{
			RadiusStructure* radius = new RadiusStructure;
			rect->AppendSubnode(radius);
			float radii[2] = {rx, ry};
			if (rx != ry) AppendFloatList(radius, 2, radii, 2);
			else AppendFloatList(radius, 0, radii, 1);
		}

		float corners[4] = {x, y, x + width, y + height};
		AppendFloatList(rect, 2, corners, 4);
	}

	PopStyle();
}

void SvgImporter::ReadCircle(const char* cursor)
{
	SvgStyle& frame = PushStyle();
	float centre[2] = {0.0f, 0.0f};
	float r = 0.0f;

	char name[kSvgNameSize];
	const char* value;
	int32_t length;
	while (ReadAttribute(&cursor, name, &value, &length))
	{
		if (std::strcmp(name, "cx") == 0) centre[0] = ReadGeometry(value);
		else if (std::strcmp(name, "cy") == 0) centre[1] = ReadGeometry(value);
		else if (std::strcmp(name, "r") == 0) r = ReadGeometry(value);
		else StoreStyleAttribute(name, value, length, &frame, false);
	}

	if (r >= 0.0f)
	{
		CircleStructure* circle = new CircleStructure;
		AppendShape(circle, frame);
		RadiusStructure* radius = new RadiusStructure;
		circle->AppendSubnode(radius);
		AppendFloatList(radius, 0, &r, 1);
		AppendFloatList(circle, 2, centre, 2);
	}

	PopStyle();
}

void SvgImporter::ReadEllipse(const char* cursor)
{
	SvgStyle& frame = PushStyle();
	float centre[2] = {0.0f, 0.0f};
	float radii[2] = {0.0f, 0.0f};

	char name[kSvgNameSize];
	const char* value;
	int32_t length;
	while (ReadAttribute(&cursor, name, &value, &length))
	{
		if (std::strcmp(name, "cx") == 0) centre[0] = ReadGeometry(value);
		else if (std::strcmp(name, "cy") == 0) centre[1] = ReadGeometry(value);
		else if (std::strcmp(name, "rx") == 0) radii[0] = ReadGeometry(value);
		else if (std::strcmp(name, "ry") == 0) radii[1] = ReadGeometry(value);
		else StoreStyleAttribute(name, value, length, &frame, false);
	}

	float smaller = (radii[0] < radii[1]) ? radii[0] : radii[1];
	if (smaller >= 0.0f)
	{
		// An ellipse is a Circle whose Radius holds two values.
		CircleStructure* circle = new CircleStructure;
		AppendShape(circle, frame);
		RadiusStructure* radius = new RadiusStructure;
		circle->AppendSubnode(radius);
		AppendFloatList(radius, 2, radii, 2);
		AppendFloatList(circle, 2, centre, 2);
	}

	PopStyle();
}

// Reads "x,y x,y ..." pairs into `list`; a trailing odd number is dropped.
static void ReadPoints(const char* text, FloatStructure* list)
{
	const char* p = text;
	float pair[2];
	int32_t index = 0;
	for (;;)
	{
		p += SvgImporter::SkipSpace(p);
		if (*p == 0) return;

		// White space before a comma stops here: the comma stands where a number should.
		int32_t count = SvgImporter::ReadFloat(p, &pair[index]);
		if (count == 0) return;
		p += count;
		if (*p == ',') p++;

		index++;
		if (index == 2)
		{
			list->data.Add(pair[0]);
			list->data.Add(pair[1]);
			index = 0;
		}
	}
}

// Reads the attributes of a polygon, polyline or path: the first non-empty
// `key` attribute is the shape's data, every other one goes to the style frame.
static void ReadDataAttribute(const char* cursor, const char* key, String* data, SvgStyle* frame)
{
	char name[kSvgNameSize];
	const char* value;
	int32_t length;
	while (SvgImporter::ReadAttribute(&cursor, name, &value, &length))
	{
		if (std::strcmp(name, key) == 0)
		{
			if (data->IsEmpty()) data->Assign(value, length);
		}
		else
		{
			SvgImporter::StoreStyleAttribute(name, value, length, frame, false);
		}
	}
}

void SvgImporter::ReadPolygon(const char* cursor, bool open)
{
	SvgStyle& frame = PushStyle();
	String points;
	ReadDataAttribute(cursor, "points", &points, &frame);

	if (!points.IsEmpty())
	{
		GeometryStructure* shape = open ? static_cast<GeometryStructure*>(new LineStructure) : new PolygonStructure;
		AppendShape(shape, frame);
		FloatStructure* list = new FloatStructure(2, false);
		shape->AppendSubnode(list);
		ReadPoints(points, list);
	}

	PopStyle();
}

// Arguments of each path command by its upper-case letter; 0 ends the data,
// which is how arcs and unknown letters stop it.
static int32_t ArgumentCount(char letter)
{
	switch (letter)
	{
		case 'M':
		case 'L':
		case 'T':
			return 2;
		case 'H':
		case 'V':
			return 1;
		case 'Q':
		case 'S':
			return 4;
		case 'C':
			return 6;
		default:
			break;
	}

	return 0;
}

static void AddPathPoint(FloatStructure* list, float x, float y, uint32_t state)
{
	list->data.Add(x);
	list->data.Add(y);
	list->states.Add(state);
}

static FloatStructure* BeginSubpath(PathStructure* path)
{
	FloatStructure* list = new FloatStructure(2, true);
	path->AppendSubnode(list);
	return list;
}

// Reads path data into one point list per subpath. Every step consumes at
// least one byte or stops, and the data ends at its NUL.
static void ReadPathData(const char* text, PathStructure* path)
{
	float startX = 0.0f;
	float startY = 0.0f;
	float currentX = 0.0f;
	float currentY = 0.0f;
	const char* p = text;

	for (;;)
	{
		FloatStructure* list = BeginSubpath(path);
		currentX = startX;
		currentY = startY;
		char letter = 'M';
		bool relative = false;
		int32_t argumentCount = 2;
		int32_t argumentIndex = 0;
		float argument[6];
		bool first = true;

		for (;;)
		{
			p += SvgImporter::SkipSpace(p);
			if (*p == 0) return;

			char c = *p;
			if (IsLetter(c))
			{
				p++;
				if ((c == 'Z') || (c == 'z')) break;

				letter = ((c >= 'a') && (c <= 'z')) ? char(c - 32) : c;
				relative = ((c >= 'a') && (c <= 'z'));
				argumentIndex = 0;
				argumentCount = ArgumentCount(letter);
				if (argumentCount == 0) return;
				continue;
			}

			int32_t count = SvgImporter::ReadFloat(p, &argument[argumentIndex]);
			if (count == 0) return;
			p += count;
			if (*p == ',') p++;

			argumentIndex++;
			if (argumentIndex < argumentCount) continue;
			argumentIndex = 0;

			// Deliberate: numbers after H and V, up to the next letter, are read and thrown away.
			if (letter == 0) continue;

			float baseX = relative ? currentX : 0.0f;
			float baseY = relative ? currentY : 0.0f;

			if (letter == 'M')
			{
				if (!first) list = BeginSubpath(path);
				startX = argument[0] + baseX;
				startY = argument[1] + baseY;
				currentX = startX;
				currentY = startY;
				AddPathPoint(list, currentX, currentY, kPathMove);
				first = false;

				// Further pairs are lines, relative if the move was.
				letter = 'L';
				continue;
			}

			if (first) AddPathPoint(list, startX, startY, kPathMove);
			first = false;

			switch (letter)
			{
				case 'L':
					currentX = argument[0] + baseX;
					currentY = argument[1] + baseY;
					AddPathPoint(list, currentX, currentY, kPathLine);
					break;
				case 'H':
					currentX = argument[0] + baseX;
					AddPathPoint(list, currentX, currentY, kPathLine);
					letter = 0;
					argumentCount = 1;
					break;
				case 'V':
					currentY = argument[0] + baseY;
					AddPathPoint(list, currentX, currentY, kPathLine);
					letter = 0;
					argumentCount = 1;
					break;
				case 'Q':
					AddPathPoint(list, argument[0] + baseX, argument[1] + baseY, kPathQuadratic);
					currentX = argument[2] + baseX;
					currentY = argument[3] + baseY;
					AddPathPoint(list, currentX, currentY, kPathQuadratic);
					break;
				case 'T':
					currentX = argument[0] + baseX;
					currentY = argument[1] + baseY;
					AddPathPoint(list, currentX, currentY, kPathSmoothQuadratic);
					break;
				case 'C':
					AddPathPoint(list, argument[0] + baseX, argument[1] + baseY, kPathCubic);
					AddPathPoint(list, argument[2] + baseX, argument[3] + baseY, kPathCubic);
					currentX = argument[4] + baseX;
					currentY = argument[5] + baseY;
					AddPathPoint(list, currentX, currentY, kPathCubic);
					break;
				case 'S':
					AddPathPoint(list, argument[0] + baseX, argument[1] + baseY, kPathSmoothCubic);
					currentX = argument[2] + baseX;
					currentY = argument[3] + baseY;
					AddPathPoint(list, currentX, currentY, kPathSmoothCubic);
					break;
				default:
					break;
			}
		}

		// Close: the subpath becomes closed, and a last point that nearly
		// meets the start is moved onto it.
		if (!first)
		{
			list->states[0] = kPathClose;
			if ((currentX != startX) || (currentY != startY))
			{
				float dx = currentX - startX;
				float dy = currentY - startY;
				if (dx * dx + dy * dy < kCloseSnapDistance)
				{
					int32_t count = list->data.GetCount();
					list->data[count - 2] = startX;
					list->data[count - 1] = startY;
				}
			}
		}

		p += SvgImporter::SkipSpace(p);
		if (*p == 0) return;
	}
}

void SvgImporter::ReadPath(const char* cursor)
{
	SvgStyle& frame = PushStyle();
	String data;
	ReadDataAttribute(cursor, "d", &data, &frame);

	if (!data.IsEmpty())
	{
		PathStructure* path = new PathStructure;
		AppendShape(path, frame);
		ReadPathData(data, path);
	}

	PopStyle();
}
