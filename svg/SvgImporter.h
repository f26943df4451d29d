// SvgImporter: reads a fixed subset of SVG text into the structures of a vector document.
#pragma once

#include <cstdint>

#include "support/Array.h"
#include "support/Math.h"
#include "support/String.h"
#include "support/Tree.h"

class Structure;
class GeometryStructure;
class PathStructure;

// The slots of a style frame, in frame order; each is named for the
// attribute that fills it.
enum : int32_t
{
	kStyleTransform,
	kStyleFill,
	kStyleFillOpacity,
	kStyleFillRule,
	kStyleStroke,
	kStyleStrokeOpacity,
	kStyleStrokeWidth,
	kStyleStrokeLinecap,
	kStyleStrokeLinejoin,
	kStyleStrokeMiterlimit,
	kStyleStrokeDasharray,
	kStyleStrokeDashoffset,
	kStyleOpacity,
	kStyleSlotCount
};

// Room for an attribute or declaration name and its terminator. Longer names
// keep their first kSvgNameSize - 1 bytes, which can never equal a name the
// importer knows, so they are simply not recognised.
constexpr int32_t kSvgNameSize = 32;

// The deepest style stack kept. Inheritance walks the whole stack for every
// shape, so an unbounded stack would let a hostile file make the import
// quadratic; deeper groups and svg elements are stepped over.
constexpr int32_t kMaxStyleDepth = 256;

// The deepest tree level a Group or Layer may take (the root is level 0).
// Opening a group counts its level by climbing the tree, so the bound keeps a
// hostile file's import linear; deeper groups join their container, as they
// would once the style stack is full.
constexpr int32_t kMaxGroupLevel = 248;

// One frame of the style stack: the raw attribute texts of one element.
// An empty text means the attribute was not given on that element.
struct SvgStyle
{
	String slot[kStyleSlotCount];
};

// A gradient element: its ramp geometry in drawing coordinates and the
// colours of its first and last stops. Filed in the importer's map by id.
class SvgGradient : public TreeNode<SvgGradient>
{
	public:

		explicit SvgGradient(uint32_t gradientType);

		uint32_t type;
		String id;
		float geometry[3];
		bool objectUnits;
		int32_t stopCount;
		float firstStop[4];
		float lastStop[4];
};

// The state of one import. It lives on the stack of the load function, and
// nothing of it outlives the import except the structures it appends.
class SvgImporter
{
	public:

		SvgImporter();
		~SvgImporter();

		SvgImporter(const SvgImporter&) = delete;
		SvgImporter& operator=(const SvgImporter&) = delete;

		// Scans `text` (NUL-terminated; null reads as empty) and appends what
		// it draws below `rootStructure`. Returns 0, or 'SVIV' when an svg
		// element gave no positive size; the scan runs to the end either way.
		uint32_t Import(const char* text, Structure* rootStructure);

		// Number readers of the importer: each returns the bytes consumed, and
		// 0 means no number. ReadFloat stores 0 when there are no digits.
		static int32_t ReadFloat(const char* text, float* out);
		static int32_t ReadInteger(const char* text, int32_t* out);
		static int32_t SkipSpace(const char* text);

		// Reads one name="value" at `*cursor`. `name` receives kSvgNameSize
		// bytes at most, in lower case; the value points into the text and
		// excludes white space at both ends. False at the first thing that is
		// not such an attribute.
		static bool ReadAttribute(const char** cursor, char* name, const char** valueStart, int32_t* valueLength);

		// Reads one name:value declaration of a style text; the cursor stays on
		// the byte that ended the value.
		static bool ReadStyleDeclaration(const char** cursor, char* name, const char** valueStart, int32_t* valueLength);

		// Stores a style attribute by its lower-case name; other names are dropped.
		static void StoreStyleAttribute(const char* name, const char* value, int32_t length, SvgStyle* frame, bool insideStyle);

		// Red, green, blue (linear) and alpha; false, with `out` untouched, for
		// a colour that cannot be read.
		static bool ParseColor(const char* colorText, const char* opacityText, float* out);

		// Appends a Color to `parent` unless the colour is opaque black.
		static bool AddColor(const char* colorText, const char* opacityText, Structure* parent);

		// Appends an Opacity below 1 to `object`.
		static void AddOpacity(const char* text, Structure* object);

		// Folds a transform list into `matrix`; on failure `matrix` is untouched.
		static bool ParseTransformMatrix(const char* text, Matrix3D* matrix);

		SvgStyle& PushStyle();
		void PopStyle();

		// The text that applies to a slot of the top frame.
		const char* FindInheritedStyle(int32_t slot) const;

		// Appends the page flip (at group depth 0) and the transforms of `text`.
		bool AddTransforms(const char* text, Structure* object);

		// Builds the Fill and the Stroke of a shape from the inherited style.
		bool AddPaint(Structure* object);

		// Not owned: receives the next appended object.
		Structure* container;

		// Owned: the gradient element now being read, or null.
		SvgGradient* gradient;

		// Owned: finished gradients by id.
		Tree<SvgGradient> gradientMap;

		// xmin, ymin, xmax, ymax of the canvas.
		float viewRect[4];

		int32_t groupDepth;
		int32_t defsDepth;
		Array<SvgStyle, 4> styleStack;

	private:

		// Not owned: where the import started, and where appending goes on
		// after a closing tag that leaves the tree.
		Structure* rootStructure;

		// Groups and svg frames stepped over for depth; their closing tags
		// only count these down.
		int32_t skippedGroups;
		int32_t skippedFrames;

		void OpenGroup(const char* cursor, const char* tagEnd);
		void CloseGroup();
		void FinishGradient();

		bool ReadSvgRoot(const char* cursor);
		void ReadLine(const char* cursor);
		void ReadRect(const char* cursor);
		void ReadCircle(const char* cursor);
		void ReadEllipse(const char* cursor);
		void ReadPolygon(const char* cursor, bool open);
		void ReadPath(const char* cursor);

		// Appends `shape` to the container with its transforms, opacity and paint.
		void AppendShape(GeometryStructure* shape, const SvgStyle& frame);

		void ReadLinearGradient(const char* cursor);
		void ReadRadialGradient(const char* cursor);
		void ReadStop(const char* cursor);

		SvgGradient* FindGradient(const char* id) const;

		// Appends a float data list of `count` values to `parent`.
		static void AppendFloatList(Structure* parent, uint32_t arraySize, const float* values, int32_t count);
};
