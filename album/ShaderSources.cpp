#include "album/ShaderSources.h"

const char* const kShaderSwitches[kShaderSwitchCount] = {
	"VORP_WEIGHT", "VORP_SUPER", "VORP_LINEAR", "VORP_STROKE", "VORP_GRADIENT", "VORP_EVENODD",
	"VORP_MULTICOLOR", "VORP_COVERAGE", "VORP_INVERSE_COVERAGE", "VORP_LOP3", "VORP_SIG"};

// Both texts start with a language block that gives every branch the same
// names (types, bit casts, texel reads, the parameter and attribute
// declarations), then the shared functions written once in the common subset,
// then an entry block with one entry point per branch.

static const char kVertexSource[] = R"VORP(// vorp vertex shader.
// Attributes, five float4 at locations 0 to 4:
//   position  x, y object position; z, w dilation vector
//   texcoord  x, y entry coordinates; z, w glyph data as 32-bit patterns
//   jacobian  x, y change of texcoord.x with object x, y; z, w of texcoord.y
//   banding   x, y band scales; z, w band offsets
//   color     vertex colour
// Parameters: vorp_matrix, the four rows of the model-view-projection
// matrix, and vorp_viewport, the viewport's width and height in pixels.

// HLSL compilers that target Vulkan may define VULKAN and GL_core_profile
// too, but with an HLSL version (500 and up, or __HLSL_VERSION); GLSL
// versions end at 460.
#if (defined(VULKAN) || defined(GL_core_profile) || defined(GL_ES)) && __VERSION__ < 500 && !defined(__HLSL_VERSION)
#define VORP_GLSL 1
#endif

#if defined(VORP_GLSL)

#define float2 vec2
#define float3 vec3
#define float4 vec4
#define int2 ivec2
#define int4 ivec4
#define uint2 uvec2
#define VorpAsUint2(x) floatBitsToUint(x)

#ifdef VULKAN
#define VORP_VARYING(n) layout(location = n)
layout(set = 0, binding = 0, std140) uniform VorpParameters
{
	vec4 vorp_matrix[4];
	vec2 vorp_viewport;
};
#else
#define VORP_VARYING(n)
uniform vec4 vorp_matrix[4];
uniform vec2 vorp_viewport;
#endif

layout(location = 0) in vec4 position;
layout(location = 1) in vec4 texcoord;
layout(location = 2) in vec4 jacobian;
layout(location = 3) in vec4 banding;
layout(location = 4) in vec4 color;

VORP_VARYING(0) out vec4 vorp_color;
VORP_VARYING(1) out vec2 vorp_texcoord;
VORP_VARYING(2) flat out vec4 vorp_banding;
VORP_VARYING(3) flat out ivec4 vorp_glyph;

#elif defined(__METAL_VERSION__)

#include <metal_stdlib>
using namespace metal;

#define VorpAsUint2(x) as_type<uint2>(x)

struct VorpParameters
{
	float4 vorp_matrix[4];
	float2 vorp_viewport;
};

struct VorpVertexInput
{
	float4 position [[attribute(0)]];
	float4 texcoord [[attribute(1)]];
	float4 jacobian [[attribute(2)]];
	float4 banding [[attribute(3)]];
	float4 color [[attribute(4)]];
};

struct VorpVertexOutput
{
	float4 position [[position]];
	float4 vorp_color;
	float2 vorp_texcoord;
	float4 vorp_banding [[flat]];
	int4 vorp_glyph [[flat]];
};

#elif defined(__PSSL__)

#define VorpAsUint2(x) asuint(x)

ConstantBuffer VorpParameters : register(b0)
{
	float4 vorp_matrix[4];
	float2 vorp_viewport;
};

struct VorpVertexInput
{
	float4 position : ATTRIB0;
	float4 texcoord : ATTRIB1;
	float4 jacobian : ATTRIB2;
	float4 banding : ATTRIB3;
	float4 color : ATTRIB4;
};

struct VorpVertexOutput
{
	float4 position : S_POSITION;
	float4 vorp_color : TEXCOORD0;
	float2 vorp_texcoord : TEXCOORD1;
	nointerp float4 vorp_banding : TEXCOORD2;
	nointerp int4 vorp_glyph : TEXCOORD3;
};

