// TextureCursor: an image under construction, filled strictly forward.
#pragma once

#include <cstdint>

// A null `data` is a counting pass: nothing is written, only the cursor moves.
// `format` is 'FLT4' for texels of four 32-bit floats; any other value means
// four 16-bit floats for curve images and two 16-bit integers for band images.
struct TextureCursor
{
	void* data;
	uint32_t format;
	int32_t width;
	int32_t height;
	int32_t column;
	int32_t row;
};
