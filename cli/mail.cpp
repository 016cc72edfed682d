// nas1 mail: what the alert mail of an event looks like.

#include <nas1api.h>
#include <sys/mman.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "events.h"
#include "nouns.h"
#include "output.h"
#include "record_files.h"
#include "suggest.h"

namespace {

struct Arguments {
  std::string code;
  std::vector<std::string> words;
  std::string language;
  bool allowUnsafe = false;
  Output output;
};
Arguments arguments;

// By language index, named as the template files are.
constexpr const char* languages[MAIL_LANGUAGE_COUNT] = {"en", "big5", "jp", "ko", "cn"};
constexpr int kJapanese = 2;

ExitCode findLanguage(int& lang) {
  lang = GetLang();
  if (arguments.language.empty()) return DONE;
  const auto* const found = std::find(std::begin(languages), std::end(languages), arguments.language);
  if (found == std::end(languages)) {
    return complain(USAGE, "there is no language %s%s; there are en, big5, jp, ko and cn", arguments.language.c_str(),
                    suggestion(arguments.language, {std::begin(languages), std::end(languages)}).c_str());
  }
  lang = static_cast<int>(found - std::begin(languages));
  return DONE;
}

std::string addressOf(const char* key, int size) {
  std::string text(static_cast<std::size_t>(size) + 1, '\0');
  (void)NasGetConfig(key, size, text.data(), nullptr);
  return text.c_str();
}

// As a sent mail has them: the addresses of both settings, the second one always behind a comma.
std::string recipients() {
  std::string list;
  for (const char c : addressOf("ADMIN_EMAIL", 200) + ";") {
    if (c != ';') {
      list += c;
    } else if (!list.empty() && list.back() != ',') {
      list += ',';
    }
  }
  const std::string second = addressOf("ADMIN_EMAIL_2", 128);
  return list.empty() ? second + "," : list + second;
}

// The library writes a mail in the language of the last one sent; nothing has been sent here, which makes that the
// first. For one mail, the texts of another language take the place of its texts.
struct LanguageInPlace {
  explicit LanguageInPlace(int lang) : other(lang) { exchange(); }
  ~LanguageInPlace() { exchange(); }
  LanguageInPlace(const LanguageInPlace&) = delete;
  LanguageInPlace& operator=(const LanguageInPlace&) = delete;

 private:
  const int other;
  void exchange() const {
    for (char*** const table : {body, Subject, backup}) std::swap(table[0], table[other]);
  }
};

std::string textOf(GivenEvent& event) {
  const int file = memfd_create("mail", MFD_CLOEXEC);
  if (file < 0) return "";
  (void)SetupMailBody(file, event.code, event.argument(), recipients().c_str());
  std::string text(static_cast<std::size_t>(std::max<off_t>(lseek(file, 0, SEEK_END), 0)), '\0');
  const ssize_t got = pread(file, text.data(), text.size(), 0);
  text.resize(static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
  (void)close(file);
  return text;
}

// Gives the subject the form that it has in Japanese mails, whose subject line has 255 characters at most.
std::string withEncodedSubject(const std::string& text) {
  const std::string before = "Subject: ";
  const std::string encodedBefore = "Subject: =?iso-2022-jp?B?";
  const std::string encodedAfter = "=?=\n";
  const std::size_t end = text.find('\n');
  if (end == std::string::npos || !text.starts_with(before)) return text;
  const std::string subject = text.substr(before.size(), end - before.size());
  std::vector<char> room((subject.size() + 3) / 3 * 4 + 1, '\0');
  subject.copy(room.data(), subject.size());
  EncodeHeader(room.data());
  std::string encoded = room.data();
  encoded.resize(std::min(encoded.size(), 255 - encodedBefore.size() - encodedAfter.size()));
  return encodedBefore + encoded + encodedAfter + text.substr(end + 1);
}

void print(const std::string& text) {
  if (isatty(STDOUT_FILENO) != 1) {
    (void)std::fwrite(text.data(), 1, text.size(), stdout);
    return;
  }
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    (void)std::puts(visible(text.substr(at, end - at)).c_str());
    at = end + 1;
  }
}

ExitCode preview() {
  if (const ExitCode fault = checkRecordFile(kSystemFile, Use::read); fault != DONE) return fault;
  GivenEvent event;
  if (const ExitCode fault = parseEvent(arguments.code, arguments.words, arguments.allowUnsafe, event); fault != DONE)
    return fault;
  int lang = 0;
  if (const ExitCode fault = findLanguage(lang); fault != DONE) return fault;
  if (NasMailMsgInit(lang) == 0) tell("there are no texts: /etc/mail/alert.%s cannot be read", languages[lang]);
  initDiskNumMap();
  std::string text;
  {
    const LanguageInPlace inPlace(lang);
    text = textOf(event);
  }
  (void)NasMailMsgFree(lang);
  if (text.empty()) return complain(LIBRARY_FAILED, "the mail could not be put together");
  if (lang == kJapanese) text = withEncodedSubject(text);
  if (arguments.output.json || !arguments.output.field.empty())
    return printObject(arguments.output, "mail", {{"language", languages[lang]}, {"text", text}});
  print(text);
  return DONE;
}

}  // namespace

void registerMail(CLI::App& noun, ExitCode& result) {
  arguments = {};
  CLI::App* const previewVerb = noun.add_subcommand("preview", "Print the mail that would be sent, and send nothing");
  previewVerb->add_option("CODE", arguments.code, "Event; nas1 event list shows them")->required();
  previewVerb->add_option("ARGUMENT", arguments.words, "What it is about, as in nas1 event raise");
  previewVerb->add_option("--language", arguments.language,
                          "en, big5, jp, ko or cn; without it the one that EMAIL_LANGUAGE sets");
  previewVerb->add_flag("--allow-unsafe", arguments.allowUnsafe, "Allow control characters in a text");
  addOutputOptions(*previewVerb, arguments.output);
  previewVerb->callback([&result] { result = preview(); });
}
