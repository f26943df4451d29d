#include "tool/Directory.h"

#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include "support/String.h"

static int CompareEntries(const void* a, const void* b)
{
	const char* nameA = static_cast<const DirectoryEntry*>(a)->name;
	const char* nameB = static_cast<const DirectoryEntry*>(b)->name;
	if (TextLess(nameA, nameB)) return -1;
	if (TextLess(nameB, nameA)) return 1;
	return 0;
}

int32_t ListDirectory(const char* directory, DirectoryList* list)
{
	DIR* stream = opendir(directory);
	if (!stream) return 0;

	int32_t first = list->GetCount();
	int descriptor = dirfd(stream);
	for (;;)
	{
		const dirent* item = readdir(stream);
		if (!item) break;

		// Symbolic links count by what they lead to.
		struct stat status;
		if (fstatat(descriptor, item->d_name, &status, 0) != 0) continue;
		if (!S_ISREG(status.st_mode)) continue;

		DirectoryEntry& entry = list->AddNew();
		CopyText(item->d_name, entry.name, 127);
	}
	closedir(stream);

	// The system's order differs between filesystems; byte order makes a
	// directory run give the same document everywhere.
	int32_t count = list->GetCount() - first;
	if (count > 1) qsort(list->GetData() + first, size_t(count), sizeof(DirectoryEntry), CompareEntries);
	return count;
}
