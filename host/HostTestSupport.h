// HostTestSupport: small albums built in memory for the host and viewer tests.
#pragma once

#include <algorithm>
#include <cstring>
#include <vector>

#include "album/AlbumTestSupport.h"
#include "album/IconCompiler.h"

// Icon entries compiled one by one into two small images, then written as an
// album in memory.
struct IconAlbumBuilder
{
	StaleImage curve{4096, 4, 8, 0, 0, 0};
	StaleImage band{4096, 4, 4, 0, 0, 0};
	std::vector<EntryRecord> entries;

	// One colour; `extraFlags` are or'ed into the entry's flags (the icon
	// compiler never sets even-odd itself).
	void Single(const std::vector<QuadraticCurve>& curves, uint16_t extraFlags = 0, int32_t polyVertexCount = 4)
	{
		EntryRecord entry{};
		EXPECT_TRUE(CompileSingleColor(int32_t(curves.size()), curves.data(), &curve.cursor, &band.cursor, &entry, polyVertexCount, 1.0f, 32, nullptr));
		entry.entryFlags |= extraFlags;
		entries.push_back(entry);
	}

	// One layer a curve set, sRGB colours red in the low byte.
	void Multi(const std::vector<std::vector<QuadraticCurve>>& layers, const std::vector<uint32_t>& colors)
	{
		EntryRecord entry{};
		std::vector<int32_t> counts;
		std::vector<const QuadraticCurve*> arrays;
		for (const std::vector<QuadraticCurve>& layer : layers)
		{
			counts.push_back(int32_t(layer.size()));
			arrays.push_back(layer.data());
		}
		EXPECT_TRUE(CompileMultiColor(int32_t(layers.size()), colors.data(), counts.data(), arrays.data(), &curve.cursor, &band.cursor, &entry, 6, 1.0f, 32, nullptr));
		entries.push_back(entry);
	}

	Bytes Write(bool compress = false)
	{
		ByteSink sink;
		EXPECT_EQ(WriteTables(&sink, int32_t(entries.size()), entries.data(), 0, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0, nullptr,
			&curve, &band, compress, nullptr), 0u);
		return sink.bytes;
	}
};

// Filled drawings of a picture album laid by hand, each its own entry with an
// optional gradient record in front of its curves, all in one picture whose
// components draw them in opaque black.
struct PictureAlbumBuilder
{
	bool floatCurves;
	StaleImage curve;
	StaleImage band{4096, 4, 4, 0, 0, 0};
	std::vector<EntryRecord> entries;
	std::vector<StrokeRecord> strokes;
	std::vector<PackedStrokeVertex> vertices;
	std::vector<StrokeTriangle> triangles;
	// Component references in drawing order.
	std::vector<uint32_t> order;
	float box[4] = {0, 0, 1, 1};

	explicit PictureAlbumBuilder(bool useFloat) : floatCurves(useFloat), curve(4096, 4, useFloat ? 16 : 8, 0, 0, 0)
	{
		curve.cursor.format = useFloat ? 'FLT4' : 'HLF4';
		band.cursor.format = '16U2';
	}

	// `gradient` is the record's twelve values: coefficients, two colours.
	void Fill(const std::vector<QuadraticCurve>& curves, uint16_t flags, uint16_t gradientType, const std::vector<float>& gradient, bool drawn = true)
	{
		if (drawn) order.push_back(uint32_t(entries.size()));
		TexelLocation record = {uint16_t(curve.cursor.column), uint16_t(curve.cursor.row)};
		for (size_t k = 0; k < gradient.size(); k++)
		{
			uint8_t* texel = static_cast<uint8_t*>(TexelAddress(&curve.cursor, curve.cursor.column + int32_t(k / 4), curve.cursor.row, CurveTexelBytes(curve.cursor.format)));
			if (floatCurves) std::memcpy(texel + 4 * (k % 4), &gradient[k], 4);
			else FloatToHalf(reinterpret_cast<uint16_t*>(texel) + k % 4, gradient[k]);
		}
		curve.cursor.column += int32_t(gradient.size() / 4);
		EntryRecord entry{};
		EXPECT_TRUE(CompileSingleColor(int32_t(curves.size()), curves.data(), &curve.cursor, &band.cursor, &entry, 4, 1.0f, 32, nullptr));
		// The layer table's colour texel stands where the gradient texel goes.
		if (gradientType != 0) std::memcpy(TexelAddress(&band.cursor, entry.bandColumn - 1, entry.bandRow, 4), &record, 4);
		entry.layerColumn = entry.layerRow = 0;
		entry.entryFlags |= flags;
		entry.gradientType = gradientType;
		entries.push_back(entry);
	}

