#include "host/AlbumHost.h"

#include <cmath>
#include <cstring>

#include "album/BoundingPolygon.h"
#include "album/Renderer.h"
#include "document/Attributes.h"

// A mesh's indices are 32-bit; keep every index below 2^31.
constexpr size_t kMaxMeshVertices = size_t(1) << 31;

// A stroke vertex's second glyph word holds the chain's curve count here and
// nothing else the shader may read.
constexpr uint32_t kStrokeCountShift = 25;
constexpr uint32_t kStrokeCountMask = 7;

// The placement of a picture component: x' = a x + b y + e, y' = c x + d y + f.
enum { kPlaceA, kPlaceB, kPlaceC, kPlaceD, kPlaceE, kPlaceF };
static const float kIdentityPlacement[6] = {1.0f, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f};

void HostMesh::Clear()
{
	vertices.clear();
	indices.clear();
	draws.clear();
}

const char* HostResultText(uint32_t code)
{
	switch (code)
	{
		case 0: return "No error.";
		case 'TRNC': return "The album is truncated.";
		case 'MAGC': return "The data is not an album of this version.";
		case 'FRMT': return "The album holds a format, flag or record that cannot be drawn.";
		case 'DIMS': return "The album's images have impossible sizes.";
		case 'OFST': return "The album holds an offset, count or index outside its tables or images.";
		case 'STRM': return "A compressed image of the album is damaged.";
		case 'ENTR': return "No such entry or picture.";
		case 'SIZE': return "The album asks for more than the renderer takes on.";
		default: return "The album cannot be used.";
	}
}

static float FloatFromBits(uint32_t bits)
{
	float value;
	std::memcpy(&value, &bits, 4);
	return value;
}

static uint32_t BitsFromFloat(float value)
{
	uint32_t bits;
	std::memcpy(&bits, &value, 4);
	return bits;
}

static bool Finite(const float* values, int32_t count)
{
	for (int32_t i = 0; i < count; i++)
	{
		if (!std::isfinite(values[i])) return false;
	}
	return true;
}

// The component's matrix and offset as a placement; false when the matrix
// cannot be inverted, since the shader needs the inverse as its jacobian.
static bool ComponentPlacement(const ComponentRecord& component, float placement[6])
{
	placement[kPlaceA] = component.matrix[0];
	placement[kPlaceB] = component.matrix[1];
	placement[kPlaceC] = component.matrix[2];
	placement[kPlaceD] = component.matrix[3];
	placement[kPlaceE] = component.offsetX;
	placement[kPlaceF] = component.offsetY;
	float determinant = placement[kPlaceA] * placement[kPlaceD] - placement[kPlaceB] * placement[kPlaceC];
	return Finite(placement, 6) && std::isfinite(determinant) && determinant != 0.0f && std::isfinite(1.0f / determinant);
}

static void ComponentColor(const ComponentRecord& component, float color[4])
{
	// Colour bytes are sRGB, alpha is linear.
	color[0] = kSrgbToLinear[component.color[0]];
	color[1] = kSrgbToLinear[component.color[1]];
	color[2] = kSrgbToLinear[component.color[2]];
	color[3] = float(component.color[3]) / 255.0f;
}

// Places a vertex: the position through the placement, the dilation vector
// turned with it but kept at its length in pixels (the matrices the compiler
// writes are uniform scales), the jacobian composed with the inverse.
static void PlaceVertex(const float placement[6], HostVertex* vertex)
{
	if (std::memcmp(placement, kIdentityPlacement, sizeof(kIdentityPlacement)) == 0) return;
	float a = placement[kPlaceA];
	float b = placement[kPlaceB];
	float c = placement[kPlaceC];
	float d = placement[kPlaceD];
	float determinant = a * d - b * c;
	float x = vertex->position[0];
	float y = vertex->position[1];
	vertex->position[0] = a * x + b * y + placement[kPlaceE];
	vertex->position[1] = c * x + d * y + placement[kPlaceF];
	float scale = 1.0f / std::sqrt(std::fabs(determinant));
	float dx = vertex->position[2];
	float dy = vertex->position[3];
	vertex->position[2] = (a * dx + b * dy) * scale;
	vertex->position[3] = (c * dx + d * dy) * scale;

	// The inverse placement is (d, -b, -c, a) / determinant.
	float ia = d / determinant;
	float ib = -b / determinant;
	float ic = -c / determinant;
	float id = a / determinant;
	float* j = vertex->jacobian;
	float j0 = j[0] * ia + j[1] * ic;
	float j1 = j[0] * ib + j[1] * id;
	float j2 = j[2] * ia + j[3] * ic;
	float j3 = j[2] * ib + j[3] * id;
	j[0] = j0;
	j[1] = j1;
	j[2] = j2;
	j[3] = j3;
}

