// AlbumHost: loads an album and builds the vertex data its shaders draw, with no graphics API in its interface.
#pragma once

#include <cstdint>
#include <vector>

#include "album/AlbumReader.h"

// One vertex: the shaders' five float4 attributes at locations 0 to 4, 80
// bytes. texcoord[2] and texcoord[3] carry the two 32-bit glyph words as bit
// patterns; upload them untouched.
struct HostVertex
{
	// x, y object position; z, w the dilation vector (half a pixel per unit).
	float position[4];
	// x, y entry coordinates; z, w the glyph words.
	float texcoord[4];
	// How texcoord.x changes with object x and y, then texcoord.y.
	float jacobian[4];
	// Band scales, then band offsets.
	float banding[4];
	// Linear-light red, green, blue, alpha.
	float color[4];
};

static_assert(sizeof(HostVertex) == 80);

// One draw call's worth of a mesh: `indexCount` indices from `firstIndex`,
// three a triangle, drawn in order.
struct HostDraw
{
	uint32_t firstIndex;
	uint32_t indexCount;
	// The entry drawn, or -1 for a stroke.
	int32_t entry;
	// Needs the shader built with VORP_MULTICOLOR: the glyph data name a
	// layer table. Every other draw needs a shader without it. Beyond that a
	// shader with VORP_STROKE, VORP_GRADIENT and VORP_EVENODD draws them all.
	bool layered;
};

// Vertex data ready to upload: vertices, 32-bit triangle indices and draws.
struct HostMesh
{
	std::vector<HostVertex> vertices;
	std::vector<uint32_t> indices;
	std::vector<HostDraw> draws;

	void Clear();
};

// Result codes of AlbumHost, besides the reader's ('TRNC', 'MAGC', 'FRMT',
// 'DIMS', 'OFST', 'STRM'):
//   'ENTR' no entry or picture of that index, or a picture call on an icon album.
//   'SIZE' an entry asks for more band data than the renderer takes on, or a
//          mesh would pass 2^31 vertices.
//   'FRMT' besides the reader's meaning: a band count above 255, an unknown
//          gradient type, a bad polygon code, a placement matrix that cannot be
//          inverted, or a stroke vertex without a curve count.

// A short English sentence for a result code, for the host's own message.
const char* HostResultText(uint32_t code);

// Holds one album and builds meshes from it. Every table, texel and index
// that a mesh can make the shaders read is checked on loading, so a loaded
// album cannot send the GPU outside its images or vertex arrays.
class AlbumHost
{
	public:

		AlbumHost();

		AlbumHost(const AlbumHost&) = delete;
		AlbumHost& operator=(const AlbumHost&) = delete;

		// Reads and checks `size` bytes; the data may be freed afterwards.
		// Returns 0 or a code; on failure the host holds no album.
		uint32_t Load(const void* data, uint64_t size);

		// How far vertices move out, in half pixels: 1 by default, which
		// covers every pixel a single sample can touch; 2 with VORP_SUPER,
		// whose samples spread across the pixel and reach twice as far.
		void SetDilation(float halfPixels) { dilation = halfPixels; }

		// The album as loaded: records, and both images as raw texels for
		// upload (curve texels of four f16 or four f32 as the header says,
		// band texels of two u16).
		const AlbumContents& GetContents() const { return album; }

		// Appends one entry in the entry's own coordinates (the identity
		// placement): its bounding polygon if `usePolygon` and it has one,
		// else its box. `color` is the vertex colour, linear red, green, blue,
		// alpha. An entry that covers nothing appends nothing. Returns 0 or
		// 'ENTR'.
		uint32_t AppendEntry(int32_t entry, const float color[4], bool usePolygon, HostMesh* mesh) const;

		// Appends every component of one picture in document units, in
		// order: fills as their entries placed by the component's matrix and
		// offset, strokes as their triangle meshes placed the same way, each
		// in the component's colour. Returns 0 or 'ENTR'.
		uint32_t AppendPicture(int32_t picture, bool usePolygon, HostMesh* mesh) const;

	private:

		uint32_t CheckEntry(int32_t entry);
		uint32_t CheckStroke(const StrokeRecord& stroke) const;
		void AppendPlacedEntry(int32_t entry, const float placement[6], const float color[4], bool usePolygon, HostMesh* mesh) const;
		void AppendStroke(const StrokeRecord& stroke, const float placement[6], const float color[4], HostMesh* mesh) const;

		AlbumContents album;
		float dilation;
		// Per entry: false when it covers nothing and draws nothing.
		std::vector<bool> drawable;
};
