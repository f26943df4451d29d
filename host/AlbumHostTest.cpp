#include "host/AlbumHost.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <set>
#include <string>
#include <utility>

#include "album/BoundingPolygon.h"
#include "document/Attributes.h"
#include "host/HostTestSupport.h"
#include "support/TestSupport.h"

static const float kBlack[4] = {0.0f, 0.0f, 0.0f, 1.0f};

static uint32_t Bits(float value)
{
	uint32_t bits;
	std::memcpy(&bits, &value, 4);
	return bits;
}

static uint16_t Half(float value)
{
	uint16_t half;
	FloatToHalf(&half, value);
	return half;
}

static double P(const HostVertex& vertex, int i) { return double(vertex.position[i]); }

// Twice the signed area of a triangle.
static double Cross(const HostVertex& a, const HostVertex& b, const HostVertex& c)
{
	return (P(b, 0) - P(a, 0)) * (P(c, 1) - P(a, 1)) - (P(b, 1) - P(a, 1)) * (P(c, 0) - P(a, 0));
}

struct Decoded
{
	uint32_t column, row, bandMaxX, word;
};

static Decoded Glyph(const HostVertex& vertex)
{
	uint32_t g0 = Bits(vertex.texcoord[2]);
	uint32_t g1 = Bits(vertex.texcoord[3]);
	return {g0 & 0xFFFF, g0 >> 16, g1 & 0xFFFF, g1 >> 16};
}

TEST(AlbumHost, IconEntriesCarryTheirBandsFlagsAndShape)
{
	IconAlbumBuilder builder;
	builder.Single(HostSquare());
	builder.Single(HostTriangle());
	builder.Single(HostNested(), kEntryEvenOdd);
	builder.Multi({HostBlob(), HostTriangle()}, {0x0000FF, 0x00FF00});
	builder.Single({});
	Bytes bytes = builder.Write(true);
	AlbumHost host;
	ASSERT_EQ(CodeString(host.Load(bytes.data(), bytes.size())), "0");
	const AlbumContents& album = host.GetContents();

	struct Row
	{
		const char* text;
		int32_t entry;
		bool polygon;
		size_t vertices;
		bool layered;
		uint32_t flags;
	} rows[] = {
		{"square by its own four corners", 0, true, 4, false, 0x0100},
		{"square by its box", 0, false, 4, false, 0x0100},
		{"triangle by its three corners", 1, true, 3, false, 0x0100},
		{"nested squares keep even-odd", 2, true, 4, false, 0x1100},
		{"multi-colour names its layer table", 3, true, 0, true, 0},
		{"an entry without curves draws nothing", 4, true, 0, false, 0},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		const EntryRecord& entry = album.entries[row.entry];
		HostMesh mesh;
		ASSERT_EQ(CodeString(host.AppendEntry(row.entry, kBlack, row.polygon, &mesh)), "0");
		if (row.entry == 4)
		{
			EXPECT_TRUE(mesh.vertices.empty() && mesh.indices.empty() && mesh.draws.empty());
			continue;
		}
		if (row.vertices != 0)
		{
			EXPECT_EQ(mesh.vertices.size(), row.vertices);
		}
		ASSERT_EQ(mesh.draws.size(), 1u);
		EXPECT_EQ(mesh.draws[0].layered, row.layered);
		EXPECT_EQ(mesh.draws[0].indexCount, 3 * (mesh.vertices.size() - 2));
		for (const HostVertex& vertex : mesh.vertices)
		{
			Decoded glyph = Glyph(vertex);
			EXPECT_EQ(glyph.column, row.layered ? entry.layerColumn : entry.bandColumn);
			EXPECT_EQ(glyph.row, row.layered ? entry.layerRow : entry.bandRow);
			EXPECT_EQ(glyph.bandMaxX, entry.bandCountX - 1u);
			EXPECT_EQ(glyph.word, (entry.bandCountY - 1u) | row.flags);
			EXPECT_EQ(vertex.banding[0], entry.bandScaleX);
			EXPECT_EQ(vertex.banding[3], -entry.minY * entry.bandScaleY);
			// Identity placement: entry coordinates are the position.
			EXPECT_EQ(vertex.texcoord[0], vertex.position[0]);
			EXPECT_EQ(vertex.texcoord[1], vertex.position[1]);
		}
		// The box or polygon encloses the box's centre in every triangle's
		// order: all triangles turn counterclockwise.
		for (uint32_t i = 0; i < mesh.indices.size(); i += 3)
		{
			EXPECT_GT(Cross(mesh.vertices[mesh.indices[i]], mesh.vertices[mesh.indices[i + 1]], mesh.vertices[mesh.indices[i + 2]]), 0.0);
		}
	}

	// The vertex colour passes as given, and meshes append behind each other.
	const float red[4] = {1.0f, 0.0f, 0.0f, 0.5f};
	HostMesh mesh;
	ASSERT_EQ(host.AppendEntry(0, red, true, &mesh), 0u);
	ASSERT_EQ(host.AppendEntry(1, red, true, &mesh), 0u);
	ASSERT_EQ(mesh.draws.size(), 2u);
	EXPECT_EQ(mesh.draws[1].firstIndex, 6u);
	EXPECT_EQ(mesh.indices[6], 4u);
	EXPECT_EQ(mesh.vertices[5].color[3], 0.5f);
	EXPECT_EQ(CodeString(host.AppendEntry(5, kBlack, true, &mesh)), "ENTR");
	EXPECT_EQ(CodeString(host.AppendEntry(-1, kBlack, true, &mesh)), "ENTR");
	EXPECT_EQ(CodeString(host.AppendPicture(0, true, &mesh)), "ENTR");
}

