#include "document/Attributes.h"

#include <cmath>

#include "support/Math.h"

// The exact decoding curve, c / 12.92 up to 0.04045 and ((c + 0.055) / 1.055)^2.4
// above, evaluated in double precision for c = byte / 255 and rounded once.
const float kSrgbToLinear[256] =
{
	0.0f, 0.000303526991f, 0.000607053982f, 0.000910580973f, 0.00121410796f, 0.00151763496f, 0.00182116195f, 0.00212468882f,
	0.00242821593f, 0.0027317428f, 0.00303526991f, 0.00334653584f, 0.00367650739f, 0.00402471703f, 0.00439144205f, 0.00477695325f,
	0.00518151652f, 0.00560539169f, 0.00604883302f, 0.00651209056f, 0.00699541019f, 0.00749903219f, 0.00802319311f, 0.00856812578f,
	0.00913405884f, 0.00972121768f, 0.010329823f, 0.0109600937f, 0.0116122449f, 0.012286488f, 0.0129830325f, 0.0137020834f,
	0.0144438436f, 0.0152085144f, 0.0159962941f, 0.0168073755f, 0.0176419541f, 0.01850022f, 0.0193823613f, 0.0202885624f,
	0.0212190095f, 0.0221738853f, 0.0231533665f, 0.0241576321f, 0.0251868591f, 0.0262412224f, 0.0273208916f, 0.02842604f,
	0.0295568351f, 0.0307134446f, 0.0318960324f, 0.0331047662f, 0.0343398079f, 0.0356013142f, 0.0368894488f, 0.0382043719f,
	0.0395462364f, 0.0409151986f, 0.0423114114f, 0.043735031f, 0.045186203f, 0.0466650873f, 0.0481718257f, 0.0497065671f,
	0.0512694567f, 0.0528606474f, 0.054480277f, 0.0561284907f, 0.0578054301f, 0.0595112368f, 0.0612460524f, 0.0630100146f,
	0.064803265f, 0.0666259378f, 0.0684781671f, 0.0703600943f, 0.0722718537f, 0.0742135718f, 0.0761853829f, 0.078187421f,
	0.0802198201f, 0.0822827071f, 0.0843762085f, 0.0865004584f, 0.0886555836f, 0.0908417106f, 0.0930589661f, 0.0953074694f,
	0.097587347f, 0.0998987257f, 0.102241732f, 0.104616486f, 0.107023105f, 0.10946171f, 0.111932427f, 0.114435375f,
	0.116970666f, 0.119538426f, 0.122138776f, 0.124771819f, 0.127437681f, 0.130136475f, 0.13286832f, 0.135633335f,
	0.138431609f, 0.141263291f, 0.144128472f, 0.147027269f, 0.149959788f, 0.152926147f, 0.155926466f, 0.158960834f,
	0.162029371f, 0.165132195f, 0.168269396f, 0.171441108f, 0.174647406f, 0.177888423f, 0.18116425f, 0.18447499f,
	0.187820777f, 0.191201687f, 0.194617838f, 0.198069319f, 0.20155625f, 0.205078736f, 0.208636865f, 0.212230757f,
	0.215860501f, 0.219526201f, 0.223227963f, 0.226965874f, 0.230740055f, 0.23455058f, 0.238397568f, 0.242281124f,
	0.246201321f, 0.25015828f, 0.254152089f, 0.258182853f, 0.262250662f, 0.266355604f, 0.270497799f, 0.274677306f,
	0.278894275f, 0.283148736f, 0.287440836f, 0.291770637f, 0.296138257f, 0.300543785f, 0.304987311f, 0.309468925f,
	0.313988715f, 0.318546772f, 0.323143214f, 0.327778101f, 0.332451522f, 0.337163627f, 0.341914415f, 0.346704066f,
	0.351532608f, 0.356400132f, 0.361306787f, 0.366252601f, 0.371237695f, 0.376262128f, 0.38132602f, 0.386429429f,
	0.391572475f, 0.396755219f, 0.401977777f, 0.407240212f, 0.412542611f, 0.417885065f, 0.423267663f, 0.428690493f,
	0.434153646f, 0.439657182f, 0.445201188f, 0.450785786f, 0.456411034f, 0.462076992f, 0.467783809f, 0.473531485f,
	0.479320168f, 0.48514995f, 0.491020858f, 0.496932983f, 0.502886474f, 0.50888133f, 0.514917672f, 0.520995557f,
	0.527115107f, 0.533276379f, 0.539479494f, 0.545724452f, 0.55201143f, 0.558340371f, 0.564711511f, 0.571124852f,
	0.577580452f, 0.584078431f, 0.590618849f, 0.597201765f, 0.603827357f, 0.610495567f, 0.617206573f, 0.623960376f,
	0.630757153f, 0.637596846f, 0.644479692f, 0.651405632f, 0.658374846f, 0.665387273f, 0.672443151f, 0.679542482f,
	0.686685324f, 0.693871737f, 0.701101899f, 0.708375752f, 0.715693474f, 0.723055124f, 0.730460763f, 0.73791039f,
	0.745404184f, 0.752942204f, 0.760524511f, 0.768151164f, 0.775822222f, 0.783537805f, 0.791297913f, 0.799102724f,
	0.806952238f, 0.814846575f, 0.822785735f, 0.830769897f, 0.838799f, 0.846873224f, 0.854992628f, 0.863157213f,
	0.871367097f, 0.8796224f, 0.887923121f, 0.896269381f, 0.904661179f, 0.913098633f, 0.921581864f, 0.930110872f,
	0.938685715f, 0.947306514f, 0.955973327f, 0.964686275f, 0.973445296f, 0.982250571f, 0.991102099f, 1.0f
};

