// Publishes a small game as a server would hold it: a gzip manifest and content-addressed bundles,
// made with the project's own manifest writer, gzip and SHA-1.
#pragma once

#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "update/manifest.h"
#include "vorn/gzip.h"

struct GameFile {
  std::string name;  // beginning with "/"
  std::string content;
  bool executable = false;
  bool compressed = false;
};

struct PublishedGame {
  std::shared_ptr<update::Manifest> manifest;
  std::vector<char> manifestGz;
  std::map<std::string, std::vector<char>> bundles;  // by checksum
};

inline std::string sha1Of(std::string const& s) { return update::checksumBytes(std::vector<char>(s.begin(), s.end())); }

// One inner vector per bundle.
inline PublishedGame publishGame(std::vector<std::vector<GameFile>> const& bundles, std::string const& version) {
  PublishedGame game;
  game.manifest = std::make_shared<update::Manifest>();
  game.manifest->version = version;
  for (auto const& files : bundles) {
    std::vector<char> data;
    update::ManifestBundle bundle;
    for (GameFile const& f : files) {
      update::ManifestEntry e;
      e.filename = f.name;
      e.checksum = sha1Of(f.content);
      e.size = f.content.size();
      e.offset = data.size();
      e.executable = f.executable;
      std::vector<char> raw(f.content.begin(), f.content.end()), zipped;
      if (f.compressed && vorn::gzip(raw, zipped)) {
        e.sizeZ = zipped.size();
        e.checksumZ = update::checksumBytes(zipped);
        data.insert(data.end(), zipped.begin(), zipped.end());
      } else {
        data.insert(data.end(), raw.begin(), raw.end());
      }
      bundle.entries.push_back(e);
    }
    bundle.checksum = update::checksumBytes(data);
    bundle.size = data.size();
    game.bundles[bundle.checksum] = data;
    game.manifest->bundles.push_back(bundle);
  }
  std::ostringstream json;
  update::Manifest::toJson(game.manifest).writeTo(json);
  std::string text = json.str();
  vorn::gzip(std::vector<char>(text.begin(), text.end()), game.manifestGz);
  return game;
}
