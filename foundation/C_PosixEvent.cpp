#include "foundation/C_PosixEvent.h"

#include <cerrno>
#include <sys/time.h>

C_PosixEvent::C_PosixEvent() : m_signalled(false), m_pulsed(false), m_waiters(0) {
  pthread_mutex_init(&m_mutex, nullptr);
  pthread_cond_init(&m_condition, nullptr);
}

C_PosixEvent::~C_PosixEvent() {
  pthread_cond_destroy(&m_condition);
  pthread_mutex_destroy(&m_mutex);
}

void C_PosixEvent::Set() const {
  pthread_mutex_lock(&m_mutex);
  m_pulsed = false;
  m_signalled = true;
  pthread_cond_broadcast(&m_condition);
  pthread_mutex_unlock(&m_mutex);
}

void C_PosixEvent::Clear() const {
  pthread_mutex_lock(&m_mutex);
  m_pulsed = false;
  m_signalled = false;
  pthread_mutex_unlock(&m_mutex);
}

void C_PosixEvent::Pulse() const {
  pthread_mutex_lock(&m_mutex);
  if (m_waiters > 0) {
    m_pulsed = true;
    m_signalled = true;
    pthread_cond_signal(&m_condition);
  }
  pthread_mutex_unlock(&m_mutex);
}

bool C_PosixEvent::IsSet() const {
  pthread_mutex_lock(&m_mutex);
  bool signalled = m_signalled;
  pthread_mutex_unlock(&m_mutex);
  return signalled;
}

int C_PosixEvent::Wait(unsigned int i_milliseconds) const {
  pthread_mutex_lock(&m_mutex);
  ++m_waiters;
  int rc = 0;
  if (i_milliseconds == INFINITE_WAIT) {
    while (!m_signalled) {
      rc = pthread_cond_wait(&m_condition, &m_mutex);
      if (rc != 0) break;
    }
  } else {
    struct timeval now;
    gettimeofday(&now, nullptr);
    struct timespec deadline;
    deadline.tv_sec = now.tv_sec + i_milliseconds / 1000;
    // Not carried into the seconds on purpose (see the header).
    deadline.tv_nsec = (now.tv_usec + static_cast<long>(i_milliseconds % 1000) * 1000) * 1000;
    while (!m_signalled) {
      rc = pthread_cond_timedwait(&m_condition, &m_mutex, &deadline);
      if (rc != 0) break;
    }
  }
  int result;
  switch (rc) {
    case 0: result = WAIT_SIGNALLED; break;
    case EINTR: result = WAIT_INTERRUPTED; break;
    case ETIMEDOUT: result = m_signalled ? WAIT_SIGNALLED : WAIT_TIMEOUT; break;
    default: result = WAIT_FAILED; break;
  }
  if (m_pulsed) {
    m_pulsed = false;
    m_signalled = false;
  }
  --m_waiters;
  pthread_mutex_unlock(&m_mutex);
  return result;
}
