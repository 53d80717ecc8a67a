#include "host/ptrlist.h"

void PtrListImp::remove(int i) {
  if (i >= 0 && i < size()) items_.erase(items_.begin() + i);
}

void* PtrListImp::item(int i) const {
  return i >= 0 && i < size() ? items_[static_cast<size_t>(i)] : nullptr;
}
