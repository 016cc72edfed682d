#include "cli/nas1_command.h"

namespace {

using Completion = ApplianceTest;

// What bash offers for a command line whose last word is being typed.
Lines offered(const Lines& words) {
  std::string script = "source <(nas1 completion bash)\nCOMP_WORDS=(nas1";
  for (const std::string& word : words) script += " '" + word + "'";
  script += ")\nCOMP_CWORD=" + std::to_string(words.size()) + "\n_nas1\nprintf '%s\\n' \"${COMPREPLY[@]}\"\n";
  writeFile("/tmp/complete", script);
  EXPECT_EQ(0, std::system("bash /tmp/complete >/tmp/offered"));
  return readLines("/tmp/offered");
}

TEST_F(Completion, OffersWhatFitsThePlace) {
  (void)done({"share", "add", "my music", "/volume/v1/music"});
  (void)done({"share", "add", "docs", "/volume/v1/docs"});
  (void)done({"user", "add", "anna"}, "secret\n");
  const struct {
    Lines words;
    Lines offered;
  } cases[] = {
      {{"sh"}, {"share", "shutdown"}},
      {{"share", "show", "my\\ m"}, {"my\\ music"}},
      {{"share", "passwd", "docs", "--read"}, {"--read-only", "--read-write"}},
      {{"perm", "check", "--protocol", "cifs", "ANNA", "d"}, {"docs"}},
      {{"config", "get", "CIFS_G"}, {"CIFS_GROUP_NAME"}},
      {{"log", "--level", ""}, {"INFO", "WARN", "ERR", "CRIT", "ACCESS"}},
      {{"plan", "share", "del", "d"}, {"docs"}},
      {{"plan", "--get", "kind", "--json", "share", "del", "d"}, {"docs"}},
      {{"plan", "--pl"}, {"--plain"}},
  };
  for (const auto& c : cases) EXPECT_EQ(c.offered, offered(c.words)) << c.words[0] << " " << c.words.back();
}

}  // namespace
