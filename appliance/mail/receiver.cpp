// The mail host of the throw-away appliance: takes mails by SMTP on the loopback's port 25 and adds them to
// /var/log/appliance/mail, envelope first. Comes back as soon as it listens and goes on in the background.

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include <arpa/inet.h>
#include <fcntl.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr char kMailFile[] = "/var/log/appliance/mail";
constexpr std::uint16_t kPort = 25;
constexpr timeval kPatience = {.tv_sec = 10, .tv_usec = 0};
constexpr std::size_t kLongestLine = 65536;

struct Mail {
  std::string envelope;  // its MAIL and RCPT lines
  std::string text;
};

// One client, and what it sent beyond the line that was taken last.
struct Client {
  int socket;
  std::string read;
};

// Takes a line without its end; false when the client is gone or sends nonsense.
bool takeLine(Client& client, std::string& line) {
  for (;;) {
    const std::size_t end = client.read.find('\n');
    if (end != std::string::npos) {
      line = client.read.substr(0, end);
      client.read.erase(0, end + 1);
      if (line.ends_with('\r')) line.pop_back();
      return true;
    }
    char part[4096];
    const ssize_t got = recv(client.socket, part, sizeof part, 0);
    if (got <= 0 || client.read.size() > kLongestLine) return false;
    client.read.append(part, static_cast<std::size_t>(got));
  }
}

void reply(const Client& client, const char* text) {
  const std::string line = std::string(text) + "\r\n";
  (void)!send(client.socket, line.data(), line.size(), MSG_NOSIGNAL);
}

bool is(const std::string& line, const char* word) { return strncasecmp(line.c_str(), word, std::strlen(word)) == 0; }

// The text of a mail, up to the lone full stop; a full stop at the beginning of a line comes doubled.
bool takeText(Client& client, std::string& text) {
  for (std::string line; takeLine(client, line);) {
    if (line == ".") return true;
    text += line.starts_with('.') ? line.substr(1) : line;
    text += '\n';
  }
  return false;
}

// One write for the whole mail, so that a reader never sees half of one.
bool keep(const Mail& mail) {
  const int file = open(kMailFile, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
  if (file < 0) return false;
  const std::string whole = mail.envelope + mail.text + "\n";
  const bool kept = write(file, whole.data(), whole.size()) == static_cast<ssize_t>(whole.size());
  (void)close(file);
  return kept;
}

void takeMail(Client& client, Mail& mail) {
  if (mail.envelope.find("RCPT ") == std::string::npos) return reply(client, "503 for whom?");
  reply(client, "354 go on");
  if (!takeText(client, mail.text)) return;
  reply(client, keep(mail) ? "250 taken" : "452 it cannot be kept");
  mail = {};
}

void serve(Client& client) {
  reply(client, "220 zelmar");
  Mail mail;
  for (std::string line; takeLine(client, line);) {
    if (is(line, "QUIT")) return reply(client, "221 bye");
    if (is(line, "DATA")) {
      takeMail(client, mail);
    } else if (is(line, "MAIL FROM:")) {
      mail = {.envelope = "MAIL" + line.substr(4) + "\n", .text = ""};
      reply(client, "250 fine");
    } else if (is(line, "RCPT TO:") && !mail.envelope.empty()) {
      mail.envelope += "RCPT" + line.substr(4) + "\n";
      reply(client, "250 fine");
    } else if (is(line, "HELO") || is(line, "EHLO") || is(line, "NOOP")) {
      reply(client, "250 zelmar");
    } else {
      reply(client, "500 what?");
    }
  }
}

int listenOnLoopback() {
  const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const int yes = 1;
  (void)setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  const sockaddr_in place = {
      .sin_family = AF_INET, .sin_port = htons(kPort), .sin_addr = {htonl(INADDR_LOOPBACK)}, .sin_zero = {}};
  if (bind(listener, reinterpret_cast<const sockaddr*>(&place), sizeof place) == 0 && listen(listener, SOMAXCONN) == 0)
    return listener;
  const int reason = errno;
  (void)close(listener);
  errno = reason;
  return -1;
}

}  // namespace

int main() {
  const int listener = listenOnLoopback();
  if (listener < 0 && errno == EADDRINUSE) return 0;  // it is there already
  if (listener < 0) {
    std::perror("mail-receiver: the loopback's port 25");
    return 1;
  }
  if (daemon(0, 0) != 0) return 1;
  for (;;) {
    Client client = {.socket = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC), .read = ""};
    if (client.socket < 0) continue;
    (void)setsockopt(client.socket, SOL_SOCKET, SO_RCVTIMEO, &kPatience, sizeof kPatience);
    serve(client);
    (void)close(client.socket);
  }
}
