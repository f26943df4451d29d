// Fuzz target: any bytes convert without a fault, and whatever is written
// reads back as an SVG document.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "prep/PrepConvert.h"
#include "support/FloatMode.h"

// Fuzzed inputs run in the floating-point mode of the tool itself.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
  SetFlushToZero();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string_view text(reinterpret_cast<const char*>(data), size);
  vorp::prep::PrepResult result;
  if (!vorp::prep::ConvertSvg(text, vorp::prep::PrepOptions(), &result)) return 0;
  vorp::prep::PrepResult again;
  if (!vorp::prep::ConvertSvg(result.svg, vorp::prep::PrepOptions(), &again)) std::abort();
  return 0;
}
