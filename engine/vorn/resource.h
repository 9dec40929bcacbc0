// Loaded objects cached by virtual file name: each name is loaded at most once at a time, through
// a format chosen by its extension, loaded again after its file changed, and whoever asked to be
// told of a change is told.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "ka/counted.h"
#include "ka/string_range.h"
#include "ka/taskqueue.h"
#include "vorn/filesystem.h"

namespace vorn {

class ChangeWatcher;

class Resource : public ka::Counted {};

// Lets a caller refuse an object of the wrong kind.
class ResourceValidator {
 public:
  virtual ~ResourceValidator() = default;
  virtual bool isAcceptable(ka::RefNoCount<Resource> resource) = 0;
};

class ResourceFormat {
 public:
  virtual ~ResourceFormat() = default;
  // `watcher` is the one the file was opened with; a format that opens more files passes it on,
  // so that a change of any of them reloads the resource. Null on failure.
  virtual ka::Ref<Resource> load(File& file, std::string const& name, ka::RefNoCount<ChangeWatcher> watcher,
                                 ka::RefNoCount<Filesystem> filesystem) = 0;
};

// The caller's handle on an asynchronous fetch.
class ResourceFetch : public ka::Counted {
 public:
  // No callback starts after this returns, and one that runs has ended by then.
  virtual void abort() = 0;
};

// One name's slot. A watcher given to any call is fired, once, at the next change of the name.
class ResourceControlBlock : public ka::Counted {
 public:
  // What is there now, without loading; during a load the earlier object, if any.
  virtual ka::Ref<Resource> getNoBlock(ResourceValidator* validator, ka::RefNoCount<ChangeWatcher> watcher) = 0;
  // Loads on this thread if needed. A name that another thread is loading blocks for good: blocking
  // fetches of one name belong on one thread (the loader queue's).
  virtual ka::Ref<Resource> fetchBlocking(ResourceValidator* validator, ka::RefNoCount<ChangeWatcher> watcher) = 0;
  // Loads on the system's queue if needed; `callback` always runs on `queue`, never inside this call.
  virtual ka::Ref<ResourceFetch> fetchAsync(ResourceValidator* validator,
                                            std::function<void(ka::RefNoCount<Resource>)> const& callback,
                                            ka::TaskQueue* queue, ka::RefNoCount<ChangeWatcher> watcher) = 0;
};

class ResourceSystem {
 public:
  virtual ~ResourceSystem() = default;
  // `extension` with its dot; an extension already registered keeps its format.
  virtual void registerFormat(ka::StringRange extension, ResourceFormat* format) = 0;
  virtual void unregisterFormat(ka::StringRange extension, ResourceFormat* format) = 0;
  // The name's block, made if needed; loads nothing. Any thread.
  virtual ka::Ref<ResourceControlBlock> resolve(std::string const& name) = 0;
  // Drops the blocks nobody else holds or watches, with objects nobody else holds.
  virtual void springCleaning() = 0;
};

// `loaderQueue` runs asynchronous loads and change handling: one thread (see fetchBlocking).
ResourceSystem* createResourceSystem(ka::RefNoCount<Filesystem> filesystem, ka::TaskQueue* loaderQueue);

}  // namespace vorn