// Splits a convex polygon of `count` vertices along the triangulation's
// diagonals, appending `count - 2` triangles of local indices.
static void Triangulate(int32_t count, int32_t triangulation, std::vector<uint32_t>* triangles)
{
	// Cut the polygon along one diagonal at a time; each piece is a run of
	// the polygon's vertices in order.
	int32_t pieces[kMaxPolygonVertices][kMaxPolygonVertices];
	int32_t sizes[kMaxPolygonVertices];
	int32_t pieceCount = 1;
	for (int32_t i = 0; i < count; i++) pieces[0][i] = i;
	sizes[0] = count;
	for (int32_t k = 0; k < 3; k++)
	{
		uint8_t from = kTriangulationDiagonals[triangulation][k][0];
		uint8_t to = kTriangulationDiagonals[triangulation][k][1];
		if (from == 0xFF) break;
		for (int32_t p = 0; p < pieceCount; p++)
		{
			int32_t at = -1;
			int32_t until = -1;
			for (int32_t i = 0; i < sizes[p]; i++)
			{
				if (pieces[p][i] == from) at = i;
				if (pieces[p][i] == to) until = i;
			}
			if (at < 0 || until < 0) continue;
			if (at > until)
			{
				int32_t swap = at;
				at = until;
				until = swap;
			}
			// One side keeps at..until, the other the rest around the cut.
			int32_t* piece = pieces[pieceCount];
			int32_t size = 0;
			for (int32_t i = at; i <= until; i++) piece[size++] = pieces[p][i];
			sizes[pieceCount++] = size;
			int32_t rest = 0;
			for (int32_t i = 0; i < sizes[p]; i++)
			{
				if (i <= at || i >= until) pieces[p][rest++] = pieces[p][i];
			}
			sizes[p] = rest;
			break;
		}
	}
	for (int32_t p = 0; p < pieceCount; p++)
	{
		// Pieces are triangles for every triangulation in the table; a
		// larger piece would be fanned.
		for (int32_t i = 1; i + 1 < sizes[p]; i++)
		{
			triangles->push_back(uint32_t(pieces[p][0]));
			triangles->push_back(uint32_t(pieces[p][i]));
			triangles->push_back(uint32_t(pieces[p][i + 1]));
		}
	}
}

// The triangulation index a polygon code names, or -1 when the code does not
// fit its own vertex count.
static int32_t PolygonTriangulation(uint16_t code)
{
	int32_t count = code & 15;
	int32_t index = code >> 8;
	if ((code & 0xF0) != 0) return -1;
	if (count == 3 && index == 0) return 0;
	if (count == 4 && (index == 1 || index == 2)) return index;
	if (count == 5 && index >= 3 && index <= 7) return index;
	if (count == 6 && index >= 8 && index <= 15) return index;
	return -1;
}

AlbumHost::AlbumHost() : dilation(1.0f)
{
}

// What the shaders read for one entry: its headers, lists, curves, layer
// table and gradient record, exactly the renderer's reach.
uint32_t AlbumHost::CheckEntry(int32_t index)
{
	const EntryRecord& entry = album.entries[index];
	bool picture = (album.directory.pictureCount != 0);
	bool layered = !picture && (entry.entryFlags & kEntryMultiColor) != 0;
	RenderSettings settings;
	SetDefaultRenderSettings(&settings);
	settings.multiColor = layered;
	settings.gradient = picture;
	EntryRenderer renderer;
	uint32_t result = renderer.Prepare(&album, index, &settings);
	if (result != 0) return result;

	if (entry.polygonCode != 0)
	{
		if (PolygonTriangulation(entry.polygonCode) < 0) return 'FRMT';
		float points[kMaxPolygonVertices * 2];
		int32_t count = entry.polygonCode & 15;
		for (int32_t i = 0; i < count * 2; i++) points[i] = HalfToFloat(entry.polygon[i]);
		if (!Finite(points, count * 2)) return 'FRMT';
	}

	float bounds[6] = {entry.minX, entry.minY, entry.maxX, entry.maxY, entry.bandScaleX, entry.bandScaleY};
	bool area = Finite(bounds, 6) && entry.maxX > entry.minX && entry.maxY > entry.minY;
	drawable[size_t(index)] = area && entry.bandCountX != 0 && entry.bandCountY != 0;
	return 0;
}

