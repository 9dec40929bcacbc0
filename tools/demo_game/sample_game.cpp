// The demo's game: says how it was started, so that a launch can be seen to carry its ticket.
// The record is written under a temporary name and renamed into place, so that whoever reads it
// sees every argument or none.
#include <cstdio>
#include <fstream>
#include <string>

int main(int argc, char** argv) {
  std::string self = argv[0];
  std::string record = self.substr(0, self.rfind('/') + 1) + "last-launch.txt";
  std::printf("Sample game started with %d argument(s):\n", argc - 1);
  {
    std::ofstream out(record + ".part");
    for (int i = 1; i < argc; ++i) {
      std::printf("  %s\n", argv[i]);
      out << argv[i] << "\n";
    }
  }
  return std::rename((record + ".part").c_str(), record.c_str()) == 0 ? 0 : 1;
}
