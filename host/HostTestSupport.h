// HostTestSupport: small albums built in memory for the host and viewer tests.
#pragma once

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

	explicit PictureAlbumBuilder(bool useFloat) : floatCurves(useFloat), curve(4096, 4, useFloat ? 16 : 8, 0, 0, 0)
	{
		curve.cursor.format = useFloat ? 'FLT4' : 'HLF4';
		band.cursor.format = '16U2';
	}

	// `gradient` is the record's twelve values: coefficients, two colours.
	void Fill(const std::vector<QuadraticCurve>& curves, uint16_t flags, uint16_t gradientType, const std::vector<float>& gradient)
	{
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

	Bytes Write()
	{
		std::vector<ComponentRecord> components;
		for (size_t i = 0; i < entries.size(); i++) components.push_back({uint32_t(i), {0, 0, 0, 255}, {1, 0, 0, 1}, 0, 0});
		PictureRecord picture{0, {}, 0, 0, 1, 1, uint32_t(entries.size()), 64, 0, {}};
		ByteSink sink;
		EXPECT_EQ(WriteTables(&sink, int32_t(entries.size()), entries.data(), 1, &picture, int32_t(components.size()), components.data(), 0, nullptr,
			0, nullptr, 0, nullptr, &curve, &band, false, nullptr, floatCurves), 0u);
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
