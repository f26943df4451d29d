#include "view/GlRenderer.h"

#define GL_GLEXT_PROTOTYPES 1
#define EGL_EGLEXT_PROTOTYPES 1
#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GL/gl.h>
#include <GL/glext.h>

#include <cmath>
#include <cstddef>
#include <cstring>

#if defined(__SANITIZE_ADDRESS__)
#define VORP_LEAK_CHECK 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VORP_LEAK_CHECK 1
#endif
#endif
#ifdef VORP_LEAK_CHECK
#include <sanitizer/lsan_interface.h>
#endif

#include "album/AlbumFile.h"
#include "album/ShaderSources.h"
#include "host/AlbumHost.h"

// Mesa's drivers keep allocations that outlive their unloading, where the
// leak checker cannot name them; what they allocate on our calls is theirs.
struct DriverAllocations
{
	DriverAllocations()
	{
#ifdef VORP_LEAK_CHECK
		__lsan_disable();
#endif
	}

	~DriverAllocations()
	{
#ifdef VORP_LEAK_CHECK
		__lsan_enable();
#endif
	}
};

// Owns the objects of one drawing, so every path frees them.
struct GlObjects
{
	GLuint textures[2] = {0, 0};
	GLuint framebuffer = 0;
	GLuint renderbuffer = 0;
	GLuint vertexArray = 0;
	GLuint buffers[2] = {0, 0};

	GlObjects()
	{
		glGenTextures(2, textures);
		glGenFramebuffers(1, &framebuffer);
		glGenRenderbuffers(1, &renderbuffer);
		glGenVertexArrays(1, &vertexArray);
		glGenBuffers(2, buffers);
	}

	~GlObjects()
	{
		glDeleteBuffers(2, buffers);
		glDeleteVertexArrays(1, &vertexArray);
		glDeleteRenderbuffers(1, &renderbuffer);
		glDeleteFramebuffers(1, &framebuffer);
		glDeleteTextures(2, textures);
	}
};

GlRenderer::GlRenderer() : display(nullptr), context(nullptr), programs{0, 0}, premultipliedOutput(false), objects(nullptr)
{
}

GlRenderer::~GlRenderer()
{
	Close();
}

