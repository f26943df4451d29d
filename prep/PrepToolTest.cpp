// Whole runs of vorp-prep: arguments, files written, messages, exit status.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdio>
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace {

namespace fs = std::filesystem;

struct RunResult {
  int status = -1;
  std::string out;
  std::string err;
};

class PrepTool : public testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/vorp-prep-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    dir_ = pattern;
  }
  void TearDown() override {
    std::error_code ignored;
    fs::remove_all(dir_, ignored);
  }
  std::string Path(const std::string& name) const { return (fs::path(dir_) / name).string(); }
  void Write(const std::string& name, const std::string& text) const {
    std::ofstream(Path(name), std::ios::binary) << text;
  }
  static std::string Read(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
  }
  RunResult Start(const std::string& arguments) const {
    std::string command = std::string(VORP_PREP_EXECUTABLE) + " " + arguments + " >" + Path("stdout") +
                          " 2>" + Path("stderr");
    RunResult run;
    int raw = std::system(command.c_str());
    run.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    run.out = Read(Path("stdout"));
    run.err = Read(Path("stderr"));
    return run;
  }
  std::string dir_;
};

const char kPlain[] = "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 8 8\"><circle cx=\"4\" cy=\"4\" r=\"2\"/></svg>";
const char kLossy[] = "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 8 8\">\n<text>a</text><rect width=\"1\" height=\"1\"/></svg>";

TEST_F(PrepTool, SingleFiles) {
  Write("plain.svg", kPlain);
  Write("lossy.svg", kLossy);
  Write("bad.svg", "<svg><g></svg>");
  struct Row {
    std::string arguments;
    int status;
    std::string out;
    std::string errStart;
    const char* written;
  } rows[] = {
      {Path("plain.svg") + " -o " + Path("a.svg") + " --report", 0, "", "", "a.svg"},
      {Path("lossy.svg") + " -o " + Path("b.svg") + " --report", 3, Path("lossy.svg") + ":2: lossy: text\n", "", "b.svg"},
      {Path("lossy.svg") + " -o " + Path("c.svg"), 3, "", "", "c.svg"},
      {Path("bad.svg") + " -o " + Path("d.svg"), 1, "", "vorp-prep: " + Path("bad.svg") + ": not XML", nullptr},
      {Path("missing.svg") + " -o " + Path("e.svg"), 1, "", "vorp-prep: " + Path("missing.svg") + ": cannot read", nullptr},
      {Path("plain.svg") + " -o " + Path("no/such/f.svg"), 1, "", "vorp-prep: " + Path("no/such/f.svg") + ": cannot write", nullptr},
      {Path("plain.svg") + " -o " + Path("g.svg") + " --color nonsense", 1, "", "vorp-prep: not a CSS colour", nullptr},
      {Path("plain.svg"), 1, "", "usage:", nullptr},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.arguments);
    RunResult run = Start(row.arguments);
    EXPECT_EQ(run.status, row.status);
    EXPECT_EQ(run.out, row.out);
    EXPECT_EQ(run.err.rfind(row.errStart, 0), 0u) << run.err;
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), row.errStart.empty() ? 0 : row.errStart == "usage:" ? 2 : 1);
    if (row.written) {
      EXPECT_NE(Read(Path(row.written)).find("<path d=\"M"), std::string::npos);
    }
  }
  // A failed run leaves nothing behind, not even its temporary file.
  for (const auto& entry : fs::directory_iterator(dir_)) {
    std::string name = entry.path().filename().string();
    EXPECT_TRUE(name == "plain.svg" || name == "lossy.svg" || name == "bad.svg" || name == "a.svg" ||
                name == "b.svg" || name == "c.svg" || name == "stdout" || name == "stderr")
        << name;
  }
}

TEST_F(PrepTool, Directories) {
  fs::create_directory(Path("in"));
  Write("in/1f600.svg", kPlain);
  Write("in/1F601.SVG", kLossy);
  Write("in/notes.txt", "not a drawing");
  RunResult run = Start(Path("in") + " -o " + Path("out") + " --report");
  EXPECT_EQ(run.status, 3);
  EXPECT_EQ(run.out, Path("in") + "/1F601.SVG:2: lossy: text\n");
  EXPECT_TRUE(fs::exists(Path("out/1f600.svg")));
  EXPECT_TRUE(fs::exists(Path("out/1F601.SVG")));
  EXPECT_FALSE(fs::exists(Path("out/notes.txt")));
  // One unreadable file fails the run; the others are still converted.
  Write("in/broken.svg", "not xml at all");
  fs::remove_all(Path("out"));
  run = Start(Path("in") + " -o " + Path("out"));
  EXPECT_EQ(run.status, 1);
  EXPECT_TRUE(fs::exists(Path("out/1f600.svg")));
  EXPECT_FALSE(fs::exists(Path("out/broken.svg")));
}

}  // namespace
