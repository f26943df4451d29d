// Tool: the command line, the two run modes and the loading of one input.
#pragma once

#include <cstdint>

class VectorDocument;

// What the command line sets besides the document's own settings.
struct ToolOptions
{
	const char* inputName = nullptr;
	const char* albumName = nullptr;
	const char* exchangeName = nullptr;
	bool pictureFlag = false;
	bool floatFlag = false;
	bool fontFlag = false;
	bool compressFlag = true;
};

// Applies the options of an argument vector that ends in a null entry. The
// numeric options write straight into `document`. False when a value was
// missing or unreadable; its message has been printed.
bool ReadOptions(int32_t argumentCount, char** arguments, VectorDocument* document, ToolOptions* options);

// Runs the whole program over an argument vector that ends in a null entry and
// returns the exit status. Messages go to standard output.
int32_t RunTool(int32_t argumentCount, char** arguments);

// The name alone picks the reader: more than 4 characters ending in ".svg",
// the three letters in any case.
bool IsSvgName(const char* path);

// Reads `path` into `document` by the reader its name selects. False means the
// input could not be used; its message has been printed.
bool LoadInput(const char* path, VectorDocument* document);
