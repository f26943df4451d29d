// AlbumLoad: reading an album file whole for the tools that look inside one.
#pragma once

#include "album/AlbumReader.h"

// Reads and checks the album at `path`. False when it cannot be used; its one
// "Error: ..." line has then been printed.
bool LoadAlbumFile(const char* path, AlbumContents* album);