	// A stroke piece: a closed chain of straight curves through `points`,
	// each texel a point and the next control point (here the next point),
	// under a quad of two triangles `margin` further out than its box, in
	// local coordinates equal to the positions.
	void Stroke(const std::vector<Point2D>& points, float margin)
	{
		TexelLocation chain = {uint16_t(curve.cursor.column), uint16_t(curve.cursor.row)};
		Box2D bounds = {points[0].x, points[0].y, points[0].x, points[0].y};
		for (size_t i = 0; i <= points.size(); i++)
		{
			const Point2D& point = points[i % points.size()];
			const Point2D& next = points[(i + 1) % points.size()];
			float values[4] = {point.x, point.y, next.x, next.y};
			uint8_t* texel = static_cast<uint8_t*>(TexelAddress(&curve.cursor, curve.cursor.column + int32_t(i), curve.cursor.row, CurveTexelBytes(curve.cursor.format)));
			for (int k = 0; k < 4; k++)
			{
				if (floatCurves) std::memcpy(texel + 4 * k, &values[k], 4);
				else FloatToHalf(reinterpret_cast<uint16_t*>(texel) + k, values[k]);
			}
			bounds = {std::min(bounds.xMin, point.x), std::min(bounds.yMin, point.y), std::max(bounds.xMax, point.x), std::max(bounds.yMax, point.y)};
		}
		curve.cursor.column += int32_t(points.size()) + 1;
		uint32_t locationBits = uint32_t(chain.column) | (uint32_t(chain.row) << 16);
		uint32_t countBits = uint32_t(points.size()) << 25;
		float location, count;
		std::memcpy(&location, &locationBits, 4);
		std::memcpy(&count, &countBits, 4);
		uint32_t first = uint32_t(vertices.size());
		const float corners[4][2] = {{-1, -1}, {1, -1}, {1, 1}, {-1, 1}};
		for (const auto& corner : corners)
		{
			float x = (corner[0] < 0) ? bounds.xMin - margin : bounds.xMax + margin;
			float y = (corner[1] < 0) ? bounds.yMin - margin : bounds.yMax + margin;
			vertices.push_back({{x, y, corner[0], corner[1]}, {x, y, location, count}, {1, 0}});
		}
		order.push_back(~uint32_t(strokes.size()));
		strokes.push_back({first, 4, uint32_t(triangles.size()), 2});
		triangles.push_back({{0, 1, 2}});
		triangles.push_back({{0, 2, 3}});
	}

	Bytes Write()
	{
		std::vector<ComponentRecord> components;
		for (uint32_t reference : order) components.push_back({reference, {0, 0, 0, 255}, {1, 0, 0, 1}, 0, 0});
		uint32_t strokeOffset = strokes.empty() ? 0 : uint32_t(64 + 32 * components.size());
		PictureRecord picture{0, {}, box[0], box[1], box[2], box[3], uint32_t(components.size()), 64, strokeOffset, {}};
		ByteSink sink;
		EXPECT_EQ(WriteTables(&sink, int32_t(entries.size()), entries.data(), 1, &picture, int32_t(components.size()), components.data(),
			int32_t(strokes.size()), strokes.data(), int32_t(vertices.size()), vertices.data(), int32_t(triangles.size()), triangles.data(),
			&curve, &band, false, nullptr, floatCurves), 0u);
		return sink.bytes;
	}
};

inline std::vector<QuadraticCurve> JoinCurves(std::vector<QuadraticCurve> a, const std::vector<QuadraticCurve>& b)
{
	a.insert(a.end(), b.begin(), b.end());
	return a;
}

// Shapes in a 16-unit frame: coordinates are multiples of 1/4, exact in half
// precision.
inline std::vector<QuadraticCurve> HostSquare() { return Polygon({{2, 2}, {14, 2}, {14, 14}, {2, 14}}); }
inline std::vector<QuadraticCurve> HostTriangle() { return Polygon({{1, 1}, {15, 4}, {6, 15}}); }
// Two squares the same way round: a hole only under the even-odd rule.
inline std::vector<QuadraticCurve> HostNested() { return JoinCurves(Polygon({{1, 1}, {15, 1}, {15, 15}, {1, 15}}), Polygon({{5, 5}, {11, 5}, {11, 11}, {5, 11}})); }
// A round blob of four curves and lines.
inline std::vector<QuadraticCurve> HostBlob()
{
	return {Curve(8, 1, 15, 1, 15, 8), Curve(15, 8, 15, 15, 8, 15), Curve(8, 15, 1, 15, 1, 8), Line(1, 8, 4, 4), Line(4, 4, 8, 1)};
}