#else

#define VorpAsUint2(x) asuint(x)

cbuffer VorpParameters : register(b0)
{
	float4 vorp_matrix[4];
	float2 vorp_viewport;
};

struct VorpVertexInput
{
	float4 position : ATTRIB0;
	float4 texcoord : ATTRIB1;
	float4 jacobian : ATTRIB2;
	float4 banding : ATTRIB3;
	float4 color : ATTRIB4;
};

struct VorpVertexOutput
{
	float4 position : SV_Position;
	float4 vorp_color : TEXCOORD0;
	float2 vorp_texcoord : TEXCOORD1;
	nointerpolation float4 vorp_banding : TEXCOORD2;
	nointerpolation int4 vorp_glyph : TEXCOORD3;
};

#endif

// Moves the vertex along its dilation vector so that the shape's edge moves
// out by half a pixel per unit of the vector's length, whatever the matrix
// does to the shape, and moves the entry coordinates with it. Returns the
// moved position in x, y and the moved entry coordinates in z, w.
float4 VorpDilate(float4 position, float4 texcoord, float4 jacobian, float4 m0, float4 m1, float4 m3, float2 viewport)
{
	float2 p = position.xy;
	float2 d = position.zw;
	float length2 = d.x * d.x + d.y * d.y;
	if (length2 == 0.0) return float4(p, texcoord.xy);
	float2 n = d / sqrt(length2);
	float s = m3.x * p.x + m3.y * p.y + m3.w;
	float t = m3.x * n.x + m3.y * n.y;
	float u = (s * (m0.x * n.x + m0.y * n.y) - t * (m0.x * p.x + m0.y * p.y + m0.w)) * viewport.x;
	float v = (s * (m1.x * n.x + m1.y * n.y) - t * (m1.x * p.x + m1.y * p.y + m1.w)) * viewport.y;
	float s2 = s * s;
	float st = s * t;
	float uv = u * u + v * v;
	float2 shift = d * (s2 * (st + sqrt(uv)) / (uv - st * st));
	float2 moved = p + shift;
	return float4(moved, texcoord.x + shift.x * jacobian.x + shift.y * jacobian.y, texcoord.y + shift.x * jacobian.z + shift.y * jacobian.w);
}

// The glyph data: band image column and row (x, y), the vertical band count
// less one (z), and the word of flags and the horizontal band count less one
// (w).
int4 VorpUnpack(float2 glyphBits)
{
	uint2 g = VorpAsUint2(glyphBits);
	return int4(int(g.x & 0xFFFFu), int(g.x >> 16u), int(g.y & 0xFFFFu), int(g.y >> 16u));
}

// Shapes are flat: the third column of every row is unused.
float4 VorpClipPosition(float2 p, float4 m0, float4 m1, float4 m2, float4 m3)
{
	return float4(p.x * m0.x + p.y * m0.y + m0.w, p.x * m1.x + p.y * m1.y + m1.w,
		p.x * m2.x + p.y * m2.y + m2.w, p.x * m3.x + p.y * m3.y + m3.w);
}

#if defined(VORP_GLSL)

void main()
{
	float4 moved = VorpDilate(position, texcoord, jacobian, vorp_matrix[0], vorp_matrix[1], vorp_matrix[3], vorp_viewport);
	gl_Position = VorpClipPosition(moved.xy, vorp_matrix[0], vorp_matrix[1], vorp_matrix[2], vorp_matrix[3]);
	vorp_color = color;
	vorp_texcoord = moved.zw;
	vorp_banding = banding;
	vorp_glyph = VorpUnpack(texcoord.zw);
}

#elif defined(__METAL_VERSION__)

