#pragma once
// Of a command that carries out others: what one of them complains about begins with the place where it stands.

#include <string>

void sayWhere(const std::string& place);  // "line 3: "; empty for none