// Every triangulation of the table splits a regular polygon into triangles
// that turn counterclockwise, cover its area once, and use its diagonals.
TEST(AlbumHost, PolygonsSplitAlongTheirPricedDiagonals)
{
	for (int32_t triangulation = 0; triangulation < kTriangulationCount; triangulation++)
	{
		SCOPED_TRACE(triangulation);
		int32_t count = (triangulation == 0) ? 3 : (triangulation <= 2) ? 4 : (triangulation <= 7) ? 5 : 6;
		IconAlbumBuilder builder;
		builder.Single(HostBlob());
		EntryRecord& entry = builder.entries[0];
		entry.polygonCode = uint16_t(triangulation << 8 | count);
		double area = 0.0;
		std::vector<std::pair<float, float>> corners;
		for (int32_t i = 0; i < count; i++)
		{
			double angle = 6.283185307179586 * i / count;
			corners.push_back({float(8.0 + 10.0 * std::cos(angle)), float(8.0 + 10.0 * std::sin(angle))});
			entry.polygon[2 * i] = Half(corners.back().first);
			entry.polygon[2 * i + 1] = Half(corners.back().second);
		}
		Bytes bytes = builder.Write();
		AlbumHost host;
		ASSERT_EQ(CodeString(host.Load(bytes.data(), bytes.size())), "0");
		HostMesh mesh;
		ASSERT_EQ(host.AppendEntry(0, kBlack, true, &mesh), 0u);
		ASSERT_EQ(mesh.vertices.size(), size_t(count));
		ASSERT_EQ(mesh.indices.size(), size_t(3 * (count - 2)));

		std::set<std::pair<uint32_t, uint32_t>> edges;
		for (size_t i = 0; i < mesh.indices.size(); i += 3)
		{
			double cross = Cross(mesh.vertices[mesh.indices[i]], mesh.vertices[mesh.indices[i + 1]], mesh.vertices[mesh.indices[i + 2]]);
			EXPECT_GT(cross, 0.0);
			area += cross / 2;
			for (int k = 0; k < 3; k++)
			{
				uint32_t a = mesh.indices[i + k];
				uint32_t b = mesh.indices[i + (k + 1) % 3];
				edges.insert({std::min(a, b), std::max(a, b)});
			}
		}
		double polygonArea = 0.0;
		for (int32_t i = 0; i < count; i++)
		{
			const HostVertex& a = mesh.vertices[size_t(i)];
			const HostVertex& b = mesh.vertices[size_t((i + 1) % count)];
			polygonArea += (P(a, 0) * P(b, 1) - P(b, 0) * P(a, 1)) / 2;
		}
		EXPECT_NEAR(area, polygonArea, 1e-6 * polygonArea);
		for (int k = 0; k < 3 && kTriangulationDiagonals[triangulation][k][0] != 0xFF; k++)
		{
			uint32_t a = kTriangulationDiagonals[triangulation][k][0];
			uint32_t b = kTriangulationDiagonals[triangulation][k][1];
			EXPECT_TRUE(edges.count({std::min(a, b), std::max(a, b)})) << "diagonal " << a << "-" << b;
		}

		// Each vertex's dilation vector moves both of its edges out by one
		// unit (half a pixel): its dot product with either outward normal is 1.
		for (int32_t i = 0; i < count; i++)
		{
			const HostVertex& here = mesh.vertices[size_t(i)];
			for (int32_t side : {count - 1, 1})
			{
				const HostVertex& other = mesh.vertices[size_t((i + side) % count)];
				double ex = P(other, 0) - P(here, 0);
				double ey = P(other, 1) - P(here, 1);
				double length = std::sqrt(ex * ex + ey * ey);
				// Outward is to the right of the counterclockwise direction.
				double nx = (side == 1) ? ey / length : -ey / length;
				double ny = (side == 1) ? -ex / length : ex / length;
				EXPECT_NEAR(P(here, 2) * nx + P(here, 3) * ny, 1.0, 1e-5);
			}
		}
	}
}

