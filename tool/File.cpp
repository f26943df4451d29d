#include "tool/File.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

static uint32_t ErrorCode(int error, uint32_t otherwise)
{
	switch (error)
	{
		case EACCES:
		case EPERM:
			return kFileAccessDenied;
		case EROFS:
			return kFileWriteProtected;
		case ENOSPC:
		case EDQUOT:
			return kFileDiskFull;
		default:
			return otherwise;
	}
}

File::File() : handle(-1), openFlag(false), createFlag(false), position(0), length(0), staleLength(0)
{
}

File::~File()
{
	Close();
}

uint32_t File::Open(const char* path, int32_t mode)
{
	if (openFlag) return kFileOpenFailed;

	int flags;
	if (mode == kFileModeRead) flags = O_RDONLY;
	else if (mode == kFileModeReadWrite) flags = O_RDWR;
	// A file made anew is not truncated on opening but cut to what was
	// written when it is closed (see Close): truncating a file to nothing
	// makes some file systems free and discard its blocks at once and force
	// the new data out on closing, which costs a rebuild that writes over
	// its old outputs more than compiling an icon does.
	else if (mode == kFileModeCreate) flags = O_RDWR | O_CREAT;
	else return kFileOpenFailed;

	// No lock is taken, so other processes may read the file meanwhile.
	int descriptor = open(path, flags | O_CLOEXEC, 0666);
	if (descriptor < 0) return ErrorCode(errno, kFileOpenFailed);

	// A directory opens for reading on this system but is not a file.
	struct stat status;
	if (fstat(descriptor, &status) != 0 || S_ISDIR(status.st_mode))
	{
		close(descriptor);
		return kFileOpenFailed;
	}

	handle = descriptor;
	openFlag = true;
	position = 0;
	// Until it is closed a new file reads as holding only what was written.
	createFlag = (mode == kFileModeCreate) && S_ISREG(status.st_mode);
	length = 0;
	staleLength = createFlag ? uint64_t(status.st_size) : 0;
	return kFileOkay;
}

void File::Close()
{
	if (openFlag)
	{
		if (createFlag && staleLength > length) (void)ftruncate(handle, off_t(length));
		close(handle);
		handle = -1;
		openFlag = false;
	}
}

uint32_t File::Read(void* buffer, uint32_t size)
{
	if (!openFlag) return kFileNotOpen;

	// What lies past the end of a new file's writing is not its own.
	uint32_t wanted = size;
	if (createFlag) size = (position >= length) ? 0 : uint32_t((length - position < size) ? length - position : size);

	char* bytes = static_cast<char*>(buffer);
	uint32_t done = 0;
	while (done < size)
	{
		ssize_t count = pread(handle, bytes + done, size - done, off_t(position));
		if (count < 0)
		{
			if (errno == EINTR) continue;
			return ErrorCode(errno, kFileReadWriteFailed);
		}
		if (count == 0) return kFileReadWriteFailed;
		done += uint32_t(count);
		position += uint64_t(count);
	}

	return (done == wanted) ? kFileOkay : kFileReadWriteFailed;
}

uint32_t File::Write(const void* buffer, uint32_t size)
{
	if (!openFlag) return kFileNotOpen;

	const char* bytes = static_cast<const char*>(buffer);
	uint32_t done = 0;
	while (done < size)
	{
		ssize_t count = pwrite(handle, bytes + done, size - done, off_t(position));
		if (count < 0)
		{
			if (errno == EINTR) continue;
			return ErrorCode(errno, kFileReadWriteFailed);
		}
		if (count == 0) return kFileReadWriteFailed;
		done += uint32_t(count);
		position += uint64_t(count);
		if (position > length) length = position;
	}

	return kFileOkay;
}

uint64_t File::GetSize() const
{
	if (!openFlag) return 0;
	if (createFlag) return length;

	struct stat status;
	if (fstat(handle, &status) != 0 || status.st_size < 0) return 0;
	return uint64_t(status.st_size);
}

uint32_t File::SetSize(uint64_t size)
{
	if (!openFlag) return kFileNotOpen;
	if (size > uint64_t(INT64_MAX)) return kFileReadWriteFailed;
	if (ftruncate(handle, off_t(size)) != 0) return ErrorCode(errno, kFileReadWriteFailed);
	length = size;
	if (staleLength > size) staleLength = size;
	return kFileOkay;
}

uint32_t File::SetPosition(int64_t offset, int32_t origin)
{
	if (!openFlag) return kFileNotOpen;

	int64_t base = 0;
	if (origin == 1) base = int64_t(position);
	else if (origin == 2)
	{
		// Counted back from the end of the file.
		base = int64_t(GetSize());
		if (offset == INT64_MIN) return kFileReadWriteFailed;
		offset = -offset;
	}

	int64_t target = 0;
	if (__builtin_add_overflow(base, offset, &target) || target < 0) return kFileReadWriteFailed;
	position = uint64_t(target);
	return kFileOkay;
}

uint32_t DeleteFile(const char* path)
{
	return (unlink(path) == 0) ? kFileOkay : kFileDeleteFailed;
}
