#pragma once
// The texts of alerts: per language a subject and a body for each event and the names of the backup jobs, loaded from
// template files into the exported tables body, Subject and backup.

#include <cstdint>

#include "api/nas1api.h"

inline constexpr char kMailUnit[] = "mail.c";

// Entries of the tables; an empty text for what is absent.
const char* subjectText(int lang, unsigned code);
const char* bodyText(int lang, unsigned code);
// The name of a backup job by the number that events carry; an empty text for a number outside 1 to 3.
const char* backupName(int lang, std::int32_t number);
