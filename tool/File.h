// File: the program's one way to files and directories, over the system's calls.
#pragma once

#include <cstdint>

// Result codes of file operations. They are small numbers, not four-character
// codes, because callers only test them against zero.
enum : uint32_t
{
	kFileOkay = 0,
	kFileOpenFailed = 1,
	kFileNotOpen = 2,
	kFileReadWriteFailed = 3,
	kFileAccessDenied = 5,
	kFileWriteProtected = 6,
	kFileDiskFull = 7,
	kFileDeleteFailed = 9
};

enum : int32_t
{
	kFileModeRead = 0,
	kFileModeReadWrite = 1,
	kFileModeCreate = 2
};

// The class keeps its own position and moves the system's file pointer to it
// before every read and write.
class File
{
	public:

		File();
		~File();

		File(const File&) = delete;
		File& operator=(const File&) = delete;

		uint32_t Open(const char* path, int32_t mode);
		void Close();

		uint32_t Read(void* buffer, uint32_t size);
		uint32_t Write(const void* buffer, uint32_t size);

		uint64_t GetSize() const;
		uint32_t SetSize(uint64_t size);

		// Origin 0 counts from the start, 1 from the current position, 2 back
		// from the end of the file.
		uint32_t SetPosition(int64_t offset, int32_t origin);
		uint64_t GetPosition() const { return position; }

		bool IsOpen() const { return openFlag; }

	private:

		int handle;
		bool openFlag;
		// A file opened to be made anew: `length` is the end of what was
		// written or set, and `staleLength` what the file held before,
		// which closing cuts back to `length`.
		bool createFlag;
		uint64_t position;
		uint64_t length;
		uint64_t staleLength;
};

uint32_t DeleteFile(const char* path);
