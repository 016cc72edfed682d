#pragma once
// Record files filled to a size, and the bare sequences of system and GDBM calls that library calls are measured
// against. Everything runs in a throw-away appliance, on its real paths.

#include <gdbm.h>

#include <cstdint>
#include <string>
#include <vector>

// Removes every record file and generated file; no Samba runs.
void emptyAppliance();

// Lets the CIFS back-end believe that Samba runs (it looks at PID files only), or not.
void pretendSambaRuns(bool runs);

// Stores shares SHARE00000 on, straight into the record file.
void storeShares(int count);
std::string shareName(int i);

// Opens a record file the way the library has to: close-on-exec, no fatal handler. Ends the program on failure.
GDBM_FILE bareOpen(const char* path, int mode);

// The bare sequences: open, one call, close.
std::string bareFetch(const char* path, const std::string& key, bool mapped = true);
void bareStore(const char* path, const std::string& key, const void* value, std::size_t bytes);

// Walks and fetches every record; returns the bytes seen.
std::size_t bareWalk(const char* path);
// Fetches a record and stores it again, longer or shorter by some bytes, with one opening.
void bareResize(const char* path, const std::string& key, int more);
void bareRemove(const char* path, const std::string& key);

// What a shell command takes of the system at least: a fork, which copies the page tables of the caller. Starts nothing
// while startNothing is set.
void bareShell(const char* command);

// One request to the driver stand-in, as the library has to make it.
void askDriverBare(std::uint32_t request, std::uint32_t replySize);

// The share blocks one after another, as two walks yield them: one for the size, one for the list.
std::vector<char> bareShareList();

// Replaces helper programs, whose own time is not the library's, by one that does nothing.
void cheapHelpers();
