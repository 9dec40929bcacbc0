#include "cli/cli_page.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

#include "cli/progress_line.h"

namespace cli {
namespace {

std::string text(std::vector<webui::Value> const& args, size_t i) { return webui::argString(args, i); }

ka::Json parse(std::string const& text) {
  std::istringstream in(text);
  return ka::Json::readFrom(in);
}

}  // namespace

CliPage::CliPage(webui::EventListener* system, Request request, std::ostream& out, std::ostream& err,
                 std::function<int()> columns, std::atomic<bool> const& interrupted)
    : system_(system),
      request_(std::move(request)),
      out_(out),
      err_(err),
      columns_(std::move(columns)),
      interrupted_(interrupted) {}

void CliPage::update(float) {
  if (!started_) {
    started_ = true;
    system_->SystemReady();
  }
  std::deque<Event> events;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    events.swap(events_);
  }
  for (Event const& event : events) handle(event);
  if (!commands_.empty() && !begun_) {
    begun_ = true;
    begin();
  }
  if (interrupted_ && !pendingJob_.empty() && !cancelSent_) {
    cancelSent_ = true;
    endProgressLine();
    err_ << "Cancelling ..." << std::endl;
    commands_.at("asyncCancel")({});
  }
}

void CliPage::loadLocalView(std::string const&, int, int, webui::ViewListener* listener, bool, std::string const&) {
  listener->OnViewCreated(this);
  listener->OnReadyForBindings(0, L"coui://ui/index.html", true);
}

thread_local CliPage::Event CliPage::openEvent_;

void CliPage::BeginEvent(std::string const& name, int argumentCount) {
  openEvent_ = {name, {}};
  openEvent_.args.reserve(size_t(argumentCount));
}

void CliPage::Write(webui::Value const& argument) { openEvent_.args.push_back(argument); }

void CliPage::EndEvent() {
  std::lock_guard<std::mutex> lock(mutex_);
  events_.push_back(std::move(openEvent_));
  openEvent_ = {};
}

void CliPage::begin() {
  if (request_.command == "play") return signIn([this] { play(); });
  if (request_.command == "streams") return signIn([this] { listStreams(); });
  if (request_.command == "offline") return offline();
  if (request_.command == "self-update") return selfUpdate();
  fail("Unknown command \"" + request_.command + "\"");
}

void CliPage::signIn(std::function<void()> then) {
  job("login", {request_.user, request_.password}, [this, then](bool success, std::string const& result) {
    if (!success) return fail("Sign-in failed: " + failureMessage(result));
    out_ << "Signed in as " << parse(result).get("DisplayName").asString(request_.user.c_str()) << std::endl;
    then();
  });
}

void CliPage::listStreams() {
  job("listStreams", {}, [this](bool success, std::string const& result) {
    if (!success) return fail(failureMessage(result));
    ka::Json streams = parse(result).get("Streams");
    for (size_t i = 0; i < streams.arrayLength(); ++i) {
      ka::Json stream = streams.get(i);
      out_ << stream.get("StreamName").asString("?") << "\t" << stream.get("Description").asString("") << std::endl;
    }
    succeed("");
  });
}

void CliPage::play() {
  job("listStreams", {}, [this](bool success, std::string const& result) {
    if (!success) return fail(failureMessage(result));
    ka::Json streams = parse(result).get("Streams");
    std::string names;
    bool known = false;
    for (size_t i = 0; i < streams.arrayLength(); ++i) {
      std::string name = streams.get(i).get("StreamName").asString("");
      known = known || name == request_.stream;
      names += (names.empty() ? "" : ", ") + name;
    }
    if (!known) return fail("No stream named \"" + request_.stream + "\"; this account may use: " + names);
    job("checkManifest", {request_.stream, std::string()}, [this](bool success, std::string const& result) {
      if (!success) return fail("Update failed: " + failureMessage(result));
      out_ << (result == "updateComplete" ? "Updated " : "Up to date: ") << request_.stream << std::endl;
      // A started game ends the launcher at once, so its result may never arrive: say it now.
      out_ << "Starting " << request_.stream << std::endl;
      job("launch", {request_.stream, request_.gameArguments}, [this](bool success, std::string const& result) {
        if (!success) return fail("The game could not be started: " + failureMessage(result));
        succeed("");
      });
    });
  });
}

