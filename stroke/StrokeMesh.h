// StrokeMesh: the records a stroke piece is made of, and the writer every piece goes through.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "album/TextureCursor.h"
#include "support/Math.h"

// Where stroke vertices and triangles go. A counting pass starts both pointers
// at null: they move all the same, and their distance from null is the count.
// `floatColor` 1 selects 80-byte vertices with a float colour, `wideIndex` 1
// selects 32-bit triangle indices; the album compiler uses neither.
struct MeshCursor
{
	struct StrokeVertex* vertices;
	struct StrokeTriangle* triangles;
	// The index the next vertex will have.
	int32_t nextIndex;
	int32_t floatColor;
	int32_t wideIndex;
};

// The renderer's five vertex attributes. `position` z, w is the dilation
// vector; `texcoord` x, y the local coordinates, then the chain's first texel
// as row << 16 | column and its curve count << 25.
struct StrokeVertex
{
	float position[4];
	float texcoord[2];
	uint32_t location;
	uint32_t countWord;
	float jacobian[4];
	float banding[4];
	uint8_t color[4];
};

static_assert(sizeof(StrokeVertex) == 68, "a stroke vertex is 68 bytes");
static_assert(offsetof(StrokeVertex, texcoord) == 16 && offsetof(StrokeVertex, location) == 24, "texcoord follows position");
static_assert(offsetof(StrokeVertex, jacobian) == 32 && offsetof(StrokeVertex, banding) == 48, "jacobian, then banding");
static_assert(offsetof(StrokeVertex, color) == 64, "the colour bytes come last");

// Three vertex indices, already offset by the cursor's nextIndex.
struct StrokeTriangle
{
	uint16_t index[3];
};

static_assert(sizeof(StrokeTriangle) == 6, "a stroke triangle is 6 bytes");

// The frame of a segment at one end. `left` is the offset point on the side
// the tangent turned by +90 degrees points to.
struct StrokeEnd
{
	Point2D point;
	Point2D tangent;
	Point2D left;
	Point2D right;
};

// What every generator works from: the two end frames, the control point in
// use, the cross product of the end tangents, and whether the curve is
// practically a point.
struct StrokeSegment
{
	StrokeEnd start;
	StrokeEnd end;
	Point2D control;
	float turn;
	uint8_t degenerate;
};

// Four-character codes of the cap and join kinds. A cap of 0 means that a
// join is wanted at that end.
constexpr uint32_t kCapFlat = 'FLAT';
constexpr uint32_t kCapSquare = 'SQUA';
constexpr uint32_t kCapRound = 'ROND';
constexpr uint32_t kCapTriangle = 'TRIA';
constexpr uint32_t kJoinBevel = 'BEVL';
constexpr uint32_t kJoinRound = 'ROND';

// Cross products of unit vectors at or under this are parallel, and a turn at
// or under it is straight (2^-14).
constexpr float kParallelLimit = 6.1035156e-05f;
// Squared distances under this are a point (2^-22).
constexpr float kPointLimit = 2.3841858e-07f;

// The three choices a stroke generator is built over: 32-bit float texels,
// float vertex colours, 32-bit triangle indices.
template <bool floatTexelChoice, bool floatColorChoice, bool wideIndexChoice>
struct StrokeVariant
{
	static constexpr bool floatTexels = floatTexelChoice;
	static constexpr bool floatColor = floatColorChoice;
	static constexpr bool wideIndex = wideIndexChoice;
	static constexpr size_t vertexBytes = floatColor ? 80 : 68;
	static constexpr size_t triangleBytes = wideIndex ? 12 : 6;
	static constexpr int32_t texelBytes = floatTexels ? 16 : 8;
};

// What the album compiler writes: half-float texels, byte colours, 16-bit
// indices; and the same with float texels.
typedef StrokeVariant<false, false, false> HalfStrokeVariant;
typedef StrokeVariant<true, false, false> FloatStrokeVariant;

// True once a chain did not fit: past the last row, or a chain wider than the
// image. It stays true; nothing more is stored.
inline bool ChainImageFull(const TextureCursor* cursor)
{
	return (cursor->row >= cursor->height) || (cursor->column > cursor->width) || (cursor->row < 0) || (cursor->column < 0);
}

// A piece's colour as the vertex stores it: value x 255 + 0.5, truncated, low
// byte. Values no integer holds (NaN, huge) store 0.
inline uint8_t ColorByte(float value)
{
	float scaled = value * 255.0f + 0.5f;
	if (!(scaled > -2147483648.0f && scaled < 2147483648.0f)) return 0;
	return uint8_t(uint32_t(int32_t(scaled)));
}

// Moves a cursor pointer on by a number of bytes. A counting pass moves null
// pointers, so the step is taken on the address as an integer.
template <class Record>
inline Record* AdvanceRecord(Record* pointer, size_t bytes)
{
	return reinterpret_cast<Record*>(reinterpret_cast<uintptr_t>(pointer) + bytes);
}

