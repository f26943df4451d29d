// ShaderSources: the renderer's vertex and fragment shader texts, carried read-only by the product.
#pragma once

#include <cstdint>

// Each text holds one branch for every shading language: Vulkan and OpenGL
// GLSL (chosen by VULKAN, GL_core_profile or GL_ES), Metal
// (__METAL_VERSION__), PSSL (__PSSL__) and HLSL (everything else). A host
// puts its VORP_ switches in front of the text, and for GLSL a #version line
// before those: 450 for Vulkan, 330 core or later for OpenGL, 300 es or later
// for OpenGL ES.
enum ShaderStage : int32_t
{
	kShaderVertex = 0,
	kShaderFragment = 1
};

// The compile-time switches the texts understand, in the order a host lists
// them; kShaderSwitchCount names in all.
constexpr int32_t kShaderSwitchCount = 11;
extern const char* const kShaderSwitches[kShaderSwitchCount];

// The zero-terminated text of one stage, or null for a stage that does not
// exist. The text lives as long as the program.
const char* GetShaderSource(ShaderStage stage);
