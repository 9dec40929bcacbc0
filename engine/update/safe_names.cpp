#include "safe_names.h"

#include <string_view>

namespace update {

bool isSafeRelativePath(ka::StringRange name) {
  std::string_view rest = name.view();
  if (rest.empty() || rest.find('\0') != std::string_view::npos) return false;
  while (true) {
    size_t slash = rest.find('/');
    std::string_view component = rest.substr(0, slash);
    if (component.empty() || component == "." || component == "..") return false;
    if (slash == std::string_view::npos) return true;
    rest.remove_prefix(slash + 1);
  }
}

bool isSafeGamePath(ka::StringRange name) {
  std::string_view text = name.view();
  return !text.empty() && text[0] == '/' && isSafeRelativePath(text.substr(1));
}

bool isChecksumText(ka::StringRange text) {
  if (text.size() != 40) return false;
  for (char c : text.view())
    if (!((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'))) return false;
  return true;
}

}  // namespace update
