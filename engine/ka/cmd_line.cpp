#include "cmd_line.h"

#include <cstdlib>
#include <iomanip>
#include <stdexcept>

#include "strutil.h"

namespace ka {

namespace {

CmdLineArgument* gFirst = nullptr;
std::vector<StringRange> sArgs;
std::vector<StringRange> sPositionals;

}  // namespace

// Gives the parser the option's private parts without making them public.
struct CmdLineAccess {
  static CmdLineArgument*& next(CmdLineArgument* a) { return a->next_; }
  static void assign(CmdLineArgument& a, StringRange value) {
    a.isSet_ = true;
    a.value_ = value;
  }
  static void unset(CmdLineArgument& a) {
    a.isSet_ = false;
    a.value_ = StringRange();
  }
};

CmdLineArgument::CmdLineArgument(char const* shortName, char const* longName, ArgumentType type, Help help,
                                 Validator validator, bool hidden)
    : hidden_(hidden),
      shortName_(shortName),
      longName_(longName),
      type_(type),
      help_(std::move(help)),
      validator_(std::move(validator)) {
  // The tail itself is not compared, and the message shows the long name empty: both
  // are long-standing behaviour that tools parsing this message rely on.
  CmdLineArgument** link = &gFirst;
  while (*link) {
    CmdLineArgument* entry = *link;
    if (entry->next_) {
      bool sameShort = !shortName_.empty() && shortName_ == entry->shortName_;
      bool sameLong = !longName_.empty() && longName_ == entry->longName_;
      if (sameShort || sameLong) {
        throw std::runtime_error(stringprintf("Duplicate command line argument registered. Short=%s, Long=%s",
                                              shortName_.str().c_str(), ""));
      }
    }
    link = &entry->next_;
  }
  *link = this;
}

CmdLineArgument::~CmdLineArgument() {
  for (CmdLineArgument** link = &gFirst; *link; link = &(*link)->next_) {
    if (*link == this) {
      *link = next_;
      return;
    }
  }
}

namespace cmd_line {

namespace {

struct Match {
  CmdLineArgument* entry = nullptr;
  bool exact = false;
  StringRange attached;  // value written into the same argument
};

// The first registered option that the argument names, with its value if one is attached.
Match findMatch(StringRange arg) {
  for (CmdLineArgument* e = gFirst; e; e = CmdLineAccess::next(e)) {
    StringRange shortName = e->shortName();
    StringRange longName = e->longName();
    if (!shortName.empty() && arg.startsWith(shortName)) {
      return {e, arg.size() == shortName.size(), StringRange(arg.begin + shortName.size(), arg.end)};
    }
    if (!longName.empty() && arg.startsWith(longName)) {
      if (arg.size() == longName.size()) return {e, true, StringRange()};
      if (arg[longName.size()] == '=') return {e, false, StringRange(arg.begin + longName.size() + 1, arg.end)};
    }
  }
  return {};
}

bool anyPassthrough() {
  for (CmdLineArgument* e = gFirst; e; e = CmdLineAccess::next(e)) {
    if (e->type() == CmdLineArgument::Passthrough) return true;
  }
  return false;
}

CmdLineArgument* findEntry(StringRange name, bool (*typeFits)(CmdLineArgument::ArgumentType)) {
  for (CmdLineArgument* e = gFirst; e; e = CmdLineAccess::next(e)) {
    if ((e->shortName() == name || e->longName() == name) && typeFits(e->type())) return e;
  }
  return nullptr;
}

}  // namespace

bool process(int argc, char const** argv, std::ostream& err) {
  sArgs.assign(argv, argv + argc);
  sPositionals.clear();
  for (int i = 1; i < argc; ++i) {
    StringRange arg(argv[i]);
    if (arg.empty() || arg[0] != '-') {
      sPositionals.push_back(arg);
      continue;
    }
    Match match = findMatch(arg);
    if (!match.entry) {
      if (anyPassthrough()) continue;
      err << "Unknown command line option " << arg << "\n";
      return false;
    }
    CmdLineArgument& entry = *match.entry;
    StringRange value = match.attached;
    if (match.exact && entry.type() != CmdLineArgument::Flag) {
      if (i + 1 >= argc) {
        err << "Missing value for " << arg << " option\n" << entry.help()() << "\n";
        return false;
      }
      value = StringRange(argv[++i]);
    }
    CmdLineAccess::assign(entry, value);
    if (entry.validator() && !entry.validator()(value)) {
      if (value.empty()) {
        err << "Invalid flag set: " << arg;
      } else {
        err << value << " is not valid for option " << arg;
      }
      err << "\n" << entry.help()() << "\n";
      return false;
    }
  }
  return true;
}

void reset() {
  for (CmdLineArgument* e = gFirst; e; e = CmdLineAccess::next(e)) CmdLineAccess::unset(*e);
  sArgs.clear();
  sPositionals.clear();
}

void usage(std::ostream& os) {
  os << "usage: " << sArgs.at(0) << " [options]\n";
  for (CmdLineArgument* e = gFirst; e; e = CmdLineAccess::next(e)) {
    if (e->hidden()) continue;
    std::string help = e->help()();
    if (help.empty()) continue;
    os << std::left << std::setw(4) << e->shortName() << " | " << std::setw(24) << e->longName() << " : " << help
       << "\n";
  }
}

bool hasFlag(StringRange name) {
  CmdLineArgument* e = findEntry(name, [](CmdLineArgument::ArgumentType t) { return t == CmdLineArgument::Flag; });
  return e && e->isSet();
}

bool getArgVal(StringRange name, int& value) {
  CmdLineArgument* e = findEntry(name, [](CmdLineArgument::ArgumentType t) { return t == CmdLineArgument::Int; });
  if (!e || !e->isSet()) return false;
  value = std::atoi(e->value().str().c_str());
  return true;
}

bool getArgVal(StringRange name, float& value) {
  CmdLineArgument* e = findEntry(name, [](CmdLineArgument::ArgumentType t) { return t == CmdLineArgument::Float; });
  if (!e || !e->isSet()) return false;
  value = float(std::atof(e->value().str().c_str()));
  return true;
}

bool getArgVal(StringRange name, StringRange& value) {
  CmdLineArgument* e = findEntry(name, [](CmdLineArgument::ArgumentType t) { return t == CmdLineArgument::String; });
  if (!e || !e->isSet()) return false;
  value = e->value();
  return true;
}

std::vector<StringRange> const& args() { return sArgs; }
std::vector<StringRange> const& positionals() { return sPositionals; }

std::vector<std::string> parseCmdLine(StringRange const& line) {
  std::vector<std::string> words;
  std::string word;
  bool inQuotes = false;
  auto emit = [&] {
    if (!word.empty()) words.push_back(word);
    word.clear();
  };
  for (char const* p = line.begin; p != line.end;) {
    char c = *p;
    if (c == '\\') {
      char const* run = p;
      while (p != line.end && *p == '\\') ++p;
      size_t n = size_t(p - run);
      if (p != line.end && *p == '"') {
        word.append(n / 2, '\\');
        if (n % 2) word += '"';
        else inQuotes = !inQuotes;
        ++p;
      } else {
        word.append(n, '\\');
      }
      continue;
    }
    if (c == '"') {
      inQuotes = !inQuotes;
    } else if ((c == ' ' || c == '\t') && !inQuotes) {
      emit();
    } else {
      word += c;
    }
    ++p;
  }
  emit();
  return words;
}

}  // namespace cmd_line

}  // namespace ka
