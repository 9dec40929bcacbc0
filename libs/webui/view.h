// A page as the program sees it: commands the page may call, events the program triggers.
#pragma once

#include <functional>
#include <string>
#include <variant>
#include <vector>

namespace webui {

// A script value crossing between page and program.
using Value = std::variant<std::monostate, bool, double, std::string>;

// Arguments as the page passed them: a missing or mistyped argument reads as empty or false.
std::string argString(std::vector<Value> const& args, size_t index);
bool argBool(std::vector<Value> const& args, size_t index);
double argNumber(std::vector<Value> const& args, size_t index);

// Builds one event for the page: open it with its name and argument count, write each
// argument, close it.
class ScriptEventWriter {
 public:
  virtual void BeginEvent(std::string const& name, int argumentCount) = 0;
  virtual void Write(Value const& argument) = 0;
  virtual void EndEvent() = 0;

 protected:
  ~ScriptEventWriter() = default;
};

class View {
 public:
  // Runs on the main thread when the page calls `name`; its result goes back to the page.
  using Command = std::function<Value(std::vector<Value> const& args)>;

  virtual int GetId() const = 0;
  virtual void BindCall(std::string const& name, Command command) = 0;
  virtual ScriptEventWriter& GetScriptEventWriter() = 0;
  virtual void Resize(unsigned width, unsigned height) = 0;
  // Asks for the next picture of the page without delay, as after a resize.
  virtual void Redraw() = 0;
  // Ends the view; the pointer is invalid afterwards.
  virtual void Destroy() = 0;

  // Opens, writes and closes one event.
  template <class... Args>
  void TriggerEvent(std::string const& name, Args const&... args) {
    ScriptEventWriter& writer = GetScriptEventWriter();
    writer.BeginEvent(name, int(sizeof...(args)));
    (writer.Write(Value(args)), ...);
    writer.EndEvent();
  }

 protected:
  virtual ~View() = default;
};

}  // namespace webui
