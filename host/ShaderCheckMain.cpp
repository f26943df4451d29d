// vorp-shader-check: compiles the shader texts with glslang for every combination of their switches: the GLSL
// branch for OpenGL, OpenGL ES and Vulkan (to SPIR-V), the HLSL branch through glslang's HLSL front end.
#include <glslang/Public/ResourceLimits.h>
#include <glslang/Public/ShaderLang.h>
#include <glslang/SPIRV/GlslangToSpv.h>

#include <cstdio>
#include <string>
#include <vector>

#include "album/ShaderSources.h"
#include "support/FloatMode.h"

enum Target
{
	kOpenGL,
	kOpenGLES,
	kVulkan,
	kHlsl
};

static const char* const kTargetNames[] = {"OpenGL", "OpenGL ES", "Vulkan", "HLSL"};

// One compile; prints the log and returns false on failure.
static bool Compile(Target target, ShaderStage stage, const std::string& preamble)
{
	EShLanguage language = (stage == kShaderVertex) ? EShLangVertex : EShLangFragment;
	std::string text;
	if (target == kOpenGL) text = "#version 330 core\n";
	else if (target == kOpenGLES) text = "#version 300 es\n";
	else if (target == kVulkan) text = "#version 450\n";
	text += GetShaderSource(stage);
	const char* strings[] = {text.c_str()};

	glslang::TShader shader(language);
	shader.setStrings(strings, 1);
	shader.setPreamble(preamble.c_str());
	EShMessages messages = EShMsgDefault;
	bool spirv = (target == kVulkan || target == kHlsl);
	if (target == kHlsl)
	{
		shader.setEntryPoint("main");
		shader.setEnvInput(glslang::EShSourceHlsl, language, glslang::EShClientVulkan, 100);
		messages = EShMessages(EShMsgReadHlsl | EShMsgSpvRules | EShMsgVulkanRules);
	}
	else if (target == kVulkan)
	{
		shader.setEnvInput(glslang::EShSourceGlsl, language, glslang::EShClientVulkan, 100);
		messages = EShMessages(EShMsgSpvRules | EShMsgVulkanRules);
	}
	if (spirv)
	{
		shader.setEnvClient(glslang::EShClientVulkan, glslang::EShTargetVulkan_1_0);
		shader.setEnvTarget(glslang::EShTargetSpv, glslang::EShTargetSpv_1_0);
	}

	bool good = shader.parse(GetDefaultResources(), 100, false, messages);
	glslang::TProgram program;
	if (good)
	{
		program.addShader(&shader);
		good = program.link(messages);
	}
	if (good && spirv)
	{
		std::vector<unsigned int> code;
		glslang::GlslangToSpv(*program.getIntermediate(language), code);
		good = !code.empty();
	}
	if (!good)
	{
		std::printf("Error: the %s %s shader does not compile with:\n%s%s\n%s\n", kTargetNames[target],
			(stage == kShaderVertex) ? "vertex" : "fragment", preamble.c_str(), shader.getInfoLog(), program.getInfoLog());
	}
	return good;
}

int main()
{
	SetFlushToZero();
	glslang::InitializeProcess();
	// Every switch but VORP_SIG, which only HLSL reads: it is on for every
	// other combination there.
	std::vector<const char*> switches;
	for (const char* name : kShaderSwitches)
	{
		if (std::string(name) != "VORP_SIG") switches.push_back(name);
	}
	int failures = 0;
	int compiles = 0;
	for (uint32_t mask = 0; mask < (1u << switches.size()); mask++)
	{
		std::string preamble;
		for (size_t i = 0; i < switches.size(); i++)
		{
			if ((mask >> i) & 1) preamble += std::string("#define ") + switches[i] + " 1\n";
		}
		for (int target = kOpenGL; target <= kHlsl; target++)
		{
			std::string text = preamble;
			if (target == kHlsl && (mask & 1) != 0) text += "#define VORP_SIG 1\n";
			failures += Compile(Target(target), kShaderFragment, text) ? 0 : 1;
			compiles++;
			// The vertex text reads no switch but VORP_SIG.
			if (mask <= 1)
			{
				failures += Compile(Target(target), kShaderVertex, text) ? 0 : 1;
				compiles++;
			}
		}
		if (failures > 10) break;
	}
	glslang::FinalizeProcess();
	std::printf("%d of %d shader compiles passed.\n", compiles - failures, compiles);
	return (failures == 0) ? 0 : 1;
}