// A stroke's triangles count from its first vertex and stay inside its own
// vertices; every vertex names a chain of one to seven curves whose texels
// all lie in the curve image.
uint32_t AlbumHost::CheckStroke(const StrokeRecord& stroke) const
{
	for (uint32_t t = 0; t < stroke.triangleCount; t++)
	{
		const StrokeTriangle& triangle = album.triangles[int32_t(stroke.firstTriangle + t)];
		for (uint16_t index : triangle.index)
		{
			if (index >= stroke.vertexCount) return 'OFST';
		}
	}
	for (uint32_t v = 0; v < stroke.vertexCount; v++)
	{
		const PackedStrokeVertex& vertex = album.vertices[int32_t(stroke.firstVertex + v)];
		if (!Finite(vertex.position, 4) || !Finite(vertex.texcoord, 2) || !Finite(vertex.jacobian, 2)) return 'FRMT';
		uint32_t location = BitsFromFloat(vertex.texcoord[2]);
		uint32_t curves = (BitsFromFloat(vertex.texcoord[3]) >> kStrokeCountShift) & kStrokeCountMask;
		if (curves == 0) return 'FRMT';
		uint32_t column = location & 0xFFFF;
		uint32_t row = location >> 16;
		if (column + curves >= album.header.curveWidth || row >= album.header.curveHeight) return 'OFST';
	}
	return 0;
}

uint32_t AlbumHost::Load(const void* data, uint64_t size)
{
	drawable.clear();
	uint32_t result = ReadAlbum(data, size, nullptr, &album);
	if (result != 0) return result;

	drawable.assign(size_t(album.entries.GetCount()), false);
	for (int32_t i = 0; result == 0 && i < album.entries.GetCount(); i++)
	{
		result = CheckEntry(i);
	}
	for (int32_t i = 0; result == 0 && i < album.components.GetCount(); i++)
	{
		float placement[6];
		if (!ComponentPlacement(album.components[i], placement)) result = 'FRMT';
	}
	for (int32_t i = 0; result == 0 && i < album.strokes.GetCount(); i++)
	{
		result = CheckStroke(album.strokes[i]);
	}
	if (result != 0)
	{
		album.Clear();
		drawable.clear();
	}
	return result;
}

void AlbumHost::AppendPlacedEntry(int32_t index, const float placement[6], const float color[4], bool usePolygon, HostMesh* mesh) const
{
	const EntryRecord& entry = album.entries[index];
	bool picture = (album.directory.pictureCount != 0);
	bool layered = !picture && (entry.entryFlags & kEntryMultiColor) != 0;

	// The glyph words: the place of the band headers (or of the layer
	// table), the vertical band count less one, and the flag word.
	uint32_t column = layered ? entry.layerColumn : entry.bandColumn;
	uint32_t row = layered ? entry.layerRow : entry.bandRow;
	uint32_t flags = uint32_t(entry.bandCountY - 1) & 0xFF;
	if ((entry.entryFlags & kEntryLinesOnly) != 0) flags |= 0x0100;
	if ((entry.entryFlags & kEntryEvenOdd) != 0) flags |= 0x1000;
	if (picture) flags |= uint32_t(entry.gradientType) << 13;
	float glyph0 = FloatFromBits(column | (row << 16));
	float glyph1 = FloatFromBits((uint32_t(entry.bandCountX - 1) & 0xFFFF) | (flags << 16));

	float points[kMaxPolygonVertices * 2];
	int32_t count = 4;
	int32_t triangulation = 1;
	if (usePolygon && entry.polygonCode != 0)
	{
		count = entry.polygonCode & 15;
		triangulation = PolygonTriangulation(entry.polygonCode);
		for (int32_t i = 0; i < count * 2; i++) points[i] = HalfToFloat(entry.polygon[i]);
	}
	else
	{
		const float box[8] = {entry.minX, entry.minY, entry.maxX, entry.minY, entry.maxX, entry.maxY, entry.minX, entry.maxY};
		std::memcpy(points, box, sizeof(box));
	}

	uint32_t base = uint32_t(mesh->vertices.size());
	for (int32_t i = 0; i < count; i++)
	{
		// The dilation vector pushes both edges at the corner out by half a
		// pixel: the miter of their outward normals. The polygon runs
		// counterclockwise, so an edge's outward normal is its direction
		// turned clockwise.
		const float* previous = points + ((i + count - 1) % count) * 2;
		const float* here = points + i * 2;
		const float* next = points + ((i + 1) % count) * 2;
		float n1x = here[1] - previous[1];
		float n1y = previous[0] - here[0];
		float n2x = next[1] - here[1];
		float n2y = here[0] - next[0];
		float l1 = std::sqrt(n1x * n1x + n1y * n1y);
		float l2 = std::sqrt(n2x * n2x + n2y * n2y);
		float dx = 0.0f;
		float dy = 0.0f;
		if (l1 > 0.0f && l2 > 0.0f)
		{
			n1x /= l1;
			n1y /= l1;
			n2x /= l2;
			n2y /= l2;
			// Sharp corners would push far out; a quarter keeps the miter
			// within eight half pixels.
			float denominator = 1.0f + n1x * n2x + n1y * n2y;
			if (denominator < 0.25f) denominator = 0.25f;
			dx = (n1x + n2x) * dilation / denominator;
			dy = (n1y + n2y) * dilation / denominator;
		}

		HostVertex vertex = {
			{here[0], here[1], dx, dy},
			{here[0], here[1], glyph0, glyph1},
			{1.0f, 0.0f, 0.0f, 1.0f},
			{entry.bandScaleX, entry.bandScaleY, -entry.minX * entry.bandScaleX, -entry.minY * entry.bandScaleY},
			{color[0], color[1], color[2], color[3]}};
		PlaceVertex(placement, &vertex);
		mesh->vertices.push_back(vertex);
	}

	HostDraw draw = {uint32_t(mesh->indices.size()), 0, index, layered};
	std::vector<uint32_t> local;
	Triangulate(count, triangulation, &local);
	for (uint32_t v : local) mesh->indices.push_back(base + v);
	draw.indexCount = uint32_t(local.size());
	mesh->draws.push_back(draw);
}

