#pragma once
// Measures each job of the library beside the bare sequence of system and GDBM calls that stands for it: the
// repetitions of both alternate, so that whatever else the machine does meets both.

#include <functional>
#include <string>
#include <vector>

// One line of the table.
struct Row {
  const char* job;
  int count = 0;          // records present, megabytes of the process, ...; 0 where it does not matter
  const char* goal = "";  // the ratio to stay below, or a time
  std::function<void()> prepare = {};
  std::function<void()> library = {};
  std::function<void()> bare = {};    // may be absent
  std::function<void()> before = {};  // puts things back before each call; not measured, may be absent
  std::function<void()> after = {};   // once, at the end; may be absent
  bool onDisk = false;                // also measured with the record files on a disk
  bool memory = false;                // also tells how much memory the call takes at most
};

std::vector<Row> settingRows();
std::vector<Row> shareRows();
std::vector<Row> accountRows();
std::vector<Row> programRows();

// Measures a row and prints its line; place is what the record files lie on.
void measure(const Row& row, const char* place, int repetitions);

// While set, commands are not started but succeed at once: their time would hide everything else.
extern bool startNothing;
