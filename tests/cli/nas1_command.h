#pragma once
// Runs the nas1 command as a child process and looks at what a user or a script sees of it.

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "frame/appliance.h"

using Json = nlohmann::json;

struct CommandResult {
  int exitCode;
  std::string out;
  std::string err;
};

// Runs nas1 (which the appliance has on its path) outside any terminal, with `input` as its standard input.
inline CommandResult nas1(const Lines& arguments, const std::string& input = "") {
  std::string line = "nas1";
  for (const std::string& argument : arguments) line += " '" + argument + "'";
  writeFile("/tmp/nas1.in", input);
  const int status = std::system((line + " </tmp/nas1.in >/tmp/nas1.out 2>/tmp/nas1.err").c_str());
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readFile("/tmp/nas1.out").value_or(""),
          readFile("/tmp/nas1.err").value_or("")};
}

inline Json nas1Json(Lines arguments) {
  arguments.emplace_back("--json");
  const CommandResult result = nas1(arguments);
  EXPECT_EQ(0, result.exitCode) << result.err;
  Json document = Json::parse(result.out, nullptr, false);
  EXPECT_EQ("nas1/1", document.value("schema", "")) << result.out;
  return document;
}

// A command that must be carried out.
inline CommandResult done(const Lines& arguments, const std::string& input = "") {
  CommandResult result = nas1(arguments, input);
  EXPECT_EQ(0, result.exitCode) << arguments[0] << ' ' << arguments[1] << ": " << result.err;
  return result;
}

// A command that must fail: with that exit code, with no output, and with one sentence that tells what is wrong.
struct FailingCommand {
  int exitCode;
  const char* said;  // part of the sentence
  Lines arguments;
};

inline void expectFailure(const FailingCommand& command) {
  const CommandResult result = nas1(command.arguments);
  EXPECT_EQ(command.exitCode, result.exitCode) << command.said << ": " << result.err;
  EXPECT_EQ("", result.out) << command.said;
  EXPECT_TRUE(result.err.starts_with("nas1: ") && result.err.find('\n') == result.err.size() - 1) << result.err;
  EXPECT_NE(std::string::npos, result.err.find(command.said)) << result.err;
}

// All records of all files, by file and key; a file without records is like none.
inline std::map<std::string, std::string> allRecords() {
  std::map<std::string, std::string> records;
  for (const auto& entry : std::filesystem::directory_iterator("/etc/admin")) {
    const std::string file = entry.path().filename();
    if (!file.ends_with(".gdbm")) continue;
    for (const std::string& key : storedKeys(file)) records[file + " " + key] = storedRecord(file, key).value_or("");
  }
  return records;
}

struct CommandTest : ApplianceTest {
  void SetUp() override {
    ApplianceTest::SetUp();
    writeFile("/etc/exports", "");  // the NFS back-end keeps a copy of the old one
  }
};
