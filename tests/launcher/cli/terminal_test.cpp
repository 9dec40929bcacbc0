#include "cli/terminal.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <optional>
#include <string>

namespace {

// Sets or clears COLUMNS for the length of a test.
class ColumnsVariable {
 public:
  ColumnsVariable() {
    if (char const* value = std::getenv("COLUMNS")) saved_ = value;
  }
  ~ColumnsVariable() {
    if (saved_)
      setenv("COLUMNS", saved_->c_str(), 1);
    else
      unsetenv("COLUMNS");
  }
  void set(char const* value) {
    if (value)
      setenv("COLUMNS", value, 1);
    else
      unsetenv("COLUMNS");
  }

 private:
  std::optional<std::string> saved_;
};

TEST(Terminal, ColumnsComeFromTheTerminalThenTheEnvironmentThen80) {
  ColumnsVariable columns;
  int master = posix_openpt(O_RDWR | O_NOCTTY);
  ASSERT_GE(master, 0);
  ASSERT_EQ(grantpt(master), 0);
  ASSERT_EQ(unlockpt(master), 0);
  int terminal = open(ptsname(master), O_RDWR | O_NOCTTY);
  ASSERT_GE(terminal, 0);
  winsize size{};
  size.ws_row = 24;
  size.ws_col = 132;
  ASSERT_EQ(ioctl(terminal, TIOCSWINSZ, &size), 0);
  columns.set("100");
  EXPECT_EQ(cli::terminalColumns(terminal), 132) << "the terminal's own width wins";
  close(terminal);
  close(master);

  int pipeEnds[2];
  ASSERT_EQ(pipe(pipeEnds), 0);
  struct Case {
    char const* variable;
    int columns;
  } const cases[] = {{"100", 100}, {nullptr, 80}, {"", 80}, {"wide", 80}, {"120x", 80}, {"0", 80}, {"-5", 80}};
  for (Case const& c : cases) {
    columns.set(c.variable);
    EXPECT_EQ(cli::terminalColumns(pipeEnds[1]), c.columns) << (c.variable ? c.variable : "unset");
  }
  close(pipeEnds[0]);
  close(pipeEnds[1]);
}

}  // namespace
