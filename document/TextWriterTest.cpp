#include "document/TextWriter.h"

#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

// Records every hand-over of the writer; `accept` is what the callback answers.
struct Capture { std::vector<std::string> calls; bool accept = true; };

static bool CaptureText(const void* data, uint32_t size, void* context)
{
	static_cast<Capture*>(context)->calls.emplace_back(static_cast<const char*>(data), size);
	return static_cast<Capture*>(context)->accept;
}

// What a fresh writer hands on, call by call, for `write`.
static std::vector<std::string> Calls(const std::function<void(TextWriter&)>& write)
{
	Capture capture;
	{
		TextWriter writer(CaptureText, &capture);
		write(writer);
	}

	return capture.calls;
}

TEST(TextWriter, BufferHandsOnAtTheLimit)
{
	// Append k is a run of letter 'a' + k, so each call shows the order of the hand-overs.
	struct Row { const char* text; std::vector<uint32_t> appends; std::vector<std::string> calls; };

	auto run = [](char letter, uint32_t length) { return std::string(length, letter); };
	const Row rows[] =
	{
		{"nothing written, nothing handed on", {0}, {}},
		{"one below the limit stays until the end", {65534, 1}, {run('a', 65534) + "b"}},
		{"65535 and one more flushes first", {65535, 1}, {run('a', 65535), "b"}},
		{"a full-size run goes straight through", {65536}, {run('a', 65536)}},
		{"a full-size run overtakes the buffer", {10, 65536, 5}, {run('b', 65536), run('a', 10) + run('c', 5)}},
	};

	for (const Row& row : rows)
	{
		char letter = 'a';
		EXPECT_EQ(Calls([&](TextWriter& writer) { for (uint32_t length : row.appends) writer.Append(run(letter++, length).data(), length); }), row.calls) << row.text;
	}
}

TEST(TextWriter, RefusedOrUnwantedTextIsDropped)
{
	Capture capture;
	{
		TextWriter writer(CaptureText, &capture);
		writer.Append(std::string(65535, 'a').data(), 65535);

		// The flush is refused: the buffered text and the text that caused it are lost.
		capture.accept = false;
		writer.Append("b", 1);
		EXPECT_EQ(writer.count, 0u);
		capture.accept = true;
		writer.Append("cd", 2);
	}

	EXPECT_EQ(capture.calls, std::vector<std::string>({std::string(65535, 'a'), "cd"}));

	// Handing on to nobody counts as a refusal too.
	// A full-size run, a buffer one short of the limit, one byte whose flush is refused, one kept.
	TextWriter writer(nullptr, nullptr);
	std::string large(70000, 'x');
	for (uint32_t length : {70000u, 65535u, 1u, 1u}) writer.Append(large.data(), length);
	EXPECT_EQ(writer.count, 1u);
}

TEST(TextWriter, IndentsCodesAndNumbers)
{
	// Each row writes through a fresh writer, and the text handed on is compared.
	const std::pair<std::function<void(TextWriter&)>, std::string> rows[] =
	{
		{[](TextWriter& writer) { writer.indent = 16; writer.WriteIndented("x", 0, false); }, std::string(16, '\t') + "x"},
		{[](TextWriter& writer) { writer.indent = 15; writer.WriteIndented("x", 2, true); }, "\n" + std::string(17, '\t') + "x"},
		{[](TextWriter& writer) { writer.indent = 20; writer.WriteIndented("x", 13, false); }, std::string(33, '\t') + "x"},
		{[](TextWriter& writer) { writer.indent = 2; writer.WriteIndented("x", -5, true); }, "\nx"},
		{[](TextWriter& writer) { writer.indent = std::numeric_limits<int32_t>::min(); writer.WriteIndented("x", -1, false); }, "x"},
		// Codes of printable characters are quoted; any other byte writes the number.
		{[](TextWriter& writer) { writer.WriteCode('ccmp'); }, "'ccmp'"},
		{[](TextWriter& writer) { writer.WriteCode(0x20202020); }, "'    '"},
		{[](TextWriter& writer) { writer.WriteCode(0x7E7E7E7E); }, "'~~~~'"},
		{[](TextWriter& writer) { writer.WriteCode(0x1F414243); }, "524370499"},
		{[](TextWriter& writer) { writer.WriteCode(0x4142437F); }, "1094861695"},
		{[](TextWriter& writer) { writer.WriteCode(0xFFFFFFFF); }, "4294967295"},
		// The whole text of each number; the written files show the plain and scientific forms.
		{[](TextWriter& writer) { writer.AppendFloat(-0.0f); }, "0.0"},
		{[](TextWriter& writer) { writer.AppendFloat(-std::numeric_limits<float>::infinity()); }, "-INF"},
		{[](TextWriter& writer) { writer.AppendFloat(std::numeric_limits<float>::quiet_NaN()); }, "NAN"},
	};

	// Short text reaches the callback once, when the writer ends.
	for (size_t i = 0; i < sizeof(rows) / sizeof(rows[0]); i++) EXPECT_EQ(Calls(rows[i].first), std::vector<std::string>({rows[i].second})) << "row " << i;
}
