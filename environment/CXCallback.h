// CXCallback: base of objects that hold something to be called later. Owned by whoever holds the
// pointer; a class of it says on which thread it is invoked.

#pragma once

class CXCallback {
 public:
  CXCallback() = default;
  CXCallback(const CXCallback&) = delete;
  CXCallback& operator=(const CXCallback&) = delete;
  virtual ~CXCallback() = default;
  virtual void Invoke() = 0;
};
