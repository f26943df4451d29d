#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "album/AlbumReader.h"
#include "album/ShaderSources.h"
#include "document/VectorDocument.h"
#include "tool/Tool.h"

extern char** environ;

namespace {

struct RunResult
{
	int status;
	std::string output;
};

// Starts a built executable with `arguments` and collects its standard
// output and exit status.
RunResult RunProgram(std::string program, const std::vector<std::string>& arguments)
{
	std::vector<char*> argv;
	argv.push_back(program.data());
	std::vector<std::string> copies = arguments;
	for (std::string& argument : copies) argv.push_back(argument.data());
	argv.push_back(nullptr);

	int pipeEnds[2];
	EXPECT_EQ(pipe(pipeEnds), 0);
	posix_spawn_file_actions_t actions;
	posix_spawn_file_actions_init(&actions);
	posix_spawn_file_actions_adddup2(&actions, pipeEnds[1], 1);
	posix_spawn_file_actions_addclose(&actions, pipeEnds[0]);

	pid_t child = 0;
	int spawned = posix_spawn(&child, program.c_str(), &actions, nullptr, argv.data(), environ);
	posix_spawn_file_actions_destroy(&actions);
	close(pipeEnds[1]);

	RunResult result{-1, ""};
	if (spawned != 0)
	{
		close(pipeEnds[0]);
		ADD_FAILURE() << "cannot start " << program;
		return result;
	}

	char buffer[4096];
	for (;;)
	{
		ssize_t count = read(pipeEnds[0], buffer, sizeof(buffer));
		if (count <= 0) break;
		result.output.append(buffer, size_t(count));
	}
	close(pipeEnds[0]);

	int status = 0;
	waitpid(child, &status, 0);
	result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
	return result;
}

// A fresh directory for the files of one test, removed with its content.
class Scratch
{
	public:

		Scratch()
		{
			char pattern[] = "/tmp/vorp-tool-XXXXXX";
			const char* made = mkdtemp(pattern);
			directory = made ? made : "/tmp";
		}

		~Scratch()
		{
			std::string command = "rm -rf '" + directory + "'";
			if (directory != "/tmp")
			{
				EXPECT_EQ(std::system(command.c_str()), 0);
			}
		}

		std::string Path(const std::string& name) const { return directory + "/" + name; }

		std::string Write(const std::string& name, const std::string& content) const
		{
			std::string path = Path(name);
			FILE* file = std::fopen(path.c_str(), "wb");
			EXPECT_NE(file, nullptr);
			if (file)
			{
				std::fwrite(content.data(), 1, content.size(), file);
				std::fclose(file);
			}
			return path;
		}