vertex VorpVertexOutput VertexShader(VorpVertexInput input [[stage_in]], constant VorpParameters& parameters [[buffer(1)]])
{
	VorpVertexOutput output;
	float4 moved = VorpDilate(input.position, input.texcoord, input.jacobian, parameters.vorp_matrix[0], parameters.vorp_matrix[1],
		parameters.vorp_matrix[3], parameters.vorp_viewport);
	output.position = VorpClipPosition(moved.xy, parameters.vorp_matrix[0], parameters.vorp_matrix[1], parameters.vorp_matrix[2],
		parameters.vorp_matrix[3]);
	output.vorp_color = input.color;
	output.vorp_texcoord = moved.zw;
	output.vorp_banding = input.banding;
	output.vorp_glyph = VorpUnpack(input.texcoord.zw);
	return output;
}

#elif defined(__PSSL__)

VorpVertexOutput main(VorpVertexInput input)
{
	VorpVertexOutput output;
	float4 moved = VorpDilate(input.position, input.texcoord, input.jacobian, vorp_matrix[0], vorp_matrix[1], vorp_matrix[3], vorp_viewport);
	output.position = VorpClipPosition(moved.xy, vorp_matrix[0], vorp_matrix[1], vorp_matrix[2], vorp_matrix[3]);
	output.vorp_color = input.color;
	output.vorp_texcoord = moved.zw;
	output.vorp_banding = input.banding;
	output.vorp_glyph = VorpUnpack(input.texcoord.zw);
	return output;
}

#else

#ifdef VORP_SIG
[RootSignature("RootFlags(ALLOW_INPUT_ASSEMBLER_INPUT_LAYOUT), CBV(b0), DescriptorTable(SRV(t0, numDescriptors = 2), visibility = SHADER_VISIBILITY_PIXEL)")]
#endif
VorpVertexOutput main(VorpVertexInput input)
{
	VorpVertexOutput output;
	float4 moved = VorpDilate(input.position, input.texcoord, input.jacobian, vorp_matrix[0], vorp_matrix[1], vorp_matrix[3], vorp_viewport);
	output.position = VorpClipPosition(moved.xy, vorp_matrix[0], vorp_matrix[1], vorp_matrix[2], vorp_matrix[3]);
	output.vorp_color = input.color;
	output.vorp_texcoord = moved.zw;
	output.vorp_banding = input.banding;
	output.vorp_glyph = VorpUnpack(input.texcoord.zw);
	return output;
}

#endif
)VORP";

static const char kFragmentSource[] = R"VORP(// vorp fragment shader.
// Images, read by integer texel coordinates: curveTexture, float texels of
// four channels, and bandTexture, unsigned texels of two channels. The glyph
// word w holds the horizontal band count less one (bits 0 to 7), straight
// lines only (0x0100), the curve count of a short stroke (bits 9 to 11),
// even-odd (0x1000) and the gradient type (bits 13 to 15).

// HLSL compilers that target Vulkan may define VULKAN and GL_core_profile
// too, but with an HLSL version (500 and up, or __HLSL_VERSION); GLSL
// versions end at 460.
#if (defined(VULKAN) || defined(GL_core_profile) || defined(GL_ES)) && __VERSION__ < 500 && !defined(__HLSL_VERSION)
#define VORP_GLSL 1
#endif

#if defined(VORP_GLSL)

#ifdef GL_ES
precision highp float;
precision highp int;
precision highp sampler2D;
precision highp usampler2D;
#endif

#define float2 vec2
#define float3 vec3
#define float4 vec4
#define int2 ivec2
#define int4 ivec4
#define frac fract
#define lerp mix
#define saturate(x) clamp(x, 0.0, 1.0)
#define VorpAsInt(x) floatBitsToInt(x)
#define VorpAsUint(x) floatBitsToUint(x)
#define VORP_TEXTURE_PARAMETERS
#define VORP_TEXTURES
#define VorpCurveTexel(loc) texelFetch(curveTexture, loc, 0)
#define VorpBandTexel(loc) ivec2(texelFetch(bandTexture, loc, 0).xy)

#ifdef VULKAN
#define VORP_VARYING(n) layout(location = n)
layout(set = 0, binding = 1) uniform sampler2D curveTexture;
layout(set = 0, binding = 2) uniform usampler2D bandTexture;
#else
#define VORP_VARYING(n)
uniform sampler2D curveTexture;
uniform usampler2D bandTexture;
#endif

