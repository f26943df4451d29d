// vorp-prep: converts real-world SVG into the subset vorp's importer reads,
// one file or a whole directory, and lists what it could not keep.

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "prep/PrepConvert.h"
#include "support/FloatMode.h"

namespace {

using vorp::prep::PrepOptions;
using vorp::prep::PrepResult;

constexpr int kExitLossless = 0;
constexpr int kExitFailed = 1;
constexpr int kExitLossy = 3;
// Larger inputs are refused rather than read: nothing drawable needs them.
constexpr long kMaxInputBytes = 256L * 1024 * 1024;

bool ReadFile(const std::string& path, std::string* out, std::string* why) {
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (!file) {
    *why = std::strerror(errno);
    return false;
  }
  out->clear();
  char buffer[65536];
  size_t count;
  while ((count = std::fread(buffer, 1, sizeof buffer, file)) > 0) {
    if (out->size() + count > static_cast<size_t>(kMaxInputBytes)) {
      std::fclose(file);
      *why = "larger than 256 MiB";
      return false;
    }
    out->append(buffer, count);
  }
  bool failed = std::ferror(file) != 0;
  std::fclose(file);
  if (failed) *why = "read error";
  return !failed;
}

// Writes through a temporary name and renames, so a failed run never leaves
// a half-written file under the output name.
bool WriteFile(const std::string& path, const std::string& text, std::string* why) {
  std::string temporary = path + ".tmp-vorp-prep";
  std::FILE* file = std::fopen(temporary.c_str(), "wb");
  if (!file) {
    *why = std::strerror(errno);
    return false;
  }
  bool ok = std::fwrite(text.data(), 1, text.size(), file) == text.size();
  ok = std::fclose(file) == 0 && ok;
  if (ok && std::rename(temporary.c_str(), path.c_str()) != 0) ok = false;
  if (!ok) {
    *why = std::strerror(errno);
    std::remove(temporary.c_str());
  }
  return ok;
}

int ConvertFile(const std::string& input, const std::string& output, const PrepOptions& options,
                bool report) {
  std::string text, why;
  if (!ReadFile(input, &text, &why)) {
    std::fprintf(stderr, "vorp-prep: %s: cannot read: %s\n", input.c_str(), why.c_str());
    return kExitFailed;
  }
  PrepResult result;
  if (!vorp::prep::ConvertSvg(text, options, &result)) {
    std::fprintf(stderr, "vorp-prep: %s: %s\n", input.c_str(), result.error.c_str());
    return kExitFailed;
  }
  if (!WriteFile(output, result.svg, &why)) {
    std::fprintf(stderr, "vorp-prep: %s: cannot write: %s\n", output.c_str(), why.c_str());
    return kExitFailed;
  }
  if (report) {
    for (const vorp::prep::PrepIssue& issue : result.issues) {
      std::printf("%s:%d: lossy: %s\n", input.c_str(), issue.line, issue.feature.c_str());
    }
  }
  return result.issues.empty() ? kExitLossless : kExitLossy;
}

bool EndsWithSvg(const std::string& name) {
  if (name.size() < 5) return false;
  std::string tail = name.substr(name.size() - 4);
  for (char& c : tail) c = static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c);
  return tail == ".svg";
}

int ConvertDirectory(const std::string& input, const std::string& output, const PrepOptions& options,
                     bool report) {
  namespace fs = std::filesystem;
  std::error_code error;
  fs::create_directories(output, error);
  if (error || !fs::is_directory(output, error)) {
    std::fprintf(stderr, "vorp-prep: %s: cannot create the output directory\n", output.c_str());
    return kExitFailed;
  }
  std::vector<std::string> names;
  fs::directory_iterator it(input, error);
  if (error) {
    std::fprintf(stderr, "vorp-prep: %s: cannot read the directory: %s\n", input.c_str(),
                 error.message().c_str());
    return kExitFailed;
  }
  for (fs::directory_iterator end; it != end; it.increment(error)) {
    if (error) break;
    std::error_code kind;
    if (!it->is_regular_file(kind)) continue;
    std::string name = it->path().filename().string();
    if (EndsWithSvg(name)) names.push_back(name);
  }
  // Byte order, so every file system gives the same run.
  std::sort(names.begin(), names.end());
  int status = kExitLossless;
  for (const std::string& name : names) {
    int one = ConvertFile((fs::path(input) / name).string(), (fs::path(output) / name).string(),
                          options, report);
    if (one == kExitFailed) status = kExitFailed;
    else if (one == kExitLossy && status == kExitLossless) status = kExitLossy;
  }
  return status;
}

int Usage() {
  std::fputs("usage: vorp-prep INPUT -o OUTPUT [--color CSS-COLOR] [--report]\n"
             "  INPUT and OUTPUT are both files or both directories\n", stderr);
  return kExitFailed;
}

}  // namespace

int main(int argc, char** argv) {
  SetFlushToZero();
  std::string input, output;
  bool report = false;
  PrepOptions options;
  for (int i = 1; i < argc; ++i) {
    std::string_view arg = argv[i];
    if (arg == "-o" && i + 1 < argc) {
      output = argv[++i];
    } else if (arg == "--color" && i + 1 < argc) {
      vorp::prep::Rgba black;
      if (!vorp::prep::ParseCssColor(argv[++i], black, &options.currentColor)) {
        std::fprintf(stderr, "vorp-prep: not a CSS colour: %s\n", argv[i]);
        return kExitFailed;
      }
    } else if (arg == "--report") {
      report = true;
    } else if (!arg.empty() && arg[0] == '-' && arg != "-") {
      return Usage();
    } else if (input.empty()) {
      input = argv[i];
    } else {
      return Usage();
    }
  }
  if (input.empty() || output.empty()) return Usage();
  std::error_code error;
  if (std::filesystem::is_directory(input, error)) return ConvertDirectory(input, output, options, report);
  return ConvertFile(input, output, options, report);
}
