// Named shader parameters, the slot numbers that stand for their names at draw time, and a set of
// parameters bound to those slots.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "ka/counted.h"
#include "ka/string_range.h"
#include "ka/vecmath.h"

namespace vorn {

class Texture;

// FNV-1 with 64 bits: each byte multiplies, then XORs. Chain calls by passing the last result.
inline constexpr uint64_t kFnv1Basis = 0xcbf29ce484222325ull;
uint64_t fnv1(void const* data, size_t length, uint64_t h = kFnv1Basis);

// A plain value. The maps are sorted, so that iteration, hashing and comparison do not depend on
// the order in which parameters were set. Its owner guards it.
class ParameterBlock {
 public:
  // The stored value, or `fallback` when the name is absent; nothing is added.
  ka::Vec4<float> vecParam(ka::StringRange name, ka::Vec4<float> const& fallback) const;
  ka::Mat4x4f matrixParam(ka::StringRange name, ka::Mat4x4f const& fallback) const;
  ka::RefNoCount<Texture const> textureParam(ka::StringRange name, ka::RefNoCount<Texture const> fallback) const;
  // Insert or replace; nothing removes a parameter.
  void setVec(ka::StringRange name, ka::Vec4<float> const& value);
  void setMatrix(ka::StringRange name, ka::Mat4x4f const& value);
  void setTexture(ka::StringRange name, ka::RefNoCount<Texture const> value);

  // FNV-1 over names and values; a texture counts by the lowest byte of its address, so blocks that
  // differ only in a texture may collide, and comparison decides.
  uint64_t hash() const;
  bool operator==(ParameterBlock const& other) const;
  bool operator<(ParameterBlock const& other) const;

  std::map<std::string, ka::Vec4<float>, std::less<>> const& vectors() const { return vectors_; }
  std::map<std::string, ka::Mat4x4f, std::less<>> const& matrices() const { return matrices_; }
  std::map<std::string, ka::Ref<Texture const>, std::less<>> const& textures() const { return textures_; }

 private:
  std::map<std::string, ka::Vec4<float>, std::less<>> vectors_;
  std::map<std::string, ka::Mat4x4f, std::less<>> matrices_;
  std::map<std::string, ka::Ref<Texture const>, std::less<>> textures_;
};

// Numbers parameter names from 0 in order of first use; one number space serves vectors, matrices
// and textures. A table belongs to one consumer of bound blocks; any thread may ask it.
class MaterialBindingTable {
 public:
  unsigned getSlot(std::string const& name);

 private:
  std::unordered_map<std::string, unsigned> slots_;
  std::mutex mutex_;
};

// A parameter block whose names have become slots: applied by walking three arrays. It does not
// change after construction.
class BoundParameterBlock : public ka::Counted {
 public:
  struct Vector {
    uint32_t slot;
    float value[4];
  };
  struct Matrix {
    uint32_t slot;
    float value[16];
  };
  struct TextureRecord {
    uint32_t slot;
    ka::Ref<Texture const> texture;
  };

  // With no table the block stays empty. Records lie in name order, not slot order.
  BoundParameterBlock(ParameterBlock const& block, MaterialBindingTable* table);

  std::vector<Vector> const& vectors() const { return vectors_; }
  std::vector<Matrix> const& matrices() const { return matrices_; }
  std::vector<TextureRecord> const& textures() const { return textures_; }

  // Shared, empty, and never released.
  static BoundParameterBlock* const sEmpty;

 private:
  std::vector<Vector> vectors_;
  std::vector<Matrix> matrices_;
  std::vector<TextureRecord> textures_;
};

}  // namespace vorn