VORP_VARYING(0) in vec4 vorp_color;
VORP_VARYING(1) in vec2 vorp_texcoord;
VORP_VARYING(2) flat in vec4 vorp_banding;
VORP_VARYING(3) flat in ivec4 vorp_glyph;

layout(location = 0) out vec4 vorp_fragment;

#elif defined(__METAL_VERSION__)

#include <metal_stdlib>
using namespace metal;

#define frac fract
#define lerp mix
#define VorpAsInt(x) as_type<int>(x)
#define VorpAsUint(x) as_type<uint>(x)
#define VORP_TEXTURE_PARAMETERS texture2d<float> curveTexture, texture2d<uint> bandTexture,
#define VORP_TEXTURES curveTexture, bandTexture,
#define VorpCurveTexel(loc) curveTexture.read(uint2(loc))
#define VorpBandTexel(loc) int2(bandTexture.read(uint2(loc)).xy)

struct VorpVertexOutput
{
	float4 position [[position]];
	float4 vorp_color;
	float2 vorp_texcoord;
	float4 vorp_banding [[flat]];
	int4 vorp_glyph [[flat]];
};

#elif defined(__PSSL__)

#define VorpAsInt(x) asint(x)
#define VorpAsUint(x) asuint(x)
#define VORP_TEXTURE_PARAMETERS
#define VORP_TEXTURES
#define VorpCurveTexel(loc) curveTexture.Load(int3(loc, 0))
#define VorpBandTexel(loc) int2(bandTexture.Load(int3(loc, 0)).xy)

Texture2D<float4> curveTexture : register(t0);
Texture2D<uint4> bandTexture : register(t1);

struct VorpVertexOutput
{
	float4 position : S_POSITION;
	float4 vorp_color : TEXCOORD0;
	float2 vorp_texcoord : TEXCOORD1;
	nointerp float4 vorp_banding : TEXCOORD2;
	nointerp int4 vorp_glyph : TEXCOORD3;
};

#else

#define VorpAsInt(x) asint(x)
#define VorpAsUint(x) asuint(x)
#define VORP_TEXTURE_PARAMETERS
#define VORP_TEXTURES
#define VorpCurveTexel(loc) curveTexture.Load(int3(loc, 0))
#define VorpBandTexel(loc) int2(bandTexture.Load(int3(loc, 0)).xy)

Texture2D<float4> curveTexture : register(t0);
Texture2D<uint4> bandTexture : register(t1);

struct VorpVertexOutput
{
	float4 position : SV_Position;
	float4 vorp_color : TEXCOORD0;
	float2 vorp_texcoord : TEXCOORD1;
	nointerpolation float4 vorp_banding : TEXCOORD2;
	nointerpolation int4 vorp_glyph : TEXCOORD3;
};

#endif

// The band image is 4096 texels wide: list offsets fold into rows by this shift.
#define kLogBandTextureWidth 12

// Bit i of the low byte: the first root counts for the sign pattern i of the
// three points (first point lowest); bit i of the high byte: the second does.
#define kRootCodes 0x2E74u

// Below this a curve's polynomial is taken as linear, and a weight sum as none.
#define kLinearThreshold (1.0 / 65536.0)

// The place of a band header (offset = its index) or of a list (offset = the
// header's offset) counted from the first header across rows of 4096 texels.
int2 CalcBandLoc(int2 glyphLoc, int offset)
{
	int2 loc = int2(glyphLoc.x + offset, glyphLoc.y);
	loc.y += loc.x >> kLogBandTextureWidth;
	loc.x &= (1 << kLogBandTextureWidth) - 1;
	return loc;
}