static bool ValidateKindProperty(const String& identifier, String* kind, uint32_t* type, void** value)
{
	if (!TextEqual(identifier, "kind")) return false;
	*type = 'STRG';
	*value = kind;
	return true;
}

// The element count of a float list, or -1 when `list` is no float list of
// that array size.
static int32_t FloatCount(const Structure* list, uint32_t arraySize)
{
	if (!IsDataList(list, 'FLOT', arraySize)) return -1;
	return static_cast<const FloatStructure*>(list)->data.GetCount();
}

static const float* FloatData(const Structure* list)
{
	return static_cast<const FloatStructure*>(list)->data.GetData();
}

TransformStructure::TransformStructure() : MatrixStructure('xfrm')
{
}

bool TransformStructure::ValidateSubstructure(const Document*, const Structure* structure) const
{
	if ((structure->baseStructureType != 'PRIM') || (structure->structureType != 'FLOT')) return false;

	uint32_t size = static_cast<const PrimitiveStructure*>(structure)->arraySize;
	return ((size == 4) || (size == 6) || (size == 9) || (size == 12) || (size == 16));
}

uint32_t TransformStructure::ProcessData(Document*)
{
	// Matrix entries filled by each size, column by column; the rest stays identity.
	static const int8_t kEntries4[4] = {0, 1, 4, 5};
	static const int8_t kEntries6[6] = {0, 1, 4, 5, 12, 13};
	static const int8_t kEntries9[9] = {0, 1, 2, 4, 5, 6, 8, 9, 10};
	static const int8_t kEntries12[12] = {0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14};
	static const int8_t kEntries16[16] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};

	matrix = Transform4D();

	const Structure* list = nullptr;
	uint32_t result = FindSingleDataList(this, &list);
	if (result != 0) return result;

	uint32_t size = static_cast<const PrimitiveStructure*>(list)->arraySize;
	if (FloatCount(list, size) != int32_t(size)) return 'IVDF';

	const int8_t* entries = kEntries16;
	if (size == 4) entries = kEntries4;
	else if (size == 6) entries = kEntries6;
	else if (size == 9) entries = kEntries9;
	else if (size == 12) entries = kEntries12;
	else if (size != 16) return 'IVDF';

	const float* element = FloatData(list);
	for (uint32_t i = 0; i < size; i++) matrix[entries[i]] = element[i];
	return 0;
}

// The kinds of Translation and Scale: which axes a kind gives values for.
struct AxisKind
{
	const char* name;
	int32_t first;
	int32_t count;
};

static const AxisKind kAxisKinds[5] = {{"x", 0, 1}, {"y", 1, 1}, {"z", 2, 1}, {"xy", 0, 2}, {"xyz", 0, 3}};