// A picture of one fill and one stroke, laid by hand: the fill's entry is a
// compiled square, the stroke two triangles over four vertices whose chain
// lies in the curve image.
struct PictureFixture
{
	IconAlbumBuilder builder;
	PictureRecord picture{kPictureStroke, {}, 0, 0, 0, 0, 2, 64, 128, {}};
	ComponentRecord components[2] = {{0, {255, 128, 0, 255}, {2, 0, 0, 2}, 10, 20}, {~0u, {0, 0, 255, 128}, {4, 0, 0, 4}, -1, -2}};
	StrokeRecord stroke{0, 4, 0, 2};
	PackedStrokeVertex vertices[4];
	StrokeTriangle triangles[2] = {{{0, 1, 2}}, {{0, 2, 3}}};

	PictureFixture()
	{
		builder.Single(HostSquare());
		builder.entries[0].layerColumn = 0;
		builder.entries[0].layerRow = 0;
		const float corners[4][2] = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};
		for (int i = 0; i < 4; i++)
		{
			// Chain at column 0, row 0, of four curves; junk in the bits the
			// shader would read as bands or a gradient.
			float location;
			float count;
			uint32_t locationBits = 0;
			uint32_t countBits = (4u << 25) | 0xE0FF0000u;
			std::memcpy(&location, &locationBits, 4);
			std::memcpy(&count, &countBits, 4);
			vertices[i] = {{corners[i][0], corners[i][1], corners[i][0] * 2 - 1, corners[i][1] * 2 - 1},
				{corners[i][0] * 8, corners[i][1] * 8, location, count}, {8, 0}};
		}
	}

	Bytes Write()
	{
		ByteSink sink;
		EXPECT_EQ(WriteTables(&sink, 1, builder.entries.data(), 1, &picture, 2, components, 1, &stroke, 4, vertices, 2, triangles,
			&builder.curve, &builder.band, false, nullptr), 0u);
		return sink.bytes;
	}
};

TEST(AlbumHost, PicturesPlaceFillsAndStrokesInComponentOrder)
{
	PictureFixture fixture;
	Bytes bytes = fixture.Write();
	AlbumHost host;
	ASSERT_EQ(CodeString(host.Load(bytes.data(), bytes.size())), "0");
	HostMesh mesh;
	ASSERT_EQ(CodeString(host.AppendPicture(0, false, &mesh)), "0");
	ASSERT_EQ(mesh.draws.size(), 2u);
	ASSERT_EQ(mesh.vertices.size(), 8u);
	EXPECT_EQ(mesh.draws[0].entry, 0);
	EXPECT_EQ(mesh.draws[1].entry, -1);
	EXPECT_EQ(mesh.draws[1].firstIndex, 6u);
	EXPECT_EQ(mesh.indices[6], 4u);
	EXPECT_EQ(mesh.indices[11], 7u);

	// The fill: document = 2 x entry + (10, 20); entry coordinates change by
	// a half per document unit; sRGB colour bytes become linear.
	const HostVertex& fill = mesh.vertices[0];
	EXPECT_EQ(fill.position[0], 2 * fill.texcoord[0] + 10);
	EXPECT_EQ(fill.position[1], 2 * fill.texcoord[1] + 20);
	EXPECT_EQ(fill.jacobian[0], 0.5f);
	EXPECT_EQ(fill.jacobian[3], 0.5f);
	EXPECT_EQ(fill.position[2], -1.0f);
	EXPECT_EQ(fill.color[1], kSrgbToLinear[128]);
	EXPECT_EQ(fill.color[3], 1.0f);

	// The stroke: placed by 4 and (-1, -2), its jacobian 8 per unit becomes
	// 2 per document unit, its dilation keeps its length, and only the curve
	// count stays in its second glyph word.
	const HostVertex& corner = mesh.vertices[6];
	EXPECT_EQ(corner.position[0], 3.0f);
	EXPECT_EQ(corner.position[1], 2.0f);
	EXPECT_EQ(corner.position[2], 1.0f);
	EXPECT_EQ(corner.texcoord[0], 8.0f);
	EXPECT_EQ(corner.jacobian[0], 2.0f);
	EXPECT_EQ(corner.jacobian[1], 0.0f);
	EXPECT_EQ(corner.jacobian[3], 2.0f);
	EXPECT_EQ(Bits(corner.texcoord[2]), 0u);
	EXPECT_EQ(Bits(corner.texcoord[3]), 4u << 25);
	EXPECT_EQ(corner.color[2], 1.0f);
	EXPECT_NEAR(corner.color[3], 128.0f / 255.0f, 1e-7);
}