// Which roots of a curve cross the ray, from the signs of the three
// coordinates across it: bit 0 the first root, bit 8 the second.
uint CalcRootCode(float c0, float c1, float c2)
{
#if defined(VORP_LOP3) || defined(GL_NV_gpu_shader5)
	// The same table as bit logic on the sign bits: the first root counts
	// where (!s0 and (s1 or s2)) or (s0 and !s1 and s2), the second where
	// (s0 and !(s1 and s2)) or (!s0 and s1 and !s2).
	int a = VorpAsInt(c0);
	int b = VorpAsInt(c1);
	int c = VorpAsInt(c2);
	int2 roots = int2((~a & (b | c)) | (a & ~b & c), (a & ~(b & c)) | (~a & b & ~c));
	return ((roots.x < 0) ? 1u : 0u) | ((roots.y < 0) ? 0x100u : 0u);
#else
	uint index = (VorpAsUint(c0) >> 31u) | ((VorpAsUint(c1) >> 30u) & 2u) | ((VorpAsUint(c2) >> 29u) & 4u);
	return (kRootCodes >> index) & 0x0101u;
#endif
}

bool TestCurve(uint code)
{
	return code != 0u;
}

bool TestRoot1(uint code)
{
	return (code & 1u) != 0u;
}

bool TestRoot2(uint code)
{
	return code > 1u;
}

// The x of both roots of the curve's y polynomial, for a ray along x through
// the origin; the points are relative to the sample.
float2 SolveHorizPoly(float4 p12, float2 p3)
{
	float2 a = p12.xy - 2.0 * p12.zw + p3;
	float2 b = p12.xy - p12.zw;
	float t1;
	float t2;
	if (abs(a.y) < kLinearThreshold)
	{
		t1 = p12.y * 0.5 / b.y;
		t2 = t1;
	}
	else
	{
		float d = sqrt(max(b.y * b.y - a.y * p12.y, 0.0));
		t1 = (b.y - d) / a.y;
		t2 = (b.y + d) / a.y;
	}
	return float2((a.x * t1 - 2.0 * b.x) * t1 + p12.x, (a.x * t2 - 2.0 * b.x) * t2 + p12.x);
}

// The y of both roots of the curve's x polynomial, for a ray along y.
float2 SolveVertPoly(float4 p12, float2 p3)
{
	float2 a = p12.xy - 2.0 * p12.zw + p3;
	float2 b = p12.xy - p12.zw;
	float t1;
	float t2;
	if (abs(a.x) < kLinearThreshold)
	{
		t1 = p12.x * 0.5 / b.x;
		t2 = t1;
	}
	else
	{
		float d = sqrt(max(b.x * b.x - a.x * p12.x, 0.0));
		t1 = (b.x - d) / a.x;
		t2 = (b.x + d) / a.x;
	}
	return float2((a.y * t1 - 2.0 * b.y) * t1 + p12.y, (a.y * t2 - 2.0 * b.y) * t2 + p12.y);
}

// Adds one curve's crossings of the ray along x to (coverage, weight).
float2 TestHorizCurve(float4 p12, float2 p3, float pixelsPerEm, float2 sum)
{
	uint code = CalcRootCode(p12.y, p12.w, p3.y);
	if (TestCurve(code))
	{
		float2 r = SolveHorizPoly(p12, p3) * pixelsPerEm;
		if (TestRoot1(code))
		{
			sum.x += saturate(r.x + 0.5);
			sum.y = max(sum.y, saturate(1.0 - 2.0 * abs(r.x)));
		}
		if (TestRoot2(code))
		{
			sum.x -= saturate(r.y + 0.5);
			sum.y = max(sum.y, saturate(1.0 - 2.0 * abs(r.y)));
		}
	}
	return sum;
}

// The mirror along y, with opposite signs.
float2 TestVertCurve(float4 p12, float2 p3, float pixelsPerEm, float2 sum)
{
	uint code = CalcRootCode(p12.x, p12.z, p3.x);
	if (TestCurve(code))
	{
		float2 r = SolveVertPoly(p12, p3) * pixelsPerEm;
		if (TestRoot1(code))
		{
			sum.x -= saturate(r.x + 0.5);
			sum.y = max(sum.y, saturate(1.0 - 2.0 * abs(r.x)));
		}
		if (TestRoot2(code))
		{
			sum.x += saturate(r.y + 0.5);
			sum.y = max(sum.y, saturate(1.0 - 2.0 * abs(r.y)));
		}
	}
	return sum;
}

