#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host/HostTestSupport.h"

namespace {

struct ViewRun
{
	int status;
	std::string output;
};

// Runs vorp-view with `arguments` (already quoted where needed).
ViewRun RunView(const std::string& arguments)
{
	std::string command = std::string("'") + VORP_VIEW_EXECUTABLE + "' " + arguments;
	ViewRun run{-1, ""};
	FILE* pipe = popen(command.c_str(), "r");
	if (!pipe) return run;
	char buffer[256];
	size_t count;
	while ((count = std::fread(buffer, 1, sizeof(buffer), pipe)) > 0) run.output.append(buffer, count);
	int status = pclose(pipe);
	run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
	return run;
}

bool Exists(const std::string& path)
{
	struct stat status;
	return stat(path.c_str(), &status) == 0;
}

}  // namespace

TEST(VorpView, DrawsAnAlbumOrGivesOneErrorLine)
{
	char pattern[] = "/tmp/vorp-view-XXXXXX";
	ASSERT_NE(mkdtemp(pattern), nullptr);
	std::string directory = pattern;
	IconAlbumBuilder builder;
	builder.Single(HostSquare());
	builder.Single(HostBlob());
	Bytes bytes = builder.Write(true);
	std::string album = directory + "/icons.album";
	std::string truncated = directory + "/truncated.album";
	std::string picture = directory + "/out.png";
	FILE* file = std::fopen(album.c_str(), "wb");
	ASSERT_NE(file, nullptr);
	std::fwrite(bytes.data(), 1, bytes.size(), file);
	std::fclose(file);
	file = std::fopen(truncated.c_str(), "wb");
	ASSERT_NE(file, nullptr);
	std::fwrite(bytes.data(), 1, bytes.size() / 2, file);
	std::fclose(file);

	struct Row
	{
		const char* text;
		std::string arguments;
		const char* output;
	} rows[] = {
		{"no album", "-o " + picture, "Error: No album file given.\n"},
		{"no output", album, "Error: No output file given.\n"},
		{"a truncated album", truncated + " -o " + picture, "Error: Invalid album: The album is truncated.\n"},
		{"an entry past the end", album + " -o " + picture + " --entry 2", "Error: No such entry.\n"},
		{"a picture of an icon album", album + " -o " + picture + " --picture 0", "Error: No such picture.\n"},
		{"a size of 0", album + " -o " + picture + " --size 0", "Error: --size needs a number from 1 to 16384.\n"},
		{"an unknown option", album + " -o " + picture + " --bold", "Error: Unknown option.\n"},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		ViewRun run = RunView(row.arguments);
		EXPECT_EQ(run.status, 1);
		EXPECT_EQ(run.output, row.output);
		EXPECT_FALSE(Exists(picture));
	}

	ViewRun run = RunView(album + " -o " + picture + " --size 24");
	if (run.output.find("EGL") != std::string::npos || run.output.find("OpenGL") != std::string::npos)
	{
		EXPECT_EQ(run.status, 1);
		std::remove(album.c_str());
		std::remove(truncated.c_str());
		rmdir(directory.c_str());
		GTEST_SKIP() << run.output;
	}
	EXPECT_EQ(run.status, 0) << run.output;
	EXPECT_EQ(run.output, "");
	// Two cells of 24 pixels side by side: the PNG header's width and height.
	file = std::fopen(picture.c_str(), "rb");
	ASSERT_NE(file, nullptr);
	unsigned char header[24] = {};
	EXPECT_EQ(std::fread(header, 1, 24, file), 24u);
	std::fclose(file);
	EXPECT_EQ(header[19], 48);
	EXPECT_EQ(header[23], 24);
	std::remove(picture.c_str());
	std::remove(album.c_str());
	std::remove(truncated.c_str());
	rmdir(directory.c_str());
}
