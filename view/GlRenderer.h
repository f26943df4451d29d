// GlRenderer: draws albums through OpenGL with the product's shader texts, offscreen through EGL.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

class AlbumHost;
struct HostMesh;
struct GlObjects;

// Which of the shaders' optional switches are on. VORP_MULTICOLOR,
// VORP_STROKE, VORP_GRADIENT and VORP_EVENODD are always on, the first in a
// program of its own for multi-colour entries.
struct GlSwitches
{
	bool weight = false;
	bool superSample = false;
	bool linear = true;
	bool coverage = false;
	bool lop3 = false;
};

// An image of float RGBA pixels, rows top to bottom, linear light.
struct GlImage
{
	int32_t width = 0;
	int32_t height = 0;
	std::vector<float> pixels;
};

// One OpenGL context without a window, with both programs built.
class GlRenderer
{
	public:

		GlRenderer();
		~GlRenderer();

		GlRenderer(const GlRenderer&) = delete;
		GlRenderer& operator=(const GlRenderer&) = delete;

		// Makes an OpenGL 3.3 core context on an EGL display without a
		// window and builds the programs. False with `error` set when there
		// is no display, context or program.
		bool Open(const GlSwitches& switches, std::string* error);

		// Draws entries first .. first + count - 1 side by side in square
		// cells of `size` pixels, as vorp-render lays them out: each entry's
		// box keeps its proportions, the longer side fills the cell, the
		// shorter one is centred, y up. Each entry is drawn by its bounding
		// polygon where it has one. `colors` holds a vertex colour for each
		// drawn entry, four floats each. False with `error` set.
		bool DrawEntries(const AlbumHost& host, int32_t first, int32_t count, const float* colors, int32_t size, GlImage* image,
			std::string* error);

		// Draws one picture of a picture album, fills and strokes in order,
		// blended over transparent black, its box fitted into a square of
		// `size` pixels as an entry is fitted into its cell. The pixels are
		// premultiplied by alpha. False with `error` set.
		bool DrawPicture(const AlbumHost& host, int32_t picture, int32_t size, GlImage* image, std::string* error);

	private:

		void Close();
		bool Begin(const AlbumHost& host, int32_t width, int32_t height, std::string* error);
		bool Finish(GlImage* image, std::string* error);
		void Draw(const HostMesh& mesh, const float box[4], int32_t left, int32_t top, int32_t width, int32_t height, int32_t imageHeight);

		void* display;
		void* context;
		uint32_t programs[2];
		bool premultipliedOutput;
		// The objects of the drawing under way.
		GlObjects* objects;
};
