// The renderer as a game sees it. Only what the game frame calls is declared so far; scenes,
// viewports and render chains join with the renderer itself.
#pragma once

#include <string>

namespace vorn::ren {

class Renderer {
 public:
  virtual ~Renderer() = default;
  // Reads a list of effects from the filesystem, by virtual path.
  virtual void loadEffects(std::string const& path) = 0;
  virtual void present() = 0;
};

}  // namespace vorn::ren
