// Transform lists, gradient elements and their stops, and the page flip.
#include "svg/SvgImporter.h"

#include <cstring>

#include "description/Primitive.h"
#include "document/Attributes.h"

enum : int32_t
{
	kItemMatrix,
	kItemTranslate,
	kItemScale,
	kItemRotate
};

struct TransformItemName
{
	const char* name;
	int32_t length;
	int32_t maximumCount;
};

// skewX and skewY are not here, so they stop a list.
static const TransformItemName kTransformItems[4] =
{
	{"matrix", 6, 6},
	{"translate", 9, 2},
	{"scale", 5, 2},
	{"rotate", 6, 3}
};

struct TransformItem
{
	int32_t kind;
	int32_t count;
	float value[6];
};

SvgGradient::SvgGradient(uint32_t gradientType) : type(gradientType), objectUnits(true), stopCount(0)
{
	for (float& value : geometry) value = 0.0f;
	for (int32_t i = 0; i < 4; i++)
	{
		firstStop[i] = (i == 3) ? 1.0f : 0.0f;
		lastStop[i] = firstStop[i];
	}
}

// Reads one item of a transform list and the white space behind it. False,
// with the cursor unmoved, for an unknown name, a missing parenthesis, too
// many numbers or a matrix of fewer than six.
static bool ReadTransformItem(const char** cursor, TransformItem* item)
{
	const char* p = *cursor;
	int32_t kind = 0;
	while ((kind < 4) && !TextPrefixNoCase(p, kTransformItems[kind].name, kTransformItems[kind].length)) kind++;
	if (kind == 4) return false;

	// Names match over their own length, so "translateX(" fails at the "X".
	p += kTransformItems[kind].length;
	p += SvgImporter::SkipSpace(p);
	if (*p != '(') return false;
	p++;
	p += SvgImporter::SkipSpace(p);

	int32_t count = 0;
	while ((count < kTransformItems[kind].maximumCount) && (*p != ')'))
	{
		int32_t length = SvgImporter::ReadFloat(p, &item->value[count]);
		if (length == 0) break;
		p += length;
		count++;
		p += SvgImporter::SkipSpace(p);
		if (*p == ',')
		{
			p++;
			p += SvgImporter::SkipSpace(p);
		}
	}

	if (*p != ')') return false;
	if ((kind == kItemMatrix) && (count < 6)) return false;
	p++;
	p += SvgImporter::SkipSpace(p);

	item->kind = kind;
	item->count = count;
	*cursor = p;
	return true;
}

static void AddKindList(MatrixStructure* transform, String* kind, const char* kindText, Structure* object, const float* values, int32_t count)
{
	if (kindText) *kind = kindText;
	object->AppendSubnode(transform);
	FloatStructure* list = new FloatStructure((count == 2) ? 2 : 0, false);
	for (int32_t i = 0; i < count; i++) list->data.Add(values[i]);
	transform->AppendSubnode(list);
}

static void AddTranslation(Structure* object, float x, float y)
{
	TranslationStructure* translation = new TranslationStructure;
	float values[2] = {x, y};
	AddKindList(translation, &translation->kind, nullptr, object, values, 2);
}

