#pragma once
// What the tests of mails and events share: templates of their own, settings stored past the library, and a view of
// the mails that were handed to the sender program.

#include <charconv>
#include <csignal>
#include <filesystem>
#include <map>
#include <set>

#include <sys/mman.h>
#include <unistd.h>

#include "api/nas1api.h"
#include "frame/appliance.h"

inline constexpr const char* templateFiles[MAIL_LANGUAGE_COUNT] = {
    "/etc/mail/alert.en", "/etc/mail/alert.big5", "/etc/mail/alert.jp", "/etc/mail/alert.ko", "/etc/mail/alert.cn"};

inline void setText(const std::string& key, const std::string& text) { storeRecord("system.gdbm", key, text + '\0'); }
inline void setWord(const std::string& key, std::uint32_t word) { storeRecord("system.gdbm", key, bytesOf(word)); }

// A mail as the sender program was told of it.
struct SentMail {
  std::string spool;
  std::string recipients;
  std::string toDelete;
  std::string text;  // what the spool file holds
};

class EventFixture : public ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    for (const char* const file : templateFiles) shippedTemplates[file] = readFile(file);
    bystanders = processes();
    writeFile("/etc/service.zelmar", "sender_address=no\n");
    setText("CIFS_SERVER_NAME", "SRV");
    setText("ADMIN_EMAIL", "admin@example.com");
  }
  void TearDown() override {
    settle();
    for (int lang = 0; lang < MAIL_LANGUAGE_COUNT; ++lang) (void)NasMailMsgFree(lang);
    for (const auto& [file, content] : shippedTemplates) {
      if (content) {
        writeFile(file, *content);
      } else {
        (void)unlink(file.c_str());
      }
    }
    (void)unlink("/var/log/MailEvent");
    ApplianceTest::TearDown();
  }

  // Waits until the commands that run in the background have ended.
  void settle() const {
    for (int waitedMs = 0; waitedMs < 10000; ++waitedMs) {
      if (processes() == bystanders) return;
      (void)usleep(1000);
    }
    ADD_FAILURE() << "a background command does not end";
  }

  // Ends a process that a helper left running.
  static void endProcess(const std::string& name) {
    for (const pid_t pid : processes())
      if (readFile("/proc/" + std::to_string(pid) + "/comm") == name + "\n") (void)kill(pid, SIGTERM);
  }

  // The mails sent since the test began, in the order the sender program was started.
  std::vector<SentMail> sentMails() const {
    settle();
    std::vector<SentMail> mails;
    for (const std::string& line : commands()) {
      const std::string sender = "/etc/nas1mail ";
      if (!line.starts_with(sender)) continue;
      SentMail mail;
      std::string* const words[] = {&mail.spool, &mail.recipients, &mail.toDelete};
      std::size_t word = 0;
      for (const char c : line.substr(sender.size())) {
        if (c == ' ' && word + 1 < std::size(words)) {
          ++word;
        } else {
          *words[word] += c;
        }
      }
      mail.text = readFile(mail.spool).value_or("(no file)");
      mails.push_back(mail);
    }
    return mails;
  }

 private:
  static std::set<pid_t> processes() {
    std::set<pid_t> pids;
    std::error_code gone;
    for (const auto& entry : std::filesystem::directory_iterator("/proc", gone)) {
      const std::string name = entry.path().filename().string();
      pid_t pid = 0;
      if (std::from_chars(name.data(), name.data() + name.size(), pid).ec == std::errc()) pids.insert(pid);
    }
    return pids;
  }

  std::map<std::string, std::optional<std::string>> shippedTemplates;
  std::set<pid_t> bystanders;
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
