// CInstanceSmartPtr: borrows a reference-counted singleton for a scope.
//
// It holds one count of the singleton from its construction to its destruction. It never creates the
// singleton: where there is none, the pointer is null, and the user must test it.

#pragma once

namespace halvo {

template <class Singleton>
class CInstanceSmartPtr {
 public:
  CInstanceSmartPtr() : m_pInstance(Singleton::acquireInstance()) {}
  virtual ~CInstanceSmartPtr() { Singleton::releaseInstance(m_pInstance); }

  CInstanceSmartPtr(const CInstanceSmartPtr&) = delete;
  CInstanceSmartPtr& operator=(const CInstanceSmartPtr&) = delete;

  // The instance, or null. The pointer is good for as long as this object lives.
  [[nodiscard]] Singleton* get() const { return m_pInstance; }
  Singleton* operator->() const { return m_pInstance; }
  explicit operator bool() const { return m_pInstance != nullptr; }

 private:
  Singleton* m_pInstance;
};

}  // namespace halvo
