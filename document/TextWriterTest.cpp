#include "document/TextWriter.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

// Records every hand-over of the writer; `accept` is what the callback answers.
struct Capture
{
	std::vector<std::string> calls;
	bool accept = true;

	std::string All() const
	{
		std::string text;
		for (const std::string& call : calls) text += call;
		return text;
	}
};

static bool CaptureText(const void* data, uint32_t size, void* context)
{
	Capture* capture = static_cast<Capture*>(context);
	capture->calls.emplace_back(static_cast<const char*>(data), size);
	return capture->accept;
}

// Text written by `write` through a fresh writer, destructor included.
template <typename F>
static std::string Written(F write)
{
	Capture capture;
	{
		TextWriter writer(CaptureText, &capture);
		write(writer);
	}

	return capture.All();
}

TEST(TextWriter, BufferHandsOnAtTheLimit)
{
	// Each append is a run of one letter, so the order of the hand-overs shows
	// in the letters of each call.
	struct Row
	{
		const char* text;
		std::vector<uint32_t> appends;
		std::vector<std::string> calls;
	};

	auto runs = [](std::initializer_list<std::pair<char, uint32_t>> parts)
	{
		std::string text;
		for (const auto& part : parts) text.append(part.second, part.first);
		return text;
	};

	const Row rows[] =
	{
		{"nothing written, nothing handed on", {}, {}},
		{"an empty append is nothing", {0}, {}},
		{"one below the limit stays until the end", {65534, 1}, {runs({{'a', 65534}, {'b', 1}})}},
		{"65535 and one more flushes first", {65535, 1}, {runs({{'a', 65535}}), runs({{'b', 1}})}},
		{"reaching the limit exactly flushes", {10, 65526}, {runs({{'a', 10}}), runs({{'b', 65526}})}},
		{"a full-size run goes straight through", {65536}, {runs({{'a', 65536}})}},
		{"a full-size run overtakes the buffer", {10, 65536, 5}, {runs({{'b', 65536}}), runs({{'a', 10}, {'c', 5}})}},
		{"a larger run too", {3, 70000}, {runs({{'b', 70000}}), runs({{'a', 3}})}},
		{"two flushes", {40000, 40000, 40000}, {runs({{'a', 40000}}), runs({{'b', 40000}}), runs({{'c', 40000}})}},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		Capture capture;
		{
			TextWriter writer(CaptureText, &capture);
			char letter = 'a';
			for (uint32_t length : row.appends)
			{
				std::string text(length, letter);
				writer.Append(text.data(), length);
				letter++;
			}
		}

		EXPECT_EQ(capture.calls, row.calls);
	}
}

TEST(TextWriter, RefusedTextIsDropped)
{
	Capture capture;
	{
		TextWriter writer(CaptureText, &capture);
		std::string full(65535, 'a');
		writer.Append(full.data(), 65535);

		// The flush is refused: the buffered text and the text that caused it are lost.
		capture.accept = false;
		writer.Append("b", 1);
		EXPECT_EQ(writer.count, 0u);

		capture.accept = true;
		writer.Append("cd", 2);
	}

	ASSERT_EQ(capture.calls.size(), 2u);
	EXPECT_EQ(capture.calls[0], std::string(65535, 'a'));
	EXPECT_EQ(capture.calls[1], "cd");
}

TEST(TextWriter, NoCallbackDiscardsEverything)
{
	TextWriter writer(nullptr, nullptr);
	std::string large(70000, 'x');
	writer.Append(large.data(), 70000);
	writer.Append(large.data(), 65535);
	EXPECT_EQ(writer.count, 65535u);

	// Handing on to nobody counts as a refusal: "y" goes with the buffer.
	writer.Append("y", 1);
	EXPECT_EQ(writer.count, 0u);
	writer.Append("z", 1);
	EXPECT_EQ(writer.count, 1u);
}

TEST(TextWriter, WriteIndentedTabs)
{
	struct Row
	{
		int32_t indent;
		int32_t extraIndent;
		bool newlineFirst;
		std::string expected;
	};

	const Row rows[] =
	{
		{0, 0, false, "x"},
		{0, 0, true, "\nx"},
		{2, 1, false, "\t\t\tx"},
		{16, 0, false, std::string(16, '\t') + "x"},
		{16, 1, false, std::string(17, '\t') + "x"},
		{17, 0, true, "\n" + std::string(17, '\t') + "x"},
		{20, 13, false, std::string(33, '\t') + "x"},
		{0, -3, false, "x"},
		{2, -5, true, "\nx"},
		{std::numeric_limits<int32_t>::min(), -1, false, "x"},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(testing::Message() << row.indent << " + " << row.extraIndent);
		std::string text = Written([&](TextWriter& writer)
		{
			writer.indent = row.indent;
			writer.WriteIndented("x", row.extraIndent, row.newlineFirst);
		});

		EXPECT_EQ(text, row.expected);
	}
}

TEST(TextWriter, WriteCodeForms)
{
	struct Row
	{
		uint32_t code;
		const char* expected;
	};

	const Row rows[] =
	{
		{'SYNT', "'SYNT'"},
		{'ccmp', "'ccmp'"},
		{0x20202020, "'    '"},
		{0x7E7E7E7E, "'~~~~'"},
		{0x1F414243, "524370499"},
		{0x4142437F, "1094861695"},
		{0x41428043, "1094877251"},
		{0, "0"},
		{1, "1"},
		{0xFFFFFFFF, "4294967295"},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.expected);
		EXPECT_EQ(Written([&](TextWriter& writer) { writer.WriteCode(row.code); }), row.expected);
	}
}

TEST(TextWriter, AppendFloatNumberStyle)
{
	struct Row
	{
		float value;
		const char* expected;
	};

	const Row rows[] =
	{
		{1.0f, "1.0"},
		{0.5f, "0.5"},
		{1.25f, "1.25"},
		{-2.25f, "-2.25"},
		{10.5f, "10.5"},
		{0.1f, "0.1"},
		{0.0f, "0.0"},
		{-0.0f, "0.0"},
		{1.0e-40f, "0.0"},
		{100000.0f, "1.0e5"},
		{0.0001f, "0.0000998"},
		{std::numeric_limits<float>::infinity(), "INF"},
		{-std::numeric_limits<float>::infinity(), "-INF"},
		{std::numeric_limits<float>::quiet_NaN(), "NAN"},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.expected);
		EXPECT_EQ(Written([&](TextWriter& writer) { writer.AppendFloat(row.value); }), row.expected);
	}
}
