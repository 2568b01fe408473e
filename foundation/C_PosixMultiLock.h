#ifndef VEK_FOUNDATION_C_POSIXMULTILOCK_H
#define VEK_FOUNDATION_C_POSIXMULTILOCK_H

#include "foundation/C_PosixCriticalSection.h"
#include "foundation/C_PosixEvent.h"

// Many readers or one writer. A writer takes the writer lock (shutting new
// readers out) and then waits for the present readers to drain. The writer
// lock is recursive, so the thread holding the exclusive lock may also take
// a shared one. Lock types other than the two below do nothing.
class C_PosixMultiLock {
 public:
  enum E_LockType { SHARED = 0, EXCLUSIVE = 1 };

  C_PosixMultiLock();
  ~C_PosixMultiLock();

  void GetLock(E_LockType i_type) const;
  void ReleaseLock(E_LockType i_type) const;

 private:
  C_PosixCriticalSection m_writerLock;
  C_PosixCriticalSection m_countLock;
  mutable unsigned int m_readers;
  C_PosixEvent m_noReaders;
};

#endif
