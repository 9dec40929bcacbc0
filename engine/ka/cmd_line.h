// Self-registering command line options: static CmdLineArgument objects and the parser over them.
#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "string_range.h"

namespace ka {

// One option in static storage, entered into the list in order of construction.
class CmdLineArgument {
 public:
  enum ArgumentType { Flag = 0, Int = 1, Float = 2, String = 3, Passthrough = 4 };
  using Help = std::function<std::string()>;
  using Validator = std::function<bool(StringRange)>;

  // Throws if another option already has the same short or long name.
  CmdLineArgument(char const* shortName, char const* longName, ArgumentType type, Help help,
                  Validator validator = nullptr, bool hidden = false);
  // Options live for the whole run; one that goes earlier leaves the list.
  ~CmdLineArgument();
  CmdLineArgument(CmdLineArgument const&) = delete;
  CmdLineArgument& operator=(CmdLineArgument const&) = delete;

  bool isSet() const { return isSet_; }
  StringRange value() const { return value_; }
  StringRange shortName() const { return shortName_; }
  StringRange longName() const { return longName_; }
  ArgumentType type() const { return type_; }
  bool hidden() const { return hidden_; }
  Help const& help() const { return help_; }
  Validator const& validator() const { return validator_; }

 private:
  friend struct CmdLineAccess;

  bool hidden_;
  StringRange shortName_;
  StringRange longName_;
  ArgumentType type_;
  Help help_;
  Validator validator_;
  StringRange value_;
  CmdLineArgument* next_ = nullptr;
  bool isSet_ = false;
};

namespace cmd_line {

// Parses argv against the registered options; reports the first fault on `err` and returns false.
bool process(int argc, char const** argv, std::ostream& err);
void usage(std::ostream& os);
// Unsets every option, for a program or test that parses more than one command line.
void reset();
bool hasFlag(StringRange name);
bool getArgVal(StringRange name, int& value);
bool getArgVal(StringRange name, float& value);
bool getArgVal(StringRange name, StringRange& value);
std::vector<StringRange> const& args();
std::vector<StringRange> const& positionals();
// Splits one command line into words, with quotes and backslashes as a shell of Windows reads them.
std::vector<std::string> parseCmdLine(StringRange const& line);

}  // namespace cmd_line

}  // namespace ka
