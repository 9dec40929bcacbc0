// The UI host's translator of the window's own input events into the engine's key and mouse
// records, keeping what the portable record loses: the exact key, the typed character, the
// modifiers held and the repeat flag.
#pragma once

#include <vector>

#include "game/linux_platform_event.h"
#include "game/platform.h"
#include "webui/event_translation.h"

namespace webui {

// Which record an event becomes. Modifier keys alone become none: the records carry their state.
enum EventCategory : int { EC_Key = 0, EC_Mouse = 1, EC_Touch = 2, EC_None = 3 };

EventCategory GetEventCategory(vorn::PlatformEvent const& event);

void TranslatePlatformEvent(vorn::PlatformEvent const& event, KeyEventData& record);
void TranslatePlatformEvent(vorn::PlatformEvent const& event, MouseEventData& record);
// The window reports no touches.
void TranslatePlatformEvent(vorn::PlatformEvent const& event, std::vector<TouchEventData>& touches);

class WebUIEventTranslator : public vorn::PlatformEventTranslator {
 public:
  template <class T>
  using EventWrapper = webui::EventWrapper<T>;

  // A key, mouse or touch record by the event's category; null for EC_None.
  ka::Ref<vorn::EventTranslation> translateEvent(vorn::PlatformEvent const& event) override;
};

}  // namespace webui
