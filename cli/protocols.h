#pragma once
// The file protocols by name.

#include <span>
#include <string>

#include "errors.h"

struct Protocol {
  const char* name;
  int number;  // PROTO_
};

// findProtocol: finds a protocol by its name, in either case.
//   known     those that come into question
//   has       what they have and others lack, for the complaint: "a connection table"
//   protocol  receives the one that was found
// Returns DONE, or UNKNOWN_OBJECT with a complaint.
ExitCode findProtocol(std::span<const Protocol> known, const char* has, const std::string& word,
                      const Protocol*& protocol);