void GlRenderer::Close()
{
	DriverAllocations driver;
	delete objects;
	objects = nullptr;
	if (context)
	{
		for (uint32_t& program : programs)
		{
			if (program != 0) glDeleteProgram(program);
			program = 0;
		}
		eglMakeCurrent(EGLDisplay(display), EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
		eglDestroyContext(EGLDisplay(display), EGLContext(context));
		context = nullptr;
	}
	if (display)
	{
		eglTerminate(EGLDisplay(display));
		display = nullptr;
	}
}

// A display without a window system: a device (a GPU, or Mesa's software
// rasteriser), else Mesa's surfaceless platform, else the default display.
static EGLDisplay OpenDisplay()
{
	const char* extensions = eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
	if (extensions && std::strstr(extensions, "EGL_EXT_platform_device"))
	{
		auto queryDevices = reinterpret_cast<PFNEGLQUERYDEVICESEXTPROC>(eglGetProcAddress("eglQueryDevicesEXT"));
		EGLDeviceEXT devices[8];
		EGLint count = 0;
		if (queryDevices && queryDevices(8, devices, &count))
		{
			for (EGLint i = 0; i < count; i++)
			{
				EGLDisplay display = eglGetPlatformDisplay(EGL_PLATFORM_DEVICE_EXT, devices[i], nullptr);
				if (display != EGL_NO_DISPLAY && eglInitialize(display, nullptr, nullptr)) return display;
			}
		}
	}
	if (extensions && std::strstr(extensions, "EGL_MESA_platform_surfaceless"))
	{
		EGLDisplay display = eglGetPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
		if (display != EGL_NO_DISPLAY && eglInitialize(display, nullptr, nullptr)) return display;
	}
	EGLDisplay display = eglGetDisplay(EGL_DEFAULT_DISPLAY);
	if (display != EGL_NO_DISPLAY && eglInitialize(display, nullptr, nullptr)) return display;
	return EGL_NO_DISPLAY;
}

static uint32_t CompileShader(GLenum stage, const std::string& text, std::string* error)
{
	GLuint shader = glCreateShader(stage);
	const char* source = text.c_str();
	glShaderSource(shader, 1, &source, nullptr);
	glCompileShader(shader);
	GLint status = 0;
	glGetShaderiv(shader, GL_COMPILE_STATUS, &status);
	if (status == 0)
	{
		char log[2048] = {};
		glGetShaderInfoLog(shader, sizeof(log) - 1, nullptr, log);
		*error = std::string("The shader does not compile: ") + log;
		glDeleteShader(shader);
		return 0;
	}
	return shader;
}

static uint32_t BuildProgram(const GlSwitches& switches, bool multiColor, std::string* error)
{
	std::string preamble = "#version 330 core\n#define VORP_STROKE 1\n#define VORP_GRADIENT 1\n#define VORP_EVENODD 1\n";
	if (multiColor) preamble += "#define VORP_MULTICOLOR 1\n";
	if (switches.weight) preamble += "#define VORP_WEIGHT 1\n";
	if (switches.superSample) preamble += "#define VORP_SUPER 1\n";
	if (switches.linear) preamble += "#define VORP_LINEAR 1\n";
	if (switches.coverage) preamble += "#define VORP_COVERAGE 1\n";
	if (switches.lop3) preamble += "#define VORP_LOP3 1\n";
	GLuint vertex = CompileShader(GL_VERTEX_SHADER, preamble + GetShaderSource(kShaderVertex), error);
	if (vertex == 0) return 0;
	GLuint fragment = CompileShader(GL_FRAGMENT_SHADER, preamble + GetShaderSource(kShaderFragment), error);
	if (fragment == 0)
	{
		glDeleteShader(vertex);
		return 0;
	}
	GLuint program = glCreateProgram();
	glAttachShader(program, vertex);
	glAttachShader(program, fragment);
	glLinkProgram(program);
	glDeleteShader(vertex);
	glDeleteShader(fragment);
	GLint status = 0;
	glGetProgramiv(program, GL_LINK_STATUS, &status);
	if (status == 0)
	{
		char log[2048] = {};
		glGetProgramInfoLog(program, sizeof(log) - 1, nullptr, log);
		*error = std::string("The shaders do not link: ") + log;
		glDeleteProgram(program);
		return 0;
	}
	glUseProgram(program);
	glUniform1i(glGetUniformLocation(program, "curveTexture"), 0);
	glUniform1i(glGetUniformLocation(program, "bandTexture"), 1);
	return program;
}

bool GlRenderer::Open(const GlSwitches& switches, std::string* error)
{
	Close();
	DriverAllocations driver;
	EGLDisplay eglDisplay = OpenDisplay();
	if (eglDisplay == EGL_NO_DISPLAY)
	{
		*error = "No EGL display can be opened.";
		return false;
	}
	display = eglDisplay;
	// No surface is drawn to, so any surface type will do.
	const EGLint configAttributes[] = {EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT, EGL_SURFACE_TYPE, 0, EGL_NONE};
	EGLConfig config;
	EGLint configCount = 0;
	if (!eglBindAPI(EGL_OPENGL_API) || !eglChooseConfig(eglDisplay, configAttributes, &config, 1, &configCount) || configCount < 1)
	{
		*error = "The EGL display offers no OpenGL configuration.";
		return false;
	}
	const EGLint contextAttributes[] = {EGL_CONTEXT_MAJOR_VERSION, 3, EGL_CONTEXT_MINOR_VERSION, 3,
		EGL_CONTEXT_OPENGL_PROFILE_MASK, EGL_CONTEXT_OPENGL_CORE_PROFILE_BIT, EGL_NONE};
	EGLContext eglContext = eglCreateContext(eglDisplay, config, EGL_NO_CONTEXT, contextAttributes);
	if (eglContext == EGL_NO_CONTEXT)
	{
		*error = "No OpenGL 3.3 core context can be made.";
		return false;
	}
	context = eglContext;
	if (!eglMakeCurrent(eglDisplay, EGL_NO_SURFACE, EGL_NO_SURFACE, eglContext))
	{
		*error = "The OpenGL context cannot be made current without a surface.";
		return false;
	}
	programs[0] = BuildProgram(switches, false, error);
	if (programs[0] == 0) return false;
	programs[1] = BuildProgram(switches, true, error);
	premultipliedOutput = switches.coverage;
	return programs[1] != 0;
}

static void UploadTexture(GLuint texture, GLint format, GLsizei width, GLsizei height, GLenum layout, GLenum type, const void* data)
{
	glBindTexture(GL_TEXTURE_2D, texture);
	glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
	glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
	glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAX_LEVEL, 0);
	glTexImage2D(GL_TEXTURE_2D, 0, format, width, height, 0, layout, type, data);
}