// Reads the values that the kind asks for into `value` (three floats, each
// set only where the kind names its axis). Returns 0, 'IVDF' for a list of
// the wrong form, or `unknownCode` for any other kind.
static uint32_t ReadAxisValues(const String& kind, const Structure* list, uint32_t unknownCode, float* value)
{
	const AxisKind* match = nullptr;
	for (const AxisKind& axisKind : kAxisKinds)
	{
		if (TextEqual(kind, axisKind.name)) match = &axisKind;
	}

	if (!match) return unknownCode;

	// One value is a plain list; two or three are one sub-array.
	uint32_t arraySize = (match->count == 1) ? 0 : uint32_t(match->count);
	if (FloatCount(list, arraySize) != match->count) return 'IVDF';

	const float* element = FloatData(list);
	for (int32_t i = 0; i < match->count; i++) value[match->first + i] = element[i];
	return 0;
}

static bool IsAxisList(const Structure* structure)
{
	return (IsDataList(structure, 'FLOT', 0) || IsDataList(structure, 'FLOT', 2) || IsDataList(structure, 'FLOT', 3));
}

TranslationStructure::TranslationStructure() : MatrixStructure('xslt'), kind("xy")
{
}

bool TranslationStructure::ValidateProperty(const Document*, const String& identifier, uint32_t* type, void** value)
{
	return ValidateKindProperty(identifier, &kind, type, value);
}

bool TranslationStructure::ValidateSubstructure(const Document*, const Structure* structure) const
{
	return IsAxisList(structure);
}

uint32_t TranslationStructure::ProcessData(Document*)
{
	matrix = Transform4D();

	const Structure* list = nullptr;
	uint32_t result = FindSingleDataList(this, &list);
	if (result != 0) return result;

	float value[3] = {0.0f, 0.0f, 0.0f};
	result = ReadAxisValues(kind, list, 'ivtk', value);
	if (result != 0) return result;

	matrix[12] = value[0];
	matrix[13] = value[1];
	matrix[14] = value[2];
	return 0;
}

RotationStructure::RotationStructure() : MatrixStructure('rota'), kind("z")
{
}

bool RotationStructure::ValidateProperty(const Document*, const String& identifier, uint32_t* type, void** value)
{
	return ValidateKindProperty(identifier, &kind, type, value);
}

bool RotationStructure::ValidateSubstructure(const Document*, const Structure* structure) const
{
	return (IsDataList(structure, 'FLOT', 0) || IsDataList(structure, 'FLOT', 4));
}

uint32_t RotationStructure::ProcessData(Document*)
{
	matrix = Transform4D();

	const Structure* list = nullptr;
	uint32_t result = FindSingleDataList(this, &list);
	if (result != 0) return result;

	bool axisKind = TextEqual(kind, "axis");
	int32_t axis = -1;
	if (TextEqual(kind, "x")) axis = 0;
	else if (TextEqual(kind, "y")) axis = 1;
	else if (TextEqual(kind, "z")) axis = 2;
	else if (!axisKind) return 'ivrk';

	if (FloatCount(list, axisKind ? 4 : 0) != (axisKind ? 4 : 1)) return 'IVDF';
	const float* element = FloatData(list);

	float c, s;
	SinCos(element[0] * 0.017453292f, &c, &s);

	if (axis == 0)
	{
		matrix[5] = c;
		matrix[6] = s;
		matrix[9] = -s;
		matrix[10] = c;
	}
	else if (axis == 1)
	{
		matrix[0] = c;
		matrix[2] = -s;
		matrix[8] = s;
		matrix[10] = c;
	}
	else if (axis == 2)
	{
		matrix[0] = c;
		matrix[1] = s;
		matrix[4] = -s;
		matrix[5] = c;
	}
	else
	{
		// Rotation about a unit axis, turning the same way as the three above.
		// A zero axis gives entries that are not finite; nothing checks it.
		float r = InverseSqrt(element[1] * element[1] + element[2] * element[2] + element[3] * element[3]);
		float x = element[1] * r;
		float y = element[2] * r;
		float z = element[3] * r;
		float t = 1.0f - c;

		matrix[0] = t * x * x + c;
		matrix[1] = t * x * y + s * z;
		matrix[2] = t * x * z - s * y;
		matrix[4] = t * x * y - s * z;
		matrix[5] = t * y * y + c;
		matrix[6] = t * y * z + s * x;
		matrix[8] = t * x * z + s * y;
		matrix[9] = t * y * z - s * x;
		matrix[10] = t * z * z + c;
	}

	return 0;
}