// A ray along x through c over the list of the horizontal band whose header
// is at headerLoc. Lists are sorted by greatest x, descending, so the walk
// stops at the first curve more than half a pixel to the left.
float2 TraceHorizBand(VORP_TEXTURE_PARAMETERS int2 bandLoc, int2 headerLoc, float2 c, float pixelsPerEm, int flags)
{
	float2 sum = float2(0.0, 0.0);
	int2 header = VorpBandTexel(headerLoc);
	int2 listLoc = CalcBandLoc(bandLoc, header.y);
	for (int i = 0; i < header.x; i++)
	{
		int2 curveLoc = VorpBandTexel(int2(listLoc.x + i, listLoc.y));
		float4 p12 = VorpCurveTexel(curveLoc) - float4(c, c);
#ifdef VORP_LINEAR
		if ((flags & 0x0100) != 0)
		{
			// A line's end is its control point: one texel a curve.
			if (max(p12.x, p12.z) * pixelsPerEm < -0.5) break;
			if ((VorpAsUint(p12.y) >> 31u) == (VorpAsUint(p12.w) >> 31u)) continue;
			float r = (p12.x - p12.y * (p12.z - p12.x) / (p12.w - p12.y)) * pixelsPerEm;
			float cover = saturate(r + 0.5);
			sum.x += ((VorpAsUint(p12.y) >> 31u) != 0u) ? -cover : cover;
			sum.y = max(sum.y, saturate(1.0 - 2.0 * abs(r)));
			continue;
		}
#endif
		float2 p3 = VorpCurveTexel(int2(curveLoc.x + 1, curveLoc.y)).xy - c;
		if (max(max(p12.x, p12.z), p3.x) * pixelsPerEm < -0.5) break;
		sum = TestHorizCurve(p12, p3, pixelsPerEm, sum);
	}
	return sum;
}

// A ray along y over a vertical band's list.
float2 TraceVertBand(VORP_TEXTURE_PARAMETERS int2 bandLoc, int2 headerLoc, float2 c, float pixelsPerEm, int flags)
{
	float2 sum = float2(0.0, 0.0);
	int2 header = VorpBandTexel(headerLoc);
	int2 listLoc = CalcBandLoc(bandLoc, header.y);
	for (int i = 0; i < header.x; i++)
	{
		int2 curveLoc = VorpBandTexel(int2(listLoc.x + i, listLoc.y));
		float4 p12 = VorpCurveTexel(curveLoc) - float4(c, c);
#ifdef VORP_LINEAR
		if ((flags & 0x0100) != 0)
		{
			if (max(p12.y, p12.w) * pixelsPerEm < -0.5) break;
			if ((VorpAsUint(p12.x) >> 31u) == (VorpAsUint(p12.z) >> 31u)) continue;
			float r = (p12.y - p12.x * (p12.w - p12.y) / (p12.z - p12.x)) * pixelsPerEm;
			float cover = saturate(r + 0.5);
			sum.x += ((VorpAsUint(p12.z) >> 31u) != 0u) ? -cover : cover;
			sum.y = max(sum.y, saturate(1.0 - 2.0 * abs(r)));
			continue;
		}
#endif
		float2 p3 = VorpCurveTexel(int2(curveLoc.x + 1, curveLoc.y)).xy - c;
		if (max(max(p12.y, p12.w), p3.y) * pixelsPerEm < -0.5) break;
		sum = TestVertCurve(p12, p3, pixelsPerEm, sum);
	}
	return sum;
}

// Coverage from the two rays' sums and weights, by the entry's fill rule.
float CalcCoverage(float2 horiz, float2 vert, int flags)
{
	float coverage = max(abs(horiz.x * horiz.y + vert.x * vert.y) / max(horiz.y + vert.y, kLinearThreshold),
		min(abs(horiz.x), abs(vert.x)));
	bool evenOdd = false;
#ifdef VORP_EVENODD
	evenOdd = ((flags & 0x1000) != 0);
#endif
	if (evenOdd) coverage = 1.0 - abs(1.0 - 2.0 * frac(coverage / 2.0));
	else coverage = saturate(coverage);
#ifdef VORP_WEIGHT
	coverage = sqrt(coverage);
#endif
	return coverage;
}

