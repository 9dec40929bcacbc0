// How wide zandor-cli takes its terminal to be: the terminal's own width, then COLUMNS, then 80.
#include "cli/terminal.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "support/env.h"
#include "support/pty.h"

namespace {

TEST(Terminal, ColumnsComeFromTheTerminalThenTheEnvironmentThen80) {
  ScopedEnv columns("COLUMNS", "100");
  {
    PseudoTerminal pty(132);
    int terminal = open(pty.name().c_str(), O_RDWR | O_NOCTTY);
    ASSERT_GE(terminal, 0);
    EXPECT_EQ(cli::terminalColumns(terminal), 132) << "the terminal's own width wins";
    close(terminal);
  }

  int pipeEnds[2];
  ASSERT_EQ(pipe(pipeEnds), 0);
  struct Case {
    char const* variable;
    int columns;
  } const cases[] = {{"100", 100}, {nullptr, 80}, {"", 80}, {"wide", 80}, {"120x", 80}, {"0", 80}, {"-5", 80}};
  for (Case const& c : cases) {
    columns.set("COLUMNS", c.variable);
    EXPECT_EQ(cli::terminalColumns(pipeEnds[1]), c.columns) << (c.variable ? c.variable : "unset");
  }
  close(pipeEnds[0]);
  close(pipeEnds[1]);
}

}  // namespace
