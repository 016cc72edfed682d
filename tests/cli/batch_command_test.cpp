// nas1 batch, as a user or a script sees it.

#include "cli/nas1_command.h"

namespace {

using BatchCommand = CommandTest;

// How often the NFS server was told to read its list again, which it is at every rebuild.
long rebuilds() {
  const Lines all = commands();
  return std::count(all.begin(), all.end(), "/usr/sbin/exportfs -ra");
}

}  // namespace

TEST_F(BatchCommand, CommandsAreCarriedOutAndTheDaemonsRebuildOnce) {
  writeFile("/tmp/password", "secret\n");
  const long before = rebuilds();
  const CommandResult result = done({"batch", "-"}, R"(# shares first
share add music /volume/v1/music --comment "Our \"best\" music"

  share add 'old music' /volume/v1/old # where it went
perm add music user:anna=2
user add anna --file /tmp/password
nfs set music 192.0.2.1=rw
share add music2 /volume/v1/music2 --dry-run
share list)");
  EXPECT_EQ(
      "Nas1ShareAdd(\"music2\", \"\", \"/volume/v1/music2\")\n"
      "music\tOur \"best\" music\t/volume/v1/music\n"
      "old music\t\t/volume/v1/old\n",
      result.out);
  const long one = rebuilds() - before;
  (void)done({"share", "add", "single", "/volume/v1/single"});
  EXPECT_EQ(one, rebuilds() - before - one) << "as often as for a single share";
  EXPECT_NE(std::string::npos, readFile("/etc/exports").value_or("").find("192.0.2.1"));
}

TEST_F(BatchCommand, WhatFailsStopsItAndIsNamed) {
  const struct {
    int exitCode;
    const char* said;
    const char* batch;
    const char* shares;  // that are there behind it
  } cases[] = {
      // Not understood: nothing is done at all.
      {2, "line 2: there is no noun shar, did you mean share?", "share add a /volume/v1/a\nshar list\n", ""},
      {2, "line 2: nas1 batch cannot be part", "share add a /volume/v1/a\nbatch -\n", ""},
      // Fails when carried out.
      {3, "line 2: there is no share b", "share add a /volume/v1/a\nshare del b\nshare add c /volume/v1/c\n", "a"},
      {2, "line 2: standard input holds no password", "share add a /volume/v1/a\nuser add anna\n", "a"},
  };
  for (const auto& c : cases) {
    const CommandResult result = nas1({"batch", "-"}, c.batch);
    EXPECT_EQ(c.exitCode, result.exitCode) << c.said << ": " << result.err;
    EXPECT_NE(std::string::npos, result.err.find(c.said)) << c.said << ": " << result.err;
    EXPECT_EQ(c.shares, nas1({"share", "list"}).out.substr(0, 1)) << c.said;
    (void)nas1({"share", "del", "a"});
  }
}

TEST_F(BatchCommand, KeepsGoingWhenTold) {
  const std::string lines = "share del none\nshar\nshare add a /volume/v1/a\nuser add 'x\nshare add b /volume/v1/b\n";
  const CommandResult result = nas1({"batch", "-", "--keep-going"}, lines);
  EXPECT_EQ(3, result.exitCode) << "of the first that failed";
  for (const char* const line : {"line 1: ", "line 2: ", "line 4: "})
    EXPECT_NE(std::string::npos, result.err.find(line)) << result.err;
  const CommandResult dry = nas1({"batch", "-", "--dry-run"}, "share del a\nshare add c /volume/v1/c\n");
  EXPECT_EQ("Nas1ShareDel(\"a\")\nNas1ShareAdd(\"c\", \"\", \"/volume/v1/c\")\n", dry.out);
  EXPECT_EQ("a\t\t/volume/v1/a\nb\t\t/volume/v1/b\n", nas1({"share", "list"}).out);
}
