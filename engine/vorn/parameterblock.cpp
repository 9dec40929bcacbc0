#include "parameterblock.h"

#include <cstring>

#include "vorn/rasterizer.h"

namespace vorn {

namespace {

class Fnv1 {
 public:
  void bytes(void const* data, size_t length) { h_ = fnv1(data, length, h_); }
  void name(std::string const& text) {
    bytes(text.data(), text.size());
    unsigned char const zero = 0;
    bytes(&zero, 1);
  }
  uint64_t value() const { return h_; }

 private:
  uint64_t h_ = kFnv1Basis;
};

template <class Map, class Less>
int compareMaps(Map const& a, Map const& b, Less const& valueLess) {
  for (auto i = a.begin(), j = b.begin(); i != a.end(); ++i, ++j) {
    if (i->first != j->first) return i->first < j->first ? -1 : 1;
    if (valueLess(i->second, j->second)) return -1;
    if (valueLess(j->second, i->second)) return 1;
  }
  return 0;
}

template <class T>
bool bytesLess(T const& a, T const& b) {
  return std::memcmp(&a, &b, sizeof(T)) < 0;
}

}  // namespace

uint64_t fnv1(void const* data, size_t length, uint64_t h) {
  auto const* p = static_cast<unsigned char const*>(data);
  for (size_t i = 0; i < length; ++i) h = (h * 0x100000001b3ull) ^ p[i];
  return h;
}

ka::Vec4<float> ParameterBlock::vecParam(ka::StringRange name, ka::Vec4<float> const& fallback) const {
  auto found = vectors_.find(name.view());
  return found == vectors_.end() ? fallback : found->second;
}

ka::Mat4x4f ParameterBlock::matrixParam(ka::StringRange name, ka::Mat4x4f const& fallback) const {
  auto found = matrices_.find(name.view());
  return found == matrices_.end() ? fallback : found->second;
}

ka::RefNoCount<Texture const> ParameterBlock::textureParam(ka::StringRange name,
                                                           ka::RefNoCount<Texture const> fallback) const {
  auto found = textures_.find(name.view());
  return found == textures_.end() ? fallback : ka::RefNoCount<Texture const>(found->second);
}

void ParameterBlock::setVec(ka::StringRange name, ka::Vec4<float> const& value) { vectors_[name.str()] = value; }

void ParameterBlock::setMatrix(ka::StringRange name, ka::Mat4x4f const& value) { matrices_[name.str()] = value; }

void ParameterBlock::setTexture(ka::StringRange name, ka::RefNoCount<Texture const> value) {
  textures_[name.str()] = value.ref();
}

uint64_t ParameterBlock::hash() const {
  Fnv1 h;
  for (auto const& [name, value] : vectors_) {
    h.name(name);
    h.bytes(&value, sizeof value);
  }
  for (auto const& [name, value] : matrices_) {
    h.name(name);
    h.bytes(&value, sizeof value);
  }
  for (auto const& [name, texture] : textures_) {
    h.name(name);
    auto lowest = static_cast<unsigned char>(reinterpret_cast<uintptr_t>(texture.get()));
    h.bytes(&lowest, 1);
  }
  return h.value();
}

bool ParameterBlock::operator==(ParameterBlock const& other) const {
  auto sameBytes = [](auto const& a, auto const& b) { return std::memcmp(&a, &b, sizeof a) == 0; };
  auto equal = [](auto const& a, auto const& b, auto const& sameValue) {
    if (a.size() != b.size()) return false;
    for (auto i = a.begin(), j = b.begin(); i != a.end(); ++i, ++j) {
      if (i->first != j->first || !sameValue(i->second, j->second)) return false;
    }
    return true;
  };
  return equal(vectors_, other.vectors_, sameBytes) && equal(matrices_, other.matrices_, sameBytes) &&
         equal(textures_, other.textures_, [](auto const& a, auto const& b) { return a.get() == b.get(); });
}

bool ParameterBlock::operator<(ParameterBlock const& other) const {
  if (vectors_.size() != other.vectors_.size()) return vectors_.size() < other.vectors_.size();
  if (matrices_.size() != other.matrices_.size()) return matrices_.size() < other.matrices_.size();
  if (textures_.size() != other.textures_.size()) return textures_.size() < other.textures_.size();
  if (int c = compareMaps(vectors_, other.vectors_, bytesLess<ka::Vec4<float>>)) return c < 0;
  if (int c = compareMaps(matrices_, other.matrices_, bytesLess<ka::Mat4x4f>)) return c < 0;
  auto addressLess = [](ka::Ref<Texture const> const& a, ka::Ref<Texture const> const& b) {
    return std::less<Texture const*>()(a.get(), b.get());
  };
  return compareMaps(textures_, other.textures_, addressLess) < 0;
}

unsigned MaterialBindingTable::getSlot(std::string const& name) {
  std::lock_guard<std::mutex> lock(mutex_);
  return slots_.try_emplace(name, unsigned(slots_.size())).first->second;
}

// Counted once and never dropped, so no reference's end can release it, not even at exit.
BoundParameterBlock* const BoundParameterBlock::sEmpty = [] {
  auto* empty = new BoundParameterBlock(ParameterBlock(), nullptr);
  empty->addRef();
  return empty;
}();

BoundParameterBlock::BoundParameterBlock(ParameterBlock const& block, MaterialBindingTable* table) {
  if (!table) return;
  vectors_.reserve(block.vectors().size());
  matrices_.reserve(block.matrices().size());
  textures_.reserve(block.textures().size());
  for (auto const& [name, value] : block.vectors()) {
    vectors_.push_back({table->getSlot(name), {value.x, value.y, value.z, value.w}});
  }
  for (auto const& [name, value] : block.matrices()) {
    Matrix record{table->getSlot(name), {}};
    std::memcpy(record.value, &value, sizeof record.value);
    matrices_.push_back(record);
  }
  for (auto const& [name, texture] : block.textures()) textures_.push_back({table->getSlot(name), texture});
}

}  // namespace vorn
