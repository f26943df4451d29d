// PictureRenderer: draws one picture of a picture album on the processor, its components in order, each over what is below.
#pragma once

#include <cstdint>

class AlbumContents;

// The rectangle of the document a picture is drawn from: its canvas when that
// has area, else the union box of its drawings. False when neither has a
// finite area.
bool PictureFrame(const AlbumContents* album, int32_t pictureIndex, float* frame);

// Draws picture `pictureIndex` into a `width` x `height` image of four floats
// a pixel, linear light, premultiplied by alpha, which the caller clears
// first. The frame is fitted into the image keeping its proportions and
// centred; row 0 is at the top. Fills are drawn through their entries and
// placement, strokes through their meshes, and every component is blended
// source-over in linear light. Returns 0, or the first failing component's
// code ('OFST', 'ENTR', 'FRMT', 'SIZE'); what was drawn before stays.
uint32_t RenderPicture(const AlbumContents* album, int32_t pictureIndex, int32_t width, int32_t height, float* pixels);
