#include "album/ShaderSources.h"

#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

// A text cut at its language branches: the lines outside them (the shared
// code) and, for each top-level branch chain, the lines of each branch.
struct BranchedText
{
	std::vector<std::string> shared;
	std::vector<std::vector<std::vector<std::string>>> chains;
};

static BranchedText Cut(const char* text)
{
	BranchedText cut;
	std::istringstream lines(text);
	std::string line;
	int depth = 0;
	bool inChain = false;
	while (std::getline(lines, line))
	{
		bool opens = line.rfind("#if", 0) == 0;
		bool closes = line.rfind("#endif", 0) == 0;
		if (depth == 0 && line == "#if defined(VORP_GLSL)")
		{
			cut.chains.push_back({{}});
			inChain = true;
			depth = 1;
			continue;
		}
		if (inChain && depth == 1 && (line.rfind("#elif", 0) == 0 || line == "#else"))
		{
			cut.chains.back().push_back({});
			continue;
		}
		if (opens) depth++;
		if (closes) depth--;
		if (inChain && depth == 0)
		{
			inChain = false;
			continue;
		}
		if (inChain) cut.chains.back().back().push_back(line);
		else cut.shared.push_back(line);
	}
	return cut;
}

static std::set<std::string> Matches(const std::vector<std::string>& lines, const std::regex& pattern)
{
	std::set<std::string> names;
	for (const std::string& line : lines)
	{
		for (std::sregex_iterator it(line.begin(), line.end(), pattern), end; it != end; ++it) names.insert((*it)[1]);
	}
	return names;
}

// Functions defined at the start of a line: a return type, a name, "(".
static std::set<std::string> Definitions(const std::vector<std::string>& lines)
{
	return Matches(lines, std::regex("^(?:vertex |fragment )?[A-Za-z_][A-Za-z0-9_]* ([A-Za-z_][A-Za-z0-9_]*)\\("));
}

TEST(ShaderSources, EveryBranchDefinesWhatTheSharedCodeUses)
{
	struct Row
	{
		ShaderStage stage;
		const char* metalEntry;
		std::vector<std::string> functions;
	} rows[] = {
		{kShaderVertex, "VertexShader", {"VorpDilate", "VorpUnpack"}},
		{kShaderFragment, "FragmentShader", {"VorpRender", "RenderGlyph", "CalcCoverage", "CalcBandLoc", "CalcRootCode", "TestCurve",
			"TestRoot1", "TestRoot2", "SolveHorizPoly", "SolveVertPoly", "ApplyLayerColor"}},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.metalEntry);
		const char* text = GetShaderSource(row.stage);
		ASSERT_NE(text, nullptr);
		BranchedText cut = Cut(text);
		// A language block and an entry block, each of GLSL, Metal, PSSL, HLSL.
		ASSERT_EQ(cut.chains.size(), 2u);
		for (const auto& chain : cut.chains) ASSERT_EQ(chain.size(), 4u);

		// The contract's functions live once, in the shared code.
		std::set<std::string> shared = Definitions(cut.shared);
		for (const std::string& function : row.functions) EXPECT_TRUE(shared.count(function)) << function;

		// Whatever the shared code uses of the branches' Vorp names, every
		// branch of the language block defines, as a macro or a type.
		std::set<std::string> used = Matches(cut.shared, std::regex("\\b((?:Vorp|VORP_)[A-Za-z0-9_]*)\\b"));
		std::set<std::string> defined = Matches(cut.shared, std::regex("^#define ([A-Za-z_][A-Za-z0-9_]*)"));
		for (const std::string& name : shared) defined.insert(name);
		std::set<std::string> switches(kShaderSwitches, kShaderSwitches + kShaderSwitchCount);
		const char* branchNames[4] = {"GLSL", "Metal", "PSSL", "HLSL"};
		for (int branch = 0; branch < 4; branch++)
		{
			SCOPED_TRACE(branchNames[branch]);
			const std::vector<std::string>& lines = cut.chains[0][size_t(branch)];
			std::set<std::string> own = Matches(lines, std::regex("^#define ([A-Za-z_][A-Za-z0-9_]*)"));
			std::set<std::string> types = Matches(lines, std::regex("^struct ([A-Za-z_][A-Za-z0-9_]*)"));
			own.insert(types.begin(), types.end());
			for (const std::string& name : used)
			{
				// Switches are the host's to define.
				if (defined.count(name) || switches.count(name)) continue;
				EXPECT_TRUE(own.count(name)) << name;
			}

			// Each entry block branch defines its one entry point, which calls
			// the same shared functions as the others.
			std::set<std::string> entries = Definitions(cut.chains[1][size_t(branch)]);
			std::string entry = (branch == 1) ? row.metalEntry : "main";
			EXPECT_EQ(entries, std::set<std::string>{entry});
			std::set<std::string> calls = Matches(cut.chains[1][size_t(branch)], std::regex("\\b(Vorp[A-Za-z]*)\\("));
			std::set<std::string> firstCalls = Matches(cut.chains[1][0], std::regex("\\b(Vorp[A-Za-z]*)\\("));
			EXPECT_EQ(calls, firstCalls);
			EXPECT_FALSE(calls.empty());
		}
	}
	EXPECT_EQ(GetShaderSource(ShaderStage(2)), nullptr);
}

TEST(ShaderSources, EverySwitchIsRead)
{
	std::string texts = std::string(GetShaderSource(kShaderVertex)) + GetShaderSource(kShaderFragment);
	for (const char* name : kShaderSwitches)
	{
		bool read = texts.find("#ifdef " + std::string(name)) != std::string::npos || texts.find("defined(" + std::string(name) + ")") != std::string::npos;
		EXPECT_TRUE(read) << name;
	}
	// The band image's width is part of the contract.
	EXPECT_NE(texts.find("#define kLogBandTextureWidth 12\n"), std::string::npos);
}