void AlbumHost::AppendStroke(const StrokeRecord& stroke, const float placement[6], const float color[4], HostMesh* mesh) const
{
	uint32_t base = uint32_t(mesh->vertices.size());
	for (uint32_t v = 0; v < stroke.vertexCount; v++)
	{
		const PackedStrokeVertex& packed = album.vertices[int32_t(stroke.firstVertex + v)];
		// The file keeps the jacobian's first row; a stroke piece is only
		// scaled and turned, so the second row is the first turned a
		// quarter. Bands are not used, and the glyph word keeps only the
		// curve count.
		uint32_t curves = BitsFromFloat(packed.texcoord[3]) & (kStrokeCountMask << kStrokeCountShift);
		HostVertex vertex = {
			{packed.position[0], packed.position[1], packed.position[2] * dilation, packed.position[3] * dilation},
			{packed.texcoord[0], packed.texcoord[1], packed.texcoord[2], FloatFromBits(curves)},
			{packed.jacobian[0], packed.jacobian[1], -packed.jacobian[1], packed.jacobian[0]},
			{0.0f, 0.0f, 0.0f, 0.0f},
			{color[0], color[1], color[2], color[3]}};
		PlaceVertex(placement, &vertex);
		mesh->vertices.push_back(vertex);
	}
	HostDraw draw = {uint32_t(mesh->indices.size()), stroke.triangleCount * 3, -1, false};
	for (uint32_t t = 0; t < stroke.triangleCount; t++)
	{
		const StrokeTriangle& triangle = album.triangles[int32_t(stroke.firstTriangle + t)];
		for (uint16_t index : triangle.index) mesh->indices.push_back(base + index);
	}
	mesh->draws.push_back(draw);
}

uint32_t AlbumHost::AppendEntry(int32_t entry, const float color[4], bool usePolygon, HostMesh* mesh) const
{
	if (entry < 0 || entry >= album.entries.GetCount()) return 'ENTR';
	if (!drawable[size_t(entry)]) return 0;
	if (mesh->vertices.size() + kMaxPolygonVertices > kMaxMeshVertices) return 'SIZE';
	AppendPlacedEntry(entry, kIdentityPlacement, color, usePolygon, mesh);
	return 0;
}

uint32_t AlbumHost::AppendPicture(int32_t picture, bool usePolygon, HostMesh* mesh) const
{
	if (picture < 0 || picture >= album.pictures.GetCount()) return 'ENTR';
	const PictureRecord& record = album.pictures[picture];
	uint32_t first = album.firstComponent[picture];
	for (uint32_t i = 0; i < record.componentCount; i++)
	{
		const ComponentRecord& component = album.components[int32_t(first + i)];
		float placement[6];
		float color[4];
		ComponentPlacement(component, placement);
		ComponentColor(component, color);
		if ((component.reference & 0x80000000u) != 0)
		{
			const StrokeRecord& stroke = album.strokes[int32_t(~component.reference)];
			if (mesh->vertices.size() + stroke.vertexCount > kMaxMeshVertices) return 'SIZE';
			AppendStroke(stroke, placement, color, mesh);
		}
		else if (drawable[size_t(component.reference)])
		{
			if (mesh->vertices.size() + kMaxPolygonVertices > kMaxMeshVertices) return 'SIZE';
			AppendPlacedEntry(int32_t(component.reference), placement, color, usePolygon, mesh);
		}
	}
	return 0;
}
