// One stream's whole update, as the launcher's update job runs it, stage by stage.
#pragma once

#include <cstdio>
#include <functional>
#include <string>

#include "update/update.h"
#include "vorn/osutil.h"

struct PipelineResult {
  bool ok = false;           // every stage ended without errors and the final check found nothing
  std::string failedStage;   // where it stopped
  size_t bundlesFetched = 0;
  size_t badAfter = 0;
};

// `onStage` hears each stage's name before it starts.
inline PipelineResult runUpdatePipeline(std::shared_ptr<update::UpdateContext> context, std::string const& manifestName,
                                        std::atomic<bool>* cancel = nullptr,
                                        std::function<void(char const*)> const& onStage = nullptr) {
  PipelineResult result;
  auto stage = [&](char const* name) {
    if (onStage) onStage(name);
    auto progress = std::make_shared<update::UpdateProgress>();
    if (cancel && *cancel) progress->canceled = true;
    return progress;
  };
  auto stopped = [&](std::shared_ptr<update::UpdateProgress> const& p, char const* name) {
    if (p->errors == 0 && !p->canceled) return false;
    result.failedStage = name;
    return true;
  };
  vorn::osutil::mkdirAndParents(context->gameDir());
  vorn::osutil::mkdirAndParents(context->tempDir());
  auto sanity = stage("sanity");
  update::sanityTest(context, sanity);
  if (stopped(sanity, "sanity")) return result;
  auto fetch = stage("manifest");
  if (!update::downloadManifest(context, fetch, manifestName)) {
    result.failedStage = "manifest";
    return result;
  }
  std::vector<update::ManifestBundle> needs;
  auto check = stage("check");
  update::check(context, check, needs);
  if (stopped(check, "check")) return result;
  result.bundlesFetched = needs.size();
  auto download = stage("download");
  update::downloadManifestEntries(context, download, std::make_shared<update::DownloadProgressAggregator>(), needs);
  if (stopped(download, "download")) return result;
  auto unpack = stage("unpack");
  update::unpackManifestBundles(context, unpack, needs);
  if (stopped(unpack, "unpack")) return result;
  auto apply = stage("apply");
  update::updateGameFiles(context, apply, needs);
  if (stopped(apply, "apply")) return result;
  std::vector<update::ManifestBundle> bad;
  auto proof = stage("proof");
  update::check(context, proof, bad);
  result.badAfter = bad.size();
  result.ok = bad.empty();
  if (!result.ok) result.failedStage = "proof";
  return result;
}