// The band index of coordinate c, clamped before the conversion.
int CalcBandIndex(float c, float scale, float offset, int bandMax)
{
	return int(clamp(c * scale + offset, 0.0, float(bandMax)));
}

// Coverage of one set of band headers at bandLoc: a plain entry, or one
// layer of a multi-colour entry.
float RenderGlyph(VORP_TEXTURE_PARAMETERS int2 bandLoc, float2 c, float2 emsPerPixel, float4 banding, int4 glyph)
{
	float2 pixelsPerEm = 1.0 / emsPerPixel;
	int bandMaxX = glyph.z;
	int bandMaxY = glyph.w & 0xFF;
	int vertFirst = bandMaxY + 1;
	float2 horiz = float2(0.0, 0.0);
	float2 vert = float2(0.0, 0.0);
#ifdef VORP_SUPER
	// Each ray is sampled across itself, 1 to 4 times, each sample in its
	// own band.
	int countY = clamp(int(emsPerPixel.y * 16.0 + 1.0), 1, 4);
	for (int k = 0; k < countY; k++)
	{
		float sampleY = c.y + emsPerPixel.y * ((float(k) + 0.5) / float(countY) - 0.5);
		int band = CalcBandIndex(sampleY, banding.y, banding.w, bandMaxY);
		horiz += TraceHorizBand(VORP_TEXTURES bandLoc, CalcBandLoc(bandLoc, band), float2(c.x, sampleY), pixelsPerEm.x, glyph.w);
	}
	horiz /= float(countY);
	int countX = clamp(int(emsPerPixel.x * 16.0 + 1.0), 1, 4);
	for (int k = 0; k < countX; k++)
	{
		float sampleX = c.x + emsPerPixel.x * ((float(k) + 0.5) / float(countX) - 0.5);
		int band = CalcBandIndex(sampleX, banding.x, banding.z, bandMaxX);
		vert += TraceVertBand(VORP_TEXTURES bandLoc, CalcBandLoc(bandLoc, vertFirst + band), float2(sampleX, c.y), pixelsPerEm.y, glyph.w);
	}
	vert /= float(countX);
#else
	int bandY = CalcBandIndex(c.y, banding.y, banding.w, bandMaxY);
	int bandX = CalcBandIndex(c.x, banding.x, banding.z, bandMaxX);
	horiz = TraceHorizBand(VORP_TEXTURES bandLoc, CalcBandLoc(bandLoc, bandY), c, pixelsPerEm.x, glyph.w);
	vert = TraceVertBand(VORP_TEXTURES bandLoc, CalcBandLoc(bandLoc, vertFirst + bandX), c, pixelsPerEm.y, glyph.w);
#endif
	return CalcCoverage(horiz, vert, glyph.w);
}

// Blends one layer over the colour so far: its colour bytes are red, green
// in the first word and blue in the low byte of the second, linear light.
float4 ApplyLayerColor(float4 color, int2 packedColor, float coverage)
{
	float3 layer = float3(float(packedColor.x & 255), float(packedColor.x >> 8), float(packedColor.y & 255)) / 255.0;
	return float4(color.xyz + (layer - color.xyz) * coverage, saturate(color.w + coverage));
}

