#ifndef VEK_BLOB_C_SMARTPTR_H
#define VEK_BLOB_C_SMARTPTR_H

#include <cstdint>

#include "foundation/C_PosixCriticalSection.h"
#include "foundation/Export.h"

// An intrusive-node reference-counting family. One node per shared object
// holds the object's pointer and the count of smart pointers that refer to
// it; the smart pointers are plain handles to the node.
//
// Threading: a node's count changes only under the node's own recursive
// critical section, so distinct C_SmartPtr objects that share one node may be
// copied and destroyed on different threads at the same time. A single
// C_SmartPtr object must not be changed by two threads at once. The shared
// object itself is not locked.
//
// The library instantiates and exports the family for C_BlobData, C_Blob,
// char and C_MPData (their headers declare the instantiations extern); other
// types instantiate the header templates in the using program.

// The abstract shared node. It never deletes the instance itself; what
// happens to the instance when the node goes is up to the derived node.
template <class T>
class VEK_API C_ReferenceCounter {
 public:
  using Deleter = void (*)(void*);

  // Destroys the lock only; the instance is the derived node's business.
  virtual ~C_ReferenceCounter() {}
  C_ReferenceCounter(const C_ReferenceCounter&) = delete;
  C_ReferenceCounter& operator=(const C_ReferenceCounter&) = delete;

  virtual bool IsConst() const = 0;
  virtual T* GetInstance() = 0;
  virtual const T* GetConstInstance() const = 0;
  // The function the node applies to the instance when it is destroyed.
  virtual Deleter GetDeleter() const = 0;

  // Adds one reference; returns the count after the change.
  std::int32_t AddReference() {
    m_lock.Enter();
    std::int32_t count = ++m_count;
    m_lock.Leave();
    return count;
  }
  // Removes one reference and returns the count left. The count is clamped
  // at 0: releasing a node whose count is already 0 (or less) leaves 0, so a
  // surplus release shows as a node freed early, never as a negative count.
  // The caller deletes the node when the result is 0, after this returns and
  // outside the lock.
  std::int32_t RemoveReference() {
    m_lock.Enter();
    m_count = m_count > 1 ? m_count - 1 : 0;
    std::int32_t count = m_count;
    m_lock.Leave();
    return count;
  }
  // The current count, read under the lock. With other threads copying
  // handles it is a snapshot only.
  std::int32_t GetCount() const {
    m_lock.Enter();
    std::int32_t count = m_count;
    m_lock.Leave();
    return count;
  }

 protected:
  // Count 0: the first C_SmartPtr that takes the node makes it 1.
  explicit C_ReferenceCounter(T* i_instance) : m_instance(i_instance), m_count(0) {}

  T* m_instance;

 private:
  std::int32_t m_count;
  C_PosixCriticalSection m_lock;
};

// The node for a modifiable instance. By default it owns the instance and
// deletes it with StandardDeleter when the node is destroyed.
template <class T>
class VEK_API C_NonConstReference : public C_ReferenceCounter<T> {
 public:
  using typename C_ReferenceCounter<T>::Deleter;

  // Takes i_instance. With i_ownsInstance false, or a null i_deleter, the
  // node's destruction leaves the instance alone.
  explicit C_NonConstReference(T* i_instance, Deleter i_deleter = &StandardDeleter,
                               bool i_ownsInstance = true)
      : C_ReferenceCounter<T>(i_instance), m_ownsInstance(i_ownsInstance), m_deleter(i_deleter) {}

  ~C_NonConstReference() override {
    if (m_ownsInstance && m_deleter) m_deleter(this->m_instance);
  }

  bool IsConst() const override { return false; }
  T* GetInstance() override { return this->m_instance; }
  const T* GetConstInstance() const override { return this->m_instance; }
  Deleter GetDeleter() const override { return m_deleter; }

  // Deletes a T made with new; null is ignored. For a class with a virtual
  // destructor the most derived object goes.
  static void StandardDeleter(void* i_instance) { delete static_cast<T*>(i_instance); }

 private:
  bool m_ownsInstance;
  Deleter m_deleter;
};

// A counted handle to a node, or empty. Identity is that of the instance:
// two smart pointers are equal when their nodes' instances are the same
// object, even through different nodes.
template <class T>
class VEK_API C_SmartPtr {
 public:
  C_SmartPtr() : m_node(nullptr) {}

  // Takes one reference on i_node (a fresh node then has count 1); null
  // gives an empty pointer. The node is deleted when its last reference goes.
  explicit C_SmartPtr(C_ReferenceCounter<T>* i_node) : m_node(i_node) {
    if (m_node) m_node->AddReference();
  }

  // Wraps i_instance (made with new) in a new owning C_NonConstReference.
  // If the node cannot be allocated the instance is deleted and
  // std::bad_alloc propagates. A null i_instance gives an empty pointer.
  explicit C_SmartPtr(T* i_instance) : m_node(nullptr) {
    if (!i_instance) return;
    C_ReferenceCounter<T>* node;
    try {
      node = new C_NonConstReference<T>(i_instance);
    } catch (...) {
      C_NonConstReference<T>::StandardDeleter(i_instance);
      throw;
    }
    m_node = node;
    m_node->AddReference();
  }

  C_SmartPtr(const C_SmartPtr& i_other) : m_node(i_other.m_node) {
    if (m_node) m_node->AddReference();
  }

  // Nothing is released or taken when both refer to the same instance.
  // Otherwise the new reference is taken before the old is released, so
  // that releasing cannot destroy what is being assigned.
  C_SmartPtr& operator=(const C_SmartPtr& i_other) {
    if (GetConst() == i_other.GetConst()) return *this;
    C_ReferenceCounter<T>* node = i_other.m_node;
    if (node) node->AddReference();
    Release();
    m_node = node;
    return *this;
  }

  virtual ~C_SmartPtr() { Release(); }

  // Drops this pointer's reference and leaves it empty; deletes the node
  // (and with an owning node, the instance) when it was the last one.
  void Release() {
    C_ReferenceCounter<T>* node = m_node;
    m_node = nullptr;
    if (node && node->RemoveReference() == 0) delete node;
  }

  bool IsNull() const { return m_node == nullptr; }
  explicit operator bool() const { return m_node != nullptr; }

  // The instance, or null for an empty pointer.
  T* Get() const { return m_node ? m_node->GetInstance() : nullptr; }
  const T* GetConst() const { return m_node ? m_node->GetConstInstance() : nullptr; }
  T* operator->() const { return Get(); }
  T& operator*() const { return *Get(); }

  // The node's current count; 0 for an empty pointer.
  std::int32_t GetReferenceCount() const { return m_node ? m_node->GetCount() : 0; }

  bool operator==(const C_SmartPtr& i_other) const { return GetConst() == i_other.GetConst(); }
  bool operator!=(const C_SmartPtr& i_other) const { return !(*this == i_other); }

 private:
  C_ReferenceCounter<T>* m_node;
};

extern template class C_ReferenceCounter<char>;
extern template class C_NonConstReference<char>;
extern template class C_SmartPtr<char>;

#endif
