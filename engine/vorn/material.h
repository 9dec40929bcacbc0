// Materials: a shader name with its parameters, shared copy-on-write. Freezing interns a material
// in its library, so that equal materials become one object and compare and batch by pointer.
#pragma once

#include <atomic>
#include <cstdint>
#include <list>
#include <mutex>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "ka/counted.h"
#include "ka/mutex.h"
#include "ka/string_range.h"
#include "vorn/parameterblock.h"

namespace vorn {

class MaterialLibrary;

class MaterialData : public ka::Counted {
 public:
  MaterialData(MaterialLibrary* library, ka::Ref<ka::SharedMutex> sharedMutex, std::string shader);
  // An unfrozen copy with no bound block.
  MaterialData(MaterialData const& other);
  // Takes the library's mutex: never let the last reference go while holding it.
  ~MaterialData() override;

  // The parameters bound for `table`, kept for the last table asked. Frozen data only.
  ka::Ref<BoundParameterBlock> boundParams(MaterialBindingTable* table);
  // Never 0 once computed.
  uint64_t hash();
  // In place; callers hold the library's mutex.
  void setShader(ka::StringRange shader);
  void setVec(ka::StringRange name, ka::Vec4<float> const& value);
  void setMatrix(ka::StringRange name, ka::Mat4x4f const& value);
  void setTexture(ka::StringRange name, ka::RefNoCount<Texture const> value);
  void flushBindingTable();
  void setFrozen() { frozen_ = true; }
  // The library is going: this data lives on without it.
  void orphan();

  bool frozen() const { return frozen_; }
  MaterialLibrary* library() const { return library_; }
  ka::SharedMutex& sharedMutex() const { return *sharedMutex_; }
  std::string const& shader() const { return shader_; }
  ParameterBlock const& parameters() const { return parameters_; }

 private:
  void changed();

  std::mutex mutex_;  // guards the cached hash
  MaterialLibrary* library_;
  ka::Ref<ka::SharedMutex> sharedMutex_;
  std::string shader_;
  ParameterBlock parameters_;
  std::atomic<uint64_t> hash_{0};  // 0 until computed; read without the lock
  bool frozen_ = false;
  ka::Ref<BoundParameterBlock> bound_;
  MaterialBindingTable* table_ = nullptr;
};

// A handle: copying shares the data; changing shared or frozen data makes a private copy first.
class Material {
 public:
  Material() = default;
  Material(MaterialLibrary* library, ka::StringRange shader);

  bool defined() const { return bool(data_); }
  MaterialLibrary* library() const { return data_ ? data_->library() : nullptr; }
  std::string const& shader() const;
  ParameterBlock const& parameterBlock() const;
  auto const& vecParams() const { return parameterBlock().vectors(); }
  auto const& textureParams() const { return parameterBlock().textures(); }
  uint64_t hash() const { return data_ ? data_->hash() : 0; }
  ka::Vec4<float> vecParam(ka::StringRange name, ka::Vec4<float> const& fallback) const {
    return parameterBlock().vecParam(name, fallback);
  }
  ka::RefNoCount<Texture const> textureParam(ka::StringRange name, ka::RefNoCount<Texture const> fallback) const {
    return parameterBlock().textureParam(name, fallback);
  }

  // Setting what is already there changes nothing, so sharing is kept.
  void setShader(ka::StringRange shader);
  void setVec(ka::StringRange name, ka::Vec4<float> const& value);
  void setMatrix(ka::StringRange name, ka::Mat4x4f const& value);
  void setTexture(ka::StringRange name, ka::RefNoCount<Texture const> value);
  // Replaces the data by the library's one frozen object of equal value.
  void freeze();
  // Freezes if needed; the shared empty block for an undefined material or no table.
  ka::Ref<BoundParameterBlock> getBoundParameterBlock(MaterialBindingTable* table) const;
  bool operator==(Material const& other) const;

  MaterialData* data() const { return data_.get(); }

 private:
  template <class Same, class Change>
  void modify(Same const& same, Change const& change);

  // Mutable: freezing swaps in an equal object, which a reader cannot tell apart.
  mutable ka::Ref<MaterialData> data_;
};

// Same pointer, or equal hash, library, shader text and parameters.
struct MaterialDataEqualFunctor {
  bool operator()(MaterialData* a, MaterialData* b) const;
};

class MaterialLibrary {
 public:
  // Frozen sources whose pairs the library keeps, most recently used first.
  static constexpr size_t kFreezeCacheSize = 32;

  MaterialLibrary();
  // Orphans every frozen material; materials may outlive it.
  ~MaterialLibrary();
  MaterialLibrary(MaterialLibrary const&) = delete;
  MaterialLibrary& operator=(MaterialLibrary const&) = delete;

  ka::Ref<MaterialData> getFrozenMaterialData(ka::RefNoCount<MaterialData> data);
  // Takes frozen data out of the set; called under the mutex.
  void forgetMaterialData(ka::RefNoCount<MaterialData> data);

  ka::Ref<ka::SharedMutex> sharedMutex() const { return sharedMutex_; }
  size_t frozenCount() const;
  size_t freezeCacheSize() const;

 private:
  struct Hash {
    size_t operator()(MaterialData* data) const { return size_t(data->hash()); }
  };
  struct Entry {
    ka::Ref<MaterialData> source;
    ka::Ref<MaterialData> frozen;
  };

  ka::Ref<ka::SharedMutex> sharedMutex_;
  std::unordered_set<MaterialData*, Hash, MaterialDataEqualFunctor> frozen_;
  std::unordered_map<MaterialData*, std::list<Entry>::iterator> freezeCache_;
  std::list<Entry> entries_;
};

MaterialLibrary* createMaterialLibrary();
void releaseMaterialLibrary(MaterialLibrary* library);

}  // namespace vorn
