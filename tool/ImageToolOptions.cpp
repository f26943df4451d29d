#include "tool/ImageToolOptions.h"

#include <cstring>

constexpr uint32_t kMaxSize = 16384;

bool ReadToolNumber(const char* text, uint32_t limit, uint32_t* value)
{
	uint64_t result = 0;
	if (*text == 0) return false;
	for (; *text != 0; text++)
	{
		if (*text < '0' || *text > '9') return false;
		result = result * 10 + uint64_t(*text - '0');
		if (result > limit) return false;
	}
	*value = uint32_t(result);
	return true;
}

ToolArgument ReadImageToolOption(int argc, char** argv, int* i, ImageToolOptions* options, const char** error)
{
	const char* argument = argv[*i];
	bool hasValue = (*i + 1 < argc);
	if (std::strcmp(argument, "-o") == 0)
	{
		if (!hasValue)
		{
			*error = "-o needs a file name.";
			return ToolArgument::kBad;
		}
		options->outputPath = argv[++*i];
		return ToolArgument::kTaken;
	}
	if (std::strcmp(argument, "--size") == 0)
	{
		if (!hasValue || !ReadToolNumber(argv[*i + 1], kMaxSize, &options->size) || options->size == 0)
		{
			*error = "--size needs a number from 1 to 16384.";
			return ToolArgument::kBad;
		}
		++*i;
		return ToolArgument::kTaken;
	}
	if (std::strcmp(argument, "--entry") == 0)
	{
		if (!hasValue || !ReadToolNumber(argv[*i + 1], 0xFFFFFFFFu, &options->entryIndex))
		{
			*error = "--entry needs an entry index.";
			return ToolArgument::kBad;
		}
		options->allEntries = false;
		++*i;
		return ToolArgument::kTaken;
	}
	return ToolArgument::kToolsOwn;
}

bool ReadImageToolOperand(const char* argument, ImageToolOptions* options, const char** error)
{
	if (argument[0] == '-' && argument[1] != 0)
	{
		*error = "Unknown option.";
		return false;
	}
	if (options->path != nullptr)
	{
		*error = "More than one album file given.";
		return false;
	}
	options->path = argument;
	return true;
}

bool CheckImageToolOptions(const ImageToolOptions& options, const char** error)
{
	if (!options.path) *error = "No album file given.";
	else if (!options.outputPath) *error = "No output file given.";
	else return true;
	return false;
}
