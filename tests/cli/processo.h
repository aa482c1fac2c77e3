// Runs the built varno-render as a user would: a subprocess, its output and exit code.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

struct Result {
  int code = -1;
  std::string out, err;
};

std::string slurp(const fs::path& p) {
  std::ifstream f(p);
  std::stringstream ss;
  ss << f.rdbuf();
  return ss.str();
}

// Runs varno-render with these arguments and extra environment, no shell between.
Result run(const std::vector<std::string>& args, const std::vector<std::string>& env = {}) {
  fs::path dir = fs::path(VARNO_TEST_TMP);
  fs::create_directories(dir);
  // Per process: CTest runs several of these tests at once.
  const std::string tag = std::to_string(getpid());
  fs::path out = dir / ("stdout." + tag + ".txt"), err = dir / ("stderr." + tag + ".txt");
  pid_t pid = fork();
  if (pid == 0) {
    int o = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    int e = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    dup2(o, 1);
    dup2(e, 2);
    unsetenv("OFX_PLUGIN_PATH");
    for (auto& kv : env) putenv(const_cast<char*>(kv.c_str()));
    std::vector<char*> argv{const_cast<char*>(VARNO_TEST_RENDER)};
    for (auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    execv(VARNO_TEST_RENDER, argv.data());
    _exit(127);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  Result r;
  r.code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  r.out = slurp(out);
  r.err = slurp(err);
  return r;
}

// A run that must fail: its exit code, and what its one line on stderr says.
struct Refused {
  std::vector<std::string> argv;
  int code;
  std::vector<std::string> says;
  std::string env = "";
};

// Runs each; `untouched` (when given) must keep the text "precious".
inline void expect_failures(const std::vector<Refused>& cases, const std::string& untouched = "") {
  for (const Refused& c : cases) {
    std::string cmd = c.env;
    for (auto& a : c.argv) cmd += " " + a;
    Result r = run(c.argv, c.env.empty() ? std::vector<std::string>{} : std::vector<std::string>{c.env});
    EXPECT_EQ(r.code, c.code) << cmd << "\n" << r.err;
    EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << cmd << "\n" << r.err;
    EXPECT_EQ(r.err.rfind("varno-render: ", 0), 0u) << r.err;
    for (auto& s : c.says) EXPECT_NE(r.err.find(s), std::string::npos) << cmd << "\n" << r.err << "lacks: " << s;
    if (!untouched.empty()) {
      EXPECT_EQ(slurp(untouched), "precious") << cmd;
    }
  }
}

// Each test in a folder of its own, emptied first, for its inputs and outputs.
struct InFolder : ::testing::Test {
  fs::path dir;
  void SetUp() override {
    dir = fs::path(VARNO_TEST_TMP) / ::testing::UnitTest::GetInstance()->current_test_info()->name();
    fs::remove_all(dir);
    fs::create_directories(dir);
  }
  std::string at(const std::string& name) const { return (dir / name).string(); }
  // What the folder, or a folder inside it, holds, by name.
  std::vector<std::string> listing(const std::string& where = "") const {
    std::vector<std::string> names;
    for (auto& e : fs::directory_iterator(dir / where)) names.push_back(e.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
  }
};

}  // namespace
