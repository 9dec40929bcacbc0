#include "webui/view.h"

namespace webui {

std::string argString(std::vector<Value> const& args, size_t index) {
  if (index >= args.size()) return {};
  if (auto const* text = std::get_if<std::string>(&args[index])) return *text;
  return {};
}

bool argBool(std::vector<Value> const& args, size_t index) {
  if (index >= args.size()) return false;
  if (auto const* flag = std::get_if<bool>(&args[index])) return *flag;
  return false;
}

double argNumber(std::vector<Value> const& args, size_t index) {
  if (index >= args.size()) return 0;
  if (auto const* number = std::get_if<double>(&args[index])) return *number;
  return 0;
}

}  // namespace webui
