// Lists of pointers. The list owns nothing: who puts pointers in deletes what they point to.
#pragma once

#include <algorithm>
#include <vector>

#include "host/api.h"

class KY_API PtrListImp {
 public:
  int size() const { return static_cast<int>(items_.size()); }
  bool empty() const { return items_.empty(); }
  void clear() { items_.clear(); }
  void remove(int i);  // nothing outside the range

 protected:
  void add(void* item) { items_.push_back(item); }
  void* item(int i) const;  // null outside the range
  std::vector<void*> items_;
};

template <class T>
class TPtrList : public PtrListImp {
 public:
  void append(T* item) { add(item); }
  T* at(int i) const { return static_cast<T*>(item(i)); }
  T* operator[](int i) const { return at(i); }
  // Stable; `less(T const&, T const&)`.
  template <class Less>
  void sort(Less less) {
    std::stable_sort(items_.begin(), items_.end(), [&](void* a, void* b) {
      return less(*static_cast<T const*>(a), *static_cast<T const*>(b));
    });
  }
};