ScaleStructure::ScaleStructure() : MatrixStructure('scal'), kind("xy")
{
}

bool ScaleStructure::ValidateProperty(const Document*, const String& identifier, uint32_t* type, void** value)
{
	return ValidateKindProperty(identifier, &kind, type, value);
}

bool ScaleStructure::ValidateSubstructure(const Document*, const Structure* structure) const
{
	return IsAxisList(structure);
}

uint32_t ScaleStructure::ProcessData(Document*)
{
	matrix = Transform4D();

	const Structure* list = nullptr;
	uint32_t result = FindSingleDataList(this, &list);
	if (result != 0) return result;

	float value[3] = {1.0f, 1.0f, 1.0f};
	result = ReadAxisValues(kind, list, 'ivsk', value);
	if (result != 0) return result;

	matrix[0] = value[0];
	matrix[5] = value[1];
	matrix[10] = value[2];
	return 0;
}

// The single value of a one-element float list below `structure`.
static uint32_t ReadSingleValue(const Structure* structure, float* value)
{
	const Structure* list = nullptr;
	uint32_t result = FindSingleDataList(structure, &list);
	if (result != 0) return result;

	if (FloatCount(list, 0) != 1) return 'IVDF';
	*value = FloatData(list)[0];
	return 0;
}

OffsetStructure::OffsetStructure() : VectorStructure('ofst')
{
	offset = 0.0f;
}

bool OffsetStructure::ValidateSubstructure(const Document*, const Structure* structure) const
{
	return IsDataList(structure, 'FLOT', 0);
}

uint32_t OffsetStructure::ProcessData(Document*)
{
	return ReadSingleValue(this, &offset);
}

RangeStructure::RangeStructure() : VectorStructure('rang')
{
	for (float& value : range) value = 0.0f;
}

bool RangeStructure::ValidateSubstructure(const Document*, const Structure* structure) const
{
	return IsDataList(structure, 'FLOT', 2);
}

uint32_t RangeStructure::ProcessData(Document*)
{
	const Structure* list = nullptr;
	uint32_t result = FindSingleDataList(this, &list);
	if (result != 0) return result;

	int32_t count = FloatCount(list, 2);
	if ((count != 4) && (count != 6)) return 'IVDF';

	const float* element = FloatData(list);
	for (int32_t i = 0; i < 6; i++) range[i] = (i < count) ? element[i] : 0.0f;
	return 0;
}

RadiusStructure::RadiusStructure() : VectorStructure('radi')
{
	radius[0] = 0.0f;
	radius[1] = 0.0f;
}

bool RadiusStructure::ValidateSubstructure(const Document*, const Structure* structure) const
{
	return (IsDataList(structure, 'FLOT', 0) || IsDataList(structure, 'FLOT', 2));
}

uint32_t RadiusStructure::ProcessData(Document*)
{
	const Structure* list = nullptr;
	uint32_t result = FindSingleDataList(this, &list);
	if (result != 0) return result;

	const float* element = FloatData(list);
	if (FloatCount(list, 0) == 1)
	{
		radius[0] = element[0];
		radius[1] = element[0];
		return 0;
	}

	if (FloatCount(list, 2) == 2)
	{
		radius[0] = element[0];
		radius[1] = element[1];
		return 0;
	}

	return 'IVDF';
}

ColorStructure::ColorStructure() : VectorStructure('colr')
{
	palette = 0;
	colorCount = 0;
	colorData = nullptr;
}

bool ColorStructure::ValidateProperty(const Document*, const String& identifier, uint32_t* type, void** value)
{
	if (!TextEqual(identifier, "palette")) return false;
	*type = 'UI32';
	*value = &palette;
	return true;
}

static bool IsColorList(const Structure* structure)
{
	return (IsDataList(structure, 'FLOT', 3) || IsDataList(structure, 'FLOT', 4) || IsDataList(structure, 'UIN8', 3) || IsDataList(structure, 'UIN8', 4));
}