TEST(AlbumHost, BadAlbumsAreRefusedWithAClearCode)
{
	IconAlbumBuilder builder;
	builder.Single(HostBlob());
	Bytes good = builder.Write();
	EntryRecord entry = builder.entries[0];

	// Every truncation fails, none crashes.
	for (size_t size = 0; size < good.size(); size++)
	{
		AlbumHost host;
		uint32_t result = host.Load(good.data(), size);
		EXPECT_NE(result, 0u) << size;
		EXPECT_EQ(std::string(HostResultText(result)).find("cannot be used"), std::string::npos) << CodeString(result);
	}

	struct Row
	{
		const char* text;
		void (*change)(IconAlbumBuilder*);
		const char* result;
	} rows[] = {
		{"band counts past the glyph word", [](IconAlbumBuilder* b) { b->entries[0].bandCountY = 300; }, "FRMT"},
		{"headers past the band image", [](IconAlbumBuilder* b) { b->entries[0].bandColumn = 4095; }, "OFST"},
		{"layer table past the band image", [](IconAlbumBuilder* b) { b->entries[0].entryFlags |= kEntryMultiColor; b->entries[0].layerRow = 9; }, "OFST"},
		{"a polygon code of five corners on a quadrilateral's diagonal", [](IconAlbumBuilder* b) { b->entries[0].polygonCode = 0x0105; }, "FRMT"},
		{"a polygon of seven corners", [](IconAlbumBuilder* b) { b->entries[0].polygonCode = 0x0807; }, "FRMT"},
		{"a polygon corner at infinity", [](IconAlbumBuilder* b) { b->entries[0].polygon[0] = 0x7C00; }, "FRMT"},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		IconAlbumBuilder copy;
		copy.Single(HostBlob());
		row.change(&copy);
		Bytes bytes = copy.Write();
		AlbumHost host;
		EXPECT_EQ(CodeString(host.Load(bytes.data(), bytes.size())), row.result);
		HostMesh mesh;
		EXPECT_EQ(CodeString(host.AppendEntry(0, kBlack, true, &mesh)), "ENTR");
	}

	// A list offset that runs past the band image.
	Bytes bytes = good;
	size_t bandStart = U32At(bytes, 76);
	size_t header = bandStart + 4 * (size_t(entry.bandRow) * U32At(bytes, 60) + entry.bandColumn);
	bytes.at(header + 2) = 0xFF;
	bytes.at(header + 3) = 0xFF;
	AlbumHost host;
	EXPECT_EQ(CodeString(host.Load(bytes.data(), bytes.size())), "OFST");
	// An entry count past the table.
	bytes = good;
	PutU32(&bytes, 80, 1000);
	EXPECT_EQ(CodeString(host.Load(bytes.data(), bytes.size())), "TRNC");
}

TEST(AlbumHost, BadStrokesAndPlacementsAreRefused)
{
	struct Row
	{
		const char* text;
		void (*change)(PictureFixture*);
		const char* result;
	} rows[] = {
		{"a triangle past its stroke's vertices", [](PictureFixture* f) { f->stroke.vertexCount = 3; }, "OFST"},
		{"a stroke vertex without a curve count", [](PictureFixture* f) { std::memset(&f->vertices[1].texcoord[3], 0, 4); }, "FRMT"},
		{"a chain past the curve image", [](PictureFixture* f) { uint32_t far = 4000; std::memcpy(&f->vertices[2].texcoord[2], &far, 4); }, "OFST"},
		{"a stroke position that is not finite", [](PictureFixture* f) { f->vertices[0].position[0] = INFINITY; }, "FRMT"},
		{"a placement that cannot be inverted", [](PictureFixture* f) { f->components[0].matrix[0] = 0; f->components[0].matrix[3] = 0; }, "FRMT"},
		{"a fill naming no entry", [](PictureFixture* f) { f->components[0].reference = 1; }, "OFST"},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		PictureFixture fixture;
		row.change(&fixture);
		Bytes bytes = fixture.Write();
		AlbumHost host;
		EXPECT_EQ(CodeString(host.Load(bytes.data(), bytes.size())), row.result);
	}
}