// Uploads the album's images and makes a float image to draw into.
bool GlRenderer::Begin(const AlbumHost& host, int32_t width, int32_t height, std::string* error)
{
	const AlbumContents& album = host.GetContents();
	GLint maxSize = 0;
	glGetIntegerv(GL_MAX_RENDERBUFFER_SIZE, &maxSize);
	if (width < 1 || height < 1 || width > maxSize || height > maxSize)
	{
		*error = "The image is larger than this OpenGL can draw.";
		return false;
	}
	delete objects;
	objects = new GlObjects();
	// An image of no texels still needs a texture to bind.
	static const uint8_t kZero[16] = {};
	bool floatCurves = (album.header.curveFormat == 'FLT4');
	bool noCurves = (album.curveData == nullptr);
	UploadTexture(objects->textures[0], floatCurves ? GL_RGBA32F : GL_RGBA16F, noCurves ? 1 : GLsizei(album.header.curveWidth),
		noCurves ? 1 : GLsizei(album.header.curveHeight), GL_RGBA, floatCurves ? GL_FLOAT : GL_HALF_FLOAT,
		noCurves ? kZero : album.curveData);
	UploadTexture(objects->textures[1], GL_RG16UI, GLsizei(album.header.bandWidth), GLsizei(album.header.bandHeight), GL_RG_INTEGER,
		GL_UNSIGNED_SHORT, album.bandData);

	glBindFramebuffer(GL_FRAMEBUFFER, objects->framebuffer);
	glBindRenderbuffer(GL_RENDERBUFFER, objects->renderbuffer);
	glRenderbufferStorage(GL_RENDERBUFFER, GL_RGBA32F, width, height);
	glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, objects->renderbuffer);
	if (glCheckFramebufferStatus(GL_FRAMEBUFFER) != GL_FRAMEBUFFER_COMPLETE)
	{
		*error = "OpenGL cannot draw into a float image.";
		return false;
	}
	glDisable(GL_DEPTH_TEST);
	glClearColor(0.0f, 0.0f, 0.0f, 0.0f);
	glClear(GL_COLOR_BUFFER_BIT);

	glBindVertexArray(objects->vertexArray);
	glBindBuffer(GL_ARRAY_BUFFER, objects->buffers[0]);
	glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, objects->buffers[1]);
	for (GLuint location = 0; location < 5; location++)
	{
		glEnableVertexAttribArray(location);
		glVertexAttribPointer(location, 4, GL_FLOAT, GL_FALSE, sizeof(HostVertex), reinterpret_cast<const void*>(size_t(location) * 16));
	}
	glActiveTexture(GL_TEXTURE0);
	glBindTexture(GL_TEXTURE_2D, objects->textures[0]);
	glActiveTexture(GL_TEXTURE1);
	glBindTexture(GL_TEXTURE_2D, objects->textures[1]);
	return true;
}

// Fits `box` (minX, minY, maxX, maxY) into a square of `size` pixels whose
// left edge is `cellLeft`, as vorp-render lays out a cell.
static void FitBox(const float box[4], int32_t size, int32_t cellLeft, int32_t* left, int32_t* top, int32_t* width, int32_t* height)
{
	float boxWidth = box[2] - box[0];
	float boxHeight = box[3] - box[1];
	*width = size;
	*height = size;
	if (boxWidth > boxHeight) *height = int32_t(float(size) * (boxHeight / boxWidth) + 0.5f);
	else *width = int32_t(float(size) * (boxWidth / boxHeight) + 0.5f);
	if (*width < 1) *width = 1;
	if (*height < 1) *height = 1;
	*left = cellLeft + (size - *width) / 2;
	*top = (size - *height) / 2;
}

