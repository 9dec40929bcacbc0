#include "game/platform.h"

namespace vorn {

Platform::Platform(std::string userDataDir) : userDataDir_(std::move(userDataDir)) {}

Platform::~Platform() = default;

void Platform::addEventTranslator(PlatformEventTranslator* translator) { translators_.insert(translator); }

void Platform::removeEventTranslator(PlatformEventTranslator* translator) { translators_.erase(translator); }

void Platform::translateEvent(PlatformEvent const& platformEvent, UIEvent& event) {
  for (PlatformEventTranslator* translator : translators_) {
    ka::Ref<EventTranslation> translation = translator->translateEvent(platformEvent);
    if (translation) event.addTranslation(translator, translation);
  }
}

}  // namespace vorn
