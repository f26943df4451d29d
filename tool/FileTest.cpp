#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "tool/Directory.h"
#include "tool/File.h"

namespace {

std::string ScratchDirectory()
{
	char pattern[] = "/tmp/vorp-file-XXXXXX";
	const char* made = mkdtemp(pattern);
	return made ? made : "";
}

TEST(File, PositionsReadsWritesAndSizes)
{
	std::string directory = ScratchDirectory();
	ASSERT_FALSE(directory.empty());
	std::string path = directory + "/data.bin";

	File file;
	char buffer[8] = {};
	EXPECT_EQ(file.Read(buffer, 1), uint32_t(kFileNotOpen));
	EXPECT_EQ(file.GetSize(), 0u);
	EXPECT_EQ(file.Open(path.c_str(), kFileModeRead), uint32_t(kFileOpenFailed));
	ASSERT_EQ(file.Open(path.c_str(), kFileModeCreate), uint32_t(kFileOkay));
	EXPECT_EQ(file.Open(path.c_str(), kFileModeCreate), uint32_t(kFileOpenFailed));
	EXPECT_EQ(file.Write("abcdef", 6), uint32_t(kFileOkay));
	EXPECT_EQ(file.GetSize(), 6u);

	// Origin 2 counts back from the end; a position before the start or
	// past the 64-bit range is refused and leaves the position alone.
	const struct { int64_t offset; int32_t origin; uint32_t result; uint64_t position; } rows[] = {
		{2, 2, kFileOkay, 4}, {-1, 1, kFileOkay, 3}, {7, 2, kFileReadWriteFailed, 3},
		{INT64_MIN, 2, kFileReadWriteFailed, 3}, {INT64_MAX, 1, kFileReadWriteFailed, 3}, {1, 0, kFileOkay, 1},
	};
	for (const auto& row : rows)
	{
		SCOPED_TRACE(std::to_string(row.offset) + " from " + std::to_string(row.origin));
		EXPECT_EQ(file.SetPosition(row.offset, row.origin), row.result);
		EXPECT_EQ(file.GetPosition(), row.position);
	}

	EXPECT_EQ(file.Read(buffer, 3), uint32_t(kFileOkay));
	EXPECT_EQ(std::string(buffer, 3), "bcd");
	// A read past the end fails rather than returning less.
	EXPECT_EQ(file.Read(buffer, 3), uint32_t(kFileReadWriteFailed));
	EXPECT_EQ(file.SetSize(2), uint32_t(kFileOkay));
	EXPECT_EQ(file.GetSize(), 2u);
	file.Close();
	file.Close();

	EXPECT_EQ(DeleteFile(path.c_str()), uint32_t(kFileOkay));
	EXPECT_EQ(DeleteFile(path.c_str()), uint32_t(kFileDeleteFailed));
	EXPECT_EQ(rmdir(directory.c_str()), 0);
}

// A file made anew over an older one holds only what was written, both
// while it is open and after it is closed, whether the new content is
// shorter than the old, as long, longer, or nothing.
TEST(File, CreatingOverAnOlderFileLeavesOnlyTheNewContent)
{
	std::string directory = ScratchDirectory();
	ASSERT_FALSE(directory.empty());
	std::string path = directory + "/album.vorp";
	const std::string older = "0123456789";
	for (const std::string written : {"", "abc", "abcdefghij", "abcdefghijklmnop"})
	{
		SCOPED_TRACE("\"" + written + "\"");
		File file;
		ASSERT_EQ(file.Open(path.c_str(), kFileModeCreate), uint32_t(kFileOkay));
		ASSERT_EQ(file.Write(older.data(), uint32_t(older.size())), uint32_t(kFileOkay));
		file.Close();

		ASSERT_EQ(file.Open(path.c_str(), kFileModeCreate), uint32_t(kFileOkay));
		EXPECT_EQ(file.GetSize(), 0u);
		ASSERT_EQ(file.Write(written.data(), uint32_t(written.size())), uint32_t(kFileOkay));
		EXPECT_EQ(file.GetSize(), written.size());
		// The older bytes past the new end read as absent, from anywhere.
		char buffer[32] = {};
		ASSERT_EQ(file.SetPosition(0, 0), uint32_t(kFileOkay));
		EXPECT_EQ(file.Read(buffer, uint32_t(written.size() + 1)), uint32_t(kFileReadWriteFailed));
		ASSERT_EQ(file.SetPosition(0, 2), uint32_t(kFileOkay));
		EXPECT_EQ(file.GetPosition(), written.size());
		EXPECT_EQ(file.Read(buffer, 1), uint32_t(kFileReadWriteFailed));
		file.Close();

		ASSERT_EQ(file.Open(path.c_str(), kFileModeRead), uint32_t(kFileOkay));
		ASSERT_EQ(file.GetSize(), written.size());
		if (!written.empty())
		{
			ASSERT_EQ(file.Read(buffer, uint32_t(written.size())), uint32_t(kFileOkay));
			EXPECT_EQ(std::string(buffer, written.size()), written);
		}
		file.Close();
	}
	EXPECT_EQ(DeleteFile(path.c_str()), uint32_t(kFileOkay));
	EXPECT_EQ(rmdir(directory.c_str()), 0);
}

TEST(ListDirectory, RegularFilesInByteOrder)
{
	std::string directory = ScratchDirectory();
	ASSERT_FALSE(directory.empty());
	const char* names[] = {"b", "a-1", "A", "\xC3\xA9", "a"};
	for (const char* name : names)
	{
		File file;
		ASSERT_EQ(file.Open((directory + "/" + name).c_str(), kFileModeCreate), uint32_t(kFileOkay));
	}
	ASSERT_EQ(mkdir((directory + "/sub").c_str(), 0755), 0);

	DirectoryList list;
	ASSERT_EQ(ListDirectory(directory.c_str(), &list), 5);
	// Upper case before lower case, and bytes above 127 last.
	const char* expected[] = {"A", "a", "a-1", "b", "\xC3\xA9"};
	for (int32_t i = 0; i < 5; i++) EXPECT_STREQ(list[i].name, expected[i]);

	DirectoryList none;
	EXPECT_EQ(ListDirectory((directory + "/absent").c_str(), &none), 0);
	std::string command = "rm -rf '" + directory + "'";
	EXPECT_EQ(std::system(command.c_str()), 0);
}

}
