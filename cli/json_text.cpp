#include "json_text.h"

#include "code_page.h"

static constexpr char kInHex[] = "_hex";

void putText(Json& object, const std::string& name, const std::string& text) {
  std::string utf8;
  if (toUtf8(text, utf8)) {
    object[name] = utf8;
  } else {
    object[name + kInHex] = inHex(text);
  }
}

bool takeText(const Json& object, const std::string& name, std::string& text) {
  const auto plain = object.find(name);
  const auto digits = object.find(name + kInHex);
  bool taken = false;
  if (plain != object.end()) {
    taken = plain->is_string() && fromUtf8(plain->get_ref<const std::string&>(), text);
  } else if (digits != object.end()) {
    taken = digits->is_string() && fromHex(digits->get_ref<const std::string&>(), text);
  }
  // The library's texts end at a NUL: more behind one would be lost.
  return taken && text.find('\0') == std::string::npos;
}