bool ColorStructure::ValidateSubstructure(const Document*, const Structure* structure) const
{
	return IsColorList(structure);
}

uint32_t ColorStructure::ProcessData(Document*)
{
	colorCount = 0;
	colorData = nullptr;

	for (const Structure* node = GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if (colorData) return 'EXSB';

		// Only colour lists get past validation, but code may append anything.
		if (!IsColorList(node)) return 'IVDF';

		const PrimitiveStructure* list = static_cast<const PrimitiveStructure*>(node);
		int32_t count = (list->structureType == 'FLOT') ? static_cast<const FloatStructure*>(list)->data.GetCount() : static_cast<const UnsignedInt8Structure*>(list)->data.GetCount();
		if (count == 0) return 'IVDF';

		colorData = list;
		colorCount = uint32_t(count) / list->arraySize;
	}

	if (!colorData) return 'MSSB';
	return 0;
}

void ColorStructure::GetColor(int32_t index, float* rgba) const
{
	rgba[0] = 0.0f;
	rgba[1] = 0.0f;
	rgba[2] = 0.0f;
	rgba[3] = 1.0f;
	if ((!colorData) || (index < 0) || (uint32_t(index) >= colorCount)) return;

	uint32_t size = colorData->arraySize;
	if (colorData->structureType == 'FLOT')
	{
		const float* element = static_cast<const FloatStructure*>(colorData)->data.GetData() + index * int32_t(size);
		rgba[0] = element[0];
		rgba[1] = element[1];
		rgba[2] = element[2];
		if (size == 4) rgba[3] = element[3];
	}
	else
	{
		const uint8_t* element = static_cast<const UnsignedInt8Structure*>(colorData)->data.GetData() + index * int32_t(size);
		rgba[0] = kSrgbToLinear[element[0]];
		rgba[1] = kSrgbToLinear[element[1]];
		rgba[2] = kSrgbToLinear[element[2]];
		if (size == 4) rgba[3] = float(element[3]) * 0.003921569f;
	}
}

// value x 255 + 0.5, truncated to a byte. Values outside the byte range
// (a float colour above 1 or below 0) and NaN are held to 0 to 255, since
// truncating them into a byte has no defined result.
static uint8_t ByteFromUnit(float value)
{
	float scaled = value * 255.0f + 0.5f;
	if (!(scaled >= 0.0f)) return 0;
	if (scaled >= 255.0f) return 255;
	return uint8_t(scaled);
}

static float EncodeSrgb(float value)
{
	if (value < 0.0031308f) return 12.92f * value;
	return 1.055f * std::pow(value, 0.41666666f) - 0.055f;
}

void ColorStructure::GetColorBytes(int32_t index, uint8_t* rgba) const
{
	rgba[0] = 0;
	rgba[1] = 0;
	rgba[2] = 0;
	rgba[3] = 255;
	if ((!colorData) || (index < 0) || (uint32_t(index) >= colorCount)) return;

	uint32_t size = colorData->arraySize;
	if (colorData->structureType == 'FLOT')
	{
		const float* element = static_cast<const FloatStructure*>(colorData)->data.GetData() + index * int32_t(size);
		rgba[0] = ByteFromUnit(EncodeSrgb(element[0]));
		rgba[1] = ByteFromUnit(EncodeSrgb(element[1]));
		rgba[2] = ByteFromUnit(EncodeSrgb(element[2]));
		if (size == 4) rgba[3] = ByteFromUnit(element[3]);
	}
	else
	{
		const uint8_t* element = static_cast<const UnsignedInt8Structure*>(colorData)->data.GetData() + index * int32_t(size);
		rgba[0] = element[0];
		rgba[1] = element[1];
		rgba[2] = element[2];
		if (size == 4) rgba[3] = element[3];
	}
}

GradientStructure::GradientStructure() : VectorStructure('grad'), kind("linear")
{
	objectFlag = false;
	positionData = nullptr;
	radiusData = nullptr;
	colorData = nullptr;
}

bool GradientStructure::ValidateProperty(const Document*, const String& identifier, uint32_t* type, void** value)
{
	if (ValidateKindProperty(identifier, &kind, type, value)) return true;
	if (!TextEqual(identifier, "object")) return false;
	*type = 'BOOL';
	*value = &objectFlag;
	return true;
}

