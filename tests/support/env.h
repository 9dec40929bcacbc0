// Environment variables set or cleared for a scope, with the old values put back at its end.
#pragma once

#include <cstdlib>
#include <optional>
#include <string>
#include <utility>
#include <vector>

class ScopedEnv {
 public:
  ScopedEnv() = default;
  // A null value clears the variable.
  ScopedEnv(char const* name, char const* value) { set(name, value); }
  ~ScopedEnv() {
    for (auto it = saved_.rbegin(); it != saved_.rend(); ++it) apply(it->first.c_str(), it->second);
  }
  ScopedEnv(ScopedEnv const&) = delete;
  ScopedEnv& operator=(ScopedEnv const&) = delete;

  void set(char const* name, char const* value) {
    char const* old = std::getenv(name);
    saved_.emplace_back(name, old ? std::optional<std::string>(old) : std::nullopt);
    apply(name, value ? std::optional<std::string>(value) : std::nullopt);
  }

 private:
  static void apply(char const* name, std::optional<std::string> const& value) {
    if (value) ::setenv(name, value->c_str(), 1);
    else ::unsetenv(name);
  }

  std::vector<std::pair<std::string, std::optional<std::string>>> saved_;
};
