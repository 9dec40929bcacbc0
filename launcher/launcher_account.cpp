// Sign-in and sign-out with the account service, and the recovery mail.
#include "launcher_gui.h"
#include "update/download.h"

namespace {

char const kJson[] = "application/json";

}  // namespace

std::string LauncherGUI::zandorNetLogin(std::string const& name, std::string const& password) {
  if (!claimJob()) return "";
  if (name.empty() || password.empty()) {
    busy.store(false);
    return "";
  }
  // The password lives in this closure and the request body only; neither is logged.
  return startJob([this, name, password](std::string const& id) {
    auto* record = new update::UpdateProgress;
    record->message = "Logging in";
    setProgress(record);
    ka::Json body = ka::Json::makeObject();
    body.set("TitleId", ka::Json::makeNumber(config.titleId));
    body.set("AuthMethod", ka::Json::makeString("ZandorCredentials"));
    body.set("ZandorName", ka::Json::makeString(name));
    body.set("Password", ka::Json::makeString(password));
    update::DownloadProgress download(progress->canceled);
    ka::Json response = update::jsonRequest(http, serviceUrl + "/GC/Authenticate", ka::compactText(body), kJson, download, "");
    // A cancelled request brings back no object to read; report it rather than fail on it.
    if (response.type() != ka::Json::TYPE_Object) {
      ticket = displayName = "null";
      finishJob(id, false, jMsg("canceled"));
      return;
    }
    // Read whatever came back, failures included: a failed login leaves "null" in both.
    ticket = response.get("SessionTicket", ka::Json()).asString("null");
    displayName = response.get("DisplayName", ka::Json()).asString("null");
    if (displayName.empty()) displayName = response.get("ZandorName", ka::Json()).asString("null");
    finishJob(id, download.error.empty(), ka::compactText(response));
  });
}

std::string LauncherGUI::zandorNetLoginWithTicket(std::string const& name, std::string const& sessionTicket) {
  if (!claimJob()) return "";
  if (name.empty() || sessionTicket.empty()) {
    busy.store(false);
    return "";
  }
  ticket = sessionTicket;
  return startJob([this](std::string const& id) {
    auto* record = new update::UpdateProgress;
    record->message = "Logging in";
    setProgress(record);
    update::DownloadProgress download(progress->canceled);
    ka::Json response = update::jsonRequest(http, serviceUrl + "/GC/UserInfo", "", kJson, download, ticket);
    if (!download.error.empty()) ticket.clear();
    finishJob(id, download.error.empty(), ka::compactText(response));
  });
}

std::string LauncherGUI::zandorNetLogout() {
  if (!claimJob()) return "";
  // The service is not told: the launcher merely forgets the ticket.
  return startJob([this](std::string const& id) {
    ticket.clear();
    finishJob(id, true, "signed out");
  });
}

std::string LauncherGUI::getAccountInfo(std::string const& email) {
  if (!claimJob()) return "";
  return startJob([this, email](std::string const& id) {
    auto* record = new update::UpdateProgress;
    record->message = "Retrieving account info";
    setProgress(record);
    ka::Json body = ka::Json::makeObject();
    body.set("TitleId", ka::Json::makeNumber(4));
    body.set("Email", ka::Json::makeString(email));
    update::DownloadProgress download(progress->canceled);
    update::jsonRequest(http, serviceUrl + "/GameClient/SendAccountRecoveryEmail", ka::compactText(body), kJson, download, "");
    // Whatever went wrong, the page shows the same words as for an unknown address.
    if (download.error.empty())
      finishJob(id, true, "");
    else
      finishJob(id, false, jMsg("No account found with that email address."));
  });
}
