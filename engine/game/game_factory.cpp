#include "game_factory.h"

#include "ka/die.h"

namespace vorn {

GameFactory* GameFactorySingleton::s_Instance = nullptr;

GameFactorySingleton::GameFactorySingleton() {
  if (s_Instance) ka::die("Multiple GameFactorySingletons?");
  s_Instance = this;
}

GameFactorySingleton::~GameFactorySingleton() {
  if (s_Instance == this) s_Instance = nullptr;
}

}  // namespace vorn
