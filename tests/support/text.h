// Reading what a test's subject wrote: whole files, and Json texts.
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

inline ka::Json parseJson(std::string const& text) {
  std::istringstream in(text);
  return ka::Json::readFrom(in);
}
