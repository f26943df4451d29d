#include "tool/ImageToolOptions.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// Runs the arguments through the reader as the drawing tools do, with one
// option of the tool's own (--own) that takes no value.
std::string Read(std::vector<std::string> arguments, ImageToolOptions* options)
{
	arguments.insert(arguments.begin(), "tool");
	std::vector<char*> argv;
	for (std::string& argument : arguments) argv.push_back(argument.data());
	int argc = int(argv.size());
	const char* error = nullptr;
	for (int i = 1; i < argc; i++)
	{
		ToolArgument taken = ReadImageToolOption(argc, argv.data(), &i, options, &error);
		if (taken == ToolArgument::kBad) return error;
		if (taken == ToolArgument::kTaken) continue;
		if (arguments[size_t(i)] == "--own") continue;
		if (!ReadImageToolOperand(argv[size_t(i)], options, &error)) return error;
	}
	if (!CheckImageToolOptions(*options, &error)) return error;
	return "";
}

TEST(ImageToolOptions, ValuesLimitsAndErrors)
{
	const struct { std::vector<std::string> arguments; const char* error; uint32_t size; bool allEntries; uint32_t entry; } rows[] = {
		{{"a.vorp", "-o", "a.png"}, "", 256, true, 0},
		{{"-o", "a.png", "--own", "--size", "1", "a.vorp"}, "", 1, true, 0},
		{{"a.vorp", "-o", "a.png", "--size", "16384", "--entry", "4294967295"}, "", 16384, false, 4294967295u},
		{{"-", "-o", "-"}, "", 256, true, 0},
		{{"a.vorp", "-o", "a.png", "--size", "16385"}, "--size needs a number from 1 to 16384.", 0, true, 0},
		{{"a.vorp", "-o", "a.png", "--size", "0"}, "--size needs a number from 1 to 16384.", 0, true, 0},
		{{"a.vorp", "-o", "a.png", "--size", ""}, "--size needs a number from 1 to 16384.", 0, true, 0},
		{{"a.vorp", "-o", "a.png", "--size", "12a"}, "--size needs a number from 1 to 16384.", 0, true, 0},
		{{"a.vorp", "-o", "a.png", "--size"}, "--size needs a number from 1 to 16384.", 0, true, 0},
		{{"a.vorp", "-o", "a.png", "--entry", "4294967296"}, "--entry needs an entry index.", 0, true, 0},
		{{"a.vorp", "-o", "a.png", "--entry", "-1"}, "--entry needs an entry index.", 0, true, 0},
		{{"a.vorp", "-o"}, "-o needs a file name.", 0, true, 0},
		{{"a.vorp", "-o", "a.png", "--bold"}, "Unknown option.", 0, true, 0},
		{{"a.vorp", "b.vorp", "-o", "a.png"}, "More than one album file given.", 0, true, 0},
		{{"-o", "a.png"}, "No album file given.", 0, true, 0},
		{{"a.vorp"}, "No output file given.", 0, true, 0},
		{{}, "No album file given.", 0, true, 0},
	};
	for (const auto& row : rows)
	{
		std::string line;
		for (const std::string& argument : row.arguments) line += "[" + argument + "]";
		SCOPED_TRACE(line);
		ImageToolOptions options;
		EXPECT_EQ(Read(row.arguments, &options), row.error);
		if (*row.error != 0) continue;
		EXPECT_EQ(options.size, row.size);
		EXPECT_EQ(options.allEntries, row.allEntries);
		EXPECT_EQ(options.entryIndex, row.entry);
	}
}

}  // namespace
