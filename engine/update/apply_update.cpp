#include "apply_update.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <unordered_set>

#include "ka/log.h"
#include "ka/pathutil.h"
#include "ka/strutil.h"
#include "stage_pool.h"
#include "stream_signature.h"
#include "vorn/osutil.h"
#include "vorn/output_file.h"
#include "vorn/threadpool.h"

namespace update {

namespace {

using NameSet = std::set<std::string>;

std::string recordPath(UpdateContext const& context) {
  return ka::path::join(context.gameDir(), kInstallRecordName);
}

// Null when there is no record: the launcher that installed these files kept none.
std::optional<NameSet> readInstallRecord(UpdateContext const& context) {
  std::string path = recordPath(context);
  if (!vorn::osutil::fileExists(path)) return std::nullopt;
  try {
    std::ifstream in(path, std::ios::binary);
    ka::Json files = ka::Json::readFrom(in).get("files", ka::Json());
    NameSet names;
    for (size_t i = 0; i < files.arrayLength(); ++i) names.insert(files.get(i, ka::Json()).asString(""));
    return names;
  } catch (std::runtime_error const& error) {
    KA_LOG(Warn) << "Ignoring the unreadable record of installed files " << path << ": " << error.what();
    return std::nullopt;
  }
}

bool writeInstallRecord(UpdateContext const& context, NameSet const& names) {
  ka::Json files = ka::Json::makeArray();
  for (std::string const& name : names) files.push_back(ka::Json::makeString(name));
  ka::Json root = ka::Json::makeObject();
  root.set("files", files);
  std::string text = ka::compactText(root);
  std::string error;
  if (vorn::writeWholeFile(recordPath(context), text.data(), text.size(), error)) return true;
  KA_LOG(Error) << "Unable to write the record of installed files: " << error;
  return false;
}

// The manifest's own file, when the launcher keeps it inside the game directory.
std::optional<std::string> storedManifestName(UpdateContext const& context) {
  std::string prefix = context.gameDir().str() + "/";
  std::string path = context.manifestOnDisk();
  if (path.compare(0, prefix.size(), prefix) != 0) return std::nullopt;
  return "/" + path.substr(prefix.size());
}

NameSet namesOf(UpdateContext& context) {
  NameSet names;
  for (ManifestBundle const& bundle : context.manifest()->bundles)
    for (ManifestEntry const& entry : bundle.entries) names.insert(entry.filename);
  if (auto manifest = storedManifestName(context)) {
    names.insert(*manifest);
    names.insert(*manifest + kSignatureSuffix);
  }
  return names;
}

// Moves a finished temporary file onto `target` in one step, made executable first if it must
// be. False, with nothing changed at the target, where that can't be done (another file system):
// the caller copies instead.
bool moveInto(std::string const& source, std::string const& target, bool executable) {
  if (executable) {
    struct stat info;
    if (::stat(source.c_str(), &info) != 0 || ::chmod(source.c_str(), info.st_mode | 0111) != 0) return false;
  }
  return vorn::osutil::renameFile(source, target);
}

// Installs one unpacked content under each of its names, then consumes the temporary file: the
// last name takes the file itself where a rename can, the others get copies.
void applyContent(UpdateContext const& context, UpdateProgress& progress, std::string const& checksum,
                  std::vector<ManifestEntry> const& entries) {
  if (progress.canceled) return;
  ++progress.index;
  std::string source = context.getSystemTempPath(checksum);
  bool moved = false;
  for (size_t i = 0; i < entries.size(); ++i) {
    ManifestEntry const& entry = entries[i];
    KA_LOG(Info) << "Updating: " << entry.filename;
    std::string target = context.getSystemGamePath(entry.filename);
    if (i + 1 == entries.size() && moveInto(source, target, entry.executable)) {
      moved = true;
      continue;
    }
    // The old file stays whole until the new one is: a kill here never leaves half a file.
    std::string part = target + vorn::kPartialFileSuffix;
    vorn::OutputFile out(part);
    out.copyFrom(source);
    if (entry.executable) out.addExecuteBits();
    if (!out.close()) {
      KA_LOG(Error) << "Unable to copy file: " << source << " to " << target << ": " << out.error();
      vorn::osutil::deleteFile(part);
      ++progress.errors;
      continue;
    }
    if (!vorn::osutil::renameFile(part, target)) {
      KA_LOG(Error) << "Unable to replace file: " << target << ": " << std::strerror(errno);
      vorn::osutil::deleteFile(part);
      ++progress.errors;
    }
  }
  if (!moved && !vorn::osutil::deleteFile(source)) KA_LOG(Error) << "Error cleaning up temp file";
}

// Removes the launcher's partly written files, and the files it installed before that the manifest
// no longer lists. Names compare without regard to case, for file systems that don't tell case
// apart. Links are neither followed nor removed. Returns the stale names it could not remove.
NameSet removeStaleFiles(UpdateContext& context, std::optional<NameSet> const& installedBefore,
                         NameSet const& listed) {
  std::unordered_set<std::string> listedLower;
  for (std::string const& name : listed) listedLower.insert(ka::strLower(name));
  std::string const record = std::string("/") + kInstallRecordName;
  NameSet kept;
  std::vector<std::string> foreign;
  vorn::osutil::walkDirectory(context.gameDir().str(), "", vorn::LDR_Recurse, [&](vorn::osutil::DirEntry const& item) {
    std::string const& name = item.virtualPath;
    if (item.isDirectory || name == record) return;
    if (name.ends_with(vorn::kPartialFileSuffix)) {
      KA_LOG(Info) << "Delete leftover: " << name;
      if (!vorn::osutil::deleteFile(item.hostPath)) KA_LOG(Warn) << "Error deleting file : " << name;
      return;
    }
    if (listedLower.count(ka::strLower(name))) return;
    if (!installedBefore || !installedBefore->count(name)) {
      foreign.push_back(name);
      return;
    }
    KA_LOG(Info) << "Delete: " << name;
    if (!vorn::osutil::deleteFile(item.hostPath)) {
      KA_LOG(Warn) << "Error deleting file : " << name;
      kept.insert(name);
    }
  });
  if (!foreign.empty()) {
    std::ostringstream line;
    line << "Leaving " << foreign.size() << " files that the launcher did not install:";
    for (size_t i = 0; i < foreign.size() && i < 5; ++i) line << " " << foreign[i];
    if (foreign.size() > 5) line << " ...";
    KA_LOG(Info) << line.str();
  }
  return kept;
}

}  // namespace

void updateGameFiles(std::shared_ptr<UpdateContext> context, std::shared_ptr<UpdateProgress> progress,
                     std::vector<ManifestBundle> const& bundles) {
  std::optional<NameSet> installedBefore = readInstallRecord(*context);
  NameSet listed = namesOf(*context);
  // Recorded before anything is written, so that files of a run killed part way are known later.
  NameSet recorded = installedBefore.value_or(NameSet());
  recorded.insert(listed.begin(), listed.end());
  writeInstallRecord(*context, recorded);

  vorn::ThreadPool pool(stagePoolSize());
  std::map<std::string, std::vector<ManifestEntry>> byContent;
  std::set<std::string> directories;
  for (ManifestBundle const& bundle : bundles) {
    for (ManifestEntry const& entry : bundle.entries) {
      byContent[entry.checksum].push_back(entry);
      directories.insert(ka::path::parent(entry.filename).str());
    }
  }
  for (std::string const& directory : directories) {
    std::string error;
    if (!vorn::makeRealDirectories(context->gameDir(), directory, error))
      KA_LOG(Error) << "Unable to create directory " << directory << ": " << error;
  }
  progress->total = uint32_t(byContent.size());
  for (auto const& group : byContent) {
    if (progress->canceled) break;
    pool.enqueue([&context, &progress, &group] { applyContent(*context, *progress, group.first, group.second); });
  }
  pool.shutdown();
  NameSet kept = removeStaleFiles(*context, installedBefore, listed);
  kept.insert(listed.begin(), listed.end());
  writeInstallRecord(*context, kept);
  if (progress->errors == 0) {
    for (ManifestBundle const& bundle : bundles) vorn::osutil::deleteFile(context->getSystemTempPath(bundle.checksum) + ".bundle");
  } else {
    progress->error = "Failed to update one or more files. Check log for details.";
  }
  progress->done = true;
}

}  // namespace update