// Draws a mesh with `box` mapped onto a viewport, row 0 of the image at the top.
void GlRenderer::Draw(const HostMesh& mesh, const float box[4], int32_t left, int32_t top, int32_t width, int32_t height, int32_t imageHeight)
{
	glViewport(left, imageHeight - top - height, width, height);
	float boxWidth = box[2] - box[0];
	float boxHeight = box[3] - box[1];
	// The box onto the whole viewport, y up.
	const float matrix[16] = {
		2.0f / boxWidth, 0.0f, 0.0f, -(box[2] + box[0]) / boxWidth,
		0.0f, 2.0f / boxHeight, 0.0f, -(box[3] + box[1]) / boxHeight,
		0.0f, 0.0f, 0.0f, 0.0f,
		0.0f, 0.0f, 0.0f, 1.0f};
	glBufferData(GL_ARRAY_BUFFER, GLsizeiptr(mesh.vertices.size() * sizeof(HostVertex)), mesh.vertices.data(), GL_STREAM_DRAW);
	glBufferData(GL_ELEMENT_ARRAY_BUFFER, GLsizeiptr(mesh.indices.size() * 4), mesh.indices.data(), GL_STREAM_DRAW);
	for (const HostDraw& draw : mesh.draws)
	{
		GLuint program = programs[draw.layered ? 1 : 0];
		glUseProgram(program);
		glUniform4fv(glGetUniformLocation(program, "vorp_matrix"), 4, matrix);
		glUniform2f(glGetUniformLocation(program, "vorp_viewport"), float(width), float(height));
		glDrawElements(GL_TRIANGLES, GLsizei(draw.indexCount), GL_UNSIGNED_INT, reinterpret_cast<const void*>(size_t(draw.firstIndex) * 4));
	}
}

// Reads the image back, top row first.
bool GlRenderer::Finish(GlImage* image, std::string* error)
{
	std::vector<float> flipped(size_t(image->width) * size_t(image->height) * 4);
	glPixelStorei(GL_PACK_ALIGNMENT, 1);
	glReadPixels(0, 0, image->width, image->height, GL_RGBA, GL_FLOAT, flipped.data());
	delete objects;
	objects = nullptr;
	if (glGetError() != GL_NO_ERROR)
	{
		*error = "OpenGL failed to draw the album.";
		return false;
	}
	image->pixels.resize(flipped.size());
	size_t rowFloats = size_t(image->width) * 4;
	for (int32_t row = 0; row < image->height; row++)
	{
		std::memcpy(image->pixels.data() + size_t(row) * rowFloats, flipped.data() + size_t(image->height - 1 - row) * rowFloats,
			rowFloats * sizeof(float));
	}
	return true;
}

bool GlRenderer::DrawEntries(const AlbumHost& host, int32_t first, int32_t count, const float* colors, int32_t size, GlImage* image,
	std::string* error)
{
	DriverAllocations driver;
	if (size < 1 || count < 1 || int64_t(size) * count > 0x7FFFFFFF)
	{
		*error = "The image is larger than this OpenGL can draw.";
		return false;
	}
	image->width = size * count;
	image->height = size;
	if (!Begin(host, image->width, image->height, error)) return false;
	// Each entry replaces what lies under it: the exact shader output.
	glDisable(GL_BLEND);
	const AlbumContents& album = host.GetContents();
	for (int32_t cell = 0; cell < count; cell++)
	{
		HostMesh mesh;
		if (host.AppendEntry(first + cell, colors + cell * 4, true, &mesh) != 0 || mesh.draws.empty()) continue;
		const EntryRecord& entry = album.entries[first + cell];
		const float box[4] = {entry.minX, entry.minY, entry.maxX, entry.maxY};
		int32_t left, top, width, height;
		FitBox(box, size, cell * size, &left, &top, &width, &height);
		Draw(mesh, box, left, top, width, height, size);
	}
	return Finish(image, error);
}

bool GlRenderer::DrawPicture(const AlbumHost& host, int32_t picture, int32_t size, GlImage* image, std::string* error)
{
	DriverAllocations driver;
	const AlbumContents& album = host.GetContents();
	HostMesh mesh;
	uint32_t result = host.AppendPicture(picture, true, &mesh);
	if (result != 0)
	{
		*error = HostResultText(result);
		return false;
	}
	const PictureRecord& record = album.pictures[picture];
	const float box[4] = {record.minX, record.minY, record.maxX, record.maxY};
	if (!(box[2] > box[0]) || !(box[3] > box[1]) || !std::isfinite(box[2] - box[0]) || !std::isfinite(box[3] - box[1]))
	{
		*error = "The picture covers no area.";
		return false;
	}
	image->width = size;
	image->height = size;
	if (!Begin(host, size, size, error)) return false;
	// Components are drawn in order, each over the ones before; the shader
	// gives straight alpha unless built with VORP_COVERAGE.
	glEnable(GL_BLEND);
	if (premultipliedOutput) glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
	else glBlendFuncSeparate(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA, GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
	int32_t left, top, width, height;
	FitBox(box, size, 0, &left, &top, &width, &height);
	Draw(mesh, box, left, top, width, height, size);
	return Finish(image, error);
}
