// An intrusive doubly linked list: objects that derive from DListItem link themselves in without
// any allocation, and unlink in constant time.
#pragma once

namespace ka {

class DListItem {
 public:
  DListItem() = default;
  DListItem(DListItem const&) = delete;
  DListItem& operator=(DListItem const&) = delete;
  ~DListItem() { unlink(); }

  void unlink() {
    if (!next_) return;
    prev_->next_ = next_;
    next_->prev_ = prev_;
    prev_ = next_ = nullptr;
  }

 private:
  template <class T>
  friend class DList;
  DListItem* prev_ = nullptr;
  DListItem* next_ = nullptr;
};

// T derives from DListItem. The list owns nothing.
template <class T>
class DList {
 public:
  DList() { head_.prev_ = head_.next_ = &head_; }
  DList(DList const&) = delete;
  DList& operator=(DList const&) = delete;
  ~DList() {
    while (!empty()) head_.next_->unlink();
    head_.prev_ = head_.next_ = nullptr;
  }

  bool empty() const { return head_.next_ == &head_; }
  void pushBack(T* item) {
    DListItem* node = item;
    node->unlink();
    node->prev_ = head_.prev_;
    node->next_ = &head_;
    head_.prev_->next_ = node;
    head_.prev_ = node;
  }
  // Calls f on each item; f may unlink the item it is given.
  template <class F>
  void forEach(F&& f) {
    for (DListItem* node = head_.next_; node != &head_;) {
      DListItem* next = node->next_;
      f(static_cast<T*>(node));
      node = next;
    }
  }

 private:
  DListItem head_;
};

}  // namespace ka