bool GradientStructure::ValidateSubstructure(const Document*, const Structure* structure) const
{
	if ((structure->baseStructureType == 'PRIM') && (structure->structureType == 'FLOT')) return true;
	return ((structure->structureType == 'colr') || (structure->structureType == 'radi'));
}

uint32_t GradientStructure::ProcessData(Document* document)
{
	positionData = nullptr;
	radiusData = nullptr;
	colorData = nullptr;

	uint32_t result = Structure::ProcessData(document);
	if (result != 0) return result;

	for (const Structure* node = GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if ((node->baseStructureType == 'PRIM') && (node->structureType == 'FLOT'))
		{
			if (positionData) return 'EXSB';
			positionData = static_cast<const FloatStructure*>(node);
		}
		else if (node->structureType == 'radi')
		{
			if (radiusData) return 'EXSB';
			radiusData = static_cast<const RadiusStructure*>(node);
		}
		else if (node->structureType == 'colr')
		{
			if (colorData) return 'EXSB';
			colorData = static_cast<const ColorStructure*>(node);
			if (colorData->colorCount != 2) return 'IVDF';
		}
	}

	if ((!positionData) || (!colorData)) return 'MSSB';

	int32_t count = positionData->data.GetCount();
	if (TextEqual(kind, "linear"))
	{
		if (count != 3) return 'IVDF';
	}
	else if (TextEqual(kind, "radial"))
	{
		if (count != 2) return 'IVDF';
		if (!radiusData) return 'MSSB';
	}
	else
	{
		return 'ivgk';
	}

	return 0;
}

OpacityStructure::OpacityStructure() : VectorStructure('opac')
{
	opacity = 1.0f;
}

bool OpacityStructure::ValidateSubstructure(const Document*, const Structure* structure) const
{
	return IsDataList(structure, 'FLOT', 0);
}

uint32_t OpacityStructure::ProcessData(Document*)
{
	return ReadSingleValue(this, &opacity);
}

DashStructure::DashStructure() : VectorStructure('dash')
{
}

bool DashStructure::ValidateSubstructure(const Document*, const Structure* structure) const
{
	return (IsDataList(structure, 'FLOT', 2) || (structure->structureType == 'ofst'));
}

FillStructure::FillStructure() : VectorStructure('fill'), rule("nonzero")
{
}

bool FillStructure::ValidateProperty(const Document*, const String& identifier, uint32_t* type, void** value)
{
	if (!TextEqual(identifier, "rule")) return false;
	*type = 'STRG';
	*value = &rule;
	return true;
}

bool FillStructure::ValidateSubstructure(const Document*, const Structure* structure) const
{
	return ((structure->structureType == 'colr') || (structure->structureType == 'grad'));
}

uint32_t FillStructure::ProcessData(Document* document)
{
	uint32_t result = Structure::ProcessData(document);
	parameters = FillParameters();
	if (result != 0) return result;

	// Any other rule is the non-zero rule, without complaint.
	if (TextEqual(rule, "evenodd")) parameters.fillRule = 'EVOD';

	const ColorStructure* color = nullptr;
	const GradientStructure* gradient = nullptr;
	for (const Structure* node = GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if (node->structureType == 'colr')
		{
			if (color) return 'EXSB';
			color = static_cast<const ColorStructure*>(node);
			color->GetColor(0, parameters.color);
		}
		else if (node->structureType == 'grad')
		{
			if (gradient) return 'EXSB';
			gradient = static_cast<const GradientStructure*>(node);

			// A processed gradient has its position and Color; a radial one its Radius.
			if ((!gradient->positionData) || (!gradient->colorData)) continue;

			parameters.objectFlag = gradient->objectFlag;
			gradient->colorData->GetColor(0, parameters.gradientColor0);
			gradient->colorData->GetColor(1, parameters.gradientColor1);

			const float* position = gradient->positionData->data.GetData();
			if (TextEqual(gradient->kind, "linear"))
			{
				parameters.gradientType = 'LINR';
				parameters.linearGradient[0] = position[0];
				parameters.linearGradient[1] = position[1];
				parameters.linearGradient[2] = position[2];
			}
			else if (gradient->radiusData)
			{
				parameters.gradientType = 'RADL';
				parameters.radialGradient[0] = position[0];
				parameters.radialGradient[1] = position[1];
				parameters.radialGradient[2] = gradient->radiusData->radius[0];
			}
		}
	}

	// A gradient without a colour of its own is drawn at full strength.
	if (gradient && !color)
	{
		for (float& channel : parameters.color) channel = 1.0f;
	}

	return 0;
}

