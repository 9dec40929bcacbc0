// The demo's game: says how it was started, so that a launch can be seen to carry its ticket.
#include <cstdio>
#include <fstream>
#include <string>

int main(int argc, char** argv) {
  std::string self = argv[0];
  std::ofstream record(self.substr(0, self.rfind('/') + 1) + "last-launch.txt");
  std::printf("Sample game started with %d argument(s):\n", argc - 1);
  for (int i = 1; i < argc; ++i) {
    std::printf("  %s\n", argv[i]);
    record << argv[i] << "\n";
  }
  return 0;
}
