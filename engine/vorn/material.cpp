#include "material.h"

#include <cstring>

#include "ka/die.h"
#include "vorn/rasterizer.h"

namespace vorn {

MaterialData::MaterialData(MaterialLibrary* library, ka::Ref<ka::SharedMutex> sharedMutex, std::string shader)
    : library_(library), sharedMutex_(std::move(sharedMutex)), shader_(std::move(shader)) {}

MaterialData::MaterialData(MaterialData const& other)
    : ka::Counted(),
      library_(other.library_),
      sharedMutex_(other.sharedMutex_),
      shader_(other.shader_),
      parameters_(other.parameters_),
      hash_(other.hash_.load()) {}

MaterialData::~MaterialData() {
  std::lock_guard<ka::SharedMutex> lock(*sharedMutex_);
  if (frozen_ && library_) library_->forgetMaterialData(this);
}

void MaterialData::changed() {
  hash_ = 0;
  bound_.reset();
  table_ = nullptr;
}

void MaterialData::setShader(ka::StringRange shader) {
  shader_ = shader.str();
  changed();
}

void MaterialData::setVec(ka::StringRange name, ka::Vec4<float> const& value) {
  parameters_.setVec(name, value);
  changed();
}

void MaterialData::setMatrix(ka::StringRange name, ka::Mat4x4f const& value) {
  parameters_.setMatrix(name, value);
  changed();
}

void MaterialData::setTexture(ka::StringRange name, ka::RefNoCount<Texture const> value) {
  parameters_.setTexture(name, value);
  changed();
}

uint64_t MaterialData::hash() {
  if (uint64_t cached = hash_.load()) return cached;
  std::lock_guard<std::mutex> lock(mutex_);
  uint64_t shader = fnv1(shader_.data(), shader_.size());
  uint64_t parameters = parameters_.hash();
  // 0 means "not computed", so a computed hash never is.
  uint64_t h = shader == parameters ? 1 : shader ^ parameters;
  hash_ = h;
  return h;
}

ka::Ref<BoundParameterBlock> MaterialData::boundParams(MaterialBindingTable* table) {
  if (!frozen_) ka::die("Material data not frozen!");
  if (table_ != table) {
    bound_ = new BoundParameterBlock(parameters_, table);
    table_ = table;
  }
  return bound_;
}

void MaterialData::flushBindingTable() {
  bound_.reset();
  table_ = nullptr;
}

void MaterialData::orphan() {
  library_ = nullptr;
  flushBindingTable();
}

Material::Material(MaterialLibrary* library, ka::StringRange shader)
    : data_(new MaterialData(library, library->sharedMutex(), shader.str())) {}

std::string const& Material::shader() const {
  static std::string const none;
  return data_ ? data_->shader() : none;
}

ParameterBlock const& Material::parameterBlock() const {
  static ParameterBlock const none;
  return data_ ? data_->parameters() : none;
}

// Under the library's mutex: data that is private and unfrozen changes in place; otherwise an equal
// value changes nothing, and a different one goes into a private copy. The data let go is
// released only after the mutex, since its destructor takes the mutex too.
template <class Same, class Change>
void Material::modify(Same const& same, Change const& change) {
  if (!data_) return;
  ka::Ref<MaterialData> old;
  std::lock_guard<ka::SharedMutex> lock(data_->sharedMutex());
  if (!data_->frozen() && data_->refCount() == 1) {
    change(*data_);
    return;
  }
  if (same(*data_)) return;
  ka::Ref<MaterialData> copy(new MaterialData(*data_));
  change(*copy);
  old = std::move(data_);
  data_ = std::move(copy);
}

void Material::setShader(ka::StringRange shader) {
  modify([&](MaterialData& d) { return d.shader() == shader.view(); }, [&](MaterialData& d) { d.setShader(shader); });
}

void Material::setVec(ka::StringRange name, ka::Vec4<float> const& value) {
  modify(
      [&](MaterialData& d) {
        ka::Vec4<float> now = d.parameters().vecParam(name, {0, 0, 0, 0});
        return std::memcmp(&now, &value, sizeof now) == 0;
      },
      [&](MaterialData& d) { d.setVec(name, value); });
}

void Material::setMatrix(ka::StringRange name, ka::Mat4x4f const& value) {
  modify(
      [&](MaterialData& d) {
        ka::Mat4x4f now = d.parameters().matrixParam(name, ka::Mat4x4f{});
        return std::memcmp(&now, &value, sizeof now) == 0;
      },
      [&](MaterialData& d) { d.setMatrix(name, value); });
}

void Material::setTexture(ka::StringRange name, ka::RefNoCount<Texture const> value) {
  modify([&](MaterialData& d) { return d.parameters().textureParam(name, nullptr).get() == value.get(); },
         [&](MaterialData& d) { d.setTexture(name, value); });
}

void Material::freeze() {
  if (!data_ || data_->frozen() || !data_->library()) return;
  ka::Ref<MaterialData> frozen = data_->library()->getFrozenMaterialData(data_);
  data_ = std::move(frozen);
}

ka::Ref<BoundParameterBlock> Material::getBoundParameterBlock(MaterialBindingTable* table) const {
  if (!data_ || !table) return BoundParameterBlock::sEmpty;
  const_cast<Material*>(this)->freeze();
  std::lock_guard<ka::SharedMutex> lock(data_->sharedMutex());
  return data_->boundParams(table);
}

bool Material::operator==(Material const& other) const {
  if (data_ == other.data_) return true;
  if (!data_ || !other.data_) return false;
  // Equal frozen materials are one object.
  if (data_->frozen() && other.data_->frozen()) return false;
  return data_->library() == other.data_->library() && data_->shader() == other.data_->shader() &&
         data_->parameters() == other.data_->parameters();
}

bool MaterialDataEqualFunctor::operator()(MaterialData* a, MaterialData* b) const {
  if (a == b) return true;
  return a->hash() == b->hash() && a->library() == b->library() && a->shader() == b->shader() &&
         a->parameters() == b->parameters();
}

MaterialLibrary::MaterialLibrary() : sharedMutex_(new ka::SharedMutex) {}

MaterialLibrary::~MaterialLibrary() {
  std::list<Entry> entries;
  {
    std::lock_guard<ka::SharedMutex> lock(*sharedMutex_);
    for (MaterialData* data : frozen_) data->orphan();
    frozen_.clear();
    freezeCache_.clear();
    entries.swap(entries_);
  }
  // Released after the mutex: the data's destructors take it.
}

ka::Ref<MaterialData> MaterialLibrary::getFrozenMaterialData(ka::RefNoCount<MaterialData> data) {
  Entry evicted;  // released after the mutex
  std::lock_guard<ka::SharedMutex> lock(*sharedMutex_);
  auto cached = freezeCache_.find(data.get());
  if (cached != freezeCache_.end()) {
    entries_.splice(entries_.begin(), entries_, cached->second);
    return cached->second->frozen;
  }
  ka::Ref<MaterialData> frozen;
  auto found = frozen_.find(data.get());
  if (found != frozen_.end()) {
    frozen = *found;
  } else {
    frozen = data->refCount() == 1 ? data.ref() : ka::Ref<MaterialData>(new MaterialData(*data));
    frozen->setFrozen();
    frozen->hash();
    frozen_.insert(frozen.get());
  }
  if (frozen.get() != data.get()) {
    entries_.push_front({data.ref(), frozen});
    freezeCache_[data.get()] = entries_.begin();
    if (freezeCache_.size() > kFreezeCacheSize) {
      freezeCache_.erase(entries_.back().source.get());
      evicted = std::move(entries_.back());
      entries_.pop_back();
    }
  }
  return frozen;
}

void MaterialLibrary::forgetMaterialData(ka::RefNoCount<MaterialData> data) {
  auto found = frozen_.find(data.get());
  if (found != frozen_.end() && *found == data.get()) frozen_.erase(found);
}

size_t MaterialLibrary::frozenCount() const {
  std::lock_guard<ka::SharedMutex> lock(*sharedMutex_);
  return frozen_.size();
}

size_t MaterialLibrary::freezeCacheSize() const {
  std::lock_guard<ka::SharedMutex> lock(*sharedMutex_);
  return freezeCache_.size();
}

MaterialLibrary* createMaterialLibrary() { return new MaterialLibrary; }

void releaseMaterialLibrary(MaterialLibrary* library) { delete library; }

}  // namespace vorn
