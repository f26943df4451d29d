// Directory: the plain files of a directory, listed in a fixed order.
#pragma once

#include <cstdint>

#include "support/Array.h"

struct DirectoryEntry
{
	char name[128];
};

// Owns its entries.
typedef Array<DirectoryEntry, 0> DirectoryList;

// Appends the regular files of `directory` to `list`, sorted by name in byte
// order, and returns the count. Subdirectories and other kinds of entry are
// skipped; a directory that cannot be opened gives 0 and no message.
int32_t ListDirectory(const char* directory, DirectoryList* list);
