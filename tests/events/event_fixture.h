#pragma once
// What the tests of mails and events share: templates of their own, and a view of the mails that were handed to the
// sender program.

#include <set>
#include <sstream>

#include <sys/mman.h>

#include "frame/appliance.h"

inline constexpr const char* templateFiles[MAIL_LANGUAGE_COUNT] = {
    "/etc/mail/alert.en", "/etc/mail/alert.big5", "/etc/mail/alert.jp", "/etc/mail/alert.ko", "/etc/mail/alert.cn"};

// A mail as the sender program was told of it.
struct SentMail {
  std::string spool, recipients, toDelete;
  std::string text;  // what the spool file holds
};

class EventFixture : public ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    for (const char* const file : templateFiles) shippedTemplates[file] = readFile(file);
    bystanders = processes();
    writeFile("/etc/service.zelmar", "sender_address=no\n");
    storeText("CIFS_SERVER_NAME", "SRV");
    storeText("ADMIN_EMAIL", "admin@example.com");
  }
  void TearDown() override {
    settle();
    for (int lang = 0; lang < MAIL_LANGUAGE_COUNT; ++lang) (void)NasMailMsgFree(lang);
    for (const auto& [file, content] : shippedTemplates) {
      if (content) writeFile(file, *content);
      if (!content) (void)unlink(file.c_str());
    }
    ApplianceTest::TearDown();
  }

  // Waits until the commands that run in the background have ended.
  void settle() const {
    EXPECT_TRUE(comes([this] { return processes() == bystanders; })) << "a background command does not end";
  }

  // Ends a process that a helper left running.
  static void endProcess(const std::string& name) {
    for (const std::string& pid : processes())
      if (readFile("/proc/" + pid + "/comm") == name + "\n") (void)kill(std::stoi(pid), SIGTERM);
  }

  // The mails sent since the test began, in the order the sender program was started.
  std::vector<SentMail> sentMails() const {
    settle();
    std::vector<SentMail> mails;
    for (const std::string& line : commands()) {
      std::istringstream words(line);
      std::string program;
      SentMail mail;
      words >> program >> mail.spool >> mail.recipients >> mail.toDelete;
      if (program != "/etc/nas1mail") continue;
      mail.text = readFile(mail.spool).value_or("(no file)");
      mails.push_back(mail);
    }
    return mails;
  }

 private:
  static std::set<std::string> processes() {
    std::set<std::string> pids;
    std::error_code gone;
    for (const auto& entry : std::filesystem::directory_iterator("/proc", gone)) {
      const std::string name = entry.path().filename().string();
      if (std::all_of(name.begin(), name.end(), [](char c) { return c >= '0' && c <= '9'; })) pids.insert(name);
    }
    return pids;
  }

  std::map<std::string, std::optional<std::string>> shippedTemplates;
  std::set<std::string> bystanders;
};

// What SetupMailBody writes with the templates as they are loaded.
inline std::string mailText(unsigned code, const void* arg, const char* recipients = "R") {
  const int file = memfd_create("mail", MFD_CLOEXEC);
  EXPECT_EQ(0, SetupMailBody(file, code, arg, recipients));
  std::string text(static_cast<std::size_t>(lseek(file, 0, SEEK_END)), '\0');
  EXPECT_EQ(static_cast<ssize_t>(text.size()), pread(file, text.data(), text.size(), 0));
  (void)close(file);
  return text;
}
