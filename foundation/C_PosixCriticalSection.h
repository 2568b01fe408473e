#ifndef VEK_FOUNDATION_C_POSIXCRITICALSECTION_H
#define VEK_FOUNDATION_C_POSIXCRITICALSECTION_H

#include <pthread.h>

#include "foundation/Export.h"

// A recursive mutex: the same thread may Enter again, and needs one Leave per
// Enter. Operations are const so that const objects can lock.
class VEK_API C_PosixCriticalSection {
 public:
  C_PosixCriticalSection();
  virtual ~C_PosixCriticalSection();
  C_PosixCriticalSection(const C_PosixCriticalSection&) = delete;
  C_PosixCriticalSection& operator=(const C_PosixCriticalSection&) = delete;

  void Enter() const;
  void Leave() const;

 private:
  pthread_mutexattr_t m_attributes;
  mutable pthread_mutex_t m_mutex;
};

#endif