bool SvgImporter::AddTransforms(const char* text, Structure* object)
{
	// Objects at depth 0 turn the drawing's y-down page into y-up each; a
	// top-level group does it once for all it holds.
	if (groupDepth == 0)
	{
		TransformStructure* flip = new TransformStructure;
		object->AppendSubnode(flip);
		float matrix[6] = {1.0f, 0.0f, 0.0f, -1.0f, 0.0f, viewRect[1] + viewRect[3]};
		AppendFloatList(flip, 6, matrix, 6);
	}

	const char* p = text + SkipSpace(text);
	while (*p != 0)
	{
		// Structures of the items read before a fault stay.
		TransformItem item;
		if (!ReadTransformItem(&p, &item)) return false;

		const float* v = item.value;
		if (item.kind == kItemMatrix)
		{
			TransformStructure* transform = new TransformStructure;
			object->AppendSubnode(transform);
			AppendFloatList(transform, 6, v, 6);
		}
		else if (item.kind == kItemTranslate)
		{
			float tx = (item.count > 0) ? v[0] : 0.0f;
			float ty = (item.count > 1) ? v[1] : 0.0f;
			if ((tx == 0.0f) && (ty == 0.0f)) continue;

			TranslationStructure* translation = new TranslationStructure;
			if (ty == 0.0f) AddKindList(translation, &translation->kind, "x", object, &tx, 1);
			else if (tx == 0.0f) AddKindList(translation, &translation->kind, "y", object, &ty, 1);
			else
			{
				float values[2] = {tx, ty};
				AddKindList(translation, &translation->kind, nullptr, object, values, 2);
			}
		}
		else if (item.kind == kItemScale)
		{
			float sx = (item.count > 0) ? v[0] : 1.0f;
			float sy = (item.count > 1) ? v[1] : sx;
			if ((sx == 1.0f) && (sy == 1.0f)) continue;

			ScaleStructure* scale = new ScaleStructure;
			if (sy == 1.0f) AddKindList(scale, &scale->kind, "x", object, &sx, 1);
			else if (sx == 1.0f) AddKindList(scale, &scale->kind, "y", object, &sy, 1);
			else
			{
				float values[2] = {sx, sy};
				AddKindList(scale, &scale->kind, nullptr, object, values, 2);
			}
		}
		else
		{
			float angle = (item.count > 0) ? v[0] : 0.0f;
			float cx = (item.count > 1) ? v[1] : 0.0f;
			float cy = (item.count > 2) ? v[2] : 0.0f;
			if (angle == 0.0f) continue;

			// Degrees as written: the Rotation structure converts them.
			bool pivot = (cx != 0.0f) || (cy != 0.0f);
			if (pivot) AddTranslation(object, cx, cy);
			RotationStructure* rotation = new RotationStructure;
			AddKindList(rotation, &rotation->kind, nullptr, object, &angle, 1);
			if (pivot) AddTranslation(object, -cx, -cy);
		}
	}

	return true;
}

bool SvgImporter::ParseTransformMatrix(const char* text, Matrix3D* matrix)
{
	Matrix3D m;
	const char* p = text + SkipSpace(text);
	while (*p != 0)
	{
		// Nothing of a list survives a fault.
		TransformItem item;
		if (!ReadTransformItem(&p, &item)) return false;

		const float* v = item.value;
		if (item.kind == kItemMatrix)
		{
			Matrix3D factor;
			factor.SetRows(v[0], v[2], v[4], v[1], v[3], v[5], 0.0f, 0.0f, 1.0f);
			m.MultiplyBy(factor);
		}
		else if (item.kind == kItemTranslate)
		{
			float tx = (item.count > 0) ? v[0] : 0.0f;
			float ty = (item.count > 1) ? v[1] : 0.0f;
			m[6] += tx * m[0] + ty * m[3];
			m[7] += tx * m[1] + ty * m[4];
			m[8] += tx * m[2] + ty * m[5];
		}
		else if (item.kind == kItemScale)
		{
			// Deliberate: a missing factor is 0 here, unlike on shapes and groups.
			float sx = (item.count > 0) ? v[0] : 0.0f;
			float sy = (item.count > 1) ? v[1] : sx;
			for (int32_t i = 0; i < 3; i++)
			{
				m[i] *= sx;
				m[3 + i] *= sy;
			}
		}
		else
		{
			// Deliberate: the angle is taken in radians here, and the pivot
			// column is built from the whole rotation, so its last entry is
			// 1 - 1 = 0 and the product loses its translation.
			float angle = (item.count > 0) ? v[0] : 0.0f;
			float cx = (item.count > 1) ? v[1] : 0.0f;
			float cy = (item.count > 2) ? v[2] : 0.0f;
			Matrix3D rotation;
			rotation.MakeRotation(angle);
			float rx = rotation[0] * cx + rotation[3] * cy + rotation[6] * 1.0f;
			float ry = rotation[1] * cx + rotation[4] * cy + rotation[7] * 1.0f;
			float rz = rotation[2] * cx + rotation[5] * cy + rotation[8] * 1.0f;
			rotation[6] = cx - rx;
			rotation[7] = cy - ry;
			rotation[8] = 1.0f - rz;
			m.MultiplyBy(rotation);
		}
	}

	*matrix = m;
	return true;
}

// "userSpaceOnUse" matched without regard to case over the value's own
// length, so "user" and the empty value match too.
static bool IsUserSpace(const char* value, int32_t length)
{
	return (length <= 14) && TextPrefixNoCase(value, "userSpaceOnUse", length);
}