		std::string directory;
};

RunResult RunVorp(const std::vector<std::string>& arguments)
{
	return RunProgram(VORP_EXECUTABLE, arguments);
}

bool Exists(const std::string& path)
{
	struct stat status;
	return stat(path.c_str(), &status) == 0;
}

struct MessageRow
{
	const char* text;
	std::vector<std::string> arguments;
	const char* output;
	int status;
};

TEST(Tool, CommandLineMessages)
{
	// Every file named here is absent, so no row gets as far as loading.
	const MessageRow rows[] = {
		{"no arguments", {}, "Error: No input file name specified.\n", 1},
		{"-o without value", {"-o"}, "Error: No input file name specified.\n", 1},
		{"-g without value", {"-g"}, "Error: No input file name specified.\n", 1},
		{"only options", {"-pict", "-float"}, "Error: No input file name specified.\n", 1},
		{"dash alone", {"-"}, "Error: No input file name specified.\n", 1},
		{"no output", {"in.svg"}, "Error: No output file name specified with -o option or -g option.\n", 1},
		{"-o dropped at end", {"in.svg", "-o"}, "Error: No output file name specified with -o option or -g option.\n", 1},
		{"vertex count missing", {"in.svg", "-poly-vertex-count"}, "Error: No polygon vertex count specified.\n", 1},
		{"vertex count syntax", {"-poly-vertex-count", "x"}, "Error: Invalid polygon vertex count syntax.\n", 1},
		{"vertex count overflow", {"-poly-vertex-count", "2147483648"}, "Error: Invalid polygon vertex count syntax.\n", 1},
		{"edge factor missing", {"-poly-edge-factor"}, "Error: No polygon edge factor specified.\n", 1},
		{"edge factor syntax", {"-poly-edge-factor", "."}, "Error: Invalid polygon edge factor syntax.\n", 1},
		{"band count missing", {"-o", "x", "-max-band-count"}, "Error: No max band count specified.\n", 1},
		{"band count syntax", {"-max-band-count", "1__0"}, "Error: Invalid max band count syntax.\n", 1},
		{"band count empty", {"-max-band-count", ""}, "Error: Invalid max band count syntax.\n", 1},
		{"directory without input", {"-font", "-g", "out"}, "Error: No input directory name specified.\n", 1},
		{"directory without -g", {"-font", "dir", "-o", "x"}, "Error: No output file name specified with -g option.\n", 1},
		{"first bad value wins", {"-max-band-count", "z", "-poly-vertex-count", "y"}, "Error: Invalid max band count syntax.\n", 1},
	};

	for (const MessageRow& row : rows)
	{
		SCOPED_TRACE(row.text);
		RunResult result = RunVorp(row.arguments);
		EXPECT_EQ(result.output, row.output);
		EXPECT_EQ(result.status, row.status);
	}
}

TEST(Tool, BadValueEndsRunBeforeAnyFileIsTouched)
{
	Scratch scratch;
	std::string input = scratch.Write("in.tess", "");
	std::string album = scratch.Path("out.vorp");
	RunResult result = RunVorp({input, "-o", album, "-poly-edge-factor", "abc"});
	EXPECT_EQ(result.output, "Error: Invalid polygon edge factor syntax.\n");
	EXPECT_EQ(result.status, 1);
	EXPECT_FALSE(Exists(album));
}

TEST(Tool, UnreadableInputCreatesNothing)
{
	Scratch scratch;
	std::string album = scratch.Path("out.vorp");
	std::string exchange = scratch.Path("out.tess");
	// A directory opens for reading on this system but is no input.
	for (const std::string& input : {scratch.Path("absent.svg"), scratch.directory})
	{
		SCOPED_TRACE(input);
		RunResult result = RunVorp({"-o", album, "-g", exchange, input});
		EXPECT_EQ(result.output, "Error: Cannot open input file:\n" + input + "\n");
		EXPECT_EQ(result.status, 1);
		EXPECT_FALSE(Exists(album));
		EXPECT_FALSE(Exists(exchange));
	}
}

TEST(Tool, LastInputNameWins)
{
	Scratch scratch;
	std::string present = scratch.Write("b.tess", "");
	std::string album = scratch.Path("x.vorp");
	// a.svg does not exist; reading it would fail the run.
	RunResult result = RunVorp({scratch.Path("a.svg"), present, "-o", album});
	EXPECT_EQ(result.output, "");
	EXPECT_EQ(result.status, 0);
	EXPECT_TRUE(Exists(album));
}

TEST(Tool, UnknownOptionsAreIgnored)
{
	Scratch scratch;
	std::string input = scratch.Write("in.svg", "");
	std::string album = scratch.Path("x.vorp");
	RunResult result = RunVorp({input, "-o", album, "-bogus", "-", "-O", "-Pict"});
	EXPECT_EQ(result.output, "");
	EXPECT_EQ(result.status, 0);
	EXPECT_TRUE(Exists(album));
}

TEST(Tool, OutputsThatCannotBeCreated)
{
	Scratch scratch;
	std::string input = scratch.Write("in.tess", "");
	std::string nowhere = scratch.Path("no/such/dir/out");

	RunResult album = RunVorp({input, "-o", nowhere});
	EXPECT_EQ(album.output, "Error: Cannot create Vorp output file.\n");
	EXPECT_EQ(album.status, 1);

	// The album is finished before the exchange file fails, and it stays.
	std::string written = scratch.Path("kept.vorp");
	RunResult exchange = RunVorp({input, "-o", written, "-g", nowhere});
	EXPECT_EQ(exchange.output, "Error: Cannot create Tessary output file.\n");
	EXPECT_EQ(exchange.status, 1);
	EXPECT_TRUE(Exists(written));
}

TEST(Tool, EmptyInputWritesBothOutputs)
{
	Scratch scratch;
	std::string album = scratch.Path("out.vorp");
	std::string exchange = scratch.Path("out.tess");
	for (const char* name : {"empty.tess", "empty.svg"})
	{
		SCOPED_TRACE(name);
		std::string input = scratch.Write(name, "");
		RunResult result = RunVorp({"-g", exchange, input, "-o", album});
		EXPECT_EQ(result.output, "");
		EXPECT_EQ(result.status, 0);
		EXPECT_TRUE(Exists(album));
		EXPECT_TRUE(Exists(exchange));
	}
}

TEST(Tool, DirectoryModeWithMissingOrEmptyDirectory)
{
	Scratch scratch;
	std::string exchange = scratch.Path("font.tess");

	RunResult missing = RunVorp({"-font", scratch.Path("absent"), "-g", exchange});
	EXPECT_EQ(missing.output, "");
	EXPECT_EQ(missing.status, 0);
	EXPECT_TRUE(Exists(exchange));

	std::string empty = scratch.Path("empty");
	ASSERT_EQ(mkdir(empty.c_str(), 0755), 0);
	RunResult none = RunVorp({"-font", empty, "-g", exchange, "-o", scratch.Path("ignored.vorp")});
	EXPECT_EQ(none.output, "");
	EXPECT_EQ(none.status, 0);
	// -o is not consulted in directory mode.
	EXPECT_FALSE(Exists(scratch.Path("ignored.vorp")));
}

TEST(Tool, DirectoryModeSkipsSubdirectoriesAndUnreadableFiles)
{
	Scratch scratch;
	std::string folder = scratch.Path("glyphs");
	ASSERT_EQ(mkdir(folder.c_str(), 0755), 0);
	ASSERT_EQ(mkdir((folder + "/sub").c_str(), 0755), 0);
	scratch.Write("glyphs/41.tess", "");
	std::string locked = scratch.Write("glyphs/42.tess", "");
	chmod(locked.c_str(), 0);
	bool readable = access(locked.c_str(), R_OK) == 0;

	std::string exchange = scratch.Path("font.tess");
	RunResult result = RunVorp({"-font", folder, "-g", exchange});
	EXPECT_EQ(result.status, 0);
	// Running as root reads the locked file all the same.
	if (readable)
	{
		EXPECT_EQ(result.output, "");
	}
	else
	{
		EXPECT_EQ(result.output, "Error: Cannot open input file:\n" + locked + "\n");
	}
	EXPECT_TRUE(Exists(exchange));
}

std::string ReadWhole(const std::string& path)
{
	std::string content;
	FILE* file = std::fopen(path.c_str(), "rb");
	if (!file) return content;
	char buffer[4096];
	size_t count;
	while ((count = std::fread(buffer, 1, sizeof(buffer), file)) > 0) content.append(buffer, count);
	std::fclose(file);
	return content;
}

TEST(Tool, InvalidTessaryIsReportedAndTheRunGoesOn)
{
	Scratch scratch;
	const struct
	{
		const char* text;
		const char* input;
	} rows[] = {
		{"syntax fault empties the document", "Line {float[2] {{0, 0}, {1, 1}}}\n}\n"},
		{"processing fault keeps the tree", "Circle {float[2] {{0, 0}}}\n"},
	};

	for (const auto& row : rows)
	{
		SCOPED_TRACE(row.text);
		std::string input = scratch.Write("bad.tess", row.input);
		std::string album = scratch.Path("out.vorp");
		std::string exchange = scratch.Path("out.tess");
		RunResult result = RunVorp({input, "-o", album, "-g", exchange});
		EXPECT_EQ(result.output, "Error: Invalid Tessary input file:\n" + input + "\n");
		EXPECT_EQ(result.status, 0);
		EXPECT_TRUE(Exists(album));
		EXPECT_TRUE(Exists(exchange));
	}

	// What the processing fault left is written; the syntax fault leaves only
	// the header.
	std::string kept = ReadWhole(scratch.Path("out.tess"));
	EXPECT_NE(kept.find("Circle"), std::string::npos);
}

TEST(Tool, InvalidSvgEndsTheRun)
{
	Scratch scratch;
	std::string input = scratch.Write("flat.SVG", "<svg width=\"0\" height=\"10\"><rect width=\"5\" height=\"5\"/></svg>");
	std::string album = scratch.Path("out.vorp");
	std::string exchange = scratch.Path("out.tess");
	RunResult result = RunVorp({input, "-o", album, "-g", exchange});
	EXPECT_EQ(result.output, "Error: Invalid SVG input file:\n" + input + "\n");
	EXPECT_EQ(result.status, 1);
	EXPECT_FALSE(Exists(album));
	EXPECT_FALSE(Exists(exchange));

	// The same text under a name that does not end in .svg is Tessary text.
	std::string tessary = scratch.Write("flat.svg.txt", "<svg width=\"0\"></svg>");
	RunResult other = RunVorp({tessary, "-g", exchange});
	EXPECT_EQ(other.output, "Error: Invalid Tessary input file:\n" + tessary + "\n");
	EXPECT_EQ(other.status, 0);
}

TEST(Tool, SvgDrawingIsWrittenAsTessary)
{
	Scratch scratch;
	std::string input = scratch.Write("square.svg",
			"<svg width=\"10\" height=\"10\"><rect x=\"1\" y=\"2\" width=\"3\" height=\"4\" fill=\"#000\"/></svg>");
	std::string exchange = scratch.Path("out.tess");
	RunResult result = RunVorp({input, "-g", exchange});
	EXPECT_EQ(result.output, "");
	EXPECT_EQ(result.status, 0);
	std::string text = ReadWhole(exchange);
	EXPECT_NE(text.find("Canvas"), std::string::npos);
	EXPECT_NE(text.find("Rect"), std::string::npos);
	EXPECT_NE(text.find("{1.0, 2.0}, {4.0, 6.0}"), std::string::npos);
}

TEST(Tool, ExchangeOutputRoundTrips)
{
	// Writing a document, reading that text back and writing it again gives
	// the same text.
	Scratch scratch;
	for (const char* name : {"shapes", "paint", "structure"})
	{
		SCOPED_TRACE(name);
		std::string input = std::string(VORP_SOURCE_DIR) + "/testdata/tessary/" + name + ".tess";
		std::string first = scratch.Path(std::string(name) + ".1.tess");
		std::string second = scratch.Path(std::string(name) + ".2.tess");
		RunResult one = RunVorp({"-g", first, input});
		EXPECT_EQ(one.output, "");
		EXPECT_EQ(one.status, 0);
		RunResult two = RunVorp({"-g", second, first});
		EXPECT_EQ(two.output, "");
		EXPECT_EQ(two.status, 0);
		std::string firstText = ReadWhole(first);
		EXPECT_FALSE(firstText.empty());
		EXPECT_EQ(firstText, ReadWhole(second));
		std::string expected = std::string(VORP_SOURCE_DIR) + "/testdata/tessary/" + name + ".expected.tess";
		EXPECT_EQ(firstText, ReadWhole(expected));
	}
}

// Reads an album file back; fails the test when it does not read.
bool ReadAlbumFile(const std::string& path, std::string* bytes, AlbumContents* album)
{
	*bytes = ReadWhole(path);
	uint32_t result = ReadAlbum(bytes->data(), bytes->size(), nullptr, album);
	EXPECT_EQ(result, 0u) << path;
	return result == 0;
}

TEST(Tool, AlbumOfAnEmptyDocumentIsWellFormed)
{
	Scratch scratch;
	std::string input = scratch.Write("empty.tess", "// nothing here\n");
	for (bool compress : {true, false})
	{
		SCOPED_TRACE(compress ? "compressed" : "raw");
		std::string album = scratch.Path(compress ? "c.vorp" : "r.vorp");
		std::vector<std::string> arguments = {input, "-o", album};
		if (!compress) arguments.push_back("-no-compress");
		RunResult result = RunVorp(arguments);
		EXPECT_EQ(result.output, "");
		EXPECT_EQ(result.status, 0);

		std::string bytes;
		AlbumContents contents;
		if (!ReadAlbumFile(album, &bytes, &contents)) continue;
		// One entry for the root, a curve image of width 0 and a band image
		// holding at least the layer table.
		EXPECT_EQ(contents.directory.entryCount, 1u);
		EXPECT_EQ(contents.header.curveWidth, 0u);
		EXPECT_EQ(contents.header.curveHeight, 1u);
		EXPECT_GE(contents.header.bandWidth, 1u);
		EXPECT_EQ(contents.header.curveCompression, 0u);

		RunResult dump = RunProgram(VORP_DUMP_EXECUTABLE, {album});
		EXPECT_EQ(dump.status, 0);
		EXPECT_EQ(dump.output.rfind("Header\n", 0), 0u) << dump.output;
		EXPECT_NE(dump.output.find("Directory\n  entries 1 at 112"), std::string::npos) << dump.output;
	}
}

TEST(Tool, AlbumBytesAreReproducible)
{
	// The same input gives the same bytes (-float without -pict changes
	// nothing), and compression changes the encoding only, never the images.
	Scratch scratch;
	std::string input = std::string(VORP_SOURCE_DIR) + "/examples/badge.svg";
	std::string first = scratch.Path("1.vorp");
	std::string second = scratch.Path("2.vorp");
	std::string raw = scratch.Path("raw.vorp");
	EXPECT_EQ(RunVorp({input, "-o", first}).status, 0);
	EXPECT_EQ(RunVorp({"-float", input, "-o", second}).status, 0);
	EXPECT_EQ(RunVorp({input, "-o", raw, "-no-compress"}).status, 0);
	EXPECT_EQ(ReadWhole(first), ReadWhole(second));

	std::string compressedBytes;
	std::string rawBytes;
	AlbumContents compressed;
	AlbumContents plain;
	if (!ReadAlbumFile(first, &compressedBytes, &compressed) || !ReadAlbumFile(raw, &rawBytes, &plain)) return;
	EXPECT_EQ(compressed.directory.entryCount, 2u);
	EXPECT_NE(compressed.header.bandCompression, 0u);
	EXPECT_EQ(plain.header.bandCompression, 0u);
	ASSERT_EQ(compressed.curveSize, plain.curveSize);
	ASSERT_EQ(compressed.bandSize, plain.bandSize);
	EXPECT_EQ(std::memcmp(compressed.curveData, plain.curveData, compressed.curveSize), 0);
	EXPECT_EQ(std::memcmp(compressed.bandData, plain.bandData, compressed.bandSize), 0);
	EXPECT_LT(compressedBytes.size(), rawBytes.size());
}

TEST(Tool, AlbumFailureDeletesTheAlbumAndSkipsTheExchangeFile)
{
	// One path of more curves than a band list can index.
	Scratch scratch;
	std::string text = "Path {Fill {} float[2]* {M {0, 0}";
	for (int i = 1; i <= 70000; i++) text += ", L {" + std::to_string(i % 1000) + ", " + std::to_string(i / 1000) + "}";
	text += "}}\n";
	std::string input = scratch.Write("huge.tess", text);
	std::string album = scratch.Path("out.vorp");
	std::string exchange = scratch.Path("out.tess");
	RunResult result = RunVorp({input, "-o", album, "-g", exchange});
	EXPECT_EQ(result.output, "Error: Album too large.\n");
	EXPECT_EQ(result.status, 1);
	EXPECT_FALSE(Exists(album));
	EXPECT_FALSE(Exists(exchange));
}

TEST(Tool, PictureRunTooLargeDeletesTheAlbum)
{
	Scratch scratch;
	// One stroked path of four long contours needs more vertices than 16-bit
	// indices reach: the album is deleted.
	std::string text = "Path {Stroke (join = \"round\") {float {0.5}}";
	for (int s = 0; s < 4; s++)
	{
		text += " float[2]* {M {0, " + std::to_string(s * 10) + "}";
		for (int i = 1; i < 5000; i++) text += ", L {" + std::to_string(i % 100) + ", " + std::to_string(s * 10 + (i / 100) % 10) + "}";
		text += "}";
	}
	std::string large = scratch.Write("large.tess", text + "}\n");
	std::string album = scratch.Path("large.vorp");
	RunResult result = RunVorp({"-pict", large, "-o", album});
	EXPECT_EQ(result.output, "Error: Album too large.\n");
	EXPECT_EQ(result.status, 1);
	EXPECT_FALSE(Exists(album));
}

TEST(Tool, BandCountOptionReachesTheCompiler)
{
	Scratch scratch;
	std::string input = std::string(VORP_SOURCE_DIR) + "/examples/badge.svg";
	std::string album = scratch.Path("one.vorp");
	EXPECT_EQ(RunVorp({input, "-o", album, "-max-band-count", "1", "-poly-vertex-count", "0"}).status, 0);
	std::string bytes;
	AlbumContents contents;
	if (!ReadAlbumFile(album, &bytes, &contents)) return;
	ASSERT_EQ(contents.directory.entryCount, 2u);
	for (uint32_t i = 0; i < 2; i++)
	{
		SCOPED_TRACE(i);
		EXPECT_EQ(contents.entries[i].bandCountX, 1u);
		EXPECT_EQ(contents.entries[i].bandCountY, 1u);
		EXPECT_EQ(contents.entries[i].polygonCode, 0u);
	}
}

TEST(Tool, RenderedExampleIsAPicture)
{
	Scratch scratch;
	std::string input = std::string(VORP_SOURCE_DIR) + "/examples/badge.svg";
	std::string album = scratch.Path("badge.vorp");
	std::string picture = scratch.Path("badge.png");
	EXPECT_EQ(RunVorp({input, "-o", album}).status, 0);
	RunResult render = RunProgram(VORP_RENDER_EXECUTABLE, {album, "-o", picture, "--size", "32"});
	EXPECT_EQ(render.status, 0) << render.output;
	std::string png = ReadWhole(picture);
	ASSERT_GE(png.size(), 24u);
	EXPECT_EQ(png.substr(0, 8), std::string("\x89PNG\r\n\x1a\n", 8));
	// Two entries side by side in cells of 32.
	auto bigEndian = [&](size_t at) {
		return (uint32_t(uint8_t(png[at])) << 24) | (uint32_t(uint8_t(png[at + 1])) << 16) |
				(uint32_t(uint8_t(png[at + 2])) << 8) | uint32_t(uint8_t(png[at + 3]));
	};
	EXPECT_EQ(bigEndian(16), 64u);
	EXPECT_EQ(bigEndian(20), 32u);

	// One stored block holds the rows: IDAT data at 41, behind the two zlib
	// bytes and the five of the block header, each row a filter byte and 64
	// pixels. The middle of the second cell is the dot, drawn in the sRGB
	// colour of the source, #1E6FD9, give or take the rounding of its 8-bit
	// linear form in the layer table.
	ASSERT_GE(png.size(), 48u + 32u * 257u);
	EXPECT_EQ(png.substr(37, 4), "IDAT");
	size_t centre = 48 + 16 * 257 + 1 + 48 * 4;
	const int expected[4] = {0x1E, 0x6F, 0xD9, 255};
	for (int c = 0; c < 4; c++)
	{
		EXPECT_NEAR(int(uint8_t(png[centre + c])), expected[c], 3) << "channel " << c;
	}

	RunResult bad = RunProgram(VORP_RENDER_EXECUTABLE, {input, "-o", picture});
	EXPECT_EQ(bad.status, 1);
	EXPECT_EQ(bad.output.rfind("Error: ", 0), 0u);
	EXPECT_EQ(bad.output.find('\n'), bad.output.size() - 1);
}

// vorp-render reads albums in the floating-point mode they were made in. An
// entry whose box is a denormal wide has no area under denormals-are-zero, so
// nothing is drawn; read in the default mode, the square behind it would fill
// every pixel.
TEST(Tool, RenderedPictureAlbumKeepsItsColours)
{
	Scratch scratch;
	std::string input = std::string(VORP_SOURCE_DIR) + "/examples/badge.svg";
	std::string album = scratch.Path("badge.vorp");
	std::string picture = scratch.Path("badge.png");
	EXPECT_EQ(RunVorp({"-pict", input, "-o", album}).status, 0);
	RunResult render = RunProgram(VORP_RENDER_EXECUTABLE, {album, "-o", picture, "--size", "32"});
	EXPECT_EQ(render.status, 0) << render.output;
	std::string png = ReadWhole(picture);
	ASSERT_GE(png.size(), 48u + 32u * 257u);
	// Two layers, two pictures side by side in cells of 32, stored as in the
	// icon case: the second cell's centre is the dot, #1E6FD9 over the star;
	// the first cell's corner lies outside the rounded square.
	EXPECT_EQ(uint8_t(png[19]), 64u);
	EXPECT_EQ(uint8_t(png[23]), 32u);
	size_t centre = 48 + 16 * 257 + 1 + 48 * 4;
	const int expected[4] = {0x1E, 0x6F, 0xD9, 255};
	for (int c = 0; c < 4; c++) EXPECT_NEAR(int(uint8_t(png[centre + c])), expected[c], 2) << "channel " << c;
	EXPECT_EQ(uint8_t(png[48 + 1 + 3]), 0u) << "the corner is transparent";

	RunResult missing = RunProgram(VORP_RENDER_EXECUTABLE, {album, "-o", picture, "--entry", "2"});
	EXPECT_EQ(missing.output, "Error: No such picture.\n");
	EXPECT_EQ(missing.status, 1);
}

TEST(Tool, RenderRunsWithDenormalsAsZero)
{
	Scratch scratch;
	std::string input = scratch.Write("square.tess", "Canvas {Range {float[2] {{-1, 1}, {-1, 1}}}} Rect {Fill {} float[2] {{-2, -2}, {2, 2}}}");
	std::string album = scratch.Path("square.vorp");
	ASSERT_EQ(RunVorp({input, "-o", album}).status, 0);
	std::string bytes = ReadWhole(album);
	ASSERT_GE(bytes.size(), 208u);
	// x from 0 to a denormal, y from 0.25 to 0.75: inside the square.
	const uint32_t box[4] = {0, 0x3E800000u, 0x00400000u, 0x3F400000u};
	std::memcpy(&bytes[192], box, sizeof(box));
	album = scratch.Write("denormal.vorp", bytes);

	std::string picture = scratch.Path("denormal.png");
	RunResult render = RunProgram(VORP_RENDER_EXECUTABLE, {album, "-o", picture, "--size", "4"});
	ASSERT_EQ(render.status, 0) << render.output;
	// Stored rows of a 4 x 4 image: a filter byte and 16 bytes each, from 48.
	std::string png = ReadWhole(picture);
	ASSERT_GE(png.size(), 48u + 4u * 17u);
	for (size_t pixel = 0; pixel < 16; pixel++) EXPECT_EQ(png[48 + (pixel / 4) * 17 + 1 + (pixel % 4) * 4 + 3], 0) << "pixel " << pixel;
}

TEST(Tool, DumpPrintsTheShaderTexts)
{
	RunResult vertex = RunProgram(VORP_DUMP_EXECUTABLE, {"--shader", "vertex"});
	EXPECT_EQ(vertex.status, 0);
	EXPECT_EQ(vertex.output, GetShaderSource(kShaderVertex));
	RunResult fragment = RunProgram(VORP_DUMP_EXECUTABLE, {"--shader", "fragment"});
	EXPECT_EQ(fragment.status, 0);
	EXPECT_EQ(fragment.output, GetShaderSource(kShaderFragment));
	for (const std::vector<std::string>& arguments : {std::vector<std::string>{"--shader", "pixel"}, std::vector<std::string>{"--shader"}})
	{
		RunResult bad = RunProgram(VORP_DUMP_EXECUTABLE, arguments);
		EXPECT_EQ(bad.status, 1);
		EXPECT_EQ(bad.output, "Error: --shader needs vertex or fragment.\n");
	}
}

// The option reader on its own, to see the values it stores.
// Reads `arguments` as the command line behind the program name. The names
// that `options` keeps point into `arguments`, so the caller holds them.
bool ReadArguments(std::vector<std::string>* arguments, VectorDocument* document, ToolOptions* options)
{
	std::vector<char*> argv = {const_cast<char*>("vorp")};
	for (std::string& argument : *arguments) argv.push_back(argument.data());
	argv.push_back(nullptr);
	return ReadOptions(int32_t(argv.size() - 1), argv.data(), document, options);
}

struct OptionRow
{
	const char* text;
	std::vector<std::string> arguments;
	int32_t maxBandCount;
	int32_t polyVertexCount;
	float polyEdgeFactor;
};

TEST(ReadOptions, NumericValues)
{
	const OptionRow rows[] = {
		{"defaults", {}, 32, 4, 1.0f},
		{"band count 0 clamps to 1", {"-max-band-count", "0"}, 1, 4, 1.0f},
		{"band count 99 clamps to 32", {"-max-band-count", "99"}, 32, 4, 1.0f},
		{"band count hex", {"-max-band-count", "0x08"}, 8, 4, 1.0f},
		{"band count negative value taken", {"-max-band-count", "-5"}, 1, 4, 1.0f},
		{"band count trailing text ignored", {"-max-band-count", "12abc"}, 12, 4, 1.0f},
		{"band count binary", {"-max-band-count", "0b101"}, 5, 4, 1.0f},
		{"band count octal", {"-max-band-count", "0o17"}, 15, 4, 1.0f},
		{"band count spaced sign", {"-max-band-count", "+ 7"}, 7, 4, 1.0f},
		{"vertex count zero kept", {"-poly-vertex-count", "0"}, 32, 0, 1.0f},
		{"vertex count negative kept", {"-poly-vertex-count", "-3"}, 32, -3, 1.0f},
		{"vertex count character literal", {"-poly-vertex-count", "'A'"}, 32, 65, 1.0f},
		{"vertex count separators", {"-poly-vertex-count", "1_000"}, 32, 1000, 1.0f},
		{"edge factor negative floors at 0", {"-poly-edge-factor", "-1.5"}, 32, 4, 0.0f},
		{"edge factor plain", {"-poly-edge-factor", "2.5"}, 32, 4, 2.5f},
		{"edge factor raw NaN gives 0", {"-poly-edge-factor", "0x7FC00000"}, 32, 4, 0.0f},
		{"edge factor raw bits", {"-poly-edge-factor", "0x3F800000"}, 32, 4, 1.0f},
		{"edge factor short forms", {"-poly-edge-factor", ".5"}, 32, 4, 0.5f},
		{"edge factor infinity kept", {"-poly-edge-factor", "1e400"}, 32, 4, INFINITY},
		{"last value wins", {"-max-band-count", "4", "-max-band-count", "6"}, 6, 4, 1.0f},
	};

	for (const OptionRow& row : rows)
	{
		SCOPED_TRACE(row.text);
		VectorDocument document;
		ToolOptions options;
		std::vector<std::string> arguments = row.arguments;
		ASSERT_TRUE(ReadArguments(&arguments, &document, &options));
		EXPECT_EQ(document.maxBandCount, row.maxBandCount);
		EXPECT_EQ(document.polyVertexCount, row.polyVertexCount);
		EXPECT_EQ(document.polyEdgeFactor, row.polyEdgeFactor);
	}
}

TEST(ReadOptions, FlagsNamesAndOrder)
{
	VectorDocument document;
	ToolOptions options;
	std::vector<std::string> arguments = {"a.svg", "-o", "-g", "b.tess", "-no-compress", "-float", "-pict", "-font", "-g", "x.tess", "c.svg"};
	ASSERT_TRUE(ReadArguments(&arguments, &document, &options));
	// -o takes the next argument whatever it looks like.
	EXPECT_STREQ(options.albumName, "-g");
	EXPECT_STREQ(options.exchangeName, "x.tess");
	EXPECT_STREQ(options.inputName, "c.svg");
	EXPECT_TRUE(options.pictureFlag);
	EXPECT_TRUE(options.floatFlag);
	EXPECT_TRUE(options.fontFlag);
	EXPECT_FALSE(options.compressFlag);
}

TEST(IsSvgName, EndingDecides)
{
	const struct { const char* name; bool svg; } rows[] = {
		{"in.svg", true},
		{"in.SvG", true},
		{"a.SVG", true},
		{"dir/x.svg", true},
		{".svg", false},
		{"svg", false},
		{"in.svg.txt", false},
		{"in_svg", false},
		{"in.svgz", false},
		{"in.tess", false},
		{"", false},
	};

	for (const auto& row : rows)
	{
		SCOPED_TRACE(row.name);
		EXPECT_EQ(IsSvgName(row.name), row.svg);
	}
}

}