void CliPage::offline() {
  if (!std::get<bool>(commands_.at("checkOfflineAvailable")({})))
    return fail("No installed build of \"stable\" can be played offline");
  out_ << "Starting the installed build of stable" << std::endl;
  job("launchOffline", {request_.gameArguments}, [this](bool success, std::string const& result) {
    if (!success) return fail("The game could not be started: " + failureMessage(result));
    succeed("");
  });
}

void CliPage::selfUpdate() {
  job("checkLauncher", {}, [this](bool success, std::string const& result) {
    char const unpacked[] = "Launcher update unpacked into /tmp/ZandorLauncherTemp";
    // Unpacked, but no desktop could show the folder: on a terminal, where it is is enough.
    if (!success && failureMessage(result) == "failed to open dmg mount root") return succeed(unpacked);
    if (!success) return fail("Launcher update failed: " + failureMessage(result));
    // The check is forgiving: an unreachable service reads as "nothing new".
    succeed(result.empty() ? "No launcher update to install" : unpacked);
  });
}

namespace {

// A new object with the members of `object`: Json containers are shared, not copied, by assignment.
ka::Json copyOf(ka::Json const& object) {
  ka::Json copy = ka::Json::makeObject();
  for (auto it = object.object_begin(); it != object.object_end(); ++it) copy.set(it->first, it->second);
  return copy;
}

// A copy of a phase's progress as it stands at its end: every step and every byte done.
ka::Json finished(ka::Json const& progress) {
  ka::Json done = copyOf(progress);
  done.set("index", progress.get("total"));
  ka::Json download = progress.get("download");
  if (download.type() == ka::Json::TYPE_Object) {
    std::string bytes = download.get("bytesProgress").asString("");
    size_t slash = bytes.find(" / ");
    ka::Json whole = copyOf(download);
    whole.set("totalBytesReceived", download.get("totalExpectedBytes"));
    whole.set("bytesPerSecond", ka::Json::makeString("done"));
    if (slash != std::string::npos)
      whole.set("bytesProgress", ka::Json::makeString(bytes.substr(slash + 3) + bytes.substr(slash)));
    done.set("download", whole);
  }
  return done;
}

}  // namespace

void CliPage::job(std::string const& name, std::vector<webui::Value> args, Continuation then) {
  std::string id = std::get<std::string>(commands_.at(name)(args));
  if (id.empty()) return fail("The launcher refused \"" + name + "\": it is busy or an argument is missing");
  pendingJob_ = id;
  then_ = std::move(then);
}

void CliPage::handle(Event const& event) {
  if (event.name == "asyncProgress") return showProgress(text(event.args, 0));
  if (event.name == "sanityTestFailed") {
    endProgressLine();
    err_ << "Warning: the test of the game's disk found problems; see the launcher's log" << std::endl;
    return;
  }
  if (event.name != "async_result" || text(event.args, 0) != pendingJob_) return;
  endProgressLine(webui::argBool(event.args, 1));
  pendingJob_.clear();
  Continuation then = std::move(then_);
  then(webui::argBool(event.args, 1), text(event.args, 2));
}

void CliPage::showProgress(std::string const& document) {
  ka::Json progress;
  try {
    progress = parse(document);
  } catch (std::runtime_error const&) {
    return;
  }
  if (columns_) {
    // One column short of the width: a full line would wrap, and each redraw add a line.
    out_ << "\r\033[K" << progressLine(progress, 24, size_t(std::max(columns_(), 2) - 1)) << std::flush;
    lineOpen_ = true;
    return;
  }
  // Into a file or pipe, a phase's line goes out once, when the phase is over, so that it shows
  // where the phase got to and not where it began.
  std::string phase = progress.get("message").asString("");
  if (phase != phase_) endProgressLine(true);
  phase_ = phase;
  pendingProgress_ = progress;
}

void CliPage::endProgressLine(bool completed) {
  if (lineOpen_) out_ << std::endl;
  lineOpen_ = false;
  if (pendingProgress_.type() == ka::Json::TYPE_Object) {
    ka::Json shown = pendingProgress_;
    if (completed) shown = finished(shown);
    out_ << progressLine(shown) << std::endl;
  }
  pendingProgress_ = ka::Json();
  phase_.clear();
}

void CliPage::succeed(std::string const& message) {
  if (!message.empty()) out_ << message << std::endl;
  commands_.at("appExit")({});
}

void CliPage::fail(std::string const& message) {
  endProgressLine();
  err_ << message << std::endl;
  status_ = 1;
  commands_.at("appExit")({});
}

}  // namespace cli