StrokeStructure::StrokeStructure() : VectorStructure('strk'), cap("flat"), join("bevel")
{
	// The limit the rest of the system assumes when none is given.
	miter = 4.0f;
	width = 1.0f;
}

bool StrokeStructure::ValidateProperty(const Document*, const String& identifier, uint32_t* type, void** value)
{
	if (TextEqual(identifier, "cap"))
	{
		*type = 'STRG';
		*value = &cap;
		return true;
	}

	if (TextEqual(identifier, "join"))
	{
		*type = 'STRG';
		*value = &join;
		return true;
	}

	if (TextEqual(identifier, "miter"))
	{
		*type = 'FLOT';
		*value = &miter;
		return true;
	}

	return false;
}

bool StrokeStructure::ValidateSubstructure(const Document*, const Structure* structure) const
{
	if ((structure->baseStructureType == 'PRIM') && (structure->structureType == 'FLOT')) return true;
	return ((structure->structureType == 'colr') || (structure->structureType == 'dash'));
}

uint32_t StrokeStructure::ProcessData(Document* document)
{
	uint32_t result = Structure::ProcessData(document);
	width = 1.0f;
	scaledDash.Clear();
	parameters = StrokeParameters();
	if (result != 0) return result;

	if (TextEqual(cap, "triangle")) parameters.cap = 'TRIA';
	else if (TextEqual(cap, "square")) parameters.cap = 'SQUA';
	else if (TextEqual(cap, "round")) parameters.cap = 'ROND';

	// There is no miter join: "miter" and anything unknown are bevels.
	if (TextEqual(join, "round")) parameters.join = 'ROND';

	parameters.miterLimit = miter;

	const Structure* color = nullptr;
	const Structure* dash = nullptr;
	for (const Structure* node = GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if ((node->baseStructureType == 'PRIM') && (node->structureType == 'FLOT'))
		{
			if (static_cast<const FloatStructure*>(node)->data.GetCount() != 1) return 'IVDF';
			width = FloatData(node)[0];
		}
		else if (node->structureType == 'colr')
		{
			if (color) return 'EXSB';
			color = node;
			static_cast<const ColorStructure*>(node)->GetColor(0, parameters.color);
		}
		else if (node->structureType == 'dash')
		{
			if (dash) return 'EXSB';
			dash = node;

			for (const Structure* part = node->GetFirstSubnode(); part; part = part->GetNextSubnode())
			{
				if (part->structureType == 'ofst')
				{
					parameters.dashOffset = static_cast<const OffsetStructure*>(part)->offset;
				}
				else if ((part->baseStructureType == 'PRIM') && (part->structureType == 'FLOT'))
				{
					const FloatStructure* lengths = static_cast<const FloatStructure*>(part);
					parameters.dashCount = lengths->data.GetCount();
					parameters.dashArray = lengths->data.GetData();
				}
			}
		}
	}

	// Unscaled until a compiler brings the shape to unit size.
	parameters.width = width;
	return 0;
}

void StrokeStructure::ScaleStroke(float factor)
{
	parameters.width = factor * width;

	// The lengths may already lie in scaledDash from an earlier call; they are
	// then scaled in place, since the count does not change.
	const float* source = parameters.dashArray;
	int32_t count = parameters.dashCount;
	if ((!source) || (count <= 0))
	{
		scaledDash.Clear();
		return;
	}

	if (source != scaledDash.GetData())
	{
		scaledDash.Clear();
		scaledDash.Reserve(count);
	}

	scaledDash.SetCount(count);
	float* scaled = scaledDash.GetData();
	for (int32_t i = 0; i < count; i++) scaled[i] = source[i] * factor;
	parameters.dashArray = scaled;

	// The phase is a length along the same pattern, so it shares its unit;
	// left alone it would shift the dashes on every shape not one unit wide.
	parameters.dashOffset = parameters.dashOffset * factor;
}
