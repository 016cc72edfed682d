// nas1 plan: it shows what the command then does, no more and no less, and does nothing itself.

#include <algorithm>
#include <iterator>
#include <set>
#include <sstream>

#include "cli/nas1_command.h"

namespace {

using Names = std::set<std::string>;

const char* const generated[] = {"/etc/samba/smb.conf", "/etc/exports",
                                 "/etc/exports.bak",    "/etc/atalk/AppleVolumes.default",
                                 "/etc/ntp.conf",       "/etc/resolv.conf"};

struct World {
  std::map<std::string, std::string> records;  // by file and key
  std::map<std::string, std::string> files;
  Lines commands, requests;

  bool operator==(const World&) const = default;
};

World look() {
  World world = {.records = allRecords(), .files = {}, .commands = commands(), .requests = driverRequests()};
  for (const char* const path : generated) {
    if (const auto content = readFile(path)) world.files[path] = *content;
  }
  return world;
}

Names changed(const std::map<std::string, std::string>& before, const std::map<std::string, std::string>& after) {
  std::vector<std::pair<std::string, std::string>> different;
  std::set_symmetric_difference(before.begin(), before.end(), after.begin(), after.end(),
                                std::back_inserter(different));
  Names names;
  for (const auto& [name, value] : different) names.insert(name);
  return names;
}

// The lines that are in one text and not in the other.
Lines linesAlone(const std::string& text, const std::string& other) {
  const auto sorted = [](const std::string& of) {
    std::istringstream stream(of);
    Lines lines;
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    std::sort(lines.begin(), lines.end());
    return lines;
  };
  const Lines ours = sorted(text), theirs = sorted(other);
  Lines alone;
  std::set_difference(ours.begin(), ours.end(), theirs.begin(), theirs.end(), std::back_inserter(alone));
  return alone;
}

Lines newOnes(const Lines& before, const Lines& after) {
  return {after.begin() + static_cast<std::ptrdiff_t>(before.size()), after.end()};
}

// What a plan shows, in the words of the worlds.
struct Plan {
  Names records, files;
  std::map<std::string, Lines> added, removed;  // lines, by file
  Lines commands, requests;

  explicit Plan(const Json& changes) {
    for (const Json& change : changes) {
      const std::string kind = change["kind"], object = change["object"], text = change["change"];
      if (kind == "record") records.insert(object);
      if (kind == "request") requests.push_back(object);
      // The stand-ins alone tell that they were run, and not where their output went.
      if (kind == "command" && object[0] == '/') commands.push_back(object.substr(0, object.find(" >")));
      if (kind != "file" || text.starts_with("@@") || text.starts_with(' ')) continue;
      if (text[0] == '+')
        added[object].push_back(text.substr(1));
      else if (text[0] == '-')
        removed[object].push_back(text.substr(1));
      else
        files.insert(object);
    }
    for (auto* const lines : {&added, &removed}) {
      for (auto& [path, of] : *lines) std::sort(of.begin(), of.end());
    }
  }
};

using PlanCommand = ApplianceTest;

TEST_F(PlanCommand, ShowsWhatTheCommandThenDoes) {
  for (const char* const daemon : {"smbd", "nmbd"})
    writeFile(std::string("/var/lock/samba/locks/") + daemon + ".pid", "1\n");
  writeFile("/tmp/password", "secret\n");
  ASSERT_EQ(0, nas1({"config", "set", "NFS_EXPORT_PRIVILEGE", "rw"}).exitCode);
  const Lines cases[] = {
      {"share", "add", "docs", "/volume/v1/docs", "--comment", "For all"},
      {"share", "mod", "docs", "--comment", "For some"},
      {"nfs", "set", "docs", "192.0.2.1=rw", "192.0.2.0/24=ro"},
      {"user", "add", "anna", "--file", "/tmp/password"},
      {"perm", "add", "docs", "user:anna=1"},
      {"config", "set", "39", "ntp1.example.org"},
      {"config", "set", "ADMIN_PASSWORD", "--file", "/tmp/password"},
      {"snapshot", "set", "v1", "--reserved", "30"},
      {"share", "del", "docs", "--yes"},
      {"share", "del", "docs", "--yes"},
  };
  int requests = 0;
  for (const Lines& words : cases) {
    const std::string what = words[0] + " " + words[1] + " " + words.back();
    const World before = look();
    const CommandResult planned = nas1(Lines{"plan", "--json"} + words);
    EXPECT_TRUE(before == look()) << what;
    EXPECT_EQ(nas1(words).exitCode, planned.exitCode) << what << planned.err;
    const World after = look();
    const Plan plan(Json::parse(planned.out)["changes"]);
    EXPECT_EQ(std::string::npos, planned.out.find("secret"));
    EXPECT_EQ(changed(before.records, after.records), plan.records) << what;
    EXPECT_EQ(changed(before.files, after.files), plan.files) << what;
    for (const std::string& path : plan.files) {
      const auto of = [&](const World& world) { return world.files.contains(path) ? world.files.at(path) : ""; };
      const auto shown = [&](const auto& lines) { return lines.contains(path) ? lines.at(path) : Lines(); };
      EXPECT_EQ(linesAlone(of(after), of(before)), shown(plan.added)) << what << path;
      EXPECT_EQ(linesAlone(of(before), of(after)), shown(plan.removed)) << what << path;
    }
    EXPECT_EQ(newOnes(before.commands, after.commands), plan.commands) << what;
    EXPECT_EQ(newOnes(before.requests, after.requests), plan.requests) << what;
    requests += static_cast<int>(plan.requests.size());
  }
  EXPECT_EQ(1, requests) << "the driver learns that there is a password";
  const CommandResult failing = nas1({"plan", "share", "show", "docs"});
  EXPECT_EQ(3, failing.exitCode);
  EXPECT_NE(std::string::npos, failing.err.find("the command fails with exit code 3")) << failing.err;
}

}  // namespace
