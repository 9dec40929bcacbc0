// Intrusive reference counting for shared objects.
#pragma once

#include <atomic>
#include <cstdint>
#include <utility>

namespace ka {

// Base of every shared object. A new object starts with no owner (count 0).
class Counted {
 public:
  Counted() = default;
  Counted(Counted const&) : count_(0) {}
  Counted& operator=(Counted const&) { return *this; }

  // Called when the last reference goes; subclasses may recycle instead of deleting.
  virtual void release() { delete this; }
  virtual ~Counted() = default;

  // Const, so that a Ref<T const> can own a shared object it may not change.
  void addRef() const { count_.fetch_add(1, std::memory_order_seq_cst); }
  void dropRef() const {
    if (count_.fetch_sub(1, std::memory_order_seq_cst) == 1) const_cast<Counted*>(this)->release();
  }
  int64_t refCount() const { return count_.load(); }

 private:
  mutable std::atomic<int64_t> count_{0};
};

// Owning pointer to a Counted object; a null Ref is legal.
template <class T>
class Ref {
 public:
  Ref() = default;
  Ref(std::nullptr_t) {}
  Ref(T* p) : p_(p) { if (p_) p_->addRef(); }
  Ref(Ref const& o) : Ref(o.p_) {}
  Ref(Ref&& o) noexcept : p_(std::exchange(o.p_, nullptr)) {}
  template <class U>
  Ref(Ref<U> const& o) : Ref(o.get()) {}
  ~Ref() { if (p_) p_->dropRef(); }

  Ref& operator=(Ref o) noexcept {
    std::swap(p_, o.p_);
    return *this;
  }

  T* get() const { return p_; }
  T* operator->() const { return p_; }
  T& operator*() const { return *p_; }
  explicit operator bool() const { return p_ != nullptr; }
  void reset() { *this = Ref(); }

  friend bool operator==(Ref const& a, Ref const& b) { return a.p_ == b.p_; }

 private:
  T* p_ = nullptr;
};

// A borrowed object for the length of a call: no count traffic.
template <class T>
class RefNoCount {
 public:
  RefNoCount(std::nullptr_t = nullptr) {}
  RefNoCount(T* p) : p_(p) {}
  template <class U>
  RefNoCount(Ref<U> const& r) : p_(r.get()) {}

  T* get() const { return p_; }
  T* operator->() const { return p_; }
  T& operator*() const { return *p_; }
  explicit operator bool() const { return p_ != nullptr; }
  Ref<T> ref() const { return Ref<T>(p_); }

 private:
  T* p_ = nullptr;
};

}  // namespace ka
