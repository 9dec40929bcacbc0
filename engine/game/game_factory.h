// Lets the entry point make the application's game object without knowing its class.
#pragma once

#include <string>

namespace vorn {

class Game;
class Platform;

class GameFactory {
 public:
  virtual ~GameFactory() = default;
  virtual std::string name() const = 0;
  // A new game, or null if the game refuses to start.
  virtual Game* create(Platform* platform) = 0;
};

// The one factory of the process; a second one is a programming fault.
class GameFactorySingleton : public GameFactory {
 public:
  GameFactorySingleton();
  ~GameFactorySingleton() override;
  GameFactorySingleton(GameFactorySingleton const&) = delete;
  GameFactorySingleton& operator=(GameFactorySingleton const&) = delete;

  static GameFactory* instance() { return s_Instance; }

 private:
  static GameFactory* s_Instance;
};

// Declared once as a static object by the application: makes T with `new T(platform)`.
template <class T>
class GameClassFactorySingleton final : public GameFactorySingleton {
 public:
  explicit GameClassFactorySingleton(std::string name) : name_(std::move(name)) {}
  std::string name() const override { return name_; }
  Game* create(Platform* platform) override { return new T(platform); }

 private:
  std::string name_;
};

}  // namespace vorn
