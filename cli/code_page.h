#pragma once
// Texts between the appliance's code page, in which the library keeps them, and UTF-8, in which JSON is written.

#include <string>

// From now on, converts for that code page instead of the configured one.
void useCodePage(int codePage);

// Returns false for a text that is none in the code page, or that would not come back as the same bytes.
bool toUtf8(const std::string& text, std::string& utf8);

// Returns false for a text that the code page cannot express.
bool fromUtf8(const std::string& utf8, std::string& text);

// Two lower-case hexadecimal digits a byte.
std::string inHex(const std::string& bytes);
bool fromHex(const std::string& digits, std::string& bytes);
