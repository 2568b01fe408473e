#ifndef VEK_FOUNDATION_C_LOCKSTRSTREAM_H
#define VEK_FOUNDATION_C_LOCKSTRSTREAM_H

#include "foundation/C_PosixCriticalSection.h"

// The process-wide lock held while values are formatted through string
// streams. GetInstance creates it on first call without a lock of its own;
// the library creates it at load time, before threads race for it.
class C_LockStrStream : public C_PosixCriticalSection {
 public:
  static C_LockStrStream* GetInstance();

  // Scope guard: enters the instance on construction, leaves on destruction.
  class C_Lock {
   public:
    C_Lock();
    ~C_Lock();
    C_Lock(const C_Lock&) = delete;
    C_Lock& operator=(const C_Lock&) = delete;

   private:
    struct S_Record;
    S_Record* m_record;
  };

 private:
  static C_LockStrStream* sm_pInstance;
};

#endif