void SvgImporter::ReadLinearGradient(const char* cursor)
{
	float x1 = 0.0f;
	float y1 = 0.0f;
	float x2 = 0.0f;
	float y2 = 0.0f;
	Matrix3D m;

	char name[kSvgNameSize];
	const char* value;
	int32_t length;
	while (ReadAttribute(&cursor, name, &value, &length))
	{
		if (std::strcmp(name, "id") == 0) gradient->id.Assign(value, length);
		else if (std::strcmp(name, "x1") == 0) ReadFloat(value, &x1);
		else if (std::strcmp(name, "y1") == 0) ReadFloat(value, &y1);
		else if (std::strcmp(name, "x2") == 0) ReadFloat(value, &x2);
		else if (std::strcmp(name, "y2") == 0) ReadFloat(value, &y2);
		else if (std::strcmp(name, "gradienttransform") == 0) ParseTransformMatrix(String(value, length), &m);
		else if (std::strcmp(name, "gradientunits") == 0) gradient->objectUnits = !IsUserSpace(value, length);
	}

	// No guard: coinciding ends give an infinite k, as a singular transform
	// gives a plane that is not finite.
	float dx = x2 - x1;
	float dy = y2 - y1;
	float k = 1.0f / (dx * dx + dy * dy);
	float a = k * dx;
	float b = k * dy;
	float c = -(a * x1 + b * y1);

	Matrix3D inverse = Inverse(m);
	gradient->geometry[0] = a * inverse[0] + b * inverse[1] + c * inverse[2];
	gradient->geometry[1] = a * inverse[3] + b * inverse[4] + c * inverse[5];
	gradient->geometry[2] = a * inverse[6] + b * inverse[7] + c * inverse[8];
}

void SvgImporter::ReadRadialGradient(const char* cursor)
{
	float cx = 0.0f;
	float cy = 0.0f;
	float r = 0.0f;
	Matrix3D m;

	char name[kSvgNameSize];
	const char* value;
	int32_t length;
	while (ReadAttribute(&cursor, name, &value, &length))
	{
		if (std::strcmp(name, "id") == 0) gradient->id.Assign(value, length);
		else if (std::strcmp(name, "cx") == 0) ReadFloat(value, &cx);
		else if (std::strcmp(name, "cy") == 0) ReadFloat(value, &cy);
		else if (std::strcmp(name, "r") == 0) ReadFloat(value, &r);
		else if (std::strcmp(name, "gradienttransform") == 0) ParseTransformMatrix(String(value, length), &m);
		else if (std::strcmp(name, "gradientunits") == 0) gradient->objectUnits = !IsUserSpace(value, length);
	}

	gradient->geometry[0] = m[0] * cx + m[3] * cy + m[6];
	gradient->geometry[1] = m[1] * cx + m[4] * cy + m[7];

	float lengthX = Sqrt(m[0] * m[0] + m[1] * m[1]);
	float lengthY = Sqrt(m[3] * m[3] + m[4] * m[4]);
	gradient->geometry[2] = r * ((lengthX > lengthY) ? lengthX : lengthY);
}

void SvgImporter::ReadStop(const char* cursor)
{
	String colorText;
	String opacityText;

	char name[kSvgNameSize];
	const char* value;
	int32_t length;
	while (ReadAttribute(&cursor, name, &value, &length))
	{
		if (std::strcmp(name, "stop-color") == 0)
		{
			colorText.Assign(value, length);
		}
		else if (std::strcmp(name, "stop-opacity") == 0)
		{
			opacityText.Assign(value, length);
		}
		else if (std::strcmp(name, "style") == 0)
		{
			String style(value, length);
			const char* p = style;
			char declaration[kSvgNameSize];
			const char* start;
			int32_t count;
			while (ReadStyleDeclaration(&p, declaration, &start, &count))
			{
				if (std::strcmp(declaration, "stop-color") == 0) colorText.Assign(start, count);
				else if (std::strcmp(declaration, "stop-opacity") == 0) opacityText.Assign(start, count);
			}
		}
	}

	// Offsets mean nothing: the first stop gives one end of the ramp, the
	// last one read gives the other.
	gradient->stopCount++;
	ParseColor(colorText, opacityText, (gradient->stopCount == 1) ? gradient->firstStop : gradient->lastStop);
}
