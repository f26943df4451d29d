// FontAssembly: one colour font built from a directory of drawings named by their code points.
#pragma once

#include <cstdint>

#include "tool/Directory.h"

class VectorDocument;

// Reads one value of a file name at `*cursor`: hexadecimal digits of either
// case up to the first other byte, where the cursor is left. False when there
// is no digit, or the value is 0 or lies past U+10FFFF.
bool ReadNameValue(const char** cursor, uint32_t* code);

// Builds a Font under the root of `outputDocument` with one layered glyph per
// loaded drawing, named by its entry of `list`: a code point, or a sequence of
// them joined by '-', which becomes a 'ccmp' rule on the glyph of its first
// code. `documents` holds one drawing per entry, null where loading failed;
// their shapes move into the font. Then processes the output document.
// Reports nothing: entries that name no code point are passed over.
void AssembleFont(const DirectoryList& list, VectorDocument* const* documents, VectorDocument* outputDocument);
