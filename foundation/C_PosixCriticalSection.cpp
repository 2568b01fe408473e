#include "foundation/C_PosixCriticalSection.h"

C_PosixCriticalSection::C_PosixCriticalSection() {
  pthread_mutexattr_init(&m_attributes);
  pthread_mutexattr_settype(&m_attributes, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(&m_mutex, &m_attributes);
}

C_PosixCriticalSection::~C_PosixCriticalSection() {
  pthread_mutex_destroy(&m_mutex);
  pthread_mutexattr_destroy(&m_attributes);
}

void C_PosixCriticalSection::Enter() const { pthread_mutex_lock(&m_mutex); }

void C_PosixCriticalSection::Leave() const { pthread_mutex_unlock(&m_mutex); }
