// Writes the demo game's build directory for one version: the game program and a few MB of data.
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

namespace fs = std::filesystem;

namespace {

void write(fs::path const& path, std::string const& content) {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << content;
}

// Incompressible bytes, the same for the same seed.
std::string noise(size_t size, unsigned seed) {
  std::mt19937 rng(seed);
  std::string s(size, '\0');
  for (char& c : s) c = char(rng());
  return s;
}

std::string text(size_t size, std::string const& line) {
  std::string s;
  while (s.size() < size) s += line;
  return s;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  fs::path out = argv[1];
  int version = std::stoi(argv[2]);
  fs::remove_all(out);
  fs::create_directories(out / "bin");
  fs::copy_file(argv[3], out / "bin" / "sample-game");
  write(out / "data" / "levels" / "level1.pak", noise(2 << 20, 1));
  write(out / "data" / "levels" / "level2.pak", noise(1 << 20, 10 + unsigned(version)));
  write(out / "data" / "text" / "story.txt", text(1 << 20, "Once upon a time, a launcher brought a game up to date.\n"));
  write(out / "data" / "config.json", "{\"version\": " + std::to_string(version) + "}\n");
  write(out / "data" / "empty.flag", "");
  // The build number that decides offline play: version 1 predates it, version 2 qualifies.
  write(out / "version.txt", std::to_string(78230 + version) + "\n");
  return 0;
}