// One piece: its chain in the curve image and its vertices and triangles in
// the mesh. The chain is reserved and stored on construction; vertices and
// triangles are stored as they come, only when `write` is set, and the mesh
// cursor moves whether or not.
template <class Variant>
class StrokePiece
{
	public:

		// `points` holds 2 curveCount + 1 chain points in document units.
		StrokePiece(const Point2D* points, int32_t curveCount, float scale, Point2D offset, const float* color, MeshCursor* meshCursor, TextureCursor* textureCursor, bool write)
		{
			this->scale = scale;
			this->offset = offset;
			this->color = color;
			this->mesh = meshCursor;
			this->write = write;
			firstIndex = meshCursor->nextIndex;
			countWord = uint32_t(curveCount) << 25;
			location = ReserveChain(points, curveCount, textureCursor);
		}

		// Appends a vertex at `point`, pushed outward along `dilation`.
		void Vertex(Point2D point, Point2D dilation)
		{
			if (write)
			{
				float values[16] = {point.x, point.y, dilation.x, dilation.y, point.x * scale + offset.x, point.y * scale + offset.y, 0.0f, 0.0f,
					scale, 0.0f, 0.0f, scale, 0.0f, 0.0f, 0.0f, 0.0f};
				for (float& value : values) value = CanonicalNan(value);
				uint8_t* bytes = reinterpret_cast<uint8_t*>(mesh->vertices);
				std::memcpy(bytes, values, 64);
				std::memcpy(bytes + 24, &location, 4);
				std::memcpy(bytes + 28, &countWord, 4);
				if (Variant::floatColor)
				{
					float channels[4] = {CanonicalNan(color[0]), CanonicalNan(color[1]), CanonicalNan(color[2]), CanonicalNan(color[3])};
					std::memcpy(bytes + 64, channels, 16);
				}
				else
				{
					uint8_t colorBytes[4] = {ColorByte(color[0]), ColorByte(color[1]), ColorByte(color[2]), ColorByte(color[3])};
					std::memcpy(bytes + 64, colorBytes, 4);
				}
			}
			mesh->vertices = AdvanceRecord(mesh->vertices, Variant::vertexBytes);
			mesh->nextIndex++;
		}

		// Appends a triangle of indices relative to the piece's first vertex.
		void Triangle(int32_t a, int32_t b, int32_t c)
		{
			if (write)
			{
				uint8_t* bytes = reinterpret_cast<uint8_t*>(mesh->triangles);
				uint32_t indices[3] = {uint32_t(firstIndex + a), uint32_t(firstIndex + b), uint32_t(firstIndex + c)};
				if (Variant::wideIndex)
				{
					std::memcpy(bytes, indices, 12);
				}
				else
				{
					uint16_t narrow[3] = {uint16_t(indices[0]), uint16_t(indices[1]), uint16_t(indices[2])};
					std::memcpy(bytes, narrow, 6);
				}
			}
			mesh->triangles = AdvanceRecord(mesh->triangles, Variant::triangleBytes);
		}

		// The index the next vertex of this piece gets, relative to its first.
		int32_t NextVertex() const
		{
			return mesh->nextIndex - firstIndex;
		}

	private:

		uint32_t ReserveChain(const Point2D* points, int32_t curveCount, TextureCursor* cursor);

		float scale;
		Point2D offset;
		const float* color;
		MeshCursor* mesh;
		bool write;
		int32_t firstIndex;
		uint32_t countWord;
		uint32_t location;
};

// A chain of c curves takes c + 1 texels on one row, point and next control
// in each, the second half of the last one zero. A chain that does not fit on
// the row starts the next one, the rest of the row cleared.
template <class Variant>
uint32_t StrokePiece<Variant>::ReserveChain(const Point2D* points, int32_t curveCount, TextureCursor* cursor)
{
	int32_t texels = curveCount + 1;
	if (!ChainImageFull(cursor) && (cursor->column + 1 + curveCount > cursor->width)) BreakRow(cursor, Variant::texelBytes);
	uint32_t word = (uint32_t(cursor->row & 0xFFFF) << 16) | uint32_t(cursor->column & 0xFFFF);
	bool fits = !ChainImageFull(cursor) && (cursor->column + texels <= cursor->width);
	if (fits && cursor->data)
	{
		uint8_t* texel = static_cast<uint8_t*>(TexelAddress(cursor, cursor->column, cursor->row, Variant::texelBytes));
		int32_t pointCount = curveCount * 2 + 1;
		for (int32_t i = 0; i < texels * 2; i++)
		{
			float x = 0.0f;
			float y = 0.0f;
			if (i < pointCount)
			{
				x = scale * points[i].x + offset.x;
				y = scale * points[i].y + offset.y;
			}
			if (Variant::floatTexels)
			{
				float pair[2] = {CanonicalNan(x), CanonicalNan(y)};
				std::memcpy(texel + i * 8, pair, 8);
			}
			else
			{
				uint16_t halves[2];
				FloatToHalf(&halves[0], x);
				FloatToHalf(&halves[1], y);
				std::memcpy(texel + i * 4, halves, 4);
			}
		}
	}
	cursor->column += texels;
	return word;
}
