// The command line that the tools drawing an album to a PNG share
// (vorp-render, vorp-view): the album, -o, --size and --entry.
#pragma once

#include <cstdint>

struct ImageToolOptions
{
	const char* path = nullptr;
	const char* outputPath = nullptr;
	uint32_t size = 256;
	bool allEntries = true;
	uint32_t entryIndex = 0;
};

// Reads a decimal number up to `limit`; false on anything else.
bool ReadToolNumber(const char* text, uint32_t limit, uint32_t* value);

enum class ToolArgument
{
	kTaken,
	kToolsOwn,
	kBad
};

// Takes argv[*i] when it is -o, --size or --entry, moving *i past its value;
// kToolsOwn leaves any other argument to the tool, which passes what it does
// not know to ReadImageToolOperand. On kBad, `*error` says what is wrong.
ToolArgument ReadImageToolOption(int argc, char** argv, int* i, ImageToolOptions* options, const char** error);

// The album's name, or an unknown option, or a second name: false with
// `*error` set for the last two.
bool ReadImageToolOperand(const char* argument, ImageToolOptions* options, const char** error);

// After the last argument: false with `*error` set when the album or the
// output was not named.
bool CheckImageToolOptions(const ImageToolOptions& options, const char** error);
