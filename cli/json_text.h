#pragma once
// Texts of the appliance's code page in JSON documents.

#include <nlohmann/json.hpp>
#include <string>

using Json = nlohmann::ordered_json;

// Stands in every document; fields are only ever added to what it means.
inline constexpr char kSchema[] = "nas1/1";

// Adds a text to an object, in UTF-8. One that is none in the code page is given in hexadecimal as NAME_hex, so that no
// name is ever lost or made up.
void putText(Json& object, const std::string& name, const std::string& text);

// Takes a text that was put so. Returns false when neither spelling is there or it is not one.
bool takeText(const Json& object, const std::string& name, std::string& text);
