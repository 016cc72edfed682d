#pragma once
// The NIS client: its configuration /etc/yp.conf, the domain name, its init script.

#include <cstdio>

inline constexpr int kNisTextSize = 1024;  // bytes of a domain, a server name or a line of /etc/yp.conf, NUL included

// Sets the system's NIS domain; an empty domain clears it.
void nisSetDomain(const char* domain);
void nisStop();
void nisStart();

#pragma GCC visibility push(default)
extern "C" {
// Rewrite /etc/yp.conf with another server and the stored domain, or another domain and the stored server; set the
// system's domain; restart the client. Comment lines stay. Return 0; -1 when the file does not exist or could not be
// written; its former content is then restored.
int nfsSave_nis_server_name(const char* server);
int nfsSet_host_domain_name(const char* domain);

// Reads a line with its newline into a buffer of kNisTextSize bytes; a longer line is cut. The last line gets a newline
// when it has none. Returns 10; -1 at the end of the file, with an empty buffer when nothing was left.
int GetOneLine(std::FILE* file, char* buffer);
}
#pragma GCC visibility pop
