// A UI host and view that play the page's part in tests: the view binds the program's commands,
// lets the test call them as the page would, and records every event with its arguments.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "webui/webui.h"

struct RecordedEvent {
  std::string name;
  std::vector<webui::Value> args;

  std::string text(size_t i) const { return std::get<std::string>(args.at(i)); }
  bool flag(size_t i) const { return std::get<bool>(args.at(i)); }
};

class RecordingView : public webui::View, public webui::ScriptEventWriter {
 public:
  int GetId() const override { return 1; }
  void BindCall(std::string const& name, Command command) override {
    bindOrder.push_back(name);
    commands[name] = std::move(command);
  }
  webui::ScriptEventWriter& GetScriptEventWriter() override { return *this; }
  void Resize(unsigned width, unsigned height) override { resizes.emplace_back(width, height); }
  void Redraw() override {}
  void Destroy() override { destroyed = true; }

  // Events come from the main thread and, for one event, from a job thread.
  void BeginEvent(std::string const& name, int argumentCount) override {
    open_ = {name, {}};
    open_.args.reserve(size_t(argumentCount));
  }
  void Write(webui::Value const& argument) override { open_.args.push_back(argument); }
  void EndEvent() override {
    std::lock_guard<std::mutex> lock(mutex_);
    events_.push_back(open_);
  }

  // Calls a bound command as the page would; an unbound name is a test fault.
  webui::Value call(std::string const& name, std::vector<webui::Value> args = {}) {
    return commands.at(name)(args);
  }
  std::string callText(std::string const& name, std::vector<webui::Value> args = {}) {
    return std::get<std::string>(call(name, std::move(args)));
  }

  std::vector<RecordedEvent> events() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return events_;
  }
  std::vector<RecordedEvent> events(std::string const& name) const {
    std::vector<RecordedEvent> named;
    for (RecordedEvent const& e : events())
      if (e.name == name) named.push_back(e);
    return named;
  }

  std::vector<std::string> bindOrder;
  std::map<std::string, Command> commands;
  std::vector<std::pair<unsigned, unsigned>> resizes;
  bool destroyed = false;

 private:
  RecordedEvent open_;
  mutable std::mutex mutex_;
  std::vector<RecordedEvent> events_;
};

// Starts "up" on its first update, then makes the view when asked, as the real host does.
class RecordingUIHost : public webui::WebUI {
 public:
  RecordingUIHost(webui::EventListener* listener, RecordingView* view) : listener_(listener), view_(view) {}

  void update(float) override {
    ++updates;
    if (!ready_) {
      ready_ = true;
      listener_->SystemReady();
    }
  }
  void loadLocalView(std::string const& path, int width, int height, webui::ViewListener* listener, bool,
                     std::string const& script) override {
    page = path;
    startScript = script;
    size = {width, height};
    listener->OnViewCreated(view_);
    listener->OnReadyForBindings(0, L"coui://ui/index.html", true);
  }
  void dispatchToView(vorn::UIEvent const& event, webui::View*) override { dispatched.push_back(event.type); }

  int updates = 0;
  std::string page;
  std::string startScript;
  std::pair<int, int> size;
  std::vector<vorn::EventType> dispatched;

 private:
  webui::EventListener* listener_;
  RecordingView* view_;
  bool ready_ = false;
};
