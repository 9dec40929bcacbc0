// The terminal's stand-in for the launcher's page: it is the UI host and the view at once, calls
// the launcher's commands as the page does, and shows their events on the terminal.
#pragma once

#include <atomic>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include "ka/json.h"
#include "webui/webui.h"

namespace cli {

// What the player asked for.
struct Request {
  std::string command;  // "play", "offline", "streams" or "self-update"
  std::string stream;
  std::string user;
  std::string password;
  std::string gameArguments;
};

class CliPage : public webui::WebUI, public webui::View, public webui::ScriptEventWriter {
 public:
  // `columns` tells the width of the terminal that `out` writes to, at each call; it is empty
  // when `out` is no terminal. `interrupted` is raised by Ctrl-C; the page then cancels the
  // running job once.
  CliPage(webui::EventListener* system, Request request, std::ostream& out, std::ostream& err,
          std::function<int()> columns, std::atomic<bool> const& interrupted);

  // 0 once the request succeeded, 1 after a failure.
  int exitStatus() const { return status_; }

  void update(float seconds) override;
  void loadLocalView(std::string const& path, int width, int height, webui::ViewListener* listener, bool transparent,
                     std::string const& script) override;
  void dispatchToView(vorn::UIEvent const&, webui::View*) override {}

  int GetId() const override { return 1; }
  void BindCall(std::string const& name, Command command) override { commands_[name] = std::move(command); }
  webui::ScriptEventWriter& GetScriptEventWriter() override { return *this; }
  void Resize(unsigned, unsigned) override {}
  void Redraw() override {}
  void Destroy() override {}

  // Events arrive on the main thread, and one of them from a job thread: they are queued and
  // handled on the next update.
  void BeginEvent(std::string const& name, int argumentCount) override;
  void Write(webui::Value const& argument) override;
  void EndEvent() override;

 private:
  using Continuation = std::function<void(bool success, std::string const& text)>;
  struct Event {
    std::string name;
    std::vector<webui::Value> args;
  };

  void begin();
  void signIn(std::function<void()> then);
  void play();
  void listStreams();
  void offline();
  void selfUpdate();
  // Calls a job command and hands its outcome to `then`.
  void job(std::string const& name, std::vector<webui::Value> args, Continuation then);
  void handle(Event const& event);
  void showProgress(std::string const& document);
  // The shown phase is over: a terminal's line stays as it stands, and into a file or pipe the
  // phase's line goes out now, as finished when the job went on or succeeded (progress is
  // sampled, so a short phase's last sample may show it barely begun), else where it stopped.
  void endProgressLine(bool completed = false);
  void succeed(std::string const& message);
  void fail(std::string const& message);

  webui::EventListener* system_;
  Request request_;
  std::ostream& out_;
  std::ostream& err_;
  std::function<int()> columns_;
  std::atomic<bool> const& interrupted_;
  std::map<std::string, Command> commands_;
  bool started_ = false;
  bool begun_ = false;
  bool cancelSent_ = false;
  std::string pendingJob_;
  Continuation then_;
  bool lineOpen_ = false;     // on a terminal, a progress line waits for its end
  std::string phase_;         // into a file or pipe, the phase shown last
  ka::Json pendingProgress_;  // and its last progress document
  int status_ = 0;

  std::mutex mutex_;  // guards events_
  // The event this thread is writing: a job thread's event may come while the frame writes
  // another, and sharing one record mixed or lost them.
  static thread_local Event openEvent_;
  std::deque<Event> events_;
};

}  // namespace cli
