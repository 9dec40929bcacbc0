// Reading what a test's subject wrote: whole files, Json texts, and what it prints.
#pragma once

#include <fstream>
#include <sstream>
#include <string>

#include "ka/json.h"

// The whole file, or empty if it can't be read.
inline std::string readFile(std::string const& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

// What `os << value` writes.
template <class T>
std::string printed(T const& value) {
  std::ostringstream os;
  os << value;
  return os.str();
}

inline ka::Json parseJson(std::string const& text) {
  std::istringstream in(text);
  return ka::Json::readFrom(in);
}