// The colour of the fragment at entry coordinates c.
float4 VorpRender(VORP_TEXTURE_PARAMETERS float2 c, float4 vertexColor, float4 banding, int4 glyph)
{
	float2 emsPerPixel = fwidth(c);
	float4 color = float4(vertexColor.xyz, 0.0);
	int2 glyphLoc = glyph.xy;
	bool banded = true;
#ifdef VORP_STROKE
	int strokeCurves = (glyph.w >> 9) & 7;
	if (strokeCurves != 0)
	{
		// A short closed chain from glyphLoc: each texel holds a point and
		// the next control point, so a curve pairs a texel with the next.
		banded = false;
		float2 pixelsPerEm = 1.0 / emsPerPixel;
		float2 horiz = float2(0.0, 0.0);
		float2 vert = float2(0.0, 0.0);
		for (int i = 0; i < strokeCurves; i++)
		{
			float4 p12 = VorpCurveTexel(int2(glyphLoc.x + i, glyphLoc.y)) - float4(c, c);
			float2 p3 = VorpCurveTexel(int2(glyphLoc.x + i + 1, glyphLoc.y)).xy - c;
			horiz = TestHorizCurve(p12, p3, pixelsPerEm.x, horiz);
			vert = TestVertCurve(p12, p3, pixelsPerEm.y, vert);
		}
		color.w = CalcCoverage(horiz, vert, 0);
	}
#endif
	if (banded)
	{
#ifdef VORP_MULTICOLOR
		// glyphLoc is the layer table: a count, then each layer's headers
		// and colour.
		color = float4(0.0, 0.0, 0.0, 0.0);
		int layerCount = VorpBandTexel(glyphLoc).x;
		for (int i = 0; i < layerCount; i++)
		{
			int2 layerLoc = VorpBandTexel(int2(glyphLoc.x + 1 + 2 * i, glyphLoc.y));
			int2 packedColor = VorpBandTexel(int2(glyphLoc.x + 2 + 2 * i, glyphLoc.y));
			float coverage = RenderGlyph(VORP_TEXTURES layerLoc, c, emsPerPixel, banding, glyph);
			color = ApplyLayerColor(color, packedColor, coverage);
		}
#else
		color.w = RenderGlyph(VORP_TEXTURES glyphLoc, c, emsPerPixel, banding, glyph);
#endif
	}
#ifdef VORP_GRADIENT
	int gradientType = (glyph.w >> 13) & 7;
	if (gradientType != 0)
	{
		int2 recordLoc = VorpBandTexel(int2(glyphLoc.x - 1, glyphLoc.y));
		float4 g = VorpCurveTexel(recordLoc);
		float t;
		if (gradientType == 1) t = saturate(g.x * c.x + g.y * c.y + g.z);
		else t = min(1.0, length(float2(c.x * g.z - g.x, c.y * g.z - g.y)));
		float4 color1 = VorpCurveTexel(int2(recordLoc.x + 1, recordLoc.y));
		float4 color2 = VorpCurveTexel(int2(recordLoc.x + 2, recordLoc.y));
		color *= color1 + (color2 - color1) * t;
	}
#endif
	color.w *= vertexColor.w;
#ifdef VORP_COVERAGE
	color.xyz *= color.w;
#endif
#ifdef VORP_INVERSE_COVERAGE
	color.xyz *= 1.0 - color.w;
#endif
	return color;
}

#if defined(VORP_GLSL)

void main()
{
	vorp_fragment = VorpRender(VORP_TEXTURES vorp_texcoord, vorp_color, vorp_banding, vorp_glyph);
}

#elif defined(__METAL_VERSION__)

fragment float4 FragmentShader(VorpVertexOutput input [[stage_in]], texture2d<float> curveTexture [[texture(0)]],
	texture2d<uint> bandTexture [[texture(1)]])
{
	return VorpRender(VORP_TEXTURES input.vorp_texcoord, input.vorp_color, input.vorp_banding, input.vorp_glyph);
}

#elif defined(__PSSL__)

float4 main(VorpVertexOutput input) : S_TARGET_OUTPUT
{
	return VorpRender(VORP_TEXTURES input.vorp_texcoord, input.vorp_color, input.vorp_banding, input.vorp_glyph);
}

#else

#ifdef VORP_SIG
[RootSignature("RootFlags(ALLOW_INPUT_ASSEMBLER_INPUT_LAYOUT), CBV(b0), DescriptorTable(SRV(t0, numDescriptors = 2), visibility = SHADER_VISIBILITY_PIXEL)")]
#endif
float4 main(VorpVertexOutput input) : SV_Target
{
	return VorpRender(VORP_TEXTURES input.vorp_texcoord, input.vorp_color, input.vorp_banding, input.vorp_glyph);
}

#endif
)VORP";

const char* GetShaderSource(ShaderStage stage)
{
	if (stage == kShaderVertex) return kVertexSource;
	if (stage == kShaderFragment) return kFragmentSource;
	return nullptr;
}
