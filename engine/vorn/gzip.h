// Thin loops over zlib for gzip streams of manifests and bundle entries.
#pragma once

#include <fstream>
#include <functional>
#include <vector>

namespace vorn {

// Compresses into a gzip stream; false for empty input.
bool gzip(std::vector<char> const& in, std::vector<char>& out);
// Inflates a gzip or zlib stream; a truncated stream gives its prefix and true.
bool gunzip(std::vector<char> const& in, std::vector<char>& out);
// Inflates from the stream's position to the end of one gzip member, handing output to `sink`
// in pieces of at most 128 KiB; true only if the member ended.
bool gunzip(std::ifstream& in, std::function<void(std::vector<char> const& buffer, unsigned long count)> sink);

}  // namespace vorn
