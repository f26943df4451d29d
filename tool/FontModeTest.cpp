#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "document/VectorDocument.h"
#include "support/TestSupport.h"
#include "tool/Tool.h"

static const std::string kHeader = "// Tessary -- Tessary Vector Interchange Format -- docs/tessary.md\n\n";

// A fresh directory for one test, removed with its content.
class FontScratch
{
	public:

		FontScratch()
		{
			char pattern[] = "/tmp/vorp-font-XXXXXX";
			const char* made = mkdtemp(pattern);
			directory = made ? made : "";
		}

		~FontScratch()
		{
			if (!directory.empty())
			{
				EXPECT_EQ(std::system(("rm -rf '" + directory + "'").c_str()), 0);
			}
		}

		std::string Path(const std::string& name) const { return directory + "/" + name; }

		void Write(const std::string& name, const std::string& content) const
		{
			FILE* file = std::fopen(Path(name).c_str(), "wb");
			ASSERT_NE(file, nullptr);
			std::fwrite(content.data(), 1, content.size(), file);
			std::fclose(file);
		}

		std::string Read(const std::string& name) const
		{
			std::string content;
			FILE* file = std::fopen(Path(name).c_str(), "rb");
			if (!file) return content;
			char buffer[4096];
			size_t count;
			while ((count = std::fread(buffer, 1, sizeof(buffer), file)) > 0) content.append(buffer, count);
			std::fclose(file);
			return content;
		}

		std::string directory;
};

struct ToolRun
{
	int32_t status;
	std::string output;
};

// Runs the tool in this process and collects what it prints.
static ToolRun RunFontMode(const std::vector<std::string>& arguments)
{
	std::vector<std::string> copies = arguments;
	std::vector<char*> argv = {const_cast<char*>("vorp")};
	for (std::string& argument : copies) argv.push_back(argument.data());
	argv.push_back(nullptr);

	testing::internal::CaptureStdout();
	int32_t status = RunTool(int32_t(argv.size() - 1), argv.data());
	return ToolRun{status, testing::internal::GetCapturedStdout()};
}

static std::string Svg(const std::string& body)
{
	return "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 32 32\">" + body + "</svg>";
}

TEST(FontMode, DirectoryBecomesOneFontThatReadsBack)
{
	FontScratch scratch;
	std::string folder = scratch.Path("emoji");
	ASSERT_EQ(mkdir(folder.c_str(), 0755), 0);
	ASSERT_EQ(mkdir((folder + "/sub").c_str(), 0755), 0);
	scratch.Write("emoji/41.svg", Svg("<rect width=\"16\" height=\"8\" fill=\"#ff0000\"/><circle cx=\"16\" cy=\"16\" r=\"4\"/>"));
	scratch.Write("emoji/0041-0301.svg", Svg("<path d=\"M0 0L8 0L8 8z\" fill=\"#00f\"/>"));
	scratch.Write("emoji/1F600.svg", Svg("<circle cx=\"16\" cy=\"16\" r=\"4\" fill=\"#0f0\"/>"));
	scratch.Write("emoji/1f600.svg", Svg("<circle cx=\"16\" cy=\"16\" r=\"4\" fill=\"#ff0\"/>"));
	scratch.Write("emoji/42.svg", "<svg></svg>");
	scratch.Write("emoji/43.tess", "Group {");
	scratch.Write("emoji/readme.txt", "Drawings by code point.");

	ToolRun run = RunFontMode({"-font", folder, "-g", scratch.Path("font.tess"), "-o", scratch.Path("unused.vorp")});
	EXPECT_EQ(run.status, 0);
	// Messages come in the byte order of the names, and nothing stops the run.
	EXPECT_EQ(run.output, "Error: Invalid SVG input file:\n" + folder + "/42.svg\nError: Invalid Tessary input file:\n" + folder +
		"/43.tess\nError: Invalid Tessary input file:\n" + folder + "/readme.txt\n");

	std::string text = scratch.Read("font.tess");
	for (const char* part : {"Font (glyph_count = 10)\n", "\tGlyph (index = 1)\t\t// <1>\n", "\tGlyph (index = 3)\t\t// U+1F600\n", "\tGlyph (index = 4)\t\t// U+0041\n",
		"\tGlyph (index = 6)\t\t// U+0043\n", "\tGlyph (index = 8)\t\t// {U+0041 # U+0301}.ccmp\n", "Transform {float[6] {{0.03125, 0.0, 0.0, -0.03125, 0.0, 0.875}}}",
		"\tCharMap (char = 0x0041) {uint16 {4}}\n\tCharMap (char = 0x0043) {uint16 {6}}\n\tCharMap (char = 0x0301) {uint16 {7}}\n\tCharMap (char = 0x1F600) {uint16 {3}}\n"})
	{
		EXPECT_NE(text.find(part), std::string::npos) << part << "\n" << text;
	}

	// -o is not consulted in this mode.
	struct stat status;
	EXPECT_NE(stat(scratch.Path("unused.vorp").c_str(), &status), 0);

	// The written font loads without a fault and writes the same text again.
	ToolRun again = RunFontMode({scratch.Path("font.tess"), "-g", scratch.Path("again.tess")});
	EXPECT_EQ(again.status, 0);
	EXPECT_EQ(again.output, "");
	EXPECT_EQ(scratch.Read("again.tess"), text);
}

TEST(FontMode, EmptyDirectoryAndUnwritableOutput)
{
	FontScratch scratch;
	ToolRun run = RunFontMode({"-font", scratch.directory, "-g", scratch.Path("font.tess")});
	EXPECT_EQ(run.status, 0);
	EXPECT_EQ(run.output, "");
	EXPECT_EQ(scratch.Read("font.tess"), kHeader + "Font (glyph_count = 1)\n{\n\tGlyph (index = 0)\t\t// <0>\n\t{\n\t}\n}\n");

	ToolRun failed = RunFontMode({"-font", scratch.directory, "-g", scratch.Path("missing/font.tess")});
	EXPECT_EQ(failed.status, 1);
	EXPECT_EQ(failed.output, "Error: Cannot create Tessary output file.\n");
}
